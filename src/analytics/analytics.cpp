#include "analytics/analytics.h"

#include "network/addresses.h"
#include "network/request.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkRequest>

using namespace Qt::Literals::StringLiterals;

namespace Analytics {

Sender::Sender(QString host, QString projectKey, QString optOutMarker)
    : m_host(std::move(host))
    , m_projectKey(std::move(projectKey))
    , m_optOutMarker(std::move(optOutMarker))
{}

QUrl Sender::captureUrl() const
{
    QString base = m_host;
    while (base.endsWith(u'/'))
        base.chop(1);
    return QUrl(base + u"/capture/"_s);
}

QByteArray Sender::body(const QString &projectKey, const QString &event)
{
    // The same fixed identity for every installation and launch: events are counted, never
    // told apart. No version, system or time stamp either.
    const QJsonObject properties{
        {u"distinct_id"_s, u"varnook-settings"_s},
        {u"app"_s, u"varnook-settings"_s},
    };
    const QJsonObject object{
        {u"api_key"_s, projectKey},
        {u"event"_s, event},
        {u"properties"_s, properties},
    };
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

bool Sender::willCapture() const
{
    // The marker is checked on every event, so creating it takes effect without a restart.
    return !m_projectKey.isEmpty() && !QFileInfo::exists(m_optOutMarker);
}

bool Sender::capture(const QString &event, QNetworkAccessManager *network) const
{
    if (!network || !willCapture())
        return false;
    const QUrl url = captureUrl();
    if (!url.isValid())
        return false;

    // The key travels in the body. Of the headers, only the content type and the User-Agent
    // are ours; the rest are those Qt always sends (Host, Content-Length, Connection,
    // Accept-Encoding, Accept-Language).
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    // Fire and forget: no status check, no retry, nothing stored. The answer's body is never
    // read, and a host that does not answer is given up after 60 seconds.
    Net::send(network, network, Net::Method::Post, request, body(m_projectKey, event),
              Net::analyticsLimits, {});
    return true;
}

QString defaultOptOutMarker()
{
    return QDir::homePath() + u"/.zandrel/analytics-off"_s;
}

const Sender &processSender()
{
    // A function-local static: made once, on the first event, and safe to reach from any thread.
    static const Sender sender(OutsideAddresses::fromEnvironment().posthogHost,
                               qEnvironmentVariable("POSTHOG_KEY"), defaultOptOutMarker());
    return sender;
}

void capture(const QString &event, QNetworkAccessManager *network)
{
    processSender().capture(event, network);
}

bool willCapture()
{
    return processSender().willCapture();
}

} // namespace Analytics
