// Hostile remote data and hostile folders: names that would leave the skills folder, downloads
// that are too large or never end, servers that never answer, huge files and huge folders.
// Nothing may be written outside the skills folder, nothing may hang and nothing may crash.
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "skills/skillcatalog.h"
#include "skills/skillfile.h"

#include "support/fakegithub.h"
#include "support/hostileserver.h"
#include "support/silentserver.h"
#include "support/testsupport.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int timeout = 20000;

// Every entry under `root` (links not followed) with a digest of its content.
QMap<QString, QByteArray> snapshot(const QString &root)
{
    QMap<QString, QByteArray> entries;
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QFileInfo info = it.fileInfo();
        QByteArray digest;
        if (info.isSymLink())
            digest = "link:" + info.symLinkTarget().toUtf8();
        else if (info.isFile())
            digest
                = QCryptographicHash::hash(TestSupport::readFile(path), QCryptographicHash::Sha1);
        else
            digest = "dir";
        entries.insert(QDir(root).relativeFilePath(path), digest);
    }
    return entries;
}

struct Setup {
    // The configuration lives one level down, so that "../" from the skills folder still lands
    // inside this temporary folder, where the snapshot can see it.
    QTemporaryDir root;
    FakeGithub github;
    InMemoryTransport transport;
    QNetworkAccessManager network;
    std::unique_ptr<SettingsModel> model;

    explicit Setup(const QString &apiBase = {}, const QString &rawBase = {})
    {
        QDir().mkpath(configFolder());
        TestSupport::writeFile(configPath(), R"({"enabled_skills":[]})");
        TestSupport::writeFile(root.filePath(u"outside.txt"_s), "outside");
        model = std::make_unique<SettingsModel>(
            configPath(),
            ModelEnvironment{&transport, &network, apiBase.isEmpty() ? github.apiBase() : apiBase,
                             rawBase.isEmpty() ? github.rawBase() : rawBase});
        model->loadSkillsAndFeatures();
    }
    QString configFolder() const { return root.filePath(u"conf"_s); }
    QString configPath() const { return root.filePath(u"conf/bot-config.json"_s); }
    QString skillsPath() const { return root.filePath(u"conf/skills"_s); }

    // Runs an install and returns its outcome, or nothing when it never reported one.
    std::optional<bool> installAndWait(const std::function<void()> &start)
    {
        QSignalSpy spy(model.get(), &SettingsModel::installFinished);
        start();
        if (spy.isEmpty() && !spy.wait(timeout))
            return std::nullopt;
        return spy.constFirst().at(1).toBool();
    }
    bool installs(const std::function<void()> &start) { return installAndWait(start) == true; }
    // The install reported that it wrote nothing (rather than never reporting at all).
    bool refuses(const std::function<void()> &start) { return installAndWait(start) == false; }
    // What changed under the temporary folder, outside the skills folder.
    QStringList changedOutsideSkills(const QMap<QString, QByteArray> &before) const
    {
        const QMap<QString, QByteArray> after = snapshot(root.path());
        QStringList changed;
        for (auto it = after.cbegin(); it != after.cend(); ++it) {
            if (it.key() == u"conf/skills" || it.key().startsWith(u"conf/skills/"))
                continue;
            if (before.value(it.key()) != it.value())
                changed.append(it.key());
        }
        for (auto it = before.cbegin(); it != before.cend(); ++it) {
            if (!after.contains(it.key()))
                changed.append(it.key());
        }
        return changed;
    }
};

QStringList namesOf(const QList<RegistryEntry> &entries)
{
    QStringList names;
    for (const RegistryEntry &entry : entries)
        names.append(entry.name);
    return names;
}

} // namespace

