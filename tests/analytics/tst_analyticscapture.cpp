// The process-wide capture(): the build's capture host, the project key read from the
// environment once per process, the opt-out marker in the home folder. Requests go through a
// LoopbackNetwork, so the build's host is recorded but never contacted.
//
// Which key a process sees depends on its environment at its first event, so the cases that
// need a fresh process run this executable again as a child (VARNOOK_ANALYTICS_CHILD_PORT set):
// the child sends the launch event as the program does at start, optionally changes
// POSTHOG_KEY and sends a second event, waits for its replies and exits with the number of
// requests it started.

#include "analytics/analytics.h"

#include "support/fakeposthog.h"
#include "support/fakeproviderserver.h"
#include "support/silentserver.h"
#include "support/testsupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr char childPortVariable[] = "VARNOOK_ANALYTICS_CHILD_PORT";
// The key the child sets before its second event; "-" unsets it.
constexpr char childLaterVariable[] = "VARNOOK_ANALYTICS_CHILD_LATER";

int runChild()
{
    LoopbackNetwork network(quint16(qEnvironmentVariableIntValue(childPortVariable)));
    Analytics::capture(u"settings_launch"_s, &network);
    if (qEnvironmentVariableIsSet(childLaterVariable)) {
        const QByteArray later = qgetenv(childLaterVariable);
        if (later == "-")
            qunsetenv("POSTHOG_KEY");
        else
            qputenv("POSTHOG_KEY", later);
        Analytics::capture(u"settings_again"_s, &network);
    }
    if (!QTest::qWaitFor([&] { return network.openReplies() == 0; }, 10000))
        return 100; // a reply that never ends: not a count the parent expects
    return int(network.asked().size());
}

QJsonObject expectedBody(const QString &key, const QString &event)
{
    return QJsonObject{
        {u"api_key"_s, key},
        {u"event"_s, event},
        {u"properties"_s,
         QJsonObject{{u"distinct_id"_s, u"varnook-settings"_s}, {u"app"_s, u"varnook-settings"_s}}},
    };
}

} // namespace

class TestAnalyticsCapture final : public QObject {
    Q_OBJECT

private:
    // Runs the child with POSTHOG_KEY as given (unset for std::nullopt) and waits for it.
    // Returns its exit code, the number of requests it started.
    int runChildProcess(const std::optional<QString> &key, const std::optional<QString> &later)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QString::fromLatin1(childPortVariable),
                           QString::number(m_postHog.port()));
        environment.insert(u"HOME"_s, m_home.path());
        environment.remove(u"POSTHOG_KEY"_s);
        if (key)
            environment.insert(u"POSTHOG_KEY"_s, *key);
        if (later)
            environment.insert(QString::fromLatin1(childLaterVariable), *later);

        QProcess child;
        child.setProcessEnvironment(environment);
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(QCoreApplication::applicationFilePath(), {});
        if (!child.waitForStarted(10000))
            return -1;
        // The loopback server lives in this process's event loop: keep it turning.
        if (!QTest::qWaitFor([&] { return child.state() == QProcess::NotRunning; }, 30000))
            return -2;
        if (child.exitStatus() != QProcess::NormalExit)
            return -3;
        return child.exitCode();
    }

    QStringList eventsSeen() const
    {
        QStringList events;
        for (const RecordedRequest &request : m_postHog.requests())
            events << request.json().value("event"_L1).toString();
        return events;
    }

    QString marker() const { return m_home.filePath(u".zandrel/analytics-off"_s); }

    FakePostHog m_postHog;
    QTemporaryDir m_home;
    QByteArray m_savedKey;

