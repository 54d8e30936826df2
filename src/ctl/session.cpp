#include "ctl/session.h"

#include "config/configdocument.h"
#include "config/configfile.h"
#include "model/settingsmodel.h"
#include "network/addresses.h"
#include "service/dbustransport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

using namespace Qt::Literals::StringLiterals;

// ---- CtlTransport ------------------------------------------------------------------------------

CtlTransport::CtlTransport(QObject *parent)
    : NotificationTransport(parent)
{}

CtlTransport::~CtlTransport() = default;

void CtlTransport::connectBus()
{
    if (m_bus)
        return;
    m_bus = std::make_unique<DBusTransport>();
    connect(m_bus.get(), &NotificationTransport::received, this,
            [this](const QString &name, const QVariantMap &userInfo) {
                if (name == Notifications::configChanged())
                    Q_EMIT received(name, userInfo);
            });
}

void CtlTransport::post(const QString &name, const QVariantMap &userInfo)
{
    connectBus();
    m_bus->post(name, userInfo);
    m_posted = true;
}

void CtlTransport::flush()
{
    if (m_posted && m_bus->isConnected())
        m_bus->flush();
}

// ---- CtlEnvironment ----------------------------------------------------------------------------

CtlEnvironment CtlEnvironment::fromProcess()
{
    CtlEnvironment environment;
    // The same outside addresses as the window's.
    const OutsideAddresses addresses = OutsideAddresses::fromEnvironment();
    environment.githubApiBase = addresses.githubApiBase;
    environment.githubRawBase = addresses.githubRawBase;
    const std::optional<qint64> poll
        = ConfigDocument::parseWholeInteger(qEnvironmentVariable("VARNOOK_CONTROL_POLL_MS"));
    if (poll && *poll >= 0 && *poll <= 60000)
        environment.controlPollMs = int(*poll);
    return environment;
}

// ---- Session -----------------------------------------------------------------------------------

Session::Session(QString configPath, Output &out)
    : m_configPath(std::move(configPath))
    , m_out(out)
    , m_environment(CtlEnvironment::fromProcess())
{}

Session::~Session() = default;

QString Session::defaultConfigPath()
{
    return ConfigDocument::defaultConfigPath();
}

std::optional<QString> documentProblem(const QString &path, bool missingIsFine)
{
    // The same reading as the model's: the file type is looked at before the file is opened,
    // so a named pipe never blocks the command.
    const ConfigFile::Snapshot snapshot = ConfigFile::read(path);
    switch (snapshot.state) {
    case ConfigFile::Snapshot::State::Missing:
        if (missingIsFine)
            return std::nullopt;
        return u"there is no file "_s + path;
    case ConfigFile::Snapshot::State::Unusable: return snapshot.problem;
    case ConfigFile::Snapshot::State::Document: break;
    }
    return std::nullopt;
}

std::optional<QString> Session::pathProblem() const
{
    // Only what is at the path: a command that does not use the configuration does not read it.
    const QFileInfo info(m_configPath);
    if (info.exists() && !info.isFile())
        return documentProblem(m_configPath, true);
    return std::nullopt;
}

std::optional<QString> Session::configProblem()
{
    // The model reads the file once; when it could not use it, it says why.
    if (const std::optional<QString> &problem = loadedModel().fileProblem())
        return problem;
    return std::nullopt;
}

std::optional<QString> Session::writeProblem() const
{
    const QFileInfo info(m_configPath);
    const QString prefix = u"Could not write "_s + m_configPath + u": "_s;
    if (info.exists()) {
        if (!info.isWritable())
            return prefix + u"Permission denied"_s;
        return std::nullopt;
    }
    // The save never creates the folder, like the window's.
    const QFileInfo folder(info.absolutePath());
    if (!folder.isDir())
        return prefix + u"the folder "_s + folder.filePath() + u" does not exist"_s;
    if (!folder.isWritable())
        return prefix + u"Permission denied"_s;
    return std::nullopt;
}

SettingsModel &Session::model()
{
    SettingsModel &settings = loadedModel();
    m_transport->connectBus();
    return settings;
}

SettingsModel &Session::loadedModel()
{
    if (!m_model) {
        m_transport = std::make_unique<CtlTransport>();
        ModelEnvironment environment;
        environment.transport = m_transport.get();
        environment.githubApiBase = m_environment.githubApiBase;
        environment.githubRawBase = m_environment.githubRawBase;
        m_model = std::make_unique<SettingsModel>(m_configPath, environment);
        m_model->setControlPollInterval(m_environment.controlPollMs);
    }
    return *m_model;
}

int Session::save()
{
    SettingsModel &settings = model();
    if (const std::optional<QString> failure = settings.writeDocument())
        return m_out.fail(ExitCode::failed, *failure);
    settings.postConfigChanged();
    return ExitCode::ok;
}

int Session::checkSaved()
{
    if (!model().lastSaveError())
        return ExitCode::ok;
    return writeFailed();
}

int Session::writeFailed()
{
    // The reason of the write itself when there was one ("File too large"), else what can be
    // told from the outside.
    if (m_model && m_model->lastSaveError())
        return m_out.fail(ExitCode::failed, *m_model->lastSaveError());
    return m_out.fail(ExitCode::failed,
                      writeProblem().value_or(u"Could not write "_s + m_configPath));
}

void Session::finish()
{
    if (m_transport)
        m_transport->flush();
}
