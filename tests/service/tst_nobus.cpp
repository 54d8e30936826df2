// Without a reachable session bus the D-Bus transport posts nothing and the program works on:
// saving, the control request and its wait all behave as with a bus.
#include "model/settingsmodel.h"
#include "service/dbustransport.h"
#include "service/statusinfo.h"
#include "support/testsupport.h"

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

class TestNoBus final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_deadSocket = -1;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }

    // Posting and a round of events: nothing may come back, and nothing may take long.
    static void expectSilentPost(DBusTransport &transport)
    {
        QSignalSpy received(&transport, &NotificationTransport::received);
        QElapsedTimer clock;
        clock.start();
        transport.post(u"com.tesselmo.varnook.config-changed"_s);
        transport.post(u"com.tesselmo.varnook.bot-control"_s, {{u"action"_s, u"stop"_s}});
        QVERIFY(!transport.flush(1000));
        QVERIFY(clock.elapsed() < 5000);
        QTest::qWait(100);
        QCOMPARE(received.count(), 0);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        // Before anything asks for the session bus: an address where no bus answers.
        qputenv("DBUS_SESSION_BUS_ADDRESS",
                QByteArray("unix:path=") + QFile::encodeName(m_dir.filePath(u"no-bus"_s)));
    }

    void cleanupTestCase()
    {
        if (m_deadSocket >= 0)
            ::close(m_deadSocket);
    }

    void sessionTransportIsNotConnectedAndPostsNothing()
    {
        DBusTransport transport;
        QVERIFY(!transport.isConnected());
        expectSilentPost(transport);
    }

    void modelSavesAndAnnouncesNothing()
    {
        DBusTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        model.setModel(u"offline-model"_s);
        QVERIFY(model.saveAndNotify());
        QVERIFY(TestSupport::readFile(configPath()).contains("\"offline-model\""));
    }

    void controlRequestRunsItsWait()
    {
        DBusTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        model.setControlPollInterval(5);
        model.setControlClearDelay(50);
        TestSupport::writeFile(m_dir.filePath(u"varnook-status.json"_s),
                               R"({"bot_running": true, "pid": 10})");
        model.sendBotControl(u"start"_s);
        QCOMPARE(model.controlMsg(), std::optional<QString>(u"✓ Started"_s));
        QCOMPARE(model.status().pid, 10);
        QTRY_VERIFY_WITH_TIMEOUT(!model.controlMsg(), 10000);
    }

    void socketWithNoListenerIsNoBus()
    {
        // Bound but never listening: connecting is refused at once.
        const QString path = m_dir.filePath(u"dead-socket"_s);
        m_deadSocket = ::socket(AF_UNIX, SOCK_STREAM, 0);
        QVERIFY(m_deadSocket >= 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const QByteArray encoded = QFile::encodeName(path);
        QVERIFY(size_t(encoded.size()) < sizeof(address.sun_path));
        std::copy(encoded.begin(), encoded.end(), address.sun_path);
        QCOMPARE(::bind(m_deadSocket, reinterpret_cast<const sockaddr *>(&address), sizeof address),
                 0);

        DBusTransport transport(
            QDBusConnection::connectToBus(u"unix:path="_s + path, u"dead-socket"_s));
        QVERIFY(!transport.isConnected());
        expectSilentPost(transport);
    }

    void plainFileInPlaceOfTheBusIsNoBus()
    {
        const QString path = m_dir.filePath(u"not-a-socket"_s);
        TestSupport::writeFile(path, "hello");
        DBusTransport transport(
            QDBusConnection::connectToBus(u"unix:path="_s + path, u"not-a-socket"_s));
        QVERIFY(!transport.isConnected());
        expectSilentPost(transport);
    }

    void malformedAddressIsNoBus()
    {
        DBusTransport transport(QDBusConnection::connectToBus(u"no such address"_s, u"bad"_s));
        QVERIFY(!transport.isConnected());
        expectSilentPost(transport);
    }
};

QTEST_GUILESS_MAIN(TestNoBus)
#include "tst_nobus.moc"
