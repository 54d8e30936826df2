#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class MainWindow;
class NotificationTransport;
class QNetworkAccessManager;
class QSettings;
class SettingsModel;
class SingleInstance;

namespace Shell {

// home + "/.zandrel/bot-config.json" without an argument; otherwise the first argument after
// the program name exactly as given (no "~" expansion, relative to the working directory, not
// checked).
QString configPathFromArguments(const QStringList &arguments);

// Name, version, desktop file name and icon of the application; closing the last window does
// not quit. Call once after the QApplication exists.
void configureApplication();

// The user-defaults key that keeps an earlier run's windows from being restored.
inline QString quitKeepsWindowsKey()
{
    return QStringLiteral("NSQuitAlwaysKeepsWindows");
}

// Everything the process holds once launched: the notification transport, the settings model
// and the window, and a network access manager when the launch event goes out.
class SettingsApp final : public QObject {
    Q_OBJECT
public:
    // Without a transport the D-Bus transport on the session bus is used.
    explicit SettingsApp(NotificationTransport *transport = nullptr, QObject *parent = nullptr);
    ~SettingsApp() override;

    // The launch sequence, in this order: write false to "NSQuitAlwaysKeepsWindows"; send the
    // "settings_launch" event; choose the configuration path; create the window; create the
    // settings model (it loads the file); put the content view into the window; centre it and
    // bring it to the front.
    void launch(const QStringList &arguments);

    // Shows the window again and raises it. The activation token of the launcher that asked
    // lets a Wayland compositor give it the focus.
    void reactivate(const QString &activationToken = {});
    // Answers the single-instance object: its Activate brings the window back, its Visible
    // property reports the window.
    void serve(SingleInstance *instance);

    MainWindow *window() const { return m_window.get(); }
    SettingsModel *model() const { return m_model.get(); }
    // Made for the launch event only when it is sent; the model then shares it. Null otherwise
    // (the model makes its own when it first goes online).
    QNetworkAccessManager *network() const { return m_network; }
    NotificationTransport *transport() const { return m_transport; }
    const QString &configPath() const { return m_configPath; }

private:
    // Kept open so that the user default is written from the event loop, after the window is
    // on screen, rather than in the middle of the launch.
    std::unique_ptr<QSettings> m_defaults;
    QNetworkAccessManager *m_network = nullptr;
    NotificationTransport *m_transport;
    QString m_configPath;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<MainWindow> m_window;
};

// The whole program after the QApplication exists: the command line (see commandline.h), then
// the page renderer for "--render-pages", otherwise the single-instance check (a second launch for
// the same file activates the first and returns 0 at once), then the launch sequence and the event
// loop. `launched`, when given, runs right after the launch sequence (the start-up benchmark
// watches the first paint there).
int run(const QStringList &arguments, const std::function<void(SettingsApp &app)> &launched = {});

// Before the QApplication exists, so that no display is needed: answers -h/--help, -v/--version
// and a command line it refuses, and returns the exit status; nothing when the program runs.
std::optional<int> answerWithoutWindow(int argc, char **argv);

// Before the QApplication exists: the page renderer draws offscreen.
void prepareEnvironment(int argc, char **argv);

} // namespace Shell
