#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <functional>

class QNetworkAccessManager;
class QNetworkRequest;
class QObject;

// Every HTTP request of the program goes through send(): the provider test, the GitHub REST
// API, raw skill downloads and the launch event. Whatever the server does (never answers,
// trickles one byte at a time, sends an endless body, answers with something that is not HTTP,
// redirects elsewhere), a request ends within its deadline, holds at most its byte limit in
// memory, and ends with one of the outcomes below.
namespace Net {

// The User-Agent of every request: "varnook-settings/<version>".
QByteArray userAgent();

struct Limits {
    // The whole request, from send() to the last byte: not the longest silence.
    int deadlineMs = 30000;
    // The most body bytes kept. Zero: the status line and headers are all that is wanted; the
    // request stops as soon as they are in and the body is never read.
    qint64 maxBodyBytes = 0;
};

// The limits of each kind of request.
inline constexpr qint64 mebibyte = 1024 * 1024;
inline constexpr Limits providerTestLimits{20000, 0};
inline constexpr Limits skillDownloadLimits{30000, 4 * mebibyte};
inline constexpr Limits githubApiLimits{30000, 16 * mebibyte};
inline constexpr Limits analyticsLimits{60000, 0};

enum class Ending {
    Answered,    // an HTTP status line and headers arrived, and the body within the limit
    NotHttp,     // the server took the request but gave no HTTP answer (other bytes, or none)
    TooLarge,    // the body is longer than the limit; what had arrived is dropped
    TimedOut,    // no complete answer before the deadline
    Unsupported, // not an http or https address; nothing was sent
    Failed,      // a network failure: refused, unknown host, TLS, a connection broken mid-body
};

struct Outcome {
    Ending ending = Ending::Failed;
    int status = 0;  // the HTTP status when one arrived (redirects included: never followed)
    QByteArray body; // Answered only, and only when the limit allows a body
    QString text;    // one line for people, e.g. "HTTP 404", "Request timed out"

    bool answered() const { return ending == Ending::Answered; }
    bool succeeded() const { return answered() && status >= 200 && status <= 299; }
};

using Completion = std::function<void(const Outcome &)>;

enum class Method { Get, Post };

// Sends `request` (GET, or POST with `body`) on `network` under `limits`. `done` runs exactly
// once, on the thread of `context`, and never before send() has returned; when `context` is
// destroyed first the request is aborted and `done` does not run. `done` may be empty: the
// request is then fired and forgotten, still under its limits. Redirects are never followed and
// the User-Agent is set unless the request has one.
void send(QNetworkAccessManager *network, QObject *context, Method method,
          const QNetworkRequest &request, const QByteArray &body, Limits limits, Completion done);

// "4 MiB", "16 MiB", "1000 bytes": a limit as the outcome texts print it.
QString sizeText(qint64 bytes);

} // namespace Net
