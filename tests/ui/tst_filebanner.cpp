#include "ui/contentview.h"
#include "ui/controls/field.h"
#include "ui/mainwindow.h"
#include "config/configfile.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QFrame>
#include <QJsonDocument>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QTreeWidget>

#include <sys/resource.h>
#include <sys/stat.h>

using namespace Qt::Literals::StringLiterals;

// What the window shows when the configuration file cannot be used or cannot be written: a
// banner above every page, and no control that would save while the file cannot be used.
class TestFileBanner final : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<MainWindow> m_window;

    QString configPath() const { return m_dir->filePath(u"bot-config.json"_s); }

    void open()
    {
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        m_window = std::make_unique<MainWindow>();
        QVERIFY(UiSupport::showWindow(*m_window, m_model.get()));
    }
    ContentView *view() const { return m_window->contentView(); }
    QWidget *editableContent() const
    {
        auto *scroll = qobject_cast<QScrollArea *>(view()->currentPage());
        return scroll ? scroll->widget() : view()->currentPage();
    }
    QString bannerText(const QString &name) const
    {
        return UiSupport::find<QLabel>(view(), name)->text();
    }

private Q_SLOTS:
    void initTestCase() { ConfigFile::ignoreFileSizeSignal(); }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_transport.clear();
    }

    void cleanup()
    {
        m_window.reset();
        m_model.reset();
    }

    void aBrokenFileShowsWhyAndLocksEditingOnEveryPage()
    {
        const QByteArray broken = "{\n    \"api_key\": \"sk-abc";
        QVERIFY(TestSupport::writeFile(configPath(), broken));
        open();
        QFrame *banner = view()->fileProblemBanner();
        QVERIFY(banner->isVisible());
        QVERIFY2(
            bannerText(u"fileProblemText"_s)
                .startsWith(configPath() + u" is not valid JSON: unterminated string at byte 24"_s),
            qPrintable(bannerText(u"fileProblemText"_s)));
        QVERIFY(UiSupport::find<QPushButton>(banner, u"reloadConfig"_s)->isEnabled());
        QVERIFY(!view()->addBotButton()->isEnabled());

        // Every page: the banner above it, its controls switched off.
        for (SectionID section : allSections()) {
            WindowState::of(m_model.get())->setSelection(SidebarItem::defaults(section));
            QVERIFY(banner->isVisible());
            QVERIFY2(!editableContent()->isEnabled(), qPrintable(sectionTitle(section)));
        }
        QVERIFY(view()->sidebar()->isEnabled());
        QCOMPARE(TestSupport::readFile(configPath()), broken);

        // Mended, then Reload: the banner goes and editing resumes.
        QVERIFY(
            TestSupport::writeFile(configPath(), "{\"api_key\": \"sk-abc\", \"model\": \"m\"}"));
        QTest::mouseClick(UiSupport::find<QPushButton>(banner, u"reloadConfig"_s), Qt::LeftButton);
        QTRY_VERIFY(!banner->isVisible());
        QVERIFY(editableContent()->isEnabled());
        QVERIFY(view()->addBotButton()->isEnabled());
        WindowState::of(m_model.get())->setSelection(SidebarItem::defaults(SectionID::Model));
        QCOMPARE(UiSupport::find<Field>(view(), u"primaryModel"_s)->text(), u"m"_s);
    }

    // The file is fixed by someone else while the window is open: the window notices by itself.
    void theBannerGoesWhenTheFileIsMended()
    {
        QCOMPARE(::mkfifo(QFile::encodeName(configPath()).constData(), 0600), 0);
        open(); // a pipe at the path: the window still opens
        QVERIFY(view()->fileProblemBanner()->isVisible());
        QVERIFY(bannerText(u"fileProblemText"_s).contains(u"named pipe"_s));
        QVERIFY(QFile::remove(configPath()));
        QVERIFY(TestSupport::writeFile(configPath(), "{\"model\": \"fresh\"}"));
        QTRY_VERIFY_WITH_TIMEOUT(!view()->fileProblemBanner()->isVisible(), 30000);
        QVERIFY(editableContent()->isEnabled());
    }

    // A save that fails says why above the page until a save works; the field keeps the text.
    void aFailedSaveShowsItsReasonUntilASaveWorks()
    {
        QVERIFY(TestSupport::writeFile(configPath(), "{\"model\": \"m\"}"));
        open();
        WindowState::of(m_model.get())->setSelection(SidebarItem::defaults(SectionID::Model));
        QVERIFY(!view()->saveErrorBanner()->isVisible());
        auto *field = UiSupport::find<Field>(view(), u"primaryModel"_s);
        field->setFocus();
        field->selectAll();
        const QString typed = u"gpt-typed"_s;
        QTest::keyClicks(field, typed);

        // The whole document is longer than this; the lock file is empty.
        rlimit original{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &original), 0);
        const rlimit limited{64, original.rlim_max};
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &limited), 0);
        QTest::keyClick(field, Qt::Key_Return);
        setrlimit(RLIMIT_FSIZE, &original);

        QVERIFY(view()->saveErrorBanner()->isVisible());
        QCOMPARE(bannerText(u"saveErrorText"_s),
                 u"Could not write "_s + configPath() + u": File too large"_s);
        QCOMPARE(field->text(), typed);
        QCOMPARE(QJsonDocument::fromJson(TestSupport::readFile(configPath()))
                     .object()
                     .value("model"_L1)
                     .toString(),
                 u"m"_s);
        QVERIFY(m_transport.posts().isEmpty());

        // Another go, with room on the disk again.
        QTest::keyClick(field, Qt::Key_Exclam);
        QTest::keyClick(field, Qt::Key_Backspace);
        QTest::keyClick(field, Qt::Key_Return);
        QTRY_VERIFY(!view()->saveErrorBanner()->isVisible());
        QCOMPARE(QJsonDocument::fromJson(TestSupport::readFile(configPath()))
                     .object()
                     .value("model"_L1)
                     .toString(),
                 typed);
    }
};

QTEST_MAIN(TestFileBanner)
#include "tst_filebanner.moc"
