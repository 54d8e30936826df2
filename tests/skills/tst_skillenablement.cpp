// Switching skills off globally and per bot, the group master switch and the feature switches,
// checked on the configuration file as the bot service would read it.
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "skills/skillcatalog.h"

#include "support/testsupport.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

QJsonObject readJson(const QString &path)
{
    return QJsonDocument::fromJson(TestSupport::readFile(path)).object();
}

void writeJson(const QString &path, const QJsonObject &object)
{
    TestSupport::writeFile(path, QJsonDocument(object).toJson());
}

// A configuration folder with a skills folder beside the configuration file.
struct Setup {
    QTemporaryDir dir;
    InMemoryTransport transport;
    QNetworkAccessManager network;
    std::unique_ptr<SettingsModel> model;

    QString configPath() const { return dir.filePath(u"bot-config.json"_s); }
    QString skillsPath() const { return dir.filePath(u"skills"_s); }

    void addSkill(const QString &name, const QByteArray &text = "# Skill\n")
    {
        QDir().mkpath(skillsPath());
        TestSupport::writeFile(skillsPath() + u'/' + name + u".md"_s, text);
    }
    SettingsModel &open(const QJsonObject &document)
    {
        writeJson(configPath(), document);
        model = std::make_unique<SettingsModel>(
            configPath(), ModelEnvironment{&transport, &network, u"http://127.0.0.1:9"_s,
                                           u"http://127.0.0.1:9"_s});
        model->loadSkillsAndFeatures();
        return *model;
    }
    QJsonObject file() const { return readJson(configPath()); }
    int configChangedPosts() const
    {
        int n = 0;
        for (const InMemoryTransport::Post &post : transport.posts())
            n += post.name == Notifications::configChanged() ? 1 : 0;
        return n;
    }
};

const SkillInfo *findSkill(const SettingsModel &model, const QString &name)
{
    for (const SkillInfo &skill : model.skills()) {
        if (skill.name == name)
            return &skill;
    }
    return nullptr;
}

} // namespace

