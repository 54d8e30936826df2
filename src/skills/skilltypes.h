#pragma once

#include <QString>

// One installed skill: a <name>.md file of the skills folder.
struct SkillInfo {
    QString name;
    QString title;
    QString description;
    bool enabled = true;
    QString group;
    QString origin; // "registry" or "builtin"

    bool operator==(const SkillInfo &) const = default;
};

// One installable skill.
struct RegistryEntry {
    QString name;
    QString title;
    QString description;
    QString rawURL;

    // A GitHub search result is named "github:" and the repository's owner/name.
    static QString searchResultName(const QString &repository)
    {
        return QStringLiteral("github:") + repository;
    }
    // The owner/name of a search result's name; any other name as it stands.
    static QString withoutSearchPrefix(const QString &name)
    {
        const QStringView prefix = u"github:";
        return name.startsWith(prefix) ? name.sliced(prefix.size()) : name;
    }
    static bool isSearchResultName(const QString &name) { return name.startsWith(u"github:"); }

    bool operator==(const RegistryEntry &) const = default;
};
