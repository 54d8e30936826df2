// "Load full catalog" against a loopback GitHub: the sources in order, the tree path filter,
// first name wins, the error texts, and adding a source.
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"

#include "support/fakegithub.h"
#include "support/testsupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int timeout = 10000;

struct Setup {
    QTemporaryDir dir;
    FakeGithub github;
    InMemoryTransport transport;
    QNetworkAccessManager network;
    SettingsModel model{dir.filePath(u"bot-config.json"_s),
                        ModelEnvironment{&transport, &network, github.apiBase(), github.rawBase()}};

    void serveAnthropics(const QByteArray &tree)
    {
        github.serveApi(
            u"/repos/anthropics/skills"_s,
            TestSupport::readFile(TestSupport::fixture(u"github/repo-with-default-branch.json"_s)));
        github.serveApi(u"/repos/anthropics/skills/git/trees/main"_s, tree);
    }
    void serveSource(const QString &source, const QString &branch, const QStringList &paths)
    {
        github.serveApi(u"/repos/"_s + source, FakeGithub::repositoryInfo(source, branch));
        github.serveApi(u"/repos/"_s + source + u"/git/trees/"_s + branch, FakeGithub::tree(paths));
    }
    void loadAndWait()
    {
        model.loadFullCatalog();
        QVERIFY(model.catalogLoading());
        QTRY_VERIFY_WITH_TIMEOUT(!model.catalogLoading(), timeout);
    }
};

QStringList namesOf(const QList<RegistryEntry> &entries)
{
    QStringList names;
    for (const RegistryEntry &entry : entries)
        names.append(entry.name);
    return names;
}

QJsonObject readJson(const QString &path)
{
    return QJsonDocument::fromJson(TestSupport::readFile(path)).object();
}

} // namespace

