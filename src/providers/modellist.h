#pragma once

#include "network/request.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <optional>

class QNetworkAccessManager;
class QObject;

namespace Providers {

struct ProviderTarget;

// A model list is a few kilobytes even for the largest public providers; four mebibytes leaves
// room for ids with long descriptions beside them and still keeps a hostile server's answer
// small. The deadline is the connection test's.
inline constexpr Net::Limits modelListLimits{20000, 4 * Net::mebibyte};

// The model list of an OpenAI-compatible provider: the base URL with "models" appended after
// exactly one "/", by the connection test's rule (no other normalisation).
QUrl modelsUrl(const QString &baseURL);

// The ids of an OpenAI-compatible answer {"data": [{"id": "…"}, …]}, sorted without regard to
// case and without duplicates. Entries without a text id are skipped. Nothing when the answer
// is not such an object at all.
std::optional<QStringList> parseModelIds(const QByteArray &answer);

struct ModelList {
    bool ok = false;
    QStringList ids; // sorted; empty on failure, and when the provider lists none
    QString message; // for people: "12 models", or the connection test's failure text
};

using ModelListCompletion = std::function<void(const ModelList &)>;

// Asks the target's provider for its models: GET <base>/models with the connection test's
// "Authorization: Bearer" header (none for an empty key), under modelListLimits (`timeoutMs`
// above zero shortens or lengthens the deadline). `done` runs exactly once, on the thread of
// `context`, never before this returns, and not at all when `context` goes first.
// Failures read like the connection test's ("gpt-5: HTTP 401", "gpt-5: no server URL", …);
// an answer that is not a model list reads "<model>: not a list of models".
void fetchModels(QNetworkAccessManager *network, int timeoutMs, QObject *context,
                 const ProviderTarget &target, ModelListCompletion done);

// "1 model", "12 models".
QString modelCountText(qsizetype count);

} // namespace Providers
