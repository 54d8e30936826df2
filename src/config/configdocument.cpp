#include "config/configdocument.h"

#include <QCborMap>
#include <QCborValue>
#include <QDir>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QVarLengthArray>

#include <array>
#include <cstring>
#include <functional>
#include <optional>

using namespace Qt::Literals::StringLiterals;

Fallback Fallback::create()
{
    // A version 4 UUID from Qt's securely seeded generator. QUuid::createUuid() asks the
    // kernel for every one, and loading a document makes one per backup model.
    std::array<quint32, 4> words;
    QRandomGenerator::global()->fillRange(words.data(), qsizetype(words.size()));
    std::array<char, 16> bytes;
    std::memcpy(bytes.data(), words.data(), bytes.size());
    bytes[6] = char((bytes[6] & 0x0f) | 0x40);
    bytes[8] = char((bytes[8] & 0x3f) | 0x80);
    Fallback f;
    f.id = QUuid::fromRfc4122(QByteArrayView(bytes.data(), qsizetype(bytes.size())));
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
QString defaultConfigPath()
{
    return QDir::homePath() + u"/.zandrel/bot-config.json"_s;
}

namespace {

// A plain top-level key of the key list: its field of ConfigValues, how it is read and written,
// and what a file without it reads as.
struct TopLevelKey {
    QStringView json;
    ConfigKind kind;
    QString ConfigValues::*text = nullptr;
    bool ConfigValues::*flag = nullptr;
    QString textDefault;
    qint64 numberDefault = 0;
    bool flagDefault = false;
};

// One line of the key list as a row of the table, chosen by the type of its field. Providers,
// bots and skill sources are not plain keys: they are read and written below the table.
std::optional<TopLevelKey> plainKey(QStringView json, ConfigKind kind, QString ConfigValues::*m,
                                    const QJsonValue &fileDefault)
{
    return TopLevelKey{json, kind, m, nullptr, fileDefault.toString(), fileDefault.toInteger()};
}
std::optional<TopLevelKey> plainKey(QStringView json, ConfigKind kind, bool ConfigValues::*m,
                                    const QJsonValue &fileDefault)
{
    return TopLevelKey{json, kind, nullptr, m, {}, 0, fileDefault.toBool()};
}
template <typename T>
std::optional<TopLevelKey> plainKey(QStringView, ConfigKind, T ConfigValues::*, const QJsonValue &)
{
    return std::nullopt;
}

// The order in which changedKeys() names the plain keys. A key of the list not named here
// follows these, in the order of the list.
constexpr QStringView changeOrder[] = {
    u"base_url",        u"api_key",
    u"model",           u"model_name",
    u"trigger_words",   u"clip_trigger_words",
    u"allowed_ids",     u"briefing_time",
    u"briefing_prompt", u"bot_mode",
    u"soul_file",       u"max_tokens",
    u"chat_buffer_max", u"recall_limit",
    u"fact_cap",        u"research_max_tokens",
    u"api_timeout",     u"data_dir",
    u"show_in_dock",    u"launch_at_login",
    u"backfill_missed", u"briefing_crypto",
    u"auto_memory",
};

// Every plain top-level key of configkeys.def.
const QList<TopLevelKey> &topLevelKeys()
{
    static const QList<TopLevelKey> keys = [] {
        QList<TopLevelKey> list;
#define VARNOOK_CONFIG_KEY(Type, member, Name, initial, json, kind, fileDefault, meaning)          \
    if (const auto key = plainKey(u"" json, ConfigKind::kind, &ConfigValues::member, fileDefault)) \
        list.append(*key);
#include "config/configkeys.def"
#undef VARNOOK_CONFIG_KEY
        return inKeyOrder(list, changeOrder);
    }();
    return keys;
}

// How a per-bot key is read, and how it is compared with the default on writing (the fileKind
// column of botkeys.def).
enum class BotKind {
    Words,   // read from an array of strings; written as one comma-joined string
    Ids,     // ID list; written as an array of integers
    Text,    // string; written when non-empty and different from the default
    Trimmed, // as Text, trimmed of white space and line breaks
    Own,     // string; written when non-empty, never compared with the default
};

struct BotKey {
    QStringView json;
    BotKind kind;
    QString BotProfile::*field;
    QString ConfigValues::*defaultValue; // what the bot inherits; never compared with for Own
};

// The order in which the keys of a bot are compared, and so named by changedKeys(). A key of
// the list not named here follows these, in the order of the list.
constexpr QStringView botChangeOrder[] = {
    u"trigger_words", u"clip_trigger_words", u"allowed_ids", u"briefing_time", u"briefing_prompt",
    u"bot_mode",      u"base_url",           u"api_key",     u"model",         u"soul_file",
};

// Every line of botkeys.def.
const QList<BotKey> &botKeys()
{
    static const QList<BotKey> keys = [] {
        const QList<BotKey> list = {
#define VARNOOK_BOT_KEY(member, json, fileKind, ctlKind, inherits, ...)                            \
    {u"" json, BotKind::fileKind, &BotProfile::member, &ConfigValues::inherits},
#include "config/botkeys.def"
#undef VARNOOK_BOT_KEY
        };
        return inKeyOrder(list, botChangeOrder);
    }();
    return keys;
}

// Appends the decimal digits of `n`, with a leading "-" when negative.
template <qsizetype Prealloc> void appendDecimal(QVarLengthArray<QChar, Prealloc> &out, qint64 n)
{
    std::array<QChar, 20> digits;
    size_t count = 0;
    quint64 magnitude = n < 0 ? 0 - quint64(n) : quint64(n);
    do {
        digits[count++] = QChar(char16_t(u'0' + magnitude % 10));
        magnitude /= 10;
    } while (magnitude != 0);
    if (n < 0)
        out.append(QChar(u'-'));
    while (count > 0)
        out.append(digits[--count]);
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

bool sameText(const QJsonValue &value, const QString &text)
{
    return value.isString() && value.toString() == text;
}

bool sameStrings(const QJsonValue &value, const QStringList &list)
{
    if (!value.isArray())
        return false;
    const QJsonArray array = value.toArray();
    if (array.size() != list.size())
        return false;
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (!sameText(array.at(i), list.at(i)))
            return false;
    }
    return true;
}

bool sameNumbers(const QJsonValue &value, const QList<qint64> &numbers)
{
    if (!value.isArray())
        return false;
    const QJsonArray array = value.toArray();
    if (array.size() != numbers.size())
        return false;
    for (qsizetype i = 0; i < numbers.size(); ++i) {
        if (array.at(i) != QJsonValue(numbers.at(i)))
            return false;
    }
    return true;
}

// Inserting converts the value and detaches the object; most saves change one value, so an
// equal value already in place is left alone. With a thousand bots this halves a save.
void put(QJsonObject &object, QStringView key, const QJsonValue &value)
{
    const auto it = object.constFind(key);
    if (it == object.constEnd() || it.value() != value)
        object.insert(key, value);
}

// put() for a list of strings, compared before the array is built.
void putStrings(QJsonObject &object, QStringView key, const QStringList &list)
{
    if (!sameStrings(object.value(key), list))
        object.insert(key, stringArrayJson(list));
}

void setOrRemove(QJsonObject &object, QStringView key, bool set, const QJsonValue &value)
{
    if (set)
        put(object, key, value);
    else if (object.contains(key))
        object.remove(key);
}

// Finds the members of an object that this program reads, in one pass over the object.
// QJsonObject::value() turns every key it compares on its way into a QString (Qt 6.4), so a
// dozen look-ups per bot cost more than parsing the bot. Here the keys are compared as CBOR
// values, which compares their bytes in place; the object's values are then taken by position.
class MemberNames {
public:
    explicit MemberNames(const QList<QStringView> &names)
    {
        for (qsizetype i = 0; i < names.size(); ++i)
            m_names.append({QCborValue(names.at(i).toString()), i});
        // In the order QJsonObject keeps its keys, so that the next name is usually the one
        // that comes next.
        std::sort(m_names.begin(), m_names.end(),
                  [](const Name &a, const Name &b) { return a.key.toString() < b.key.toString(); });
    }

    qsizetype size() const { return m_names.size(); }

    using Positions = QVarLengthArray<qsizetype, 16>;

    // Where each name is among the members of `object`, in the order of the names; -1 for a
    // member that is absent.
    Positions find(const QJsonObject &object) const
    {
        Positions positions(m_names.size(), -1);
        const QCborMap map = QCborMap::fromJsonObject(QJsonObject(object)); // shares the data
        qsizetype position = 0;
        qsizetype next = 0;
        for (auto it = map.constBegin(); it != map.constEnd(); ++it, ++position) {
            const QCborValue key = it.key();
            qsizetype found = -1;
            if (next < m_names.size() && key == m_names.at(next).key) {
                found = next;
            } else {
                for (qsizetype i = 0; i < m_names.size() && found < 0; ++i) {
                    if (key == m_names.at(i).key)
                        found = i;
                }
            }
            if (found < 0)
                continue;
            positions[m_names.at(found).index] = position;
            next = found + 1;
        }
        return positions;
    }

    using Values = QVarLengthArray<QJsonValue, 16>;

    // A copy of the value of each name, in the order of the names; undefined for a member that
    // is absent. The copies stay valid while the object is edited.
    Values collect(const QJsonObject &object) const
    {
        const Positions positions = find(object);
        Values values(positions.size());
        for (qsizetype i = 0; i < positions.size(); ++i) {
            if (positions.at(i) >= 0)
                values[i] = *(object.constBegin() + positions.at(i));
        }
        return values;
    }

private:
    struct Name {
        QCborValue key;
        qsizetype index;
    };
    QList<Name> m_names;
};

// The members of an object that this program reads, read in place: a text is taken straight
// from the object, without a QJsonValue made and dropped for it on the way. `object` must
// outlive this and must not change meanwhile.
class Members {
public:
    Members(const QJsonObject &object, const MemberNames &names)
        : m_object(object)
        , m_positions(names.find(object))
    {}

    QJsonValue::Type type(qsizetype name) const
    {
        return has(name) ? at(name).type() : QJsonValue::Undefined;
    }
    // The string, or an empty text for anything else.
    QString text(qsizetype name) const { return has(name) ? at(name).toString() : QString(); }
    QJsonValue value(qsizetype name) const
    {
        return has(name) ? QJsonValue(at(name)) : QJsonValue(QJsonValue::Undefined);
    }

private:
    bool has(qsizetype name) const { return m_positions.at(name) >= 0; }
    QJsonValueConstRef at(qsizetype name) const
    {
        return *(m_object.constBegin() + m_positions.at(name));
    }

    const QJsonObject &m_object;
    MemberNames::Positions m_positions;
};

// Members of a bot's object: the bot keys in table order, then these two.
enum : qsizetype { ProfileFallbacks = 0, ProfileSkills = 1 };

const MemberNames &profileMembers()
{
    static const MemberNames names = [] {
        QList<QStringView> list;
        for (const BotKey &key : botKeys())
            list.append(key.json);
        list.append(u"fallbacks");
        list.append(u"enabled_skills");
        return MemberNames(list);
    }();
    return names;
}

// Members of a provider's object, in this order.
enum ProviderMember : qsizetype { ProviderName, ProviderUrl, ProviderKey, ProviderModel };

const MemberNames &providerMembers()
{
    static const MemberNames names({u"name", u"base_url", u"api_key", u"model"});
    return names;
}

BotProfile readProfile(const QJsonObject &object)
{
    BotProfile profile;
    const QList<BotKey> &keys = botKeys();
    const Members members(object, profileMembers());
    for (qsizetype i = 0; i < keys.size(); ++i) {
        const BotKey &key = keys.at(i);
        QString &field = profile.*key.field;
        switch (key.kind) {
        case BotKind::Words: field = listText(members.value(i)); break;
        case BotKind::Ids: field = idListText(members.value(i)); break;
        case BotKind::Trimmed: field = members.text(i).trimmed(); break;
        case BotKind::Text:
        case BotKind::Own: field = members.text(i); break;
        }
    }
    profile.fallbacks = readProviders(members.value(keys.size() + ProfileFallbacks));
    profile.disabledSkills
        = stringArray(members.value(keys.size() + ProfileSkills)).value_or(QStringList());
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
        const QJsonValue element = array.at(i);
        const QJsonObject object = element.toObject();
        if (!element.isObject() || object.size() != 4)
            return false;
        const MemberNames::Values found = providerMembers().collect(object);
        const Fallback &f = providers.at(i);
        if (!sameText(found[ProviderKey], f.api_key)
            || !sameText(found[ProviderUrl], f.base_url.trimmed())
            || !sameText(found[ProviderModel], f.model) || !sameText(found[ProviderName], f.name))
            return false;
    }
    return true;
}

void putProviders(QJsonObject &object, QStringView key, const QList<Fallback> &providers)
{
    if (!providersWritten(object.value(key), providers))
        object.insert(key, writeProviders(providers));
}

// The default values as the per-bot keys compare with them, worked out once per save rather
// than once per bot.
struct BotDefaults {
    QList<QStringList> words; // by bot key index: Words keys
    QList<QList<qint64>> ids; // Ids keys
    QStringList texts;        // Text and Trimmed keys (trimmed for Trimmed)

    explicit BotDefaults(const ConfigValues &defaults)
    {
        for (const BotKey &key : botKeys()) {
            const QString value = key.kind == BotKind::Own ? QString() : defaults.*key.defaultValue;
            words.append(key.kind == BotKind::Words ? commaList(value) : QStringList());
            ids.append(key.kind == BotKind::Ids ? idList(value) : QList<qint64>());
            texts.append(key.kind == BotKind::Trimmed ? value.trimmed() : value);
        }
    }
};

// Brings a bot's object in line with its profile: keys whose value is the default, or empty,
// are removed; everything else the object holds is kept. Returns whether anything changed.
bool writeProfile(const BotProfile &profile, const BotDefaults &defaults, QJsonObject &object)
{
    const QList<BotKey> &keys = botKeys();
    const MemberNames::Values existing = profileMembers().collect(object);
    bool changed = false;
    // `set`: whether the key belongs in the file; `same`: whether it holds that value already.
    const auto apply
        = [&](qsizetype index, QStringView name, bool set, bool same, const auto &value) {
              if (set && !same) {
                  object.insert(name, value());
                  changed = true;
              } else if (!set && !existing[index].isUndefined()) {
                  object.remove(name);
                  changed = true;
              }
          };
    for (qsizetype i = 0; i < keys.size(); ++i) {
        const BotKey &key = keys.at(i);
        const QString &own = profile.*key.field;
        const QJsonValue &current = existing[i];
        switch (key.kind) {
        case BotKind::Words: {
            const QStringList list = commaList(own);
            const bool set = !list.isEmpty() && list != defaults.words.at(i);
            const QString joined = set ? list.join(u',') : QString();
            apply(i, key.json, set, set && sameText(current, joined), [&] { return joined; });
            break;
        }
        case BotKind::Ids: {
            const QList<qint64> ids = idList(own);
            const bool set = !ids.isEmpty() && ids != defaults.ids.at(i);
            apply(i, key.json, set, set && sameNumbers(current, ids),
                  [&] { return numberArray(ids); });
            break;
        }
        case BotKind::Trimmed: {
            const QString trimmed = own.trimmed();
            const bool set = !trimmed.isEmpty() && trimmed != defaults.texts.at(i);
            apply(i, key.json, set, set && sameText(current, trimmed), [&] { return trimmed; });
            break;
        }
        case BotKind::Text: {
            const bool set = !own.isEmpty() && own != defaults.texts.at(i);
            apply(i, key.json, set, set && sameText(current, own), [&] { return own; });
            break;
        }
        case BotKind::Own:
            apply(i, key.json, !own.isEmpty(), sameText(current, own), [&] { return own; });
            break;
        }
    }
    const qsizetype fallbacks = keys.size() + ProfileFallbacks;
    const bool hasFallbacks = !profile.fallbacks.isEmpty();
    apply(fallbacks, u"fallbacks", hasFallbacks,
          hasFallbacks && providersWritten(existing[fallbacks], profile.fallbacks),
          [&] { return writeProviders(profile.fallbacks); });
    const qsizetype skills = keys.size() + ProfileSkills;
    const bool hasSkills = !profile.disabledSkills.isEmpty();
    apply(skills, u"enabled_skills", hasSkills,
          hasSkills && sameStrings(existing[skills], profile.disabledSkills),
          [&] { return stringArrayJson(profile.disabledSkills); });
    return changed;
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
    for (const QJsonValueConstRef element : array) {
        if (element.type() != QJsonValue::String)
            return std::nullopt;
        list.append(element.toString());
    }
    return list;
}

QString listText(const QJsonValue &value)
{
    // stringArray(value).join(", ") with one allocation besides the strings themselves.
    if (!value.isArray())
        return {};
    const QJsonArray array = value.toArray();
    QVarLengthArray<QString, 8> parts;
    qsizetype length = 0;
    for (const QJsonValueConstRef element : array) {
        if (element.type() != QJsonValue::String)
            return {};
        parts.append(element.toString());
        length += parts.last().size();
    }
    if (parts.size() == 1)
        return parts.first();
    QString text;
    text.reserve(length + 2 * (parts.size() - 1));
    for (qsizetype i = 0; i < parts.size(); ++i) {
        if (i > 0)
            text += u", ";
        text += parts.at(i);
    }
    return text;
}

QString idListText(const QJsonValue &value)
{
    if (!value.isArray())
        return {};
    const QJsonArray array = value.toArray();
    // The integers are written straight into one buffer, the text made from it at the end.
    QVarLengthArray<QChar, 128> text;
    for (const QJsonValueConstRef element : array) {
        const auto n = jsonInteger(element);
        if (!n)
            return listText(value);
        if (!text.isEmpty()) {
            text.append(QChar(u','));
            text.append(QChar(u' '));
        }
        appendDecimal(text, *n);
    }
    return QString(text.constData(), text.size());
}

QList<Fallback> readProviders(const QJsonValue &value)
{
    QList<Fallback> providers;
    const QJsonArray array = value.toArray();
    providers.reserve(array.size());
    for (const QJsonValueConstRef element : array) {
        const QJsonObject object = element.toObject();
        const Members found(object, providerMembers());
        if (found.type(ProviderUrl) != QJsonValue::String
            || found.type(ProviderModel) != QJsonValue::String)
            continue;
        Fallback f = Fallback::create();
        f.name = found.text(ProviderName);
        f.base_url = found.text(ProviderUrl).trimmed();
        f.api_key = found.text(ProviderKey);
        f.model = found.text(ProviderModel);
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
        case ConfigKind::Text:
        case ConfigKind::Trimmed:
        case ConfigKind::TextOrRemoved:
        case ConfigKind::Time: values.*key.text = readText(value, key.textDefault); break;
        case ConfigKind::Words: values.*key.text = listText(value); break;
        case ConfigKind::Ids: values.*key.text = idListText(value); break;
        case ConfigKind::Number:
            values.*key.text = QString::number(jsonInteger(value).value_or(key.numberDefault));
            break;
        case ConfigKind::Flag:
            values.*key.flag = value.isBool() ? value.toBool() : key.flagDefault;
            break;
        case ConfigKind::Providers:
        case ConfigKind::Bots:
        case ConfigKind::Sources: break; // not plain keys
        }
    }
    values.fallbacks = readProviders(document.value(u"fallbacks"));
    values.skillSources = stringArray(document.value(u"skill_sources")).value_or(QStringList());

    // Bots: the token list decides how many there are; the other two lists follow it.
    values.botTokens = stringArray(document.value(u"bot_tokens")).value_or(QStringList());
    const QJsonValue legacy = document.value(u"bot_token");
    if (legacy.isString() && !legacy.toString().isEmpty()
        && !values.botTokens.contains(legacy.toString()))
        values.botTokens.prepend(legacy.toString());
    const qsizetype bots = values.botTokens.size();
    values.botNicknames = stringArray(document.value(u"bot_nicknames")).value_or(QStringList());
    values.botNicknames.resize(bots);
    values.botProfiles.reserve(bots);
    const QJsonArray profiles = document.value(u"bot_profiles").toArray();
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
        case ConfigKind::Text:
        case ConfigKind::Time: put(document, key.json, values.*key.text); break;
        case ConfigKind::Trimmed: put(document, key.json, (values.*key.text).trimmed()); break;
        case ConfigKind::TextOrRemoved:
            setOrRemove(document, key.json, !(values.*key.text).isEmpty(), values.*key.text);
            break;
        case ConfigKind::Words:
            put(document, key.json, stringArrayJson(commaList(values.*key.text)));
            break;
        case ConfigKind::Ids: put(document, key.json, numberArray(idList(values.*key.text))); break;
        case ConfigKind::Number: {
            const qint64 n
                = normaliseNumber(values.*key.text, document.value(key.json), key.numberDefault);
            values.*key.text = QString::number(n);
            put(document, key.json, n);
            break;
        }
        case ConfigKind::Flag: put(document, key.json, values.*key.flag); break;
        case ConfigKind::Providers:
        case ConfigKind::Bots:
        case ConfigKind::Sources: break; // not plain keys
        }
    }
    putProviders(document, u"fallbacks", values.fallbacks);

    // Bots. The three lists are kept aligned by the model; a short list is padded here so
    // that the file never holds lists of different lengths.
    const qsizetype bots = values.botTokens.size();
    putStrings(document, u"bot_tokens", values.botTokens);
    put(document, u"bot_token", bots > 0 ? values.botTokens.first() : QString());
    QStringList nicknames = values.botNicknames;
    nicknames.resize(bots);
    putStrings(document, u"bot_nicknames", nicknames);
    // Each bot's object is brought in line in place; the array is written back only when one
    // of them, or the number of bots, changed.
    const QJsonValue existing = document.value(u"bot_profiles");
    QJsonArray profiles = existing.toArray();
    bool profilesChanged = !existing.isArray() || profiles.size() != bots;
    const BotDefaults defaults(values);
    for (qsizetype i = 0; i < bots; ++i) {
        const BotProfile profile
            = i < values.botProfiles.size() ? values.botProfiles.at(i) : BotProfile();
        if (i < profiles.size()) {
            const QJsonValue element = profiles.at(i);
            QJsonObject object = element.toObject();
            if (writeProfile(profile, defaults, object) || !element.isObject()) {
                profiles.replace(i, object);
                profilesChanged = true;
            }
        } else {
            QJsonObject object;
            writeProfile(profile, defaults, object);
            profiles.append(object);
        }
    }
    while (profiles.size() > bots)
        profiles.removeLast();
    if (profilesChanged)
        document.insert(u"bot_profiles", profiles);

    putStrings(document, u"skill_sources", values.skillSources);
}