class TestSkillHostile final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void treePathThatWouldEscapeIsNotOffered()
    {
        Setup s;
        s.github.serveApi(u"/repos/anthropics/skills"_s,
                          FakeGithub::repositoryInfo(u"anthropics/skills"_s, u"main"_s));
        s.github.serveApi(
            u"/repos/anthropics/skills/git/trees/main"_s,
            FakeGithub::tree({u"skills/../../evil/SKILL.md"_s, u"skills/../SKILL.md"_s,
                              u"skills/./x/SKILL.md"_s, u"skills/.hidden/SKILL.md"_s,
                              u"skills/back\\..\\slash/SKILL.md"_s, u"skills/ok/SKILL.md"_s}));
        s.model->loadFullCatalog();
        QTRY_VERIFY_WITH_TIMEOUT(!s.model->catalogLoading(), timeout);
        QCOMPARE(namesOf(s.model->catalogEntries()), QStringList{u"ok"_s});
    }

    void catalogueNameThatWouldEscapeIsRefusedBeforeAnyRequest_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("parents") << u"../../evil"_s;
        QTest::newRow("parent") << u".."_s;
        QTest::newRow("absolute") << u"/tmp/evil"_s;
        QTest::newRow("parent in the middle") << u"a/../../evil"_s;
        QTest::newRow("hidden") << u".profile"_s;
        QTest::newRow("empty") << QString();
    }
    void catalogueNameThatWouldEscapeIsRefusedBeforeAnyRequest()
    {
        QFETCH(QString, name);
        Setup s;
        s.github.serveRaw(u"/evil/SKILL.md"_s, "# Evil\n");
        const auto before = snapshot(s.root.path());
        const RegistryEntry entry{name, u"Evil"_s, QString(),
                                  s.github.rawBase() + u"/evil/SKILL.md"_s};
        QVERIFY(s.refuses([&] { s.model->install(entry); }));
        QVERIFY(s.github.requests().isEmpty());
        QCOMPARE(s.changedOutsideSkills(before), QStringList());
        QVERIFY(!QFileInfo::exists(s.skillsPath()));
    }

    void searchNameThatWouldEscapeIsRefused()
    {
        Setup s;
        s.github.serveSearchPage(
            1, FakeGithub::searchReply({FakeGithub::searchItem(u"../../evil"_s, u"bad"_s),
                                        FakeGithub::searchItem(u".."_s, u"bad"_s),
                                        FakeGithub::searchItem(u"/abs/olute"_s, u"bad"_s)}));
        s.github.serveRaw(u"/evil/main/SKILL.md"_s, "# Evil\n");
        s.model->searchGithub(u"evil"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!s.model->githubSearching(), timeout);
        QCOMPARE(s.model->githubResults().size(), 3);
        const auto before = snapshot(s.root.path());
        for (const RegistryEntry &entry : s.model->githubResults())
            QVERIFY(s.refuses([&] { s.model->installSearchResult(entry); }));
        QVERIFY(s.github.requestsUnder(u"/raw/"_s).isEmpty());
        QCOMPARE(s.changedOutsideSkills(before), QStringList());
        QVERIFY(!QFileInfo::exists(s.skillsPath()));
    }

    void fiftyMegabyteDownloadIsCutOff()
    {
        Setup s;
        s.github.serveRaw(u"/anthropics/skills/main/skills/pdf/SKILL.md"_s,
                          QByteArray(50 * 1024 * 1024, 'x'));
        const auto before = snapshot(s.root.path());
        QVERIFY(s.refuses([&] {
            s.model->install(SkillCatalog::skillRegistry(s.github.rawBase()).constFirst());
        }));
        QVERIFY(!QFileInfo::exists(s.skillsPath()));
        QCOMPARE(s.changedOutsideSkills(before), QStringList());
    }

    void endlessDownloadStopsAtTheLimit()
    {
        EndlessServer endless;
        Setup s(QString(), endless.base());
        s.model->setDownloadLimit(1024 * 1024);
        QVERIFY(s.refuses(
            [&] { s.model->install(SkillCatalog::skillRegistry(endless.base()).constFirst()); }));
        QVERIFY(!QFileInfo::exists(s.skillsPath()));
        // The client went away instead of reading on until the time-out.
        QTRY_COMPARE_WITH_TIMEOUT(endless.openConnections(), 0, timeout);
        QVERIFY(endless.bytesSent() < 64 * 1024 * 1024);
    }

    void endlessChunkedDownloadStopsAtTheCap()
    {
        HostileServer endless(HostileServer::Mode::EndlessChunked);
        Setup s(QString(), endless.url());
        // The real cap and deadline: the cap must end it long before the deadline would.
        QCOMPARE(s.model->downloadLimit(), qint64(4) * 1024 * 1024);
        QElapsedTimer clock;
        clock.start();
        QVERIFY(s.refuses(
            [&] { s.model->install(SkillCatalog::skillRegistry(endless.url()).constFirst()); }));
        QVERIFY2(clock.elapsed() < 20000, qPrintable(QString::number(clock.elapsed())));
        QVERIFY(!QFileInfo::exists(s.skillsPath()));
        QTRY_COMPARE_WITH_TIMEOUT(endless.openConnections(), 0, timeout);
        QVERIFY2(endless.bytesSent() < 32 * 1024 * 1024,
                 qPrintable(QString::number(endless.bytesSent())));
    }

    // One byte every 20 ms never leaves the connection idle; the deadline covers the whole
    // download (1.5 s here, standing in for the real 30 s).
    void trickledDownloadEndsAtTheDeadline()
    {
        HostileServer trickle(HostileServer::Mode::Trickle);
        trickle.setAnswer("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n# Slow\n"
                          + QByteArray(100000 - 7, 's'));
        trickle.setTrickleInterval(20);
        Setup s(QString(), trickle.url());
        s.model->setDownloadTimeout(1500);
        QElapsedTimer clock;
        clock.start();
        QVERIFY(s.refuses(
            [&] { s.model->install(SkillCatalog::skillRegistry(trickle.url()).constFirst()); }));
        const qint64 waited = clock.elapsed();
        QVERIFY2(waited >= 1350 && waited < 6500, qPrintable(QString::number(waited)));
        QVERIFY(trickle.bytesSent() > 50);
        QVERIFY(!QFileInfo::exists(s.skillsPath()));
    }

    // GitHub's JSON replies have a cap of their own, larger than a skill file's.
    void treeReplyLargerThanASkillFileIsListed()
    {
        Setup s;
        QStringList paths;
        for (int i = 0; i < 60000; ++i)
            paths.append(u"docs/a-rather-long-folder-name/and-another-one/file-"_s
                         + QString::number(i) + u".txt"_s);
        paths.append(u"skills/ok/SKILL.md"_s);
        const QByteArray tree = FakeGithub::tree(paths);
        QVERIFY(tree.size() > s.model->downloadLimit());
        QVERIFY(tree.size() < s.model->apiReplyLimit());
        s.github.serveApi(u"/repos/anthropics/skills"_s,
                          FakeGithub::repositoryInfo(u"anthropics/skills"_s, u"main"_s));
        s.github.serveApi(u"/repos/anthropics/skills/git/trees/main"_s, tree);
        s.model->loadFullCatalog();
        QTRY_VERIFY_WITH_TIMEOUT(!s.model->catalogLoading(), timeout);
        QVERIFY(!s.model->catalogError());
        QCOMPARE(namesOf(s.model->catalogEntries()), QStringList{u"ok"_s});
    }

    void hugeTreeReplyIsAListingError()
    {
        Setup s;
        s.github.serveApi(u"/repos/anthropics/skills"_s,
                          FakeGithub::repositoryInfo(u"anthropics/skills"_s, u"main"_s));
        s.github.serveApi(u"/repos/anthropics/skills/git/trees/main"_s,
                          QByteArray(50 * 1024 * 1024, ' '));
        s.model->loadFullCatalog();
        QTRY_VERIFY_WITH_TIMEOUT(!s.model->catalogLoading(), timeout);
        QCOMPARE(s.model->catalogError(),
                 std::optional<QString>(u"Couldn't list anthropics/skills"_s));
    }

    void hugeSearchReplyIsAFailedSearch()
    {
        Setup s;
        s.github.serveSearchPage(1, QByteArray(50 * 1024 * 1024, ' '));
        s.model->searchGithub(u"big"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!s.model->githubSearching(), timeout);
        QVERIFY(s.model->githubResults().isEmpty());
        QVERIFY(!s.model->githubHasMore());
    }

    void serverThatNeverAnswersTimesOut()
    {
        SilentServer silent;
        QVERIFY(silent.listen());
        Setup s(silent.url(), silent.url());
        s.model->setDownloadTimeout(300);
        QVERIFY(s.refuses(
            [&] { s.model->install(SkillCatalog::skillRegistry(silent.url()).constFirst()); }));
        s.model->searchGithub(u"pdf"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!s.model->githubSearching(), timeout);
        s.model->loadFullCatalog();
        QTRY_VERIFY_WITH_TIMEOUT(!s.model->catalogLoading(), timeout);
        QCOMPARE(s.model->catalogError(),
                 std::optional<QString>(u"Couldn't load anthropics/skills"_s));
        QVERIFY(silent.connectionCount() >= 3);
        QVERIFY(!QFileInfo::exists(s.skillsPath()));
    }

    void localFileAddressIsNeverCopied()
    {
        Setup s;
        const QString secret = s.root.filePath(u"outside.txt"_s);
        QVERIFY(s.refuses([&] {
            s.model->install(
                {u"stolen"_s, u"Stolen"_s, QString(), QUrl::fromLocalFile(secret).toString()});
        }));
        QVERIFY(!QFileInfo::exists(s.skillsPath()));
    }

    void plantedLinkInTheFolderIsReplacedNotFollowed()
    {
        Setup s;
        QDir().mkpath(s.skillsPath());
        const QString outside = s.root.filePath(u"outside.txt"_s);
        QVERIFY(QFile::link(outside, s.skillsPath() + u"/pdf.md"_s));
        s.github.serveRaw(u"/anthropics/skills/main/skills/pdf/SKILL.md"_s, "# PDF\n");
        const auto before = snapshot(s.root.path());
        QVERIFY(s.installs([&] {
            s.model->install(SkillCatalog::skillRegistry(s.github.rawBase()).constFirst());
        }));
        QCOMPARE(TestSupport::readFile(outside), "outside"_ba);
        QVERIFY(!QFileInfo(s.skillsPath() + u"/pdf.md"_s).isSymLink());
        QCOMPARE(TestSupport::readFile(s.skillsPath() + u"/pdf.md"_s), "# PDF\n"_ba);
        QCOMPARE(s.changedOutsideSkills(before), QStringList());
    }

    void deleteRefusesNamesOutsideTheFolder()
    {
        Setup s;
        QDir().mkpath(s.skillsPath());
        TestSupport::writeFile(s.configFolder() + u"/victim.md"_s, "victim");
        const auto before = snapshot(s.root.path());
        QVERIFY(!s.model->deleteSkill(u"../victim"_s));
        QVERIFY(!s.model->deleteSkill(u"../bot-config.json"_s));
        QVERIFY(!s.model->deleteSkill(u"a/b"_s));
        QVERIFY(!s.model->deleteSkill(QString()));
        QCOMPARE(s.changedOutsideSkills(before), QStringList());
        QVERIFY(s.transport.posts().isEmpty());
    }

    void deleteRemovesALinkButNotItsTarget()
    {
        Setup s;
        QDir().mkpath(s.skillsPath());
        const QString outside = s.root.filePath(u"outside.txt"_s);
        QVERIFY(QFile::link(outside, s.skillsPath() + u"/linked.md"_s));
        QVERIFY(s.model->deleteSkill(u"linked"_s));
        QVERIFY(!QFileInfo(s.skillsPath() + u"/linked.md"_s).isSymLink());
        QCOMPARE(TestSupport::readFile(outside), "outside"_ba);
    }

    void megabyteSingleLineSkillIsParsed()
    {
        QTemporaryDir dir;
        const QByteArray line(1024 * 1024, 'w');
        TestSupport::writeFile(dir.filePath(u"long.md"_s), "# Long\n" + line);
        TestSupport::writeFile(dir.filePath(u"flat.md"_s), line);
        TestSupport::writeFile(dir.filePath(u"title.md"_s), "# " + line);
        const QList<SkillInfo> skills = SkillFile::listFolder(dir.path(), {});
        QCOMPARE(skills.size(), 3);
        QCOMPARE(skills.at(0).title, u"Flat"_s);
        QCOMPARE(skills.at(0).description, QString());
        QCOMPARE(skills.at(1).description, QString(140, u'w'));
        QCOMPARE(skills.at(2).title.size(), line.size());
    }

    void megabyteSingleLineSkillCanBeInstalled()
    {
        Setup s;
        s.github.serveRaw(u"/anthropics/skills/main/skills/pdf/SKILL.md"_s,
                          "# PDF\n" + QByteArray(1024 * 1024, 'y'));
        QVERIFY(s.installs([&] {
            s.model->install(SkillCatalog::skillRegistry(s.github.rawBase()).constFirst());
        }));
        QCOMPARE(s.model->skills().constFirst().description, QString(140, u'y'));
    }

    void tenThousandSkillFilesAreListedInOrder()
    {
        Setup s;
        QDir().mkpath(s.skillsPath());
        QStringList expected;
        for (int i = 0; i < 10000; ++i) {
            const QString name = u"skill-"_s + QString::number((i * 7919) % 10000);
            TestSupport::writeFile(s.skillsPath() + u'/' + name + u".md"_s,
                                   "---\ndescription: generated\n---\n# " + name.toUtf8() + '\n');
            expected.append(name);
        }
        std::sort(expected.begin(), expected.end());
        s.model->loadSkillsAndFeatures();
        const QList<SkillInfo> skills = s.model->skills();
        QCOMPARE(skills.size(), 10000);
        QStringList names;
        for (const SkillInfo &skill : skills)
            names.append(skill.name);
        QCOMPARE(names, expected);
        QCOMPARE(skills.constFirst().description, u"generated"_s);
    }

    void pipeNamedLikeASkillDoesNotBlockTheListing()
    {
        QTemporaryDir dir;
        const QByteArray pipe = QFile::encodeName(dir.filePath(u"pipe.md"_s));
        QCOMPARE(::mkfifo(pipe.constData(), 0600), 0);
        TestSupport::writeFile(dir.filePath(u"real.md"_s), "# Real\n");
        const QList<SkillInfo> skills = SkillFile::listFolder(dir.path(), {});
        QCOMPARE(skills.size(), 2);
        QCOMPARE(skills.at(0).title, u"Pipe"_s);
        QCOMPARE(skills.at(1).title, u"Real"_s);
    }

    void replyArrivingAfterTheModelIsGoneIsIgnored()
    {
        SilentServer silent;
        QVERIFY(silent.listen());
        auto s = std::make_unique<Setup>(silent.url(), silent.url());
        s->model->searchGithub(u"pdf"_s);
        s->model->install(SkillCatalog::skillRegistry(silent.url()).constFirst());
        QTRY_VERIFY_WITH_TIMEOUT(silent.connectionCount() >= 1, timeout);
        s->model.reset(); // the requests are still in flight
        QTest::qWait(50);
        QVERIFY(!QFileInfo::exists(s->skillsPath()));
    }
};

QTEST_GUILESS_MAIN(TestSkillHostile)
#include "tst_skillhostile.moc"
