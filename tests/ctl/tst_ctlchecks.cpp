// varnookctl bot check and skills outdated|update against loopback servers: what they print,
// their exit codes, the skill files they leave, and that a token is never printed.
#include "ctlprocess.h"

#include "support/faketelegram.h"
#include "support/catalogueskills.h"
#include "support/fakegithub.h"
#include "support/hostileserver.h"
#include "support/silentserver.h"
#include "support/testsupport.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString goodToken = u"111111:AAA-good"_s;
const QString badToken = u"222222:BBB-bad"_s;

} // namespace

using namespace CatalogueSkills;

class TestCtlChecks final : public QObject {
    Q_OBJECT
    std::unique_ptr<QTemporaryDir> m_dir;
    CtlProcess m_ctl;

    QString configPath() const { return m_dir->filePath(u"bot-config.json"_s); }
    QString skillsPath() const { return m_dir->filePath(u"skills"_s); }
    QString skillFile(const QString &name) const { return skillsPath() + u'/' + name + u".md"_s; }
    void install(const QString &name, const QByteArray &bytes)
    {
        QDir().mkpath(skillsPath());
        TestSupport::writeFile(skillFile(name), bytes);
    }
    void writeBots(const QStringList &tokens)
    {
        TestSupport::writeFile(
            configPath(),
            QJsonDocument(QJsonObject{{u"bot_tokens"_s, QJsonArray::fromStringList(tokens)},
                                      {u"bot_nicknames"_s, QJsonArray{u"Trading"_s}}})
                .toJson());
    }
    CtlResult run(const QStringList &arguments) { return m_ctl.run(arguments); }
    static void verifyNoToken(const CtlResult &result, const QString &token)
    {
        const QString piece = token.sliced(token.indexOf(u':') + 1);
        QVERIFY2(!result.output().contains(piece), qPrintable(result.output()));
        QVERIFY2(!result.error().contains(piece), qPrintable(result.error()));
    }

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
        m_ctl.environment().insert(u"DBUS_SESSION_BUS_ADDRESS"_s,
                                   u"unix:path="_s + m_dir->filePath(u"no-bus"_s));
    }

    // ---- bot check -----------------------------------------------------------------------------

    void botCheckNamesTheBotOfAGoodToken()
    {
        FakeTelegram telegram;
        telegram.addBot(goodToken, u"varnook_trading_bot"_s, u"Trading desk"_s);
        m_ctl.environment().insert(u"VARNOOK_TELEGRAM_API_BASE"_s, telegram.base());
        writeBots({goodToken, badToken});

        const CtlResult good = run({u"bot"_s, u"check"_s, u"1"_s});
        QCOMPARE(good.exitCode, 0);
        QCOMPARE(good.output(), u"Trading: @varnook_trading_bot · Trading desk\n"_s);
        QVERIFY(good.err.isEmpty());
        verifyNoToken(good, goodToken);

        const CtlResult json = run({u"bot"_s, u"check"_s, u"1"_s, u"--json"_s});
        QCOMPARE(json.exitCode, 0);
        const QJsonObject object = QJsonDocument::fromJson(json.out).object();
        QCOMPARE(object.value("valid"_L1), QJsonValue(true));
        QCOMPARE(object.value("text"_L1), QJsonValue(u"@varnook_trading_bot · Trading desk"_s));
        QCOMPARE(object.value("number"_L1), QJsonValue(1));
        verifyNoToken(json, goodToken);
    }

    void botCheckGivesTelegramsReasonForABadToken()
    {
        FakeTelegram telegram;
        m_ctl.environment().insert(u"VARNOOK_TELEGRAM_API_BASE"_s, telegram.base());
        writeBots({goodToken, badToken});
        const CtlResult bad = run({u"bot"_s, u"check"_s, u"2"_s});
        QCOMPARE(bad.exitCode, 1);
        QVERIFY(bad.out.isEmpty());
        QCOMPARE(bad.error(), u"varnookctl: Bot 2: Unauthorized\n"_s);
        verifyNoToken(bad, badToken);
        QCOMPARE(telegram.paths(), QStringList{u"/bot"_s + badToken + u"/getMe"_s});

        const CtlResult json = run({u"bot"_s, u"check"_s, u"2"_s, u"--json"_s});
        QCOMPARE(json.exitCode, 1);
        QCOMPARE(QJsonDocument::fromJson(json.out).object().value("text"_L1),
                 QJsonValue(u"Unauthorized"_s));
    }

    void botCheckRefusesABotThatIsNotThere()
    {
        writeBots({goodToken});
        const CtlResult missing = run({u"bot"_s, u"check"_s, u"3"_s});
        QCOMPARE(missing.exitCode, 2);
        QVERIFY(missing.oneErrorLine());
    }

    void botCheckEndsOnGarbageSilenceAndEndlessAnswers()
    {
        writeBots({goodToken});
        // Garbage
        FakeTelegram telegram;
        telegram.serve(goodToken, "<html>" + goodToken.toUtf8() + "</html>", 200);
        m_ctl.environment().insert(u"VARNOOK_TELEGRAM_API_BASE"_s, telegram.base());
        CtlResult result = run({u"bot"_s, u"check"_s, u"1"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.error(), u"varnookctl: Trading: Telegram's answer was not understood\n"_s);

        // Endless
        HostileServer endless(HostileServer::Mode::EndlessBody);
        m_ctl.environment().insert(u"VARNOOK_TELEGRAM_API_BASE"_s, endless.url());
        result = run({u"bot"_s, u"check"_s, u"1"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.error(), u"varnookctl: Trading: Answer larger than 64 KiB\n"_s);

        // A connection cut in the middle of the answer: Qt's reason quotes the address.
        HostileServer cut(HostileServer::Mode::ReplyAndClose);
        cut.setAnswer("HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\n{");
        m_ctl.environment().insert(u"VARNOOK_TELEGRAM_API_BASE"_s, cut.url());
        result = run({u"bot"_s, u"check"_s, u"1"_s});
        QCOMPARE(result.exitCode, 1);
        QVERIFY(result.oneErrorLine());
        verifyNoToken(result, goodToken);
    }

    void botCheckOfAServerThatNeverAnswersEnds()
    {
        writeBots({goodToken});
        SilentServer silent;
        QVERIFY(silent.listen());
        m_ctl.environment().insert(u"VARNOOK_TELEGRAM_API_BASE"_s, silent.url());
        const CtlResult result = m_ctl.run({u"bot"_s, u"check"_s, u"1"_s}, 40000);
        QVERIFY(result.finished);
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.error(), u"varnookctl: Trading: Request timed out\n"_s);
    }

    // ---- skills outdated / update --------------------------------------------------------------

    void outdatedListsEachInstalledCatalogueSkill()
    {
        FakeGithub github;
        m_ctl.environment().insert(u"VARNOOK_GITHUB_RAW_BASE"_s, github.rawBase());
        install(u"pdf"_s, oldPdf);
        install(u"docx"_s, docx);
        install(u"briefing"_s, "# Briefing\n");
        github.serveRaw(rawPath(u"pdf"_s), newPdf);
        github.serveRaw(rawPath(u"docx"_s), docx);

        const CtlResult result = run({u"skills"_s, u"outdated"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.outputLines(),
                 (QStringList{u"pdf   update available"_s, u"docx  up to date"_s,
                              u"1 update available."_s}));
        QCOMPARE(TestSupport::readFile(skillFile(u"pdf"_s)), oldPdf);

        const CtlResult json = run({u"skills"_s, u"outdated"_s, u"--json"_s});
        const QJsonArray array = QJsonDocument::fromJson(json.out).array();
        QCOMPARE(array.size(), 2);
        QCOMPARE(array.at(0).toObject().value("state"_L1), QJsonValue(u"outdated"_s));
        QCOMPARE(array.at(1).toObject().value("state"_L1), QJsonValue(u"current"_s));
    }

    void outdatedFailsWhenASourceCannotBeRead()
    {
        FakeGithub github;
        m_ctl.environment().insert(u"VARNOOK_GITHUB_RAW_BASE"_s, github.rawBase());
        install(u"pdf"_s, oldPdf);
        install(u"xlsx"_s, "# Sheets\n"); // not on the server
        github.serveRaw(rawPath(u"pdf"_s), oldPdf);
        const CtlResult result = run({u"skills"_s, u"outdated"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.outputLines(),
                 (QStringList{u"pdf   up to date"_s, u"xlsx  couldn't check: HTTP 404"_s,
                              u"Couldn't check 1 of 2."_s}));
    }

    void outdatedWithNothingFromTheCatalogue()
    {
        FakeGithub github;
        m_ctl.environment().insert(u"VARNOOK_GITHUB_RAW_BASE"_s, github.rawBase());
        install(u"briefing"_s, "# Briefing\n");
        const CtlResult result = run({u"skills"_s, u"outdated"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.output(), u"No skills from the catalogue are installed.\n"_s);
        QVERIFY(github.requests().isEmpty());
    }

    void outdatedOfAnEndlessSourceStopsAtTheCap()
    {
        HostileServer endless(HostileServer::Mode::EndlessBody);
        m_ctl.environment().insert(u"VARNOOK_GITHUB_RAW_BASE"_s, endless.url());
        install(u"pdf"_s, oldPdf);
        const CtlResult result = run({u"skills"_s, u"outdated"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.outputLines().value(0), u"pdf  couldn't check: Answer larger than 4 MiB"_s);
        QCOMPARE(TestSupport::readFile(skillFile(u"pdf"_s)), oldPdf);
    }

    void updateWritesTheChangedSkills()
    {
        FakeGithub github;
        m_ctl.environment().insert(u"VARNOOK_GITHUB_RAW_BASE"_s, github.rawBase());
        install(u"pdf"_s, oldPdf);
        install(u"docx"_s, docx);
        github.serveRaw(rawPath(u"pdf"_s), newPdf);
        github.serveRaw(rawPath(u"docx"_s), docx);

        const CtlResult result = run({u"skills"_s, u"update"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.output(), u"Updated pdf.md in "_s + skillsPath() + u"\n"_s);
        QCOMPARE(TestSupport::readFile(skillFile(u"pdf"_s)), newPdf);
        QCOMPARE(TestSupport::readFile(skillFile(u"docx"_s)), docx);
        QCOMPARE(QDir(skillsPath()).entryList(QDir::Files | QDir::Hidden),
                 (QStringList{u"docx.md"_s, u"pdf.md"_s}));

        const CtlResult again = run({u"skills"_s, u"update"_s});
        QCOMPARE(again.exitCode, 0);
        QCOMPARE(again.output(), u"All catalogue skills are up to date.\n"_s);
    }

    void updateOfOneNameTouchesOnlyThatOne()
    {
        FakeGithub github;
        m_ctl.environment().insert(u"VARNOOK_GITHUB_RAW_BASE"_s, github.rawBase());
        install(u"pdf"_s, oldPdf);
        install(u"docx"_s, "# Old word\n");
        github.serveRaw(rawPath(u"pdf"_s), newPdf);
        github.serveRaw(rawPath(u"docx"_s), docx);

        const CtlResult result = run({u"skills"_s, u"update"_s, u"docx"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(TestSupport::readFile(skillFile(u"docx"_s)), docx);
        QCOMPARE(TestSupport::readFile(skillFile(u"pdf"_s)), oldPdf);
        QCOMPARE(github.requestsUnder(u"/raw/"_s).size(), 1);
        QCOMPARE(run({u"skills"_s, u"update"_s, u"docx"_s}).output(), u"docx is up to date.\n"_s);

        const CtlResult builtin = run({u"skills"_s, u"update"_s, u"briefing"_s});
        QCOMPARE(builtin.exitCode, 2);
        QVERIFY(builtin.oneErrorLine());
        const CtlResult absent = run({u"skills"_s, u"update"_s, u"xlsx"_s});
        QCOMPARE(absent.exitCode, 2);
        QVERIFY(absent.oneErrorLine());
    }

    void updateThatCannotDownloadLeavesTheFile()
    {
        FakeGithub github;
        m_ctl.environment().insert(u"VARNOOK_GITHUB_RAW_BASE"_s, github.rawBase());
        install(u"pdf"_s, oldPdf);
        const CtlResult result = run({u"skills"_s, u"update"_s, u"pdf"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.error(), u"varnookctl: couldn't check pdf: HTTP 404\n"_s);
        QCOMPARE(TestSupport::readFile(skillFile(u"pdf"_s)), oldPdf);
    }
};

QTEST_GUILESS_MAIN(TestCtlChecks)
#include "tst_ctlchecks.moc"
