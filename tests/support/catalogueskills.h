#pragma once

// Skill files of the fixed catalogue as the loopback raw server serves them, for the tests of
// checking and updating installed catalogue skills.

#include <QByteArray>
#include <QString>

namespace CatalogueSkills {

// An installed PDF skill, and the changed source of it on the server.
inline const QByteArray oldPdf = "---\ndescription: Work with PDF files.\n---\n# PDF\n";
inline const QByteArray newPdf
    = "---\ndescription: Read, merge and fill PDF files.\n---\n# PDF tools\n";
// A Word skill that is the same installed and on the server.
inline const QByteArray docx = "---\ndescription: Word files.\n---\n# Word\n";

// The path of a fixed-catalogue skill of anthropics/skills under the raw base.
inline QString rawPath(const QString &name)
{
    return QStringLiteral("/anthropics/skills/main/skills/") + name + QStringLiteral("/SKILL.md");
}

} // namespace CatalogueSkills
