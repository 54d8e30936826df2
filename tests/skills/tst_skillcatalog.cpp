// The fixed skill tables: group order, groups, example prompts, the 21-entry catalogue and the
// summary texts of a bot's overrides.
#include "skills/skillcatalog.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace SkillCatalog;

class TestSkillCatalog final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void groupsComeInPageOrder()
    {
        QCOMPARE(skillGroups(), (QStringList{u"Research"_s, u"Daily"_s, u"Media"_s, u"Tools"_s,
                                             u"General"_s, u"From registry"_s}));
    }

    void shippedSkillsHaveTheirGroups_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("group");
        const QList<std::pair<QString, QString>> rows = {
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
        for (const auto &[name, group] : rows)
            QTest::newRow(qPrintable(name)) << name << group;
    }
    void shippedSkillsHaveTheirGroups()
    {
        QFETCH(QString, name);
        QFETCH(QString, group);
        QCOMPARE(groupOf(name), group);
        QCOMPARE(originOf(name), u"builtin"_s);
    }

    void unknownNameIsGeneral()
    {
        QCOMPARE(groupOf(u"my-own-skill"_s), u"General"_s);
        QCOMPARE(groupOf(u"Stock-Research"_s), u"General"_s); // exact text comparison
        QCOMPARE(groupOf(QString()), u"General"_s);
    }

    void catalogueNamesAreFromRegistryWhateverTheTables()
    {
        for (const CatalogRow &row : catalogRows()) {
            QVERIFY(isRegistry(row.name));
            QCOMPARE(groupOf(row.name), u"From registry"_s);
            QCOMPARE(originOf(row.name), u"registry"_s);
        }
        QVERIFY(!isRegistry(u"PDF"_s));
        QVERIFY(!isRegistry(u"pdf "_s));
    }

    void examplePrompts_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("example");
        const QList<std::pair<QString, QString>> rows = {
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
        for (const auto &[name, example] : rows)
            QTest::newRow(qPrintable(name)) << name << example;
    }
    void examplePrompts()
    {
        QFETCH(QString, name);
        QFETCH(QString, example);
        QCOMPARE(exampleOf(name), std::optional<QString>(example));
    }

    void skillWithoutExampleHasNone()
    {
        QCOMPARE(exampleOf(u"pdf"_s), std::nullopt);
        QCOMPARE(exampleOf(u"my-own-skill"_s), std::nullopt);
    }

    void catalogueHasTwentyOneEntriesInOrder()
    {
        const QList<RegistryEntry> entries = skillRegistry(u"https://raw.example"_s);
        QCOMPARE(entries.size(), 21);
        QStringList names;
        for (const RegistryEntry &entry : entries)
            names.append(entry.name);
        QCOMPARE(names, (QStringList{u"pdf"_s,
                                     u"docx"_s,
                                     u"xlsx"_s,
                                     u"pptx"_s,
                                     u"webapp-testing"_s,
                                     u"mcp-builder"_s,
                                     u"slack-gif-creator"_s,
                                     u"canvas-design"_s,
                                     u"theme-factory"_s,
                                     u"skill-creator"_s,
                                     u"algorithmic-art"_s,
                                     u"brand-guidelines"_s,
                                     u"frontend-design"_s,
                                     u"doc-coauthoring"_s,
                                     u"claude-api"_s,
                                     u"internal-comms"_s,
                                     u"web-artifacts-builder"_s,
                                     u"brainstorming"_s,
                                     u"systematic-debugging"_s,
                                     u"test-driven-development"_s,
                                     u"requesting-code-review"_s}));
    }

    void catalogueEntriesCarryTheirTexts()
    {
        const QList<RegistryEntry> entries = skillRegistry(u"https://raw.example"_s);
        QCOMPARE(
            entries.at(0),
            (RegistryEntry{u"pdf"_s, u"PDF"_s, u"Read, merge, split, fill and OCR PDF files."_s,
                           u"https://raw.example/anthropics/skills/main/skills/pdf/SKILL.md"_s}));
        QCOMPARE(entries.at(4).description,
                 u"Exploratory QA of web apps: find bugs, evidence, reports."_s);
        QCOMPARE(entries.at(5).title, u"MCP server builder"_s);
        QCOMPARE(entries.at(14).title, u"Claude API"_s);
        QCOMPARE(
            entries.at(19),
            (RegistryEntry{
                u"test-driven-development"_s, u"TDD"_s, u"Red-green-refactor: tests before code."_s,
                u"https://raw.example/ravik/superpowers/main/skills/test-driven-development/SKILL.md"_s}));
        QCOMPARE(entries.at(20).description,
                 u"Pre-commit review: security scan and quality gates."_s);
    }

    void loadedEntryOfAFixedFileIsOfferedOnceAsTheFixedEntry()
    {
        const QString raw = u"https://raw.example"_s;
        auto loaded = [&](const QString &name, const QString &repository, const QString &branch) {
            return RegistryEntry{name, titleFromName(name), u"From "_s + repository,
                                 raw + u'/' + repository + u'/' + branch + u"/skills/"_s + name
                                     + u"/SKILL.md"_s};
        };
        const QList<RegistryEntry> entries = withLoadedEntries(
            raw, {loaded(u"pdf"_s, u"anthropics/skills"_s, u"main"_s),
                  loaded(u"docx"_s, u"anthropics/skills"_s, u"release/2"_s),
                  loaded(u"xlsx"_s, u"Anthropics/Skills"_s, u"main"_s),
                  loaded(u"brainstorming"_s, u"ravik/superpowers"_s, u"main"_s),
                  loaded(u"extra"_s, u"anthropics/skills"_s, u"main"_s),
                  loaded(u"pdf"_s, u"someone/fork"_s, u"main"_s),
                  loaded(u"brainstorming"_s, u"anthropics/skills"_s, u"main"_s)});
        // The same repository and path, on any branch and in any letter case, is the fixed
        // entry; another repository's file of the same name is another skill.
        QCOMPARE(entries.mid(0, 21), skillRegistry(raw));
        QCOMPARE(entries.size(), 24);
        QCOMPARE(entries.at(21).description, u"From anthropics/skills"_s);
        QCOMPARE(entries.at(21).name, u"extra"_s);
        QCOMPARE(entries.at(22).description, u"From someone/fork"_s);
        QCOMPARE(entries.at(23).name, u"brainstorming"_s);
        QCOMPARE(entries.at(23).description, u"From anthropics/skills"_s);
    }

    void firstSeventeenFromAnthropicsLastFourFromSuperpowers()
    {
        const QList<RegistryEntry> entries = skillRegistry(u"http://127.0.0.1:1"_s);
        for (int i = 0; i < entries.size(); ++i) {
            const QString repository = i < 17 ? u"anthropics/skills"_s : u"ravik/superpowers"_s;
            QCOMPARE(entries.at(i).rawURL, u"http://127.0.0.1:1/"_s + repository
                                               + u"/main/skills/"_s + entries.at(i).name
                                               + u"/SKILL.md"_s);
        }
    }

    void titleCapitalisesEveryBlankSeparatedWord()
    {
        QCOMPARE(titleFromName(u"stock-research"_s), u"Stock Research"_s);
        QCOMPARE(titleFromName(u"my-skill"_s), u"My Skill"_s);
        QCOMPARE(titleFromName(u"PDF-tools"_s), u"Pdf Tools"_s);
        QCOMPARE(titleFromName(u"a--b"_s), u"A  B"_s);
        QCOMPARE(titleFromName(u"élan-vital"_s), u"Élan Vital"_s);
        QCOMPARE(titleFromName(QString()), QString());
    }

    void firstCharactersNeverSplitsACharacter()
    {
        QCOMPARE(firstCharacters(QString(150, u'x'), 140), QString(140, u'x'));
        QCOMPARE(firstCharacters(u"short"_s, 140), u"short"_s);
        // Two emoji (two code units each) count as two characters.
        const QString emoji = u"\U0001F600\U0001F601\U0001F602"_s;
        QCOMPARE(firstCharacters(emoji, 2), u"\U0001F600\U0001F601"_s);
        // A letter with a combining accent is one character.
        QCOMPARE(firstCharacters(u"e\u0301e\u0301e\u0301"_s, 2), u"e\u0301e\u0301"_s);
    }

    void botRowSummary()
    {
        QCOMPARE(botSkillsSummary(0), u"All skills allowed (follows the defaults)"_s);
        QCOMPARE(botSkillsSummary(2), u"2 skill(s) disabled on top of the defaults"_s);
        QCOMPARE(botSkillsSummary(1), u"1 skill(s) disabled on top of the defaults"_s);
    }

    void sheetFooter()
    {
        QCOMPARE(botSkillsSheetFooter(0), u"Follows the defaults exactly."_s);
        QCOMPARE(botSkillsSheetFooter(3), u"3 skill(s) disabled on top of the defaults."_s);
    }
};

QTEST_GUILESS_MAIN(TestSkillCatalog)
#include "tst_skillcatalog.moc"
