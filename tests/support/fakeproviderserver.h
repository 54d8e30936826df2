#pragma once

#include <QByteArray>
#include <QHash>
#include <QHttpServer>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QPair>
#include <QString>

// One HTTP request as a loopback server saw it.
struct RecordedRequest {
    QString method; // "POST", "GET", …
    QString path;   // "/v1/chat/completions"
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;

    bool hasHeader(const QByteArray &name) const; // case-insensitive
    QByteArray header(const QByteArray &name) const;
    QJsonObject json() const; // the body as a JSON object; empty when it is not one
};

// A loopback OpenAI-compatible endpoint: records every request (any method, any path) and
// answers with the status (and body) chosen for its path, optionally after a delay. Listens on
// 127.0.0.1 at a free port.
class FakeProviderServer final : public QObject {
    Q_OBJECT
public:
    struct Answer {
        int status = 200;
        int delayMs = 0;
    };

    explicit FakeProviderServer(QObject *parent = nullptr);

    bool listen();
    quint16 port() const { return m_port; }
    // "http://127.0.0.1:<port>" followed by `path`.
    QString url(const QString &path = {}) const;

    void setDefaultAnswer(Answer answer) { m_defaultAnswer = answer; }
    void setAnswer(const QString &path, Answer answer) { m_answers.insert(path, answer); }
    // The body sent, as application/json, with the answer for `path`.
    void setAnswer(const QString &path, Answer answer, const QByteArray &body)
    {
        m_answers.insert(path, answer);
        m_bodies.insert(path, body);
    }

    const QList<RecordedRequest> &requests() const { return m_requests; }
    void clear() { m_requests.clear(); }

Q_SIGNALS:
    void requestReceived(const RecordedRequest &request);

private:
    QHttpServer m_server;
    quint16 m_port = 0;
    Answer m_defaultAnswer;
    QHash<QString, Answer> m_answers;
    QHash<QString, QByteArray> m_bodies;
    QList<RecordedRequest> m_requests;
};

namespace TestSupport {
// Records what `request` holds.
RecordedRequest record(const QHttpServerRequest &request);
// A loopback port that nothing listens on (bound for a moment, then released).
quint16 closedPort();
} // namespace TestSupport