// ---- concurrent writers ----------------------------------------------------------------------

namespace {

// Every stored field of a profile, with its key in the bot's object.
struct ProfileField {
    QStringView json;
    std::function<bool(const BotProfile &, const BotProfile &)> same;
    std::function<void(BotProfile &, const BotProfile &)> take;
};

const QList<ProfileField> &profileFields()
{
    static const QList<ProfileField> fields = [] {
        QList<ProfileField> list;
        for (const BotKey &key : botKeys()) {
            QString BotProfile::*field = key.field;
            list.append(
                {key.json,
                 [field](const BotProfile &a, const BotProfile &b) { return a.*field == b.*field; },
                 [field](BotProfile &to, const BotProfile &from) { to.*field = from.*field; }});
        }
        list.append(
            {u"fallbacks",
             [](const BotProfile &a, const BotProfile &b) { return a.fallbacks == b.fallbacks; },
             [](BotProfile &to, const BotProfile &from) { to.fallbacks = from.fallbacks; }});
        list.append({u"enabled_skills",
                     [](const BotProfile &a, const BotProfile &b) {
                         return a.disabledSkills == b.disabledSkills;
                     },
                     [](BotProfile &to, const BotProfile &from) {
                         to.disabledSkills = from.disabledSkills;
                     }});
        return list;
    }();
    return fields;
}

template <typename T> T valueAt(const QList<T> &list, qsizetype i)
{
    return i < list.size() ? list.at(i) : T();
}

// Where the bot that was number `bot` in `base` is in `theirs`, or -1.
qsizetype findBot(const ConfigValues &base, const ConfigValues &theirs, qsizetype bot)
{
    const QString token = base.botTokens.at(bot);
    if (!token.isEmpty() && base.botTokens.count(token) == 1 && theirs.botTokens.count(token) == 1)
        return theirs.botTokens.indexOf(token);
    if (theirs.botTokens.size() == base.botTokens.size())
        return bot;
    return -1;
}

} // namespace

