#pragma once

#include "ui/controls/binding.h"

class SettingsModel;

// Bindings to the values of the settings model that are not one key of the configuration: a bot's
// token, nickname and overrides, and the backup models, each by its index. They write through the
// model's operations for those records.
namespace Bind {

// Per-bot values. Reading an index that no longer exists gives the empty text; writing one
// does nothing.
Text botToken(SettingsModel *model, int bot);
Text botNickname(SettingsModel *model, int bot);
Text botProfileText(SettingsModel *model, int bot, QString BotProfile::*field);
Text botFallbackText(SettingsModel *model, int bot, int row, QString Fallback::*field);
// A backup model of the defaults.
Text fallbackText(SettingsModel *model, int index, QString Fallback::*field);

} // namespace Bind
