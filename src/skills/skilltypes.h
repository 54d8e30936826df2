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

    bool operator==(const RegistryEntry &) const = default;
};
