// The Skill Registry page against a loopback GitHub: the catalogue list with its filter, order
// and pages, the full catalogue from two sources, the GitHub search, and installs from all
// three places, checked on screen and in the skills folder and configuration file on disk.
#include "ui/pages/registryview.h"

#include "ui/contentview.h"
#include "ui/controls/settingrow.h"
#include "ui/mainwindow.h"
#include "ui/pages/pagekit.h"
#include "ui/pages/skillpreviewsheet.h"
#include "ui/pages/skillsview.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/fakegithub.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QAction>
#include <QAbstractButton>
#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QPlainTextEdit>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int timeout = 10000;

const QByteArray pdfSkill = "---\ndescription: Read and write PDF files.\n---\n# PDF\n";

QByteArray searchPage(int count, const QString &prefix)
{
    QList<QByteArray> items;
    for (int i = 0; i < count; ++i)
        items.append(FakeGithub::searchItem(prefix + QString::number(i) + u"/weather-skill"_s,
                                            u"Forecasts number "_s + QString::number(i)));
    return FakeGithub::searchReply(items);
}

} // namespace

class TestRegistryView final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<FakeGithub> m_github;
    InMemoryTransport m_transport;
    QNetworkAccessManager m_network;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<RegistryView> m_view;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }
    QString skillsPath() const { return m_dir.filePath(u"skills"_s); }
    QJsonObject file() const { return UiSupport::readConfig(configPath()); }

    void open(const QByteArray &config = "{}")
    {
        UiSupport::writeConfig(configPath(), config);
        m_model = std::make_unique<SettingsModel>(
            configPath(),
            ModelEnvironment{&m_transport, &m_network, m_github->apiBase(), m_github->rawBase()});
        m_model->loadSkillsAndFeatures();
        m_view = std::make_unique<RegistryView>(m_model.get());
        m_view->resize(820, 700);
        m_view->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    }
    template <typename T = QWidget> T *find(const QString &name) const
    {
        return UiSupport::find<T>(m_view.get(), name);
    }
    // The catalogue rows on screen, top to bottom.
    QStringList shownTitles() const
    {
        QStringList titles;
        auto *rows = find(u"catalogueRows"_s);
        for (SettingRow *row : rows->findChildren<SettingRow *>()) {
            if (row->isVisible())
                titles.append(row->title());
        }
        return titles;
    }
    QString indicator() const { return find<QLabel>(u"pageIndicator"_s)->text(); }
    void typeSearch(const QString &text)
    {
        QLineEdit *search = m_view->searchField();
        search->setFocus();
        QTest::keyClicks(search, text);
        UiSupport::settle();
    }
    void click(const QString &name)
    {
        auto *button = find<QAbstractButton>(name);
        QVERIFY2(button, qPrintable(name));
        QVERIFY2(button->isVisible() && button->isEnabled(), qPrintable(name));
        QTest::mouseClick(button, Qt::LeftButton);
    }

