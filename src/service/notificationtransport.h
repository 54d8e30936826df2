#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

namespace Notifications {
inline QString configChanged()
{
    return QStringLiteral("com.tesselmo.varnook.config-changed");
}
inline QString botControl()
{
    return QStringLiteral("com.tesselmo.varnook.bot-control");
}
inline QString quitSettings()
{
    return QStringLiteral("com.tesselmo.varnook.quit-settings");
}
} // namespace Notifications

// Carries the three cross-process notifications between this program and the bot service.
// Posts reach every observer, this process included.
class NotificationTransport : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    ~NotificationTransport() override = default;

    virtual void post(const QString &name, const QVariantMap &userInfo = {}) = 0;

Q_SIGNALS:
    // Delivered on the main thread, for posts of any sender.
    void received(const QString &name, const QVariantMap &userInfo);
};

// Delivers posts inside this process only; for tests and for machines without a session bus.
class InMemoryTransport final : public NotificationTransport {
    Q_OBJECT
public:
    using NotificationTransport::NotificationTransport;

    void post(const QString &name, const QVariantMap &userInfo = {}) override;

    struct Post {
        QString name;
        QVariantMap userInfo;
    };
    const QList<Post> &posts() const { return m_posts; }
    void clear() { m_posts.clear(); }

private:
    QList<Post> m_posts;
};
