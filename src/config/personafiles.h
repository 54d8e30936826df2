#pragma once

#include <QString>
#include <QStringList>

// "~" and a leading "~/" stand for the home folder; anything else is returned as it stands.
QString expandHome(const QString &path);

// The persona folder: the default persona file with a leading "~" expanded and its last path
// component removed ("~/.zandrel/soul.md" gives the data folder). Empty when the file name has
// no folder part.
QString personaFolder(const QString &soulFile);

// The persona files offered in the soul-file menus: the names in the persona folder that,
// lower-cased, end in ".md" and contain "soul", or contain "persona"; each name once, sorted
// ascending. A missing or unreadable folder gives an empty list.
QStringList personaFiles(const QString &soulFile);