private Q_SLOTS:
    void init()
    {
        QDir(skillsPath()).removeRecursively();
        QFile::remove(configPath());
        m_transport.clear();
        m_github = std::make_unique<FakeGithub>();
    }
    void cleanup()
    {
        m_view.reset();
        m_model.reset();
        m_github.reset();
    }

    // ---- search field ------------------------------------------------------------------------

    void searchFieldHasIconPlaceholderAndFilledClearButton()
    {
        open();
        QLineEdit *search = m_view->searchField();
        QCOMPARE(search->placeholderText(), u"Search skills…"_s);
        auto *icon = search->findChild<QAction *>(u"registrySearchIcon"_s);
        QVERIFY(icon);
        QVERIFY(!icon->icon().isNull());
        auto *clear = search->findChild<QAction *>(u"registrySearchClear"_s);
        QVERIFY(clear);
        QVERIFY(!clear->isVisible()); // nothing to clear yet

        typeSearch(u"brand"_s);
        QCOMPARE(WindowState::of(m_model.get())->registryFilter(), u"brand"_s);
        QVERIFY(clear->isVisible());
        QCOMPARE(shownTitles(), QStringList{u"Brand guidelines"_s});

        // Click the button the field shows for the action.
        QToolButton *button = nullptr;
        for (QObject *object : clear->associatedObjects()) {
            if (auto *tool = qobject_cast<QToolButton *>(object))
                button = tool;
        }
        QVERIFY(button);
        QTest::mouseClick(button, Qt::LeftButton);
        UiSupport::settle();
        QCOMPARE(search->text(), QString());
        QCOMPARE(WindowState::of(m_model.get())->registryFilter(), QString());
        QVERIFY(!clear->isVisible());
        QCOMPARE(shownTitles().size(), 10);
    }

    void filterPdfShowsOnlyThePdfEntryAmongTheFixedOnes()
    {
        open();
        typeSearch(u"pdf"_s);
        QCOMPARE(shownTitles(), QStringList{u"PDF"_s});
        auto *row = find<SettingRow>(u"entryRow:pdf"_s);
        QCOMPARE(row->explainer(), u"Read, merge, split, fill and OCR PDF files."_s);
        QCOMPARE(indicator(), u"1 / 1"_s);
        QVERIFY(!find(u"previousPage"_s)->isEnabled());
        QVERIFY(!find(u"nextPage"_s)->isEnabled());
    }

    void emptyFilterFirstPageStartsInTitleOrderNotCatalogueOrder()
    {
        open();
        const QStringList titles = shownTitles();
        QCOMPARE(titles.size(), 10);
        QCOMPARE(titles.mid(0, 3),
                 (QStringList{u"Algorithmic art"_s, u"Brainstorming"_s, u"Brand guidelines"_s}));
    }

    void twentyOneFixedEntriesMakeThreePagesOfTenTenAndOne()
    {
        open();
        QCOMPARE(indicator(), u"1 / 3"_s);
        QVERIFY(!find(u"previousPage"_s)->isEnabled());
        QCOMPARE(shownTitles().size(), 10);
        click(u"nextPage"_s);
        UiSupport::settle();
        QCOMPARE(indicator(), u"2 / 3"_s);
        QCOMPARE(WindowState::of(m_model.get())->registryPage(), 1);
        QCOMPARE(shownTitles().size(), 10);
        click(u"nextPage"_s);
        UiSupport::settle();
        QCOMPARE(indicator(), u"3 / 3"_s);
        QCOMPARE(shownTitles(), QStringList{u"Word documents"_s});
        QVERIFY(!find(u"nextPage"_s)->isEnabled());
        click(u"previousPage"_s);
        UiSupport::settle();
        QCOMPARE(indicator(), u"2 / 3"_s);
        QCOMPARE(shownTitles().constFirst(), u"PDF"_s);
    }

    void typingInTheSearchFieldGoesBackToTheFirstPage()
    {
        open();
        click(u"nextPage"_s);
        click(u"nextPage"_s);
        QCOMPARE(WindowState::of(m_model.get())->registryPage(), 2);
        typeSearch(u"s"_s);
        QCOMPARE(WindowState::of(m_model.get())->registryPage(), 0);
        QVERIFY(indicator().startsWith(u"1 / "_s));
    }

    void searchWithNoMatchSaysSo()
    {
        open();
        typeSearch(u"zzz-nothing"_s);
        QVERIFY(shownTitles().isEmpty());
        QVERIFY(find(u"noMatches"_s)->isVisible());
        QCOMPARE(indicator(), u"1 / 1"_s);
    }

    void installedRegistrySkillShowsInstalledAndATrashButtonOnTheSkillsPage()
    {
        QDir().mkpath(skillsPath());
        TestSupport::writeFile(skillsPath() + u"/pdf.md"_s, pdfSkill);
        open();
        typeSearch(u"pdf"_s);
        auto *installed = find<QLabel>(u"installed:pdf"_s);
        QVERIFY(installed->isVisible());
        QCOMPARE(installed->text(), u"Installed"_s);
        QVERIFY(!m_view->findChild<QPushButton *>(u"install:pdf"_s));

        SkillsView skills(m_model.get());
        QVERIFY(skills.findChild<QToolButton *>(u"deleteSkill:pdf"_s));
    }

    // ---- installing from the fixed catalogue, then deleting --------------------------------

    void installFromFixedCatalogueThenDeleteFromTheSkillsPage()
    {
        m_github->serveRaw(u"/anthropics/skills/main/skills/pdf/SKILL.md"_s, pdfSkill);
        open("{\"enabled_skills\": [\"weather\"]}");
        typeSearch(u"pdf"_s);
        click(u"install:pdf"_s);
        QTRY_VERIFY_WITH_TIMEOUT(m_view->findChild<QLabel *>(u"installed:pdf"_s), timeout);
        QCOMPARE(TestSupport::readFile(skillsPath() + u"/pdf.md"_s), pdfSkill);
        QVERIFY(!m_view->findChild<QPushButton *>(u"install:pdf"_s));

        // The new skill is on the Skills page, enabled, with its trash button.
        SkillsView skills(m_model.get());
        skills.show();
        QVERIFY(QTest::qWaitForWindowExposed(&skills));
        auto *toggle = skills.findChild<SwitchButton *>(u"skill:pdf"_s);
        QVERIFY(toggle);
        QVERIFY(toggle->isChecked());
        QTest::mouseClick(toggle, Qt::LeftButton);
        QCOMPARE(TestSupport::jsonStrings(file().value("enabled_skills"_L1)),
                 (QStringList{u"weather"_s, u"pdf"_s}));

        QTest::mouseClick(skills.findChild<QToolButton *>(u"deleteSkill:pdf"_s), Qt::LeftButton);
        QVERIFY(!QFile::exists(skillsPath() + u"/pdf.md"_s));
        QCOMPARE(TestSupport::jsonStrings(file().value("enabled_skills"_L1)),
                 QStringList{u"weather"_s});
        UiSupport::settle();
        QVERIFY(m_view->findChild<QPushButton *>(u"install:pdf"_s));
        QVERIFY(!m_view->findChild<QLabel *>(u"installed:pdf"_s));
    }

    void failedInstallLeavesTheButtonReadyAndWritesNothing()
    {
        open(); // nothing served: the download gets 404
        typeSearch(u"pdf"_s);
        click(u"install:pdf"_s);
        auto *button = find<QPushButton>(u"install:pdf"_s);
        QVERIFY(!button->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(button->isEnabled(), timeout);
        QVERIFY(!QFile::exists(skillsPath() + u"/pdf.md"_s));
        QVERIFY(!m_view->findChild<QLabel *>(u"installed:pdf"_s));
    }

    // ---- sources and the full catalogue --------------------------------------------------------

    void addSourceFieldAddsOnReturnAndSavesOnce()
    {
        open();
        auto *field = find<QLineEdit>(u"newSource"_s);
        QCOMPARE(field->placeholderText(), u"add source repo (owner/repo)"_s);
        QCOMPARE(find<QLabel>(u"skillSources"_s)->text(), u"Sources: "_s);
        for (int i = 0; i < 2; ++i) {
            field->setFocus();
            QTest::keyClicks(field, u"alice/skills"_s);
            QCOMPARE(m_model->newSource(), u"alice/skills"_s);
            QTest::keyClick(field, Qt::Key_Return);
        }
        QCOMPARE(m_model->skillSources(), QStringList{u"alice/skills"_s});
        QCOMPARE(TestSupport::jsonStrings(file().value("skill_sources"_L1)),
                 QStringList{u"alice/skills"_s});
        QCOMPARE(find<QLabel>(u"skillSources"_s)->text(), u"Sources: alice/skills"_s);
        // The second, duplicate entry stays in the field; the list keeps one entry.
        QCOMPARE(field->text(), u"alice/skills"_s);

        field->selectAll();
        QTest::keyClicks(field, u"bob/tools"_s);
        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(field->text(), QString());
        QCOMPARE(find<QLabel>(u"skillSources"_s)->text(), u"Sources: alice/skills, bob/tools"_s);
    }

    void leavingTheSourceFieldDoesNotAddWhatWasTyped()
    {
        open();
        auto *field = find<QLineEdit>(u"newSource"_s);
        field->setFocus();
        QTest::keyClicks(field, u"half/typ"_s);
        m_view->searchField()->setFocus();
        UiSupport::settle();
        QVERIFY(m_model->skillSources().isEmpty());
        QCOMPARE(field->text(), u"half/typ"_s);
    }

    void loadFullCatalogFromTwoSourcesAndInstallFromIt()
    {
        m_github->serveApi(u"/repos/anthropics/skills"_s,
                           FakeGithub::repositoryInfo(u"anthropics/skills"_s, u"main"_s));
        m_github->serveApi(u"/repos/anthropics/skills/git/trees/main"_s,
                           FakeGithub::tree({u"skills/pdf/SKILL.md"_s, u"skills/SKILL.md"_s,
                                             u"skills/quarterly-report/SKILL.md"_s}));
        m_github->serveApi(u"/repos/alice/skills"_s,
                           FakeGithub::repositoryInfo(u"alice/skills"_s, u"trunk"_s));
        m_github->serveApi(
            u"/repos/alice/skills/git/trees/trunk"_s,
            FakeGithub::tree({u"skills/quarterly-report/SKILL.md"_s,
                              u"skills/home/garden-plan/SKILL.md"_s, u"docs/skills/x/SKILL.md"_s}));
        const QByteArray garden = "# Garden plan\nWhat to sow this week.\n";
        m_github->serveRaw(u"/alice/skills/trunk/skills/home/garden-plan/SKILL.md"_s, garden);
        open("{\"skill_sources\": [\"alice/skills\"]}");
        QCOMPARE(find<QLabel>(u"skillSources"_s)->text(), u"Sources: alice/skills"_s);

        auto *progress = find<QProgressBar>(u"catalogProgress"_s);
        QVERIFY(!progress->isVisible());
        click(u"loadFullCatalog"_s);
        QVERIFY(progress->isVisible());
        // A second press while loading does nothing.
        click(u"loadFullCatalog"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!m_model->catalogLoading(), timeout);
        QVERIFY(!progress->isVisible());
        QCOMPARE(m_github->requestsUnder(u"/api/repos/anthropics/skills"_s).size(), 2);
        QCOMPARE(m_github->requestsUnder(u"/api/repos/alice/skills"_s).size(), 2);
        QVERIFY(!find(u"catalogError"_s)->isVisible());

        // 21 fixed entries + pdf, quarterly-report (first source wins), home/garden-plan.
        QCOMPARE(m_model->catalogEntries().size(), 3);
        QCOMPARE(indicator(), u"1 / 3"_s);
        typeSearch(u"from alice"_s);
        QCOMPARE(shownTitles(), QStringList{u"Home/garden Plan"_s});
        m_view->searchField()->clear();
        typeSearch(u"quarterly"_s);
        QCOMPARE(shownTitles(), QStringList{u"Quarterly Report"_s});
        QCOMPARE(find<SettingRow>(u"entryRow:quarterly-report"_s)->explainer(),
                 u"From anthropics/skills"_s);

        m_view->searchField()->clear();
        typeSearch(u"garden"_s);
        click(u"install:home/garden-plan"_s);
        QTRY_VERIFY_WITH_TIMEOUT(m_view->findChild<QLabel *>(u"installed:home/garden-plan"_s),
                                 timeout);
        QCOMPARE(TestSupport::readFile(skillsPath() + u"/home-garden-plan.md"_s), garden);
    }

    void previewShowsTheDownloadedFileAndInstallsExactlyThat()
    {
        QByteArray body
            = "---\ndescription: |-\n  Reads PDFs\n  page by page.\n---\n# PDF <b>kit</b>\n";
        for (int i = 1; i <= 45; ++i)
            body += "line " + QByteArray::number(i) + "\r\n";
        m_github->serveRaw(u"/anthropics/skills/main/skills/pdf/SKILL.md"_s, body);
        open();
        typeSearch(u"pdf"_s);
        QCOMPARE(find<QPushButton>(u"entryPreview:pdf"_s)->text(), u"Preview"_s);
        QCOMPARE(find<QPushButton>(u"entryPreview:pdf"_s)->accessibleName(), u"Preview PDF"_s);
        click(u"entryPreview:pdf"_s);
        SkillPreviewSheet *sheet = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((sheet = m_view->window()->findChild<SkillPreviewSheet *>()),
                                 timeout);
        QTRY_VERIFY_WITH_TIMEOUT(sheet->isLoaded(), timeout);
        QVERIFY(sheet->isVisible());
        auto text = [sheet](const QString &name) {
            auto *label = sheet->findChild<QLabel *>(name);
            return label ? label->text() : u"<none>"_s;
        };
        QCOMPARE(text(u"previewTitle"_s), u"PDF <b>kit</b>"_s);
        QCOMPARE(sheet->findChild<QLabel *>(u"previewTitle"_s)->textFormat(), Qt::PlainText);
        QCOMPARE(text(u"previewDescription"_s), u"Reads PDFs page by page."_s);
        QCOMPARE(text(u"previewSource"_s),
                 m_github->rawBase() + u"/anthropics/skills/main/skills/pdf/SKILL.md"_s);
        QCOMPARE(text(u"previewSize"_s), QString::number(body.size()) + u" bytes"_s);
        QCOMPARE(text(u"previewLinesCaption"_s), u"First 40 of 51 lines:"_s);
        const QStringList lines
            = sheet->findChild<QPlainTextEdit *>(u"previewLines"_s)->toPlainText().split(u'\n');
        QCOMPARE(lines.size(), 40);
        QCOMPARE(lines.at(5), u"# PDF <b>kit</b>"_s);
        QCOMPARE(lines.last(), u"line 34"_s);
        // Nothing is written by looking.
        QVERIFY(!QFile::exists(skillsPath() + u"/pdf.md"_s));

        QSignalSpy finished(m_model.get(), &SettingsModel::installFinished);
        QTest::mouseClick(sheet->findChild<QPushButton *>(u"previewInstall"_s), Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 1, timeout);
        QCOMPARE(TestSupport::readFile(skillsPath() + u"/pdf.md"_s), body);
        QTRY_VERIFY_WITH_TIMEOUT(m_view->findChild<QLabel *>(u"installed:pdf"_s), timeout);
        // Install itself downloaded once, for the preview.
        QCOMPARE(m_github->requestsUnder(u"/raw/"_s).size(), 1);
    }

    void cancelledOrFailedPreviewWritesNothing()
    {
        m_github->serveRaw(u"/anthropics/skills/main/skills/pdf/SKILL.md"_s, pdfSkill);
        open();
        typeSearch(u"pdf"_s);
        click(u"entryPreview:pdf"_s);
        SkillPreviewSheet *sheet = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((sheet = m_view->window()->findChild<SkillPreviewSheet *>()),
                                 timeout);
        QTRY_VERIFY_WITH_TIMEOUT(sheet->isLoaded(), timeout);
        QPointer<SkillPreviewSheet> gone(sheet);
        QTest::mouseClick(sheet->findChild<QPushButton *>(u"previewCancel"_s), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(gone.isNull(), timeout);
        QVERIFY(!QFile::exists(skillsPath() + u"/pdf.md"_s));

        // A file that is not there: the sheet says so and offers no Install.
        m_view->searchField()->clear();
        typeSearch(u"word"_s);
        click(u"entryPreview:docx"_s);
        QTRY_VERIFY_WITH_TIMEOUT((sheet = m_view->window()->findChild<SkillPreviewSheet *>()),
                                 timeout);
        QTRY_VERIFY_WITH_TIMEOUT(sheet->isLoaded(), timeout);
        QVERIFY(!sheet->findChild<QPushButton *>(u"previewInstall"_s)->isEnabled());
        QVERIFY(sheet->findChild<QLabel *>(u"previewStatus"_s)->text().startsWith(u"Couldn't"_s));
        sheet->reject();
        QVERIFY(!QFile::exists(skillsPath() + u"/docx.md"_s));
    }

    void fullCatalogueShowsAFixedEntryOnceWhenItsRepositoryHasItToo()
    {
        m_github->serveApi(u"/repos/anthropics/skills"_s,
                           FakeGithub::repositoryInfo(u"anthropics/skills"_s, u"main"_s));
        m_github->serveApi(u"/repos/anthropics/skills/git/trees/main"_s,
                           FakeGithub::tree({u"skills/pdf/SKILL.md"_s, u"skills/docx/SKILL.md"_s,
                                             u"skills/new-one/SKILL.md"_s}));
        open();
        click(u"loadFullCatalog"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!m_model->catalogLoading(), timeout);
        QStringList all;
        for (int page = 0; page < 3; ++page) {
            WindowState::of(m_model.get())->setRegistryPage(page);
            UiSupport::settle();
            all += shownTitles();
        }
        QCOMPARE(all.size(), 22);
        QCOMPARE(all.count(u"PDF"_s), 1);
        QCOMPARE(all.count(u"Pdf"_s), 0);
        QVERIFY(all.contains(u"New One"_s));
    }

    void catalogErrorOfOneSourceIsShownBeneathTheButton()
    {
        m_github->serveApi(u"/repos/anthropics/skills"_s,
                           FakeGithub::repositoryInfo(u"anthropics/skills"_s, u"main"_s));
        m_github->serveApi(u"/repos/anthropics/skills/git/trees/main"_s,
                           FakeGithub::tree({u"skills/pdf/SKILL.md"_s}));
        open("{\"skill_sources\": [\"bob/missing\"]}");
        click(u"loadFullCatalog"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!m_model->catalogLoading(), timeout);
        auto *error = find<QLabel>(u"catalogError"_s);
        QVERIFY(error->isVisible());
        QCOMPARE(error->text(), u"Couldn't load bob/missing"_s);
        QCOMPARE(error->textFormat(), Qt::PlainText);
        // The other source still delivered.
        QCOMPARE(m_model->catalogEntries().size(), 1);
    }

    // ---- GitHub search -----------------------------------------------------------------------

    void searchGithubShowsResultsLoadsMoreAndInstallsFromMaster()
    {
        // Page 1: ten usable items and one without a full name, which does not count.
        QList<QByteArray> first;
        for (int i = 0; i < 10; ++i)
            first.append(FakeGithub::searchItem(u"owner%1/weather-skill"_s.arg(i),
                                                u"Forecasts number %1"_s.arg(i)));
        first.insert(4, "{\"description\": \"no name\", \"stargazers_count\": 3}");
        m_github->serveSearchPage(1, FakeGithub::searchReply(first));
        m_github->serveSearchPage(2, searchPage(3, u"later"_s));
        const QByteArray skill = "# Weather\nForecasts for your town.\n";
        m_github->serveRaw(u"/owner2/weather-skill/master/SKILL.md"_s, skill);
        open();

        auto *section = find(u"githubResultsSection"_s);
        QVERIFY(!section->isVisible());
        typeSearch(u"weather"_s);
        click(u"searchGithub"_s);
        QTRY_VERIFY_WITH_TIMEOUT(section->isVisible(), timeout);
        QTRY_VERIFY_WITH_TIMEOUT(!m_model->githubSearching(), timeout);
        QCOMPARE(m_github->requestsUnder(u"/api/search/repositories"_s).constFirst().encodedQuery,
                 QByteArray("q=weather+skills&sort=stars&per_page=10&page=1"));
        UiSupport::settle();
        auto *row = find<SettingRow>(u"resultRow:github:owner0/weather-skill"_s);
        QCOMPARE(row->title(), u"owner0/weather-skill"_s);
        QCOMPARE(row->explainer(), u"Forecasts number 0"_s);
        auto *caption = qobject_cast<QLabel *>(row->titleTrailing());
        QVERIFY(caption);
        QCOMPARE(caption->text(), u"GitHub repository"_s);
        QCOMPARE(section->findChildren<SettingRow *>().size(), 10);

        auto *more = find<QPushButton>(u"loadMoreResults"_s);
        QVERIFY(more->isVisible());
        QCOMPARE(more->text(), u"Load more results…"_s);
        click(u"loadMoreResults"_s);
        QTRY_VERIFY_WITH_TIMEOUT(m_model->githubResults().size() == 13, timeout);
        QTRY_VERIFY_WITH_TIMEOUT(!more->isVisible(), timeout); // 3 < 10: no more pages
        UiSupport::settle();
        QCOMPARE(section->findChildren<SettingRow *>().size(), 13);
        QVERIFY(find(u"resultRow:github:later2/weather-skill"_s));

        // The repository has no "main" branch; the install falls back to "master".
        click(u"installResult:github:owner2/weather-skill"_s);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(skillsPath() + u"/owner2-weather-skill.md"_s),
                                 timeout);
        QCOMPARE(TestSupport::readFile(skillsPath() + u"/owner2-weather-skill.md"_s), skill);
        QTRY_VERIFY_WITH_TIMEOUT(m_model->isInstalled(u"owner2-weather-skill"_s), timeout);
        // Installed from a search, the skill reads as one of the user's own ("General").
        SkillsView skills(m_model.get());
        auto *skillRow = skills.findChild<ToggleRow *>(u"skillRow:owner2-weather-skill"_s);
        QVERIFY(skillRow);
        QCOMPARE(skillRow->title(), u"Weather"_s);
        QVERIFY(!skills.findChild<QToolButton *>(u"deleteSkill:owner2-weather-skill"_s));
    }

    void newSearchClearsOldResultsAtOnce()
    {
        m_github->serveSearchPage(1, searchPage(2, u"first"_s));
        open();
        typeSearch(u"weather"_s);
        click(u"searchGithub"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_model->githubResults().size(), 2, timeout);
        QTRY_VERIFY(find(u"githubResultsSection"_s)->isVisible());
        QVERIFY(!find(u"loadMoreResults"_s)->isVisible());

        // Return in the search field searches too; the old rows go before the reply comes.
        m_github->serveSearchPage(1, QByteArray("not json"));
        m_view->searchField()->setFocus();
        QTest::keyClick(m_view->searchField(), Qt::Key_Return);
        QVERIFY(m_model->githubResults().isEmpty());
        QVERIFY(!find(u"githubResultsSection"_s)->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(!m_model->githubSearching(), timeout);
        QVERIFY(!find(u"githubResultsSection"_s)->isVisible());
    }

    void blankSearchTextSendsNoRequest()
    {
        open();
        typeSearch(u" \t"_s);
        click(u"searchGithub"_s);
        UiSupport::settle();
        QVERIFY(m_github->requestsUnder(u"/api/search"_s).isEmpty());
        QVERIFY(!m_model->githubSearching());
        QVERIFY(!find(u"githubSearching"_s)->isVisible());
    }

    void longDescriptionShowsItsFirst120Characters()
    {
        const QString longText = QString(130, u'x');
        m_github->serveSearchPage(
            1, FakeGithub::searchReply({FakeGithub::searchItem(u"o/r"_s, longText)}));
        open();
        typeSearch(u"x"_s);
        click(u"searchGithub"_s);
        QTRY_VERIFY_WITH_TIMEOUT(m_view->findChild<SettingRow *>(u"resultRow:github:o/r"_s),
                                 timeout);
        QCOMPARE(find<SettingRow>(u"resultRow:github:o/r"_s)->explainerLabel()->text(),
                 QString(120, u'x'));
    }

    void githubTextsAreShownAsPlainText()
    {
        m_github->serveSearchPage(1, FakeGithub::searchReply({FakeGithub::searchItem(
                                         u"evil/<b>repo</b>"_s, u"<img src=x onerror=y>"_s)}));
        open();
        typeSearch(u"evil"_s);
        click(u"searchGithub"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!m_model->githubResults().isEmpty(), timeout);
        UiSupport::settle();
        auto *row = find<SettingRow>(u"resultRow:github:evil/<b>repo</b>"_s);
        QCOMPARE(row->titleLabel()->text(), u"evil/<b>repo</b>"_s);
        QCOMPARE(row->explainerLabel()->text(), u"<img src=x onerror=y>"_s);
        for (QLabel *label : m_view->findChildren<QLabel *>())
            QCOMPARE(label->textFormat(), Qt::PlainText);
    }

    void everyControlIsNamedAndIconButtonsCarryTheirHelp()
    {
        m_github->serveSearchPage(1, searchPage(10, u"owner"_s));
        open();
        typeSearch(u"weather"_s);
        click(u"searchGithub"_s);
        QTRY_VERIFY_WITH_TIMEOUT(find(u"githubResultsSection"_s)->isVisible(), timeout);
        QTRY_VERIFY_WITH_TIMEOUT(!m_model->githubSearching(), timeout);
        UiSupport::settle();
        {
            const QStringList problems = UiSupport::unnamedOrSilentControls(m_view.get());
            QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u", "_s)));
        }
    }

    void renderingAt1020x700WithResultsAndAnError()
    {
        m_github->serveSearchPage(1, searchPage(10, u"owner"_s));
        UiSupport::writeConfig(configPath(), "{\"skill_sources\": [\"alice/skills\"]}");
        QDir().mkpath(skillsPath());
        TestSupport::writeFile(skillsPath() + u"/brainstorming.md"_s, "# Brainstorming\n");
        m_model = std::make_unique<SettingsModel>(
            configPath(),
            ModelEnvironment{&m_transport, &m_network, m_github->apiBase(), m_github->rawBase()});
        MainWindow window;
        QVERIFY(UiSupport::showWindow(window, m_model.get()));
        WindowState::of(m_model.get())->setSelection(SidebarItem::defaults(SectionID::Registry));
        UiSupport::settle();
        auto *view = window.findChild<RegistryView *>();
        QVERIFY(view);
        m_model->setCatalogError(u"Couldn't load alice/skills"_s);
        m_model->searchGithub(u"weather"_s);
        QTRY_VERIFY_WITH_TIMEOUT(m_model->githubResults().size() == 10, timeout);
        UiSupport::settle();

        QScrollArea *scroll = view->page();
        const int viewportWidth = scroll->viewport()->width();
        for (QWidget *widget : view->findChildren<QWidget *>()) {
            if (!widget->isVisible() || !qobject_cast<QAbstractButton *>(widget))
                continue;
            const QRect box(widget->mapTo(scroll->viewport(), QPoint()), widget->size());
            QVERIFY2(box.right() < viewportWidth, qPrintable(widget->objectName()));
        }
        // The installed skill reads "Installed" on the first page.
        QVERIFY(view->findChild<QLabel *>(u"installed:brainstorming"_s)->isVisible());

        const QString folder = QStringLiteral(VARNOOK_BINARY_DIR "/renderings");
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(window.grab().save(folder + u"/registry.png"_s, "PNG"));
        // And scrolled to the GitHub results.
        scroll->ensureWidgetVisible(view->findChild<QWidget *>(u"githubResultsSection"_s), 0, 0);
        UiSupport::settle();
        QVERIFY(window.grab().save(folder + u"/registry-results.png"_s, "PNG"));
        QCOMPARE(QImage(folder + u"/registry.png"_s).size(), MainWindow::initialSize());
        window.hide();
    }
};

QTEST_MAIN(TestRegistryView)
#include "tst_registryview.moc"
