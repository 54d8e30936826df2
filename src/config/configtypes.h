#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <algorithm>
#include <iterator>

// One model provider: a backup model of the defaults or of one bot.
struct Fallback {
    QUuid id; // random identity of the row (version 4); never written to the file
    QString name;
    QString base_url;
    QString api_key;
    QString model;

    static Fallback create(); // empty fields, fresh id
    // Equal in what is stored; the id is not compared.
    bool sameValues(const Fallback &other) const
    {
        return name == other.name && base_url == other.base_url && api_key == other.api_key
               && model == other.model;
    }
    bool operator==(const Fallback &) const = default;
};

// What one bot overrides: a text field per line of botkeys.def, where an empty text means
// "inherits the default", and the bot's own backup models and switched-off skills.
struct BotProfile {
#define VARNOOK_BOT_KEY(member, ...) QString member;
#include "config/botkeys.def"
#undef VARNOOK_BOT_KEY
    QList<Fallback> fallbacks;
    QStringList disabledSkills;

    bool operator==(const BotProfile &) const = default;
};

// Every configuration-backed value of the settings model, as the pages edit it, one field per
// line of configkeys.def. The initial values are the ones shown when no configuration file could
// be read.
struct ConfigValues {
#define VARNOOK_CONFIG_KEY(Type, member, Name, initial, ...) Type member = initial;
#include "config/configkeys.def"
#undef VARNOOK_CONFIG_KEY

    bool operator==(const ConfigValues &) const = default;
};

// Names one field of ConfigValues, for the one change signal of the configuration store.
enum class ConfigKey {
#define VARNOOK_CONFIG_KEY(Type, member, Name, initial, ...) Name,
#include "config/configkeys.def"
#undef VARNOOK_CONFIG_KEY
};

// What is known about a key at compile time: the type of its value and its field, so that code
// written against a key (ConfigStore::set<Key>, a binding of a control) needs nothing else.
template <ConfigKey Key> struct ConfigKeyInfo;
#define VARNOOK_CONFIG_KEY(Type, member, Name, ...)                                                \
    template <> struct ConfigKeyInfo<ConfigKey::Name> {                                            \
        using Value = Type;                                                                        \
        static constexpr Type ConfigValues::*field = &ConfigValues::member;                        \
    };
#include "config/configkeys.def"
#undef VARNOOK_CONFIG_KEY

// How a key of configkeys.def is read from the file and written back, and what varnookctl
// accepts for it.
enum class ConfigKind {
    Text,          // string, written as it stands
    Trimmed,       // string, written trimmed of white space and line breaks
    TextOrRemoved, // string, the key is removed when the text is empty
    Time,          // string "HH:MM", written as it stands
    Words,         // array of strings <-> text joined with ", "
    Ids,           // array of integers <-> text joined with ", "
    Number,        // integer <-> decimal text, normalised on saving
    Flag,          // boolean
    Providers,     // a list of provider records, read and written by hand
    Bots,          // one of the three bot lists, read and written by hand
    Sources,       // array of owner/repo names, read and written by hand
};

// `rows` made from the key list (anything with a `json` name) with the ones named in `order`
// first, in that order, and the others after them in the order of the list. A table that lists
// its keys in an order of its own keeps that order here, and a key added to the list still
// reaches the table.
template <typename Row, typename Names>
QList<Row> inKeyOrder(const QList<Row> &rows, const Names &order)
{
    const auto named = [&order](const Row &row) {
        return std::any_of(std::begin(order), std::end(order),
                           [&row](const auto &name) { return row.json == name; });
    };
    QList<Row> ordered;
    ordered.reserve(rows.size());
    for (const auto &name : order) {
        for (const Row &row : rows) {
            if (row.json == name)
                ordered.append(row);
        }
    }
    for (const Row &row : rows) {
        if (!named(row))
            ordered.append(row);
    }
    return ordered;
}
