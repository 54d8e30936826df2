#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

// A loopback server that answers every request with one kind of misbehaviour, for the limits
// of the network helper. It waits for the end of the request's headers (and the body a
// Content-Length announces), then:
//  - EndlessChunked: "200 OK", chunked, and chunks for ever;
//  - EndlessBody: "200 OK" without a length, and a body for ever;
//  - Trickle: the answer given with setAnswer(), one byte every trickleInterval();
//  - Reply: the answer given with setAnswer() at once, then silence (the connection stays);
//  - ReplyAndClose: the answer given with setAnswer() at once, then the connection is closed.
// Endless bodies are written as fast as the client takes them, never more than 256 KiB ahead.
class HostileServer final : public QObject {
    Q_OBJECT
public:
    enum class Mode { EndlessChunked, EndlessBody, Trickle, Reply, ReplyAndClose };

    explicit HostileServer(Mode mode, QObject *parent = nullptr);
    ~HostileServer() override;

    void setAnswer(const QByteArray &bytes) { m_answer = bytes; }
    void setTrickleInterval(int ms) { m_trickleMs = ms; }
    int trickleInterval() const { return m_trickleMs; }

    QString url(const QString &path = {}) const; // http://127.0.0.1:<port><path>
    int requests() const { return m_requests; }  // requests whose headers arrived
    qint64 bytesSent() const { return m_bytesSent; }
    int openConnections() const;
    const QByteArray &lastRequestHead() const { return m_lastHead; }

private:
    struct Connection {
        QPointer<QTcpSocket> socket;
        QByteArray received;
        bool answering = false;
        qsizetype trickled = 0;
        QTimer *trickle = nullptr;
    };
    void heard(Connection &connection);
    void answer(Connection &connection);
    void feed(Connection &connection);

    Mode m_mode;
    QTcpServer m_server;
    QList<Connection *> m_connections;
    QByteArray m_answer;
    QByteArray m_lastHead;
    int m_trickleMs = 100;
    int m_requests = 0;
    qint64 m_bytesSent = 0;
};
