#include "network/request.h"

#include <QMetaObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QTimer>

#include <algorithm>
#include <optional>

using namespace Qt::Literals::StringLiterals;

namespace Net {

namespace {

// How much Qt may read ahead of us. With a read buffer size set, Qt's HTTP thread stops
// reading the socket while this much is waiting for the main thread, so a fast server cannot
// fill memory with data queued between the threads before the byte limit is seen.
constexpr qint64 readAheadLimit = 64 * 1024;

// One request on its way: owned by its reply, gone with it.
class Transfer final : public QObject {
public:
    Transfer(QNetworkReply *reply, QObject *context, Limits limits, Completion done)
        : QObject(reply)
        , m_reply(reply)
        , m_context(context)
        , m_limits(limits)
        , m_done(std::move(done))
    {
        m_reply->setReadBufferSize(
            std::clamp(m_limits.maxBodyBytes + 1, qint64(1), readAheadLimit));
        if (context) {
            // The reply is told from the context's thread; an abort there ends it.
            connect(context, &QObject::destroyed, this, [this] {
                m_cancelled = true;
                m_reply->abort();
            });
        }
        connect(reply, &QNetworkReply::requestSent, this, [this] { m_sent = true; });
        connect(reply, &QNetworkReply::metaDataChanged, this, &Transfer::headersIn);
        connect(reply, &QNetworkReply::readyRead, this, &Transfer::readBody);
        connect(reply, &QNetworkReply::finished, this, &Transfer::finish);
        // A deadline for the whole request rather than an idle time-out: a server that sends
        // one byte now and then must not keep it alive either.
        m_deadline.setSingleShot(true);
        connect(&m_deadline, &QTimer::timeout, this, [this] { stop(Ending::TimedOut); });
        m_deadline.start(m_limits.deadlineMs);
    }

private:
    void stop(Ending ending)
    {
        if (!m_stopped)
            m_stopped = ending;
        // Not from inside the reply's own signal: Qt would report the error twice. Nothing
        // more is read meanwhile, and Qt's read-ahead is bounded.
        QMetaObject::invokeMethod(m_reply, &QNetworkReply::abort, Qt::QueuedConnection);
    }

    void headersIn()
    {
        const QVariant status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (!status.isValid() || m_status)
            return;
        m_status = status.toInt();
        if (m_limits.maxBodyBytes == 0) {
            // The status is all that was asked for: stop before a byte of the body is read.
            stop(Ending::Answered);
            return;
        }
        const QVariant length = m_reply->header(QNetworkRequest::ContentLengthHeader);
        if (length.isValid() && length.toLongLong() > m_limits.maxBodyBytes)
            stop(Ending::TooLarge);
    }

    void readBody()
    {
        if (m_stopped || m_limits.maxBodyBytes == 0)
            return;
        // Counted before reading, so that no more than the limit is ever held here.
        const qint64 available = m_reply->bytesAvailable();
        const qint64 needed = m_body.size() + available;
        if (needed > m_limits.maxBodyBytes) {
            stop(Ending::TooLarge);
            return;
        }
        if (needed > m_body.capacity()) {
            // Grows like QByteArray would, but never past the limit.
            m_body.reserve(
                std::min(m_limits.maxBodyBytes, std::max(needed, qint64(m_body.capacity()) * 2)));
        }
        m_body.append(m_reply->read(available));
    }

