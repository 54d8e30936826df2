// varnookctl models and varnookctl test --all against loopback providers: what they print, as
// text and JSON, their exit codes, and that no key ever shows.
#include "ctlprocess.h"

#include "support/fakeproviderserver.h"
#include "support/testsupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

QByteArray modelsAnswer(const QStringList &ids)
{
    QJsonArray data;
    for (const QString &id : ids)
        data.append(QJsonObject{{u"id"_s, id}});
    return QJsonDocument(QJsonObject{{u"data"_s, data}}).toJson();
}

QJsonObject provider(const QString &url, const QString &key, const QString &model)
{
    return {{u"base_url"_s, url}, {u"api_key"_s, key}, {u"model"_s, model}};
}

} // namespace

class TestCtlProviders final : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    CtlProcess m_ctl;
    FakeProviderServer m_server;

    QString configPath() const { return m_dir->filePath(u"bot-config.json"_s); }
    void writeConfig(const QJsonObject &config)
    {
        QVERIFY(TestSupport::writeFile(configPath(), QJsonDocument(config).toJson()));
    }
    CtlResult run(const QStringList &arguments) { return m_ctl.run(arguments); }

    // Primary on /p, backups on /a and /b, bot 1 with its own model (on the primary's server)
    // and an own backup on /t, bot 2 without anything of its own.
    QJsonObject everything() const
    {
        QJsonObject trading{{u"model"_s, u"mt"_s},
                            {u"fallbacks"_s, QJsonArray{provider(m_server.url(u"/t"_s),
                                                                 u"sk-t-secret"_s, u"mtb"_s)}}};
        return {
            {u"base_url"_s, m_server.url(u"/p"_s)},
            {u"api_key"_s, u"sk-p-secret"_s},
            {u"model"_s, u"mp"_s},
            {u"fallbacks"_s, QJsonArray{provider(m_server.url(u"/a"_s), u"sk-a-secret"_s, u"ma"_s),
                                        provider(m_server.url(u"/b"_s), QString(), u"mb"_s)}},
            {u"bot_tokens"_s, QJsonArray{u"1:a"_s, u"2:b"_s}},
            {u"bot_nicknames"_s, QJsonArray{u"Trading"_s, QString()}},
            {u"bot_profiles"_s, QJsonArray{trading, QJsonObject{}}}};
    }

    static void verifyNoKey(const CtlResult &result)
    {
        for (const QByteArray &output : {result.out, result.err})
            QVERIFY2(!output.contains("secret"), output.constData());
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QFile::exists(CtlProcess::binary()), "build the varnookctl target first");
        QVERIFY(m_server.listen());
    }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_ctl = CtlProcess();
        m_ctl.setConfig(configPath());
        m_ctl.environment().insert(u"DBUS_SESSION_BUS_ADDRESS"_s,
                                   u"unix:path="_s + m_dir->filePath(u"no-bus"_s));
        m_server.clear();
        m_server.setDefaultAnswer({});
    }

    void modelsPrintsTheSortedIdsOneALine()
    {
        writeConfig(everything());
        m_server.setAnswer(u"/p/models"_s, {200, 0},
                           modelsAnswer({u"gpt-5"_s, u"deepseek-v4"_s, u"Claude"_s}));
        const CtlResult result = run({u"models"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.outputLines(), (QStringList{u"Claude"_s, u"deepseek-v4"_s, u"gpt-5"_s}));
        QVERIFY(result.err.isEmpty());
        QCOMPARE(m_server.requests().size(), 1);
        QCOMPARE(m_server.requests().constFirst().method, u"GET"_s);
        QCOMPARE(m_server.requests().constFirst().header("Authorization"),
                 QByteArray("Bearer sk-p-secret"));
        verifyNoKey(result);

        const CtlResult json = run({u"models"_s, u"--json"_s});
        QCOMPARE(json.exitCode, 0);
        const QJsonObject object = QJsonDocument::fromJson(json.out).object();
        QCOMPARE(object.value(u"models"_s).toArray(),
                 (QJsonArray{u"Claude"_s, u"deepseek-v4"_s, u"gpt-5"_s}));
        QCOMPARE(object.value(u"name"_s).toString(), u"Primary model"_s);
        verifyNoKey(json);
    }

    void modelsAsksTheChosenBackupOrBot()
    {
        writeConfig(everything());
        m_server.setAnswer(u"/b/models"_s, {200, 0}, modelsAnswer({u"from-b"_s}));
        m_server.setAnswer(u"/t/models"_s, {200, 0}, modelsAnswer({u"from-t"_s}));
        m_server.setAnswer(u"/p/models"_s, {200, 0}, modelsAnswer({u"from-p"_s}));

        QCOMPARE(run({u"models"_s, u"--backup"_s, u"2"_s}).output(), u"from-b\n"_s);
        QVERIFY(!m_server.requests().constLast().hasHeader("Authorization"));
        QCOMPARE(run({u"models"_s, u"--bot"_s, u"1"_s, u"--backup"_s, u"1"_s}).output(),
                 u"from-t\n"_s);
        QCOMPARE(m_server.requests().constLast().header("Authorization"),
                 QByteArray("Bearer sk-t-secret"));
        // Bot 2 has no provider of its own: it asks the one it inherits.
        QCOMPARE(run({u"models"_s, u"--bot"_s, u"2"_s}).output(), u"from-p\n"_s);

        const CtlResult noSuchBackup
            = run({u"models"_s, u"--bot"_s, u"2"_s, u"--backup"_s, u"1"_s});
        QCOMPARE(noSuchBackup.exitCode, 2);
        QVERIFY(noSuchBackup.oneErrorLine());
        const CtlResult noSuchBot = run({u"models"_s, u"--bot"_s, u"3"_s});
        QCOMPARE(noSuchBot.exitCode, 2);
        QVERIFY(noSuchBot.oneErrorLine());
    }

    void modelsFailuresUseTheConnectionTestsTextsAndExit1()
    {
        writeConfig(everything());
        m_server.setAnswer(u"/p/models"_s, {401, 0}, R"({"error":"no"})");
        const CtlResult refused = run({u"models"_s});
        QCOMPARE(refused.exitCode, 1);
        QCOMPARE(refused.error(), u"varnookctl: mp: HTTP 401\n"_s);
        QVERIFY(refused.out.isEmpty());

        m_server.setAnswer(u"/p/models"_s, {200, 0}, "<html>models</html>");
        const CtlResult garbage = run({u"models"_s});
        QCOMPARE(garbage.exitCode, 1);
        QCOMPARE(garbage.error(), u"varnookctl: mp: not a list of models\n"_s);

        m_server.setAnswer(u"/p/models"_s, {200, 0}, modelsAnswer({}));
        const CtlResult empty = run({u"models"_s});
        QCOMPARE(empty.exitCode, 0);
        QVERIFY(empty.out.isEmpty());
        QCOMPARE(empty.error(), u"varnookctl: the provider lists no models\n"_s);
        verifyNoKey(refused);
    }

    void testAllPrintsTheTableAndExits0OnlyWhenEveryProviderAnswered()
    {
        writeConfig(everything());
        const CtlResult good = run({u"test"_s, u"--all"_s});
        QCOMPARE(good.exitCode, 0);
        const QStringList lines = good.outputLines();
        QCOMPARE(lines.size(), 7);
        QVERIFY(lines.at(0).startsWith(u"NAME"_s));
        QVERIFY(lines.at(0).contains(u"ADDRESS"_s) && lines.at(0).contains(u"OUTCOME"_s));
        QVERIFY(lines.at(1).startsWith(u"Primary model "_s));
        QVERIFY(lines.at(1).contains(m_server.url(u"/p"_s)));
        QVERIFY(lines.at(1).endsWith(u"reachable (HTTP 200)"_s));
        QVERIFY(lines.at(4).startsWith(u"Trading "_s));
        QVERIFY(lines.at(5).startsWith(u"Trading · Backup model 1 "_s));
        QCOMPARE(lines.at(6), u"5 of 5 answered"_s);
        QCOMPARE(m_server.requests().size(), 5);
        verifyNoKey(good);

        m_server.setAnswer(u"/b/chat/completions"_s, {503, 0});
        const CtlResult json = run({u"test"_s, u"--all"_s, u"--json"_s});
        QCOMPARE(json.exitCode, 1);
        const QJsonObject object = QJsonDocument::fromJson(json.out).object();
        QCOMPARE(object.value(u"ok"_s), QJsonValue(false));
        const QJsonArray rows = object.value(u"providers"_s).toArray();
        QCOMPARE(rows.size(), 5);
        const QJsonObject backup2 = rows.at(2).toObject();
        QCOMPARE(backup2.value(u"name"_s).toString(), u"Backup model 2"_s);
        QCOMPARE(backup2.value(u"address"_s).toString(), m_server.url(u"/b"_s));
        QCOMPARE(backup2.value(u"model"_s).toString(), u"mb"_s);
        QCOMPARE(backup2.value(u"ok"_s), QJsonValue(false));
        QCOMPARE(backup2.value(u"outcome"_s).toString(), u"HTTP 503"_s);
        QCOMPARE(backup2.value(u"message"_s).toString(), u"mb: HTTP 503"_s);
        QVERIFY(backup2.value(u"ms"_s).toInteger() >= 0);
        verifyNoKey(json);

        const CtlResult text = run({u"test"_s, u"--all"_s});
        QCOMPARE(text.exitCode, 1);
        QVERIFY(text.outputLines().at(3).endsWith(u"HTTP 503"_s));
        QCOMPARE(text.outputLines().constLast(), u"4 of 5 answered"_s);

        const CtlResult both = run({u"test"_s, u"--all"_s, u"--backup"_s, u"1"_s});
        QCOMPARE(both.exitCode, 2);
        QVERIFY(both.oneErrorLine());
    }
};

QTEST_GUILESS_MAIN(TestCtlProviders)
#include "tst_ctlproviders.moc"
