#include "ctl/keys.h"

#include "config/configdocument.h"
#include "model/settingsmodel.h"

#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace CtlKeys {

namespace {

// What varnookctl accepts for a key of the given kind.
Kind ctlKind(ConfigKind kind)
{
    switch (kind) {
    case ConfigKind::Text:
    case ConfigKind::Trimmed:
    case ConfigKind::TextOrRemoved: return Kind::Text;
    case ConfigKind::Time: return Kind::Time;
    case ConfigKind::Words: return Kind::Words;
    case ConfigKind::Ids: return Kind::Ids;
    case ConfigKind::Number: return Kind::Number;
    case ConfigKind::Flag: return Kind::Flag;
    case ConfigKind::Providers: return Kind::Providers;
    case ConfigKind::Bots: return Kind::Bots;
    case ConfigKind::Sources: return Kind::Sources;
    }
    return Kind::Text;
}

// One line of the key list as a row of the table, chosen by the type of its field: texts and
// flags are set through the model's setter; the lists are edited by their own commands.
TopLevelKey listed(QLatin1StringView json, ConfigKind kind, QString ConfigValues::*member,
                   void (SettingsModel::*setter)(const QString &), const QString &meaning)
{
    return {json, ctlKind(kind), meaning, member, nullptr, setter, nullptr};
}
TopLevelKey listed(QLatin1StringView json, ConfigKind kind, bool ConfigValues::*member,
                   void (SettingsModel::*setter)(bool), const QString &meaning)
{
    return {json, ctlKind(kind), meaning, nullptr, member, nullptr, setter};
}
template <typename T, typename Setter>
TopLevelKey listed(QLatin1StringView json, ConfigKind kind, T ConfigValues::*, Setter,
                   const QString &meaning)
{
    return {json, ctlKind(kind), meaning};
}

// The order "keys" lists the keys in. The keys of the file that are not values of the key list
// are among them; a key of the list not named here follows these, in the order of the list.
constexpr QLatin1StringView keysOrder[] = {
    "base_url"_L1,        "api_key"_L1,
    "model"_L1,           "model_name"_L1,
    "fallbacks"_L1,       "bot_tokens"_L1,
    "bot_token"_L1,       "bot_nicknames"_L1,
    "bot_profiles"_L1,    "allowed_ids"_L1,
    "briefing_time"_L1,   "briefing_prompt"_L1,
    "trigger_words"_L1,   "clip_trigger_words"_L1,
    "soul_file"_L1,       "max_tokens"_L1,
    "chat_buffer_max"_L1, "recall_limit"_L1,
    "fact_cap"_L1,        "research_max_tokens"_L1,
    "api_timeout"_L1,     "data_dir"_L1,
    "show_in_dock"_L1,    "launch_at_login"_L1,
    "bot_mode"_L1,        "enabled_skills"_L1,
    "skills_dir"_L1,      "skill_sources"_L1,
    "backfill_missed"_L1, "briefing_crypto"_L1,
    "auto_memory"_L1,
};

bool isTime(const QString &value)
{
    // What the window's time picker writes: two-digit hour 00–23, ":", two-digit minute 00–59.
    if (value.size() != 5 || value.at(2) != u':')
        return false;
    for (const qsizetype i : {0, 1, 3, 4}) {
        if (value.at(i) < u'0' || value.at(i) > u'9')
            return false;
    }
    const int hour = value.mid(0, 2).toInt();
    const int minute = value.mid(3, 2).toInt();
    return hour <= 23 && minute <= 59;
}

} // namespace

QString kindName(Kind kind)
{
    switch (kind) {
    case Kind::Text: return u"text"_s;
    case Kind::Words: return u"words"_s;
    case Kind::Ids: return u"ids"_s;
    case Kind::Time: return u"time"_s;
    case Kind::Number: return u"number"_s;
    case Kind::Flag: return u"boolean"_s;
    case Kind::Sources: return u"repos"_s;
    case Kind::Providers: return u"providers"_s;
    case Kind::Bots: return u"bots"_s;
    case Kind::Skills: return u"skills"_s;
    case Kind::Folder: return u"folder"_s;
    }
    return {};
}

