#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>

// A loopback server that accepts every connection, reads what arrives and never answers, for
// time-outs and for callers that must not wait on the network.
class SilentServer final : public QObject {
    Q_OBJECT
public:
    explicit SilentServer(QObject *parent = nullptr);
    ~SilentServer() override;

    bool listen();
    quint16 port() const { return m_server.serverPort(); }
    // "http://127.0.0.1:<port>" followed by `path`.
    QString url(const QString &path = {}) const;

    // Bytes written once, when a connection's first bytes arrive, before falling silent: a
    // status line and headers promising a body that never comes, for instance.
    void setPrelude(const QByteArray &bytes) { m_prelude = bytes; }

    int connectionCount() const { return m_connections; }
    qint64 bytesReceived() const { return m_bytesReceived; }
    // Cuts every open connection.
    void dropConnections();

Q_SIGNALS:
    void connected();

private:
    QTcpServer m_server;
    QList<QPointer<QTcpSocket>> m_sockets;
    QByteArray m_prelude;
    int m_connections = 0;
    qint64 m_bytesReceived = 0;
};
