// Arbitrary bytes as a skill file in the skills folder. The record read from the file must be
// the record parsed from its text, and both must agree with a straightforward reading of the
// rules for the front matter, the headings and the description line.
#include "skills/skillcatalog.h"
#include "skills/skillfile.h"
#include "fuzzcheck.h"

#include <QFile>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

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

// The walk over the lines written the plain way, with whole-line copies and no views.
SkillInfo expected(const QString &name, const QString &text, const QSet<QString> &disabled)
{
    SkillInfo info;
    info.name = name;
    info.title = SkillCatalog::titleFromName(name);
    bool inFrontMatter = false;
    bool headingSeen = false;
    const QStringList lines = text.split(u'\n', Qt::SkipEmptyParts);
    for (const QString &piece : lines) {
        const QString line = trimBlanks(piece);
        if (line == u"---"_s) {
            inFrontMatter = !inFrontMatter;
        } else if (inFrontMatter) {
            if (info.description.isEmpty() && line.toLower().startsWith(u"description:"_s))
                info.description = trimQuotes(trimBlanks(line.mid(12)));
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
    FUZZ_CHECK(fromText.description.isEmpty() || text.contains(fromText.description));
    FUZZ_CHECK(fromText.title == SkillCatalog::titleFromName(name)
               || text.contains(fromText.title));
    FUZZ_CHECK(SkillCatalog::skillGroups().contains(fromText.group));

    // The listing sees the one file and reads it the same way.
    const QList<SkillInfo> listed = SkillFile::listFolder(folder.path(), disabled);
    FUZZ_CHECK(listed.size() == 1 && listed.constFirst() == fromFile);
    QFile::remove(path);
    return 0;
}
