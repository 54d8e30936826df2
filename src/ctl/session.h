#pragma once

#include "ctl/output.h"
#include "service/notificationtransport.h"

#include <QEventLoop>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class DBusTransport;
class SettingsModel;

// The notifications as varnookctl needs them: posts go out on the session bus like the
// window's, and of what comes in only config-changed is passed on. quit-settings is meant for
// the window; it must not cut short a terminal command that is waiting for the service.
// The bus is joined only when a command goes to work (connectBus, or the first post), so that
// a command refused for its configuration file never touches it.
class CtlTransport final : public NotificationTransport {
    Q_OBJECT
public:
    explicit CtlTransport(QObject *parent = nullptr);
    ~CtlTransport() override;

    // Joins the session bus, once; does nothing after the first time.
    void connectBus();
    void post(const QString &name, const QVariantMap &userInfo = {}) override;
    // Waits until the bus has taken what was posted, so that it is not lost when the process
    // ends right after. Does nothing without a bus.
    void flush();

private:
    std::unique_ptr<DBusTransport> m_bus;
    bool m_posted = false;
};

// The outside addresses and periods, as the compiled defaults or, for tests and debugging, as
// the environment overrides them.
struct CtlEnvironment {
    QString githubApiBase;
    QString githubRawBase;
    int controlPollMs = 1000;

    static CtlEnvironment fromProcess();
};

// Why the file at `path` cannot be used as a configuration document: missing (when
// `missingIsFine` is false), a folder, unreadable, not JSON, or not a JSON object. Nothing when
// it can.
std::optional<QString> documentProblem(const QString &path, bool missingIsFine);

// The state of one varnookctl run: where the configuration is, the one settings model built
// on it, and the output.
class Session final {
public:
    Session(QString configPath, Output &out);
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    // The window's rule: the home folder followed by "/.zandrel/bot-config.json".
    static QString defaultConfigPath();

    const QString &configPath() const { return m_configPath; }
    Output &out() { return m_out; }
    const CtlEnvironment &environment() const { return m_environment; }

    // Whether something other than a file is in the configuration file's place (a folder, a
    // pipe, a device): the model would try to read it. Checked for every command.
    std::optional<QString> pathProblem() const;
    // Why the configuration file cannot be used, or nothing. A missing file is fine: it means
    // the defaults, as in the window. Builds the settings model: the file is read once, by the
    // model, and only looked at again for the reason when the model could not take it.
    std::optional<QString> configProblem();
    // Why the configuration file could not be written, found before anything is changed.
    std::optional<QString> writeProblem() const;

    // The settings model on the configuration file, made on first use.
    SettingsModel &model();

    // writeDocument, then config-changed when it worked, as the window's save does. On failure
    // prints the reason and returns ExitCode::failed.
    int save();
    // For model operations that save by themselves: whether their last write worked. On
    // failure prints the reason and returns ExitCode::failed.
    int checkSaved();
    // Prints why the configuration file could not be written and returns ExitCode::failed.
    int writeFailed();

    // Runs the event loop until `done` holds, looking again each time the model emits `signal`.
    template <typename Signal> void waitUntil(Signal signal, const std::function<bool()> &done)
    {
        if (done())
            return;
        QEventLoop loop;
        QObject::connect(&model(), signal, &loop, [&] {
            if (done())
                loop.quit();
        });
        loop.exec();
    }

    // Lets the posts of this run leave before the process ends.
    void finish();

private:
    // The model, built on first use, without going on the bus.
    SettingsModel &loadedModel();

    QString m_configPath;
    Output &m_out;
    CtlEnvironment m_environment;
    std::unique_ptr<CtlTransport> m_transport;
    std::unique_ptr<SettingsModel> m_model;
};
