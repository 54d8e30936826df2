#include "skills/skillfile.h"

#include "skills/skillcatalog.h"
#include "config/personafiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>
#include <QStringTokenizer>
#include <QTemporaryFile>

#include <algorithm>
#include <cerrno>
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

// How far a line is indented: its leading blanks and tabs.
qsizetype indentOf(QStringView piece)
{
    qsizetype n = 0;
    while (n < piece.size() && isBlank(piece.at(n)))
        ++n;
    return n;
}

qsizetype runOf(QStringView line, QChar mark)
{
    qsizetype n = 0;
    while (n < line.size() && line.at(n) == mark)
        ++n;
    return n;
}

// The run of backticks or tildes that opened a fenced code block.
struct Fence {
    QChar mark;
    qsizetype length = 0;
};

// A trimmed line that opens a fenced code block: three or more backticks or tildes, then an
// optional info string ("```python"). As in CommonMark, a backtick fence's info string holds no
// backtick, so "```x``` is inline code" opens nothing.
std::optional<Fence> openingFence(QStringView line)
{
    if (line.isEmpty() || (line.front() != u'`' && line.front() != u'~'))
        return std::nullopt;
    const QChar mark = line.front();
    const qsizetype length = runOf(line, mark);
    if (length < 3 || (mark == u'`' && line.sliced(length).contains(u'`')))
        return std::nullopt;
    return Fence{mark, length};
}

// A trimmed line that closes `fence`: the same character, at least as many times, and nothing
// after it but white space. A carriage return counts as white space here, so a file with CR LF
// line ends closes its blocks too.
bool closesFence(QStringView line, const Fence &fence)
{
    const qsizetype length = runOf(line, fence.mark);
    if (length < fence.length)
        return false;
    const QStringView rest = line.sliced(length);
    return std::all_of(rest.begin(), rest.end(), [](QChar c) { return c.isSpace(); });
}

// "|", "|-", ">+", "|2", ">-1 # comment": the header of a YAML block scalar.
bool isBlockScalarHeader(QStringView value)
{
    if (value.isEmpty() || (value.front() != u'|' && value.front() != u'>'))
        return false;
    qsizetype i = 1;
    bool chomping = false;
    bool indentation = false;
    while (i < value.size()) {
        const QChar c = value.at(i);
        if (!chomping && (c == u'+' || c == u'-'))
            chomping = true;
        else if (!indentation && c >= u'1' && c <= u'9')
            indentation = true;
        else
            break;
        ++i;
    }
    const QStringView rest = trimBlanks(value.sliced(i));
    return rest.isEmpty() || (rest.front() == u'#' && i < value.size() && isBlank(value.at(i)));
}

// Where the quoted value that starts at value[0] ends: the index of its closing quote, or -1.
// Inside double quotes a backslash escapes the next character; inside single quotes "''" is a
// quote character, not the end.
qsizetype closingQuote(QStringView value, qsizetype from, QChar quote)
{
    for (qsizetype i = from; i < value.size(); ++i) {
        const QChar c = value.at(i);
        if (quote == u'"' && c == u'\\') {
            ++i;
        } else if (c == quote) {
            if (quote == u'\'' && i + 1 < value.size() && value.at(i + 1) == u'\'')
                ++i;
            else
                return i;
        }
    }
    return -1;
}

// The one-line value of a description written on its key's line: trimmed of double quotes at
// both ends; a single-quoted value also loses its single quotes, and its "''" reads as "'".
QString singleLineValue(QStringView value)
{
    QStringView text = trimQuotes(value);
    if (!text.startsWith(u'\''))
        return text.toString();
    text = trimmed(text, [](QChar c) { return c == u'\''; });
    return text.toString().replace(u"''"_s, u"'"_s);
}

// A front-matter description that goes on below its key line, over the lines indented more than
// the key, collected until a line indented no more than the key, a "---" line or the end of the
// text. YAML writes long texts in three such ways:
//   description: |-          a block scalar: "|" keeps the line breaks, ">" folds them;
//     the indented lines     the key's line holds nothing but the header
//   description: "a quoted   a quoted value runs on to its closing quote; one that never
//     text"                  closes reads as the key's line alone would
//   description: plain text  a plain value goes on over the indented lines
//     that goes on
// The description is shown on one line, so every line break becomes a blank.
class Continuation {
public:
    enum class Kind { Block, Quoted, Plain };

    Continuation(Kind kind, QStringView keyPiece, QStringView value)
        : m_kind(kind)
        , m_keyIndent(indentOf(keyPiece))
        , m_first(value.toString())
    {}

    // Takes the next front-matter line if it belongs to the value; false ends the value, and
    // the line is read as a line of its own.
    bool take(QStringView piece, QStringView line)
    {
        if (m_closed)
            return false;
        // Lines of nothing but blanks belong to the text without ending it.
        if (line.isEmpty())
            return true;
        if (indentOf(piece) <= m_keyIndent)
            return false;
        m_lines.append(line.toString());
        if (m_kind == Kind::Quoted)
            m_closed = closingQuote(line, 0, quote()) >= 0;
        return true;
    }

