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
