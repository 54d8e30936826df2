// Secrets given on standard input: a value of "-" is read as one line from stdin, so that API
// keys and bot tokens never appear among the process's arguments (which every user of the
// machine can read in /proc).
#include "ctlprocess.h"

#include "support/testsupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

// varnookctl --config <config> <arguments…> with `input` on its standard input.
CtlResult runWithInput(const QString &config, const QStringList &arguments, const QByteArray &input)
{
    CtlResult result;
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // No session bus: the posts go nowhere, which these tests do not look at.
    environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent"_s);
    process.setProcessEnvironment(environment);
    process.start(CtlProcess::binary(), QStringList{u"--config"_s, config} + arguments);
    if (!process.waitForStarted(30000))
        return result;
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        return result;
    }
    result.finished = process.exitStatus() == QProcess::NormalExit;
    result.exitCode = process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

} // namespace

class TestCtlSecrets final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString config() const { return m_dir.filePath(u"bot-config.json"_s); }
    QJsonObject document() const
    {
        return QJsonDocument::fromJson(TestSupport::readFile(config())).object();
    }

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(TestSupport::writeFile(config(), R"({"bot_tokens": ["1:first"]})"));
    }

    void apiKeyIsReadFromStandardInput_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::newRow("line feed") << QByteArray("sk-from-stdin\n");
        QTest::newRow("carriage return and line feed") << QByteArray("sk-from-stdin\r\n");
        QTest::newRow("no line break") << QByteArray("sk-from-stdin");
        QTest::newRow("only the first line") << QByteArray("sk-from-stdin\nsecond line\n");
    }

    void apiKeyIsReadFromStandardInput()
    {
        QFETCH(QByteArray, input);
        const CtlResult result = runWithInput(config(), {u"set"_s, u"api_key"_s, u"-"_s}, input);
        QVERIFY2(result.finished && result.exitCode == 0, result.err.constData());
        QCOMPARE(document().value("api_key"_L1).toString(), u"sk-from-stdin"_s);
    }

    void valueKeepsItsBlanksAndUnicode()
    {
        const CtlResult result = runWithInput(config(), {u"set"_s, u"briefing_prompt"_s, u"-"_s},
                                              u" Résumé the news — briefly \n"_s.toUtf8());
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(document().value("briefing_prompt"_L1).toString(),
                 u" Résumé the news — briefly "_s);
    }

    void botTokenIsReadFromStandardInput()
    {
        const CtlResult result = runWithInput(
            config(), {u"bot"_s, u"set"_s, u"1"_s, u"token"_s, u"-"_s}, "123456:SECRET-token\n");
        QVERIFY2(result.exitCode == 0, result.err.constData());
        QCOMPARE(document().value("bot_tokens"_L1).toArray().at(0).toString(),
                 u"123456:SECRET-token"_s);
    }

    void newBotTokenIsReadFromStandardInput()
    {
        const CtlResult result = runWithInput(
            config(), {u"bot"_s, u"add"_s, u"--token"_s, u"-"_s, u"--nickname"_s, u"Second"_s},
            "222:second\n");
        QVERIFY2(result.exitCode == 0, result.err.constData());
        QCOMPARE(document().value("bot_tokens"_L1).toArray(),
                 (QJsonArray{u"1:first"_s, u"222:second"_s}));
    }

    void backupKeyIsReadFromStandardInput()
    {
        CtlResult result
            = runWithInput(config(),
                           {u"backup"_s, u"add"_s, u"--url"_s, u"https://api.example.test/v1"_s,
                            u"--model"_s, u"m"_s, u"--key"_s, u"-"_s},
                           "sk-backup\n");
        QVERIFY2(result.exitCode == 0, result.err.constData());
        QCOMPARE(document().value("fallbacks"_L1).toArray().at(0).toObject().value("api_key"_L1),
                 QJsonValue(u"sk-backup"_s));
        result = runWithInput(config(), {u"backup"_s, u"set"_s, u"1"_s, u"api_key"_s, u"-"_s},
                              "sk-changed\n");
        QVERIFY2(result.exitCode == 0, result.err.constData());
        QCOMPARE(document().value("fallbacks"_L1).toArray().at(0).toObject().value("api_key"_L1),
                 QJsonValue(u"sk-changed"_s));
    }

    void overlongInputIsRefusedAndNothingIsWritten()
    {
        const QByteArray before = TestSupport::readFile(config());
        const CtlResult result = runWithInput(config(), {u"set"_s, u"api_key"_s, u"-"_s},
                                              QByteArray(64 * 1024 + 1, 'k') + '\n');
        QCOMPARE(result.exitCode, 2);
        QVERIFY(result.oneErrorLine());
        QVERIFY2(result.error().contains(u"longer than 64 KiB"_s), result.err.constData());
        QCOMPARE(TestSupport::readFile(config()), before);
    }

    void inputOfExactlyTheLimitIsTaken()
    {
        const QByteArray value(64 * 1024, 'k');
        const CtlResult result
            = runWithInput(config(), {u"set"_s, u"api_key"_s, u"-"_s}, value + "\r\n");
        QVERIFY2(result.exitCode == 0, result.err.constData());
        QCOMPARE(document().value("api_key"_L1).toString().toUtf8(), value);
    }

    void endlessInputIsNotReadToItsEnd()
    {
        // Far more than the limit, without a line break: refused after the limit, not read whole.
        const CtlResult result = runWithInput(config(), {u"set"_s, u"api_key"_s, u"-"_s},
                                              QByteArray(8 * 1024 * 1024, 'k'));
        QVERIFY(result.finished);
        QCOMPARE(result.exitCode, 2);
    }

    void secondValueFromStandardInputIsRefused()
    {
        const QByteArray before = TestSupport::readFile(config());
        const CtlResult result = runWithInput(
            config(), {u"bot"_s, u"add"_s, u"--token"_s, u"-"_s, u"--nickname"_s, u"-"_s},
            "333:third\nNick\n");
        QCOMPARE(result.exitCode, 2);
        QVERIFY(result.oneErrorLine());
        QCOMPARE(TestSupport::readFile(config()), before);
    }

    void emptyInputGivesAnEmptyValue()
    {
        QVERIFY(TestSupport::writeFile(config(), R"({"api_key": "old"})"));
        const CtlResult result = runWithInput(config(), {u"set"_s, u"api_key"_s, u"-"_s}, "\n");
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(document().value("api_key"_L1).toString(), QString());
    }
};

QTEST_GUILESS_MAIN(TestCtlSecrets)
#include "tst_ctlsecrets.moc"
