// varnookctl run as a user runs it, against configuration files in a temporary folder: what it
// prints, its exit code, and the file it leaves. No session bus here (the address points
// nowhere), so these also show that every command works without one.
#include "ctlprocess.h"

#include "config/configdocument.h"
#include "service/statusinfo.h"
#include "support/fakegithub.h"
#include "support/fakeproviderserver.h"
#include "support/testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

const QByteArray pdfSkill = "---\ndescription: Work with PDF files.\n---\n# PDF\n";

QJsonObject objectOf(const QByteArray &bytes)
{
    return QJsonDocument::fromJson(bytes).object();
}

QByteArray statusFile()
{
    StatusInfo status;
    status.botRunning = true;
    status.pid = 4242;
    status.botHandle = u" alpha, ,beta"_s;
    status.botNicknames = {QString(), u"Trading"_s};
    status.requests = 15;
    status.requestsByBot = {12, 3};
    status.tokensIn = 12400;
    status.tokensOut = 3100;
    status.provider = u"  https://api.example.com/v1\n"_s;
    status.model = u"gpt-5"_s;
    status.fallbacks = 2;
    return serialiseStatus(status);
}

// A configuration whose last bot has no token yet.
QByteArray incompleteBots()
{
    return QJsonDocument(QJsonObject{{"bot_tokens"_L1, QJsonArray{u"111:AAA"_s, u"  "_s}}})
        .toJson();
}

// A configuration whose last backup model has a URL but no model.
QByteArray incompleteBackup()
{
    const QJsonObject backup{{"base_url"_L1, u"http://127.0.0.1:1/v1"_s}, {"model"_L1, u" "_s}};
    return QJsonDocument(QJsonObject{{"fallbacks"_L1, QJsonArray{backup}}}).toJson();
}

} // namespace

