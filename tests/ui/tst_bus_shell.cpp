#include "ui/singleinstance.h"
#include "service/dbustransport.h"
#include "service/notificationtransport.h"
#include "support/testsupport.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

// The real program on a private session bus: one running process per configuration file.
class TestBusShell final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QList<QProcess *> m_processes;

    static QString binary() { return QStringLiteral(VARNOOK_BINARY_DIR "/src/varnook-settings"); }
    QString config(const QString &name) const { return m_dir.filePath(name); }

    QProcess *start(const QStringList &arguments, const QString &workingDirectory = {},
                    const QProcessEnvironment &extra = {})
    {
        auto *process = new QProcess(this);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        env.insert(u"POSTHOG_KEY"_s, QString());
        env.remove(u"XDG_ACTIVATION_TOKEN"_s);
        for (const QString &key : extra.keys())
            env.insert(key, extra.value(key));
        process->setProcessEnvironment(env);
        process->setProgram(binary());
        process->setArguments(arguments);
        process->setWorkingDirectory(workingDirectory.isEmpty() ? m_dir.path() : workingDirectory);
        process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process->start();
        m_processes.append(process);
        return process;
    }
    static bool registered(const QString &configPath)
    {
        return QDBusConnection::sessionBus().interface()->isServiceRegistered(
            SingleInstance::serviceName(configPath));
    }
    static QVariant instanceProperty(const QString &configPath, const char *name)
    {
        QDBusInterface instance(SingleInstance::serviceName(configPath),
                                SingleInstance::objectPath(), SingleInstance::interfaceName(),
                                QDBusConnection::sessionBus());
        return instance.property(name);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QFile::exists(binary()), "build the varnook-settings target first");
        QVERIFY(QDBusConnection::sessionBus().isConnected());
        TestSupport::writeFile(config(u"a.json"_s), R"({"bot_tokens": ["1:a"]})");
        TestSupport::writeFile(config(u"b.json"_s), R"({"bot_tokens": ["2:b"]})");
    }
    void cleanup()
    {
        for (QProcess *process : std::as_const(m_processes)) {
            if (process->state() != QProcess::NotRunning) {
                process->kill();
                process->waitForFinished(5000);
            }
            delete process;
        }
        m_processes.clear();
    }

    void secondLaunchForTheSameFileRaisesTheFirstWindowAndExitsZero()
    {
        QProcess *first = start({config(u"a.json"_s)});
        QTRY_VERIFY_WITH_TIMEOUT(registered(config(u"a.json"_s)), 15000);
        QTRY_VERIFY(instanceProperty(config(u"a.json"_s), "Visible").toBool());
        QCOMPARE(instanceProperty(config(u"a.json"_s), "Activations").toUInt(), 0u);

        QProcessEnvironment token;
        token.insert(u"XDG_ACTIVATION_TOKEN"_s, u"launcher-token"_s);
        QProcess *second = start({config(u"a.json"_s)}, {}, token);
        QVERIFY(second->waitForFinished(15000));
        QCOMPARE(second->exitStatus(), QProcess::NormalExit);
        QCOMPARE(second->exitCode(), 0);
        QCOMPARE(first->state(), QProcess::Running);
        QCOMPARE(instanceProperty(config(u"a.json"_s), "Activations").toUInt(), 1u);
        QVERIFY(instanceProperty(config(u"a.json"_s), "Visible").toBool());

        // The same file spelled relative to another working directory is the same instance.
        QProcess *third = start({u"a.json"_s}, m_dir.path());
        QVERIFY(third->waitForFinished(15000));
        QCOMPARE(third->exitCode(), 0);
        QCOMPARE(instanceProperty(config(u"a.json"_s), "Activations").toUInt(), 2u);
    }

    void launchForAnotherFileOpensItsOwnWindow()
    {
        QProcess *first = start({config(u"a.json"_s)});
        QTRY_VERIFY_WITH_TIMEOUT(registered(config(u"a.json"_s)), 15000);
        QProcess *other = start({config(u"b.json"_s)});
        QTRY_VERIFY_WITH_TIMEOUT(registered(config(u"b.json"_s)), 15000);
        QTRY_VERIFY(instanceProperty(config(u"b.json"_s), "Visible").toBool());
        QVERIFY(!other->waitForFinished(1000)); // it stays: its window is open
        QCOMPARE(first->state(), QProcess::Running);
        QCOMPARE(instanceProperty(config(u"a.json"_s), "Activations").toUInt(), 0u);
        QVERIFY(SingleInstance::serviceName(config(u"a.json"_s))
                != SingleInstance::serviceName(config(u"b.json"_s)));
    }

    void quitSettingsNotificationEndsTheRunningProgram()
    {
        QProcess *first = start({config(u"a.json"_s)});
        QTRY_VERIFY_WITH_TIMEOUT(registered(config(u"a.json"_s)), 15000);
        // The name is claimed before the window and its notification listener exist; a post in
        // between would reach nobody (a slow start under the sanitizers showed it). The window
        // reports itself shown once the listener is in place.
        QTRY_VERIFY_WITH_TIMEOUT(instanceProperty(config(u"a.json"_s), "Visible").toBool(), 15000);
        DBusTransport transport(QDBusConnection::sessionBus());
        transport.post(Notifications::quitSettings());
        QVERIFY(transport.flush());
        QVERIFY(first->waitForFinished(15000));
        QCOMPARE(first->exitStatus(), QProcess::NormalExit);
        QCOMPARE(first->exitCode(), 0);
        QTRY_VERIFY(!registered(config(u"a.json"_s)));
    }

    void withoutASessionBusEveryLaunchOpensItsOwnWindow()
    {
        QProcessEnvironment noBus;
        noBus.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent/bus"_s);
        QProcess *first = start({config(u"a.json"_s)}, {}, noBus);
        QProcess *second = start({config(u"a.json"_s)}, {}, noBus);
        QVERIFY(first->waitForStarted(5000));
        QVERIFY(second->waitForStarted(5000));
        QVERIFY(!second->waitForFinished(2500));
        QCOMPARE(first->state(), QProcess::Running);
        QCOMPARE(second->state(), QProcess::Running);
        QVERIFY(!registered(config(u"a.json"_s)));
    }
};

QTEST_GUILESS_MAIN(TestBusShell)
#include "tst_bus_shell.moc"
