#include "ui/pages/modelbindings.h"

#include "model/settingsmodel.h"

namespace Bind {

namespace {

template <typename T> bool validIndex(const QList<T> &list, int i)
{
    return i >= 0 && i < list.size();
}

} // namespace

Text botToken(SettingsModel *model, int bot)
{
    return {[model, bot] {
                const QStringList &tokens = model->botTokens();
                return validIndex(tokens, bot) ? tokens.at(bot) : QString();
            },
            [model, bot](const QString &value) { model->setBotToken(bot, value); },
            {&SettingsModel::botTokensChanged}};
}

Text botNickname(SettingsModel *model, int bot)
{
    return {[model, bot] {
                const QStringList &names = model->botNicknames();
                return validIndex(names, bot) ? names.at(bot) : QString();
            },
            [model, bot](const QString &value) { model->setBotNickname(bot, value); },
            {&SettingsModel::botNicknamesChanged}};
}

Text botProfileText(SettingsModel *model, int bot, QString BotProfile::*field)
{
    return {
        [model, bot, field] {
            const QList<BotProfile> &profiles = model->botProfiles();
            return validIndex(profiles, bot) ? profiles.at(bot).*field : QString();
        },
        [model, bot, field](const QString &value) { model->setBotProfileText(bot, field, value); },
        {&SettingsModel::botProfilesChanged}};
}

Text botFallbackText(SettingsModel *model, int bot, int row, QString Fallback::*field)
{
    return {[model, bot, row, field] {
                const QList<BotProfile> &profiles = model->botProfiles();
                if (!validIndex(profiles, bot) || !validIndex(profiles.at(bot).fallbacks, row))
                    return QString();
                return profiles.at(bot).fallbacks.at(row).*field;
            },
            [model, bot, row, field](const QString &value) {
                model->setBotFallbackText(bot, row, field, value);
            },
            {&SettingsModel::botProfilesChanged}};
}

Text fallbackText(SettingsModel *model, int index, QString Fallback::*field)
{
    return {[model, index, field] {
                const QList<Fallback> &list = model->fallbacks();
                return validIndex(list, index) ? list.at(index).*field : QString();
            },
            [model, index, field](const QString &value) {
                model->setFallbackText(index, field, value);
            },
            {&SettingsModel::fallbacksChanged}};
}

} // namespace Bind
