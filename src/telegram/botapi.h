#pragma once

#include "network/request.h"

#include <QString>
#include <QUrl>

#include <functional>

class QNetworkAccessManager;
class QObject;

// Telegram's Bot API, as far as the settings need it: asking whether a bot token works before
// the bot goes live. Shared by the bot page and `varnookctl bot check`.
//
// A token is a password. It is part of the address (…/bot<token>/getMe), and Qt's error
// strings quote addresses, so every text that leaves here has the token scrubbed out, whatever
// the server or the network layer wrote.
namespace BotApi {

// A getMe answer is a few hundred bytes; a minute of waiting tells the user nothing more than
// fifteen seconds.
inline constexpr Net::Limits tokenCheckLimits{15000, 64 * 1024};

struct TokenCheck {
    bool valid = false;
    // "@username · Name" for a valid token; otherwise the API's own description
    // ("Unauthorized"), or what went wrong on the way ("Request timed out").
    QString text;

    bool operator==(const TokenCheck &) const = default;
};

// <apiBase>/bot<token>/getMe, the token escaped so that it stays one piece of the path.
// Invalid when the base is not an address.
QUrl getMeUrl(const QString &apiBase, const QString &token);

// `text` with every spelling of `token` that an address or an error string could carry (as
// typed, percent-encoded) replaced by "<token>".
QString scrubbed(const QString &text, const QString &token);

// What one getMe request ended in, as the user is told. Pure, for tests.
TokenCheck interpret(const Net::Outcome &outcome, const QString &token);

// Asks `apiBase` whether `token` belongs to a bot. `done` runs once, on the thread of
// `context`, never before this returns, and not at all when `context` goes first (the request
// is then aborted). An empty token is answered without going online.
void checkToken(QNetworkAccessManager *network, QObject *context, const QString &apiBase,
                const QString &token, std::function<void(const TokenCheck &)> done,
                Net::Limits limits = tokenCheckLimits);

} // namespace BotApi
