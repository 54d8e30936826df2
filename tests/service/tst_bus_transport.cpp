// The notifications on a real (private) session bus, against other processes: gdbus sends,
// dbus-monitor watches, and a second copy of this executable plays the settings program.
#include "support/bussupport.h"
#include "model/settingsmodel.h"
#include "service/dbustransport.h"
#include "service/statusinfo.h"
#include "support/testsupport.h"

#include <QDBusConnection>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

struct Received {
    QString name;
    QVariantMap userInfo;
};

// Collects what a transport receives.
class Inbox final : public QObject {
public:
    explicit Inbox(NotificationTransport &transport)
    {
        connect(&transport, &NotificationTransport::received, this,
                [this](const QString &name, const QVariantMap &userInfo) {
                    items.append({name, userInfo});
                });
    }
    QStringList names() const
    {
        QStringList list;
        for (const Received &item : items)
            list.append(item.name);
        return list;
    }
    QList<Received> items;
};

// Writes the configuration with a given model id and a modification time of its own, so that
// a reload can tell it changed.
void writeConfig(const QString &path, const QString &model, int secondsAgo)
{
    TestSupport::writeFile(path, "{\"model\": \"" + model.toUtf8() + "\"}\n");
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-secondsAgo),
                             QFileDevice::FileModificationTime));
}

} // namespace