class TestRegistryCatalog final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void treePathsAreFilteredAsSkillsFolders()
    {
        Setup s;
        s.serveAnthropics(
            TestSupport::readFile(TestSupport::fixture(u"github/tree-path-cases.json"_s)));
        s.loadAndWait();
        // skills/SKILL.md has two pieces, docs/skills/x/SKILL.md does not start with "skills",
        // Skills/… and …/skill.md differ in case; skills//docx/… drops its empty piece.
        QCOMPARE(namesOf(s.model.catalogEntries()),
                 (QStringList{u"pdf"_s, u"a/b"_s, u"docx"_s, u"web-artifacts-builder"_s}));
        QCOMPARE(s.model.catalogError(), std::nullopt);
    }

    void catalogueEntriesCarryTitleSourceAndAddress()
    {
        Setup s;
        s.serveAnthropics(
            TestSupport::readFile(TestSupport::fixture(u"github/tree-path-cases.json"_s)));
        s.loadAndWait();
        const QList<RegistryEntry> entries = s.model.catalogEntries();
        QCOMPARE(
            entries.at(0),
            (RegistryEntry{u"pdf"_s, u"Pdf"_s, u"From anthropics/skills"_s,
                           s.github.rawBase() + u"/anthropics/skills/main/skills/pdf/SKILL.md"_s}));
        QCOMPARE(entries.at(1).title, u"A/b"_s);
        QCOMPARE(entries.at(1).rawURL,
                 s.github.rawBase() + u"/anthropics/skills/main/skills/a/b/SKILL.md"_s);
        QCOMPARE(entries.at(2).rawURL,
                 s.github.rawBase() + u"/anthropics/skills/main/skills//docx/SKILL.md"_s);
        QCOMPARE(entries.at(3).title, u"Web Artifacts Builder"_s);
    }

    void sourcesAreReadInOrderWithTheirDefaultBranch()
    {
        Setup s;
        s.serveAnthropics(FakeGithub::tree({u"skills/pdf/SKILL.md"_s}));
        s.serveSource(
            u"me/more"_s, u"trunk"_s,
            {u"skills/pdf/SKILL.md"_s, u"skills/extra/SKILL.md"_s, u"skills/extra/SKILL.md"_s});
        s.model.setSkillSources({u"me/more"_s});
        s.loadAndWait();
        // The first entry with a name wins, across sources and within one source.
        QCOMPARE(namesOf(s.model.catalogEntries()), (QStringList{u"pdf"_s, u"extra"_s}));
        QCOMPARE(s.model.catalogEntries().at(0).description, u"From anthropics/skills"_s);
        QCOMPARE(s.model.catalogEntries().at(1),
                 (RegistryEntry{u"extra"_s, u"Extra"_s, u"From me/more"_s,
                                s.github.rawBase() + u"/me/more/trunk/skills/extra/SKILL.md"_s}));
        QStringList paths;
        for (const FakeGithub::Request &request : s.github.requests())
            paths.append(request.path);
        QCOMPARE(paths,
                 (QStringList{u"/api/repos/anthropics/skills"_s,
                              u"/api/repos/anthropics/skills/git/trees/main"_s,
                              u"/api/repos/me/more"_s, u"/api/repos/me/more/git/trees/trunk"_s}));
        QCOMPARE(s.github.requests().at(1).query.queryItemValue(u"recursive"_s), u"1"_s);
        QCOMPARE(s.github.requests().at(0).headers.value("accept"),
                 "application/vnd.github+json"_ba);
    }

    void repositoryWithoutDefaultBranchCannotBeLoaded()
    {
        Setup s;
        s.serveAnthropics(FakeGithub::tree({u"skills/pdf/SKILL.md"_s}));
        s.github.serveApi(u"/repos/someone/odd"_s,
                          TestSupport::readFile(
                              TestSupport::fixture(u"github/repo-without-default-branch.json"_s)));
        s.serveSource(u"me/more"_s, u"main"_s, {u"skills/extra/SKILL.md"_s});
        s.model.setSkillSources({u"someone/odd"_s, u"me/more"_s});
        s.loadAndWait();
        QCOMPARE(s.model.catalogError(), std::optional<QString>(u"Couldn't load someone/odd"_s));
        // An error of one source does not stop the others.
        QCOMPARE(namesOf(s.model.catalogEntries()), (QStringList{u"pdf"_s, u"extra"_s}));
    }

    void repositoryWithoutTreeCannotBeListed()
    {
        Setup s;
        s.serveAnthropics(R"({"sha":"abc","truncated":false})"_ba);
        s.loadAndWait();
        QCOMPARE(s.model.catalogError(),
                 std::optional<QString>(u"Couldn't list anthropics/skills"_s));
        QVERIFY(s.model.catalogEntries().isEmpty());
    }

    void lastErrorIsTheOneShown()
    {
        Setup s;
        // anthropics/skills is not served at all: 404 on its repository info.
        s.github.serveApi(u"/repos/me/broken"_s,
                          FakeGithub::repositoryInfo(u"me/broken"_s, u"main"_s));
        s.github.serveApi(u"/repos/me/broken/git/trees/main"_s, "not json"_ba);
        s.model.setSkillSources({u"me/broken"_s});
        s.loadAndWait();
        QCOMPARE(s.model.catalogError(), std::optional<QString>(u"Couldn't list me/broken"_s));
    }

    void secondPressDuringALoadHasNoEffect()
    {
        Setup s;
        s.serveAnthropics(FakeGithub::tree({u"skills/pdf/SKILL.md"_s}));
        s.model.loadFullCatalog();
        s.model.loadFullCatalog();
        QTRY_VERIFY_WITH_TIMEOUT(!s.model.catalogLoading(), timeout);
        QTest::qWait(100); // a second pass, had there been one, would now be under way
        QVERIFY(!s.model.catalogLoading());
        QCOMPARE(s.github.requestsUnder(u"/api/repos/anthropics/skills"_s).size(), 2);
        QCOMPARE(namesOf(s.model.catalogEntries()), QStringList{u"pdf"_s});
    }

    void reloadAddsButNeverClears()
    {
        Setup s;
        s.serveAnthropics(FakeGithub::tree({u"skills/pdf/SKILL.md"_s}));
        s.loadAndWait();
        s.serveAnthropics(FakeGithub::tree({u"skills/new/SKILL.md"_s, u"skills/pdf/SKILL.md"_s}));
        s.model.setSkillSources({u"gone/away"_s});
        s.loadAndWait();
        QCOMPARE(namesOf(s.model.catalogEntries()), (QStringList{u"pdf"_s, u"new"_s}));
        QCOMPARE(s.model.catalogError(), std::optional<QString>(u"Couldn't load gone/away"_s));
        // The error is cleared when the next load starts.
        s.model.setSkillSources({});
        s.model.loadFullCatalog();
        QCOMPARE(s.model.catalogError(), std::nullopt);
        QTRY_VERIFY_WITH_TIMEOUT(!s.model.catalogLoading(), timeout);
    }

    void addingTheSameSourceTwiceLeavesOneEntry()
    {
        Setup s;
        s.model.setNewSource(u"  me/more \n"_s);
        s.model.addSource();
        QCOMPARE(s.model.skillSources(), QStringList{u"me/more"_s});
        QCOMPARE(s.model.newSource(), QString());
        QCOMPARE(readJson(s.dir.filePath(u"bot-config.json"_s)).value("skill_sources"_L1),
                 QJsonValue(QJsonArray{u"me/more"_s}));
        QCOMPARE(s.transport.posts().size(), 1);

        s.model.setNewSource(u"me/more"_s);
        s.model.addSource();
        QCOMPARE(s.model.skillSources(), QStringList{u"me/more"_s});
        QCOMPARE(s.model.newSource(), u"me/more"_s);
        QCOMPARE(s.transport.posts().size(), 1);
    }

    void emptySourceIsNotAdded()
    {
        Setup s;
        s.model.setNewSource(u" \n\t "_s);
        s.model.addSource();
        QVERIFY(s.model.skillSources().isEmpty());
        QVERIFY(!QFile::exists(s.dir.filePath(u"bot-config.json"_s)));
        QVERIFY(s.transport.posts().isEmpty());
    }

    void wrongSourceFailsAtTheNextLoad()
    {
        Setup s;
        s.serveAnthropics(FakeGithub::tree({u"skills/pdf/SKILL.md"_s}));
        s.model.setNewSource(u"not a repository"_s);
        s.model.addSource();
        QCOMPARE(s.model.skillSources(), QStringList{u"not a repository"_s});
        s.loadAndWait();
        QCOMPARE(s.model.catalogError(),
                 std::optional<QString>(u"Couldn't load not a repository"_s));
        QCOMPARE(namesOf(s.model.catalogEntries()), QStringList{u"pdf"_s});
    }
};

QTEST_GUILESS_MAIN(TestRegistryCatalog)
#include "tst_registrycatalog.moc"
