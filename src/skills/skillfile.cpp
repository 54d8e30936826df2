#include "skills/skillfile.h"

#include "skills/skillcatalog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>
#include <QStringTokenizer>
#include <QTemporaryFile>

#include <algorithm>
#include <cstdio>

using namespace Qt::Literals::StringLiterals;

namespace SkillFile {

namespace {

constexpr qsizetype descriptionLength = 140;
constexpr QLatin1StringView extension = ".md"_L1;

bool isBlank(QChar c)
{
    return c == u' ' || c == u'\t';
}

QStringView trimmed(QStringView text, bool (*strip)(QChar))
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && strip(text.at(begin)))
        ++begin;
    while (end > begin && strip(text.at(end - 1)))
        --end;
    return text.sliced(begin, end - begin);
}

QStringView trimBlanks(QStringView text)
{
    return trimmed(text, isBlank);
}
QStringView trimQuotes(QStringView text)
{
    return trimmed(text, [](QChar c) { return c == u'"'; });
}

bool startsWithDescriptionKey(QStringView line)
{
    // Lower-casing works character by character, so lower-casing the first 12 characters gives
    // the start of the lower-cased line.
    static const QString key = u"description:"_s;
    return line.left(key.size()).toString().toLower().startsWith(key);
}

} // namespace

SkillInfo parse(const QString &name, QStringView text, const QSet<QString> &disabled)
{
    SkillInfo info;
    info.name = name;
    info.title = SkillCatalog::titleFromName(name);
    bool inFrontMatter = false;
    bool headingSeen = false;
    // Line feeds only: a carriage return stays at the end of its line, so a file with CR LF
    // line ends has no "---" line and therefore no front matter.
    for (QStringView piece : text.tokenize(u'\n', Qt::SkipEmptyParts)) {
        const QStringView line = trimBlanks(piece);
        if (line == u"---") {
            inFrontMatter = !inFrontMatter;
            continue;
        }
        if (inFrontMatter) {
            if (info.description.isEmpty() && startsWithDescriptionKey(line))
                info.description = trimQuotes(trimBlanks(line.sliced(12))).toString();
            continue;
        }
        if (line.startsWith(u"# ")) {
            // Every heading replaces the title, so the last one wins.
            info.title = trimBlanks(line.sliced(2)).toString();
            headingSeen = true;
        } else if (!line.isEmpty() && info.description.isEmpty() && headingSeen) {
            info.description = SkillCatalog::firstCharacters(line.toString(), descriptionLength);
        }
    }
    info.enabled = !disabled.contains(name);
    info.group = SkillCatalog::groupOf(name);
    info.origin = SkillCatalog::originOf(name);
    return info;
}

QString readText(const QString &path)
{
    // Only regular files (or links to them) are read: a FIFO or device named *.md would block
    // or never end.
    const QFileInfo info(path);
    if (!info.isFile() || info.size() > maxReadSize)
        return {};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    // readAll sizes its buffer from the file; read(maxReadSize) would allocate the whole cap
    // for every file of the folder.
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError || bytes.size() > maxReadSize)
        return {};
    // A file that is not valid UTF-8 cannot be read as UTF-8 text, which counts as unreadable.
    // Stateless, so that a sequence cut off at the end of the file is an error too instead of
    // being held back for more input that never comes.
    QStringDecoder decoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return {};
    return text;
}

SkillInfo makeSkillInfo(const QString &path, const QSet<QString> &disabled)
{
    QString name = QFileInfo(path).fileName();
    if (name.endsWith(extension))
        name.chop(extension.size());
    const QString text = readText(path);
    return parse(name, text, disabled);
}

QStringList listSkillFiles(const QString &folder)
{
    const QDir dir(folder);
    if (folder.isEmpty() || !dir.exists())
        return {};
    QStringList names = dir.entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::NoSort);
    // Case-sensitive on purpose: Notes.MD is not a skill. A bare ".md" has no name to show.
    names.removeIf(
        [](const QString &n) { return n.size() <= extension.size() || !n.endsWith(extension); });
    // Plain code-unit order: "a-b.md" sorts before "a.md" because "-" comes before ".".
    std::sort(names.begin(), names.end());
    return names;
}

QList<SkillInfo> listFolder(const QString &folder, const QSet<QString> &disabled)
{
    QList<SkillInfo> skills;
    const QStringList names = listSkillFiles(folder);
    skills.reserve(names.size());
    for (const QString &fileName : names)
        skills.append(makeSkillInfo(folder + u'/' + fileName, disabled));
    return skills;
}

QString expandHome(const QString &path)
{
    if (path == u"~")
        return QDir::homePath();
    if (path.startsWith(u"~/"))
        return QDir::homePath() + path.sliced(1);
    return path;
}

QString skillsFolder(const QJsonObject &document, const QString &configPath)
{
    const QJsonValue value = document.value("skills_dir"_L1);
    if (value.isString() && !value.toString().isEmpty())
        return expandHome(value.toString());
    return installFolder(configPath);
}

QString installFolder(const QString &configPath)
{
    return QFileInfo(configPath).absolutePath() + u"/skills"_s;
}

std::optional<QString> installStem(const QString &name)
{
    const QStringList pieces = name.split(u'/');
    for (const QString &piece : pieces) {
        if (piece.isEmpty() || piece == u"." || piece == u"..")
            return std::nullopt;
    }
    QString stem = pieces.join(u'-');
    if (stem.startsWith(u'.'))
        return std::nullopt;
    const bool hasBadCharacter = std::any_of(stem.cbegin(), stem.cend(), [](QChar c) {
        return c == u'\\' || c.unicode() < 0x20 || c.unicode() == 0x7f;
    });
    if (hasBadCharacter)
        return std::nullopt;
    if (stem.toUtf8().size() + extension.size() > 255)
        return std::nullopt;
    return stem;
}

bool isPlainName(const QString &name)
{
    const std::optional<QString> stem = installStem(name);
    return stem && *stem == name;
}

bool writeInto(const QString &folder, const QString &stem, const QByteArray &bytes)
{
    if (!isPlainName(stem) || folder.isEmpty() || !QDir().mkpath(folder))
        return false;
    const QString target = folder + u'/' + stem + extension;

    QTemporaryFile temporary(folder + u"/.install-XXXXXX"_s);
    if (!temporary.open())
        return false;
    if (temporary.write(bytes) != bytes.size() || !temporary.flush())
        return false;
    temporary.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner
                             | QFileDevice::ReadGroup | QFileDevice::ReadOther);
    temporary.close();
    // rename(2) replaces the directory entry itself: a symbolic link under the target name is
    // replaced, not followed, and a directory under that name makes the rename fail.
    if (std::rename(QFile::encodeName(temporary.fileName()).constData(),
                    QFile::encodeName(target).constData())
        != 0)
        return false;
    temporary.setAutoRemove(false);
    return true;
}

} // namespace SkillFile
