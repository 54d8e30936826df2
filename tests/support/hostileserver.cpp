#include "hostileserver.h"

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr qint64 aheadLimit = 256 * 1024;

// The Content-Length a request's head announces, or 0.
qint64 announcedLength(const QByteArray &head)
{
    for (const QByteArray &line : head.split('\n')) {
        const QByteArray trimmed = line.trimmed();
        if (trimmed.toLower().startsWith("content-length:"))
            return trimmed.mid(15).trimmed().toLongLong();
    }
    return 0;
}

} // namespace

HostileServer::HostileServer(Mode mode, QObject *parent)
    : QObject(parent)
    , m_mode(mode)
{
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            auto *connection = new Connection{socket, {}, false, 0, nullptr};
            m_connections.append(connection);
            connect(socket, &QTcpSocket::readyRead, this,
                    [this, connection] { heard(*connection); });
            connect(socket, &QTcpSocket::bytesWritten, this, [this, connection] {
                if (connection->answering)
                    feed(*connection);
            });
        }
    });
    m_server.listen(QHostAddress::LocalHost, 0);
}

HostileServer::~HostileServer()
{
    for (Connection *connection : std::as_const(m_connections)) {
        if (connection->socket)
            connection->socket->abort();
        delete connection->trickle;
        delete connection;
    }
}

QString HostileServer::url(const QString &path) const
{
    return u"http://127.0.0.1:"_s + QString::number(m_server.serverPort()) + path;
}

int HostileServer::openConnections() const
{
    return int(std::count_if(m_connections.begin(), m_connections.end(), [](const Connection *c) {
        return c->socket && c->socket->state() == QAbstractSocket::ConnectedState;
    }));
}

void HostileServer::heard(Connection &connection)
{
    connection.received.append(connection.socket->readAll());
    if (connection.answering)
        return;
    const qsizetype headEnd = connection.received.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return;
    const QByteArray head = connection.received.left(headEnd + 4);
    if (connection.received.size() - head.size() < announcedLength(head))
        return; // the body is still on its way
    m_lastHead = head;
    ++m_requests;
    connection.answering = true;
    answer(connection);
}

void HostileServer::answer(Connection &connection)
{
    QTcpSocket *socket = connection.socket;
    switch (m_mode) {
    case Mode::EndlessChunked:
        m_bytesSent += socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n"
                                     "Transfer-Encoding: chunked\r\n\r\n");
        feed(connection);
        break;
    case Mode::EndlessBody:
        m_bytesSent += socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n"
                                     "Connection: close\r\n\r\n");
        feed(connection);
        break;
    case Mode::Trickle:
        connection.trickle = new QTimer;
        connect(connection.trickle, &QTimer::timeout, this, [this, &connection] {
            if (!connection.socket || connection.trickled >= m_answer.size()
                || connection.socket->state() != QAbstractSocket::ConnectedState) {
                connection.trickle->stop();
                return;
            }
            m_bytesSent += connection.socket->write(m_answer.mid(connection.trickled, 1));
            ++connection.trickled;
        });
        connection.trickle->start(m_trickleMs);
        break;
    case Mode::Reply: m_bytesSent += socket->write(m_answer); break;
    case Mode::ReplyAndClose:
        m_bytesSent += socket->write(m_answer);
        socket->disconnectFromHost();
        break;
    }
}

void HostileServer::feed(Connection &connection)
{
    QTcpSocket *socket = connection.socket;
    if (!socket || socket->state() != QAbstractSocket::ConnectedState)
        return;
    static const QByteArray block(64 * 1024, 'x');
    while (socket->bytesToWrite() < aheadLimit) {
        if (m_mode == Mode::EndlessChunked) {
            m_bytesSent += socket->write(QByteArray::number(block.size(), 16) + "\r\n");
            m_bytesSent += socket->write(block);
            m_bytesSent += socket->write("\r\n");
        } else if (m_mode == Mode::EndlessBody) {
            m_bytesSent += socket->write(block);
        } else {
            return;
        }
    }
}
