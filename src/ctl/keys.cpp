#include "ctl/keys.h"

#include "config/configdocument.h"
#include "model/settingsmodel.h"

#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace CtlKeys {

namespace {

TopLevelKey text(QLatin1StringView json, Kind kind, QString ConfigValues::*member,
                 void (SettingsModel::*setter)(const QString &), const QString &meaning)
{
    return {json, kind, meaning, member, nullptr, setter, nullptr};
}

TopLevelKey flag(QLatin1StringView json, bool ConfigValues::*member,
                 void (SettingsModel::*setter)(bool), const QString &meaning)
{
    return {json, Kind::Flag, meaning, nullptr, member, nullptr, setter};
}

TopLevelKey listKey(QLatin1StringView json, Kind kind, const QString &meaning)
{
    return {json, kind, meaning};
}

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
    using M = SettingsModel;
    using C = ConfigValues;
    static const QList<TopLevelKey> keys = {
        text("base_url"_L1, Kind::Text, &C::baseURL, &M::setBaseURL,
             u"Primary provider: server URL (OpenAI-compatible)"_s),
        text("api_key"_L1, Kind::Text, &C::apiKey, &M::setApiKey,
             u"Primary provider: API key (empty for local servers)"_s),
        text("model"_L1, Kind::Text, &C::model, &M::setModel, u"Primary provider: model id"_s),
        text("model_name"_L1, Kind::Text, &C::modelName, &M::setModelName,
             u"Primary provider: nickname"_s),
        listKey("fallbacks"_L1, Kind::Providers, u"Backup models, tried in order"_s),
        listKey("bot_tokens"_L1, Kind::Bots, u"One Telegram token per bot"_s),
        listKey("bot_token"_L1, Kind::Bots, u"The first bot's token (older versions)"_s),
        listKey("bot_nicknames"_L1, Kind::Bots, u"One nickname per bot"_s),
        listKey("bot_profiles"_L1, Kind::Bots, u"What each bot overrides"_s),
        text("allowed_ids"_L1, Kind::Ids, &C::allowedIDs, &M::setAllowedIDs,
             u"Chat IDs that may talk to the bots"_s),
        text("briefing_time"_L1, Kind::Time, &C::briefingTime, &M::setBriefingTime,
             u"Daily briefing time, 24-hour HH:MM"_s),
        text("briefing_prompt"_L1, Kind::Text, &C::briefingPrompt, &M::setBriefingPrompt,
             u"What the daily briefing covers"_s),
        text("trigger_words"_L1, Kind::Words, &C::triggerWords, &M::setTriggerWords,
             u"Words that make the bots answer in groups"_s),
        text("clip_trigger_words"_L1, Kind::Words, &C::clipTriggerWords, &M::setClipTriggerWords,
             u"Words that grab an attached video or audio as a clip"_s),
        text("soul_file"_L1, Kind::Text, &C::soulFile, &M::setSoulFile,
             u"Persona file the bots run with"_s),
        text("max_tokens"_L1, Kind::Number, &C::maxTokens, &M::setMaxTokens,
             u"Safety ceiling for model replies"_s),
        text("chat_buffer_max"_L1, Kind::Number, &C::chatBufferMax, &M::setChatBufferMax,
             u"Recent messages held per chat"_s),
        text("recall_limit"_L1, Kind::Number, &C::recallLimit, &M::setRecallLimit,
             u"Long-term memories recalled per user per message"_s),
        text("fact_cap"_L1, Kind::Number, &C::factCap, &M::setFactCap,
             u"Long-term memories stored per user"_s),
        text("research_max_tokens"_L1, Kind::Number, &C::researchMaxTokens,
             &M::setResearchMaxTokens, u"Budget for research reports"_s),
        text("api_timeout"_L1, Kind::Number, &C::apiTimeout, &M::setApiTimeout,
             u"Seconds before a slow provider is abandoned"_s),
        text("data_dir"_L1, Kind::Text, &C::dataDir, &M::setDataDir,
             u"Where config, memory, reminders and logs live"_s),
        flag("show_in_dock"_L1, &C::showInDock, &M::setShowInDock,
             u"Menu bar app icon in the Dock"_s),
        flag("launch_at_login"_L1, &C::launchAtLogin, &M::setLaunchAtLogin,
             u"Start the bot service's app at login"_s),
        text("bot_mode"_L1, Kind::Text, &C::botMode, &M::setBotMode, u"Default bot mode"_s),
        listKey("enabled_skills"_L1, Kind::Skills,
                u"Skills switched OFF for every bot (the name says the opposite)"_s),
        listKey("skills_dir"_L1, Kind::Folder, u"The skills folder"_s),
        text("skill_sources"_L1, Kind::Sources, nullptr, nullptr,
             u"Extra GitHub repositories (owner/repo) for the skill registry"_s),
        flag("backfill_missed"_L1, &C::backfillMissed, &M::setBackfillMissed,
             u"Answer messages sent while the bot was offline"_s),
        flag("briefing_crypto"_L1, &C::briefingCrypto, &M::setBriefingCrypto,
             u"Include BTC/ETH quotes in the daily briefing"_s),
        flag("auto_memory"_L1, &C::autoMemory, &M::setAutoMemory,
             u"Write a past-day summary to long-term memory each night"_s),
    };
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
    using B = BotProfile;
    using C = ConfigValues;
    static const QList<BotKey> keys = {
        {"token"_L1, Kind::Text, u"Telegram bot token from @BotFather"_s},
        {"nickname"_L1, Kind::Text, u"Name used in status, logs and the sidebar"_s},
        {"allowed_ids"_L1, Kind::Ids, u"Chat IDs that may talk to this bot"_s, &B::allowedIDs,
         &C::allowedIDs},
        {"trigger_words"_L1, Kind::Words, u"Words that make this bot answer in groups"_s,
         &B::triggerWords, &C::triggerWords},
        {"clip_trigger_words"_L1, Kind::Words, u"Words that grab a video or audio as a clip"_s,
         &B::clipTriggerWords, &C::clipTriggerWords},
        {"briefing_time"_L1, Kind::Time, u"Daily briefing time, 24-hour HH:MM"_s, &B::briefingTime,
         &C::briefingTime},
        {"briefing_prompt"_L1, Kind::Text, u"What this bot's daily briefing covers"_s,
         &B::briefingPrompt, &C::briefingPrompt},
        {"bot_mode"_L1, Kind::Text, u"This bot's mode"_s, &B::botMode, &C::botMode},
        {"soul_file"_L1, Kind::Text, u"This bot's persona file"_s, &B::soulFile, &C::soulFile},
        {"base_url"_L1, Kind::Text, u"This bot's provider: server URL"_s, &B::baseURL, &C::baseURL},
        {"api_key"_L1, Kind::Text, u"This bot's provider: API key"_s, &B::apiKey, &C::apiKey},
        {"model"_L1, Kind::Text, u"This bot's provider: model id"_s, &B::model, &C::model},
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
