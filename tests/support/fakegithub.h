#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QUrlQuery>

#include <memory>

class QHttpServer;
class QTcpServer;
class QTcpSocket;

// A loopback stand-in for GitHub: the REST API under apiBase() and raw files under rawBase(),
// both served by one QHttpServer on 127.0.0.1. Answers are registered per path; anything not
// registered gets 404, like GitHub. Every request is recorded with its headers.
class FakeGithub final : public QObject {
    Q_OBJECT
public:
    explicit FakeGithub(QObject *parent = nullptr);
    ~FakeGithub() override;

    QString apiBase() const; // http://127.0.0.1:<port>/api
    QString rawBase() const; // http://127.0.0.1:<port>/raw

    // A body for an exact path under the API base or the raw base ("/repos/o/r").
    void serveApi(const QString &path, const QByteArray &body, int status = 200);
    void serveRaw(const QString &path, const QByteArray &body, int status = 200);
    // The reply of /search/repositories for one wire page number (1-based).
    void serveSearchPage(int page, const QByteArray &body, int status = 200);

    struct Request {
        QString path; // decoded path, base prefix included ("/api/search/repositories")
        QUrlQuery query;
        QByteArray encodedQuery;               // as it came over the wire
        QHash<QByteArray, QByteArray> headers; // names lower-cased
    };
    const QList<Request> &requests() const { return m_requests; }
    // The requests whose path starts with `prefix`.
    QList<Request> requestsUnder(const QString &prefix) const;
    void clearRequests() { m_requests.clear(); }

    // Shapes as GitHub sends them.
    static QByteArray searchReply(const QList<QByteArray> &items);
    static QByteArray searchItem(const QString &fullName, const QString &description);
    static QByteArray repositoryInfo(const QString &fullName, const QString &defaultBranch);
    static QByteArray tree(const QStringList &paths);

private:
    struct Answer {
        QByteArray body;
        int status = 200;
    };
    std::unique_ptr<QHttpServer> m_server;
    quint16 m_port = 0;
    QHash<QString, Answer> m_api;
    QHash<QString, Answer> m_raw;
    QHash<int, Answer> m_searchPages;
    QList<Request> m_requests;
};

// A server that answers every request with "200 OK", no length, and a body that never ends, for
// the download size cap. It keeps sending until the client goes away.
class EndlessServer final : public QObject {
    Q_OBJECT
public:
    explicit EndlessServer(QObject *parent = nullptr);
    ~EndlessServer() override;
    QString base() const; // http://127.0.0.1:<port>
    qint64 bytesSent() const { return m_bytesSent; }
    int openConnections() const;

private:
    void feed(QTcpSocket *socket);

    QTcpServer *m_server = nullptr;
    QList<QTcpSocket *> m_sockets;
    qint64 m_bytesSent = 0;
};
