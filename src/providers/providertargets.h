#pragma once

#include <QList>
#include <QString>

#include <optional>

struct ConfigValues;

namespace Providers {

// One place of the configuration where a provider and a model id are set, with the values a
// request to it uses: the primary model, a backup model, a bot's own provider, a bot's own
// backup model. Never printed whole: the key is only for the Authorization header.
struct ProviderTarget {
    QString name;    // "Primary model", "Backup model 2", "Bot 1", "Bot 1 · Backup model 1"
    QString baseURL; // as stored, no normalisation
    QString apiKey;
    QString model;

    bool operator==(const ProviderTarget &) const = default;
};

// The primary provider.
ProviderTarget primaryTarget(const ConfigValues &values);
// Backup model `index` of the defaults; nothing outside the list.
std::optional<ProviderTarget> backupTarget(const ConfigValues &values, qsizetype index);
// What bot `bot` sends to: each of its own provider values, or the default where it has none
// (the bot page's inheritance rule). Nothing for a bot that does not exist.
std::optional<ProviderTarget> botTarget(const ConfigValues &values, qsizetype bot);
// The bot's own backup model `index`, as stored (own backup models inherit nothing).
std::optional<ProviderTarget> botBackupTarget(const ConfigValues &values, qsizetype bot,
                                              qsizetype index);

// Whether the bot sets any provider value of its own (server URL, key or model id); a bot that
// does not sends to the primary model.
bool botHasOwnProvider(const ConfigValues &values, qsizetype bot);

// Everything "Test all" tests, in the order the pages show them: the primary model, the backup
// models, then for each bot its own provider (when it has one) and its own backup models.
QList<ProviderTarget> allTargets(const ConfigValues &values);

} // namespace Providers
