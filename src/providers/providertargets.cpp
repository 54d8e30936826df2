#include "providers/providertargets.h"

#include "config/configtypes.h"

using namespace Qt::Literals::StringLiterals;

namespace Providers {

namespace {

QString botName(const ConfigValues &values, qsizetype bot)
{
    const QString nickname = values.botNicknames.value(bot);
    return nickname.isEmpty() ? u"Bot "_s + QString::number(bot + 1) : nickname;
}

QString backupName(qsizetype index)
{
    return u"Backup model "_s + QString::number(index + 1);
}

ProviderTarget fromFallback(const QString &name, const Fallback &fallback)
{
    return {name, fallback.base_url, fallback.api_key, fallback.model};
}

QString ownOr(const QString &own, const QString &inherited)
{
    return own.isEmpty() ? inherited : own;
}

} // namespace

ProviderTarget primaryTarget(const ConfigValues &values)
{
    return {u"Primary model"_s, values.baseURL, values.apiKey, values.model};
}

std::optional<ProviderTarget> backupTarget(const ConfigValues &values, qsizetype index)
{
    if (index < 0 || index >= values.fallbacks.size())
        return std::nullopt;
    return fromFallback(backupName(index), values.fallbacks.at(index));
}

std::optional<ProviderTarget> botTarget(const ConfigValues &values, qsizetype bot)
{
    if (bot < 0 || bot >= values.botProfiles.size())
        return std::nullopt;
    const BotProfile &profile = values.botProfiles.at(bot);
    return ProviderTarget{botName(values, bot), ownOr(profile.baseURL, values.baseURL),
                          ownOr(profile.apiKey, values.apiKey), ownOr(profile.model, values.model)};
}

std::optional<ProviderTarget> botBackupTarget(const ConfigValues &values, qsizetype bot,
                                              qsizetype index)
{
    if (bot < 0 || bot >= values.botProfiles.size())
        return std::nullopt;
    const QList<Fallback> &own = values.botProfiles.at(bot).fallbacks;
    if (index < 0 || index >= own.size())
        return std::nullopt;
    return fromFallback(botName(values, bot) + u" · "_s + backupName(index), own.at(index));
}

bool botHasOwnProvider(const ConfigValues &values, qsizetype bot)
{
    if (bot < 0 || bot >= values.botProfiles.size())
        return false;
    const BotProfile &profile = values.botProfiles.at(bot);
    return !profile.baseURL.isEmpty() || !profile.apiKey.isEmpty() || !profile.model.isEmpty();
}

QList<ProviderTarget> allTargets(const ConfigValues &values)
{
    QList<ProviderTarget> targets{primaryTarget(values)};
    for (qsizetype i = 0; i < values.fallbacks.size(); ++i)
        targets.append(*backupTarget(values, i));
    for (qsizetype bot = 0; bot < values.botProfiles.size(); ++bot) {
        if (botHasOwnProvider(values, bot))
            targets.append(*botTarget(values, bot));
        for (qsizetype i = 0; i < values.botProfiles.at(bot).fallbacks.size(); ++i)
            targets.append(*botBackupTarget(values, bot, i));
    }
    return targets;
}

} // namespace Providers
