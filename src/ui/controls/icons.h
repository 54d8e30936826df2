#pragma once

#include <QIcon>
#include <QString>

class QAbstractButton;

// Symbol names as the pages use them ("cpu", "eye.slash", "chevron.up", …), mapped to
// freedesktop theme icons. When the desktop's theme lacks a name, a bundled SVG drawn in the
// palette's text colour stands in, so every icon shows on a bare machine.
namespace Icons {

QIcon icon(const QString &symbolName);
// The application's logo (":/AppLogo"), drawn at any size on demand.
QIcon appLogo();
// Makes the bundled resources (icons, ":/AppLogo") available; icon() does it on first use.
void ensureResources();
// Theme names tried for a symbol, most specific first (empty for unknown symbols).
QStringList themeNames(const QString &symbolName);
// Whether a bundled drawing exists for the symbol.
bool hasBundled(const QString &symbolName);
// Sets the icon and records the symbol in the button's "symbol" property, for tests and
// accessibility tools.
void setIcon(QAbstractButton *button, const QString &symbolName);

} // namespace Icons