private Q_SLOTS:
    void initTestCase()
    {
        // Before the first event, which fixes the key and the marker's place for this process.
        // A home of our own keeps the marker tests away from the real one, however this runs.
        QVERIFY(m_home.isValid());
        QVERIFY(QDir(m_home.path()).mkpath(u".zandrel"_s));
        qputenv("HOME", QFile::encodeName(m_home.path()));
        qputenv("POSTHOG_KEY", "phc_process");
        QVERIFY(m_postHog.listen());
    }

    void init()
    {
        m_postHog.clear();
        m_savedKey = qgetenv("POSTHOG_KEY");
    }

    void cleanup()
    {
        QFile::remove(marker());
        QDir(marker()).removeRecursively();
        qputenv("POSTHOG_KEY", m_savedKey);
    }

    void launchEventGoesOnceToTheBuildsCaptureHost()
    {
        LoopbackNetwork network(m_postHog.port());
        Analytics::capture(u"settings_launch"_s, &network);

        QCOMPARE(network.asked().size(), 1);
        QCOMPARE(network.asked().constFirst().operation, QNetworkAccessManager::PostOperation);
        QCOMPARE(network.asked().constFirst().url,
                 QUrl(QStringLiteral(VARNOOK_POSTHOG_HOST "/capture/")));
        QTRY_COMPARE(m_postHog.requests().size(), 1);
        QCOMPARE(m_postHog.requests().constFirst().path, u"/capture/"_s);
        QCOMPARE(m_postHog.requests().constFirst().json(),
                 expectedBody(u"phc_process"_s, u"settings_launch"_s));
        QTRY_COMPARE(network.openReplies(), 0);
        QCOMPARE(m_postHog.requests().size(), 1);
    }

    void keyIsReadOncePerProcess()
    {
        LoopbackNetwork network(m_postHog.port());
        Analytics::capture(u"settings_launch"_s, &network);
        qputenv("POSTHOG_KEY", "phc_changed");
        Analytics::capture(u"after_change"_s, &network);
        qunsetenv("POSTHOG_KEY");
        Analytics::capture(u"after_unset"_s, &network);

        QCOMPARE(network.asked().size(), 3);
        QTRY_COMPARE(m_postHog.requests().size(), 3);
        for (const RecordedRequest &request : m_postHog.requests())
            QCOMPARE(request.json().value("api_key"_L1).toString(), u"phc_process"_s);
    }

    void markerFileInHomeStopsTheEvent()
    {
        TestSupport::writeFile(marker(), "off\n");
        LoopbackNetwork network(m_postHog.port());
        Analytics::capture(u"settings_launch"_s, &network);
        QVERIFY(network.asked().isEmpty());
    }

    void markerFolderInHomeStopsTheEvent()
    {
        QVERIFY(QDir().mkpath(marker()));
        LoopbackNetwork network(m_postHog.port());
        Analytics::capture(u"settings_launch"_s, &network);
        QVERIFY(network.asked().isEmpty());
    }

    void markerTakesEffectWithoutRestart()
    {
        LoopbackNetwork network(m_postHog.port());
        Analytics::capture(u"before"_s, &network);
        TestSupport::writeFile(marker(), {});
        Analytics::capture(u"while_off"_s, &network);
        QVERIFY(QFile::remove(marker()));
        Analytics::capture(u"after"_s, &network);

        QCOMPARE(network.asked().size(), 2);
        QTRY_COMPARE(m_postHog.requests().size(), 2);
        QStringList events = eventsSeen();
        events.sort();
        QCOMPARE(events, (QStringList{u"after"_s, u"before"_s}));
    }

    void hostThatNeverAnswersDoesNotDelayTheLaunch()
    {
        SilentServer silent;
        QVERIFY(silent.listen());
        LoopbackNetwork network(silent.port());
        QElapsedTimer clock;
        clock.start();
        Analytics::capture(u"settings_launch"_s, &network);
        const qint64 took = clock.nsecsElapsed() / 1000;
        qInfo("capture against a host that never answers returned after %lld us", took);
        QVERIFY2(took < 50000, qPrintable(u"capture took %1 us"_s.arg(took)));
        QTRY_COMPARE(silent.connectionCount(), 1);
    }

    void unsetKeySendsNothingEvenWhenSetLater()
    {
        QCOMPARE(runChildProcess(std::nullopt, u"phc_late"_s), 0);
        QTest::qWait(100);
        QVERIFY(m_postHog.requests().isEmpty());
    }

    void emptyKeySendsNothing()
    {
        QCOMPARE(runChildProcess(QString(), std::nullopt), 0);
        QTest::qWait(100);
        QVERIFY(m_postHog.requests().isEmpty());
    }

    void keyAtLaunchSendsOneLaunchEventAndOutlivesItsRemoval()
    {
        QCOMPARE(runChildProcess(u"phc_child"_s, u"-"_s), 2);
        QCOMPARE(m_postHog.requests().size(), 2);
        QCOMPARE(eventsSeen().count(u"settings_launch"_s), 1);
        for (const RecordedRequest &request : m_postHog.requests()) {
            QCOMPARE(request.json(),
                     expectedBody(u"phc_child"_s, request.json().value("event"_L1).toString()));
        }
    }

    void markerAtLaunchSendsNothing()
    {
        TestSupport::writeFile(marker(), {});
        QCOMPARE(runChildProcess(u"phc_child"_s, std::nullopt), 0);
        QTest::qWait(100);
        QVERIFY(m_postHog.requests().isEmpty());
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsSet(childPortVariable))
        return runChild();
    TestAnalyticsCapture test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_analyticscapture.moc"
