#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

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

// What one bot overrides. An empty field means "inherits the default".
struct BotProfile {
    QString triggerWords;
    QString clipTriggerWords;
    QString allowedIDs;
    QString briefingTime;
    QString briefingPrompt;
    QString botMode;
    QString baseURL;
    QString apiKey;
    QString model;
    QList<Fallback> fallbacks;
    QStringList disabledSkills;
    QString soulFile;

    bool operator==(const BotProfile &) const = default;
};

// Every configuration-backed value of the settings model, as the pages edit it, one field per
// line of configkeys.def. The initial values are the ones shown when no configuration file could
// be read.
struct ConfigValues {
#define VARNOOK_CONFIG_KEY(Type, member, Name, initial) Type member = initial;
#include "config/configkeys.def"
#undef VARNOOK_CONFIG_KEY

    bool operator==(const ConfigValues &) const = default;
};

// Names one field of ConfigValues, for the one change signal of the configuration store.
enum class ConfigKey {
#define VARNOOK_CONFIG_KEY(Type, member, Name, initial) Name,
#include "config/configkeys.def"
#undef VARNOOK_CONFIG_KEY
};
