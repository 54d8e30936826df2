#include "providers/providertest.h"
#include "providers/testoutcome.h"
#include "network/request.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaObject>
#include <QNetworkRequest>

using namespace Qt::Literals::StringLiterals;

namespace Providers {

// Only a status from 200 to 299 is a success; an answer that is not HTTP reads as status 0.
TestOutcome outcomeOf(const Net::Outcome &outcome, const QString &model)
{
    switch (outcome.ending) {
    case Net::Ending::Answered:
        if (outcome.succeeded())
            return {true,
                    model + u": reachable (HTTP "_s + QString::number(outcome.status) + u")"_s};
        return {false, model + u": HTTP "_s + QString::number(outcome.status)};
    case Net::Ending::NotHttp: return {false, model + u": HTTP 0"_s};
    default: return {false, model + u": "_s + outcome.text};
    }
}

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

    // A URL without an http(s) scheme ("", "/chat/completions", "api.example.com/v1/…")
    // parses, but is never sent: the user reads why ("Protocol "" is unknown").
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    if (!apiKey.isEmpty())
        request.setRawHeader(QByteArrayLiteral("Authorization"), "Bearer " + apiKey.toUtf8());
    Net::Limits limits = Net::providerTestLimits;
    if (timeoutMs > 0)
        limits.deadlineMs = timeoutMs;
    Net::send(network, context, Net::Method::Post, request, pingBody(model), limits,
              [model, completion = std::move(completion)](const Net::Outcome &outcome) {
                  const TestOutcome result = outcomeOf(outcome, model);
                  completion(result.ok, result.message);
              });
}

} // namespace Providers
