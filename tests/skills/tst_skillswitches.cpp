// The skill switches on their own, on a configuration store and a real skills folder: what each
// switch puts in the file, what the listing shows, when saved() is said, and that nothing is
// ever written over a file the store cannot use.
#include "config/configstore.h"
#include "skills/skillswitches.h"

#include "support/testsupport.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// A configuration file with a skills folder beside it, and the part on a store of that file.
struct Setup {
    QTemporaryDir dir;
    std::unique_ptr<ConfigStore> store;
    std::unique_ptr<SkillSwitches> switches;

    QString configPath() const { return dir.filePath(u"bot-config.json"_s); }
    QString skillsPath() const { return dir.filePath(u"skills"_s); }

    void addSkill(const QString &name, const QByteArray &text = "# Skill\n") const
    {
        QDir().mkpath(skillsPath());
        QVERIFY(TestSupport::writeFile(skillsPath() + u'/' + name + u".md"_s, text));
    }
    SkillSwitches &open(const QJsonObject &document)
    {
        TestSupport::writeFile(configPath(), QJsonDocument(document).toJson());
        return openAsItIs();
    }
    SkillSwitches &openAsItIs()
    {
        store = std::make_unique<ConfigStore>(configPath());
        store->loadFromDisk();
        switches = std::make_unique<SkillSwitches>(store.get());
        switches->loadSkillsAndFeatures();
        return *switches;
    }
    QJsonObject file() const
    {
        return QJsonDocument::fromJson(TestSupport::readFile(configPath())).object();
    }
    QJsonArray botDisabled(int bot) const
    {
        return file()
            .value("bot_profiles"_L1)
            .toArray()
            .at(bot)
            .toObject()
            .value("enabled_skills"_L1)
            .toArray();
    }
};

enum class Which { All, SwitchedOn };

QStringList namesOf(const QList<SkillInfo> &skills, Which which = Which::All)
{
    QStringList names;
    for (const SkillInfo &skill : skills) {
        if (which == Which::All || skill.enabled)
            names.append(skill.name);
    }
    return names;
}

} // namespace

