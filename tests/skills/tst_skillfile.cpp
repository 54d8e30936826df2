// Skill files: the parse of one file, listing a folder, and the safe file names and writes used
// by install.
#include "skills/skillfile.h"

#include "support/testsupport.h"

#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

QString writeSkill(const QTemporaryDir &dir, const QString &fileName, const QByteArray &bytes)
{
    const QString path = dir.filePath(fileName);
    TestSupport::writeFile(path, bytes);
    return path;
}

QStringList names(const QList<SkillInfo> &skills)
{
    QStringList list;
    for (const SkillInfo &skill : skills)
        list.append(skill.name);
    return list;
}

} // namespace

class TestSkillFile final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void fileWithoutFrontMatterOrHeadingGetsTitleFromName()
    {
        QTemporaryDir dir;
        const QString path = writeSkill(dir, u"my-skill.md"_s, "just some text\nmore text\n");
        const SkillInfo info = SkillFile::makeSkillInfo(path, {});
        QCOMPARE(info.name, u"my-skill"_s);
        QCOMPARE(info.title, u"My Skill"_s);
        QCOMPARE(info.description, QString());
        QVERIFY(info.enabled);
        QCOMPARE(info.group, u"General"_s);
        QCOMPARE(info.origin, u"builtin"_s);
    }

    void quotedFrontMatterDescriptionLosesItsQuotes()
    {
        const SkillInfo info = SkillFile::parse(
            u"s"_s, u"---\ndescription: \"Quoted text here\"\n---\n# T\nbody\n"_s, {});
        QCOMPARE(info.description, u"Quoted text here"_s);
        QCOMPARE(info.title, u"T"_s);
    }

    void frontMatterKeyMatchesInAnyLetterCase()
    {
        const SkillInfo upper
            = SkillFile::parse(u"s"_s, u"---\nDescription: Upper case key\n---\n"_s, {});
        QCOMPARE(upper.description, u"Upper case key"_s);
        const SkillInfo shouting
            = SkillFile::parse(u"s"_s, u"---\nDESCRIPTION:\t  \"\"spaced\"  \n---\n"_s, {});
        QCOMPARE(shouting.description, u"spaced"_s);
    }

    void firstFrontMatterDescriptionWins()
    {
        const SkillInfo info = SkillFile::parse(
            u"s"_s, u"---\ndescription: first\ndescription: second\n---\n"_s, {});
        QCOMPARE(info.description, u"first"_s);
    }

    void bodyDescriptionIsCutTo140Characters()
    {
        const QString line = QString(100, u'a') + QString(100, u'b');
        const SkillInfo info = SkillFile::parse(u"s"_s, QString(u"# Title\n"_s + line + u'\n'), {});
        QCOMPARE(info.description, QString(100, u'a') + QString(40, u'b'));
        QCOMPARE(info.description.size(), 140);
    }

    void bodyTextBeforeFirstHeadingIsNeverUsed()
    {
        QTemporaryDir dir;
        QVERIFY(QFile::copy(TestSupport::fixture(u"skills/body-description.md"_s),
                            dir.filePath(u"body-description.md"_s)));
        const SkillInfo info = SkillFile::makeSkillInfo(dir.filePath(u"body-description.md"_s), {});
        QCOMPARE(info.title, u"Body Description"_s);
        QCOMPARE(info.description, u"The first body line after the heading is the description."_s);

        const SkillInfo noHeading = SkillFile::parse(u"x"_s, u"only body text\n"_s, {});
        QCOMPARE(noHeading.description, QString());
    }

    void secondHeadingIsTheTitle()
    {
        const SkillInfo info
            = SkillFile::parse(u"s"_s, u"# First\ndescription line\n# Second\nlater\n"_s, {});
        QCOMPARE(info.title, u"Second"_s);
        QCOMPARE(info.description, u"description line"_s);
    }

    void subHeadingsAreNotTitles()
    {
        const SkillInfo info = SkillFile::parse(u"s"_s, u"# Main\n## Sub\n#NoBlank\n"_s, {});
        QCOMPARE(info.title, u"Main"_s);
        QCOMPARE(info.description, u"## Sub"_s);
    }

    void frontMatterAndHeadingTogether()
    {
        QTemporaryDir dir;
        QVERIFY(QFile::copy(TestSupport::fixture(u"skills/stock-research.md"_s),
                            dir.filePath(u"stock-research.md"_s)));
        const QSet<QString> disabled{u"stock-research"_s};
        const SkillInfo info
            = SkillFile::makeSkillInfo(dir.filePath(u"stock-research.md"_s), disabled);
        QCOMPARE(info, (SkillInfo{u"stock-research"_s, u"Stock research"_s,
                                  u"Research a listed company: price history, filings and news."_s,
                                  false, u"Research"_s, u"builtin"_s}));
    }

    void handWrittenPdfIsARegistrySkill()
    {
        QTemporaryDir dir;
        const QString path = writeSkill(dir, u"pdf.md"_s, "# My own PDF notes\n");
        const SkillInfo info = SkillFile::makeSkillInfo(path, {});
        QCOMPARE(info.group, u"From registry"_s);
        QCOMPARE(info.origin, u"registry"_s);
        QCOMPARE(info.title, u"My own PDF notes"_s);
    }

    void upperCaseExtensionIsNotListed()
    {
        QTemporaryDir dir;
        writeSkill(dir, u"Notes.MD"_s, "# Notes\n");
        writeSkill(dir, u"notes.Md"_s, "# Notes\n");
        writeSkill(dir, u"readme.txt"_s, "# Readme\n");
        writeSkill(dir, u"real.md"_s, "# Real\n");
        QCOMPARE(names(SkillFile::listFolder(dir.path(), {})), QStringList{u"real"_s});
    }

    void missingFolderGivesEmptyList()
    {
        QTemporaryDir dir;
        QCOMPARE(SkillFile::listFolder(dir.filePath(u"no-such-folder"_s), {}), QList<SkillInfo>());
        QCOMPARE(SkillFile::listSkillFiles(QString()), QStringList());
    }

    void carriageReturnLinesKeepTheirCarriageReturn()
    {
        QTemporaryDir dir;
        const QString path = writeSkill(
            dir, u"crlf.md"_s,
            "---\r\ndescription: Hidden behind carriage returns\r\n---\r\n# Windows Title\r\n"
            "First body line\r\n");
        const SkillInfo info = SkillFile::makeSkillInfo(path, {});
        // "---\r" never opens the front matter, so its description line is plain body text.
        QCOMPARE(info.title, u"Windows Title\r"_s);
        QCOMPARE(info.description, u"First body line\r"_s);
    }

    void emptyLinesNeitherEndFrontMatterNorDescribe()
    {
        const SkillInfo info = SkillFile::parse(
            u"s"_s, u"---\n\nname: s\n\n\ndescription: after blanks\n---\n# T\n\n\n  \t \nbody\n"_s,
            {});
        QCOMPARE(info.description, u"after blanks"_s);
        const SkillInfo body = SkillFile::parse(u"s"_s, u"# T\n\n\n \t \nbody\n"_s, {});
        QCOMPARE(body.description, u"body"_s);
    }

    // ---- beyond the plain line walk: fenced code blocks ------------------------------------

    void headingsInsideFencedCodeAreCode()
    {
        const SkillInfo info = SkillFile::parse(
            u"s"_s,
            u"# Real title\nWhat it does.\n```bash\n# Add password\n```\n  ~~~~\n# Inside tilde\n"
            "~~~\n"_s,
            {});
        QCOMPARE(info.title, u"Real title"_s);
        QCOMPARE(info.description, u"What it does."_s);

        // A heading after a closed block counts again.
        const SkillInfo after
            = SkillFile::parse(u"s"_s, u"# First\n```\n# Code\n```\n# Second\n"_s, {});
        QCOMPARE(after.title, u"Second"_s);
    }

    void fenceLinesAndCodeAreNeverTheDescription()
    {
        const SkillInfo info = SkillFile::parse(
            u"s"_s, u"# T\n```python\nimport os\n```\nThe first line of prose.\n"_s, {});
        QCOMPARE(info.description, u"The first line of prose."_s);
    }

    void onlyTheSameFenceAtLeastAsLongClosesABlock_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("title");
        QTest::newRow("tildes do not close backticks") << u"# A\n```\n~~~\n# B\n```\n"_s << u"A"_s;
        QTest::newRow("a shorter fence does not close")
            << u"# A\n````\n```\n# B\n````\n"_s << u"A"_s;
        QTest::newRow("a longer fence closes") << u"# A\n```\n# B\n`````\n# C\n"_s << u"C"_s;
        QTest::newRow("a fence with an info string does not close")
            << u"# A\n```\n```js\n# B\n```\n"_s << u"A"_s;
        QTest::newRow("blanks around a closing fence")
            << u"# A\n  ```sh\n# B\n  ```  \t\n# C\n"_s << u"C"_s;
        QTest::newRow("an open block runs to the end") << u"# A\n~~~\n# B\n"_s << u"A"_s;
        QTest::newRow("two backticks are no fence") << u"# A\n``\n# B\n``\n"_s << u"B"_s;
        QTest::newRow("backticks in a backtick info string are inline code")
            << u"# A\n```x``` is inline\n# B\n"_s << u"B"_s;
        QTest::newRow("backticks in a tilde info string are fine")
            << u"# A\n~~~ `x`\n# B\n~~~\n"_s << u"A"_s;
    }

    void onlyTheSameFenceAtLeastAsLongClosesABlock()
    {
        QFETCH(QString, text);
        QFETCH(QString, title);
        QCOMPARE(SkillFile::parse(u"s"_s, text, {}).title, title);
    }

    void dashesInsideAFenceLeaveTheFrontMatterAlone()
    {
        const SkillInfo info = SkillFile::parse(
            u"s"_s, u"# Config\n```yaml\n---\nkind: list\n```\n# Real\nBody text.\n"_s, {});
        QCOMPARE(info.title, u"Real"_s);
        QCOMPARE(info.description, u"Body text."_s);
    }

    void carriageReturnFencesCloseToo()
    {
        const SkillInfo info = SkillFile::parse(
            u"s"_s, u"# Title\r\n```sh\r\n# code\r\n```\r\n# Last\r\nBody\r\n"_s, {});
        // The title keeps its carriage return, as every line of such a file does.
        QCOMPARE(info.title, u"Last\r"_s);
        QCOMPARE(info.description, u"Body\r"_s);
    }

    // ---- beyond the plain line walk: descriptions over several lines ------------------------

    void blockScalarDescriptionsReadAsOneLine_data()
    {
        QTest::addColumn<QString>("frontMatter");
        QTest::addColumn<QString>("description");
        QTest::newRow("literal strip")
            << u"description: |-\n  One.\n  Two.\n  Three.\nname: x\n"_s << u"One. Two. Three."_s;
        QTest::newRow("literal") << u"description: |\n    One\n    two\n"_s << u"One two"_s;
        QTest::newRow("folded") << u"description: >\n  Folded\n  text\n"_s << u"Folded text"_s;
        QTest::newRow("folded strip") << u"description: >-\n  a\n  b\n"_s << u"a b"_s;
        QTest::newRow("keep and indentation indicators")
            << u"description: |+2\n  a\n  b\n"_s << u"a b"_s;
        QTest::newRow("header with a comment")
            << u"description: > # folded\n  a\n  b\n"_s << u"a b"_s;
        QTest::newRow("blank lines inside") << u"description: |\n  a\n\n   \n  b\n"_s << u"a b"_s;
        QTest::newRow("deeper lines lose their indentation")
            << u"description: |\n  a\n    b\n"_s << u"a b"_s;
        QTest::newRow("ends at a line no more indented than the key")
            << u"description: |\n  a\nlicense: |\n  b\n"_s << u"a"_s;
        QTest::newRow("nested key")
            << u"meta:\n  description: >-\n    a\n    b\n  other: c\n"_s << u"a b"_s;
        QTest::newRow("no indented lines") << u"description: |\n"_s << QString();
        QTest::newRow("empty block leaves room for a later key")
            << u"description: |-\nDescription: later\n"_s << u"later"_s;
        QTest::newRow("a pipe inside a word is text") << u"description: |x\n"_s << u"|x"_s;
        QTest::newRow("tabs count as indentation") << u"description: >\n\ta\n\tb\n"_s << u"a b"_s;
    }

    void blockScalarDescriptionsReadAsOneLine()
    {
        QFETCH(QString, frontMatter);
        QFETCH(QString, description);
        const SkillInfo info = SkillFile::parse(
            u"s"_s, QString(u"---\n"_s + frontMatter + u"---\n# T\nbody\n"_s), {});
        QCOMPARE(info.description, description.isEmpty() ? u"body"_s : description);
        QCOMPARE(info.title, u"T"_s);
    }

    void quotedDescriptionsRunOnToTheirClosingQuote_data()
    {
        QTest::addColumn<QString>("frontMatter");
        QTest::addColumn<QString>("description");
        QTest::newRow("double") << u"description: \"Starts here\n  and ends here.\"\n"_s
                                << u"Starts here and ends here."_s;
        QTest::newRow("single with a doubled quote")
            << u"description: 'It''s long\n   and wraps'\n"_s << u"It's long and wraps"_s;
        QTest::newRow("escaped double quote does not close")
            << u"description: \"say \\\"hi\n  there\\\" now\"\n"_s << u"say \\\"hi there\\\" now"_s;
        QTest::newRow("text after the closing quote is dropped")
            << u"description: \"a\n  b\" # note\n"_s << u"a b"_s;
        QTest::newRow("a quote that never closes reads as its line")
            << u"description: \"unfinished\nname: x\n"_s << u"unfinished"_s;
        QTest::newRow("a quote still open at the end of the front matter")
            << u"description: 'open\n  more\n"_s << u"open"_s;
    }

    void quotedDescriptionsRunOnToTheirClosingQuote()
    {
        QFETCH(QString, frontMatter);
        QFETCH(QString, description);
        const SkillInfo info
            = SkillFile::parse(u"s"_s, QString(u"---\n"_s + frontMatter + u"---\n# T\n"_s), {});
        QCOMPARE(info.description, description);
    }

    void singleQuotesAreStrippedLikeDoubleQuotes()
    {
        QCOMPARE(SkillFile::parse(u"s"_s, u"---\ndescription: 'Single'\n---\n"_s, {}).description,
                 u"Single"_s);
        QCOMPARE(
            SkillFile::parse(u"s"_s, u"---\ndescription: 'It''s here'\n---\n"_s, {}).description,
            u"It's here"_s);
        // An apostrophe inside or at the end of an unquoted text is part of it.
        QCOMPARE(SkillFile::parse(u"s"_s, u"---\ndescription: The users' files\n---\n"_s, {})
                     .description,
                 u"The users' files"_s);
        QCOMPARE(SkillFile::parse(u"s"_s, u"---\ndescription: \"it's\"\n---\n"_s, {}).description,
                 u"it's"_s);
    }

    void plainDescriptionGoesOnOverIndentedLines()
    {
        const SkillInfo info = SkillFile::parse(
            u"s"_s, u"---\ndescription: Starts on the key line\n  and goes on.\nname: s\n---\n"_s,
            {});
        QCOMPARE(info.description, u"Starts on the key line and goes on."_s);
        // An empty value stays empty; the next description line sets it, as on one line.
        const SkillInfo empty
            = SkillFile::parse(u"s"_s, u"---\ndescription:\n  description: inner\n---\n"_s, {});
        QCOMPARE(empty.description, u"inner"_s);
    }

    void wildSkillFixturesReadAsWritten_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("description");
        QTest::newRow("fenced comments")
            << u"fenced-comments"_s << u"Key rotation"_s
            << u"Rotate the keys of a home server and keep a dated log of every change."_s;
        QTest::newRow("literal block")
            << u"block-literal"_s << u"Meal planner"_s
            << u"Plans a week of meals from what is already in the fridge. Writes a shopping list "
               "for the rest, sorted by the aisles of the user's usual shop."_s;
        QTest::newRow("folded block")
            << u"folded"_s << u"Memo to minutes"_s
            << u"Turns a voice memo into tidy meeting notes with decisions, owners and dates, then "
               "asks before sending them to anyone."_s;
        QTest::newRow("tilde fence")
            << u"tilde-fence"_s << u"Watering diary"_s
            << u"Keeps a plant's watering diary and says which pot is due today."_s;
    }

    void wildSkillFixturesReadAsWritten()
    {
        QFETCH(QString, file);
        QFETCH(QString, title);
        QFETCH(QString, description);
        const SkillInfo info = SkillFile::makeSkillInfo(
            TestSupport::fixture(u"skills/wild/"_s + file + u".md"_s), {});
        QCOMPARE(info.name, file);
        QCOMPARE(info.title, title);
        QCOMPARE(info.description, description);
    }

    void longFrontMatterDescriptionIsKeptWhole()
    {
        const SkillInfo info = SkillFile::makeSkillInfo(
            TestSupport::fixture(u"skills/wild/long-description.md"_s), {});
        QCOMPARE(info.title, u"Careful review"_s);
        QCOMPARE(info.description.size(), 700);
        QVERIFY(info.description.startsWith(u"Reviews a pull request"_s));
        QVERIFY(info.description.endsWith(u"for configuration files."_s));
    }

    void listingSortsDashBeforeFullStop()
    {
        QTemporaryDir dir;
        writeSkill(dir, u"a.md"_s, "# A\n");
        writeSkill(dir, u"a-b.md"_s, "# AB\n");
        writeSkill(dir, u"B.md"_s, "# B\n");
        writeSkill(dir, u".hidden.md"_s, "# Hidden\n");
        QCOMPARE(names(SkillFile::listFolder(dir.path(), {})),
                 (QStringList{u".hidden"_s, u"B"_s, u"a-b"_s, u"a"_s}));
    }

    void listingIsNotRecursive()
    {
        QTemporaryDir dir;
        QVERIFY(QDir(dir.path()).mkpath(u"nested"_s));
        writeSkill(dir, u"nested/inner.md"_s, "# Inner\n");
        writeSkill(dir, u"top.md"_s, "# Top\n");
        QCOMPARE(names(SkillFile::listFolder(dir.path(), {})), QStringList{u"top"_s});
    }

    void disabledNamesAreListedSwitchedOff()
    {
        QTemporaryDir dir;
        writeSkill(dir, u"memory.md"_s, "# Memory\n");
        writeSkill(dir, u"voice.md"_s, "# Voice\n");
        const QList<SkillInfo> skills = SkillFile::listFolder(dir.path(), {u"voice"_s});
        QCOMPARE(skills.size(), 2);
        QVERIFY(skills.at(0).enabled);
        QVERIFY(!skills.at(1).enabled);
        QCOMPARE(skills.at(0).group, u"Tools"_s);
        QCOMPARE(skills.at(1).group, u"Media"_s);
    }

    void fileThatIsNotUtf8ReadsAsEmpty()
    {
        QTemporaryDir dir;
        const QString path = writeSkill(dir, u"latin.md"_s, "# Caf\xe9\nbody\n");
        const SkillInfo info = SkillFile::makeSkillInfo(path, {});
        QCOMPARE(info.title, u"Latin"_s);
        QCOMPARE(info.description, QString());
    }

    void fileEndingInACutOffUtf8SequenceReadsAsEmpty()
    {
        QTemporaryDir dir;
        const QString path = writeSkill(dir, u"cut.md"_s, "# Title\nbody \xd2");
        QCOMPARE(SkillFile::readText(path), QString());
        QCOMPARE(SkillFile::makeSkillInfo(path, {}).title, u"Cut"_s);
    }

    void unreadableEntryStillListed()
    {
        // A folder named like a skill is listed as the platform lists it, with an empty body.
        QTemporaryDir dir;
        QVERIFY(QDir(dir.path()).mkpath(u"folder-skill.md"_s));
        const QList<SkillInfo> skills = SkillFile::listFolder(dir.path(), {});
        QCOMPARE(skills.size(), 1);
        QCOMPARE(skills.at(0).title, u"Folder Skill"_s);
        QCOMPARE(skills.at(0).description, QString());
    }

    void skillsFolderComesFromSkillsDirWithHomeExpanded()
    {
        const QString config = u"/data/conf/bot-config.json"_s;
        QCOMPARE(SkillFile::skillsFolder({}, config), u"/data/conf/skills"_s);
        QCOMPARE(SkillFile::skillsFolder({{"skills_dir"_L1, u""_s}}, config),
                 u"/data/conf/skills"_s);
        QCOMPARE(SkillFile::skillsFolder({{"skills_dir"_L1, 5}}, config), u"/data/conf/skills"_s);
        QCOMPARE(SkillFile::skillsFolder({{"skills_dir"_L1, u"~/my-skills"_s}}, config),
                 QDir::homePath() + u"/my-skills"_s);
        QCOMPARE(SkillFile::skillsFolder({{"skills_dir"_L1, u"~"_s}}, config), QDir::homePath());
        QCOMPARE(SkillFile::skillsFolder({{"skills_dir"_L1, u"/opt/skills"_s}}, config),
                 u"/opt/skills"_s);
        QCOMPARE(SkillFile::installFolder(config), u"/data/conf/skills"_s);
    }

    void installStemMapsSlashesAndRefusesEscapes_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("stem"); // null: refused
        QTest::newRow("plain") << u"pdf"_s << u"pdf"_s;
        QTest::newRow("nested catalogue name") << u"a/b"_s << u"a-b"_s;
        QTest::newRow("owner/repo") << u"owner/repo"_s << u"owner-repo"_s;
        QTest::newRow("parent") << u".."_s << QString();
        QTest::newRow("parent inside") << u"a/../b"_s << QString();
        QTest::newRow("escape") << u"../../etc/passwd"_s << QString();
        QTest::newRow("absolute") << u"/etc/passwd"_s << QString();
        QTest::newRow("trailing slash") << u"a/"_s << QString();
        QTest::newRow("dot") << u"."_s << QString();
        QTest::newRow("hidden") << u".bashrc"_s << QString();
        QTest::newRow("empty") << QString() << QString();
        QTest::newRow("backslash") << u"..\\..\\x"_s << QString();
        QTest::newRow("newline") << u"a\nb"_s << QString();
        QTest::newRow("too long") << QString(253, u'x') << QString();
        QTest::newRow("longest") << QString(252, u'x') << QString(252, u'x');
    }
    void installStemMapsSlashesAndRefusesEscapes()
    {
        QFETCH(QString, name);
        QFETCH(QString, stem);
        const std::optional<QString> result = SkillFile::installStem(name);
        if (stem.isNull())
            QCOMPARE(result, std::nullopt);
        else
            QCOMPARE(result, std::optional<QString>(stem));
    }

    void writeIntoCreatesTheFolderAndReplacesAFile()
    {
        QTemporaryDir dir;
        const QString folder = dir.filePath(u"deep/skills"_s);
        QVERIFY(SkillFile::writeInto(folder, u"pdf"_s, "first"));
        QVERIFY(SkillFile::writeInto(folder, u"pdf"_s, "second"));
        QCOMPARE(TestSupport::readFile(folder + u"/pdf.md"_s), "second"_ba);
        // Only the skill file is left behind, no temporary files.
        QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList{u"pdf.md"_s});
    }

    void writeIntoRefusesNamesThatAreNotPlain()
    {
        QTemporaryDir dir;
        const QString folder = dir.filePath(u"skills"_s);
        QVERIFY(!SkillFile::writeInto(folder, u"../escape"_s, "x"));
        QVERIFY(!SkillFile::writeInto(folder, u"a/b"_s, "x"));
        QVERIFY(!QFile::exists(dir.filePath(u"escape.md"_s)));
        QVERIFY(!QFile::exists(folder + u"/a"_s));
    }

    void writeIntoReplacesAPlantedLinkInsteadOfFollowingIt()
    {
        QTemporaryDir dir;
        const QString folder = dir.filePath(u"skills"_s);
        QVERIFY(QDir().mkpath(folder));
        const QString outside = dir.filePath(u"precious.txt"_s);
        TestSupport::writeFile(outside, "keep me");
        QVERIFY(QFile::link(outside, folder + u"/pdf.md"_s));

        QVERIFY(SkillFile::writeInto(folder, u"pdf"_s, "# PDF\n"));
        QCOMPARE(TestSupport::readFile(outside), "keep me"_ba);
        QVERIFY(!QFileInfo(folder + u"/pdf.md"_s).isSymLink());
        QCOMPARE(TestSupport::readFile(folder + u"/pdf.md"_s), "# PDF\n"_ba);
    }

    void writeIntoLeavesAFolderOfTheSameNameAlone()
    {
        QTemporaryDir dir;
        const QString folder = dir.filePath(u"skills"_s);
        QVERIFY(QDir().mkpath(folder + u"/pdf.md"_s));
        QVERIFY(!SkillFile::writeInto(folder, u"pdf"_s, "x"));
        QVERIFY(QFileInfo(folder + u"/pdf.md"_s).isDir());
        QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList{u"pdf.md"_s});
    }
};

QTEST_GUILESS_MAIN(TestSkillFile)
#include "tst_skillfile.moc"