const QList<TopLevelKey> &topLevelKeys()
{
    static const QList<TopLevelKey> keys = [] {
        QList<TopLevelKey> list = {
#define VARNOOK_CONFIG_KEY(Type, member, Name, initial, json, kind, fileDefault, meaning)          \
    listed(QLatin1StringView(json), ConfigKind::kind, &ConfigValues::member,                       \
           &SettingsModel::set##Name, QStringLiteral(meaning)),
#include "config/configkeys.def"
#undef VARNOOK_CONFIG_KEY
        };
        // Keys of the file that the other parts of the program read and write.
        list.append({"bot_token"_L1, Kind::Bots, u"The first bot's token (older versions)"_s});
        list.append({"enabled_skills"_L1, Kind::Skills,
                     u"Skills switched OFF for every bot (the name says the opposite)"_s});
        list.append({"skills_dir"_L1, Kind::Folder, u"The skills folder"_s});
        return inKeyOrder(list, keysOrder);
    }();
    return keys;
}

const TopLevelKey *findTopLevel(const QString &json)
{
    for (const TopLevelKey &key : topLevelKeys()) {
        if (key.json == json)
            return &key;
    }
    return nullptr;
}

ConfigValues readingDefaults()
{
    return ConfigDocument::read(QJsonObject());
}

const QList<BotKey> &botKeys()
{
    static const QList<BotKey> keys = {
        {"token"_L1, Kind::Text, u"Telegram bot token from @BotFather"_s},
        {"nickname"_L1, Kind::Text, u"Name used in status, logs and the sidebar"_s},
#define VARNOOK_BOT_KEY(member, json, fileKind, ctlKind, inherits, meaning)                        \
    {QLatin1StringView(json), Kind::ctlKind, QStringLiteral(meaning), &BotProfile::member,         \
     &ConfigValues::inherits},
#include "config/botkeys.def"
#undef VARNOOK_BOT_KEY
        {"fallbacks"_L1, Kind::Providers, u"This bot's own backup models"_s},
        {"enabled_skills"_L1, Kind::Skills, u"Skills switched off for this bot only"_s},
    };
    return keys;
}

const BotKey *findBotKey(const QString &json)
{
    for (const BotKey &key : botKeys()) {
        if (key.json == json)
            return &key;
    }
    return nullptr;
}

std::optional<bool> parseFlag(const QString &text)
{
    const QString word = text.trimmed().toLower();
    if (word == "true"_L1 || word == "yes"_L1 || word == "on"_L1 || word == "1"_L1)
        return true;
    if (word == "false"_L1 || word == "no"_L1 || word == "off"_L1 || word == "0"_L1)
        return false;
    return std::nullopt;
}

std::optional<QString> checkValue(Kind kind, const QString &key, const QString &value,
                                  bool allowEmpty)
{
    const QString quoted = u"\""_s + value + u"\""_s;
    switch (kind) {
    case Kind::Number:
        if (!ConfigDocument::parseWholeInteger(ConfigDocument::trimBlanks(value)))
            return key + u" takes a whole number, not "_s + quoted;
        return std::nullopt;
    case Kind::Flag:
        if (!parseFlag(value))
            return key + u" takes true or false, not "_s + quoted;
        return std::nullopt;
    case Kind::Ids:
        for (const QString &piece : ConfigDocument::commaList(value)) {
            if (!ConfigDocument::parseWholeInteger(piece)) {
                return key + u" takes comma-separated whole numbers; \""_s + piece
                       + u"\" is not one"_s;
            }
        }
        return std::nullopt;
    case Kind::Time:
        if ((allowEmpty && value.isEmpty()) || isTime(value))
            return std::nullopt;
        return key + u" takes a 24-hour time HH:MM (such as 08:00), not "_s + quoted;
    case Kind::Text:
    case Kind::Words:
    case Kind::Sources:
    case Kind::Providers:
    case Kind::Bots:
    case Kind::Skills:
    case Kind::Folder: return std::nullopt;
    }
    return std::nullopt;
}

} // namespace CtlKeys
