#pragma once

#include "config/configtypes.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>

#include <optional>

// The mapping between the configuration document and ConfigValues. Each key is described once
// (see the tables in configdocument.cpp) and both directions read that description.
namespace ConfigDocument {

// The base URL a missing "base_url" stands for: a local server on the loopback address.
QString defaultBaseUrl();
QString defaultSoulFile();
// The file the window, the terminal tool and the simulated service edit without an argument:
// ~/.zandrel/bot-config.json, the home folder expanded.
QString defaultConfigPath();

// Sets every configuration value from a parsed top-level object by the reading rules.
ConfigValues read(const QJsonObject &document);

// Normalises the number texts of `values` and updates `document` key by key by the writing
// rules; keys this program does not know are left as they are.
void write(ConfigValues &values, QJsonObject &document);

// Bytes as written to disk: pretty-printed, keys sorted.
QByteArray serialise(const QJsonObject &document);

// ---- concurrent writers ----------------------------------------------------------------------
// The values that differ between `before` and `after`, named as the file names them: top-level
// keys ("model", "bot_tokens") and per-bot keys ("bot_profiles[1].api_key"). Adding or removing
// a bot changes the three bot lists as a whole.
QStringList changedKeys(const ConfigValues &before, const ConfigValues &after);

// Whether `after` has a different number of bots than `before`.
bool botsRestructured(const ConfigValues &before, const ConfigValues &after);

// `theirs` (what another writer left in the file) with the user's own changes, from `base` to
// `mine`, put on top: a value the user changed takes the user's value, every other value stays
// as the other writer left it. A bot is found in `theirs` by the token it had in `base` (by its
// number when the token is not unique and the number of bots is the same); an edit of a bot
// that is no longer there is dropped with it. When the user added or removed a bot, the three
// bot lists are the user's as a whole.
ConfigValues merge(const ConfigValues &base, const ConfigValues &mine, const ConfigValues &theirs);

// ---- conversion rules shared with the pages and the terminal tool ----------------------------
QString trimBlanks(const QString &text); // spaces and tabs only, not line breaks
QStringList commaList(const QString &text);
QList<qint64> idList(const QString &text);
std::optional<qint64> parseWholeInteger(const QString &text); // optional sign, no overflow
std::optional<qint64> jsonInteger(const QJsonValue &value);
std::optional<QStringList> stringArray(const QJsonValue &value); // only an array of strings
QString listText(const QJsonValue &value);                       // strings joined with ", "
QString idListText(const QJsonValue &value);                     // integers or strings, ", "
QList<Fallback> readProviders(const QJsonValue &value);
QJsonArray writeProviders(const QList<Fallback> &providers);

// The number rule on saving: the trimmed text when it is a whole integer, else the integer
// in `previous` (the document's value under the key), else the key's default.
qint64 normaliseNumber(const QString &text, const QJsonValue &previous, qint64 defaultValue);

} // namespace ConfigDocument
