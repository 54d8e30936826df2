#include "telegram/botapi.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkRequest>
#include <QStringList>
#include <QTimer>

using namespace Qt::Literals::StringLiterals;

namespace BotApi {

namespace {

const QString tokenMark = u"<token>"_s;

// The token as it is written in the path: everything but the characters a token is made of
// ("123456:ABC-def_…") escaped, so "/", "?" or "#" in a pasted text cannot leave the path.
QByteArray pathPiece(const QString &token)
{
    return QUrl::toPercentEncoding(token, ":");
}

QString notUnderstood()
{
    return u"Telegram's answer was not understood"_s;
}

TokenCheck fromJson(const Net::Outcome &outcome)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(outcome.body, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return {false, outcome.succeeded() ? notUnderstood() : outcome.text};
    const QJsonObject object = document.object();
    if (object.value("ok"_L1).toBool() && outcome.succeeded()) {
        const QJsonObject bot = object.value("result"_L1).toObject();
        const QString username = bot.value("username"_L1).toString();
        if (username.isEmpty())
            return {false, notUnderstood()};
        QString name = bot.value("first_name"_L1).toString();
        const QString lastName = bot.value("last_name"_L1).toString();
        if (!lastName.isEmpty())
            name += (name.isEmpty() ? QString() : u" "_s) + lastName;
        return {true, u"@"_s + username + (name.isEmpty() ? QString() : u" · "_s + name)};
    }
    const QString description = object.value("description"_L1).toString().trimmed();
    if (!description.isEmpty())
        return {false, description};
    return {false, outcome.succeeded() ? notUnderstood() : outcome.text};
}

} // namespace

QUrl getMeUrl(const QString &apiBase, const QString &token)
{
    QString base = apiBase;
    while (base.endsWith(u'/'))
        base.chop(1);
    return QUrl::fromEncoded(base.toUtf8() + "/bot" + pathPiece(token) + "/getMe",
                             QUrl::StrictMode);
}

QString scrubbed(const QString &text, const QString &token)
{
    if (token.isEmpty())
        return text;
    // The token as typed, and as each of Qt's ways of writing an address spells the path piece
    // (fully encoded, or with the escapes that need none undone).
    QStringList spellings{token};
    const QUrl url = getMeUrl(u"http://h"_s, token);
    for (const QString &address :
         {url.toString(QUrl::FullyEncoded), url.toString(), url.toDisplayString()}) {
        // http://h/bot<piece>/getMe
        const QString prefix = u"http://h/bot"_s;
        const QString suffix = u"/getMe"_s;
        if (!address.startsWith(prefix) || !address.endsWith(suffix))
            continue;
        const QString piece
            = address.sliced(prefix.size(), address.size() - prefix.size() - suffix.size());
        if (!piece.isEmpty() && !spellings.contains(piece))
            spellings.append(piece);
    }
    QString result = text;
    for (const QString &spelling : std::as_const(spellings))
        result.replace(spelling, tokenMark, Qt::CaseInsensitive);
    return result;
}

TokenCheck interpret(const Net::Outcome &outcome, const QString &token)
{
    TokenCheck check = outcome.answered() ? fromJson(outcome) : TokenCheck{false, outcome.text};
    // The answer is the server's: it may quote the address, and with it the token.
    check.text = scrubbed(check.text.simplified(), token);
    if (check.text.isEmpty())
        check.text = notUnderstood();
    return check;
}

void checkToken(QNetworkAccessManager *network, QObject *context, const QString &apiBase,
                const QString &token, std::function<void(const TokenCheck &)> done,
                Net::Limits limits)
{
    if (token.trimmed().isEmpty()) {
        QTimer::singleShot(0, context, [done = std::move(done)] {
            done({false, u"No token to check"_s});
        });
        return;
    }
    QNetworkRequest request(getMeUrl(apiBase, token.trimmed()));
    Net::send(network, context, Net::Method::Get, request, {}, limits,
              [done = std::move(done), token = token.trimmed()](const Net::Outcome &outcome) {
                  done(interpret(outcome, token));
              });
}

} // namespace BotApi
