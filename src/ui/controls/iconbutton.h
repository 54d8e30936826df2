#pragma once

#include <QString>

class QToolButton;

// How big an icon-only button is.
enum class IconButtonSize {
    Regular, // a 16-pixel icon in a button as large as the style makes it
    Compact, // a 14-pixel icon in a 16 x 16 button, also focused by a click, for dense rows
};

// A flat tool button showing a symbol (see Icons::setIcon); `help` is its tooltip and its
// accessible name.
QToolButton *iconButton(const QString &objectName, const QString &symbol, const QString &help,
                        IconButtonSize size = IconButtonSize::Regular);
