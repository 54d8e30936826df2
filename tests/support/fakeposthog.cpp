#include "fakeposthog.h"

#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>

using namespace Qt::Literals::StringLiterals;

FakePostHog::FakePostHog(QObject *parent)
    : QObject(parent)
{
    m_server.setMissingHandler(
        [this](const QHttpServerRequest &request, QHttpServerResponder &&responder) {
            const RecordedRequest recorded = TestSupport::record(request);
            m_requests.append(recorded);
            Q_EMIT requestReceived(recorded);
            const auto status = QHttpServerResponder::StatusCode(m_status);
            if (m_status == 200)
                responder.write(QJsonDocument(QJsonObject{{u"status"_s, 1}}), status);
            else
                responder.write(status);
        });
}

bool FakePostHog::listen()
{
    m_port = m_server.listen(QHostAddress::LocalHost, 0);
    return m_port != 0;
}

QString FakePostHog::host() const
{
    return u"http://127.0.0.1:"_s + QString::number(m_port);
}

LoopbackNetwork::LoopbackNetwork(quint16 loopbackPort, QObject *parent)
    : QNetworkAccessManager(parent)
    , m_port(loopbackPort)
{}

int LoopbackNetwork::openReplies() const
{
    return int(findChildren<QNetworkReply *>(Qt::FindDirectChildrenOnly).size());
}

QNetworkReply *LoopbackNetwork::createRequest(Operation op, const QNetworkRequest &request,
                                              QIODevice *outgoingData)
{
    m_asked.append({op, request.url(), request});
    QUrl loopback = request.url();
    loopback.setScheme(u"http"_s);
    loopback.setHost(u"127.0.0.1"_s);
    loopback.setPort(m_port);
    QNetworkRequest redirected = request;
    redirected.setUrl(loopback);
    return QNetworkAccessManager::createRequest(op, redirected, outgoingData);
}
