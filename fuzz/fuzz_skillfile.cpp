// Arbitrary bytes as a skill file in the skills folder. The record read from the file must be
// the record parsed from its text, and both must agree with a straightforward reading of the
// rules for the front matter, the headings, the description line, fenced code blocks and
// descriptions that go on over several front-matter lines.
#include "skills/skillcatalog.h"
#include "skills/skillfile.h"
#include "fuzzcheck.h"

#include <QFile>
#include <QPair>
#include <QRegularExpression>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdint>

using namespace Qt::Literals::StringLiterals;

namespace {

// Names that reach every branch of the group and origin tables: a shipped skill, a catalogue
// skill, an unknown one and one with several dashes.
const QStringList &names()
{
    static const QStringList list{u"stock-research"_s, u"pdf"_s, u"my-skill"_s, u"a--b-c"_s};
    return list;
}

bool isBlank(QChar c)
{
    return c == u' ' || c == u'\t';
}

QString trimBlanks(QString text)
{
    while (!text.isEmpty() && isBlank(text.front()))
        text.remove(0, 1);
    while (!text.isEmpty() && isBlank(text.back()))
        text.chop(1);
    return text;
}

QString trimQuotes(QString text)
{
    while (text.startsWith(u'"'))
        text.remove(0, 1);
    while (text.endsWith(u'"'))
        text.chop(1);
    return text;
}

int indentOf(const QString &piece)
{
    int n = 0;
    while (n < piece.size() && isBlank(piece.at(n)))
        ++n;
    return n;
}

// Three or more backticks or tildes at the start of a trimmed line; for backticks, no backtick in
// the rest of the line. Gives the fence's character and length, or length 0.
QPair<QChar, int> fenceOf(const QString &line)
{
    if (!line.startsWith(u'`') && !line.startsWith(u'~'))
        return {QChar(), 0};
    const QChar mark = line.at(0);
    int n = 0;
    while (n < line.size() && line.at(n) == mark)
        ++n;
    if (n < 3 || (mark == u'`' && line.mid(n).contains(u'`')))
        return {QChar(), 0};
    return {mark, n};
}

bool closes(const QString &line, QChar mark, int length)
{
    int n = 0;
    while (n < line.size() && line.at(n) == mark)
        ++n;
    return n >= length && line.mid(n).trimmed().isEmpty();
}

// Index of the quote that ends a quoted text opened before `from`, or -1.
int endQuote(const QString &text, int from, QChar quote)
{
    for (int i = from; i < text.size(); ++i) {
        if (quote == u'"' && text.at(i) == u'\\')
            ++i;
        else if (quote == u'\'' && text.mid(i, 2) == u"''"_s)
            ++i;
        else if (text.at(i) == quote)
            return i;
    }
    return -1;
}

QString oneLine(const QString &value)
{
    QString text = trimQuotes(value);
    if (!text.startsWith(u'\''))
        return text;
    while (text.startsWith(u'\''))
        text.remove(0, 1);
    while (text.endsWith(u'\''))
        text.chop(1);
    return text.replace(u"''"_s, u"'"_s);
}

bool isBlockHeader(const QString &value)
{
    // The indicators up to the first blank, then nothing or a comment.
    static const QRegularExpression indicators(u"^[|>]([+-]?[1-9]?|[1-9][+-])$"_s);
    qsizetype blank = 0;
    while (blank < value.size() && !isBlank(value.at(blank)))
        ++blank;
    const QString rest = trimBlanks(value.mid(blank));
    return indicators.match(value.left(blank)).hasMatch()
           && (rest.isEmpty() || rest.startsWith(u'#'));
}

// The walk over the lines written the plain way, with whole-line copies, no views and looking
// ahead for the lines a front-matter description goes on over.
SkillInfo expected(const QString &name, const QString &text, const QSet<QString> &disabled)
{
    SkillInfo info;
    info.name = name;
    info.title = SkillCatalog::titleFromName(name);
    bool inFrontMatter = false;
    bool headingSeen = false;
    QChar fenceMark;
    int fenceLength = 0;
    const QStringList lines = text.split(u'\n', Qt::SkipEmptyParts);
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = trimBlanks(lines.at(i));
        if (fenceLength > 0) {
            if (closes(line, fenceMark, fenceLength))
                fenceLength = 0;
        } else if (line == u"---"_s) {
            inFrontMatter = !inFrontMatter;
        } else if (inFrontMatter) {
            if (!info.description.isEmpty() || !line.toLower().startsWith(u"description:"_s))
                continue;
            const QString value = trimBlanks(line.mid(12));
            const int keyIndent = indentOf(lines.at(i));
            // The lines below that are indented more than the key (or blank), up to a "---".
            QStringList more;
            int next = i + 1;
            const bool quoted = value.startsWith(u'"') || value.startsWith(u'\'');
            const bool open = quoted && endQuote(value, 1, value.at(0)) < 0;
            const bool goesOn = isBlockHeader(value) || open || (!quoted && !value.isEmpty());
            bool closed = false;
            while (goesOn && next < lines.size() && !closed) {
                const QString below = trimBlanks(lines.at(next));
                if (below == u"---"_s
                    || (!below.isEmpty() && indentOf(lines.at(next)) <= keyIndent))
                    break;
                if (!below.isEmpty()) {
                    more.append(below);
                    closed = open && endQuote(below, 0, value.at(0)) >= 0;
                }
                ++next;
            }
            if (isBlockHeader(value)) {
                info.description = more.join(u' ');
            } else if (open && closed) {
                QString joined = (QStringList{value} + more).join(u' ');
                joined = joined.mid(1, endQuote(joined, 1, value.at(0)) - 1);
                info.description = value.at(0) == u'\'' ? joined.replace(u"''"_s, u"'"_s) : joined;
            } else if (open) {
                info.description = oneLine(value);
            } else {
                info.description = (QStringList{oneLine(value)} + more).join(u' ');
            }
            i = next - 1;
        } else if (const auto fence = fenceOf(line); fence.second > 0) {
            fenceMark = fence.first;
            fenceLength = fence.second;
        } else if (line.startsWith(u"# "_s)) {
            info.title = trimBlanks(line.mid(2));
            headingSeen = true;
        } else if (!line.isEmpty() && headingSeen && info.description.isEmpty()) {
            info.description = SkillCatalog::firstCharacters(line, 140);
        }
    }
    info.enabled = !disabled.contains(name);
    info.group = SkillCatalog::groupOf(name);
    info.origin = SkillCatalog::isRegistry(name) ? u"registry"_s : u"builtin"_s;
    return info;
}

