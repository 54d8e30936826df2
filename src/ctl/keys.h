#pragma once

#include "config/configtypes.h"

#include <QLatin1StringView>
#include <QList>
#include <QString>

#include <optional>

class SettingsModel;

// The configuration keys as varnookctl offers them: the JSON key names of the file, bound to
// the settings model's properties. The rows come from the key lists (config/configkeys.def, and
// config/botkeys.def for what a bot overrides), plus the few keys of the file that other parts
// of the program read and write. How each key
// is read and written is the model's business (config/configdocument.cpp); this table only says
// which property a key name stands for and what kind of value a user may give it.
namespace CtlKeys {

enum class Kind {
    Text,      // any text, stored as it stands (or trimmed, as the model writes it)
    Words,     // comma-separated words
    Ids,       // comma-separated whole numbers (chat IDs)
    Time,      // "HH:MM", 24 hours
    Number,    // a whole number
    Flag,      // true or false
    Sources,   // comma-separated owner/repo names
    Providers, // a list of provider records: edited with "backup" / "bot backup"
    Bots,      // the bot lists: edited with "bot"
    Skills,    // a list of skill names: edited with "skills enable|disable"
    Folder,    // a path the program reads but never writes
};

QString kindName(Kind kind);

struct TopLevelKey {
    QLatin1StringView json;
    Kind kind;
    QString meaning;
    QString ConfigValues::*text = nullptr;
    bool ConfigValues::*flag = nullptr;
    void (SettingsModel::*setText)(const QString &) = nullptr;
    void (SettingsModel::*setFlag)(bool) = nullptr;
};

const QList<TopLevelKey> &topLevelKeys();
const TopLevelKey *findTopLevel(const QString &json);

// The value a key reads as when the file does not have it: what "unset" writes.
ConfigValues readingDefaults();

struct BotKey {
    QLatin1StringView json; // "token", "nickname", or the key inside the bot's profile
    Kind kind;
    QString meaning;
    QString BotProfile::*field = nullptr;          // nullptr for token and nickname
    QString ConfigValues::*defaultValue = nullptr; // what the bot inherits, when it can
};

const QList<BotKey> &botKeys();
const BotKey *findBotKey(const QString &json);

// Checks a value given on the command line for a key of `kind`. The window cannot produce a
// value of the wrong kind (its number fields are normalised, its time is picked from menus);
// the terminal refuses one instead, so that a script learns of its mistake. Returns the
// reason, or nothing when the value is fine. `allowEmpty` lets an empty text through (a bot's
// empty value means "inherit").
std::optional<QString> checkValue(Kind kind, const QString &key, const QString &value,
                                  bool allowEmpty = false);

// "true", "yes", "on", "1" and "false", "no", "off", "0", in any letter case.
std::optional<bool> parseFlag(const QString &text);

} // namespace CtlKeys
