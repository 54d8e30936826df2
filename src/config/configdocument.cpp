#include "config/configdocument.h"

#include <QCborValue>
#include <QJsonDocument>
#include <QUuid>

using namespace Qt::Literals::StringLiterals;

Fallback Fallback::create()
{
    Fallback f;
    f.id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    return f;
}

namespace ConfigDocument {

QString defaultBaseUrl()
{
    return u"http://127.0.0.1:11234/v1"_s;
}
QString defaultSoulFile()
{
    return u"~/.zandrel/soul.md"_s;
}

namespace {

// How a top-level key is turned into a value of ConfigValues and back.
enum class Kind {
    Text,          // string, written as it stands
    TrimmedText,   // string, written trimmed of white space and line breaks
    TextOrRemoved, // string, the key is removed when the text is empty
    CommaList,     // array of strings <-> text joined with ", "
    IdList,        // array of integers <-> text joined with ", "
    Number,        // integer <-> decimal text, normalised on saving
    Flag,          // boolean
};

struct TopLevelKey {
    QLatin1StringView json;
    Kind kind;
    QString ConfigValues::*text = nullptr;
    bool ConfigValues::*flag = nullptr;
    QString (*textDefault)() = nullptr;
    qint64 numberDefault = 0;
    bool flagDefault = false;
};

QString empty()
{
    return {};
}
QString eightOClock()
{
    return u"08:00"_s;
}
QString assistant()
{
    return u"assistant"_s;
}

TopLevelKey text(QLatin1StringView json, QString ConfigValues::*m, Kind kind = Kind::Text,
                 QString (*def)() = empty)
{
    return {json, kind, m, nullptr, def};
}
TopLevelKey number(QLatin1StringView json, QString ConfigValues::*m, qint64 def)
{
    return {json, Kind::Number, m, nullptr, empty, def};
}
TopLevelKey flag(QLatin1StringView json, bool ConfigValues::*m, bool def)
{
    return {json, Kind::Flag, nullptr, m, empty, 0, def};
}

// Every plain top-level key. Providers, bots and skill sources are handled below the table.
const QList<TopLevelKey> &topLevelKeys()
{
    static const QList<TopLevelKey> keys = {
        text("base_url"_L1, &ConfigValues::baseURL, Kind::TrimmedText, defaultBaseUrl),
        text("api_key"_L1, &ConfigValues::apiKey),
        text("model"_L1, &ConfigValues::model),
        text("model_name"_L1, &ConfigValues::modelName),
        text("trigger_words"_L1, &ConfigValues::triggerWords, Kind::CommaList),
        text("clip_trigger_words"_L1, &ConfigValues::clipTriggerWords, Kind::CommaList),
        text("allowed_ids"_L1, &ConfigValues::allowedIDs, Kind::IdList),
        text("briefing_time"_L1, &ConfigValues::briefingTime, Kind::Text, eightOClock),
        text("briefing_prompt"_L1, &ConfigValues::briefingPrompt),
        text("bot_mode"_L1, &ConfigValues::botMode, Kind::Text, assistant),
        text("soul_file"_L1, &ConfigValues::soulFile, Kind::TextOrRemoved, defaultSoulFile),
        number("max_tokens"_L1, &ConfigValues::maxTokens, 350),
        number("chat_buffer_max"_L1, &ConfigValues::chatBufferMax, 40),
        number("recall_limit"_L1, &ConfigValues::recallLimit, 5),
        number("fact_cap"_L1, &ConfigValues::factCap, 5000),
        number("research_max_tokens"_L1, &ConfigValues::researchMaxTokens, 1200),
        number("api_timeout"_L1, &ConfigValues::apiTimeout, 30),
        text("data_dir"_L1, &ConfigValues::dataDir),
        flag("show_in_dock"_L1, &ConfigValues::showInDock, false),
        flag("launch_at_login"_L1, &ConfigValues::launchAtLogin, false),
        flag("backfill_missed"_L1, &ConfigValues::backfillMissed, true),
        flag("briefing_crypto"_L1, &ConfigValues::briefingCrypto, false),
        flag("auto_memory"_L1, &ConfigValues::autoMemory, true),
    };
    return keys;
}

// How a per-bot key is read, and how it is compared with the default on writing.
enum class BotKind {
    Words,   // read from an array of strings; written as one comma-joined string
    Ids,     // ID list; written as an array of integers
    Text,    // string; written when non-empty and different from the default
    Trimmed, // as Text, trimmed of white space and line breaks
    Own,     // string; written when non-empty, never compared with the default
};

struct BotKey {
    QLatin1StringView json;
    BotKind kind;
    QString BotProfile::*field;
    QString ConfigValues::*defaultValue; // nullptr for Own
};

const QList<BotKey> &botKeys()
{
    static const QList<BotKey> keys = {
        {"trigger_words"_L1, BotKind::Words, &BotProfile::triggerWords,
         &ConfigValues::triggerWords},
        {"clip_trigger_words"_L1, BotKind::Words, &BotProfile::clipTriggerWords,
         &ConfigValues::clipTriggerWords},
        {"allowed_ids"_L1, BotKind::Ids, &BotProfile::allowedIDs, &ConfigValues::allowedIDs},
        {"briefing_time"_L1, BotKind::Text, &BotProfile::briefingTime, &ConfigValues::briefingTime},
        {"briefing_prompt"_L1, BotKind::Text, &BotProfile::briefingPrompt,
         &ConfigValues::briefingPrompt},
        {"bot_mode"_L1, BotKind::Text, &BotProfile::botMode, &ConfigValues::botMode},
        {"base_url"_L1, BotKind::Trimmed, &BotProfile::baseURL, &ConfigValues::baseURL},
        {"api_key"_L1, BotKind::Text, &BotProfile::apiKey, &ConfigValues::apiKey},
        {"model"_L1, BotKind::Text, &BotProfile::model, &ConfigValues::model},
        {"soul_file"_L1, BotKind::Own, &BotProfile::soulFile, nullptr},
    };
    return keys;
}

QString joinNumbers(const QList<qint64> &numbers)
{
    QStringList parts;
    parts.reserve(numbers.size());
    for (qint64 n : numbers)
        parts.append(QString::number(n));
    return parts.join(u", "_s);
}

QJsonArray numberArray(const QList<qint64> &numbers)
{
    QJsonArray array;
    for (qint64 n : numbers)
        array.append(n);
    return array;
}

QJsonArray stringArrayJson(const QStringList &list)
{
    return QJsonArray::fromStringList(list);
}

QString readText(const QJsonValue &value, const QString &fallback)
{
    return value.isString() ? value.toString() : fallback;
}

// Inserting converts the value and detaches the object; most saves change one value, so an
// equal value already in place is left alone. With a thousand bots this halves a save.
void put(QJsonObject &object, QLatin1StringView key, const QJsonValue &value)
{
    const auto it = object.constFind(key);
    if (it == object.constEnd() || it.value() != value)
        object.insert(key, value);
}

void setOrRemove(QJsonObject &object, QLatin1StringView key, bool set, const QJsonValue &value)
{
    if (set)
        put(object, key, value);
    else if (object.contains(key))
        object.remove(key);
}

BotProfile readProfile(const QJsonObject &object)
{
    BotProfile profile;
    for (const BotKey &key : botKeys()) {
        const QJsonValue value = object.value(key.json);
        QString &field = profile.*key.field;
        switch (key.kind) {
        case BotKind::Words: field = listText(value); break;
        case BotKind::Ids: field = idListText(value); break;
        case BotKind::Trimmed: field = readText(value, {}).trimmed(); break;
        case BotKind::Text:
        case BotKind::Own: field = readText(value, {}); break;
        }
    }
    profile.fallbacks = readProviders(object.value("fallbacks"_L1));
    profile.disabledSkills = stringArray(object.value("enabled_skills"_L1)).value_or(QStringList());
    return profile;
}

// Whether `existing` already holds exactly what writeProviders would write for `providers`;
// comparing is much cheaper than building the objects again on every save.
bool providersWritten(const QJsonValue &existing, const QList<Fallback> &providers)
{
    if (!existing.isArray())
        return false;
    const QJsonArray array = existing.toArray();
    if (array.size() != providers.size())
        return false;
    for (qsizetype i = 0; i < array.size(); ++i) {
        const QJsonObject object = array.at(i).toObject();
        const Fallback &f = providers.at(i);
        if (object.size() != 4)
            return false;
        const auto same = [&object](QLatin1StringView key, const QString &text) {
            const QJsonValue value = object.value(key);
            return value.isString() && value.toString() == text;
        };
        if (!same("api_key"_L1, f.api_key) || !same("base_url"_L1, f.base_url.trimmed())
            || !same("model"_L1, f.model) || !same("name"_L1, f.name))
            return false;
    }
    return true;
}

void putProviders(QJsonObject &object, QLatin1StringView key, const QList<Fallback> &providers)
{
    if (!providersWritten(object.value(key), providers))
        object.insert(key, writeProviders(providers));
}

QJsonObject writeProfile(const BotProfile &profile, const ConfigValues &defaults,
                         QJsonObject object)
{
    for (const BotKey &key : botKeys()) {
        const QString &own = profile.*key.field;
        switch (key.kind) {
        case BotKind::Words: {
            const QStringList list = commaList(own);
            const bool set = !list.isEmpty() && list != commaList(defaults.*key.defaultValue);
            setOrRemove(object, key.json, set, list.join(u','));
            break;
        }
        case BotKind::Ids: {
            const QList<qint64> ids = idList(own);
            const bool set = !ids.isEmpty() && ids != idList(defaults.*key.defaultValue);
            setOrRemove(object, key.json, set, numberArray(ids));
            break;
        }
        case BotKind::Trimmed: {
            const QString trimmed = own.trimmed();
            const bool set
                = !trimmed.isEmpty() && trimmed != (defaults.*key.defaultValue).trimmed();
            setOrRemove(object, key.json, set, trimmed);
            break;
        }
        case BotKind::Text:
            setOrRemove(object, key.json, !own.isEmpty() && own != defaults.*key.defaultValue, own);
            break;
        case BotKind::Own: setOrRemove(object, key.json, !own.isEmpty(), own); break;
        }
    }
    if (profile.fallbacks.isEmpty())
        object.remove("fallbacks"_L1);
    else
        putProviders(object, "fallbacks"_L1, profile.fallbacks);
    setOrRemove(object, "enabled_skills"_L1, !profile.disabledSkills.isEmpty(),
                stringArrayJson(profile.disabledSkills));
    return object;
}

} // namespace

// ---- conversion rules ----------------------------------------------------------------------

QString trimBlanks(const QString &text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    auto blank = [](QChar c) { return c == u' ' || c == u'\t'; };
    while (begin < end && blank(text.at(begin)))
        ++begin;
    while (end > begin && blank(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

QStringList commaList(const QString &text)
{
    QStringList list;
    for (const QString &piece : text.split(u',')) {
        QString trimmed = trimBlanks(piece);
        if (!trimmed.isEmpty())
            list.append(std::move(trimmed));
    }
    return list;
}

std::optional<qint64> parseWholeInteger(const QString &text)
{
    if (text.isEmpty())
        return std::nullopt;
    qsizetype i = 0;
    bool negative = false;
    if (text.at(0) == u'+' || text.at(0) == u'-') {
        negative = text.at(0) == u'-';
        i = 1;
    }
    if (i == text.size())
        return std::nullopt;
    // Accumulate towards the negative side so that the most negative value fits.
    qint64 value = 0;
    for (; i < text.size(); ++i) {
        const char16_t c = text.at(i).unicode();
        if (c < u'0' || c > u'9')
            return std::nullopt;
        const int digit = c - u'0';
        if (value < (std::numeric_limits<qint64>::min() + digit) / 10)
            return std::nullopt;
        value = value * 10 - digit;
    }
    if (!negative) {
        if (value == std::numeric_limits<qint64>::min())
            return std::nullopt;
        value = -value;
    }
    return value;
}

QList<qint64> idList(const QString &text)
{
    QList<qint64> ids;
    for (const QString &piece : commaList(text)) {
        if (const auto id = parseWholeInteger(piece))
            ids.append(*id);
    }
    return ids;
}

std::optional<qint64> jsonInteger(const QJsonValue &value)
{
    if (!value.isDouble() || !QCborValue::fromJsonValue(value).isInteger())
        return std::nullopt;
    return value.toInteger();
}

std::optional<QStringList> stringArray(const QJsonValue &value)
{
    if (!value.isArray())
        return std::nullopt;
    const QJsonArray array = value.toArray();
    QStringList list;
    list.reserve(array.size());
    for (const QJsonValue &element : array) {
        if (!element.isString())
            return std::nullopt;
        list.append(element.toString());
    }
    return list;
}

QString listText(const QJsonValue &value)
{
    return stringArray(value).value_or(QStringList()).join(u", "_s);
}

QString idListText(const QJsonValue &value)
{
    if (!value.isArray())
        return {};
    const QJsonArray array = value.toArray();
    QList<qint64> numbers;
    for (const QJsonValue &element : array) {
        const auto n = jsonInteger(element);
        if (!n) {
            numbers.clear();
            break;
        }
        numbers.append(*n);
    }
    if (numbers.size() == array.size())
        return joinNumbers(numbers);
    return listText(value);
}

QList<Fallback> readProviders(const QJsonValue &value)
{
    QList<Fallback> providers;
    const QJsonArray array = value.toArray();
    for (const QJsonValue &element : array) {
        const QJsonObject object = element.toObject();
        const QJsonValue url = object.value("base_url"_L1);
        const QJsonValue model = object.value("model"_L1);
        if (!url.isString() || !model.isString())
            continue;
        Fallback f = Fallback::create();
        f.name = readText(object.value("name"_L1), {});
        f.base_url = url.toString().trimmed();
        f.api_key = readText(object.value("api_key"_L1), {});
        f.model = model.toString();
        providers.append(std::move(f));
    }
    return providers;
}

QJsonArray writeProviders(const QList<Fallback> &providers)
{
    // Keys made once and inserted in sorted order, so each insert is an append: a save with
    // a thousand bots writes thousands of these.
    static const QString apiKey = u"api_key"_s, baseUrl = u"base_url"_s, model = u"model"_s,
                         name = u"name"_s;
    QJsonArray array;
    for (const Fallback &f : providers) {
        QJsonObject object;
        object.insert(apiKey, f.api_key);
        object.insert(baseUrl, f.base_url.trimmed());
        object.insert(model, f.model);
        object.insert(name, f.name);
        array.append(object);
    }
    return array;
}

const QList<NumberKey> &numberKeys()
{
    static const QList<NumberKey> keys = [] {
        QList<NumberKey> list;
        for (const TopLevelKey &key : topLevelKeys()) {
            if (key.kind == Kind::Number)
                list.append({key.json, key.text, key.numberDefault});
        }
        return list;
    }();
    return keys;
}

qint64 normaliseNumber(const QString &text, const QJsonValue &previous, qint64 defaultValue)
{
    if (const auto n = parseWholeInteger(trimBlanks(text)))
        return *n;
    return jsonInteger(previous).value_or(defaultValue);
}

// ---- the two directions ----------------------------------------------------------------------

ConfigValues read(const QJsonObject &document)
{
    ConfigValues values;
    for (const TopLevelKey &key : topLevelKeys()) {
        const QJsonValue value = document.value(key.json);
        switch (key.kind) {
        case Kind::Text:
        case Kind::TrimmedText:
        case Kind::TextOrRemoved: values.*key.text = readText(value, key.textDefault()); break;
        case Kind::CommaList: values.*key.text = listText(value); break;
        case Kind::IdList: values.*key.text = idListText(value); break;
        case Kind::Number:
            values.*key.text = QString::number(jsonInteger(value).value_or(key.numberDefault));
            break;
        case Kind::Flag:
            values.*key.flag = value.isBool() ? value.toBool() : key.flagDefault;
            break;
        }
    }
    values.fallbacks = readProviders(document.value("fallbacks"_L1));
    values.skillSources = stringArray(document.value("skill_sources"_L1)).value_or(QStringList());

    // Bots: the token list decides how many there are; the other two lists follow it.
    values.botTokens = stringArray(document.value("bot_tokens"_L1)).value_or(QStringList());
    const QJsonValue legacy = document.value("bot_token"_L1);
    if (legacy.isString() && !legacy.toString().isEmpty()
        && !values.botTokens.contains(legacy.toString()))
        values.botTokens.prepend(legacy.toString());
    const qsizetype bots = values.botTokens.size();
    values.botNicknames = stringArray(document.value("bot_nicknames"_L1)).value_or(QStringList());
    values.botNicknames.resize(bots);
    const QJsonArray profiles = document.value("bot_profiles"_L1).toArray();
    const bool allObjects = std::all_of(profiles.begin(), profiles.end(),
                                        [](const QJsonValue &v) { return v.isObject(); });
    for (qsizetype i = 0; i < bots; ++i) {
        const QJsonObject object
            = allObjects && i < profiles.size() ? profiles.at(i).toObject() : QJsonObject();
        values.botProfiles.append(readProfile(object));
    }
    return values;
}

void write(ConfigValues &values, QJsonObject &document)
{
    for (const TopLevelKey &key : topLevelKeys()) {
        switch (key.kind) {
        case Kind::Text: put(document, key.json, values.*key.text); break;
        case Kind::TrimmedText: put(document, key.json, (values.*key.text).trimmed()); break;
        case Kind::TextOrRemoved:
            setOrRemove(document, key.json, !(values.*key.text).isEmpty(), values.*key.text);
            break;
        case Kind::CommaList:
            put(document, key.json, stringArrayJson(commaList(values.*key.text)));
            break;
        case Kind::IdList: put(document, key.json, numberArray(idList(values.*key.text))); break;
        case Kind::Number: {
            const qint64 n
                = normaliseNumber(values.*key.text, document.value(key.json), key.numberDefault);
            values.*key.text = QString::number(n);
            put(document, key.json, n);
            break;
        }
        case Kind::Flag: put(document, key.json, values.*key.flag); break;
        }
    }
    putProviders(document, "fallbacks"_L1, values.fallbacks);

    // Bots. The three lists are kept aligned by the model; a short list is padded here so
    // that the file never holds lists of different lengths.
    const qsizetype bots = values.botTokens.size();
    put(document, "bot_tokens"_L1, stringArrayJson(values.botTokens));
    put(document, "bot_token"_L1, bots > 0 ? values.botTokens.first() : QString());
    QStringList nicknames = values.botNicknames;
    nicknames.resize(bots);
    put(document, "bot_nicknames"_L1, stringArrayJson(nicknames));
    const QJsonArray existing = document.value("bot_profiles"_L1).toArray();
    QJsonArray profiles;
    for (qsizetype i = 0; i < bots; ++i) {
        const BotProfile profile
            = i < values.botProfiles.size() ? values.botProfiles.at(i) : BotProfile();
        const QJsonObject start = i < existing.size() ? existing.at(i).toObject() : QJsonObject();
        profiles.append(writeProfile(profile, values, start));
    }
    put(document, "bot_profiles"_L1, profiles);

    put(document, "skill_sources"_L1, stringArrayJson(values.skillSources));
}

QByteArray serialise(const QJsonObject &document)
{
    // QJsonObject keeps its keys sorted, so the indented form is also the sorted form.
    return QJsonDocument(document).toJson(QJsonDocument::Indented);
}

} // namespace ConfigDocument
