#pragma once

#include <QString>

// What a bot actually uses for one inheritable value, said under the value's row: whether the
// bot's own value `own` is empty (the bot inherits `defaultValue`) or set (it overrides it),
// and with which default. The bot page and the terminal tool show the same words.
//
//   own     default   text
//   empty   empty     "Inherits the default (not set)"
//   empty   d         "Inherits the default: d"
//   set     empty     "Overrides the default"
//   set     d         "Overrides the default (d)"
//
// "Empty" means no characters at all: a value of blanks is a value the bot service receives.
QString inheritanceText(const QString &own, const QString &defaultValue);
