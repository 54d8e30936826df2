#include "providers/providertest.h"
#include "providers/testoutcome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>

using namespace Qt::Literals::StringLiterals;

namespace Providers {

namespace {

// Qt reports HTTP error statuses as reply errors too (401 becomes AuthenticationRequiredError,
// 400 ProtocolInvalidOperationError, 500 InternalServerError …). Those are answers from the
// server. Network-layer and proxy errors (codes below 200) and a broken transfer are not, even
// when a status line had already arrived: a body that stalls after the headers is a time-out.
bool isTransportFailure(const QNetworkReply &reply, bool hasStatus)
{
    const QNetworkReply::NetworkError error = reply.error();
    if (error == QNetworkReply::NoError)
        return false;
    if (!hasStatus)
        return true;
    return int(error) < 200 || error == QNetworkReply::ProtocolFailure;
}

QString transportDescription(const QNetworkReply &reply)
{
    // The only abort of our own happens when the caller goes away, and then nobody hears the
    // outcome; a cancelled reply that is heard from was stopped by the transfer time-out. Qt
    // describes that as "Operation canceled", which reads as if the user had pressed something.
    if (reply.error() == QNetworkReply::OperationCanceledError)
        return u"Request timed out"_s;
    return reply.errorString();
}

TestOutcome outcomeOf(const QNetworkReply &reply, const QString &model)
{
    const QVariant statusAttribute = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute);
    const bool hasStatus = statusAttribute.isValid();
    if (isTransportFailure(reply, hasStatus))
        return {false, model + u": "_s + transportDescription(reply)};
    // A reply without a status line did not come from an HTTP server.
    const int status = hasStatus ? statusAttribute.toInt() : 0;
    if (status >= 200 && status <= 299)
        return {true, model + u": reachable (HTTP "_s + QString::number(status) + u")"_s};
    return {false, model + u": HTTP "_s + QString::number(status)};
}

} // namespace

QUrl chatCompletionsUrl(const QString &baseURL)
{
    const QString joined
        = baseURL + (baseURL.endsWith(u'/') ? u"chat/completions"_s : u"/chat/completions"_s);
    // Strict parsing refuses blanks, tabs and stray "%" instead of quietly encoding them, so a
    // URL with a typo in it is reported rather than sent somewhere else.
    return QUrl(joined, QUrl::StrictMode);
}

QByteArray pingBody(const QString &model)
{
    const QJsonObject message{{u"role"_s, u"user"_s}, {u"content"_s, u"ping"_s}};
    const QJsonObject body{
        {u"model"_s, model},
        {u"max_tokens"_s, 1},
        {u"messages"_s, QJsonArray{message}},
    };
    return QJsonDocument(body).toJson(QJsonDocument::Compact);
}

void testProvider(QNetworkAccessManager *network, int timeoutMs, QObject *context,
                  const QString &baseURL, const QString &apiKey, const QString &model,
                  TestCompletion completion)
{
    Q_ASSERT(network);
    if (!context || !completion)
        return;

    const QUrl url = chatCompletionsUrl(baseURL);
    if (!url.isValid()) {
        // Queued, so that a caller never sees its completion before this call has returned.
        QMetaObject::invokeMethod(
            context, [model, completion] { completion(false, model + u": no server URL"_s); },
            Qt::QueuedConnection);
        return;
    }

    // No scheme check on purpose: a URL without one ("", "/chat/completions",
    // "api.example.com/v1/…") or with one other than http(s) parses, and Qt then refuses to
    // post it ("Protocol "" is unknown"), so nothing leaves the machine and the user reads why.
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    if (!apiKey.isEmpty())
        request.setRawHeader(QByteArrayLiteral("Authorization"), "Bearer " + apiKey.toUtf8());
    request.setTransferTimeout(timeoutMs > 0 ? timeoutMs : defaultTestTimeout);

    QNetworkReply *reply = network->post(request, pingBody(model));
    QObject::connect(context, &QObject::destroyed, reply, &QNetworkReply::abort);
    const QPointer<QObject> receiver(context);
    QObject::connect(reply, &QNetworkReply::finished, reply,
                     [reply, receiver, model, completion = std::move(completion)] {
                         reply->deleteLater();
                         if (!receiver)
                             return;
                         const TestOutcome outcome = outcomeOf(*reply, model);
                         // Runs at once when the network lives on the caller's thread, which is
                         // the main thread in this program.
                         QMetaObject::invokeMethod(receiver.data(), [completion, outcome] {
                             completion(outcome.ok, outcome.message);
                         });
                     });
}

} // namespace Providers
