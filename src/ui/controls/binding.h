#pragma once

#include "config/configtypes.h"

#include <QList>
#include <QString>

#include <functional>

class QObject;
class SettingsModel;

// Two-way bindings between a control and one value of the settings model, written once per
// control. A binding says how to read the value, how to write it, and which change signals of
// the model can move it; the control refreshes itself on those signals and guards against its
// own echo.
namespace Bind {

using Signal = void (SettingsModel::*)();

template <typename T> struct Value {
    std::function<T()> get;
    std::function<void(const T &)> set;
    QList<Signal> changed;
};
using Text = Value<QString>;
using Flag = Value<bool>;

// Whether one secret field is shown in clear, and how to flip it.
struct Shown {
    std::function<bool()> get;
    std::function<void()> toggle;
    QList<Signal> changed;
};

// Runs `refresh` once now and again after each of `changes`, for as long as `context` lives.
void watch(SettingsModel *model, QObject *context, const QList<Signal> &changes,
           const std::function<void()> &refresh);

// A text property of the model, e.g. text(model, &SettingsModel::apiKey,
// &SettingsModel::setApiKey, &SettingsModel::apiKeyChanged).
Text text(SettingsModel *model, const QString &(SettingsModel::*getter)() const,
          void (SettingsModel::*setter)(const QString &), Signal changed);
Flag flag(SettingsModel *model, bool (SettingsModel::*getter)() const,
          void (SettingsModel::*setter)(bool), Signal changed);

// Per-bot values. Reading an index that no longer exists gives the empty text; writing one
// does nothing.
Text botToken(SettingsModel *model, int bot);
Text botNickname(SettingsModel *model, int bot);
Text botProfileText(SettingsModel *model, int bot, QString BotProfile::*field);
Text botFallbackText(SettingsModel *model, int bot, int row, QString Fallback::*field);
// A backup model of the defaults.
Text fallbackText(SettingsModel *model, int index, QString Fallback::*field);

// Secret visibility: the primary key, a bot token, a backup model's key, a per-bot key
// (identity such as "0-1" for bot 0's second backup row).
Shown shownApiKey(SettingsModel *model);
Shown shownToken(SettingsModel *model, int bot);
Shown shownFallbackKey(SettingsModel *model, int index);
Shown shownProfileKey(SettingsModel *model, const QString &identity);

} // namespace Bind
