#pragma once

#include "skills/skilltypes.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// The fixed skill tables: the group order, the groups and example prompts of the skills the bot
// service ships with, and the catalogue of external skills offered for installation. All of it
// is constant data, built on first use; nothing here needs a model.
namespace SkillCatalog {

// The group names in the order the Skills page shows its sections.
const QStringList &skillGroups();
QString generalGroup();  // "General": every name the tables do not know
QString registryGroup(); // "From registry": every name of the fixed catalogue

// One row of the fixed catalogue. The raw address is the raw-content base + "/" + path.
struct CatalogRow {
    QString name;
    QString title;
    QString description;
    QString path;
};
const QList<CatalogRow> &catalogRows();

// The fixed catalogue as installable entries on the given raw-content base (no trailing slash).
QList<RegistryEntry> skillRegistry(const QString &rawBase);

// The fixed catalogue followed by the entries "Load full catalog" found, without the loaded
// entries that are the very file of a fixed entry (same repository and path): each source
// file is offered once, as its fixed entry with its hand-written title and description.
QList<RegistryEntry> withLoadedEntries(const QString &rawBase, const QList<RegistryEntry> &loaded);

bool isRegistry(const QString &name);
QString groupOf(const QString &name);
std::optional<QString> exampleOf(const QString &name);
QString originOf(const QString &name); // "registry" or "builtin"

// "stock-research" -> "Stock Research": "-" becomes a blank, then every blank-separated word
// gets an upper-case first letter and lower-case rest.
QString titleFromName(const QString &name);

// The first `count` user-perceived characters of `text`; never splits a surrogate pair or a
// letter from its combining marks.
QString firstCharacters(const QString &text, qsizetype count);

// The bot page's row value and the per-bot skills sheet's footer for n names disabled on top
// of the defaults.
QString botSkillsSummary(qsizetype n);
QString botSkillsSheetFooter(qsizetype n);

} // namespace SkillCatalog
