// Installing skills from the loopback GitHub and deleting them, checked in the skills folder and
// in the configuration file on disk.
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "skills/skillcatalog.h"

#include "support/fakegithub.h"
#include "support/testsupport.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int timeout = 10000;

const QByteArray pdfSkill = "---\nname: pdf\ndescription: Work with PDF files.\n---\n# PDF\n";

struct Setup {
    QTemporaryDir dir;
    FakeGithub github;
    InMemoryTransport transport;
    QNetworkAccessManager network;
    std::unique_ptr<SettingsModel> model;

    explicit Setup(const QJsonObject &document = {})
    {
        if (!document.isEmpty())
            TestSupport::writeFile(configPath(), QJsonDocument(document).toJson());
        model = std::make_unique<SettingsModel>(
            configPath(),
            ModelEnvironment{&transport, &network, github.apiBase(), github.rawBase()});
        model->loadSkillsAndFeatures();
    }
    QString configPath() const { return dir.filePath(u"bot-config.json"_s); }
    QString skillsPath() const { return dir.filePath(u"skills"_s); }
    QJsonObject file() const
    {
        return QJsonDocument::fromJson(TestSupport::readFile(configPath())).object();
    }
    RegistryEntry catalogue(const QString &name) const
    {
        for (const RegistryEntry &entry : SkillCatalog::skillRegistry(github.rawBase())) {
            if (entry.name == name)
                return entry;
        }
        return {};
    }
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
    const SkillInfo *skill(const QString &name) const
    {
        for (const SkillInfo &info : model->skills()) {
            if (info.name == name)
                return &info;
        }
        return nullptr;
    }
};

} // namespace

