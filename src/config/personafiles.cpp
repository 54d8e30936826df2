#include "config/personafiles.h"

#include <QDir>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

bool isPersonaName(const QString &name)
{
    const QString lower = name.toLower();
    return (lower.endsWith(".md"_L1) && lower.contains("soul"_L1)) || lower.contains("persona"_L1);
}

} // namespace

QString expandHome(const QString &path)
{
    if (path == u"~")
        return QDir::homePath();
    if (path.startsWith(u"~/"))
        return QDir::homePath() + path.sliced(1);
    return path;
}

QString personaFolder(const QString &soulFile)
{
    QString path = expandHome(soulFile);
    // A trailing separator does not make an empty last component.
    while (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    const qsizetype slash = path.lastIndexOf(u'/');
    if (slash < 0)
        return {};
    if (slash == 0)
        return u"/"_s;
    return path.left(slash);
}

QStringList personaFiles(const QString &soulFile)
{
    const QString folder = personaFolder(soulFile);
    if (folder.isEmpty())
        return {};
    const QDir dir(folder);
    if (!dir.exists() || !dir.isReadable())
        return {};
    // Every kind of entry counts, hidden ones included: the rule is about names only.
    QStringList names = dir.entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::NoSort);
    names.erase(std::remove_if(names.begin(), names.end(),
                               [](const QString &name) { return !isPersonaName(name); }),
                names.end());
    // Code-unit order, so "Soul.md" sorts before "my-persona.MD" whatever the locale.
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}
