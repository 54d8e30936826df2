#include "ui/pages/aboutview.h"
#include "ui/pages/pagekit.h"
#include "ui/pages/updatesview.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/pageshots.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <memory>

using namespace Qt::Literals::StringLiterals;
using UiSupport::find;

// Records every address the desktop would be asked to open.
class UrlRecorder final : public QObject {
    Q_OBJECT
public:
    QList<QUrl> opened;
public Q_SLOTS:
    void open(const QUrl &url) { opened.append(url); }
};

// The About and Updates pages: what they show, and that nothing on them acts.
class TestAboutUpdates final : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;
    UrlRecorder m_urls;

    QString configPath() const { return QDir::homePath() + u"/.zandrel/bot-config.json"_s; }

    template <typename T> std::unique_ptr<T> show(std::unique_ptr<T> page)
    {
        page->resize(800, 700);
        page->show();
        if (!QTest::qWaitForWindowExposed(page.get()))
            qWarning("page not exposed");
        return page;
    }
    static QString text(const QWidget *root, const QString &name)
    {
        auto *label = root->findChild<QLabel *>(name);
        return label ? label->text() : u"<missing "_s + name + u'>';
    }

private Q_SLOTS:
    void initTestCase()
    {
        // QDesktopServices takes the handler as a method name; there is no other form.
        for (const QString &scheme : {u"file"_s, u"http"_s, u"https"_s})
            QDesktopServices::setUrlHandler(scheme, &m_urls, "open");
    }
    void cleanupTestCase()
    {
        for (const QString &scheme : {u"file"_s, u"http"_s, u"https"_s})
            QDesktopServices::unsetUrlHandler(scheme);
    }
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        QVERIFY(QDir().mkpath(QDir::homePath() + u"/.zandrel"_s));
        UiSupport::writeConfig(configPath(), "{}");
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        m_urls.opened.clear();
        QCoreApplication::setApplicationVersion(QString());
    }
    void cleanup()
    {
        m_model.reset();
        m_dir.reset();
        QDir(QDir::homePath() + u"/.zandrel"_s).removeRecursively();
    }

    void withoutAVersionTheAboutPageShowsVersion010()
    {
        QCoreApplication::setApplicationVersion(QString());
        auto about = show(std::make_unique<AboutView>(m_model.get()));
        QCOMPARE(text(about.get(), u"version"_s), u"Version 0.1.0"_s);
    }

    void withVersion23AboutShows23WhileUpdatesStillShows010()
    {
        QCoreApplication::setApplicationVersion(u"2.3"_s);
        auto about = show(std::make_unique<AboutView>(m_model.get()));
        auto updates = show(std::make_unique<UpdatesView>(m_model.get()));
        QCOMPARE(text(about.get(), u"version"_s), u"Version 2.3"_s);
        QCOMPARE(text(updates.get(), u"installedVersion"_s), u"0.1.0"_s);
    }

    void theHeaderShowsNameTagLineAndTheLogoAt72Points()
    {
        auto about = show(std::make_unique<AboutView>(m_model.get()));
        QCOMPARE(text(about.get(), u"appTitle"_s), u"Varnook AI"_s);
        QCOMPARE(text(about.get(), u"tagline"_s), u"A Telegram bot in your menu bar."_s);
        auto *title = find<QLabel>(about.get(), u"appTitle"_s);
        QCOMPARE(title->font().weight(), QFont::DemiBold);
        QVERIFY(title->font().pointSizeF() > about->font().pointSizeF());
        QVERIFY(find<QLabel>(about.get(), u"version"_s)->font().pointSizeF()
                < about->font().pointSizeF());

        QLabel *logo = about->logo();
        QCOMPARE(logo->size(), QSize(72, 72));
        QVERIFY(!logo->pixmap().isNull());
        QCOMPARE(logo->pixmap().deviceIndependentSize().toSize(), QSize(72, 72));
        QVERIFY(!logo->property("symbol").isValid());
        // The bundled logo is drawn, not a blank square.
        const QImage image = logo->pixmap().toImage();
        QVERIFY(image.pixelColor(image.width() / 2, image.height() / 2).alpha() > 0);
        // Centred on the page.
        const int centre = logo->mapTo(about.get(), logo->rect().center()).x();
        QVERIFY(qAbs(centre - about->page()->viewport()->width() / 2) <= 12);
    }

    void aMissingLogoDrawsTheCatSymbolWithoutChangingTheLayout()
    {
        auto withLogo = show(std::make_unique<AboutView>(m_model.get()));
        auto without = show(std::make_unique<AboutView>(m_model.get(), u":/NoSuchLogo"_s));
        QLabel *symbol = without->logo();
        QCOMPARE(symbol->property("symbol").toString(), u"cat.fill"_s);
        QVERIFY(!symbol->pixmap().isNull());
        QCOMPARE(symbol->font().pixelSize(), 56);
        QCOMPARE(symbol->pixmap().deviceIndependentSize().toSize(), QSize(56, 56));
        QCOMPARE(symbol->size(), QSize(72, 72));
        // Drawn in the secondary style: its most opaque pixel is that colour.
        const QImage image = symbol->pixmap().toImage();
        QColor ink(Qt::transparent);
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (image.pixelColor(x, y).alpha() > ink.alpha())
                    ink = image.pixelColor(x, y);
            }
        }
        const QColor secondary = symbol->palette().color(QPalette::PlaceholderText);
        QVERIFY(ink.alpha() > 0);
        QVERIFY(qAbs(ink.red() - secondary.red()) <= 2);
        QVERIFY(qAbs(ink.green() - secondary.green()) <= 2);
        QVERIFY(qAbs(ink.blue() - secondary.blue()) <= 2);
        QVERIFY(qAbs(ink.alpha() - secondary.alpha()) <= 2);

        QVERIFY(without->grab().save(
            QDir(PageShots::folder(m_dir->path())).filePath(u"about-missing-logo.png"_s), "PNG"));

        // Everything below the logo sits where it sits with the logo.
        for (const QString &name : {u"appTitle"_s, u"version"_s, u"tagline"_s, u"configPath"_s}) {
            QWidget *a = find<QWidget>(withLogo.get(), name);
            QWidget *b = find<QWidget>(without.get(), name);
            QCOMPARE(b->mapTo(without.get(), QPoint(0, 0)), a->mapTo(withLogo.get(), QPoint(0, 0)));
        }
    }

    void detailsShowTheConfigPathExactlyAndItsFolder()
    {
        auto about = show(std::make_unique<AboutView>(m_model.get()));
        // Not abbreviated to "~".
        QCOMPARE(text(about.get(), u"configPath"_s), configPath());
        QCOMPARE(text(about.get(), u"dataPath"_s), QDir::homePath() + u"/.zandrel"_s);
        QCOMPARE(find<QLabel>(about.get(), u"configPath"_s)->textFormat(), Qt::PlainText);

        // A relative path stays as it was given.
        SettingsModel relative(u"configs/bot-config.json"_s, ModelEnvironment{&m_transport});
        AboutView page(&relative);
        QCOMPARE(text(&page, u"configPath"_s), u"configs/bot-config.json"_s);
        QCOMPARE(text(&page, u"dataPath"_s), u"configs"_s);
    }

    void rowTitlesSitInA170PointColumn()
    {
        auto about = show(std::make_unique<AboutView>(m_model.get()));
        auto updates = show(std::make_unique<UpdatesView>(m_model.get()));
        const QList<std::pair<QWidget *, QString>> rows{
            {about.get(), u"configRow"_s},
            {about.get(), u"dataRow"_s},
            {about.get(), u"sourceCodeRow"_s},
            {about.get(), u"documentationRow"_s},
            {updates.get(), u"installedVersionRow"_s},
        };
        QStringList titles;
        for (const auto &[page, name] : rows) {
            QWidget *row = find<QWidget>(page, name);
            QVERIFY2(row, qPrintable(name));
            auto *title = row->findChild<QLabel *>(u"title"_s);
            QCOMPARE(title->width(), 170);
            titles.append(title->text());
        }
        QCOMPARE(titles, (QStringList{u"Config"_s, u"Data"_s, u"Source code"_s, u"Documentation"_s,
                                      u"Installed version"_s}));
        QStringList sections;
        for (auto *section : about->findChildren<InfoSection *>())
            sections.append(section->titleLabel()->text());
        QCOMPARE(sections, (QStringList{u"Details"_s, u"Links"_s}));
    }

    void theLinksAreLabelsWithIconsThatOpenNothing()
    {
        auto about = show(std::make_unique<AboutView>(m_model.get()));
        QCOMPARE(text(about.get(), u"sourceCodeLinkText"_s), u"View source"_s);
        QCOMPARE(text(about.get(), u"documentationLinkText"_s), u"Read the docs"_s);
        for (const QString &name : {u"sourceCodeLink"_s, u"documentationLink"_s}) {
            auto *icon = find<QLabel>(about.get(), name + u"Icon"_s);
            QVERIFY(!icon->pixmap().isNull());
            auto *label = find<QLabel>(about.get(), name + u"Text"_s);
            QCOMPARE(label->foregroundRole(), QPalette::PlaceholderText);
            QVERIFY(!label->openExternalLinks());
            QVERIFY(find<QWidget>(about.get(), name)->findChildren<QAbstractButton *>().isEmpty());
            QTest::mouseClick(label, Qt::LeftButton);
            QTest::mouseClick(icon, Qt::LeftButton);
        }
        QCoreApplication::processEvents();
        QCOMPARE(m_urls.opened, QList<QUrl>());
    }

    void updatesSaysCheckingIsDisabledInTheSmallestCaption()
    {
        auto updates = show(std::make_unique<UpdatesView>(m_model.get()));
        QCOMPARE(find<InfoSection>(updates.get(), u"updatesSection"_s)->titleLabel()->text(),
                 u"Updates"_s);
        auto *first = find<QLabel>(updates.get(), u"releaseChannelNote"_s);
        auto *second = find<QLabel>(updates.get(), u"checkingDisabledNote"_s);
        QCOMPARE(first->text(),
                 u"Update checking will be available once the project has a release channel."_s);
        QCOMPARE(second->text(), u"Checking is disabled for now."_s);
        QVERIFY(first->y() < second->y());
        QVERIFY(first->font().pointSizeF() < updates->font().pointSizeF());
        QCOMPARE(first->foregroundRole(), QPalette::PlaceholderText);
        // Smaller than the caption of the About page's version line.
        auto about = show(std::make_unique<AboutView>(m_model.get()));
        QVERIFY(first->font().pointSizeF()
                < find<QLabel>(about.get(), u"version"_s)->font().pointSizeF());
    }

    void checkForUpdatesIsDisabledTrailingAndDoesNothing()
    {
        auto updates = show(std::make_unique<UpdatesView>(m_model.get()));
        auto *check = find<QPushButton>(updates.get(), u"checkForUpdates"_s);
        QCOMPARE(check->text(), u"Check for Updates…"_s);
        QVERIFY(!check->isEnabled());
        // Trailing: its right edge is the section's right edge, less the margin.
        QWidget *section = find<QWidget>(updates.get(), u"updatesSection"_s);
        const int right = check->mapTo(section, QPoint(check->width(), 0)).x();
        QVERIFY2(section->width() - right <= 16,
                 qPrintable(QString::number(section->width() - right)));

        QSignalSpy clicked(check, &QPushButton::clicked);
        QTest::mouseClick(check, Qt::LeftButton);
        QCOMPARE(clicked.size(), 0);

        // Even enabled, it would do nothing: no address opened, no window, no file written.
        const QByteArray before = TestSupport::readFile(configPath());
        const int windows = int(QApplication::topLevelWidgets().size());
        check->setEnabled(true);
        QTest::mouseClick(check, Qt::LeftButton);
        QCOMPARE(clicked.size(), 1);
        QCoreApplication::processEvents();
        QCOMPARE(m_urls.opened, QList<QUrl>());
        QCOMPARE(int(QApplication::topLevelWidgets().size()), windows);
        QCOMPARE(TestSupport::readFile(configPath()), before);
        QCOMPARE(m_transport.posts().size(), 0);
    }

    void aSearchLeavesTheInformationInPlace()
    {
        auto about = show(std::make_unique<AboutView>(m_model.get()));
        WindowState::of(m_model.get())->setFilter(u"zzz"_s);
        QTest::qWait(20);
        QVERIFY(find<QWidget>(about.get(), u"detailsSection"_s)->isVisible());
        QVERIFY(find<QWidget>(about.get(), u"configPath"_s)->isVisible());
        WindowState::of(m_model.get())->setFilter(QString());
    }

    // Updates opens with the same large heading as the other Defaults pages.
    void updatesPageHasThePageHeading()
    {
        UpdatesView updates(m_model.get());
        QCOMPARE(updates.page()->headingLabel()->text(), u"Updates"_s);
        QVERIFY(!updates.page()->headingLabel()->isHidden());
        SettingsPage other(WindowState::of(m_model.get()), u"App"_s);
        QCOMPARE(updates.page()->headingLabel()->font(), other.headingLabel()->font());
    }

    // About opens with that heading too, above its centred name block.
    void aboutPageHasThePageHeadingAboveTheHeader()
    {
        auto about = show(std::make_unique<AboutView>(m_model.get()));
        QLabel *heading = about->page()->headingLabel();
        QCOMPARE(heading->text(), u"About"_s);
        QVERIFY(heading->isVisible());
        SettingsPage other(WindowState::of(m_model.get()), u"App"_s);
        QCOMPARE(heading->font(), other.headingLabel()->font());
        const auto *title = find<QLabel>(about.get(), u"appTitle"_s);
        QVERIFY(heading->mapTo(about.get(), QPoint(0, heading->height())).y()
                <= about->logo()->mapTo(about.get(), QPoint()).y());
        QVERIFY(title->mapTo(about.get(), QPoint()).y()
                > about->logo()->mapTo(about.get(), QPoint()).y());
    }

    void bothPagesRenderInTheWindowWithoutAnythingCutOff()
    {
        QCoreApplication::setApplicationVersion(u"0.1.0"_s);
        const QString folder = PageShots::folder(m_dir->path());
        for (const auto &[section, name] : {std::pair{SectionID::About, u"about"_s},
                                            std::pair{SectionID::Updates, u"updates"_s}}) {
            const PageShots::Shot shot
                = PageShots::render(m_model.get(), SidebarItem::defaults(section), name, folder);
            QVERIFY(!shot.file.isEmpty());
            QCOMPARE(shot.size, QSize(1020, 700));
            QVERIFY2(shot.clipped.isEmpty(), qPrintable(shot.clipped.join(u"; "_s)));
        }
    }
};

QTEST_MAIN(TestAboutUpdates)
#include "tst_aboutupdates.moc"
