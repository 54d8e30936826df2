#include "fakegithub.h"

#include <QHttpServer>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

using namespace Qt::Literals::StringLiterals;

FakeGithub::FakeGithub(QObject *parent)
    : QObject(parent)
    , m_server(std::make_unique<QHttpServer>())
{
    m_server->setMissingHandler(
        [this](const QHttpServerRequest &request, QHttpServerResponder &&responder) {
            Request seen;
            seen.path = request.url().path();
            seen.query = request.query();
            seen.encodedQuery = request.url().query(QUrl::FullyEncoded).toLatin1();
            for (const auto &[name, value] : request.headers())
                seen.headers.insert(name.toLower(), value);
            m_requests.append(seen);

            const Answer *answer = nullptr;
            if (seen.path == u"/api/search/repositories") {
                const int page = seen.query.queryItemValue(u"page"_s).toInt();
                const auto it = m_searchPages.constFind(page);
                answer = it == m_searchPages.constEnd() ? nullptr : &*it;
            } else if (seen.path.startsWith(u"/api/")) {
                const auto it = m_api.constFind(seen.path.sliced(4));
                answer = it == m_api.constEnd() ? nullptr : &*it;
            } else if (seen.path.startsWith(u"/raw/")) {
                const auto it = m_raw.constFind(seen.path.sliced(4));
                answer = it == m_raw.constEnd() ? nullptr : &*it;
            }
            if (!answer) {
                responder.write(R"({"message":"Not Found"})"_ba, "application/json"_ba,
                                QHttpServerResponder::StatusCode::NotFound);
                return;
            }
            const QByteArray type = seen.path.startsWith(u"/api/") ? "application/json"_ba
                                                                   : "text/plain; charset=utf-8"_ba;
            responder.write(answer->body, type,
                            static_cast<QHttpServerResponder::StatusCode>(answer->status));
        });
    m_port = m_server->listen(QHostAddress::LocalHost, 0);
}

FakeGithub::~FakeGithub() = default;

QString FakeGithub::apiBase() const
{
    return u"http://127.0.0.1:"_s + QString::number(m_port) + u"/api"_s;
}

QString FakeGithub::rawBase() const
{
    return u"http://127.0.0.1:"_s + QString::number(m_port) + u"/raw"_s;
}

void FakeGithub::serveApi(const QString &path, const QByteArray &body, int status)
{
    m_api.insert(path, {body, status});
}

void FakeGithub::serveRaw(const QString &path, const QByteArray &body, int status)
{
    m_raw.insert(path, {body, status});
}

void FakeGithub::serveSearchPage(int page, const QByteArray &body, int status)
{
    m_searchPages.insert(page, {body, status});
}

QList<FakeGithub::Request> FakeGithub::requestsUnder(const QString &prefix) const
{
    QList<Request> list;
    for (const Request &request : m_requests) {
        if (request.path.startsWith(prefix))
            list.append(request);
    }
    return list;
}

QByteArray FakeGithub::searchReply(const QList<QByteArray> &items)
{
    QJsonArray array;
    for (const QByteArray &item : items)
        array.append(QJsonDocument::fromJson(item).object());
    const QJsonObject reply{
        {"total_count"_L1, 1234}, {"incomplete_results"_L1, false}, {"items"_L1, array}};
    return QJsonDocument(reply).toJson(QJsonDocument::Compact);
}

QByteArray FakeGithub::searchItem(const QString &fullName, const QString &description)
{
    const QString owner = fullName.section(u'/', 0, 0);
    QJsonObject item{
        {"id"_L1, qint64(100000 + fullName.size())},
        {"node_id"_L1, u"R_kgDOexample"_s},
        {"name"_L1, fullName.section(u'/', 1)},
        {"full_name"_L1, fullName},
        {"private"_L1, false},
        {"owner"_L1, QJsonObject{{"login"_L1, owner}, {"type"_L1, u"User"_s}}},
        {"html_url"_L1, QString(u"https://github.com/"_s + fullName)},
        {"description"_L1,
         description.isNull() ? QJsonValue(QJsonValue::Null) : QJsonValue(description)},
        {"fork"_L1, false},
        {"stargazers_count"_L1, 42},
        {"default_branch"_L1, u"main"_s},
        {"score"_L1, 1.0},
    };
    return QJsonDocument(item).toJson(QJsonDocument::Compact);
}

QByteArray FakeGithub::repositoryInfo(const QString &fullName, const QString &defaultBranch)
{
    QJsonObject info{
        {"id"_L1, 777},
        {"name"_L1, fullName.section(u'/', 1)},
        {"full_name"_L1, fullName},
        {"private"_L1, false},
        {"html_url"_L1, QString(u"https://github.com/"_s + fullName)},
        {"visibility"_L1, u"public"_s},
    };
    if (!defaultBranch.isNull())
        info.insert("default_branch"_L1, defaultBranch);
    return QJsonDocument(info).toJson(QJsonDocument::Indented);
}

QByteArray FakeGithub::tree(const QStringList &paths)
{
    QJsonArray elements;
    for (const QString &path : paths) {
        const bool blob = path.endsWith(u".md");
        elements.append(QJsonObject{{"path"_L1, path},
                                    {"mode"_L1, blob ? u"100644"_s : u"040000"_s},
                                    {"type"_L1, blob ? u"blob"_s : u"tree"_s},
                                    {"sha"_L1, u"3f4e5d6c7b8a"_s}});
    }
    const QJsonObject reply{{"sha"_L1, u"9fceb02d0ae598e95dc970b74767f19372d61af8"_s},
                            {"tree"_L1, elements},
                            {"truncated"_L1, false}};
    return QJsonDocument(reply).toJson(QJsonDocument::Compact);
}

// ---- EndlessServer -----------------------------------------------------------------------------

EndlessServer::EndlessServer(QObject *parent)
    : QObject(parent)
    , m_server(new QTcpServer(this))
{
    connect(m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server->nextPendingConnection()) {
            m_sockets.append(socket);
            // Answer once the request has arrived; what it asked for does not matter.
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
                socket->readAll();
                if (socket->property("answering").toBool())
                    return;
                socket->setProperty("answering", true);
                socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n"
                              "Connection: close\r\n\r\n");
                feed(socket);
            });
            connect(socket, &QTcpSocket::bytesWritten, this, [this, socket] {
                if (socket->bytesToWrite() < 256 * 1024)
                    feed(socket);
            });
        }
    });
    m_server->listen(QHostAddress::LocalHost, 0);
}

EndlessServer::~EndlessServer() = default;

QString EndlessServer::base() const
{
    return u"http://127.0.0.1:"_s + QString::number(m_server->serverPort());
}

int EndlessServer::openConnections() const
{
    return int(std::count_if(m_sockets.begin(), m_sockets.end(), [](const QTcpSocket *socket) {
        return socket->state() == QAbstractSocket::ConnectedState;
    }));
}

void EndlessServer::feed(QTcpSocket *socket)
{
    if (socket->state() != QAbstractSocket::ConnectedState)
        return;
    static const QByteArray chunk(64 * 1024, 'x');
    socket->write(chunk);
    m_bytesSent += chunk.size();
}