class TestRegistryInstall final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void installedSkillIsListedWithItsGroupAndSwitchedOn()
    {
        Setup s;
        s.github.serveRaw(u"/anthropics/skills/main/skills/pdf/SKILL.md"_s, pdfSkill);
        QVERIFY(!s.model->isInstalled(u"pdf"_s));
        QSignalSpy changed(s.model.get(), &SettingsModel::skillsChanged);
        QVERIFY(s.installs([&] { s.model->install(s.catalogue(u"pdf"_s)); }));
        QCOMPARE(TestSupport::readFile(s.skillsPath() + u"/pdf.md"_s), pdfSkill);
        QVERIFY(!changed.isEmpty());
        QCOMPARE(s.model->skills(),
                 (QList<SkillInfo>{{u"pdf"_s, u"PDF"_s, u"Work with PDF files."_s, true,
                                    u"From registry"_s, u"registry"_s}}));
        QVERIFY(s.model->isInstalled(u"pdf"_s));
    }

    void installedSkillThatIsDisabledGloballyIsListedOff()
    {
        Setup s({{"enabled_skills"_L1, QJsonArray{u"docx"_s}}});
        s.github.serveRaw(u"/anthropics/skills/main/skills/docx/SKILL.md"_s, "# Word\n");
        QVERIFY(s.installs([&] { s.model->install(s.catalogue(u"docx"_s)); }));
        QVERIFY(s.skill(u"docx"_s));
        QVERIFY(!s.skill(u"docx"_s)->enabled);
    }

    void deletingASkillRemovesItsFileAndItsName()
    {
        Setup s;
        s.github.serveRaw(u"/anthropics/skills/main/skills/pdf/SKILL.md"_s, pdfSkill);
        QVERIFY(s.installs([&] { s.model->install(s.catalogue(u"pdf"_s)); }));
        s.model->setSkillEnabled(u"voice"_s, false);
        s.model->setSkillEnabled(u"pdf"_s, false);
        QCOMPARE(s.file().value("enabled_skills"_L1).toArray(), (QJsonArray{u"voice"_s, u"pdf"_s}));
        s.transport.clear();

        QVERIFY(s.model->deleteSkill(u"pdf"_s));
        QVERIFY(!QFile::exists(s.skillsPath() + u"/pdf.md"_s));
        QCOMPARE(s.file().value("enabled_skills"_L1).toArray(), QJsonArray{u"voice"_s});
        QVERIFY(!s.skill(u"pdf"_s));
        QVERIFY(!s.model->isInstalled(u"pdf"_s));
        QCOMPARE(s.transport.posts().size(), 1);
        QCOMPARE(s.transport.posts().at(0).name, Notifications::configChanged());
    }

    void deletingAMissingFileStopsThere()
    {
        Setup s({{"enabled_skills"_L1, QJsonArray{u"ghost"_s}}});
        const QByteArray before = TestSupport::readFile(s.configPath());
        QVERIFY(!s.model->deleteSkill(u"ghost"_s));
        QCOMPARE(TestSupport::readFile(s.configPath()), before);
        QVERIFY(s.transport.posts().isEmpty());
    }

    void searchResultFallsBackToMaster()
    {
        Setup s;
        s.github.serveRaw(u"/octo/tools/master/SKILL.md"_s, "# Octo tools\nDoes things.\n");
        const RegistryEntry entry{u"github:octo/tools"_s, u"tools"_s, QString(),
                                  s.github.rawBase() + u"/octo/tools/main/SKILL.md"_s};
        QVERIFY(s.installs([&] { s.model->installSearchResult(entry); }));
        QStringList paths;
        for (const FakeGithub::Request &request : s.github.requestsUnder(u"/raw/"_s))
            paths.append(request.path);
        QCOMPARE(paths, (QStringList{u"/raw/octo/tools/main/SKILL.md"_s,
                                     u"/raw/octo/tools/master/SKILL.md"_s}));
        QCOMPARE(TestSupport::readFile(s.skillsPath() + u"/octo-tools.md"_s),
                 "# Octo tools\nDoes things.\n"_ba);
        // A search result is not in the fixed catalogue: builtin, group General.
        QCOMPARE(*s.skill(u"octo-tools"_s),
                 (SkillInfo{u"octo-tools"_s, u"Octo tools"_s, u"Does things."_s, true, u"General"_s,
                            u"builtin"_s}));
        QVERIFY(s.model->isInstalled(u"github:octo/tools"_s));
    }

    void searchResultPrefersMain()
    {
        Setup s;
        s.github.serveRaw(u"/octo/tools/main/SKILL.md"_s, "# From main\n");
        s.github.serveRaw(u"/octo/tools/master/SKILL.md"_s, "# From master\n");
        QVERIFY(s.installs([&] {
            s.model->installSearchResult(
                {u"github:octo/tools"_s, u"tools"_s, QString(), QString()});
        }));
        QCOMPARE(TestSupport::readFile(s.skillsPath() + u"/octo-tools.md"_s), "# From main\n"_ba);
        QCOMPARE(s.github.requestsUnder(u"/raw/"_s).size(), 1);
    }

    void searchResultOnNeitherBranchWritesNothing()
    {
        Setup s;
        QVERIFY(s.refuses([&] {
            s.model->installSearchResult({u"github:octo/none"_s, u"none"_s, QString(), QString()});
        }));
        QCOMPARE(s.github.requestsUnder(u"/raw/"_s).size(), 2);
        QVERIFY(!QFileInfo::exists(s.skillsPath()));
        QVERIFY(s.model->skills().isEmpty());
    }

    void failedDownloadWritesNothing()
    {
        Setup s;
        s.github.serveRaw(u"/anthropics/skills/main/skills/pptx/SKILL.md"_s, "oops", 500);
        QVERIFY(s.refuses([&] { s.model->install(s.catalogue(u"pptx"_s)); }));
        QVERIFY(!QFileInfo::exists(s.skillsPath()));
        QVERIFY(s.transport.posts().isEmpty());
    }

    void downloadSendsUserAgentButNoApiMediaType()
    {
        Setup s;
        s.github.serveRaw(u"/anthropics/skills/main/skills/pdf/SKILL.md"_s, pdfSkill);
        QVERIFY(s.installs([&] { s.model->install(s.catalogue(u"pdf"_s)); }));
        const FakeGithub::Request request = s.github.requestsUnder(u"/raw/"_s).constFirst();
        QCOMPARE(request.headers.value("user-agent"),
                 QByteArray("varnook-settings/" VARNOOK_VERSION));
        QVERIFY(request.headers.value("accept") != "application/vnd.github+json");
    }

    void installReplacesAnOlderFile()
    {
        Setup s;
        QDir().mkpath(s.skillsPath());
        TestSupport::writeFile(s.skillsPath() + u"/pdf.md"_s, "# Old\n");
        s.model->loadSkillsAndFeatures();
        QCOMPARE(s.skill(u"pdf"_s)->title, u"Old"_s);
        s.github.serveRaw(u"/anthropics/skills/main/skills/pdf/SKILL.md"_s, pdfSkill);
        QVERIFY(s.installs([&] { s.model->install(s.catalogue(u"pdf"_s)); }));
        QCOMPARE(s.skill(u"pdf"_s)->title, u"PDF"_s);
    }

    void installWritesBesideTheConfigurationEvenWithSkillsDir()
    {
        QTemporaryDir elsewhere;
        Setup s({{"skills_dir"_L1, elsewhere.path()}});
        s.github.serveRaw(u"/anthropics/skills/main/skills/pdf/SKILL.md"_s, pdfSkill);
        QVERIFY(s.installs([&] { s.model->install(s.catalogue(u"pdf"_s)); }));
        QVERIFY(QFile::exists(s.skillsPath() + u"/pdf.md"_s));
        QVERIFY(!QFile::exists(elsewhere.filePath(u"pdf.md"_s)));
        QVERIFY(s.model->skills().isEmpty()); // the listing reads skills_dir
    }

    void nestedCatalogueNameIsInstalledWithADash()
    {
        Setup s;
        s.github.serveApi(u"/repos/anthropics/skills"_s,
                          FakeGithub::repositoryInfo(u"anthropics/skills"_s, u"main"_s));
        s.github.serveApi(u"/repos/anthropics/skills/git/trees/main"_s,
                          FakeGithub::tree({u"skills/a/b/SKILL.md"_s}));
        s.github.serveRaw(u"/anthropics/skills/main/skills/a/b/SKILL.md"_s, "# Nested\n");
        s.model->loadFullCatalog();
        QTRY_VERIFY_WITH_TIMEOUT(!s.model->catalogLoading(), timeout);
        QCOMPARE(s.model->catalogEntries().size(), 1);
        const RegistryEntry entry = s.model->catalogEntries().constFirst();
        QCOMPARE(entry.name, u"a/b"_s);
        QVERIFY(s.installs([&] { s.model->install(entry); }));
        QCOMPARE(TestSupport::readFile(s.skillsPath() + u"/a-b.md"_s), "# Nested\n"_ba);
        QVERIFY(!QFileInfo::exists(s.skillsPath() + u"/a"_s));
        QVERIFY(s.model->isInstalled(u"a/b"_s));
        QCOMPARE(s.skill(u"a-b"_s)->title, u"Nested"_s);
    }
};

QTEST_GUILESS_MAIN(TestRegistryInstall)
#include "tst_registryinstall.moc"
