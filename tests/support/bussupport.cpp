#include "support/bussupport.h"

#include "model/settingsmodel.h"
#include "service/dbustransport.h"
#include "service/statusinfo.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QProcessEnvironment>
#include <QTimer>

#include <cstdio>

using namespace Qt::Literals::StringLiterals;

namespace BusSupport {

namespace {

const char modelProcessVariable[] = "VARNOOK_TEST_MODEL_PROCESS_CONFIG";

void say(const char *line)
{
    std::fputs(line, stdout);
    std::fflush(stdout);
}

} // namespace

bool gdbusEmit(const QStringList &arguments, const QString &objectPath, const QString &signal)
{
    QProcess gdbus;
    gdbus.start(u"gdbus"_s, QStringList{u"emit"_s, u"--session"_s, u"--object-path"_s, objectPath,
                                        u"--signal"_s, signal}
                                + arguments);
    if (!gdbus.waitForFinished(10000)) {
        gdbus.kill();
        gdbus.waitForFinished();
        return false;
    }
    if (gdbus.exitStatus() != QProcess::NormalExit || gdbus.exitCode() != 0) {
        qWarning("gdbus emit failed: %s", gdbus.readAllStandardError().constData());
        return false;
    }
    return true;
}

QString botSimulatorPath()
{
    return QStringLiteral(VARNOOK_BINARY_DIR "/tools/varnook-bot-sim/varnook-bot-sim");
}

// ---- BotSimulatorProcess --------------------------------------------------------------------

BotSimulatorProcess::~BotSimulatorProcess()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(5000)) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

bool BotSimulatorProcess::start(const QString &configPath, const QStringList &extraArguments)
{
    if (!QFile::exists(botSimulatorPath())) {
        qWarning("%s is missing: build the varnook-bot-sim target first",
                 qPrintable(botSimulatorPath()));
        return false;
    }
    const QString statusPath = statusFilePath(configPath);
    QFile::remove(statusPath);
    m_process.start(botSimulatorPath(), QStringList{u"--config"_s, configPath} + extraArguments);
    if (!m_process.waitForStarted(10000))
        return false;
    const QDeadlineTimer deadline(10000);
    while (!QFile::exists(statusPath)) {
        if (deadline.hasExpired() || m_process.state() == QProcess::NotRunning) {
            qWarning("varnook-bot-sim did not come up: %s", log().constData());
            return false;
        }
        QTest::qWait(10);
    }
    return true;
}

bool BotSimulatorProcess::stop()
{
    m_process.terminate();
    if (!m_process.waitForFinished(10000))
        return false;
    return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
}

// ---- ModelProcess ---------------------------------------------------------------------------

ModelProcess::~ModelProcess()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished();
}

bool ModelProcess::start(const QString &configPath)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QString::fromLatin1(modelProcessVariable), configPath);
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QCoreApplication::applicationFilePath(), {});
    if (!m_process.waitForStarted(10000))
        return false;
    const QDeadlineTimer deadline(15000);
    while (!output().contains("listening\n")) {
        if (deadline.hasExpired() || m_process.state() == QProcess::NotRunning)
            return false;
        m_process.waitForReadyRead(100);
    }
    return true;
}

bool ModelProcess::waitForQuit(int timeoutMs)
{
    if (!m_process.waitForFinished(timeoutMs))
        return false;
    output();
    return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0
           && m_output.contains("about to quit\n");
}

bool isModelProcess()
{
    return qEnvironmentVariableIsSet(modelProcessVariable);
}

int runModelProcess(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    DBusTransport transport;
    SettingsModel model(qEnvironmentVariable(modelProcessVariable), ModelEnvironment{&transport});
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &app, [] { say("about to quit\n"); });
    if (!transport.flush())
        return 4;
    // Only the running event loop can be quit, so say so from inside it.
    QTimer::singleShot(0, &app, [] { say("listening\n"); });
    QTimer::singleShot(60000, &app, [] { QCoreApplication::exit(3); });
    return app.exec();
}

} // namespace BusSupport