class TestBusTransport final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY2(qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS"),
                 "run inside dbus-run-session");
        QVERIFY(QDBusConnection::sessionBus().isConnected());
    }

    void ownPostsComeBack()
    {
        DBusTransport transport;
        QVERIFY(transport.isConnected());
        QVERIFY(transport.flush());
        Inbox inbox(transport);
        transport.post(u"com.tesselmo.varnook.config-changed"_s);
        QTRY_COMPARE_WITH_TIMEOUT(inbox.names(),
                                  QStringList{u"com.tesselmo.varnook.config-changed"_s}, 10000);
        QCOMPARE(inbox.items.constFirst().userInfo, QVariantMap());
    }

    void actionReachesAnotherConnectionAsText()
    {
        DBusTransport sender;
        DBusTransport listener(
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"second"_s));
        QVERIFY(listener.flush());
        Inbox inbox(listener);
        sender.post(u"com.tesselmo.varnook.bot-control"_s, {{u"action"_s, u"restart"_s}});
        QTRY_COMPARE_WITH_TIMEOUT(inbox.items.size(), 1, 10000);
        QCOMPARE(inbox.items.constFirst().name, u"com.tesselmo.varnook.bot-control"_s);
        const QVariant action = inbox.items.constFirst().userInfo.value(u"action"_s);
        QCOMPARE(action.metaType(), QMetaType::fromType<QString>());
        QCOMPARE(action.toString(), u"restart"_s);
    }

    void postIsSeenByAnotherProcess()
    {
        QProcess monitor;
        monitor.start(
            u"dbus-monitor"_s,
            {u"--session"_s, u"type='signal',interface='com.tesselmo.varnook.Notifications'"_s});
        QVERIFY(monitor.waitForStarted(10000));
        DBusTransport transport;
        // The monitor's subscription takes a moment; post until it shows up.
        QByteArray seen;
        const QDeadlineTimer deadline(15000);
        while (!seen.contains("variant") && !deadline.hasExpired()) {
            transport.post(u"com.tesselmo.varnook.bot-control"_s, {{u"action"_s, u"restart"_s}});
            monitor.waitForReadyRead(200);
            seen += monitor.readAllStandardOutput();
        }
        QTest::qWait(100);
        seen += monitor.readAllStandardOutput();
        monitor.terminate();
        monitor.waitForFinished(5000);

        const QString text = QString::fromUtf8(seen);
        QVERIFY2(text.contains(u"destination=(null destination)"_s), qPrintable(text));
        QVERIFY2(text.contains(u"path=/com/tesselmo/varnook; "
                               "interface=com.tesselmo.varnook.Notifications; member=Posted"_s),
                 qPrintable(text));
        QVERIFY2(text.contains(u"string \"com.tesselmo.varnook.bot-control\""_s), qPrintable(text));
        QVERIFY2(text.contains(u"string \"action\""_s), qPrintable(text));
        QVERIFY2(text.contains(QRegularExpression(u"variant\\s+string \"restart\""_s)),
                 qPrintable(text));
    }

    void gdbusConfigChangedReloadsTheModel()
    {
        writeConfig(configPath(), u"first-model"_s, 100);
        DBusTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        QVERIFY(transport.flush());
        QCOMPARE(model.model(), u"first-model"_s);

        writeConfig(configPath(), u"second-model"_s, 50);
        TestSupport::writeFile(statusFilePath(configPath()), R"({"bot_running": true, "pid": 9})");
        QVERIFY(
            BusSupport::gdbusEmit({u"'com.tesselmo.varnook.config-changed'"_s, u"@a{sv} {}"_s}));
        QTRY_COMPARE_WITH_TIMEOUT(model.model(), u"second-model"_s, 10000);
        // The reload reads the status file too.
        QCOMPARE(model.status().pid, 9);
    }

    void gdbusQuitSettingsQuitsTheApplication()
    {
        BusSupport::ModelProcess settings;
        QVERIFY(settings.start(configPath()));
        QVERIFY(BusSupport::gdbusEmit({u"'com.tesselmo.varnook.quit-settings'"_s, u"@a{sv} {}"_s}));
        QVERIFY2(settings.waitForQuit(15000), settings.output().constData());
    }

    void signalFromAnyPathIsReceivedButNotFromOtherInterfaces()
    {
        DBusTransport transport;
        QVERIFY(transport.flush());
        Inbox inbox(transport);
        QVERIFY(BusSupport::gdbusEmit({u"'com.example.other-interface'"_s, u"@a{sv} {}"_s},
                                      u"/com/tesselmo/varnook"_s,
                                      u"com.example.Notifications.Posted"_s));
        QVERIFY(BusSupport::gdbusEmit({u"'com.example.other-member'"_s, u"@a{sv} {}"_s},
                                      u"/com/tesselmo/varnook"_s,
                                      u"com.tesselmo.varnook.Notifications.Sent"_s));
        QVERIFY(BusSupport::gdbusEmit({u"'com.example.other-path'"_s, u"@a{sv} {}"_s},
                                      u"/org/example/elsewhere"_s));
        QTRY_COMPARE_WITH_TIMEOUT(inbox.names(), QStringList{u"com.example.other-path"_s}, 10000);
        QTest::qWait(200);
        QCOMPARE(inbox.names(), QStringList{u"com.example.other-path"_s});
    }

    void malformedPostedSignalsAreIgnored()
    {
        writeConfig(configPath(), u"kept-model"_s, 100);
        DBusTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        QVERIFY(transport.flush());
        Inbox inbox(transport);
        writeConfig(configPath(), u"not-reloaded"_s, 50);

        // Wrong arguments: these must not reach the model, whatever their first text says.
        QVERIFY(BusSupport::gdbusEmit({u"'com.tesselmo.varnook.config-changed'"_s}));
        QVERIFY(BusSupport::gdbusEmit({u"42"_s, u"@a{sv} {}"_s}));
        QVERIFY(BusSupport::gdbusEmit(
            {u"'com.tesselmo.varnook.config-changed'"_s, u"{'action': 'start'}"_s})); // a{ss}
        QVERIFY(BusSupport::gdbusEmit(
            {u"'com.tesselmo.varnook.config-changed'"_s, u"@a{sv} {}"_s, u"'extra'"_s}));
        QVERIFY(BusSupport::gdbusEmit({u"'com.tesselmo.varnook.quit-settings'"_s, u"7"_s}));
        // A well-formed one last: once it is in, the others have been dealt with.
        QVERIFY(BusSupport::gdbusEmit({u"'com.example.sentinel'"_s, u"@a{sv} {}"_s}));

        QTRY_COMPARE_WITH_TIMEOUT(inbox.names(), QStringList{u"com.example.sentinel"_s}, 10000);
        QCOMPARE(model.model(), u"kept-model"_s);
    }

    void oddUserInfoValuesArriveWithoutHarm()
    {
        writeConfig(configPath(), u"kept-model"_s, 100);
        DBusTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        model.setControlPollInterval(5);
        QVERIFY(transport.flush());
        Inbox inbox(transport);
        QVERIFY(BusSupport::gdbusEmit(
            {u"'com.tesselmo.varnook.bot-control'"_s,
             u"{'action': <@a{sv} {'deep': <<<<<[1, 2]>>>>>}>, 'n': <uint64 18446744073709551615>}"_s}));
        QVERIFY(BusSupport::gdbusEmit({u"'com.example.sentinel'"_s, u"@a{sv} {}"_s}));
        QTRY_COMPARE_WITH_TIMEOUT(inbox.names().size(), 2, 10000);
        QCOMPARE(inbox.names().constFirst(), u"com.tesselmo.varnook.bot-control"_s);
        QCOMPARE(model.model(), u"kept-model"_s);
        QVERIFY(!model.controlMsg());
    }
};

VARNOOK_BUS_TEST_MAIN(TestBusTransport)
#include "tst_bus_transport.moc"