bool botsRestructured(const ConfigValues &before, const ConfigValues &after)
{
    return before.botTokens.size() != after.botTokens.size();
}

QStringList changedKeys(const ConfigValues &before, const ConfigValues &after)
{
    QStringList keys;
    for (const TopLevelKey &key : topLevelKeys()) {
        const bool same
            = key.text ? before.*key.text == after.*key.text : before.*key.flag == after.*key.flag;
        if (!same)
            keys.append(key.json.toString());
    }
    if (before.fallbacks != after.fallbacks)
        keys.append(u"fallbacks"_s);
    if (before.skillSources != after.skillSources)
        keys.append(u"skill_sources"_s);
    if (botsRestructured(before, after)) {
        keys.append({u"bot_nicknames"_s, u"bot_profiles"_s, u"bot_tokens"_s});
        return keys;
    }
    for (qsizetype i = 0; i < after.botTokens.size(); ++i) {
        const QString bot = u"["_s + QString::number(i) + u"]"_s;
        if (before.botTokens.at(i) != after.botTokens.at(i))
            keys.append(u"bot_tokens"_s + bot);
        if (valueAt(before.botNicknames, i) != valueAt(after.botNicknames, i))
            keys.append(u"bot_nicknames"_s + bot);
        const BotProfile was = valueAt(before.botProfiles, i);
        const BotProfile is = valueAt(after.botProfiles, i);
        for (const ProfileField &field : profileFields()) {
            if (!field.same(was, is))
                keys.append(u"bot_profiles"_s + bot + u'.' + field.json.toString());
        }
    }
    return keys;
}

