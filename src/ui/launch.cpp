#include "ui/launch.h"

#include "ui/commandline.h"
#include "ui/contentview.h"
#include "ui/controls/icons.h"
#include "ui/mainwindow.h"
#include "ui/pagerenderer.h"
#include "ui/singleinstance.h"
#include "analytics/analytics.h"
#include "config/configdocument.h"
#include "model/settingsmodel.h"
#include "network/addresses.h"
#include "service/dbustransport.h"

#include <QApplication>
#include <QDir>
#include <QIcon>
#include <QNetworkAccessManager>
#include <QPalette>
#include <QSettings>

using namespace Qt::Literals::StringLiterals;

namespace Shell {

QString configPathFromArguments(const QStringList &arguments)
{
    if (arguments.size() < 2)
        return ConfigDocument::defaultConfigPath();
    return arguments.at(1);
}

void configureApplication()
{
    QCoreApplication::setOrganizationName(u"Tesselmo"_s);
    QCoreApplication::setOrganizationDomain(u"tesselmo.com"_s);
    QCoreApplication::setApplicationName(u"varnook-settings"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(VARNOOK_VERSION));
    QGuiApplication::setApplicationDisplayName(MainWindow::title());
    // Matches the installed com.tesselmo.varnook.settings.desktop, so that the desktop shows
    // the right name and icon for the window and can tell launches of it apart.
    QGuiApplication::setDesktopFileName(u"com.tesselmo.varnook.settings"_s);
    QGuiApplication::setWindowIcon(Icons::appLogo());
    // Closing the window hides it; the process ends on Quit or on the service's request.
    QGuiApplication::setQuitOnLastWindowClosed(false);
}

// ---- SettingsApp -------------------------------------------------------------------------------

SettingsApp::SettingsApp(NotificationTransport *transport, QObject *parent)
    : QObject(parent)
    , m_transport(transport ? transport : new DBusTransport(this))
{}

SettingsApp::~SettingsApp()
{
    // The window's pages hold the model; they go first.
    m_window.reset();
    m_model.reset();
}

void SettingsApp::launch(const QStringList &arguments)
{
    // 1. Never restore windows of an earlier run.
    m_defaults = std::make_unique<QSettings>();
    m_defaults->setValue(quitKeepsWindowsKey(), false);
    // 2. The launch event, before any window exists.
    if (Analytics::willCapture()) {
        m_network = new QNetworkAccessManager(this);
        Analytics::capture(u"settings_launch"_s, m_network);
    }
    // 3. The file to edit.
    m_configPath = configPathFromArguments(arguments);
    // 4. The one window; it outlives every close.
    m_window = std::make_unique<MainWindow>();
    // 5. The model, which loads the file. The outside addresses are the build's, or those the
    // environment names instead, as for varnookctl.
    const OutsideAddresses addresses = OutsideAddresses::fromEnvironment();
    m_model = std::make_unique<SettingsModel>(
        m_configPath,
        ModelEnvironment{m_transport, m_network, addresses.githubApiBase, addresses.githubRawBase});
    // 6. The content.
    m_window->setContentView(new ContentView(m_model.get()));
    // 7. Centred, in front, active.
    m_window->centre();
    m_window->bringToFront();
}

void SettingsApp::reactivate(const QString &activationToken)
{
    if (!m_window)
        return;
    // Qt's Wayland plugin hands this token to the compositor on the next activation request.
    if (!activationToken.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", activationToken.toUtf8());
    m_window->bringToFront();
}

void SettingsApp::serve(SingleInstance *instance)
{
    instance->setVisibilitySource([this] { return m_window && m_window->isVisible(); });
    connect(instance, &SingleInstance::activationRequested, this, &SettingsApp::reactivate);
}

// ---- the program -------------------------------------------------------------------------------

std::optional<int> answerWithoutWindow(int argc, char **argv)
{
    const CommandLine commandLine = parseCommandLine(argumentsOf(argc, argv), QtOptions::Skipped);
    switch (commandLine.action) {
    case CommandLine::Action::OpenWindow:
    case CommandLine::Action::RenderPages: return std::nullopt;
    case CommandLine::Action::ShowHelp:
    case CommandLine::Action::ShowVersion:
    case CommandLine::Action::Refuse: return answer(commandLine);
    }
    return std::nullopt;
}

void prepareEnvironment(int argc, char **argv)
{
    const CommandLine commandLine = parseCommandLine(argumentsOf(argc, argv), QtOptions::Skipped);
    if (commandLine.action == CommandLine::Action::RenderPages
        && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

int run(const QStringList &arguments, const std::function<void(SettingsApp &app)> &launched)
{
    configureApplication();

    // Qt has taken its own options out of these by now.
    const CommandLine commandLine = parseCommandLine(arguments, QtOptions::AlreadyRemoved);
    const QString programName = arguments.value(0, u"varnook-settings"_s);
    if (commandLine.action == CommandLine::Action::RenderPages) {
        if (commandLine.darkPalette)
            QApplication::setPalette(darkPalette());
        const QString config = configPathFromArguments(commandLine.launchArguments(programName));
        return renderPages(config, commandLine.renderFolder) ? 0 : 1;
    }
    if (commandLine.action != CommandLine::Action::OpenWindow)
        return answer(commandLine);
    const QStringList launchArguments = commandLine.launchArguments(programName);

    SingleInstance instance(configPathFromArguments(launchArguments));
    SingleInstance::Role role = instance.claim();
    if (role == SingleInstance::Role::Secondary) {
        if (instance.activateRunning(qEnvironmentVariable("XDG_ACTIVATION_TOKEN")))
            return 0;
        // The owner went away between the two calls: this launch takes its place.
        role = instance.claim();
        if (role == SingleInstance::Role::Secondary
            && instance.activateRunning(qEnvironmentVariable("XDG_ACTIVATION_TOKEN")))
            return 0;
    }

    SettingsApp app;
    app.launch(launchArguments);
    app.serve(&instance);
    if (launched)
        launched(app);
    return QApplication::exec();
}

} // namespace Shell