// True when every blank-separated word of `part` occurs in `text`.
bool wordsFrom(const QString &part, const QString &text)
{
    const QStringList words = part.split(u' ', Qt::SkipEmptyParts);
    return std::all_of(words.begin(), words.end(),
                       [&](const QString &word) { return text.contains(word); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static QTemporaryDir folder;
    if (!folder.isValid() || size == 0)
        return 0;

    // The first byte picks the skill's name and whether it is switched off globally.
    const QString name = names().at(data[0] % names().size());
    const QSet<QString> disabled = (data[0] & 0x10) ? QSet<QString>{name} : QSet<QString>{};
    const QByteArray bytes(reinterpret_cast<const char *>(data) + 1, qsizetype(size - 1));

    const QString path = folder.filePath(name + u".md"_s);
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
            || file.write(bytes) != bytes.size())
            return 0;
    }

    // Reading: valid UTF-8 comes back as it was written (a leading byte-order mark aside);
    // anything else reads as the empty text.
    const QString text = SkillFile::readText(path);
    if (!text.isEmpty()) {
        const QByteArray back = text.toUtf8();
        FUZZ_CHECK(back == bytes || (bytes.startsWith("\xEF\xBB\xBF") && back == bytes.sliced(3)));
    }

    const SkillInfo fromFile = SkillFile::makeSkillInfo(path, disabled);
    const SkillInfo fromText = SkillFile::parse(name, text, disabled);
    FUZZ_CHECK(fromFile == fromText);
    FUZZ_CHECK(fromText == expected(name, text, disabled));

    // What the window shows always comes out of the file (or the name) and is one line.
    FUZZ_CHECK(!fromText.title.contains(u'\n') && !fromText.description.contains(u'\n'));
    // A description that goes on over several lines is joined with blanks, so only its words
    // are sure to be in the text, apart from a single-quoted text's "''".
    FUZZ_CHECK(wordsFrom(QString(fromText.description).replace(u'\'', u' '),
                         QString(text).replace(u'\'', u' ')));
    FUZZ_CHECK(fromText.title == SkillCatalog::titleFromName(name)
               || text.contains(fromText.title));
    FUZZ_CHECK(SkillCatalog::skillGroups().contains(fromText.group));

    // The listing sees the one file and reads it the same way.
    const QList<SkillInfo> listed = SkillFile::listFolder(folder.path(), disabled);
    FUZZ_CHECK(listed.size() == 1 && listed.constFirst() == fromFile);
    QFile::remove(path);
    return 0;
}