    QString value() const
    {
        switch (m_kind) {
        case Kind::Block: return m_lines.join(u' ');
        case Kind::Plain: return (QStringList{singleLineValue(m_first)} + m_lines).join(u' ');
        case Kind::Quoted: break;
        }
        // A quote that never closes reads as it would on one line.
        if (!m_closed)
            return singleLineValue(m_first);
        QString joined = (QStringList{m_first} + m_lines).join(u' ');
        const qsizetype end = closingQuote(joined, 1, quote());
        joined = joined.mid(1, end - 1);
        if (quote() == u'\'')
            joined.replace(u"''"_s, u"'"_s);
        return joined;
    }

private:
    QChar quote() const { return m_first.front(); }

    Kind m_kind;
    qsizetype m_keyIndent;
    QString m_first; // the value on the key's line, trimmed of blanks
    QStringList m_lines;
    bool m_closed = false;
};

// How the value on a description key's line goes on, if it does.
std::optional<Continuation::Kind> continuationOf(QStringView value)
{
    if (isBlockScalarHeader(value))
        return Continuation::Kind::Block;
    if (value.startsWith(u'"') || value.startsWith(u'\'')) {
        if (closingQuote(value, 1, value.front()) < 0)
            return Continuation::Kind::Quoted;
        return std::nullopt;
    }
    // An empty value stays empty, and a later description line may still set it.
    if (value.isEmpty())
        return std::nullopt;
    return Continuation::Kind::Plain;
}

} // namespace

SkillInfo parse(const QString &name, QStringView text, const QSet<QString> &disabled)
{
    SkillInfo info;
    info.name = name;
    info.title = SkillCatalog::titleFromName(name);
    bool inFrontMatter = false;
    bool headingSeen = false;
    std::optional<Fence> fence;
    std::optional<Continuation> continuation;
    auto endContinuation = [&] {
        if (continuation)
            info.description = continuation->value();
        continuation.reset();
    };
    // Line feeds only: a carriage return stays at the end of its line, so a file with CR LF
    // line ends has no "---" line and therefore no front matter.
    for (QStringView piece : text.tokenize(u'\n', Qt::SkipEmptyParts)) {
        const QStringView line = trimBlanks(piece);
        // Inside a fenced code block every line is code: "# comment" is no heading, no line is
        // description text, and "---" neither opens nor closes the front matter.
        if (fence) {
            if (closesFence(line, *fence))
                fence.reset();
            continue;
        }
        if (line == u"---") {
            endContinuation();
            inFrontMatter = !inFrontMatter;
            continue;
        }
        if (inFrontMatter) {
            if (continuation && continuation->take(piece, line))
                continue;
            endContinuation();
            if (info.description.isEmpty() && startsWithDescriptionKey(line)) {
                const QStringView value = trimBlanks(line.sliced(12));
                if (const std::optional<Continuation::Kind> kind = continuationOf(value))
                    continuation.emplace(*kind, piece, value);
                else
                    info.description = singleLineValue(value);
            }
            continue;
        }
        if ((fence = openingFence(line)))
            continue;
        if (line.startsWith(u"# ")) {
            // Every heading replaces the title, so the last one wins.
            info.title = trimBlanks(line.sliced(2)).toString();
            headingSeen = true;
        } else if (!line.isEmpty() && info.description.isEmpty() && headingSeen) {
            info.description = SkillCatalog::firstCharacters(line.toString(), descriptionLength);
        }
    }
    endContinuation();
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
    return decode(bytes);
}

QString decode(const QByteArray &bytes)
{
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

bool writeInto(const QString &folder, const QString &stem, const QByteArray &bytes, QString *error)
{
    const auto fail = [error](const QString &why) {
        if (error)
            *error = why;
        return false;
    };
    if (!isPlainName(stem) || folder.isEmpty())
        return fail(u"not a skill name"_s);
    if (!QDir().mkpath(folder))
        return fail(qt_error_string(errno));
    const QString target = folder + u'/' + stem + extension;

    QTemporaryFile temporary(folder + u"/.install-XXXXXX"_s);
    if (!temporary.open())
        return fail(temporary.errorString());
    if (temporary.write(bytes) != bytes.size() || !temporary.flush())
        return fail(temporary.errorString());
    temporary.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner
                             | QFileDevice::ReadGroup | QFileDevice::ReadOther);
    temporary.close();
    // rename(2) replaces the directory entry itself: a symbolic link under the target name is
    // replaced, not followed, and a directory under that name makes the rename fail.
    if (std::rename(QFile::encodeName(temporary.fileName()).constData(),
                    QFile::encodeName(target).constData())
        != 0)
        return fail(qt_error_string(errno));
    temporary.setAutoRemove(false);
    return true;
}

} // namespace SkillFile
