#include "model/settingsmodel.h"
#include "service/notificationtransport.h"

#include "support/fakeproviderserver.h"
#include "support/silentserver.h"
#include "support/testsupport.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

class TestProviderModel final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<SettingsModel> makeModel()
    {
        auto model = std::make_unique<SettingsModel>(m_dir->filePath(u"bot-config.json"_s),
                                                     ModelEnvironment{&m_transport, &m_network});
        model->setProviderTestTimeout(3000);
        return model;
    }

    static Fallback backup(const QString &baseURL, const QString &model, const QString &apiKey = {})
    {
        Fallback f = Fallback::create();
        f.name = model;
        f.base_url = baseURL;
        f.api_key = apiKey;
        f.model = model;
        return f;
    }

    QNetworkAccessManager m_network;
    InMemoryTransport m_transport;
    FakeProviderServer m_server;
    std::unique_ptr<QTemporaryDir> m_dir;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_server.listen());
        // Each path answers with the status it names; "slow" ones take their time.
        m_server.setAnswer(u"/ok/chat/completions"_s, {200});
        m_server.setAnswer(u"/created/chat/completions"_s, {201});
        m_server.setAnswer(u"/denied/chat/completions"_s, {401});
        m_server.setAnswer(u"/missing/chat/completions"_s, {404});
        m_server.setAnswer(u"/slow/chat/completions"_s, {200, 400});
        m_server.setAnswer(u"/slower/chat/completions"_s, {500, 900});
    }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_server.clear();
        m_transport.clear();
    }

    void primaryTestUsesTheTextsOnScreenUnsaved()
    {
        auto model = makeModel();
        model->setBaseURL(m_server.url(u"/ok/"_s));
        model->setApiKey(u"sk-unsaved"_s);
        model->setModel(u"gpt-4o"_s);

        model->testPrimary();
        QTRY_VERIFY(model->testState().has_value());

        QCOMPARE(m_server.requests().size(), 1);
        const RecordedRequest &request = m_server.requests().constFirst();
        QCOMPARE(request.path, u"/ok/chat/completions"_s);
        QCOMPARE(request.header("Authorization"), QByteArray("Bearer sk-unsaved"));
        QCOMPARE(request.json().value("model"_L1).toString(), u"gpt-4o"_s);
        QCOMPARE(*model->testState(), (TestOutcome{true, u"gpt-4o: reachable (HTTP 200)"_s}));
        QCOMPARE(model->testing(), false);
    }

    void primaryTestClearsTheOldOutcomeFirstAndSetsTesting()
    {
        auto model = makeModel();
        model->setModel(u"m"_s);
        model->setBaseURL(m_server.url(u"/denied"_s));
        model->testPrimary();
        QTRY_VERIFY(model->testState().has_value());
        QCOMPARE(model->testState()->message, u"m: HTTP 401"_s);

        // What a view redrawing on each change would see, in order.
        QStringList seen;
        connect(model.get(), &SettingsModel::testStateChanged, this, [&] {
            seen << (model->testState() ? u"outcome "_s + model->testState()->message
                                        : u"no outcome"_s);
        });
        connect(model.get(), &SettingsModel::testingChanged, this,
                [&] { seen << (model->testing() ? u"testing"_s : u"idle"_s); });

        model->setBaseURL(m_server.url(u"/slow"_s));
        model->testPrimary();
        QCOMPARE(seen, (QStringList{u"no outcome"_s, u"testing"_s}));
        QVERIFY(!model->testState().has_value());
        QVERIFY(model->testing());

        QTRY_COMPARE(model->testing(), false);
        QCOMPARE(seen, (QStringList{u"no outcome"_s, u"testing"_s,
                                    u"outcome m: reachable (HTTP 200)"_s, u"idle"_s}));
    }

    void primaryFailureIsStoredAsAnOutcome()
    {
        auto model = makeModel();
        model->setModel(u"qwen"_s);
        model->setBaseURL(u"http://127.0.0.1:"_s + QString::number(TestSupport::closedPort()));
        model->testPrimary();
        QTRY_VERIFY_WITH_TIMEOUT(model->testState().has_value(), 10000);
        QCOMPARE(model->testState()->ok, false);
        QVERIFY(model->testState()->message.startsWith(u"qwen: "_s));
        QCOMPARE(model->testing(), false);
    }

    void primaryTimeoutIsTheModelsProperty()
    {
        SilentServer silent;
        QVERIFY(silent.listen());
        auto model = makeModel();
        model->setProviderTestTimeout(300);
        model->setModel(u"m"_s);
        model->setBaseURL(silent.url(u"/v1"_s));
        model->testPrimary();
        QTRY_VERIFY_WITH_TIMEOUT(!model->testing(), TestSupport::waitMs);
        QCOMPARE(*model->testState(), (TestOutcome{false, u"m: Request timed out"_s}));
    }

    void testBackupPastTheEndChangesNothing_data()
    {
        QTest::addColumn<qint64>("index");
        QTest::newRow("one past the end") << qint64(2);
        QTest::newRow("far past the end") << (qint64(1) << 40);
        QTest::newRow("negative") << qint64(-1);
    }

    void testBackupPastTheEndChangesNothing()
    {
        QFETCH(qint64, index);
        auto model = makeModel();
        model->setFallbacks(
            {backup(m_server.url(u"/ok"_s), u"a"_s), backup(m_server.url(u"/denied"_s), u"b"_s)});
        model->testBackup(0);
        QTRY_VERIFY(!model->backupTesting().has_value());
        const QMap<qint64, TestOutcome> before = model->backupTestState();
        QCOMPARE(before.size(), 1);
        m_server.clear();

        QSignalSpy states(model.get(), &SettingsModel::backupTestStateChanged);
        QSignalSpy testing(model.get(), &SettingsModel::backupTestingChanged);
        model->testBackup(index);
        QTest::qWait(200);

        QCOMPARE(states.count(), 0);
        QCOMPARE(testing.count(), 0);
        QCOMPARE(model->backupTestState(), before);
        QVERIFY(!model->backupTesting().has_value());
        QVERIFY(m_server.requests().isEmpty());
    }

    void backupTestSendsThatBackupsProvider()
    {
        auto model = makeModel();
        model->setFallbacks({backup(m_server.url(u"/ok"_s), u"first"_s, u"sk-1"_s),
                             backup(m_server.url(u"/created/"_s), u"second"_s)});
        model->testBackup(1);
        QCOMPARE(model->backupTesting(), std::optional<qint64>(1));
        QTRY_VERIFY(!model->backupTesting().has_value());

        QCOMPARE(m_server.requests().size(), 1);
        const RecordedRequest &request = m_server.requests().constFirst();
        QCOMPARE(request.path, u"/created/chat/completions"_s);
        QVERIFY(!request.hasHeader("Authorization"));
        QCOMPARE(request.json().value("model"_L1).toString(), u"second"_s);
        QCOMPARE(
            model->backupTestState(),
            (QMap<qint64, TestOutcome>{{1, TestOutcome{true, u"second: reachable (HTTP 201)"_s}}}));
        // The primary's fields are not a backup's business.
        QVERIFY(!model->testState().has_value());
        QCOMPARE(model->testing(), false);
    }

    void backupOutcomesAreKeptByPosition()
    {
        auto model = makeModel();
        model->setFallbacks({backup(m_server.url(u"/ok"_s), u"a"_s),
                             backup(m_server.url(u"/denied"_s), u"b"_s),
                             backup(m_server.url(u"/missing"_s), u"c"_s)});
        model->testBackup(2);
        QTRY_VERIFY(!model->backupTesting().has_value());
        model->testBackup(0);
        QTRY_VERIFY(!model->backupTesting().has_value());

        QCOMPARE(model->backupTestState(),
                 (QMap<qint64, TestOutcome>{{0, TestOutcome{true, u"a: reachable (HTTP 200)"_s}},
                                            {2, TestOutcome{false, u"c: HTTP 404"_s}}}));

        // Removing the first backup moves the others up, but the outcomes stay where they were
        // until their positions are tested again.
        QList<Fallback> remaining = model->fallbacks();
        remaining.removeFirst();
        model->setFallbacks(remaining);
        QCOMPARE(model->backupTestState().value(0).message, u"a: reachable (HTTP 200)"_s);
        QCOMPARE(model->backupTestState().value(2).message, u"c: HTTP 404"_s);

        model->testBackup(0); // now "b"
        QTRY_VERIFY(!model->backupTesting().has_value());
        QCOMPARE(model->backupTestState().value(0), (TestOutcome{false, u"b: HTTP 401"_s}));
        QCOMPARE(model->backupTestState().value(2).message, u"c: HTTP 404"_s);
    }

    void testingBackupTwoKeepsBackupOnesOutcome()
    {
        auto model = makeModel();
        model->setFallbacks(
            {backup(m_server.url(u"/ok"_s), u"one"_s), backup(m_server.url(u"/slow"_s), u"two"_s)});
        model->testBackup(0);
        QTRY_VERIFY(!model->backupTesting().has_value());
        const TestOutcome first{true, u"one: reachable (HTTP 200)"_s};
        QCOMPARE(model->backupTestState().value(0), first);

        model->testBackup(1);
        QCOMPARE(model->backupTesting(), std::optional<qint64>(1));
        QCOMPARE(model->backupTestState(), (QMap<qint64, TestOutcome>{{0, first}}));

        QTRY_VERIFY(!model->backupTesting().has_value());
        QCOMPARE(model->backupTestState(),
                 (QMap<qint64, TestOutcome>{
                     {0, first}, {1, TestOutcome{true, u"two: reachable (HTTP 200)"_s}}}));
    }

    void retestingABackupRemovesItsOutcomeFirst()
    {
        auto model = makeModel();
        model->setFallbacks({backup(m_server.url(u"/slow"_s), u"x"_s)});
        model->testBackup(0);
        QTRY_VERIFY(!model->backupTesting().has_value());
        QVERIFY(model->backupTestState().contains(0));

        QStringList seen;
        connect(model.get(), &SettingsModel::backupTestStateChanged, this, [&] {
            seen << (model->backupTestState().contains(0) ? u"outcome"_s : u"no outcome"_s);
        });
        connect(model.get(), &SettingsModel::backupTestingChanged, this, [&] {
            seen << (model->backupTesting() ? u"testing %1"_s.arg(*model->backupTesting())
                                            : u"idle"_s);
        });
        model->testBackup(0);
        QCOMPARE(seen, (QStringList{u"no outcome"_s, u"testing 0"_s}));
        QTRY_COMPARE(seen.size(), 4);
        QCOMPARE(seen, (QStringList{u"no outcome"_s, u"testing 0"_s, u"outcome"_s, u"idle"_s}));
    }

    void overlappingBackupTestsLandUnderTheirOwnPositions()
    {
        auto model = makeModel();
        model->setFallbacks({backup(m_server.url(u"/slower"_s), u"late"_s),
                             backup(m_server.url(u"/ok"_s), u"quick"_s)});
        model->testBackup(0);
        model->testBackup(1);
        QCOMPARE(model->backupTesting(), std::optional<qint64>(1));

        // Whichever finishes first clears the running index.
        QTRY_VERIFY(model->backupTestState().contains(1));
        QVERIFY(!model->backupTesting().has_value());
        QVERIFY(!model->backupTestState().contains(0));

        QTRY_VERIFY(model->backupTestState().contains(0));
        QCOMPARE(
            model->backupTestState(),
            (QMap<qint64, TestOutcome>{{0, TestOutcome{false, u"late: HTTP 500"_s}},
                                       {1, TestOutcome{true, u"quick: reachable (HTTP 200)"_s}}}));
        QVERIFY(!model->backupTesting().has_value());
    }

    void primaryAndBackupTestsRunSideBySide()
    {
        auto model = makeModel();
        model->setModel(u"main"_s);
        model->setBaseURL(m_server.url(u"/slow"_s));
        model->setFallbacks({backup(m_server.url(u"/denied"_s), u"spare"_s)});
        model->testPrimary();
        model->testBackup(0);
        QVERIFY(model->testing());
        QCOMPARE(model->backupTesting(), std::optional<qint64>(0));

        QTRY_VERIFY(!model->testing() && !model->backupTesting().has_value());
        QCOMPARE(*model->testState(), (TestOutcome{true, u"main: reachable (HTTP 200)"_s}));
        QCOMPARE(model->backupTestState(),
                 (QMap<qint64, TestOutcome>{{0, TestOutcome{false, u"spare: HTTP 401"_s}}}));
    }

    void testsWriteNothingAndAnnounceNothing()
    {
        const QString path = m_dir->filePath(u"bot-config.json"_s);
        const QJsonObject document{
            {u"base_url"_s, m_server.url(u"/ok"_s)},
            {u"api_key"_s, u"sk-file"_s},
            {u"model"_s, u"from-file"_s},
            {u"fallbacks"_s, QJsonArray{QJsonObject{{u"name"_s, u"spare"_s},
                                                    {u"base_url"_s, m_server.url(u"/denied"_s)},
                                                    {u"api_key"_s, u""_s},
                                                    {u"model"_s, u"spare-model"_s}}}},
        };
        const QByteArray bytes = QJsonDocument(document).toJson();
        TestSupport::writeFile(path, bytes);
        const QDateTime written = QFileInfo(path).lastModified();

        auto model = makeModel();
        QCOMPARE(model->model(), u"from-file"_s);
        QCOMPARE(model->fallbacks().size(), 1);
        model->testPrimary();
        model->testBackup(0);
        QTRY_VERIFY(!model->testing() && !model->backupTesting().has_value());
        QCOMPARE(model->testState()->message, u"from-file: reachable (HTTP 200)"_s);
        QCOMPARE(model->backupTestState().value(0).message, u"spare-model: HTTP 401"_s);

        QTest::qWait(50);
        QCOMPARE(TestSupport::readFile(path), bytes);
        QCOMPARE(QFileInfo(path).lastModified(), written);
        QVERIFY(m_transport.posts().isEmpty());
    }

    void modelGoneDuringATestIsHarmless()
    {
        auto model = makeModel();
        model->setModel(u"m"_s);
        model->setBaseURL(m_server.url(u"/slow"_s));
        model->setFallbacks({backup(m_server.url(u"/slow"_s), u"b"_s)});
        model->testPrimary();
        model->testBackup(0);
        QTRY_COMPARE(m_server.requests().size(), 2);
        model.reset();
        QTRY_VERIFY(m_network.findChildren<QNetworkReply *>().isEmpty());
        QTest::qWait(600); // past the server's answers
    }
};

QTEST_GUILESS_MAIN(TestProviderModel)
#include "tst_providermodel.moc"
