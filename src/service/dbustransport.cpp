#include "service/dbustransport.h"

#include <QDBusMessage>

using namespace Qt::Literals::StringLiterals;

QString DBusTransport::objectPath()
{
    return u"/com/tesselmo/varnook"_s;
}

QString DBusTransport::interfaceName()
{
    return u"com.tesselmo.varnook.Notifications"_s;
}

QString DBusTransport::memberName()
{
    return u"Posted"_s;
}

DBusTransport::DBusTransport(QObject *parent)
    : DBusTransport(QDBusConnection::sessionBus(), parent)
{}

DBusTransport::DBusTransport(const QDBusConnection &connection, QObject *parent)
    : NotificationTransport(parent)
    , m_connection(connection)
{
    if (!m_connection.isConnected())
        return;
    // Empty service and path: any sender, any object. The signature filter drops signals with
    // other arguments before they reach us, so a stranger's malformed Posted is never seen.
    // QDBusConnection::connect only takes a slot by name.
    m_connection.connect(QString(), QString(), interfaceName(), memberName(), u"sa{sv}"_s, this,
                         SLOT(deliver(QString, QVariantMap)));
}

bool DBusTransport::isConnected() const
{
    return m_connection.isConnected();
}

void DBusTransport::post(const QString &name, const QVariantMap &userInfo)
{
    if (!m_connection.isConnected())
        return;
    QDBusMessage message = QDBusMessage::createSignal(objectPath(), interfaceName(), memberName());
    message << name << userInfo;
    m_connection.send(message);
}

bool DBusTransport::flush(int timeoutMs) const
{
    if (!m_connection.isConnected())
        return false;
    // Messages on one connection are handled in order, so once the daemon answers this call
    // it has routed everything sent before it and installed our match rule.
    const QDBusMessage ping
        = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                         u"org.freedesktop.DBus.Peer"_s, u"Ping"_s);
    return m_connection.call(ping, QDBus::Block, timeoutMs).type() == QDBusMessage::ReplyMessage;
}

void DBusTransport::deliver(const QString &name, const QVariantMap &userInfo)
{
    Q_EMIT received(name, userInfo);
}
