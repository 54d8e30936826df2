#pragma once

#include "fakeproviderserver.h"

#include <QHttpServer>
#include <QList>
#include <QNetworkAccessManager>
#include <QObject>
#include <QString>
#include <QUrl>

// A loopback PostHog capture endpoint: records every request (any path, so a wrong one shows
// up in the test) and answers with the chosen status, PostHog's {"status":1} for 200.
class FakePostHog final : public QObject {
    Q_OBJECT
public:
    explicit FakePostHog(QObject *parent = nullptr);

    bool listen();
    quint16 port() const { return m_port; }
    QString host() const; // "http://127.0.0.1:<port>"

    void setStatus(int status) { m_status = status; }
    const QList<RecordedRequest> &requests() const { return m_requests; }
    void clear() { m_requests.clear(); }

Q_SIGNALS:
    void requestReceived(const RecordedRequest &request);

private:
    QHttpServer m_server;
    quint16 m_port = 0;
    int m_status = 200;
    QList<RecordedRequest> m_requests;
};

// A network access manager that records every request it is asked for and sends it to a
// loopback server instead: scheme, host and port are replaced, path and query kept. Lets a
// test drive code that holds a built-in outside address without reaching the internet.
class LoopbackNetwork final : public QNetworkAccessManager {
    Q_OBJECT
public:
    struct Asked {
        Operation operation;
        QUrl url; // as asked, before the rewrite
        QNetworkRequest request;
    };

    explicit LoopbackNetwork(quint16 loopbackPort, QObject *parent = nullptr);

    const QList<Asked> &asked() const { return m_asked; }
    int openReplies() const; // replies started here and not yet deleted

protected:
    QNetworkReply *createRequest(Operation op, const QNetworkRequest &request,
                                 QIODevice *outgoingData) override;

private:
    quint16 m_port;
    QList<Asked> m_asked;
};
