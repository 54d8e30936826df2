// varnook-bot-sim: a simulated bot service for the demo, the end-to-end tests and for anyone
// writing the real one. See botsimulator.h for the contract it plays.
//
//   varnook-bot-sim --config ~/.zandrel/bot-config.json --running --demo-traffic
//   varnook-bot-sim --quit-settings
#include "botsimulator.h"

#include "config/configdocument.h"
#include "config/configfile.h"
#include "service/dbustransport.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QSocketNotifier>
#include <QTextStream>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// SIGINT and SIGTERM arrive through a socket pair, so the exit runs on the event loop and can
// write the last status record; a signal handler itself may only write to a descriptor.
int signalSockets[2] = {-1, -1};

void onSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(signalSockets[0], &byte, 1);
}

bool watchSignals(QObject *context, std::function<void()> onStop)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalSockets) != 0)
        return false;
    auto *notifier = new QSocketNotifier(signalSockets[1], QSocketNotifier::Read, context);
    QObject::connect(notifier, &QSocketNotifier::activated, context, [notifier, onStop] {
        char byte = 0;
        [[maybe_unused]] const ssize_t got = ::read(signalSockets[1], &byte, 1);
        notifier->setEnabled(false);
        onStop();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    return ::sigaction(SIGINT, &action, nullptr) == 0
           && ::sigaction(SIGTERM, &action, nullptr) == 0;
}

std::optional<int> milliseconds(const QString &text)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    return ok && value >= 0 ? std::optional<int>(value) : std::nullopt;
}

int fail(const QString &message)
{
    QTextStream(stderr) << "varnook-bot-sim: " << message << Qt::endl;
    return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"varnook-bot-sim"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(VARNOOK_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"A simulated Varnook bot service. It writes varnook-status.json beside the "
        "configuration file and answers the settings program's notifications on the session "
        "bus."_s);
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption configOption(
        u"config"_s, u"The configuration file (default ~/.zandrel/bot-config.json)."_s, u"path"_s,
        ConfigDocument::defaultConfigPath());
    const QCommandLineOption delayOption(
        u"delay"_s, u"How long a start or a stop takes (default 1000)."_s, u"ms"_s, u"1000"_s);
    const QCommandLineOption runningOption(u"running"_s, u"Start as running."_s);
    const QCommandLineOption trafficOption(u"demo-traffic"_s,
                                           u"Count made-up requests and tokens while running."_s);
    const QCommandLineOption tickOption(
        u"tick"_s, u"How often made-up traffic is counted (default 1000)."_s, u"ms"_s, u"1000"_s);
    const QCommandLineOption quitOption(u"quit-settings"_s,
                                        u"Ask the settings program to quit, then exit."_s);
    const QCommandLineOption rewriteOption(
        u"rewrite-config"_s,
        u"Rewrite the configuration file this many times, as a service that keeps state there "
        "does (under the lock, one key of its own), print what happened, then exit."_s,
        u"count"_s);
    const QCommandLineOption rewriteKeyOption(
        u"rewrite-key"_s, u"The key --rewrite-config counts under (default sim_rewrites)."_s,
        u"key"_s, u"sim_rewrites"_s);
    const QCommandLineOption rewriteIntervalOption(
        u"rewrite-interval"_s, u"Milliseconds between two rewrites (default 0)."_s, u"ms"_s,
        u"0"_s);
    parser.addOptions({configOption, delayOption, runningOption, trafficOption, tickOption,
                       quitOption, rewriteOption, rewriteKeyOption, rewriteIntervalOption});
    parser.process(app);
    ConfigFile::ignoreFileSizeSignal();

    if (parser.isSet(rewriteOption)) {
        // No bus needed: this only writes the file.
        const std::optional<int> times = milliseconds(parser.value(rewriteOption));
        const std::optional<int> interval = milliseconds(parser.value(rewriteIntervalOption));
        if (!times || !interval)
            return fail(u"--rewrite-config and --rewrite-interval take a number"_s);
        const BotSimulator::Rewrites done
            = BotSimulator::rewriteConfiguration(QDir::cleanPath(parser.value(configOption)),
                                                 parser.value(rewriteKeyOption), *times, *interval);
        QTextStream(stdout) << "rewrites " << done.written << " lost " << done.lost << " failed "
                            << done.failed << Qt::endl;
        return done.failed == 0 ? 0 : 1;
    }

    const std::optional<int> delay = milliseconds(parser.value(delayOption));
    const std::optional<int> tick = milliseconds(parser.value(tickOption));
    if (!delay || !tick || *tick == 0)
        return fail(u"--delay and --tick take a number of milliseconds"_s);

    DBusTransport transport;
    if (!transport.isConnected())
        return fail(u"no session bus to talk on (is DBUS_SESSION_BUS_ADDRESS set?)"_s);

    if (parser.isSet(quitOption)) {
        transport.post(Notifications::quitSettings());
        // The signal is only queued by post(); make sure it left before the process does.
        return transport.flush() ? 0 : fail(u"the bus did not take the message"_s);
    }

    BotSimulatorOptions options;
    options.configPath = QDir::cleanPath(parser.value(configOption));
    options.delayMs = *delay;
    options.running = parser.isSet(runningOption);
    options.demoTraffic = parser.isSet(trafficOption);
    options.trafficIntervalMs = *tick;

    BotSimulator simulator(options, &transport);
    if (!simulator.begin())
        return fail(u"could not write "_s + statusFilePath(options.configPath));
    watchSignals(&app, [&simulator] {
        simulator.shutDown();
        QCoreApplication::quit();
    });
    return app.exec();
}