ConfigValues merge(const ConfigValues &base, const ConfigValues &mine, const ConfigValues &theirs)
{
    ConfigValues merged = theirs;
    for (const TopLevelKey &key : topLevelKeys()) {
        if (key.text && base.*key.text != mine.*key.text)
            merged.*key.text = mine.*key.text;
        else if (key.flag && base.*key.flag != mine.*key.flag)
            merged.*key.flag = mine.*key.flag;
    }
    if (base.fallbacks != mine.fallbacks)
        merged.fallbacks = mine.fallbacks;
    if (base.skillSources != mine.skillSources)
        merged.skillSources = mine.skillSources;

    if (botsRestructured(base, mine)) {
        merged.botTokens = mine.botTokens;
        merged.botNicknames = mine.botNicknames;
        merged.botProfiles = mine.botProfiles;
        return merged;
    }
    merged.botNicknames.resize(merged.botTokens.size());
    merged.botProfiles.resize(merged.botTokens.size());
    for (qsizetype i = 0; i < mine.botTokens.size(); ++i) {
        const qsizetype at = findBot(base, theirs, i);
        if (at < 0)
            continue;
        if (base.botTokens.at(i) != mine.botTokens.at(i))
            merged.botTokens[at] = mine.botTokens.at(i);
        if (valueAt(base.botNicknames, i) != valueAt(mine.botNicknames, i))
            merged.botNicknames[at] = valueAt(mine.botNicknames, i);
        const BotProfile was = valueAt(base.botProfiles, i);
        const BotProfile is = valueAt(mine.botProfiles, i);
        for (const ProfileField &field : profileFields()) {
            if (!field.same(was, is))
                field.take(merged.botProfiles[at], is);
        }
    }
    return merged;
}

QByteArray serialise(const QJsonObject &document)
{
    // QJsonObject keeps its keys sorted, so the indented form is also the sorted form.
    return QJsonDocument(document).toJson(QJsonDocument::Indented);
}

} // namespace ConfigDocument
