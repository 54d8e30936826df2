#include "providers/modellist.h"

#include "providers/providertargets.h"
#include "providers/providertest.h"
#include "providers/testoutcome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaObject>
#include <QNetworkRequest>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace Providers {

QUrl modelsUrl(const QString &baseURL)
{
    const QString joined = baseURL + (baseURL.endsWith(u'/') ? u"models"_s : u"/models"_s);
    return QUrl(joined, QUrl::StrictMode);
}

std::optional<QStringList> parseModelIds(const QByteArray &answer)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(answer, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonValue data = document.object().value(u"data"_s);
    if (!data.isArray())
        return std::nullopt;

    QStringList ids;
    for (const QJsonValue &entry : data.toArray()) {
        const QJsonValue id = entry.toObject().value(u"id"_s);
        if (id.isString() && !id.toString().isEmpty())
            ids.append(id.toString());
    }
    // Case-blind first, so that "GPT-5" sits beside "gpt-5"; then by code point, so that the
    // order never depends on the input's.
    std::sort(ids.begin(), ids.end(), [](const QString &a, const QString &b) {
        const int blind = a.compare(b, Qt::CaseInsensitive);
        return blind != 0 ? blind < 0 : a < b;
    });
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    return ids;
}

QString modelCountText(qsizetype count)
{
    return QString::number(count) + (count == 1 ? u" model"_s : u" models"_s);
}

void fetchModels(QNetworkAccessManager *network, int timeoutMs, QObject *context,
                 const ProviderTarget &target, ModelListCompletion done)
{
    Q_ASSERT(network);
    if (!context || !done)
        return;

    const QString model = target.model;
    const QUrl url = modelsUrl(target.baseURL);
    if (!url.isValid()) {
        QMetaObject::invokeMethod(
            context,
            [model, done] {
                done({false, {}, model + u": no server URL"_s});
            },
            Qt::QueuedConnection);
        return;
    }

    QNetworkRequest request(url);
    request.setRawHeader(QByteArrayLiteral("Accept"), QByteArrayLiteral("application/json"));
    if (!target.apiKey.isEmpty())
        request.setRawHeader(QByteArrayLiteral("Authorization"),
                             "Bearer " + target.apiKey.toUtf8());
    Net::Limits limits = modelListLimits;
    if (timeoutMs > 0)
        limits.deadlineMs = timeoutMs;
    Net::send(network, context, Net::Method::Get, request, {}, limits,
              [model, done = std::move(done)](const Net::Outcome &outcome) {
                  if (!outcome.succeeded()) {
                      done({false, {}, outcomeOf(outcome, model).message});
                      return;
                  }
                  const std::optional<QStringList> ids = parseModelIds(outcome.body);
                  if (!ids) {
                      done({false, {}, model + u": not a list of models"_s});
                      return;
                  }
                  done({true, *ids, modelCountText(ids->size())});
              });
}

} // namespace Providers