    Outcome outcome()
    {
        Outcome result;
        result.status = m_status.value_or(0);
        if (m_stopped) {
            result.ending = *m_stopped;
            switch (result.ending) {
            case Ending::Answered: result.text = u"HTTP "_s + QString::number(result.status); break;
            case Ending::TooLarge:
                result.text = u"Answer larger than "_s + sizeText(m_limits.maxBodyBytes);
                break;
            default: result.text = u"Request timed out"_s; break;
            }
            return result;
        }

        const QNetworkReply::NetworkError error = m_reply->error();
        if (!m_status) {
            // A reply that never announced its headers may still carry a status.
            const QVariant status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
            if (status.isValid())
                m_status = status.toInt();
            result.status = m_status.value_or(0);
        }
        if (m_status) {
            // Qt reports HTTP error statuses as reply errors too (404 becomes
            // ContentNotFoundError …); those are answers. Network-layer errors (codes below
            // 200) and a broken transfer are not, even after the status line.
            if (error != QNetworkReply::NoError
                && (int(error) < 200 || error == QNetworkReply::ProtocolFailure)) {
                result.ending = Ending::Failed;
                result.text = m_reply->errorString();
                return result;
            }
            readBody();
            if (m_stopped) // the last bytes went over the limit
                return outcome();
            result.ending = Ending::Answered;
            result.body = std::move(m_body);
            result.text = u"HTTP "_s + QString::number(result.status);
            return result;
        }

        // No status line. Qt describes bytes that are no HTTP answer like a connection that
        // closed without one ("Connection closed"); both mean the server took the request and
        // did not answer in HTTP. A reply that ends without error and without a status did
        // not come over HTTP at all.
        const bool noAnswer = m_sent
                              && (error == QNetworkReply::RemoteHostClosedError
                                  || error == QNetworkReply::ProtocolFailure);
        if (error == QNetworkReply::NoError || noAnswer) {
            result.ending = Ending::NotHttp;
            result.text = u"Not an HTTP answer"_s;
            return result;
        }
        result.ending = Ending::Failed;
        result.text = m_reply->errorString();
        return result;
    }

    void finish()
    {
        m_deadline.stop();
        m_reply->deleteLater();
        if (m_cancelled || !m_done)
            return;
        const QPointer<QObject> receiver(m_context);
        if (!receiver)
            return;
        const Outcome result = outcome();
        // Runs at once when the network lives on the context's thread, as it does in this
        // program; otherwise it is queued to that thread.
        QMetaObject::invokeMethod(receiver.data(),
                                  [done = std::move(m_done), result] { done(result); });
    }

    QNetworkReply *m_reply;
    QPointer<QObject> m_context;
    Limits m_limits;
    Completion m_done;
    QTimer m_deadline;
    QByteArray m_body;
    std::optional<int> m_status;
    std::optional<Ending> m_stopped;
    bool m_sent = false;
    bool m_cancelled = false;
};

// Answers `done` from the event loop, never from within send().
void answerLater(QObject *context, Completion done, Outcome outcome)
{
    if (!context || !done)
        return;
    QMetaObject::invokeMethod(
        context, [done = std::move(done), outcome = std::move(outcome)] { done(outcome); },
        Qt::QueuedConnection);
}

} // namespace

QByteArray userAgent()
{
    return QByteArrayLiteral("varnook-settings/" VARNOOK_VERSION);
}

QString sizeText(qint64 bytes)
{
    if (bytes >= mebibyte && bytes % mebibyte == 0)
        return QString::number(bytes / mebibyte) + u" MiB"_s;
    if (bytes >= 1024 && bytes % 1024 == 0)
        return QString::number(bytes / 1024) + u" KiB"_s;
    return QString::number(bytes) + u" bytes"_s;
}

void send(QNetworkAccessManager *network, QObject *context, Method method,
          const QNetworkRequest &request, const QByteArray &body, Limits limits, Completion done)
{
    Q_ASSERT(network);
    const QUrl url = request.url();
    // Only the network: a file:, data: or qrc: address must never be read as an answer.
    if (!url.isValid()) {
        answerLater(context, std::move(done), {Ending::Unsupported, 0, {}, u"Invalid URL"_s});
        return;
    }
    if (url.scheme() != u"http" && url.scheme() != u"https") {
        // Qt's own words for an address it cannot fetch.
        answerLater(
            context, std::move(done),
            {Ending::Unsupported, 0, {}, u"Protocol \""_s + url.scheme() + u"\" is unknown"_s});
        return;
    }

    QNetworkRequest outgoing(request);
    if (!outgoing.hasRawHeader("User-Agent"))
        outgoing.setHeader(QNetworkRequest::UserAgentHeader, userAgent());
    // A 3xx is an answer like any other; following it could lead to another host or scheme.
    outgoing.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                          QNetworkRequest::ManualRedirectPolicy);
    QNetworkReply *reply
        = method == Method::Post ? network->post(outgoing, body) : network->get(outgoing);
    new Transfer(reply, context, limits, std::move(done));
}

} // namespace Net
