// "Check for updates" on the Skills & Features page against the loopback raw server: the marks
// and Update buttons a user sees, what a screen reader reads, and the file after an update.
#include "ui/pages/skillsview.h"

#include "ui/controls/settingrow.h"
#include "ui/pagerenderer.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "skills/skillcatalog.h"
#include "skills/skillupdates.h"
#include "support/accessibilitywalk.h"
#include "support/catalogueskills.h"
#include "support/fakegithub.h"
#include "support/pageshots.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QAccessible>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <memory>

using namespace Qt::Literals::StringLiterals;

using namespace CatalogueSkills;

class TestSkillUpdatesView final : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<FakeGithub> m_github;
    InMemoryTransport m_transport;
    QNetworkAccessManager m_network;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<SkillsView> m_view;

    QString configPath() const { return m_dir->filePath(u"bot-config.json"_s); }
    QString skillsPath() const { return m_dir->filePath(u"skills"_s); }
    QString skillFile(const QString &name) const { return skillsPath() + u'/' + name + u".md"_s; }
    void install(const QString &name, const QByteArray &bytes)
    {
        QDir().mkpath(skillsPath());
        TestSupport::writeFile(skillFile(name), bytes);
    }
    SettingsModel *makeModel()
    {
        UiSupport::writeConfig(configPath(), "{}");
        m_model = std::make_unique<SettingsModel>(
            configPath(),
            ModelEnvironment{&m_transport, &m_network, m_github->apiBase(), m_github->rawBase()});
        m_model->loadSkillsAndFeatures();
        return m_model.get();
    }
    void open()
    {
        makeModel();
        m_view = std::make_unique<SkillsView>(m_model.get());
        m_view->resize(820, 700);
        m_view->show();
    }
    template <typename T = QWidget> T *find(const QString &name) const
    {
        return m_view->findChild<T *>(name);
    }
    bool checkAndWait()
    {
        auto *check = find<QPushButton>(u"checkSkillUpdates"_s);
        if (!check)
            return false;
        QTest::mouseClick(check, Qt::LeftButton);
        auto *updates = m_view->findChild<SkillUpdates *>(u"skillUpdates"_s);
        return updates && QTest::qWaitFor([updates] { return !updates->checking(); }, 20000);
    }

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_github = std::make_unique<FakeGithub>();
        install(u"pdf"_s, oldPdf);
        install(u"docx"_s, docx);
        install(u"xlsx"_s, "# Sheets\n");
        install(u"briefing"_s, "# Briefing\n");
        m_github->serveRaw(rawPath(u"pdf"_s), newPdf);
        m_github->serveRaw(rawPath(u"docx"_s), docx);
        // xlsx is not on the server
    }
    void cleanup()
    {
        m_view.reset();
        m_model.reset();
        m_github.reset();
    }

    void theChangedSkillIsMarkedWithAnUpdateButton()
    {
        open();
        auto *row = find<SettingRow>(u"skillUpdatesRow"_s);
        QVERIFY(row);
        QCOMPARE(row->title(), u"Skill updates"_s);
        QVERIFY(!find<QLabel>(u"skillUpdate:pdf"_s)->isVisible());
        QVERIFY(!find<QPushButton>(u"updateSkill:pdf"_s)->isVisible());

        QVERIFY(checkAndWait());
        QCOMPARE(row->explainer(), u"1 update available. Couldn't check 1 of 3."_s);
        auto *pdfMark = find<QLabel>(u"skillUpdate:pdf"_s);
        QVERIFY(pdfMark->isVisible());
        QCOMPARE(pdfMark->text(), u"Update available"_s);
        auto *update = find<QPushButton>(u"updateSkill:pdf"_s);
        QVERIFY(update->isVisible());
        QCOMPARE(update->text(), u"Update"_s);
        // The unchanged skill has neither.
        QVERIFY(!find<QLabel>(u"skillUpdate:docx"_s)->isVisible());
        QVERIFY(!find<QPushButton>(u"updateSkill:docx"_s)->isVisible());
        // The failed one says so, with the reason for whoever asks.
        auto *xlsxMark = find<QLabel>(u"skillUpdate:xlsx"_s);
        QVERIFY(xlsxMark->isVisible());
        QCOMPARE(xlsxMark->text(), u"Couldn't check"_s);
        QCOMPARE(xlsxMark->accessibleDescription(), u"HTTP 404"_s);
        QVERIFY(!find<QPushButton>(u"updateSkill:xlsx"_s)->isVisible());
        // A skill that ships with the service is not checked and has no mark at all.
        QVERIFY(!find<QLabel>(u"skillUpdate:briefing"_s));

        // Screen readers: the buttons say which skill they update; the mark is read.
        QAccessibleInterface *iface = AccessibilityWalk::reachableInterfaceOf(m_view.get(), update);
        QVERIFY(iface);
        QCOMPARE(iface->text(QAccessible::Name), u"Update PDF"_s);
        QVERIFY(AccessibilityWalk::reads(
            AccessibilityWalk::reachableInterfaceOf(m_view.get(), pdfMark), u"Update available"_s));
        QVERIFY(AccessibilityWalk::unnamedInteractive(m_view.get()).isEmpty());

        // Nothing was written by looking.
        QCOMPARE(TestSupport::readFile(skillFile(u"pdf"_s)), oldPdf);
    }

    void updateWritesTheNewFileAndTheRowFollows()
    {
        open();
        QVERIFY(checkAndWait());
        auto *update = find<QPushButton>(u"updateSkill:pdf"_s);
        QVERIFY(update && update->isVisible());
        // Pressed the way a screen reader presses it.
        QAccessibleInterface *iface = AccessibilityWalk::reachableInterfaceOf(m_view.get(), update);
        QVERIFY(iface && iface->actionInterface());
        iface->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        // A pressed button clicks after its short press animation.
        QTRY_COMPARE(TestSupport::readFile(skillFile(u"pdf"_s)), newPdf);
        UiSupport::settle();
        QCOMPARE(QDir(skillsPath()).entryList(QDir::Files | QDir::Hidden).size(), 4);
        // The row was rebuilt from the new file: new title, no mark.
        auto *row = find<SettingRow>(u"skillRow:pdf"_s);
        QVERIFY(row);
        QCOMPARE(row->title(), u"PDF tools"_s);
        QVERIFY(!find<QLabel>(u"skillUpdate:pdf"_s)->isVisible());
        QVERIFY(!find<QPushButton>(u"updateSkill:pdf"_s)->isVisible());
        QCOMPARE(find<SettingRow>(u"skillUpdatesRow"_s)->explainer(), u"Couldn't check 1 of 3."_s);
    }

    void anUpdateThatCannotBeWrittenSaysSoAndKeepsTheButton()
    {
        open();
        QVERIFY(checkAndWait());
        // Something that is no file takes the skill file's place after the check.
        QVERIFY(QFile::remove(skillFile(u"pdf"_s)));
        QVERIFY(QDir().mkpath(skillFile(u"pdf"_s) + u"/inside"_s));
        auto *update = find<QPushButton>(u"updateSkill:pdf"_s);
        QTest::mouseClick(update, Qt::LeftButton);
        auto *mark = find<QLabel>(u"skillUpdate:pdf"_s);
        QCOMPARE(mark->text(), u"Couldn't update"_s);
        QCOMPARE(mark->palette().color(mark->foregroundRole()), StatusColors::bad());
        // The system's own words say why.
        QCOMPARE(mark->accessibleDescription(),
                 u"Couldn't write "_s + skillFile(u"pdf"_s) + u": Is a directory"_s);
        QVERIFY(update->isVisible());
        QVERIFY(QFileInfo(skillFile(u"pdf"_s)).isDir());
        // Nothing half-written is left in the folder.
        QCOMPARE(QDir(skillsPath()).entryList(QDir::Files | QDir::Hidden).size(), 3);
    }

    void checkingEveryCatalogueSkillNeverBlocksTheWindow()
    {
        // All 21 catalogue skills installed; the server, on a thread of its own so that its
        // work is not counted, serves each a changed source of 1 MiB.
        QThread serverThread;
        QObject inServerThread; // what runs there is invoked on this
        inServerThread.moveToThread(&serverThread);
        serverThread.start();
        FakeGithub *server = nullptr;
        QMetaObject::invokeMethod(
            &inServerThread, [&server] { server = new FakeGithub; }, Qt::BlockingQueuedConnection);
        QVERIFY(server);
        const QByteArray source = QByteArray("# Changed\n") + QByteArray(1024 * 1024, 'x');
        QMetaObject::invokeMethod(
            &inServerThread,
            [server, source] {
                for (const SkillCatalog::CatalogRow &row : SkillCatalog::catalogRows())
                    server->serveRaw(u'/' + row.path, source);
            },
            Qt::BlockingQueuedConnection);
        for (const SkillCatalog::CatalogRow &row : SkillCatalog::catalogRows())
            install(row.name, "# " + row.name.toUtf8() + "\n");
        m_github.reset();
        UiSupport::writeConfig(configPath(), "{}");
        m_model = std::make_unique<SettingsModel>(
            configPath(),
            ModelEnvironment{&m_transport, &m_network, server->apiBase(), server->rawBase()});
        m_model->loadSkillsAndFeatures();
        m_view = std::make_unique<SkillsView>(m_model.get());
        m_view->resize(820, 700);
        m_view->show();
        UiSupport::settle();

        // The longest time the event loop did not come round, while the check ran.
        QElapsedTimer sinceTick;
        qint64 longest = 0;
        QTimer ticker;
        ticker.setInterval(1);
        QObject::connect(&ticker, &QTimer::timeout, &ticker,
                         [&] { longest = std::max(longest, sinceTick.restart()); });
        auto *updates = m_view->findChild<SkillUpdates *>(u"skillUpdates"_s);
        QVERIFY(updates);
        // The same measure with nothing to do first: what the machine itself adds.
        sinceTick.start();
        ticker.start();
        QTest::qWait(1000);
        const qint64 idle = longest;
        longest = 0;
        QElapsedTimer total;
        total.start();
        QTest::mouseClick(find<QPushButton>(u"checkSkillUpdates"_s), Qt::LeftButton);
        const bool done = QTest::qWaitFor([updates] { return !updates->checking(); }, 60000);
        ticker.stop();
        const qint64 elapsed = total.elapsed();
        QMetaObject::invokeMethod(
            &inServerThread, [server] { delete server; }, Qt::BlockingQueuedConnection);
        serverThread.quit();
        serverThread.wait();
        QVERIFY(done);
        QCOMPARE(updates->count(SkillUpdates::State::Outdated), 21);
        qInfo("check of 21 skills of 1 MiB: %lld ms in all, longest stall %lld ms (idle: %lld ms)",
              elapsed, longest, idle);
        // Downloads that blocked the window would stall it for most of the check (about a
        // second here, several in a sanitizer build); the bound is far below that: 200 ms, or a
        // quarter of the whole check when the build or the machine makes everything slower.
        const qint64 bound = std::max<qint64>(200, elapsed / 4);
        QVERIFY2(longest < bound, qPrintable(u"%1 ms, bound %2 ms"_s.arg(longest).arg(bound)));
    }

    void rendersWithLongTitlesInLightAndDark()
    {
        // A 400-character title and description on a changed catalogue skill.
        const QByteArray longTitle = QByteArray("Very long title ").repeated(25);
        const QByteArray longDescription = QByteArray("words of a description ").repeated(18);
        install(u"docx"_s, "---\ndescription: " + longDescription + "\n---\n# " + longTitle + "\n");
        const QString folder = PageShots::folder(m_dir->path());
        const QPalette light = QApplication::palette();
        for (const bool dark : {false, true}) {
            QApplication::setPalette(dark ? Shell::darkPalette() : light);
            SettingsModel *model = makeModel();
            MainWindow window;
            QVERIFY(UiSupport::showWindow(window, model));
            WindowState::of(model)->setSelection(SidebarItem::defaults(SectionID::Skills));
            UiSupport::settle(150);
            QWidget *page = window.contentView()->currentPage();
            QVERIFY(page);
            auto *check = page->findChild<QPushButton *>(u"checkSkillUpdates"_s);
            QVERIFY(check);
            QTest::mouseClick(check, Qt::LeftButton);
            auto *updates = page->findChild<SkillUpdates *>(u"skillUpdates"_s);
            QVERIFY(updates);
            QTRY_VERIFY_WITH_TIMEOUT(!updates->checking(), 20000);
            // The keyboard focus stays where the user pressed.
            QVERIFY(check->hasFocus());
            auto *docxUpdate = page->findChild<QPushButton *>(u"updateSkill:docx"_s);
            QVERIFY(docxUpdate && docxUpdate->isVisible());
            // Bring the catalogue section into view.
            auto *area = page->findChild<QScrollArea *>();
            QVERIFY(area);
            area->ensureWidgetVisible(docxUpdate, 0, 200);
            UiSupport::settle(150);
            QVERIFY(window.grab().save(folder + u"/skillupdates"_s
                                           + (dark ? u"-dark"_s : u"-light"_s) + u".png"_s,
                                       "PNG"));
            const QStringList clipped = PageShots::clippedWidgets(page);
            QVERIFY2(clipped.isEmpty(), qPrintable(clipped.join(u"; "_s)));
        }
        QApplication::setPalette(light);
    }
};

QTEST_MAIN(TestSkillUpdatesView)
#include "tst_skillupdatesview.moc"
