#include "faketelegram.h"

#include <QHttpServer>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

FakeTelegram::FakeTelegram(QObject *parent)
    : QObject(parent)
    , m_server(std::make_unique<QHttpServer>())
{
    m_server->setMissingHandler(
        [this](const QHttpServerRequest &request, QHttpServerResponder &&responder) {
            const QString path = request.url().path();
            m_paths.append(path);
            Answer answer{R"({"ok":false,"error_code":404,"description":"Not Found"})"_ba, 404};
            if (path.startsWith(u"/bot") && path.endsWith(u"/getMe")) {
                const QString token = path.sliced(4, path.size() - 4 - 6);
                answer = m_answers.value(token, Answer{unauthorized(), 401});
            }
            responder.write(answer.body, "application/json"_ba,
                            static_cast<QHttpServerResponder::StatusCode>(answer.status));
        });
    m_port = m_server->listen(QHostAddress::LocalHost, 0);
}

FakeTelegram::~FakeTelegram() = default;

QString FakeTelegram::base() const
{
    return u"http://127.0.0.1:"_s + QString::number(m_port);
}

void FakeTelegram::addBot(const QString &token, const QString &username, const QString &firstName)
{
    const QJsonObject user{{u"id"_s, 4242},
                           {u"is_bot"_s, true},
                           {u"first_name"_s, firstName},
                           {u"username"_s, username}};
    const QJsonObject reply{{u"ok"_s, true}, {u"result"_s, user}};
    serve(token, QJsonDocument(reply).toJson(QJsonDocument::Compact), 200);
}

void FakeTelegram::serve(const QString &token, const QByteArray &body, int status)
{
    m_answers.insert(token, {body, status});
}

QByteArray FakeTelegram::unauthorized()
{
    return R"({"ok":false,"error_code":401,"description":"Unauthorized"})"_ba;
}
