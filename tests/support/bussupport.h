#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTest>

// Helpers for the tests that run on a private session bus (tst_bus_*, inside dbus-run-session).
namespace BusSupport {

// Sends the Posted signal from another process with `gdbus emit`. `arguments` are GVariant
// texts, for example "'com.tesselmo.varnook.quit-settings'" and "@a{sv} {}". Returns whether
// gdbus reported success.
bool gdbusEmit(const QStringList &arguments,
               const QString &objectPath = QStringLiteral("/com/tesselmo/varnook"),
               const QString &signal = QStringLiteral("com.tesselmo.varnook.Notifications.Posted"));

// Where the build puts the simulated bot service.
QString botSimulatorPath();

// The simulated bot service as a child process, stopped (SIGTERM) when this goes away.
class BotSimulatorProcess {
public:
    BotSimulatorProcess() = default;
    ~BotSimulatorProcess();
    BotSimulatorProcess(const BotSimulatorProcess &) = delete;
    BotSimulatorProcess &operator=(const BotSimulatorProcess &) = delete;

    // Starts it and waits until it has written its first status record.
    bool start(const QString &configPath, const QStringList &extraArguments = {});
    // SIGTERM, then waits for the exit; true when it exited normally with status 0.
    bool stop();
    QByteArray log() { return m_log += m_process.readAllStandardError(); }

private:
    QProcess m_process;
    QByteArray m_log;
};

// A second copy of the running test executable that holds a SettingsModel on the session bus
// and runs the application's event loop until something quits it.
class ModelProcess {
public:
    ModelProcess() = default;
    ~ModelProcess();
    ModelProcess(const ModelProcess &) = delete;
    ModelProcess &operator=(const ModelProcess &) = delete;

    // Starts it and waits until its model listens on the bus.
    bool start(const QString &configPath);
    // Waits for the exit; true when the application quit on its own (exit code 0) after
    // announcing aboutToQuit.
    bool waitForQuit(int timeoutMs);
    QByteArray output() { return m_output += m_process.readAllStandardOutput(); }

private:
    QProcess m_process;
    QByteArray m_output;
};

// The entry of a ModelProcess child; see VARNOOK_BUS_TEST_MAIN.
bool isModelProcess();
int runModelProcess(int argc, char *argv[]);

} // namespace BusSupport

// Like QTEST_GUILESS_MAIN, but the executable can also serve as a ModelProcess.
#define VARNOOK_BUS_TEST_MAIN(TestObject)                                                          \
    QTEST_MAIN_WRAPPER(                                                                            \
        TestObject,                                                                                \
        if (BusSupport::isModelProcess()) return BusSupport::runModelProcess(argc, argv);          \
        QTEST_QAPP_SETUP(QCoreApplication))
