#include "service/notificationtransport.h"

#include <QTimer>

void InMemoryTransport::post(const QString &name, const QVariantMap &userInfo)
{
    m_posts.append({name, userInfo});
    // Like the bus, delivery is asynchronous: observers run from the event loop.
    QTimer::singleShot(0, this, [this, name, userInfo] { Q_EMIT received(name, userInfo); });
}
