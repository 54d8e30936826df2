#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>

#include <memory>

class QHttpServer;

// A loopback stand-in for Telegram's Bot API under base(): GET /bot<token>/getMe answers for
// the tokens given with addBot(), like Telegram, and "401 Unauthorized" for every other one.
// serve() replaces the answer for one token with any body and status (garbage, errors). Every
// request path is recorded.
class FakeTelegram final : public QObject {
    Q_OBJECT
public:
    explicit FakeTelegram(QObject *parent = nullptr);
    ~FakeTelegram() override;

    QString base() const; // http://127.0.0.1:<port>

    void addBot(const QString &token, const QString &username, const QString &firstName);
    void serve(const QString &token, const QByteArray &body, int status);

    const QStringList &paths() const { return m_paths; } // decoded, as requested

    static QByteArray unauthorized(); // Telegram's answer to a token it does not know

private:
    struct Answer {
        QByteArray body;
        int status = 200;
    };
    std::unique_ptr<QHttpServer> m_server;
    quint16 m_port = 0;
    QHash<QString, Answer> m_answers; // by token
    QStringList m_paths;
};