class TestSkillSwitches final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void listsTheFolderWithTheGlobalListSwitchedOff()
    {
        Setup s;
        s.addSkill(u"voice"_s, "# Voice replies\n\nSpeaks the answer.\n");
        s.addSkill(u"memory"_s);
        TestSupport::writeFile(s.skillsPath() + u"/notes.txt"_s, "not a skill");
        SkillSwitches &switches = s.open({{"enabled_skills"_L1, QJsonArray{u"voice"_s}}});

        QCOMPARE(switches.skillsFolder(), s.skillsPath());
        QCOMPARE(switches.installFolder(), s.skillsPath());
        QStringList names = namesOf(switches.skills());
        names.sort();
        QCOMPARE(names, (QStringList{u"memory"_s, u"voice"_s}));
        QCOMPARE(namesOf(switches.skills(), Which::SwitchedOn), QStringList{u"memory"_s});
        QCOMPARE(switches.globallyDisabledSkills(), QStringList{u"voice"_s});
        QVERIFY(switches.isInstalled(u"memory"_s));
        QVERIFY(!switches.isInstalled(u"notes"_s));
    }

    void listingAgainAnnouncesOnlyAChange()
    {
        Setup s;
        s.addSkill(u"voice"_s);
        SkillSwitches &switches = s.open({});
        QSignalSpy changed(&switches, &SkillSwitches::skillsChanged);
        switches.listSkills();
        QCOMPARE(changed.count(), 0);

        s.addSkill(u"memory"_s);
        switches.listSkills();
        QCOMPARE(changed.count(), 1);
        QCOMPARE(switches.skills().size(), 2);
    }

    void switchingOneOffWritesItsNameAndSaysSaved()
    {
        Setup s;
        s.addSkill(u"voice"_s);
        s.addSkill(u"memory"_s);
        SkillSwitches &switches = s.open({{"service_only_key"_L1, u"kept"_s}});
        QSignalSpy saved(&switches, &SkillSwitches::saved);
        QSignalSpy changed(&switches, &SkillSwitches::skillsChanged);

        switches.setSkillEnabled(u"voice"_s, false);
        QCOMPARE(s.file().value("enabled_skills"_L1).toArray(), QJsonArray{u"voice"_s});
        QCOMPARE(s.file().value("service_only_key"_L1).toString(), u"kept"_s);
        QCOMPARE(saved.count(), 1);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(namesOf(switches.skills(), Which::SwitchedOn), QStringList{u"memory"_s});

        switches.setSkillEnabled(u"voice"_s, true);
        QCOMPARE(s.file().value("enabled_skills"_L1).toArray(), QJsonArray());
        QCOMPARE(saved.count(), 2);
        QCOMPARE(namesOf(switches.skills(), Which::SwitchedOn).size(), 2);
    }

    void theGroupSwitchWritesEverySkillOfTheGroup()
    {
        Setup s;
        s.addSkill(u"briefing"_s);
        s.addSkill(u"digest"_s);
        s.addSkill(u"voice"_s);
        SkillSwitches &switches = s.open({});
        QVERIFY(switches.groupEnabled(u"Daily"_s));
        QVERIFY(!switches.groupEnabled(u"Research"_s)); // no skill of it installed
        QSignalSpy saved(&switches, &SkillSwitches::saved);

        switches.setGroupEnabled(u"Daily"_s, false);
        QVERIFY(!switches.groupEnabled(u"Daily"_s));
        QVERIFY(switches.groupEnabled(u"Media"_s));
        QJsonArray written = s.file().value("enabled_skills"_L1).toArray();
        QCOMPARE(written.size(), 2);
        QVERIFY(written.contains(u"briefing"_s));
        QVERIFY(written.contains(u"digest"_s));
        QCOMPARE(saved.count(), 2); // one write per skill of the group

        switches.setGroupEnabled(u"Daily"_s, true);
        QCOMPARE(s.file().value("enabled_skills"_L1).toArray(), QJsonArray());
        QCOMPARE(namesOf(switches.skills(), Which::SwitchedOn).size(), 3);
    }

    void aBotsOwnListSwitchesMoreOffAndResetClearsIt()
    {
        Setup s;
        s.addSkill(u"voice"_s);
        s.addSkill(u"memory"_s);
        SkillSwitches &switches
            = s.open({{"bot_tokens"_L1, QJsonArray{u"t1"_s, u"t2"_s}},
                      {"bot_profiles"_L1, QJsonArray{QJsonObject(), QJsonObject()}},
                      {"enabled_skills"_L1, QJsonArray{u"voice"_s}}});
        QSignalSpy saved(&switches, &SkillSwitches::saved);

        switches.setBotSkill(1, u"memory"_s, false);
        switches.setBotSkill(1, u"memory"_s, false);
        QCOMPARE(s.botDisabled(1), QJsonArray{u"memory"_s});
        QCOMPARE(s.botDisabled(0), QJsonArray());
        QCOMPARE(switches.botOverrideCount(1), 1);
        QCOMPARE(switches.botOverrideCount(0), 0);
        QCOMPARE(saved.count(), 2);
        QVERIFY(!switches.effectiveEnabled(1, u"memory"_s));
        QVERIFY(switches.effectiveEnabled(0, u"memory"_s));
        // The global list applies to every bot, and a bot cannot switch a skill back on.
        QVERIFY(!switches.effectiveEnabled(0, u"voice"_s));
        switches.setBotSkill(0, u"voice"_s, true);
        QVERIFY(!switches.effectiveEnabled(0, u"voice"_s));
        // A bot that is not there: nothing is written, and only the global list applies.
        const int before = int(saved.count());
        switches.setBotSkill(5, u"memory"_s, false);
        QCOMPARE(saved.count(), before);
        QVERIFY(switches.effectiveEnabled(5, u"memory"_s));
        QVERIFY(!switches.effectiveEnabled(5, u"voice"_s));
        QCOMPARE(switches.botOverrideCount(5), 0);

        switches.resetBotSkills(1);
        QCOMPARE(s.botDisabled(1), QJsonArray());
        QCOMPARE(switches.botOverrideCount(1), 0);
        QVERIFY(switches.effectiveEnabled(1, u"memory"_s));
        // The global list is not the bot's to reset.
        QCOMPARE(s.file().value("enabled_skills"_L1).toArray(), QJsonArray{u"voice"_s});
    }

    void aFeatureSwitchIsWrittenAndAnUnknownOneIgnored()
    {
        Setup s;
        SkillSwitches &switches = s.open({{"auto_memory"_L1, false}});
        QVERIFY(!s.store->values().autoMemory);
        QSignalSpy saved(&switches, &SkillSwitches::saved);
        switches.setFeature(u"auto_memory"_s, true);
        QCOMPARE(s.file().value("auto_memory"_L1), QJsonValue(true));
        QCOMPARE(saved.count(), 1);

        const QByteArray before = TestSupport::readFile(s.configPath());
        switches.setFeature(u"no_such_feature"_s, true);
        QCOMPARE(saved.count(), 1);
        QCOMPARE(TestSupport::readFile(s.configPath()), before);
    }

    void deletingRemovesTheFileAndItsNameFromTheList()
    {
        Setup s;
        s.addSkill(u"voice"_s);
        s.addSkill(u"memory"_s);
        SkillSwitches &switches
            = s.open({{"enabled_skills"_L1, QJsonArray{u"voice"_s, u"memory"_s}}});
        QSignalSpy saved(&switches, &SkillSwitches::saved);

        QVERIFY(switches.deleteSkill(u"voice"_s));
        QVERIFY(!QFile::exists(s.skillsPath() + u"/voice.md"_s));
        QCOMPARE(s.file().value("enabled_skills"_L1).toArray(), QJsonArray{u"memory"_s});
        QCOMPARE(namesOf(switches.skills()), QStringList{u"memory"_s});
        QVERIFY(!switches.isInstalled(u"voice"_s));
        QCOMPARE(saved.count(), 1);

        // Not there, or not a plain name: nothing removed, nothing written.
        QVERIFY(!switches.deleteSkill(u"voice"_s));
        QVERIFY(!switches.deleteSkill(u"../bot-config"_s));
        QVERIFY(QFile::exists(s.configPath()));
        QCOMPARE(saved.count(), 1);
    }

    void aSourceIsAddedOnceTrimmedAndAnnouncedBeforeTheWrite()
    {
        Setup s;
        SkillSwitches &switches = s.open({});
        QStringList events;
        connect(&switches, &SkillSwitches::sourceAdded, this, [&] {
            events.append(u"added, file has "_s
                          + QString::number(s.file().value("skill_sources"_L1).toArray().size()));
        });
        connect(&switches, &SkillSwitches::saved, this, [&] { events.append(u"saved"_s); });

        QVERIFY(switches.addSource(u"  me/more \n"_s));
        QCOMPARE(s.file().value("skill_sources"_L1).toArray(), QJsonArray{u"me/more"_s});
        QCOMPARE(events, (QStringList{u"added, file has 0"_s, u"saved"_s}));
        QVERIFY(!switches.addSource(u"me/more"_s));
        QVERIFY(!switches.addSource(u" \t "_s));
        QCOMPARE(s.store->values().skillSources, QStringList{u"me/more"_s});
        QCOMPARE(events.size(), 2);
    }

    void aFileTheStoreCannotUseIsNeverWritten()
    {
        Setup s;
        s.addSkill(u"voice"_s);
        const QByteArray broken = "{\"enabled_skills\": [\"memory\"], \"api_key\": \"sk-keep\"";
        QVERIFY(TestSupport::writeFile(s.configPath(), broken));
        SkillSwitches &switches = s.openAsItIs();
        QVERIFY(!s.store->canEdit());
        QSignalSpy saved(&switches, &SkillSwitches::saved);

        switches.setSkillEnabled(u"voice"_s, false);
        switches.setFeature(u"auto_memory"_s, true);
        switches.addSource(u"me/more"_s);
        QVERIFY(switches.deleteSkill(u"voice"_s)); // the skill file itself is not the config
        QCOMPARE(TestSupport::readFile(s.configPath()), broken);
        QCOMPARE(saved.count(), 0);
    }
};

QTEST_GUILESS_MAIN(TestSkillSwitches)
#include "tst_skillswitches.moc"
