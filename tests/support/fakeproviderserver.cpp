#include "fakeproviderserver.h"

#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QJsonDocument>
#include <QMetaEnum>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <memory>

using namespace Qt::Literals::StringLiterals;

bool RecordedRequest::hasHeader(const QByteArray &name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

QByteArray RecordedRequest::header(const QByteArray &name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

QJsonObject RecordedRequest::json() const
{
    return QJsonDocument::fromJson(body).object();
}

namespace TestSupport {

RecordedRequest record(const QHttpServerRequest &request)
{
    RecordedRequest recorded;
    const char *method
        = QMetaEnum::fromType<QHttpServerRequest::Method>().valueToKey(int(request.method()));
    recorded.method = QString::fromLatin1(method ? method : "Unknown").toUpper();
    recorded.path = request.url().path();
    recorded.headers = request.headers();
    recorded.body = request.body();
    return recorded;
}

quint16 closedPort()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 0))
        return 0;
    const quint16 port = probe.serverPort();
    probe.close();
    return port;
}

} // namespace TestSupport

FakeProviderServer::FakeProviderServer(QObject *parent)
    : QObject(parent)
{
    m_server.setMissingHandler(
        [this](const QHttpServerRequest &request, QHttpServerResponder &&responder) {
            const RecordedRequest recorded = TestSupport::record(request);
            m_requests.append(recorded);
            Q_EMIT requestReceived(recorded);

            const Answer answer = m_answers.value(recorded.path, m_defaultAnswer);
            const auto status = QHttpServerResponder::StatusCode(answer.status);
            const QByteArray body = m_bodies.value(recorded.path);
            auto respond = [status, body](QHttpServerResponder &to) {
                if (body.isEmpty())
                    to.write(status);
                else
                    to.write(body, QByteArrayLiteral("application/json"), status);
            };
            if (answer.delayMs <= 0) {
                respond(responder);
                return;
            }
            // The responder writes to the connection's socket, which goes away when the
            // client gives up first.
            auto held = std::make_shared<QHttpServerResponder>(std::move(responder));
            const QPointer<QTcpSocket> socket(held->socket());
            QTimer::singleShot(answer.delayMs, this, [held, socket, respond] {
                if (socket && socket->state() == QAbstractSocket::ConnectedState)
                    respond(*held);
            });
        });
}

bool FakeProviderServer::listen()
{
    m_port = m_server.listen(QHostAddress::LocalHost, 0);
    return m_port != 0;
}

QString FakeProviderServer::url(const QString &path) const
{
    return u"http://127.0.0.1:"_s + QString::number(m_port) + path;
}