class TestCtl final : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    CtlProcess m_ctl;

    QString configPath() const { return m_dir->filePath(u"bot-config.json"_s); }
    QString skillsPath() const { return m_dir->filePath(u"skills"_s); }
    QByteArray fileBytes() const { return TestSupport::readFile(configPath()); }
    QJsonObject file() const { return objectOf(fileBytes()); }
    void writeConfig(const QByteArray &bytes) { TestSupport::writeFile(configPath(), bytes); }
    void writeFixture(const QString &name)
    {
        writeConfig(TestSupport::readFile(TestSupport::fixture(name)));
    }
    void writeSkill(const QString &name, const QByteArray &bytes)
    {
        QDir().mkpath(skillsPath());
        TestSupport::writeFile(skillsPath() + u'/' + name + u".md"_s, bytes);
    }
    CtlResult run(const QStringList &arguments) { return m_ctl.run(arguments); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QFile::exists(CtlProcess::binary()), "build the varnookctl target first");
    }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_ctl = CtlProcess();
        m_ctl.setConfig(configPath());
        m_ctl.setWorkingDirectory(m_dir->path());
        // No session bus: the posts of the writing commands must go nowhere, quietly.
        m_ctl.environment().insert(u"DBUS_SESSION_BUS_ADDRESS"_s,
                                   u"unix:path="_s + m_dir->filePath(u"no-bus"_s));
    }

    // ---- get -----------------------------------------------------------------------------------

    void getWithoutAFileShowsTheWindowsFirstValuesAndWritesNothing()
    {
        const CtlResult max = run({u"get"_s, u"max_tokens"_s});
        QCOMPARE(max.exitCode, 0);
        QCOMPARE(max.output(), u"4000\n"_s);
        QCOMPARE(run({u"get"_s, u"api_timeout"_s}).output(), u"90\n"_s);
        QCOMPARE(run({u"get"_s, u"bot_mode"_s}).output(), u"assistant\n"_s);
        QVERIFY(!QFile::exists(configPath()));
    }

    void getShowsEachKindAsTheWindowDoes()
    {
        writeFixture(u"config/full.json"_s);
        QCOMPARE(run({u"get"_s, u"allowed_ids"_s}).output(), u"512807364, -1002718305964\n"_s);
        QCOMPARE(run({u"get"_s, u"trigger_words"_s}).output(), u"momo, jarvis\n"_s);
        QCOMPARE(run({u"get"_s, u"show_in_dock"_s}).output(), u"true\n"_s);
        QCOMPARE(run({u"get"_s, u"recall_limit"_s}).output(), u"15\n"_s);
        QCOMPARE(run({u"get"_s, u"skill_sources"_s}).output(), u"someone/skills\n"_s);
        QCOMPARE(run({u"get"_s, u"enabled_skills"_s}).output(), u"digest\n"_s);
        QCOMPARE(run({u"get"_s, u"bot_token"_s}).output(), u"111:AAA\n"_s);
        QCOMPARE(run({u"get"_s, u"skills_dir"_s}).output(), skillsPath() + u'\n');
    }

    void getAsJsonGivesTheValueItsJsonType()
    {
        writeFixture(u"config/full.json"_s);
        const QJsonObject number = objectOf(run({u"get"_s, u"max_tokens"_s, u"--json"_s}).out);
        QCOMPARE(number, (QJsonObject{{"key"_L1, u"max_tokens"_s}, {"value"_L1, 4000}}));
        const QJsonObject flag = objectOf(run({u"get"_s, u"auto_memory"_s, u"--json"_s}).out);
        QCOMPARE(flag.value("value"_L1), QJsonValue(false));
        const QJsonObject list = objectOf(run({u"get"_s, u"fallbacks"_s, u"--json"_s}).out);
        QCOMPARE(list.value("value"_L1).toArray().size(), 2);
        QCOMPARE(list.value("value"_L1).toArray().at(0).toObject().value("model"_L1),
                 QJsonValue(u"deepseek-chat"_s));
    }

    void getOfEverySettingMasksTheApiKeyUnlessAsked()
    {
        writeFixture(u"config/full.json"_s);
        const CtlResult masked = run({u"get"_s});
        QCOMPARE(masked.exitCode, 0);
        QVERIFY(masked.output().contains(u"max_tokens"_s));
        QVERIFY(masked.output().contains(u"data_dir             /srv/zandrel"_s));
        QVERIFY(!masked.output().contains(u"sk-primary"_s));
        QVERIFY(run({u"get"_s, u"--show-secrets"_s}).output().contains(u"sk-primary"_s));
        const QJsonObject all = objectOf(run({u"get"_s, u"--json"_s}).out);
        QCOMPARE(all.value("fact_cap"_L1), QJsonValue(7000));
        QVERIFY(all.value("api_key"_L1).toString() != u"sk-primary"_s);
    }

    void aConfigurationPathIsTakenAsItStands()
    {
        // The default is the window's: the home folder and ".zandrel/bot-config.json".
        const QString home = m_dir->filePath(u"home"_s);
        QVERIFY(QDir().mkpath(home + u"/.zandrel"_s));
        m_ctl.environment().insert(u"HOME"_s, home);
        const CtlResult set = m_ctl.runRaw({u"set"_s, u"model"_s, u"from-home"_s});
        QCOMPARE(set.exitCode, 0);
        const QString expected = home + u"/.zandrel/bot-config.json"_s;
        QCOMPARE(objectOf(TestSupport::readFile(expected)).value("model"_L1),
                 QJsonValue(u"from-home"_s));
        // No tilde expansion: "~" is a folder name like any other, here one that is missing.
        const CtlResult tilde
            = m_ctl.runRaw({u"--config"_s, u"~/bot-config.json"_s, u"set"_s, u"model"_s, u"x"_s});
        QCOMPARE(tilde.exitCode, 1);
        QVERIFY(tilde.oneErrorLine());
        QVERIFY(!QFile::exists(home + u"/bot-config.json"_s));
    }

    // ---- set and unset -------------------------------------------------------------------------

    void setSavesWithTheWindowsRules()
    {
        writeFixture(u"config/full.json"_s);
        QCOMPARE(run({u"set"_s, u"max_tokens"_s, u" 800 "_s}).exitCode, 0);
        QCOMPARE(run({u"set"_s, u"trigger_words"_s, u"momo, , hey bot ,"_s}).exitCode, 0);
        // A negative number needs no "--" in front of it.
        QCOMPARE(run({u"set"_s, u"allowed_ids"_s, u"-100, +5"_s}).exitCode, 0);
        QCOMPARE(run({u"set"_s, u"base_url"_s, u"  http://10.0.0.2:8080/v1\n"_s}).exitCode, 0);
        QCOMPARE(run({u"set"_s, u"show_in_dock"_s, u"off"_s}).exitCode, 0);
        QCOMPARE(run({u"set"_s, u"briefing_time"_s, u"06:45"_s}).exitCode, 0);
        QCOMPARE(run({u"set"_s, u"skill_sources"_s, u"a/skills, b/more"_s}).exitCode, 0);

        const QJsonObject saved = file();
        QCOMPARE(saved.value("max_tokens"_L1), QJsonValue(800));
        QCOMPARE(saved.value("trigger_words"_L1).toArray(), (QJsonArray{u"momo"_s, u"hey bot"_s}));
        QCOMPARE(saved.value("allowed_ids"_L1).toArray(), (QJsonArray{-100, 5}));
        QCOMPARE(saved.value("base_url"_L1), QJsonValue(u"http://10.0.0.2:8080/v1"_s));
        QCOMPARE(saved.value("show_in_dock"_L1), QJsonValue(false));
        QCOMPARE(saved.value("briefing_time"_L1), QJsonValue(u"06:45"_s));
        QCOMPARE(saved.value("skill_sources"_L1).toArray(),
                 (QJsonArray{u"a/skills"_s, u"b/more"_s}));
        // Written as the window writes: pretty-printed, keys sorted.
        QCOMPARE(fileBytes(), ConfigDocument::serialise(saved));
        QCOMPARE(run({u"get"_s, u"max_tokens"_s}).output(), u"800\n"_s);
    }

    void setKeepsKeysTheProgramDoesNotKnow()
    {
        writeFixture(u"config/unknown-keys.json"_s);
        const QJsonObject before = file();
        QCOMPARE(run({u"set"_s, u"model"_s, u"other"_s}).exitCode, 0);
        const QJsonObject after = file();
        QCOMPARE(after.value("model"_L1), QJsonValue(u"other"_s));
        int unknown = 0;
        for (auto it = before.begin(); it != before.end(); ++it) {
            if (it.key().startsWith(u"x_"_s)) {
                QCOMPARE(after.value(it.key()), it.value());
                ++unknown;
            }
        }
        QCOMPARE(unknown, 7);
        QCOMPARE(after.value("skills_dir"_L1), before.value("skills_dir"_L1));
        QCOMPARE(after.value("bot_profiles"_L1), before.value("bot_profiles"_L1));
    }

    void setWithoutAFileCreatesItFromTheWindowsFirstValues()
    {
        QCOMPARE(run({u"set"_s, u"model"_s, u"m1"_s}).exitCode, 0);
        const QJsonObject saved = file();
        QCOMPARE(saved.value("model"_L1), QJsonValue(u"m1"_s));
        QCOMPARE(saved.value("max_tokens"_L1), QJsonValue(4000));
        QCOMPARE(saved.value("bot_tokens"_L1), QJsonValue(QJsonArray()));
        // It holds keys and tokens: its owner alone may read it.
        QCOMPARE(QFileInfo(configPath()).permissions() & (QFile::ReadOther | QFile::ReadGroup),
                 QFile::Permissions());
    }

    void unsetWritesWhatAMissingKeyReadsAs_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("written");
        QTest::newRow("max_tokens") << u"max_tokens"_s << QJsonValue(350);
        QTest::newRow("api_timeout") << u"api_timeout"_s << QJsonValue(30);
        QTest::newRow("recall_limit") << u"recall_limit"_s << QJsonValue(5);
        QTest::newRow("base_url") << u"base_url"_s << QJsonValue(u"http://127.0.0.1:11234/v1"_s);
        QTest::newRow("api_key") << u"api_key"_s << QJsonValue(u""_s);
        QTest::newRow("briefing_time") << u"briefing_time"_s << QJsonValue(u"08:00"_s);
        QTest::newRow("bot_mode") << u"bot_mode"_s << QJsonValue(u"assistant"_s);
        QTest::newRow("data_dir") << u"data_dir"_s << QJsonValue(u""_s);
        QTest::newRow("trigger_words") << u"trigger_words"_s << QJsonValue(QJsonArray());
        QTest::newRow("allowed_ids") << u"allowed_ids"_s << QJsonValue(QJsonArray());
        QTest::newRow("show_in_dock") << u"show_in_dock"_s << QJsonValue(false);
        QTest::newRow("backfill_missed") << u"backfill_missed"_s << QJsonValue(true);
        QTest::newRow("auto_memory") << u"auto_memory"_s << QJsonValue(true);
        QTest::newRow("fallbacks") << u"fallbacks"_s << QJsonValue(QJsonArray());
        QTest::newRow("skill_sources") << u"skill_sources"_s << QJsonValue(QJsonArray());
        QTest::newRow("enabled_skills") << u"enabled_skills"_s << QJsonValue(QJsonArray());
    }

    void unsetWritesWhatAMissingKeyReadsAs()
    {
        QFETCH(QString, key);
        QFETCH(QJsonValue, written);
        writeFixture(u"config/full.json"_s);
        QVERIFY(file().value(key) != written);
        const CtlResult unset = run({u"unset"_s, key});
        QCOMPARE(unset.exitCode, 0);
        QCOMPARE(unset.err, QByteArray());
        QCOMPARE(file().value(key), written);
    }

    // ---- bad input ----------------------------------------------------------------------------

    void badInputIsRefusedWithOneLineAndTheFileUntouched_data()
    {
        QTest::addColumn<QByteArray>("config");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("names");
        const QByteArray full = TestSupport::readFile(TestSupport::fixture(u"config/full.json"_s));
        auto row = [&](const char *name, const QStringList &arguments, const QString &names,
                       const QByteArray &config = {}) {
            QTest::newRow(name) << (config.isEmpty() ? full : config) << arguments << names;
        };
        row("unknown key", {u"set"_s, u"colour"_s, u"red"_s}, u"colour"_s);
        row("unknown key to get", {u"get"_s, u"colour"_s}, u"colour"_s);
        row("letters for a number", {u"set"_s, u"max_tokens"_s, u"abc"_s}, u"max_tokens"_s);
        row("fraction for a number", {u"set"_s, u"fact_cap"_s, u"1.5"_s}, u"fact_cap"_s);
        row("number too large", {u"set"_s, u"api_timeout"_s, u"99999999999999999999"_s},
            u"api_timeout"_s);
        row("empty number", {u"set"_s, u"recall_limit"_s, u""_s}, u"recall_limit"_s);
        row("not a boolean", {u"set"_s, u"show_in_dock"_s, u"maybe"_s}, u"show_in_dock"_s);
        row("not an id", {u"set"_s, u"allowed_ids"_s, u"12, abc"_s}, u"abc"_s);
        row("not a time", {u"set"_s, u"briefing_time"_s, u"7:5"_s}, u"briefing_time"_s);
        row("hour past 23", {u"set"_s, u"briefing_time"_s, u"24:00"_s}, u"briefing_time"_s);
        row("list key", {u"set"_s, u"fallbacks"_s, u"x"_s}, u"backup"_s);
        row("bot list key", {u"set"_s, u"bot_tokens"_s, u"x"_s}, u"bot"_s);
        row("read-only key", {u"unset"_s, u"skills_dir"_s}, u"skills_dir"_s);
        row("bot number zero", {u"bot"_s, u"set"_s, u"0"_s, u"model"_s, u"x"_s}, u"bot 0"_s);
        row("bot number too high", {u"bot"_s, u"get"_s, u"3"_s, u"model"_s}, u"bot 3"_s);
        row("bot number not a number", {u"bot"_s, u"remove"_s, u"two"_s}, u"two"_s);
        row("unknown bot key", {u"bot"_s, u"set"_s, u"1"_s, u"colour"_s, u"red"_s}, u"colour"_s);
        row("bot number for a number", {u"bot"_s, u"set"_s, u"1"_s, u"briefing_time"_s, u"x"_s},
            u"briefing_time"_s);
        row("bot without a token", {u"bot"_s, u"add"_s}, u"bot 2"_s, incompleteBots());
        row("backup number too high", {u"backup"_s, u"remove"_s, u"3"_s}, u"backup model 3"_s);
        row("backup down on the last", {u"backup"_s, u"down"_s, u"2"_s}, u"last"_s);
        row("backup field", {u"backup"_s, u"set"_s, u"1"_s, u"colour"_s, u"x"_s}, u"colour"_s);
        row("incomplete backup", {u"backup"_s, u"add"_s}, u"backup model 1"_s, incompleteBackup());
        row("bot backup up on the first", {u"bot"_s, u"backup"_s, u"up"_s, u"1"_s, u"1"_s},
            u"first"_s);
        row("test of a missing backup", {u"test"_s, u"--backup"_s, u"7"_s}, u"backup model 7"_s);
        row("unknown skill", {u"skills"_s, u"disable"_s, u"nosuch"_s}, u"nosuch"_s);
        row("unknown command", {u"frobnicate"_s}, u"frobnicate"_s);
        row("unknown subcommand", {u"bot"_s, u"rename"_s}, u"rename"_s);
        row("missing subcommand", {u"backup"_s}, u"backup"_s);
        row("unknown option", {u"set"_s, u"model"_s, u"x"_s, u"--loud"_s}, u"loud"_s);
        row("missing argument", {u"set"_s, u"model"_s}, u"VALUE"_s);
        row("too many arguments", {u"get"_s, u"model"_s, u"extra"_s}, u"too many"_s);
        row("json on a writing command", {u"set"_s, u"model"_s, u"x"_s, u"--json"_s}, u"json"_s);
    }

    void badInputIsRefusedWithOneLineAndTheFileUntouched()
    {
        QFETCH(QByteArray, config);
        QFETCH(QStringList, arguments);
        QFETCH(QString, names);
        writeConfig(config);
        writeSkill(u"voice"_s, "# Voice\n");
        const QDateTime modified = QFileInfo(configPath()).lastModified();

        const CtlResult refused = run(arguments);
        QCOMPARE(refused.exitCode, 2);
        QVERIFY2(refused.oneErrorLine(), refused.err.constData());
        QVERIFY2(refused.error().contains(names), refused.err.constData());
        QCOMPARE(fileBytes(), config);
        QCOMPARE(QFileInfo(configPath()).lastModified(), modified);
    }

    void anUnusableConfigurationIsRefusedByCommandsThatUseIt_data()
    {
        QTest::addColumn<QString>("fixture");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("names");
        const QList<std::pair<const char *, QString>> fixtures = {
            {"truncated", u"config/truncated.json"_s},
            {"array", u"config/top-level-array.json"_s},
            {"non-utf8", u"config/non-utf8.json"_s},
        };
        const QList<std::pair<const char *, QStringList>> commands = {
            {"get", {u"get"_s, u"model"_s}},
            {"set", {u"set"_s, u"model"_s, u"x"_s}},
            {"unset", {u"unset"_s, u"max_tokens"_s}},
            {"bot add", {u"bot"_s, u"add"_s}},
            {"backup add", {u"backup"_s, u"add"_s}},
            {"skills disable", {u"skills"_s, u"disable"_s, u"voice"_s}},
            {"test", {u"test"_s}},
        };
        for (const auto &[fixtureName, fixture] : fixtures) {
            for (const auto &[commandName, arguments] : commands) {
                QTest::addRow("%s, %s", fixtureName, commandName)
                    << fixture << arguments << u"bot-config.json"_s;
            }
        }
    }

    void anUnusableConfigurationIsRefusedByCommandsThatUseIt()
    {
        QFETCH(QString, fixture);
        QFETCH(QStringList, arguments);
        QFETCH(QString, names);
        writeFixture(fixture);
        writeSkill(u"voice"_s, "# Voice\n");
        const QByteArray before = fileBytes();
        const CtlResult refused = run(arguments);
        QCOMPARE(refused.exitCode, 2);
        QVERIFY2(refused.oneErrorLine(), refused.err.constData());
        QVERIFY(refused.error().contains(names));
        QCOMPARE(fileBytes(), before);
    }

    void aFolderGivenAsTheConfigurationIsRefused()
    {
        m_ctl.setConfig(m_dir->path());
        const CtlResult refused = run({u"get"_s, u"model"_s});
        QCOMPARE(refused.exitCode, 2);
        QVERIFY(refused.oneErrorLine());
        QVERIFY(refused.error().contains(u"folder"_s));
    }

    void aSaveThatCannotBeWrittenFailsWithoutChangingAnything()
    {
        m_ctl.setConfig(m_dir->filePath(u"missing-folder/bot-config.json"_s));
        const CtlResult failed = run({u"set"_s, u"model"_s, u"x"_s});
        QCOMPARE(failed.exitCode, 1);
        QVERIFY(failed.oneErrorLine());
        QVERIFY(failed.error().contains(u"Could not write "_s));
        QVERIFY(!QFileInfo::exists(m_dir->filePath(u"missing-folder"_s)));
    }

    void aSelfSavingCommandWhoseWriteFailsSaysSo_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("skills disable") << QStringList{u"skills"_s, u"disable"_s, u"voice"_s};
        QTest::newRow("unset enabled_skills") << QStringList{u"unset"_s, u"enabled_skills"_s};
        QTest::newRow("bot add") << QStringList{u"bot"_s, u"add"_s};
        QTest::newRow("bot remove") << QStringList{u"bot"_s, u"remove"_s, u"1"_s};
        QTest::newRow("backup up") << QStringList{u"backup"_s, u"up"_s, u"1"_s};
    }

    // These commands call model operations that write the file themselves. The file passes
    // every check made before the command runs; the write itself then fails (the process may
    // not write a file larger than 64 bytes), and the command says so in the system's words.
    // The save is atomic: the file keeps every one of its bytes.
    void aSelfSavingCommandWhoseWriteFailsSaysSo()
    {
        QFETCH(QStringList, arguments);
        writeFixture(u"config/full.json"_s); // two bots, two backup models, a skill switched off
        writeSkill(u"voice"_s, "# Voice\n");
        const QByteArray before = fileBytes();
        QVERIFY(before.size() > 64);
        m_ctl.setFileSizeLimit(64);
        const CtlResult failed = run(arguments);
        QCOMPARE(failed.exitCode, 1);
        QCOMPARE(failed.error(),
                 u"varnookctl: Could not write "_s + configPath() + u": File too large\n"_s);
        QVERIFY(failed.out.isEmpty());
        QCOMPARE(fileBytes(), before);
    }

    void aNamedPipeAsTheConfigurationIsRefusedAtOnce_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("get") << QStringList{u"get"_s, u"model"_s};
        QTest::newRow("set") << QStringList{u"set"_s, u"model"_s, u"x"_s};
    }
    void aNamedPipeAsTheConfigurationIsRefusedAtOnce()
    {
        QFETCH(QStringList, arguments);
        QCOMPARE(::mkfifo(QFile::encodeName(configPath()).constData(), 0600), 0);
        const CtlResult refused = run(arguments);
        QVERIFY(refused.finished); // it would wait for a writer if it opened the pipe
        QCOMPARE(refused.exitCode, 2);
        QCOMPARE(refused.error(), u"varnookctl: "_s + configPath()
                                      + u" is a named pipe, not a configuration file\n"_s);
        QVERIFY(!QFileInfo(configPath()).isFile());
    }

    void aSymlinkedConfigurationStaysALink()
    {
        const QString target = m_dir->filePath(u"real.json"_s);
        TestSupport::writeFile(target, "{\"x_kept\": 1}");
        QVERIFY(QFile::link(target, configPath()));
        QCOMPARE(run({u"set"_s, u"model"_s, u"linked"_s}).exitCode, 0);
        QVERIFY(QFileInfo(configPath()).isSymLink());
        const QJsonObject written = objectOf(TestSupport::readFile(target));
        QCOMPARE(written.value("model"_L1).toString(), u"linked"_s);
        QCOMPARE(written.value("x_kept"_L1).toInt(), 1);
    }

    void aReadOnlyFolderIsReportedInTheSystemsWords()
    {
        const QString folder = m_dir->filePath(u"locked"_s);
        QVERIFY(QDir().mkdir(folder));
        const QString path = folder + u"/bot-config.json"_s;
        TestSupport::writeFile(path, "{\"model\": \"m\"}");
        QVERIFY(::chmod(QFile::encodeName(m_dir->path()).constData(), 0755) == 0);
        QVERIFY(::chmod(QFile::encodeName(path).constData(), 0666) == 0);
        QVERIFY(::chmod(QFile::encodeName(folder).constData(), 0555) == 0);
        m_ctl.setConfig(path);
        m_ctl.setRunAsNobody(true);
        const CtlResult failed = run({u"set"_s, u"model"_s, u"x"_s});
        m_ctl.setRunAsNobody(false);
        if (failed.exitCode == 0)
            QSKIP("permissions do not apply to this test's processes");
        QCOMPARE(failed.exitCode, 1);
        QVERIFY2(failed.error().contains(u"Could not write "_s + path + u": Permission denied"_s),
                 failed.err.constData());
        QCOMPARE(TestSupport::readFile(path), QByteArray("{\"model\": \"m\"}"));
    }

    // ---- bots ---------------------------------------------------------------------------------

    void botsAreAddedListedAndRemovedByTheirNumberFromOne()
    {
        const CtlResult added
            = run({u"bot"_s, u"add"_s, u"--token"_s, u"111:AAA"_s, u"--nickname"_s, u"Trading"_s});
        QCOMPARE(added.exitCode, 0);
        QCOMPARE(added.output(), u"Added bot 1\n"_s);
        QCOMPARE(run({u"bot"_s, u"add"_s, u"--token"_s, u"222:BBB"_s}).output(),
                 u"Added bot 2\n"_s);
        QCOMPARE(file().value("bot_tokens"_L1).toArray(), (QJsonArray{u"111:AAA"_s, u"222:BBB"_s}));
        QCOMPARE(file().value("bot_nicknames"_L1).toArray(), (QJsonArray{u"Trading"_s, u""_s}));
        QCOMPARE(file().value("bot_token"_L1), QJsonValue(u"111:AAA"_s));

        const CtlResult list = run({u"bot"_s, u"list"_s});
        QCOMPARE(list.exitCode, 0);
        QCOMPARE(list.outputLines().size(), 3);
        QVERIFY(list.outputLines().at(1).startsWith(u"1  Trading"_s));
        QVERIFY(list.outputLines().at(2).startsWith(u"2  Bot 2"_s));
        QVERIFY(!list.output().contains(u"111:AAA"_s)); // tokens stay masked
        const QJsonArray json
            = QJsonDocument::fromJson(
                  run({u"bot"_s, u"list"_s, u"--json"_s, u"--show-secrets"_s}).out)
                  .array();
        QCOMPARE(json.at(1).toObject().value("token"_L1), QJsonValue(u"222:BBB"_s));
        QCOMPARE(json.at(1).toObject().value("number"_L1), QJsonValue(2));

        QCOMPARE(run({u"bot"_s, u"remove"_s, u"1"_s}).exitCode, 0);
        QCOMPARE(file().value("bot_tokens"_L1).toArray(), (QJsonArray{u"222:BBB"_s}));
        QCOMPARE(file().value("bot_nicknames"_L1).toArray(), (QJsonArray{u""_s}));
        QCOMPARE(run({u"bot"_s, u"get"_s, u"1"_s, u"token"_s}).output(), u"222:BBB\n"_s);
    }

    void botGetShowsTheInheritanceTextOfTheBotPage()
    {
        writeConfig(QJsonDocument(QJsonObject{{"bot_tokens"_L1, QJsonArray{u"t1"_s}},
                                              {"allowed_ids"_L1, QJsonArray{1, 2}}})
                        .toJson());
        QCOMPARE(run({u"bot"_s, u"get"_s, u"1"_s, u"allowed_ids"_s}).output(),
                 u"\nInherits the default: 1, 2\n"_s);
        QCOMPARE(run({u"bot"_s, u"set"_s, u"1"_s, u"allowed_ids"_s, u"3"_s}).exitCode, 0);
        QCOMPARE(run({u"bot"_s, u"get"_s, u"1"_s, u"allowed_ids"_s}).output(),
                 u"3\nOverrides the default (1, 2)\n"_s);
        QCOMPARE(file().value("bot_profiles"_L1).toArray().at(0).toObject().value("allowed_ids"_L1),
                 QJsonValue(QJsonArray{3}));

        QCOMPARE(run({u"bot"_s, u"get"_s, u"1"_s, u"briefing_prompt"_s}).output(),
                 u"\nInherits the default (not set)\n"_s);
        QCOMPARE(run({u"bot"_s, u"set"_s, u"1"_s, u"briefing_prompt"_s, u"markets"_s}).exitCode, 0);
        QCOMPARE(run({u"bot"_s, u"get"_s, u"1"_s, u"briefing_prompt"_s}).output(),
                 u"markets\nOverrides the default\n"_s);

        const QJsonObject json
            = objectOf(run({u"bot"_s, u"get"_s, u"1"_s, u"allowed_ids"_s, u"--json"_s}).out);
        QCOMPARE(json.value("value"_L1), QJsonValue(u"3"_s));
        QCOMPARE(json.value("default"_L1), QJsonValue(u"1, 2"_s));
        QCOMPARE(json.value("inheritance"_L1), QJsonValue(u"Overrides the default (1, 2)"_s));

        QCOMPARE(run({u"bot"_s, u"unset"_s, u"1"_s, u"allowed_ids"_s}).exitCode, 0);
        QVERIFY(
            !file().value("bot_profiles"_L1).toArray().at(0).toObject().contains("allowed_ids"_L1));
        QCOMPARE(run({u"bot"_s, u"get"_s, u"1"_s, u"allowed_ids"_s}).outputLines().value(1),
                 u"Inherits the default: 1, 2"_s);
    }

    void aBotValueEqualToTheDefaultIsNotStored()
    {
        writeFixture(u"config/full.json"_s);
        QCOMPARE(run({u"bot"_s, u"set"_s, u"2"_s, u"model"_s, u"gpt-5"_s}).exitCode, 0);
        QVERIFY(!file().value("bot_profiles"_L1).toArray().at(1).toObject().contains("model"_L1));
        QCOMPARE(run({u"bot"_s, u"set"_s, u"2"_s, u"model"_s, u"own-model"_s}).exitCode, 0);
        QCOMPARE(file().value("bot_profiles"_L1).toArray().at(1).toObject().value("model"_L1),
                 QJsonValue(u"own-model"_s));
        // Keys of the bot service that this program does not know stay in the profile.
        QCOMPARE(file().value("bot_profiles"_L1).toArray().at(0).toObject().value("soul_file"_L1),
                 QJsonValue(u"~/.zandrel/persona-trader.md"_s));
    }

    void theInheritedApiKeyStaysMaskedUnlessAsked()
    {
        writeFixture(u"config/full.json"_s);
        const QString bullets(8, QChar(0x2022));
        QCOMPARE(run({u"bot"_s, u"get"_s, u"1"_s, u"api_key"_s}).output(),
                 u"sk-bot\nOverrides the default ("_s + bullets + u")\n"_s);
        QCOMPARE(run({u"bot"_s, u"get"_s, u"1"_s, u"api_key"_s, u"--show-secrets"_s}).output(),
                 u"sk-bot\nOverrides the default (sk-primary)\n"_s);
    }

    void botSkillsAndBackupsShowTheirSummaries()
    {
        writeFixture(u"config/full.json"_s);
        QCOMPARE(run({u"bot"_s, u"get"_s, u"1"_s, u"enabled_skills"_s}).output(),
                 u"pdf\nvoice\n2 skill(s) disabled on top of the defaults\n"_s);
        QCOMPARE(run({u"bot"_s, u"get"_s, u"2"_s, u"fallbacks"_s}).output(),
                 u"Inherits the default (no backup models).\n"_s);
        QCOMPARE(run({u"bot"_s, u"unset"_s, u"1"_s, u"enabled_skills"_s}).exitCode, 0);
        QVERIFY(!file()
                     .value("bot_profiles"_L1)
                     .toArray()
                     .at(0)
                     .toObject()
                     .contains("enabled_skills"_L1));
        QCOMPARE(run({u"bot"_s, u"get"_s, u"1"_s, u"enabled_skills"_s}).output(),
                 u"All skills allowed (follows the defaults)\n"_s);
    }

    // ---- backup models ------------------------------------------------------------------------

    void backupModelsAreAddedEditedAndRemoved()
    {
        const CtlResult empty = run({u"backup"_s, u"list"_s});
        QCOMPARE(empty.output(), u"No backup models.\n"_s);
        const CtlResult added
            = run({u"backup"_s, u"add"_s, u"--url"_s, u" http://127.0.0.1:9/v1 "_s, u"--model"_s,
                   u"small"_s, u"--key"_s, u"sk-b"_s, u"--name"_s, u"Spare"_s});
        QCOMPARE(added.exitCode, 0);
        QCOMPARE(added.output(), u"Added backup model 1\n"_s);
        QCOMPARE(file().value("fallbacks"_L1).toArray(),
                 (QJsonArray{QJsonObject{{"api_key"_L1, u"sk-b"_s},
                                         {"base_url"_L1, u"http://127.0.0.1:9/v1"_s},
                                         {"model"_L1, u"small"_s},
                                         {"name"_L1, u"Spare"_s}}}));
        QCOMPARE(run({u"backup"_s, u"set"_s, u"1"_s, u"model"_s, u"larger"_s}).exitCode, 0);
        const CtlResult list = run({u"backup"_s, u"list"_s});
        QVERIFY(list.outputLines().value(1).contains(u"larger"_s));
        QVERIFY(!list.output().contains(u"sk-b"_s));
        QCOMPARE(run({u"backup"_s, u"remove"_s, u"1"_s}).exitCode, 0);
        QCOMPARE(file().value("fallbacks"_L1).toArray(), QJsonArray());
    }

    void upOnTheFirstBackupModelMakesItThePrimary()
    {
        writeFixture(u"config/full.json"_s);
        const CtlResult up = run({u"backup"_s, u"up"_s, u"1"_s});
        QCOMPARE(up.exitCode, 0);
        const QJsonObject saved = file();
        QCOMPARE(saved.value("model"_L1), QJsonValue(u"deepseek-chat"_s));
        QCOMPARE(saved.value("base_url"_L1), QJsonValue(u"https://api.deepseek.com/v1"_s));
        QCOMPARE(saved.value("model_name"_L1), QJsonValue(u"DeepSeek"_s));
        const QJsonArray backups = saved.value("fallbacks"_L1).toArray();
        QCOMPARE(backups.at(0).toObject().value("model"_L1), QJsonValue(u"gpt-5"_s));
        QCOMPARE(backups.at(0).toObject().value("api_key"_L1), QJsonValue(u"sk-primary"_s));
        QCOMPARE(backups.at(1).toObject().value("model"_L1), QJsonValue(u"qwen"_s));

        QCOMPARE(run({u"backup"_s, u"down"_s, u"1"_s}).exitCode, 0);
        QCOMPARE(file().value("fallbacks"_L1).toArray().at(0).toObject().value("model"_L1),
                 QJsonValue(u"qwen"_s));
        QCOMPARE(run({u"backup"_s, u"up"_s, u"2"_s}).exitCode, 0);
        QCOMPARE(file().value("fallbacks"_L1).toArray().at(0).toObject().value("model"_L1),
                 QJsonValue(u"gpt-5"_s));
    }

    void aBotsOwnBackupModelsAreEditedOnItsProfile()
    {
        writeFixture(u"config/full.json"_s);
        QCOMPARE(run({u"bot"_s, u"backup"_s, u"add"_s, u"1"_s, u"--url"_s, u"http://b/v1"_s,
                      u"--model"_s, u"second"_s})
                     .output(),
                 u"Added backup model 2 of bot 1\n"_s);
        auto botBackups = [this] {
            return file()
                .value("bot_profiles"_L1)
                .toArray()
                .at(0)
                .toObject()
                .value("fallbacks"_L1)
                .toArray();
        };
        QCOMPARE(botBackups().size(), 2);
        QCOMPARE(run({u"bot"_s, u"backup"_s, u"up"_s, u"1"_s, u"2"_s}).exitCode, 0);
        QCOMPARE(botBackups().at(0).toObject().value("model"_L1), QJsonValue(u"second"_s));
        QCOMPARE(run({u"bot"_s, u"backup"_s, u"set"_s, u"1"_s, u"2"_s, u"name"_s, u"L"_s}).exitCode,
                 0);
        QCOMPARE(botBackups().at(1).toObject().value("name"_L1), QJsonValue(u"L"_s));
        const QJsonArray listed
            = QJsonDocument::fromJson(
                  run({u"bot"_s, u"backup"_s, u"list"_s, u"1"_s, u"--json"_s}).out)
                  .array();
        QCOMPARE(listed.size(), 2);
        QCOMPARE(run({u"bot"_s, u"backup"_s, u"remove"_s, u"1"_s, u"1"_s}).exitCode, 0);
        QCOMPARE(botBackups().size(), 1);
        QCOMPARE(run({u"bot"_s, u"unset"_s, u"1"_s, u"fallbacks"_s}).exitCode, 0);
        QCOMPARE(botBackups().size(), 0);
        // The defaults' backup models are not touched by any of it.
        QCOMPARE(file().value("fallbacks"_L1).toArray().size(), 2);
    }

    // ---- status and provider test -------------------------------------------------------------

    void statusShowsTheRowsOfTheModelPage()
    {
        TestSupport::writeFile(statusFilePath(configPath()), statusFile());
        const CtlResult status = run({u"status"_s});
        QCOMPARE(status.exitCode, 0);
        QCOMPARE(status.outputLines(),
                 (QStringList{u"Status            Running as @alpha, Trading"_s,
                              u"Primary provider  https://api.example.com/v1"_s,
                              u"Backup models     2 configured"_s, u"Requests          15"_s,
                              u"                  bot 1: 12 · Trading: 3"_s,
                              u"Tokens used       12.4K in · 3.1K out"_s}));
        const QJsonObject json = objectOf(run({u"status"_s, u"--json"_s}).out);
        QCOMPARE(json.value("status"_L1), QJsonValue(u"Running as @alpha, Trading"_s));
        QCOMPARE(json.value("tokens_used"_L1), QJsonValue(u"12.4K in · 3.1K out"_s));
        const QJsonObject record = json.value("record"_L1).toObject();
        QCOMPARE(record.value("pid"_L1), QJsonValue(4242));
        QCOMPARE(record.value("bot_running"_L1), QJsonValue(true));
        QCOMPARE(record.value("base_url"_L1), QJsonValue(u"https://api.example.com/v1"_s));
    }

    void statusWithoutAStatusFileSaysStopped()
    {
        const CtlResult status = run({u"status"_s});
        QCOMPARE(status.exitCode, 0);
        QCOMPARE(status.outputLines(),
                 (QStringList{u"Status            Stopped"_s, u"Primary provider  not configured"_s,
                              u"Backup models     0 configured"_s, u"Requests          0"_s,
                              u"Tokens used       —"_s}));
    }

    void testSendsTheWindowsPingAndTellsByItsExitCode()
    {
        FakeProviderServer provider;
        QVERIFY(provider.listen());
        writeConfig(QJsonDocument(QJsonObject{{"base_url"_L1, provider.url(u"/v1"_s)},
                                              {"model"_L1, u"m1"_s},
                                              {"api_key"_L1, u"sk-1"_s}})
                        .toJson());
        const CtlResult reachable = run({u"test"_s});
        QCOMPARE(reachable.exitCode, 0);
        QCOMPARE(reachable.output(), u"m1: reachable (HTTP 200)\n"_s);
        QCOMPARE(provider.requests().size(), 1);
        const RecordedRequest &request = provider.requests().constFirst();
        QCOMPARE(request.method, u"POST"_s);
        QCOMPARE(request.path, u"/v1/chat/completions"_s);
        QCOMPARE(request.header("authorization"), QByteArray("Bearer sk-1"));
        QCOMPARE(request.json().value("messages"_L1).toArray().at(0).toObject().value("content"_L1),
                 QJsonValue(u"ping"_s));

        provider.setAnswer(u"/v1/chat/completions"_s, {401, 0});
        const CtlResult refused = run({u"test"_s, u"--json"_s});
        QCOMPARE(refused.exitCode, 1);
        QCOMPARE(objectOf(refused.out),
                 (QJsonObject{{"ok"_L1, false}, {"message"_L1, u"m1: HTTP 401"_s}}));
    }

    void testOfABackupModelUsesItsOwnValues()
    {
        FakeProviderServer provider;
        QVERIFY(provider.listen());
        provider.setAnswer(u"/b2/chat/completions"_s, {204, 0});
        const QJsonArray backups{
            QJsonObject{{"base_url"_L1, provider.url(u"/b1"_s)}, {"model"_L1, u"one"_s}},
            QJsonObject{{"base_url"_L1, provider.url(u"/b2/"_s)}, {"model"_L1, u"two"_s}},
        };
        writeConfig(QJsonDocument(QJsonObject{{"fallbacks"_L1, backups}}).toJson());
        const CtlResult second = run({u"test"_s, u"--backup"_s, u"2"_s});
        QCOMPARE(second.exitCode, 0);
        QCOMPARE(second.output(), u"two: reachable (HTTP 204)\n"_s);
        QCOMPARE(provider.requests().size(), 1);
        QVERIFY(!provider.requests().constFirst().hasHeader("authorization"));

        const quint16 closed = TestSupport::closedPort();
        const QString closedUrl = u"http://127.0.0.1:"_s + QString::number(closed);
        writeConfig(QJsonDocument(QJsonObject{{"base_url"_L1, closedUrl}, {"model"_L1, u"gone"_s}})
                        .toJson());
        const CtlResult unreachable = run({u"test"_s});
        QCOMPARE(unreachable.exitCode, 1);
        QVERIFY(unreachable.output().startsWith(u"gone: "_s));
    }

    // ---- skills -------------------------------------------------------------------------------

    void skillsAreListedByGroupWithTheirSwitches()
    {
        writeFixture(u"config/full.json"_s);
        writeSkill(u"stock-research"_s,
                   TestSupport::readFile(TestSupport::fixture(u"skills/stock-research.md"_s)));
        writeSkill(u"digest"_s, "# Digest\n");
        writeSkill(u"pdf"_s, pdfSkill);
        writeSkill(u"my-notes"_s, "no heading\n");
        const CtlResult list = run({u"skills"_s, u"list"_s});
        QCOMPARE(list.exitCode, 0);
        QCOMPARE(list.outputLines(),
                 (QStringList{u"Research"_s, u"  on   stock-research  Stock research"_s, u"Daily"_s,
                              u"  off  digest          Digest"_s, u"General"_s,
                              u"  on   my-notes        My Notes"_s, u"From registry"_s,
                              u"  on   pdf             PDF"_s}));
        const CtlResult forBot = run({u"skills"_s, u"list"_s, u"--bot"_s, u"1"_s});
        QVERIFY(forBot.output().contains(u"off  pdf             PDF"_s));
        QCOMPARE(forBot.outputLines().constLast(),
                 u"2 skill(s) disabled on top of the defaults."_s);
        const QJsonArray json
            = QJsonDocument::fromJson(run({u"skills"_s, u"list"_s, u"--json"_s}).out).array();
        QCOMPARE(json.size(), 4);
        QCOMPARE(json.at(0).toObject().value("description"_L1),
                 QJsonValue(u"Research a listed company: price history, filings and news."_s));
        QCOMPARE(json.at(0).toObject().value("example"_L1), QJsonValue(u"research TSLA"_s));
    }

    void skillSwitchesWriteTheListsOfSkillsSwitchedOff()
    {
        writeFixture(u"config/full.json"_s);
        writeSkill(u"voice"_s, "# Voice\n");
        writeSkill(u"media"_s, "# Media\n");
        writeSkill(u"digest"_s, "# Digest\n");
        QCOMPARE(run({u"skills"_s, u"disable"_s, u"voice"_s}).exitCode, 0);
        QCOMPARE(run({u"skills"_s, u"disable"_s, u"voice"_s}).exitCode, 0);
        QCOMPARE(file().value("enabled_skills"_L1).toArray(),
                 (QJsonArray{u"digest"_s, u"voice"_s}));
        QCOMPARE(run({u"skills"_s, u"enable"_s, u"digest"_s}).exitCode, 0);
        QCOMPARE(run({u"skills"_s, u"enable"_s, u"voice"_s}).exitCode, 0);
        // The last one switched back on leaves an empty list in the file.
        QCOMPARE(file().value("enabled_skills"_L1), QJsonValue(QJsonArray()));

        QCOMPARE(run({u"skills"_s, u"disable"_s, u"Media"_s, u"--group"_s}).exitCode, 0);
        QCOMPARE(file().value("enabled_skills"_L1).toArray(), (QJsonArray{u"media"_s, u"voice"_s}));

        QCOMPARE(run({u"skills"_s, u"disable"_s, u"digest"_s, u"--bot"_s, u"2"_s}).exitCode, 0);
        QCOMPARE(
            file().value("bot_profiles"_L1).toArray().at(1).toObject().value("enabled_skills"_L1),
            QJsonValue(QJsonArray{u"digest"_s}));
        QCOMPARE(run({u"skills"_s, u"reset"_s, u"2"_s}).exitCode, 0);
        QVERIFY(!file()
                     .value("bot_profiles"_L1)
                     .toArray()
                     .at(1)
                     .toObject()
                     .contains("enabled_skills"_L1));
    }

    void skillsSearchListsGithubRepositories()
    {
        FakeGithub github;
        m_ctl.environment().insert(u"VARNOOK_GITHUB_API_BASE"_s, github.apiBase());
        m_ctl.environment().insert(u"VARNOOK_GITHUB_RAW_BASE"_s, github.rawBase());
        QList<QByteArray> items;
        for (int i = 0; i < 10; ++i)
            items.append(FakeGithub::searchItem(u"owner/repo"_s + QString::number(i),
                                                u"Skill number "_s + QString::number(i)));
        github.serveSearchPage(1, FakeGithub::searchReply(items));
        github.serveSearchPage(
            2, FakeGithub::searchReply({FakeGithub::searchItem(u"last/one"_s, QString())}));

        const CtlResult first = run({u"skills"_s, u"search"_s, u"pdf tools"_s});
        QCOMPARE(first.exitCode, 0);
        QCOMPARE(first.outputLines().size(), 11);
        QCOMPARE(first.outputLines().at(0), u"owner/repo0  Skill number 0"_s);
        QCOMPARE(first.outputLines().at(10),
                 u"More results: varnookctl skills search \"pdf tools\" --page 2"_s);
        QVERIFY(github.requestsUnder(u"/api/search"_s)
                    .constFirst()
                    .encodedQuery.startsWith("q=pdf%20tools+skills&"));

        const QJsonObject second = objectOf(
            run({u"skills"_s, u"search"_s, u"pdf tools"_s, u"--page"_s, u"2"_s, u"--json"_s}).out);
        QCOMPARE(second.value("has_more"_L1), QJsonValue(false));
        QCOMPARE(second.value("results"_L1).toArray().at(0).toObject().value("repository"_L1),
                 QJsonValue(u"last/one"_s));
    }

    void skillsInstallFromTheCatalogueAndFromARepository()
    {
        FakeGithub github;
        m_ctl.environment().insert(u"VARNOOK_GITHUB_API_BASE"_s, github.apiBase());
        m_ctl.environment().insert(u"VARNOOK_GITHUB_RAW_BASE"_s, github.rawBase());
        github.serveRaw(u"/anthropics/skills/main/skills/pdf/SKILL.md"_s, pdfSkill);
        github.serveRaw(u"/someone/tools/master/SKILL.md"_s, "# Tools\n");

        const CtlResult pdf = run({u"skills"_s, u"install"_s, u"pdf"_s});
        QCOMPARE(pdf.exitCode, 0);
        QCOMPARE(TestSupport::readFile(skillsPath() + u"/pdf.md"_s), pdfSkill);
        const CtlResult repo = run({u"skills"_s, u"install"_s, u"someone/tools"_s});
        QCOMPARE(repo.exitCode, 0);
        QCOMPARE(TestSupport::readFile(skillsPath() + u"/someone-tools.md"_s),
                 QByteArray("# Tools\n"));
        QVERIFY(run({u"skills"_s, u"catalog"_s}).output().contains(u"installed"_s));

        const CtlResult missing = run({u"skills"_s, u"install"_s, u"nobody/nothing"_s});
        QCOMPARE(missing.exitCode, 1);
        QVERIFY(missing.oneErrorLine());
        const CtlResult unknown = run({u"skills"_s, u"install"_s, u"not-in-the-catalogue"_s});
        QCOMPARE(unknown.exitCode, 2);
        QVERIFY(unknown.oneErrorLine());

        // Downloaded, but a folder stands where the file goes: the system's reason, not "download".
        QVERIFY(QFile::remove(skillsPath() + u"/pdf.md"_s));
        QVERIFY(QDir().mkpath(skillsPath() + u"/pdf.md/inside"_s));
        const CtlResult unwritable = run({u"skills"_s, u"install"_s, u"pdf"_s});
        QCOMPARE(unwritable.exitCode, 1);
        QVERIFY(unwritable.oneErrorLine());
        const QString error = QString::fromUtf8(unwritable.err);
        QVERIFY2(error.contains(u"could not write pdf into "_s)
                     && error.contains(u": Is a directory"_s),
                 qPrintable(error));
    }

    void skillsInstallTakesTheNestedNamesOfTheFullCatalogue()
    {
        FakeGithub github;
        m_ctl.environment().insert(u"VARNOOK_GITHUB_API_BASE"_s, github.apiBase());
        m_ctl.environment().insert(u"VARNOOK_GITHUB_RAW_BASE"_s, github.rawBase());
        github.serveApi(u"/repos/anthropics/skills"_s,
                        FakeGithub::repositoryInfo(u"anthropics/skills"_s, u"main"_s));
        github.serveApi(
            u"/repos/anthropics/skills/git/trees/main"_s,
            FakeGithub::tree({u"skills/pdf/SKILL.md"_s, u"skills/home/garden/SKILL.md"_s}));
        github.serveRaw(u"/anthropics/skills/main/skills/home/garden/SKILL.md"_s, "# Garden\n");
        // A repository of the same name must not be what gets installed.
        github.serveRaw(u"/home/garden/main/SKILL.md"_s, "# Wrong one\n");

        const CtlResult catalog = run({u"skills"_s, u"catalog"_s, u"--full"_s});
        QCOMPARE(catalog.exitCode, 0);
        QVERIFY(catalog.output().contains(u"home/garden"_s));
        // The fixed PDF entry is listed once, although the repository has it too.
        QCOMPARE(catalog.output().count(u"pdf "_s), 1);

        const CtlResult nested = run({u"skills"_s, u"install"_s, u"home/garden"_s});
        QCOMPARE(nested.exitCode, 0);
        QCOMPARE(TestSupport::readFile(skillsPath() + u"/home-garden.md"_s),
                 QByteArray("# Garden\n"));

        // github:owner/repo always means the repository.
        const CtlResult repository = run({u"skills"_s, u"install"_s, u"github:home/garden"_s});
        QCOMPARE(repository.exitCode, 0);
        QCOMPARE(TestSupport::readFile(skillsPath() + u"/home-garden.md"_s),
                 QByteArray("# Wrong one\n"));
    }

    void skillsShowPrintsWhatThePreviewShows()
    {
        FakeGithub github;
        m_ctl.environment().insert(u"VARNOOK_GITHUB_API_BASE"_s, github.apiBase());
        m_ctl.environment().insert(u"VARNOOK_GITHUB_RAW_BASE"_s, github.rawBase());
        QByteArray body = "---\ndescription: >-\n  Folded over\n  two lines.\n---\n# PDF tools\n";
        for (int i = 1; i <= 50; ++i)
            body += "line " + QByteArray::number(i) + '\n';
        github.serveRaw(u"/anthropics/skills/main/skills/pdf/SKILL.md"_s, body);

        const CtlResult show = run({u"skills"_s, u"show"_s, u"pdf"_s});
        QCOMPARE(show.exitCode, 0);
        const QStringList lines = show.outputLines();
        QCOMPARE(lines.at(0), u"Title:        PDF tools"_s);
        QCOMPARE(lines.at(1), u"Description:  Folded over two lines."_s);
        QCOMPARE(lines.at(2), u"Source:       "_s + github.rawBase()
                                  + u"/anthropics/skills/main/skills/pdf/SKILL.md"_s);
        QCOMPARE(lines.at(3), u"Size:         "_s + QString::number(body.size()) + u" bytes"_s);
        QCOMPARE(lines.at(4), u"Installs as:  pdf.md"_s);
        QCOMPARE(lines.at(6), u"First 40 of 56 lines:"_s);
        QCOMPARE(lines.at(7), u"  ---"_s);
        QCOMPARE(lines.size(), 7 + 40);
        QCOMPARE(lines.last(), u"  line 34"_s);
        // Nothing is installed by looking.
        QVERIFY(!QFile::exists(skillsPath() + u"/pdf.md"_s));

        const QJsonObject json = objectOf(run({u"skills"_s, u"show"_s, u"pdf"_s, u"--json"_s}).out);
        QCOMPARE(json.value("title"_L1), QJsonValue(u"PDF tools"_s));
        QCOMPARE(json.value("lines"_L1).toArray().size(), 40);

        const CtlResult missing = run({u"skills"_s, u"show"_s, u"docx"_s});
        QCOMPARE(missing.exitCode, 1);
        QVERIFY(missing.oneErrorLine());
    }

    void skillsDeleteRemovesARegistrySkillAndItsSwitch()
    {
        writeConfig(
            QJsonDocument(QJsonObject{{"enabled_skills"_L1, QJsonArray{u"pdf"_s}}}).toJson());
        writeSkill(u"pdf"_s, pdfSkill);
        writeSkill(u"voice"_s, "# Voice\n");
        QCOMPARE(run({u"skills"_s, u"delete"_s, u"pdf"_s}).exitCode, 0);
        QVERIFY(!QFile::exists(skillsPath() + u"/pdf.md"_s));
        QCOMPARE(file().value("enabled_skills"_L1), QJsonValue(QJsonArray()));

        // The skills the service ships with have no delete button in the window.
        const CtlResult builtin = run({u"skills"_s, u"delete"_s, u"voice"_s});
        QCOMPARE(builtin.exitCode, 2);
        QVERIFY(QFile::exists(skillsPath() + u"/voice.md"_s));
        QCOMPARE(run({u"skills"_s, u"delete"_s, u"voice"_s, u"--force"_s}).exitCode, 0);
        QVERIFY(!QFile::exists(skillsPath() + u"/voice.md"_s));
        QCOMPARE(run({u"skills"_s, u"delete"_s, u"voice"_s}).exitCode, 2);
    }

    void skillsCatalogListsTheFixedEntriesAndTheFullCatalogue()
    {
        FakeGithub github;
        m_ctl.environment().insert(u"VARNOOK_GITHUB_API_BASE"_s, github.apiBase());
        m_ctl.environment().insert(u"VARNOOK_GITHUB_RAW_BASE"_s, github.rawBase());
        const QJsonArray fixed
            = QJsonDocument::fromJson(run({u"skills"_s, u"catalog"_s, u"--json"_s}).out).array();
        QCOMPARE(fixed.size(), 21);
        // In title order, as on the Registry page.
        QCOMPARE(fixed.at(0).toObject().value("title"_L1), QJsonValue(u"Algorithmic art"_s));
        QCOMPARE(fixed.at(1).toObject().value("title"_L1), QJsonValue(u"Brainstorming"_s));
        const CtlResult filtered = run({u"skills"_s, u"catalog"_s, u"pdf"_s});
        QCOMPARE(filtered.outputLines().size(), 1);
        QVERIFY(filtered.output().startsWith(u"pdf  PDF  Read, merge, split"_s));

        github.serveApi(u"/repos/anthropics/skills"_s,
                        FakeGithub::repositoryInfo(u"anthropics/skills"_s, u"main"_s));
        github.serveApi(
            u"/repos/anthropics/skills/git/trees/main"_s,
            FakeGithub::tree({u"skills/extra-skill/SKILL.md"_s, u"skills/pdf/SKILL.md"_s}));
        writeConfig(
            QJsonDocument(QJsonObject{{"skill_sources"_L1, QJsonArray{u"gone/repo"_s}}}).toJson());
        const CtlResult full = run({u"skills"_s, u"catalog"_s, u"--full"_s});
        // One source could not be loaded: the entries are shown, the error too, exit code 1.
        QCOMPARE(full.exitCode, 1);
        QVERIFY(full.oneErrorLine());
        QVERIFY(full.error().contains(u"Couldn't load gone/repo"_s));
        const QStringList extra = full.outputLines().filter(u"extra-skill "_s);
        QCOMPARE(extra.size(), 1);
        QVERIFY(extra.constFirst().contains(u" Extra Skill "_s));
        QVERIFY(extra.constFirst().endsWith(u"From anthropics/skills"_s));
    }

    void addSourceAddsEachRepositoryOnce()
    {
        QCOMPARE(run({u"skills"_s, u"add-source"_s, u" me/skills "_s}).exitCode, 0);
        QCOMPARE(run({u"skills"_s, u"add-source"_s, u"me/skills"_s}).exitCode, 0);
        QCOMPARE(file().value("skill_sources"_L1).toArray(), (QJsonArray{u"me/skills"_s}));
    }

    // ---- export, import, personas -------------------------------------------------------------

    void exportCopiesTheFileByteForByteAndNeverReplacesOne()
    {
        writeFixture(u"config/full.json"_s);
        const QString copy = m_dir->filePath(u"varnook-config.json"_s);
        const CtlResult exported = run({u"export"_s, copy});
        QCOMPARE(exported.exitCode, 0);
        QCOMPARE(TestSupport::readFile(copy), fileBytes());
        QCOMPARE(QFileInfo(copy).permissions() & (QFile::ReadOther | QFile::ReadGroup),
                 QFile::Permissions());

        const QString existing = m_dir->filePath(u"existing.json"_s);
        TestSupport::writeFile(existing, "keep");
        const CtlResult refused = run({u"export"_s, existing});
        QCOMPARE(refused.exitCode, 2);
        QVERIFY(refused.oneErrorLine());
        QCOMPARE(TestSupport::readFile(existing), QByteArray("keep"));

        m_ctl.setConfig(m_dir->filePath(u"none.json"_s));
        const CtlResult nothing = run({u"export"_s, m_dir->filePath(u"other.json"_s)});
        QCOMPARE(nothing.exitCode, 1);
        QVERIFY(nothing.oneErrorLine());
        QVERIFY(!QFile::exists(m_dir->filePath(u"other.json"_s)));
    }

    void importReplacesTheConfigurationAndSavesItByTheUsualRules()
    {
        writeFixture(u"config/full.json"_s);
        const CtlResult legacy
            = run({u"import"_s, TestSupport::fixture(u"config/legacy-single-token.json"_s)});
        QCOMPARE(legacy.exitCode, 0);
        const QJsonObject saved = file();
        QCOMPARE(saved.value("bot_tokens"_L1).toArray(), (QJsonArray{u"tok1"_s}));
        QCOMPARE(saved.value("model"_L1), QJsonValue(u"gpt-legacy"_s));
        // Keys of the old configuration that the imported one lacks are gone.
        QCOMPARE(saved.value("fallbacks"_L1).toArray(), QJsonArray());
        QVERIFY(!saved.contains("data_dir"_L1) || saved.value("data_dir"_L1) == u""_s);
        QCOMPARE(saved.value("max_tokens"_L1), QJsonValue(350));

        QCOMPARE(run({u"import"_s, TestSupport::fixture(u"config/unknown-keys.json"_s)}).exitCode,
                 0);
        QCOMPARE(file().value("x_string"_L1), QJsonValue(u"unknown top-level text"_s));
    }

    void importOfAFileThatIsNoConfigurationChangesNothing_data()
    {
        QTest::addColumn<QString>("source");
        QTest::newRow("array") << TestSupport::fixture(u"config/top-level-array.json"_s);
        QTest::newRow("truncated") << TestSupport::fixture(u"config/truncated.json"_s);
        QTest::newRow("missing") << u"no-such-file.json"_s;
    }

    void importOfAFileThatIsNoConfigurationChangesNothing()
    {
        QFETCH(QString, source);
        writeFixture(u"config/full.json"_s);
        const QByteArray before = fileBytes();
        const CtlResult refused = run({u"import"_s, source});
        QCOMPARE(refused.exitCode, 2);
        QVERIFY(refused.oneErrorLine());
        QCOMPARE(fileBytes(), before);
    }

    void personasListsTheFilesTheSoulMenusOffer()
    {
        const QString folder = m_dir->filePath(u"personas"_s);
        QVERIFY(QDir().mkpath(folder));
        for (const QString &name : {u"Soul.md"_s, u"my-persona.MD"_s, u"notes.md"_s, u"soul.txt"_s})
            TestSupport::writeFile(folder + u'/' + name, "# persona\n");
        const QString soul = folder + u"/Soul.md"_s;
        writeConfig(QJsonDocument(QJsonObject{{"soul_file"_L1, soul}}).toJson());
        const CtlResult personas = run({u"personas"_s});
        QCOMPARE(personas.exitCode, 0);
        QCOMPARE(personas.output(), u"Soul.md\nmy-persona.MD\n"_s);
        const QJsonObject json = objectOf(run({u"personas"_s, u"--json"_s}).out);
        QCOMPARE(json.value("folder"_L1), QJsonValue(folder));
    }

    // ---- help ---------------------------------------------------------------------------------

    void everyCommandHasHelp()
    {
        const CtlResult general = m_ctl.runRaw({u"--help"_s});
        QCOMPARE(general.exitCode, 0);
        QVERIFY(general.output().contains(u"bot set N KEY VALUE"_s));
        QVERIFY(general.output().contains(u"skills install NAME"_s));
        const CtlResult command = m_ctl.runRaw({u"bot"_s, u"set"_s, u"--help"_s});
        QCOMPARE(command.exitCode, 0);
        QVERIFY(command.output().startsWith(u"Usage: varnookctl [options] bot set N KEY VALUE"_s));
        QVERIFY(command.output().contains(u"--config <path>"_s));
        const CtlResult group = m_ctl.runRaw({u"help"_s, u"backup"_s});
        QCOMPARE(group.exitCode, 0);
        QVERIFY(group.output().contains(u"backup up N"_s));
        const CtlResult nothing = m_ctl.runRaw({});
        QCOMPARE(nothing.exitCode, 2);
        QVERIFY(nothing.oneErrorLine());
    }

    void everyCommandOfTheGeneralHelpHasItsOwnHelp()
    {
        const QStringList lines = m_ctl.runRaw({u"--help"_s}).outputLines();
        const qsizetype first = lines.indexOf(u"Commands:"_s) + 1;
        QVERIFY(first > 0);
        int commands = 0;
        for (qsizetype i = first; i < lines.size() && !lines.at(i).isEmpty(); ++i) {
            // "  bot set N KEY VALUE      Give a bot …": the words before the first capital.
            QStringList words;
            for (const QString &word : lines.at(i).split(u' ', Qt::SkipEmptyParts)) {
                if (word.front().isUpper() || word.front() == u'[')
                    break;
                words.append(word);
            }
            const CtlResult help = m_ctl.runRaw(words + QStringList{u"--help"_s});
            QCOMPARE(help.exitCode, 0);
            QVERIFY2(help.output().startsWith(u"Usage: varnookctl [options] "_s + words.join(u' ')),
                     qPrintable(words.join(u' ')));
            ++commands;
        }
        QVERIFY(commands >= 35);
        QCOMPARE(m_ctl.runRaw({u"--version"_s}).output(), u"varnookctl " VARNOOK_VERSION "\n"_s);
    }

    void keysListsWhatUnsetWrites()
    {
        const CtlResult keys = m_ctl.runRaw({u"keys"_s, u"--json"_s});
        QCOMPARE(keys.exitCode, 0);
        const QJsonArray array = QJsonDocument::fromJson(keys.out).array();
        QJsonObject maxTokens;
        for (const QJsonValue &key : array) {
            if (key.toObject().value("key"_L1) == u"max_tokens"_s)
                maxTokens = key.toObject();
        }
        QCOMPARE(maxTokens.value("kind"_L1), QJsonValue(u"number"_s));
        QCOMPARE(maxTokens.value("unset"_L1), QJsonValue(u"350"_s));
        QVERIFY(m_ctl.runRaw({u"keys"_s, u"--bot"_s}).output().contains(u"nickname"_s));
    }
};

QTEST_GUILESS_MAIN(TestCtl)
#include "tst_ctl.moc"
