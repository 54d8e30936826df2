#pragma once

#include <QString>
#include <QUrl>

#include <functional>

class QNetworkAccessManager;
class QObject;
struct TestOutcome;

namespace Net {
struct Outcome;
}

namespace Providers {

// Receives the outcome of one connection test: whether the provider answered 2xx, and the one
// line shown to the user, which always begins with the model id that was tested.
using TestCompletion = std::function<void(bool ok, const QString &message)>;

// How long a whole test may take, from sending to the status line, however slowly the
// server answers.
inline constexpr int defaultTestTimeout = 20000; // ms

// The chat-completions location of an OpenAI-compatible provider: the base URL with
// "chat/completions" appended after exactly one "/". Nothing else is normalised, so the base
// URL must already hold any version path ("…/v1"). Invalid when the joined text does not parse
// as a URL; a blank anywhere in it makes it invalid.
QUrl chatCompletionsUrl(const QString &baseURL);

// The request body: { "model": <model>, "max_tokens": 1, "messages": [ one "ping" ] }.
QByteArray pingBody(const QString &model);

// The line shown for a request to the provider that ended with `outcome`, beginning with the
// model id: "<model>: reachable (HTTP 200)", "<model>: HTTP 401", "<model>: Connection refused".
// The model list uses the same texts for its failures.
TestOutcome outcomeOf(const Net::Outcome &outcome, const QString &model);

// Sends one minimal chat-completion request and reports whether the provider answered with a
// success status. The request stops as soon as the status line and headers are in: the
// response body is never read. `completion` runs exactly once, on the
// thread of `context`, and never before this function has returned; it does not run at all when
// `context` is destroyed first (the request is then aborted). `network` must not be null; a
// `timeoutMs` of zero or less means the default.
void testProvider(QNetworkAccessManager *network, int timeoutMs, QObject *context,
                  const QString &baseURL, const QString &apiKey, const QString &model,
                  TestCompletion completion);

} // namespace Providers
