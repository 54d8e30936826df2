#include "analytics/analytics.h"

#include "support/fakeposthog.h"
#include "support/fakeproviderserver.h"
#include "support/silentserver.h"
#include "support/testsupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonObject>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

class TestAnalyticsSender final : public QObject {
    Q_OBJECT

private:
    static QJsonObject expectedBody(const QString &key, const QString &event)
    {
        return QJsonObject{
            {u"api_key"_s, key},
            {u"event"_s, event},
            {u"properties"_s, QJsonObject{{u"distinct_id"_s, u"varnook-settings"_s},
                                          {u"app"_s, u"varnook-settings"_s}}},
        };
    }

    Analytics::Sender sender(const QString &host, const QString &key = u"phc_test"_s) const
    {
        return Analytics::Sender(host, key, m_marker);
    }

    FakePostHog m_postHog;
    std::unique_ptr<QTemporaryDir> m_home;
    QString m_marker;

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_postHog.listen()); }

    void init()
    {
        m_home = std::make_unique<QTemporaryDir>();
        QVERIFY(m_home->isValid());
        QVERIFY(QDir(m_home->path()).mkpath(u".zandrel"_s));
        m_marker = m_home->filePath(u".zandrel/analytics-off"_s);
        m_postHog.clear();
        m_postHog.setStatus(200);
    }

    void keyAndNoMarkerSendsOnePostWithTheExactBody()
    {
        LoopbackNetwork network(m_postHog.port());
        QVERIFY(sender(m_postHog.host(), u"phc_abc"_s).capture(u"settings_launch"_s, &network));

        QTRY_COMPARE(m_postHog.requests().size(), 1);
        const RecordedRequest &request = m_postHog.requests().constFirst();
        QCOMPARE(request.method, u"POST"_s);
        QCOMPARE(request.path, u"/capture/"_s);
        QCOMPARE(request.header("Content-Type"), QByteArray("application/json"));
        QVERIFY(!request.hasHeader("Authorization"));
        // QJsonObject equality: the same members, no more, no fewer.
        QCOMPARE(request.json(), expectedBody(u"phc_abc"_s, u"settings_launch"_s));

        QTest::qWait(200);
        QCOMPARE(m_postHog.requests().size(), 1);
        QCOMPARE(network.asked().size(), 1);
    }

    void onlyTheContentTypeAndUserAgentHeadersAreSetByUs()
    {
        LoopbackNetwork network(m_postHog.port());
        QVERIFY(sender(m_postHog.host()).capture(u"settings_launch"_s, &network));
        QCOMPARE(network.asked().size(), 1);
        const LoopbackNetwork::Asked &asked = network.asked().constFirst();
        QCOMPARE(asked.operation, QNetworkAccessManager::PostOperation);
        QCOMPARE(asked.url, QUrl(m_postHog.host() + u"/capture/"_s));
        QCOMPARE(asked.request.rawHeaderList(), (QList<QByteArray>{"Content-Type", "User-Agent"}));
        QCOMPARE(asked.request.rawHeader("User-Agent"),
                 QByteArray("varnook-settings/" VARNOOK_VERSION));
        QTRY_COMPARE(m_postHog.requests().size(), 1);
    }

    // On the wire: our two headers, and only those Qt's HTTP client always adds.
    void captureRequestCarriesNoAvoidableHeader()
    {
        LoopbackNetwork network(m_postHog.port());
        QVERIFY(sender(m_postHog.host()).capture(u"settings_launch"_s, &network));
        QTRY_COMPARE(m_postHog.requests().size(), 1);
        const RecordedRequest &request = m_postHog.requests().constFirst();
        QCOMPARE(request.header("User-Agent"), QByteArray("varnook-settings/" VARNOOK_VERSION));
        const QSet<QByteArray> unavoidable{"host",       "content-type",    "content-length",
                                           "user-agent", "accept-encoding", "accept-language",
                                           "connection"};
        for (const auto &[name, value] : request.headers)
            QVERIFY2(unavoidable.contains(name.toLower()), name.constData());
        QVERIFY(!request.hasHeader("Cookie"));
        QVERIFY(!request.hasHeader("Authorization"));
    }

    void eventNameTravelsAsGiven()
    {
        LoopbackNetwork network(m_postHog.port());
        const Analytics::Sender s = sender(m_postHog.host());
        QVERIFY(s.capture(u"settings_launch"_s, &network));
        QVERIFY(s.capture(u"other event ü"_s, &network));
        QTRY_COMPARE(m_postHog.requests().size(), 2);
        QStringList events;
        for (const RecordedRequest &request : m_postHog.requests())
            events << request.json().value("event"_L1).toString();
        events.sort();
        QCOMPARE(events, (QStringList{u"other event ü"_s, u"settings_launch"_s}));
    }

    void emptyKeySendsNothing()
    {
        LoopbackNetwork network(m_postHog.port());
        QVERIFY(!sender(m_postHog.host(), QString()).capture(u"settings_launch"_s, &network));
        QVERIFY(network.asked().isEmpty());
        QTest::qWait(100);
        QVERIFY(m_postHog.requests().isEmpty());
    }

    void markerFileInDataFolderSendsNothing_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("says no") << QByteArray("false\n");
    }

    void markerFileInDataFolderSendsNothing()
    {
        QFETCH(QByteArray, contents);
        TestSupport::writeFile(m_marker, contents);
        QVERIFY(QFileInfo(m_marker).isFile());

        LoopbackNetwork network(m_postHog.port());
        QVERIFY(!sender(m_postHog.host()).capture(u"settings_launch"_s, &network));
        QVERIFY(network.asked().isEmpty());
        QTest::qWait(100);
        QVERIFY(m_postHog.requests().isEmpty());
    }

    void markerFolderSendsNothing()
    {
        QVERIFY(QDir().mkpath(m_marker));
        LoopbackNetwork network(m_postHog.port());
        QVERIFY(!sender(m_postHog.host()).capture(u"settings_launch"_s, &network));
        QVERIFY(network.asked().isEmpty());
    }

    // What the launch asks before it makes a network access manager for the event.
    void willCaptureOnlyWithAKeyAndNoMarker()
    {
        QVERIFY(sender(m_postHog.host()).willCapture());
        QVERIFY(!sender(m_postHog.host(), QString()).willCapture());
        TestSupport::writeFile(m_marker, QByteArray());
        QVERIFY(!sender(m_postHog.host()).willCapture());
        QVERIFY(QFile::remove(m_marker));
        QVERIFY(sender(m_postHog.host()).willCapture());
    }

    void markerIsCheckedOnEveryEvent()
    {
        LoopbackNetwork network(m_postHog.port());
        const Analytics::Sender s = sender(m_postHog.host());
        QVERIFY(s.capture(u"first"_s, &network));
        TestSupport::writeFile(m_marker, {});
        QVERIFY(!s.capture(u"second"_s, &network));
        QVERIFY(QFile::remove(m_marker));
        QVERIFY(s.capture(u"third"_s, &network));

        QCOMPARE(network.asked().size(), 2);
        QTRY_COMPARE(m_postHog.requests().size(), 2);
        QStringList events;
        for (const RecordedRequest &request : m_postHog.requests())
            events << request.json().value("event"_L1).toString();
        events.sort();
        QCOMPARE(events, (QStringList{u"first"_s, u"third"_s}));
    }

    void failingEndpointIsIgnoredWithoutRetry_data()
    {
        QTest::addColumn<int>("status");
        QTest::newRow("server error") << 500;
        QTest::newRow("bad key") << 401;
        QTest::newRow("wrong place") << 404;
    }

    void failingEndpointIsIgnoredWithoutRetry()
    {
        QFETCH(int, status);
        m_postHog.setStatus(status);
        LoopbackNetwork network(m_postHog.port());
        QVERIFY(sender(m_postHog.host()).capture(u"settings_launch"_s, &network));
        QTRY_COMPARE(m_postHog.requests().size(), 1);
        QTRY_COMPARE(network.openReplies(), 0);
        QTest::qWait(300);
        QCOMPARE(m_postHog.requests().size(), 1);
        QCOMPARE(network.asked().size(), 1);
    }

    void replyIsDeletedWhenFinished()
    {
        LoopbackNetwork network(m_postHog.port());
        QVERIFY(sender(m_postHog.host()).capture(u"settings_launch"_s, &network));
        QCOMPARE(network.openReplies(), 1);
        QTRY_COMPARE(network.openReplies(), 0);
        QCOMPARE(m_postHog.requests().size(), 1);
    }

    void hostThatNeverAnswersDoesNotDelayTheCaller()
    {
        SilentServer silent;
        QVERIFY(silent.listen());
        QNetworkAccessManager network;
        const Analytics::Sender s = sender(silent.url());

        QElapsedTimer clock;
        clock.start();
        QVERIFY(s.capture(u"settings_launch"_s, &network));
        const qint64 took = clock.elapsed();
        QVERIFY2(took < 50, qPrintable(u"capture took %1 ms"_s.arg(took)));

        QTRY_COMPARE(silent.connectionCount(), 1);
        QTRY_VERIFY(silent.bytesReceived() > 0);
        // Waiting on the silent host, not knocking again.
        QTest::qWait(300);
        QCOMPARE(silent.connectionCount(), 1);
    }

    void absentEndpointDoesNotDelayTheCaller()
    {
        const quint16 port = TestSupport::closedPort();
        QVERIFY(port != 0);
        QNetworkAccessManager network;
        const Analytics::Sender s = sender(u"http://127.0.0.1:"_s + QString::number(port));

        QElapsedTimer clock;
        clock.start();
        QVERIFY(s.capture(u"settings_launch"_s, &network));
        const qint64 took = clock.elapsed();
        QVERIFY2(took < 50, qPrintable(u"capture took %1 ms"_s.arg(took)));
        QTRY_VERIFY(network.findChildren<QNetworkReply *>().isEmpty());
    }

    void captureAddressIsHostThenCapturePath_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<QUrl>("url");
        QTest::newRow("bare") << u"https://eu.example.com"_s
                              << QUrl(u"https://eu.example.com/capture/"_s);
        QTest::newRow("trailing slash")
            << u"https://eu.example.com/"_s << QUrl(u"https://eu.example.com/capture/"_s);
        QTest::newRow("with port")
            << u"http://127.0.0.1:8000"_s << QUrl(u"http://127.0.0.1:8000/capture/"_s);
    }

    void captureAddressIsHostThenCapturePath()
    {
        QFETCH(QString, host);
        QFETCH(QUrl, url);
        QCOMPARE(Analytics::Sender(host, u"k"_s, m_marker).captureUrl(), url);
    }

    void optOutMarkerLivesInTheHomeDataFolder()
    {
        const QByteArray savedHome = qgetenv("HOME");
        qputenv("HOME", QFile::encodeName(m_home->path()));
        const QString marker = Analytics::defaultOptOutMarker();
        qputenv("HOME", savedHome);
        QCOMPARE(QFileInfo(marker).absoluteFilePath(), QFileInfo(m_marker).absoluteFilePath());
    }
};

QTEST_GUILESS_MAIN(TestAnalyticsSender)
#include "tst_analyticssender.moc"
