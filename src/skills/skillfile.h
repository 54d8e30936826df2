#pragma once

#include "skills/skilltypes.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>

// Skill files on disk: parsing one Markdown file into a SkillInfo, listing a skills folder, and
// writing a downloaded skill into the folder without ever leaving it. Pure functions over the
// file system, so that benchmarks and fuzz targets can call them without a model.
namespace SkillFile {

// Files larger than this are treated as unreadable: their title comes from the name and their
// description stays empty. A real skill file is a few kilobytes; this only keeps a stray huge
// file from being pulled into memory while the folder is listed.
constexpr qint64 maxReadSize = 64 * 1024 * 1024;

// Builds the record of the skill `name` from the text of its file (the walk over the lines that
// finds the front-matter description, the last "# " heading and the first body line after it).
SkillInfo parse(const QString &name, QStringView text, const QSet<QString> &disabled);

// The whole file as UTF-8 text, or the empty text when it cannot be read, is not a regular
// file, is larger than maxReadSize, or is not valid UTF-8.
QString readText(const QString &path);
// The bytes as UTF-8 text, or the empty text when they are not valid UTF-8 (readText's rule).
QString decode(const QByteArray &bytes);

// Reads the file at `path` and parses it; the name is the file name without ".md".
SkillInfo makeSkillInfo(const QString &path, const QSet<QString> &disabled);

// The "<name>.md" entries of `folder` (no recursion, hidden entries included), sorted by file
// name in plain ascending text order. A folder that cannot be listed gives an empty list.
QStringList listSkillFiles(const QString &folder);

// makeSkillInfo for every entry of listSkillFiles, in that order.
QList<SkillInfo> listFolder(const QString &folder, const QSet<QString> &disabled);

// The skills folder: the document's "skills_dir" with "~" expanded when it is a non-empty
// string, else the folder "skills" beside the configuration file.
QString skillsFolder(const QJsonObject &document, const QString &configPath);
// Where install and delete work: always the folder "skills" beside the configuration file.
QString installFolder(const QString &configPath);

// The file name (without ".md") under which a skill called `name` is installed, or nothing when
// the name is unsafe. Remote names may hold "/" (catalogue names such as "a/b" found at
// skills/a/b/SKILL.md, and "owner/repo" of search results); each "/" becomes "-", the way a
// search result owner/repo is installed as owner-repo.md. A name is refused when one of its
// "/"-separated pieces is empty, "." or "..", when the file name would be hidden (leading "."),
// when it holds a backslash or a control character, or when the file name would be longer than
// the 255 bytes a Linux file name may have.
std::optional<QString> installStem(const QString &name);

// True when `name` can be used as it stands as "<name>.md" inside a folder: it is its own
// installStem (so no "/" at all).
bool isPlainName(const QString &name);

// Writes `bytes` to "<stem>.md" inside `folder`, creating the folder with its parents. The bytes
// go to a temporary file in the folder that is then renamed over the target, so a symbolic link
// planted under the target name is replaced and never written through, and a failed write
// leaves any older file untouched. Returns false, having written nothing, when `stem` is not a
// plain name or anything fails; `error`, when given, then holds why in the system's words.
bool writeInto(const QString &folder, const QString &stem, const QByteArray &bytes,
               QString *error = nullptr);

} // namespace SkillFile
