#include "silentserver.h"

using namespace Qt::Literals::StringLiterals;

SilentServer::SilentServer(QObject *parent)
    : QObject(parent)
{
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            ++m_connections;
            m_sockets.append(socket);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
                const bool first = socket->property("heard").isNull();
                socket->setProperty("heard", true);
                m_bytesReceived += socket->readAll().size();
                if (first && !m_prelude.isEmpty())
                    socket->write(m_prelude);
            });
            Q_EMIT connected();
        }
    });
}

SilentServer::~SilentServer()
{
    dropConnections();
}

bool SilentServer::listen()
{
    return m_server.listen(QHostAddress::LocalHost, 0);
}

QString SilentServer::url(const QString &path) const
{
    return u"http://127.0.0.1:"_s + QString::number(port()) + path;
}

void SilentServer::dropConnections()
{
    for (const QPointer<QTcpSocket> &socket : std::as_const(m_sockets)) {
        if (socket) {
            socket->abort();
            socket->deleteLater();
        }
    }
    m_sockets.clear();
}
