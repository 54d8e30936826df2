#pragma once

#include "service/notificationtransport.h"

#include <QDBusConnection>

// The notifications as one broadcast signal on the session bus, shared with the bot service:
//
//   path /com/tesselmo/varnook, interface com.tesselmo.varnook.Notifications, member Posted,
//   arguments (s name, a{sv} userInfo), sent without a destination.
//
// The full notification name travels as the first argument because D-Bus member names cannot
// hold "-" or ".". Every Posted signal on the bus is received, whatever its sender and path,
// this process's own posts included. Without a reachable bus, posts go nowhere and nothing
// is received; the program works on.
class DBusTransport final : public NotificationTransport {
    Q_OBJECT
public:
    static QString objectPath();
    static QString interfaceName();
    static QString memberName();

    // On the session bus of the user.
    explicit DBusTransport(QObject *parent = nullptr);
    // On a bus of the caller's choosing (tests use private ones).
    explicit DBusTransport(const QDBusConnection &connection, QObject *parent = nullptr);

    bool isConnected() const;
    void post(const QString &name, const QVariantMap &userInfo = {}) override;
    // Waits, for at most `timeoutMs`, until the bus daemon has taken every post made so far
    // and the subscription is in place. For a program that posts and exits at once, and for
    // tests that must not send before this process listens. False without a bus.
    bool flush(int timeoutMs = 5000) const;

private Q_SLOTS:
    void deliver(const QString &name, const QVariantMap &userInfo);

private:
    QDBusConnection m_connection;
};
