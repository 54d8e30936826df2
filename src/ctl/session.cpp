#include "ctl/session.h"

#include "config/configdocument.h"
#include "config/settingsmodel.h"
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

namespace {

// What documentProblem can tell without opening the file: whether it is there (when it has to
// be) and whether it is a regular file.
std::optional<QString> placeProblem(const QString &path, bool missingIsFine)
{
    const QFileInfo info(path);
    if (!info.exists() && !info.isSymLink()) {
        if (missingIsFine)
            return std::nullopt;
        return u"there is no file "_s + path;
    }
    if (info.isDir())
        return path + u" is a folder, not a configuration file"_s;
    if (!info.isFile())
        return path + u" is not a regular file"_s;
    return std::nullopt;
}

} // namespace

std::optional<QString> documentProblem(const QString &path, bool missingIsFine)
{
    if (std::optional<QString> problem = placeProblem(path, missingIsFine))
        return problem;
    if (!QFileInfo::exists(path))
        return std::nullopt; // missing, and that is fine
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return u"cannot read "_s + path + u": "_s + file.errorString();
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return u"cannot read "_s + path + u": "_s + file.errorString();
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        return path + u" is not valid JSON ("_s + error.errorString() + u" at byte "_s
               + QString::number(error.offset) + u")"_s;
    }
    if (!document.isObject())
        return path + u" does not hold a JSON object at the top level"_s;
    return std::nullopt;
}

std::optional<QString> Session::pathProblem() const
{
    const QFileInfo info(m_configPath);
    if (info.exists() && !info.isFile())
        return placeProblem(m_configPath, true);
    return std::nullopt;
}

std::optional<QString> Session::configProblem()
{
    // Anything but a regular file is refused before the model would try to read it.
    if (std::optional<QString> problem = placeProblem(m_configPath, true))
        return problem;
    // When the model could not take the file (missing, unreadable, not a JSON object),
    // documentProblem says which; a missing file is fine.
    if (loadedModel().fileTaken())
        return std::nullopt;
    return documentProblem(m_configPath, true);
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
    return m_out.fail(ExitCode::failed,
                      writeProblem().value_or(u"Could not write "_s + m_configPath));
}

void Session::finish()
{
    if (m_transport)
        m_transport->flush();
}