class TestSkillEnablement final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void switchingASkillOffTwiceLeavesOneEntry()
    {
        Setup s;
        s.addSkill(u"voice"_s);
        SettingsModel &model = s.open({});
        model.setSkillEnabled(u"voice"_s, false);
        model.setSkillEnabled(u"voice"_s, false);
        QCOMPARE(s.file().value("enabled_skills"_L1).toArray(), QJsonArray{u"voice"_s});
        QCOMPARE(s.configChangedPosts(), 2);
        QVERIFY(!findSkill(model, u"voice"_s)->enabled);
    }

    void switchingTheLastDisabledSkillOnLeavesAnEmptyArray()
    {
        Setup s;
        s.addSkill(u"voice"_s);
        SettingsModel &model = s.open({{"enabled_skills"_L1, QJsonArray{u"voice"_s}}});
        QVERIFY(!findSkill(model, u"voice"_s)->enabled);
        model.setSkillEnabled(u"voice"_s, true);
        const QJsonObject file = s.file();
        QVERIFY(file.contains("enabled_skills"_L1));
        QVERIFY(file.value("enabled_skills"_L1).isArray());
        QCOMPARE(file.value("enabled_skills"_L1).toArray(), QJsonArray());
        QVERIFY(findSkill(model, u"voice"_s)->enabled);
    }

    void disabledNameWithoutFileIsKeptAndHasNoEffect()
    {
        Setup s;
        s.addSkill(u"voice"_s);
        s.addSkill(u"memory"_s);
        SettingsModel &model = s.open({{"enabled_skills"_L1, QJsonArray{u"ghost"_s, u"voice"_s}}});
        QCOMPARE(model.skills().size(), 2);
        QVERIFY(!findSkill(model, u"ghost"_s));
        QVERIFY(findSkill(model, u"memory"_s)->enabled);
        model.setSkillEnabled(u"memory"_s, false);
        QCOMPARE(s.file().value("enabled_skills"_L1).toArray(),
                 (QJsonArray{u"ghost"_s, u"voice"_s, u"memory"_s}));
    }

    void skillSwitchKeepsUnknownKeys()
    {
        Setup s;
        s.addSkill(u"voice"_s);
        SettingsModel &model = s.open({{"service_only_key"_L1, u"kept"_s}});
        model.setSkillEnabled(u"voice"_s, false);
        QCOMPARE(s.file().value("service_only_key"_L1).toString(), u"kept"_s);
    }

    void mistypedDisabledListCountsAsEmpty()
    {
        Setup s;
        s.addSkill(u"voice"_s);
        SettingsModel &model = s.open({{"enabled_skills"_L1, u"voice"_s}});
        QVERIFY(findSkill(model, u"voice"_s)->enabled);
        model.setSkillEnabled(u"memory"_s, false);
        QCOMPARE(s.file().value("enabled_skills"_L1).toArray(), QJsonArray{u"memory"_s});
    }

    void failedWritePostsNothingButThePageFollowsTheSwitch()
    {
        Setup s;
        s.addSkill(u"voice"_s);
        // The configuration "file" is a folder: every write of it fails.
        const QString unwritable = s.dir.filePath(u"config-is-a-folder"_s);
        QVERIFY(QDir().mkpath(unwritable));
        QDir().mkpath(s.dir.filePath(u"skills"_s));
        SettingsModel model(unwritable,
                            ModelEnvironment{&s.transport, &s.network, u"http://127.0.0.1:9"_s,
                                             u"http://127.0.0.1:9"_s});
        model.loadSkillsAndFeatures();
        QCOMPARE(model.skills().size(), 1);
        model.setSkillEnabled(u"voice"_s, false);
        QCOMPARE(s.transport.posts().size(), 0);
        QVERIFY(!model.skills().constFirst().enabled);
    }

    void botWithoutOverridesFollowsTheDefaults()
    {
        Setup s;
        SettingsModel &model = s.open({{"bot_tokens"_L1, QJsonArray{u"t1"_s}}});
        QCOMPARE(model.botOverrideCount(0), 0);
        QCOMPARE(SkillCatalog::botSkillsSummary(model.botOverrideCount(0)),
                 u"All skills allowed (follows the defaults)"_s);
        QCOMPARE(SkillCatalog::botSkillsSheetFooter(model.botOverrideCount(0)),
                 u"Follows the defaults exactly."_s);
    }

    void botWithTwoOverridesShowsTheCount()
    {
        Setup s;
        SettingsModel &model = s.open({{"bot_tokens"_L1, QJsonArray{u"t1"_s}}});
        model.setBotSkill(0, u"voice"_s, false);
        model.setBotSkill(0, u"memory"_s, false);
        QCOMPARE(model.botOverrideCount(0), 2);
        QCOMPARE(SkillCatalog::botSkillsSummary(model.botOverrideCount(0)),
                 u"2 skill(s) disabled on top of the defaults"_s);
        QCOMPARE(SkillCatalog::botSkillsSheetFooter(model.botOverrideCount(0)),
                 u"2 skill(s) disabled on top of the defaults."_s);
        const QJsonObject profile = s.file().value("bot_profiles"_L1).toArray().at(0).toObject();
        QCOMPARE(profile.value("enabled_skills"_L1).toArray(),
                 (QJsonArray{u"voice"_s, u"memory"_s}));
    }

    void globallyDisabledSkillStaysOffForEveryBot()
    {
        Setup s;
        s.addSkill(u"voice"_s);
        s.addSkill(u"memory"_s);
        SettingsModel &model = s.open({{"bot_tokens"_L1, QJsonArray{u"t1"_s, u"t2"_s}},
                                       {"enabled_skills"_L1, QJsonArray{u"voice"_s}}});
        QVERIFY(!model.effectiveEnabled(0, u"voice"_s));
        QVERIFY(!model.effectiveEnabled(1, u"voice"_s));
        // Switching it on for a bot cannot bring it back.
        model.setBotSkill(0, u"voice"_s, true);
        QVERIFY(!model.effectiveEnabled(0, u"voice"_s));
        // A bot's list only removes more.
        model.setBotSkill(0, u"memory"_s, false);
        QVERIFY(!model.effectiveEnabled(0, u"memory"_s));
        QVERIFY(model.effectiveEnabled(1, u"memory"_s));
    }

    void botSkillIsAddedOnceAndRemovedEverywhere()
    {
        Setup s;
        SettingsModel &model = s.open(
            {{"bot_tokens"_L1, QJsonArray{u"t1"_s}},
             {"bot_profiles"_L1,
              QJsonArray{QJsonObject{{"enabled_skills"_L1, QJsonArray{u"a"_s, u"b"_s, u"a"_s}}}}}});
        QCOMPARE(model.botOverrideCount(0), 3);
        model.setBotSkill(0, u"a"_s, true);
        model.setBotSkill(0, u"b"_s, false);
        QCOMPARE(model.botProfiles().at(0).disabledSkills, QStringList{u"b"_s});
        QCOMPARE(
            s.file().value("bot_profiles"_L1).toArray().at(0).toObject().value("enabled_skills"_L1),
            QJsonValue(QJsonArray{u"b"_s}));
        QCOMPARE(s.configChangedPosts(), 2);
    }

    void resettingABotRemovesItsKeyFromTheFile()
    {
        Setup s;
        SettingsModel &model = s.open(
            {{"bot_tokens"_L1, QJsonArray{u"t1"_s}},
             {"bot_profiles"_L1, QJsonArray{QJsonObject{{"enabled_skills"_L1, QJsonArray{u"a"_s}},
                                                        {"service_key"_L1, 7}}}}});
        model.resetBotSkills(0);
        QCOMPARE(model.botOverrideCount(0), 0);
        const QJsonObject profile = s.file().value("bot_profiles"_L1).toArray().at(0).toObject();
        QVERIFY(!profile.contains("enabled_skills"_L1));
        QCOMPARE(profile.value("service_key"_L1).toInt(), 7);
        QCOMPARE(s.configChangedPosts(), 1);
    }

    void botSwitchesOnAMissingBotChangeNothing()
    {
        Setup s;
        SettingsModel &model = s.open({});
        const QByteArray before = TestSupport::readFile(s.configPath());
        model.setBotSkill(3, u"a"_s, false);
        model.resetBotSkills(-1);
        QCOMPARE(model.botOverrideCount(3), 0);
        QCOMPARE(TestSupport::readFile(s.configPath()), before);
        QCOMPARE(s.transport.posts().size(), 0);
    }

    void featureSwitchesAreWrittenAsBooleans()
    {
        Setup s;
        SettingsModel &model = s.open({});
        QVERIFY(model.backfillMissed());
        QVERIFY(!model.briefingCrypto());
        QVERIFY(model.autoMemory());
        model.setFeature(u"briefing_crypto"_s, true);
        model.setFeature(u"backfill_missed"_s, false);
        model.setFeature(u"auto_memory"_s, false);
        const QJsonObject file = s.file();
        QCOMPARE(file.value("briefing_crypto"_L1), QJsonValue(true));
        QCOMPARE(file.value("backfill_missed"_L1), QJsonValue(false));
        QCOMPARE(file.value("auto_memory"_L1), QJsonValue(false));
        QCOMPARE(s.configChangedPosts(), 3);
        QVERIFY(model.briefingCrypto());
    }

    void unknownFeatureKeyWritesNothing()
    {
        Setup s;
        SettingsModel &model = s.open({{"x"_L1, 1}});
        const QByteArray before = TestSupport::readFile(s.configPath());
        model.setFeature(u"show_in_dock"_s, true);
        QCOMPARE(TestSupport::readFile(s.configPath()), before);
        QCOMPARE(s.transport.posts().size(), 0);
    }

    void loadingReadsSkillsAndFeatureKeys()
    {
        Setup s;
        s.addSkill(u"briefing"_s, "---\ndescription: Morning summary\n---\n# Briefing\n");
        SettingsModel &model = s.open({{"backfill_missed"_L1, false},
                                       {"briefing_crypto"_L1, true},
                                       {"auto_memory"_L1, false},
                                       {"bot_mode"_L1, u"silent"_s},
                                       {"skill_sources"_L1, QJsonArray{u"me/my-skills"_s}}});
        model.setBackfillMissed(true);
        model.setBotMode(u"assistant"_s);
        model.setSkillSources({});
        model.loadSkillsAndFeatures();
        QVERIFY(!model.backfillMissed());
        QVERIFY(model.briefingCrypto());
        QVERIFY(!model.autoMemory());
        QCOMPARE(model.botMode(), u"silent"_s);
        QCOMPARE(model.skillSources(), QStringList{u"me/my-skills"_s});
        QCOMPARE(model.skills(),
                 (QList<SkillInfo>{{u"briefing"_s, u"Briefing"_s, u"Morning summary"_s, true,
                                    u"Daily"_s, u"builtin"_s}}));
    }

    void listingHonoursSkillsDir()
    {
        Setup s;
        s.addSkill(u"beside"_s);
        const QString elsewhere = s.dir.filePath(u"elsewhere"_s);
        QDir().mkpath(elsewhere);
        TestSupport::writeFile(elsewhere + u"/feeds.md"_s, "# Feeds\n");
        SettingsModel &model = s.open({{"skills_dir"_L1, elsewhere}});
        QCOMPARE(model.skillsFolder(), elsewhere);
        QCOMPARE(model.installFolder(), s.skillsPath());
        QCOMPARE(model.skills().size(), 1);
        QCOMPARE(model.skills().constFirst().name, u"feeds"_s);
    }

    void groupMasterSwitchFollowsItsSkills()
    {
        Setup s;
        s.addSkill(u"briefing"_s);
        s.addSkill(u"digest"_s);
        s.addSkill(u"voice"_s);
        SettingsModel &model
            = s.open({{"enabled_skills"_L1, QJsonArray{u"briefing"_s, u"digest"_s}}});
        QVERIFY(!model.groupEnabled(u"Daily"_s));
        QVERIFY(model.groupEnabled(u"Media"_s));
        QVERIFY(!model.groupEnabled(u"Research"_s)); // no skill at all

        model.setSkillEnabled(u"digest"_s, true);
        QVERIFY(model.groupEnabled(u"Daily"_s));

        s.transport.clear();
        model.setGroupEnabled(u"Daily"_s, false);
        QVERIFY(!model.groupEnabled(u"Daily"_s));
        QCOMPARE(s.file().value("enabled_skills"_L1).toArray(),
                 (QJsonArray{u"briefing"_s, u"digest"_s}));
        QCOMPARE(s.configChangedPosts(), 2); // one write and one post per skill of the group

        model.setGroupEnabled(u"Daily"_s, true);
        QCOMPARE(s.file().value("enabled_skills"_L1).toArray(), QJsonArray());
        QVERIFY(findSkill(model, u"briefing"_s)->enabled);
        QVERIFY(findSkill(model, u"voice"_s)->enabled);
    }

    void theModelAnnouncesTheSwitchesAndPostsAfterEachWrite()
    {
        Setup s;
        s.addSkill(u"voice"_s);
        SettingsModel &model = s.open({});
        QCOMPARE(&model.skillSwitches().skills(), &model.skills());
        QStringList events;
        connect(&model, &SettingsModel::skillsChanged, this, [&] {
            events.append(u"skills, posts "_s + QString::number(s.configChangedPosts()));
        });
        connect(&model, &SettingsModel::newSourceChanged, this, [&] {
            events.append(u"field, posts "_s + QString::number(s.configChangedPosts()));
        });

        // A switch writes, posts, then lists.
        model.setSkillEnabled(u"voice"_s, false);
        QCOMPARE(events, QStringList{u"skills, posts 1"_s});
        // The source field is emptied before the write and its post.
        model.setNewSource(u"me/more"_s);
        events.clear();
        model.addSource();
        QCOMPARE(events, QStringList{u"field, posts 1"_s});
        QCOMPARE(s.configChangedPosts(), 2);
        QCOMPARE(model.newSource(), QString());
        // What an install wrote is listed before the install is reported.
        s.addSkill(u"memory"_s);
        bool listedWhenReported = false;
        connect(&model, &SettingsModel::installFinished, this,
                [&] { listedWhenReported = findSkill(model, u"weather"_s) != nullptr; });
        model.registry().installDownloaded(RegistryEntry{u"weather"_s, u"Weather"_s, {}, {}},
                                           "# Weather\n");
        QVERIFY(listedWhenReported);
        QVERIFY(findSkill(model, u"memory"_s));
    }
};

QTEST_GUILESS_MAIN(TestSkillEnablement)
#include "tst_skillenablement.moc"
