#include "ui/singleinstance.h"

#include <QCryptographicHash>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDir>
#include <QFileInfo>

using namespace Qt::Literals::StringLiterals;

namespace {
constexpr int activationTimeout = 5000; // ms; the owner answers from its event loop
}

QString SingleInstance::serviceName(const QString &configPath)
{
    // The same file reached by another spelling (relative, through a symbolic link) is the
    // same instance; a file that does not exist yet is named by its absolute path.
    const QFileInfo info(configPath);
    QString absolute = info.exists() ? info.canonicalFilePath() : QString();
    if (absolute.isEmpty())
        absolute = QDir::cleanPath(info.absoluteFilePath());
    const QByteArray digest
        = QCryptographicHash::hash(absolute.toUtf8(), QCryptographicHash::Sha256).toHex();
    // A bus name element may not start with a digit, hence the "i".
    return u"com.tesselmo.varnook.settings.i"_s + QString::fromLatin1(digest.left(16));
}

SingleInstance::SingleInstance(const QString &configPath, QDBusConnection connection,
                               QObject *parent)
    : QObject(parent)
    , m_service(serviceName(configPath))
    , m_connection(std::move(connection))
{}

SingleInstance::~SingleInstance()
{
    if (m_owned) {
        m_connection.unregisterObject(objectPath());
        m_connection.unregisterService(m_service);
    }
}

SingleInstance::Role SingleInstance::claim()
{
    if (!m_connection.isConnected() || !m_connection.interface())
        return Role::NoBus;
    if (m_owned)
        return Role::Primary;
    // The object is in place before the name, so a caller that sees the name can call it.
    m_connection.registerObject(objectPath(), this,
                                QDBusConnection::ExportScriptableSlots
                                    | QDBusConnection::ExportAllProperties);
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply
        = m_connection.interface()->registerService(m_service,
                                                    QDBusConnectionInterface::DontQueueService,
                                                    QDBusConnectionInterface::DontAllowReplacement);
    if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered) {
        m_owned = true;
        return Role::Primary;
    }
    m_connection.unregisterObject(objectPath());
    if (!reply.isValid())
        return Role::NoBus;
    return Role::Secondary;
}

bool SingleInstance::activateRunning(const QString &activationToken)
{
    QDBusMessage call
        = QDBusMessage::createMethodCall(m_service, objectPath(), interfaceName(), u"Activate"_s);
    call << activationToken;
    const QDBusMessage reply = m_connection.call(call, QDBus::Block, activationTimeout);
    return reply.type() == QDBusMessage::ReplyMessage;
}

void SingleInstance::Activate(const QString &token)
{
    ++m_activations;
    Q_EMIT activationRequested(token);
}
