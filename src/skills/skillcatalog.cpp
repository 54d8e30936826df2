#include "skills/skillcatalog.h"

#include <QHash>
#include <QTextBoundaryFinder>

using namespace Qt::Literals::StringLiterals;

namespace SkillCatalog {

namespace {

struct NamedText {
    QString name;
    QString text;
};

// Skill name to group, for the skills the bot service ships with.
const QHash<QString, QString> &groupTable()
{
    static const QHash<QString, QString> table = [] {
        const QList<NamedText> rows = {
            {u"stock-research"_s, u"Research"_s},
            {u"insider-trading"_s, u"Research"_s},
            {u"stocks-crypto"_s, u"Research"_s},
            {u"currency"_s, u"Research"_s},
            {u"briefing"_s, u"Daily"_s},
            {u"digest"_s, u"Daily"_s},
            {u"reminders"_s, u"Daily"_s},
            {u"habits"_s, u"Daily"_s},
            {u"review"_s, u"Daily"_s},
            {u"pomodoro"_s, u"Daily"_s},
            {u"bookmarks"_s, u"Daily"_s},
            {u"expenses"_s, u"Daily"_s},
            {u"media"_s, u"Media"_s},
            {u"voice"_s, u"Media"_s},
            {u"translation"_s, u"Media"_s},
            {u"feeds"_s, u"Media"_s},
            {u"memory"_s, u"Tools"_s},
        };
        QHash<QString, QString> hash;
        for (const NamedText &row : rows)
            hash.insert(row.name, row.text);
        return hash;
    }();
    return table;
}

// Skill name to a message the user could send the bot to try the skill.
const QHash<QString, QString> &exampleTable()
{
    static const QHash<QString, QString> table = [] {
        const QList<NamedText> rows = {
            {u"bookmarks"_s, u"save this for later"_s},
            {u"briefing"_s, u"/briefing"_s},
            {u"currency"_s, u"how much is 50 USD in CAD?"_s},
            {u"digest"_s, u"digest this chat"_s},
            {u"expenses"_s, u"track 25 lunch"_s},
            {u"feeds"_s, u"what's new in my feeds?"_s},
            {u"habits"_s, u"mark today's habit done"_s},
            {u"insider-trading"_s, u"insider trades for AAPL"_s},
            {u"media"_s, u"analyze this video"_s},
            {u"memory"_s, u"what did we talk about yesterday?"_s},
            {u"pomodoro"_s, u"/pomodoro 25"_s},
            {u"reminders"_s, u"remind me at 5pm"_s},
            {u"review"_s, u"weekly review"_s},
            {u"stock-research"_s, u"research TSLA"_s},
            {u"stocks-crypto"_s, u"price of BTC"_s},
            {u"translation"_s, u"translate this to Chinese"_s},
            {u"voice"_s, u"read this aloud"_s},
        };
        QHash<QString, QString> hash;
        for (const NamedText &row : rows)
            hash.insert(row.name, row.text);
        return hash;
    }();
    return table;
}

CatalogRow anthropic(const QString &name, const QString &title, const QString &description)
{
    return {name, title, description, u"anthropics/skills/main/skills/"_s + name + u"/SKILL.md"_s};
}

CatalogRow superpowers(const QString &name, const QString &title, const QString &description)
{
    return {name, title, description, u"ravik/superpowers/main/skills/"_s + name + u"/SKILL.md"_s};
}

} // namespace

const QStringList &skillGroups()
{
    static const QStringList groups
        = {u"Research"_s, u"Daily"_s, u"Media"_s, u"Tools"_s, u"General"_s, u"From registry"_s};
    return groups;
}

QString generalGroup()
{
    return u"General"_s;
}
QString registryGroup()
{
    return u"From registry"_s;
}

const QList<CatalogRow> &catalogRows()
{
    static const QList<CatalogRow> rows = {
        anthropic(u"pdf"_s, u"PDF"_s, u"Read, merge, split, fill and OCR PDF files."_s),
        anthropic(u"docx"_s, u"Word documents"_s, u"Create, edit and template .docx files."_s),
        anthropic(u"xlsx"_s, u"Spreadsheets"_s,
                  u"Create, read and edit .xlsx workbooks and CSVs."_s),
        anthropic(u"pptx"_s, u"Presentations"_s, u"Create, read and edit .pptx decks."_s),
        anthropic(u"webapp-testing"_s, u"Web app testing"_s,
                  u"Exploratory QA of web apps: find bugs, evidence, reports."_s),
        anthropic(u"mcp-builder"_s, u"MCP server builder"_s,
                  u"Design and build Model Context Protocol servers."_s),
        anthropic(u"slack-gif-creator"_s, u"Slack GIF creator"_s,
                  u"Create themed GIFs for Slack messages."_s),
        anthropic(u"canvas-design"_s, u"Canvas design"_s, u"Design canvas and diagram content."_s),
        anthropic(u"theme-factory"_s, u"Theme factory"_s,
                  u"Design themes for coding assistants."_s),
        anthropic(u"skill-creator"_s, u"Skill creator"_s,
                  u"Author new Agent Skills with best practices."_s),
        anthropic(u"algorithmic-art"_s, u"Algorithmic art"_s,
                  u"Generate art and animation with code."_s),
        anthropic(u"brand-guidelines"_s, u"Brand guidelines"_s,
                  u"Keep on-brand visual and copy guidelines."_s),
        anthropic(u"frontend-design"_s, u"Frontend design"_s,
                  u"Design and build HTML/CSS interfaces."_s),
        anthropic(u"doc-coauthoring"_s, u"Doc coauthoring"_s,
                  u"Write and coauthor documents with your assistant."_s),
        anthropic(u"claude-api"_s, u"Claude API"_s, u"Build against the Claude API correctly."_s),
        anthropic(u"internal-comms"_s, u"Internal comms"_s,
                  u"Write clear internal communications."_s),
        anthropic(u"web-artifacts-builder"_s, u"Web artifacts builder"_s,
                  u"Build single-file web artifacts and demos."_s),
        superpowers(u"brainstorming"_s, u"Brainstorming"_s,
                    u"Structured brainstorming for hard problems."_s),
        superpowers(u"systematic-debugging"_s, u"Systematic debugging"_s,
                    u"Root-cause debugging before fixing anything."_s),
        superpowers(u"test-driven-development"_s, u"TDD"_s,
                    u"Red-green-refactor: tests before code."_s),
        superpowers(u"requesting-code-review"_s, u"Code review requests"_s,
                    u"Pre-commit review: security scan and quality gates."_s),
    };
    return rows;
}

QList<RegistryEntry> skillRegistry(const QString &rawBase)
{
    QList<RegistryEntry> entries;
    entries.reserve(catalogRows().size());
    for (const CatalogRow &row : catalogRows())
        entries.append({row.name, row.title, row.description, rawBase + u'/' + row.path});
    return entries;
}

namespace {

// Whether `loaded`, found in a repository's skills folder, is the file of the fixed row `row`:
// the same repository (GitHub names ignore letter case) and the same path in it, on whichever
// branch. A fixed row's path is owner/repo/branch/skills/<name>/SKILL.md.
bool isSameFile(const CatalogRow &row, const RegistryEntry &loaded, const QString &rawBase)
{
    const QStringList pieces = row.path.split(u'/');
    if (pieces.size() < 4 || loaded.name != row.name)
        return false;
    const QString repository = rawBase + u'/' + pieces.at(0) + u'/' + pieces.at(1) + u'/';
    const QString treePath = u'/' + pieces.mid(3).join(u'/');
    const QString &url = loaded.rawURL;
    return url.startsWith(repository, Qt::CaseInsensitive) && url.endsWith(treePath)
           && url.size() > repository.size() + treePath.size();
}

} // namespace

QList<RegistryEntry> withLoadedEntries(const QString &rawBase, const QList<RegistryEntry> &loaded)
{
    QList<RegistryEntry> entries = skillRegistry(rawBase);
    const QList<CatalogRow> &rows = catalogRows();
    for (const RegistryEntry &entry : loaded) {
        const bool fixed = std::any_of(rows.begin(), rows.end(), [&](const CatalogRow &row) {
            return isSameFile(row, entry, rawBase);
        });
        if (!fixed)
            entries.append(entry);
    }
    return entries;
}

bool isRegistry(const QString &name)
{
    const QList<CatalogRow> &rows = catalogRows();
    return std::any_of(rows.begin(), rows.end(),
                       [&name](const CatalogRow &row) { return row.name == name; });
}

QString groupOf(const QString &name)
{
    if (isRegistry(name))
        return registryGroup();
    return groupTable().value(name, generalGroup());
}

std::optional<QString> exampleOf(const QString &name)
{
    const auto it = exampleTable().constFind(name);
    if (it == exampleTable().constEnd())
        return std::nullopt;
    return *it;
}

QString originOf(const QString &name)
{
    return isRegistry(name) ? u"registry"_s : u"builtin"_s;
}

QString titleFromName(const QString &name)
{
    QString spaced = name;
    spaced.replace(u'-', u' ');
    QStringList words = spaced.split(u' ');
    for (QString &word : words) {
        if (word.isEmpty())
            continue;
        // The first letter may be a surrogate pair; keep the pair together.
        const qsizetype first
            = word.size() > 1 && word.at(0).isHighSurrogate() && word.at(1).isLowSurrogate() ? 2
                                                                                             : 1;
        word = word.left(first).toUpper() + word.mid(first).toLower();
    }
    return words.join(u' ');
}

QString firstCharacters(const QString &text, qsizetype count)
{
    // Every character is at least one code unit, so a short text needs no boundary walk.
    if (text.size() <= count)
        return text;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype end = 0;
    for (qsizetype i = 0; i < count; ++i) {
        end = finder.toNextBoundary();
        if (end < 0)
            return text;
    }
    return text.left(end);
}

QString botSkillsSummary(qsizetype n)
{
    if (n == 0)
        return u"All skills allowed (follows the defaults)"_s;
    return QString::number(n) + u" skill(s) disabled on top of the defaults"_s;
}

QString botSkillsSheetFooter(qsizetype n)
{
    if (n == 0)
        return u"Follows the defaults exactly."_s;
    return QString::number(n) + u" skill(s) disabled on top of the defaults."_s;
}

} // namespace SkillCatalog
