#include "ui/contentview.h"
#include "ui/controls/field.h"
#include "ui/launch.h"
#include "ui/mainwindow.h"
#include "ui/pagerenderer.h"
#include "ui/singleinstance.h"
#include "analytics/analytics.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QSettings>
#include <QSplitter>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <memory>

using namespace Qt::Literals::StringLiterals;

// The application shell driven through its real window: launch, sidebar, bots, search,
// closing and bringing the window back.
class TestShell final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<Shell::SettingsApp> m_app;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }

    // Launches the program for the test's configuration file (or the given arguments).
    void launch(const QByteArray &document, QStringList arguments = {})
    {
        UiSupport::writeConfig(configPath(), document);
        if (arguments.isEmpty())
            arguments = QStringList{u"varnook-settings"_s, configPath()};
        m_app = std::make_unique<Shell::SettingsApp>(&m_transport);
        m_app->launch(arguments);
        QVERIFY(QTest::qWaitForWindowExposed(m_app->window()));
    }
    ContentView *view() const { return m_app->window()->contentView(); }
    SettingsModel *model() const { return m_app->model(); }
    QTreeWidget *sidebar() const { return view()->sidebar(); }
    QToolButton *addBot() const
    {
        return UiSupport::find<QToolButton>(m_app->window(), u"addBot"_s);
    }
    QStringList botLabels() const
    {
        QStringList labels;
        const QTreeWidgetItem *bots = sidebar()->topLevelItem(0);
        for (int i = 0; i < bots->childCount() - 1; ++i)
            labels.append(bots->child(i)->text(0));
        return labels;
    }
    void clickRow(QTreeWidgetItem *row)
    {
        QVERIFY(row);
        const QRect rect = sidebar()->visualItemRect(row);
        QTest::mouseClick(sidebar()->viewport(), Qt::LeftButton, {}, rect.center());
    }
    static int mainWindowCount()
    {
        const QWidgetList windows = QApplication::topLevelWidgets();
        return int(std::count_if(windows.cbegin(), windows.cend(), [](const QWidget *w) {
            return qobject_cast<const MainWindow *>(w) != nullptr;
        }));
    }

private Q_SLOTS:
    void initTestCase() { Shell::configureApplication(); }

    void init()
    {
        QFile::remove(configPath());
        m_transport.clear();
    }
    void cleanup()
    {
        m_app.reset();
        qunsetenv("XDG_ACTIVATION_TOKEN");
    }

    // ---- launch ------------------------------------------------------------------------------

    void withoutAnArgumentTheHomeZandrelFileIsEdited()
    {
        QCOMPARE(Shell::configPathFromArguments({u"varnook-settings"_s}),
                 QDir::homePath() + u"/.zandrel/bot-config.json"_s);
        QVERIFY(QDir::home().mkpath(u".zandrel"_s));
        m_app = std::make_unique<Shell::SettingsApp>(&m_transport);
        m_app->launch({u"varnook-settings"_s});
        QCOMPARE(model()->path(), QDir::homePath() + u"/.zandrel/bot-config.json"_s);
        QTest::mouseClick(addBot(), Qt::LeftButton);
        QVERIFY(QFile::exists(QDir::homePath() + u"/.zandrel/bot-config.json"_s));
        QVERIFY(QFile::remove(QDir::homePath() + u"/.zandrel/bot-config.json"_s));
    }

    void relativeArgumentIsUsedUnchangedFromTheWorkingDirectory()
    {
        const QString before = QDir::currentPath();
        QVERIFY(QDir(m_dir.path()).mkpath(u"rel"_s));
        QVERIFY(QDir::setCurrent(m_dir.path()));
        m_app = std::make_unique<Shell::SettingsApp>(&m_transport);
        m_app->launch({u"varnook-settings"_s, u"rel/cfg.json"_s});
        QCOMPARE(model()->path(), u"rel/cfg.json"_s);
        QTest::mouseClick(addBot(), Qt::LeftButton);
        const bool landed = QFile::exists(m_dir.filePath(u"rel/cfg.json"_s));
        QDir::setCurrent(before);
        QVERIFY(landed);

        // No tilde expansion either.
        QCOMPARE(Shell::configPathFromArguments({u"p"_s, u"~/x.json"_s, u"ignored"_s}),
                 u"~/x.json"_s);
    }

    void launchOpensOneCentredWindowAndWritesTheUserDefault()
    {
        launch("{}");
        MainWindow *window = m_app->window();
        QCOMPARE(window->windowTitle(), u"Varnook AI"_s);
        QCOMPARE(window->size(), QSize(1020, 700));
        QVERIFY(window->isVisible());
        QCOMPARE(window->contentView()->minimumSize(), QSize(900, 600));
        QCOMPARE(mainWindowCount(), 1);
        // Centred; the offscreen screen (800 x 600) is smaller than the window, so only the
        // horizontal centre is left as it was placed.
        const QRect screen = window->screen()->availableGeometry();
        QVERIFY(qAbs(window->geometry().center().x() - screen.center().x()) <= 2);

        QSettings settings;
        QVERIFY(settings.contains(u"NSQuitAlwaysKeepsWindows"_s));
        QCOMPARE(settings.value(u"NSQuitAlwaysKeepsWindows"_s).toBool(), false);
        QVERIFY(QFile::exists(settings.fileName()));
        QCOMPARE(QCoreApplication::applicationVersion(), QStringLiteral(VARNOOK_VERSION));
        QCOMPARE(QGuiApplication::desktopFileName(), u"com.tesselmo.varnook.settings"_s);
        QVERIFY(!QGuiApplication::quitOnLastWindowClosed());
    }

    // Without a launch event to send (no PostHog key in the tests) nothing goes online at
    // launch: no network access manager exists until the model first needs one, and then the
    // same one serves every later request.
    void launchWithoutALaunchEventMakesNoNetworkAccessManager()
    {
        launch("{}");
        QVERIFY(!Analytics::willCapture());
        QCOMPARE(m_app->network(), nullptr);
        QVERIFY(m_app->findChildren<QNetworkAccessManager *>().isEmpty());
        QVERIFY(model()->findChildren<QNetworkAccessManager *>().isEmpty());
        QNetworkAccessManager *network = model()->network();
        QVERIFY(network);
        QCOMPARE(network->parent(), model());
        QCOMPARE(model()->network(), network);
        QCOMPARE(model()->findChildren<QNetworkAccessManager *>().size(), 1);
    }

    void centreMovesTheWindowToTheMiddleOfItsScreen()
    {
        MainWindow window;
        window.resize(400, 300);
        window.move(0, 0);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        window.centre();
        const QRect screen = window.screen()->availableGeometry();
        QTRY_VERIFY(qAbs(window.frameGeometry().center().x() - screen.center().x()) <= 2);
        QVERIFY(qAbs(window.frameGeometry().center().y() - screen.center().y()) <= 2);
    }

    // ---- sidebar and bots --------------------------------------------------------------------

    void sidebarListsBotsThenTheSevenPagesInOrder()
    {
        launch(R"({"bot_tokens": ["1:a", "2:b"], "bot_nicknames": ["Trading", ""]})");
        QCOMPARE(sidebar()->topLevelItemCount(), 2);
        QCOMPARE(sidebar()->topLevelItem(0)->text(0), u"Bots"_s);
        QCOMPARE(sidebar()->topLevelItem(1)->text(0), u"Defaults"_s);
        QCOMPARE(botLabels(), (QStringList{u"Trading"_s, u"Bot 2"_s}));
        QStringList pages;
        const QTreeWidgetItem *defaults = sidebar()->topLevelItem(1);
        for (int i = 0; i < defaults->childCount(); ++i) {
            pages.append(defaults->child(i)->text(0));
            QVERIFY(!defaults->child(i)->icon(0).isNull());
        }
        QCOMPARE(pages, (QStringList{u"Model"_s, u"Telegram"_s, u"App"_s, u"Skills & Features"_s,
                                     u"Skill Registry"_s, u"About"_s, u"Updates"_s}));
        // The model starts on the first bot.
        QCOMPARE(sidebar()->currentItem()->text(0), u"Trading"_s);
        QCOMPARE(view()->currentPage()->objectName(), u"botPage"_s);
    }

    void withoutAConfigurationFileTheWindowOpensOnTheModelPage()
    {
        const QString missing = m_dir.filePath(u"missing/bot-config.json"_s);
        launch("{}", {u"varnook-settings"_s, missing});
        QCOMPARE(model()->path(), missing);
        QCOMPARE(WindowState::of(model())->selection(),
                 std::optional(SidebarItem::defaults(SectionID::Model)));
        QCOMPARE(sidebar()->currentItem()->text(0), u"Model"_s);
        QCOMPARE(view()->currentPage()->objectName(), u"modelPage"_s);
    }

    void withNoBotsAddBotIsEnabledAndAfterAddingItWaitsForAToken()
    {
        launch("{}");
        QVERIFY(botLabels().isEmpty());
        QVERIFY(addBot()->isEnabled());
        QCOMPARE(addBot()->toolTip(), u"Complete the last bot's token first"_s);

        QTest::mouseClick(addBot(), Qt::LeftButton);
        QCOMPARE(botLabels(), QStringList{u"Bot 1"_s});
        QCOMPARE(WindowState::of(model())->selection(), std::optional(SidebarItem::botAt(0)));
        QCOMPARE(sidebar()->currentItem()->text(0), u"Bot 1"_s);
        QVERIFY(!addBot()->isEnabled());
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"bot_tokens"_s).toArray().size(), 1);
        UiSupport::settle(); // the notification that follows the save, and its reload

        model()->setBotToken(0, u" \t "_s);
        QVERIFY(!addBot()->isEnabled());
        model()->setBotToken(0, u" 7"_s);
        QVERIFY(addBot()->isEnabled());
    }

    void blankTokenBlocksAddingAnotherBot()
    {
        launch(R"({"bot_tokens": ["1:a", "   "]})");
        QCOMPARE(botLabels().size(), 2);
        QVERIFY(!addBot()->isEnabled());
        QTest::mouseClick(addBot(), Qt::LeftButton);
        QCOMPARE(botLabels().size(), 2);
        QCOMPARE(model()->botTokens().size(), 2);
    }

    void thirdUnnamedBotIsBot3AndANicknameRelabelsItAtOnce()
    {
        launch(R"({"bot_tokens": ["1:a", "2:b", "3:c"], "bot_nicknames": ["A", "", ""]})");
        QCOMPARE(botLabels().at(2), u"Bot 3"_s);
        model()->setBotNickname(2, u"Trading"_s);
        QCOMPARE(botLabels().at(2), u"Trading"_s);
        QCOMPARE(botLabels().at(1), u"Bot 2"_s);
    }

    void nicknamesAreShownAsPlainText()
    {
        launch(R"({"bot_tokens": ["1:a"], "bot_nicknames": ["<b>x</b>"]})");
        QCOMPARE(botLabels(), QStringList{u"<b>x</b>"_s});
        // No tooltip that could take the nickname for markup.
        QVERIFY(sidebar()->topLevelItem(0)->child(0)->toolTip(0).isEmpty());
        QCOMPARE(sidebar()->topLevelItem(0)->child(0)->data(0, Qt::AccessibleTextRole).toString(),
                 u"<b>x</b>"_s);
        // Item views never interpret markup; no label of the window does either.
        for (const QLabel *label : m_app->window()->findChildren<QLabel *>())
            QVERIFY2(label->textFormat() == Qt::PlainText, qPrintable(label->objectName()));
    }

    void listSelectionAndModelSelectionFollowEachOther()
    {
        launch(R"({"bot_tokens": ["1:a", "2:b"]})");
        clickRow(view()->itemFor(SidebarItem::defaults(SectionID::Telegram)));
        QCOMPARE(WindowState::of(model())->selection(),
                 std::optional(SidebarItem::defaults(SectionID::Telegram)));
        QCOMPARE(view()->currentPage()->objectName(), u"telegramPage"_s);

        WindowState::of(model())->setSelection(SidebarItem::botAt(1));
        QCOMPARE(sidebar()->currentItem(), view()->itemFor(SidebarItem::botAt(1)));
        QCOMPARE(view()->currentPage()->objectName(), u"botPage"_s);

        // Keyboard: the arrow keys walk the list and the pages follow.
        sidebar()->setFocus();
        QTest::keyClick(sidebar(), Qt::Key_Up);
        QCOMPARE(WindowState::of(model())->selection(), std::optional(SidebarItem::botAt(0)));

        WindowState::of(model())->setSelection(std::nullopt);
        QVERIFY(sidebar()->selectedItems().isEmpty());
        QCOMPARE(view()->currentPage()->objectName(), u"emptyPage"_s);
    }

    void botPageIsRebuiltWhenTheBotOrTheNumberOfBotsChanges()
    {
        launch(R"({"bot_tokens": ["1:a", "2:b"]})");
        QPointer<QWidget> first = view()->currentPage();
        model()->setBotToken(0, u"1:ab"_s); // an edit on the page does not rebuild it
        QCOMPARE(view()->currentPage(), first.data());
        WindowState::of(model())->setSelection(SidebarItem::botAt(1));
        QVERIFY(view()->currentPage() != first.data());
        QPointer<QWidget> second = view()->currentPage();
        model()->removeBot(0);
        QVERIFY(view()->currentPage() != second.data());
        QTRY_VERIFY(second.isNull()); // the old page is gone, not hidden
        // The selection of bot 1 now points past the end: no page.
        WindowState::of(model())->setSelection(SidebarItem::botAt(5));
        QCOMPARE(view()->currentPage()->objectName(), u"emptyPage"_s);
    }

    void togglingTheSidebarButtonTwiceReturnsToTwoColumns()
    {
        launch("{}");
        QToolButton *toggle = UiSupport::find<QToolButton>(m_app->window(), u"sidebarToggle"_s);
        QVERIFY(toggle);
        QCOMPARE(toggle->toolTip(), u"Show or hide the sidebar"_s);
        QCOMPARE(toggle->accessibleName(), u"Show or hide the sidebar"_s);
        QCOMPARE(toggle->property("symbol").toString(), u"sidebar.left"_s);
        QVERIFY(view()->sidebarColumn()->isVisible());

        QTest::mouseClick(toggle, Qt::LeftButton);
        QCOMPARE(WindowState::of(model())->columnVisibility(), ColumnVisibility::DetailOnly);
        QVERIFY(!view()->sidebarColumn()->isVisible());
        QTRY_COMPARE(view()->detail()->width(), view()->width());

        QTest::mouseClick(toggle, Qt::LeftButton);
        QCOMPARE(WindowState::of(model())->columnVisibility(), ColumnVisibility::All);
        QVERIFY(view()->sidebarColumn()->isVisible());
    }

    void sidebarColumnKeepsItsWidthLimits()
    {
        launch("{}");
        QWidget *column = view()->sidebarColumn();
        QCOMPARE(column->minimumWidth(), 180);
        QCOMPARE(column->maximumWidth(), 260);
        QCOMPARE(column->width(), 200);
        m_app->window()->resize(1600, 900);
        QTRY_COMPARE(m_app->window()->width(), 1600);
        QVERIFY(column->width() <= 260);
    }

    // ---- search ------------------------------------------------------------------------------

    void searchFieldEditsTheFilterAndEscapeClearsIt()
    {
        launch("{}");
        auto *search = UiSupport::find<QLineEdit>(m_app->window(), u"settingsSearch"_s);
        QVERIFY(search);
        QCOMPARE(search->placeholderText(), u"Search settings"_s);
        search->setFocus();
        QTest::keyClicks(search, u"api k"_s);
        QCOMPARE(WindowState::of(model())->filter(), u"api k"_s);
        QTest::keyClick(search, Qt::Key_Escape);
        QCOMPARE(search->text(), QString());
        QCOMPARE(WindowState::of(model())->filter(), QString());

        WindowState::of(model())->setFilter(u"memor"_s);
        QCOMPARE(search->text(), u"memor"_s);

        // The clear button shows while there is text, and empties the filter.
        auto *clear = search->findChild<QAction *>(u"clearSearch"_s);
        QVERIFY(clear && clear->isVisible());
        clear->trigger();
        QCOMPARE(WindowState::of(model())->filter(), QString());
        QVERIFY(!clear->isVisible());
    }

    void ctrlFBringsBackTheSidebarAndFocusesTheSearch()
    {
        launch("{}");
        WindowState::of(model())->setColumnVisibility(ColumnVisibility::DetailOnly);
        m_app->window()->activateWindow();
        QTRY_VERIFY(m_app->window()->isActiveWindow());
        QTest::keySequence(m_app->window(), QKeySequence::Find);
        QCOMPARE(WindowState::of(model())->columnVisibility(), ColumnVisibility::All);
        QTRY_VERIFY(view()->searchField()->hasFocus());
    }

    // ---- status and skills -------------------------------------------------------------------

    void statusIsRefreshedWhileTheWindowIsShownOnly()
    {
        const QString statusPath = m_dir.filePath(u"varnook-status.json"_s);
        TestSupport::writeFile(statusPath, R"({"bot_running": true, "pid": 41})");
        launch("{}");
        QTRY_COMPARE(model()->status().pid, 41); // at once on show
        model()->setStatusRefreshInterval(20);
        m_app->window()->hide();
        m_app->window()->show();
        QVERIFY(view()->isRefreshingStatus());

        TestSupport::writeFile(statusPath, R"({"bot_running": true, "pid": 42})");
        QTRY_COMPARE(model()->status().pid, 42); // by the timer

        m_app->window()->close();
        QVERIFY(!view()->isRefreshingStatus());
        TestSupport::writeFile(statusPath, R"({"bot_running": false, "pid": 43})");
        QTest::qWait(100);
        QCOMPARE(model()->status().pid, 42);

        m_app->reactivate();
        QTRY_COMPARE(model()->status().pid, 43);
    }

    void skillsFolderIsReadWhenTheWindowIsFirstShown()
    {
        QVERIFY(QDir(m_dir.path()).mkpath(u"skills"_s));
        TestSupport::writeFile(m_dir.filePath(u"skills/weather.md"_s),
                               "---\ntitle: Weather\n---\nLook up the forecast.\n");
        launch("{}");
        QTRY_VERIFY(!model()->skills().isEmpty());
        QCOMPARE(model()->skills().constFirst().name, u"weather"_s);
    }

    // ---- closing and coming back -------------------------------------------------------------

    void closingAndReactivatingBringsTheSameWindowBackWithItsState()
    {
        launch(R"({"bot_tokens": ["1:a"]})");
        Shell::SettingsApp *app = m_app.get();
        SingleInstance instance(configPath(), QDBusConnection(u"none"_s));
        app->serve(&instance);
        QPointer<MainWindow> window = app->window();
        WindowState::of(model())->setSelection(SidebarItem::defaults(SectionID::App));
        view()->searchField()->setFocus();
        QTest::keyClicks(view()->searchField(), u"dock"_s);
        QVERIFY(instance.isWindowVisible());

        window->close();
        QVERIFY(!window->isVisible());
        QVERIFY(!window.isNull()); // hidden, not destroyed
        QVERIFY(!instance.isWindowVisible());
        QCOMPARE(mainWindowCount(), 1);

        // A second launch for the same file arrives through Activate.
        instance.Activate(u"token-1"_s);
        QVERIFY(QTest::qWaitForWindowExposed(window.data()));
        QCOMPARE(app->window(), window.data());
        QVERIFY(window->isVisible());
        QVERIFY(instance.isWindowVisible());
        QCOMPARE(instance.activations(), 1u);
        QCOMPARE(qEnvironmentVariable("XDG_ACTIVATION_TOKEN"), u"token-1"_s);
        QCOMPARE(WindowState::of(model())->selection(),
                 std::optional(SidebarItem::defaults(SectionID::App)));
        QCOMPARE(sidebar()->currentItem()->text(0), u"App"_s);
        QCOMPARE(view()->searchField()->text(), u"dock"_s);
        QCOMPARE(WindowState::of(model())->filter(), u"dock"_s);
    }

    void closingTheWindowSavesTextStillBeingTyped()
    {
        launch("{}");
        QCOMPARE(view()->currentPage()->objectName(), u"modelPage"_s);
        // Any text field of a page: the model id on the Model page.
        Field *field = nullptr;
        for (Field *candidate : view()->currentPage()->findChildren<Field *>()) {
            if (candidate->isVisible() && !candidate->isSecure()) {
                field = candidate;
                break;
            }
        }
        QVERIFY(field);
        m_app->window()->activateWindow();
        field->setFocus();
        QTRY_VERIFY(field->hasFocus());
        field->selectAll();
        QTest::keyClicks(field, u"typed-before-closing"_s);
        QVERIFY(!TestSupport::readFile(configPath()).contains("typed-before-closing"));
        m_app->window()->close();
        QVERIFY(TestSupport::readFile(configPath()).contains("\"typed-before-closing\""));
        QCOMPARE(m_transport.posts().size(), 1);
    }

    // ---- keyboard and accessibility ----------------------------------------------------------

    void everyControlIsNamedAndIconButtonsCarryTheirHelp()
    {
        launch(R"({"bot_tokens": ["1:a"]})");
        for (QWidget *widget : m_app->window()->findChildren<QWidget *>()) {
            if (widget->focusPolicy() == Qt::NoFocus || !widget->isVisible())
                continue;
            QVERIFY2(!widget->objectName().isEmpty(), widget->metaObject()->className());
            if (auto *button = qobject_cast<QAbstractButton *>(widget);
                button && button->text().isEmpty()) {
                QVERIFY2(!button->toolTip().isEmpty(), qPrintable(button->objectName()));
                QCOMPARE(button->accessibleName(), button->toolTip());
            }
        }
    }

    void tabReachesTheToolbarTheSearchAndTheList()
    {
        launch(R"({"bot_tokens": ["1:a"]})");
        m_app->window()->activateWindow();
        QTRY_VERIFY(m_app->window()->isActiveWindow());
        view()->sidebarToggle()->setFocus();
        QList<QWidget *> reached;
        for (int i = 0; i < 6; ++i) {
            reached.append(QApplication::focusWidget());
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        }
        QVERIFY(reached.contains(view()->sidebarToggle()));
        QVERIFY(reached.contains(view()->searchField()));
        QVERIFY(reached.contains(view()->sidebar()));
        QVERIFY(reached.contains(view()->addBotButton()));
    }

    // ---- rendering ---------------------------------------------------------------------------

    void everyPageIsRenderedToAPngOfTheWindowSize()
    {
        UiSupport::writeConfig(configPath(), R"({"bot_tokens": ["1:a", "2:b"]})");
        SettingsModel model(configPath(), ModelEnvironment{&m_transport});
        QTemporaryDir out;
        const QStringList files = Shell::renderPages(&model, out.path());
        QCOMPARE(files.size(), 2 + 7 + 1);
        QVERIFY(files.at(0).endsWith(u"01-bot-1.png"_s));
        QVERIFY(files.at(2).endsWith(u"03-model.png"_s));
        QVERIFY(files.at(9).endsWith(u"10-search-api.png"_s));
        for (const QString &file : files) {
            const QImage image(file);
            QCOMPARE(image.size(), QSize(1020, 700));
        }
        // Two different pages do not look the same: the sidebar selection moved.
        QVERIFY(QImage(files.at(0)) != QImage(files.at(1)));
        QCOMPARE(WindowState::of(&model)->selection(), std::optional(SidebarItem::botAt(0)));
    }
};

QTEST_MAIN(TestShell)
#include "tst_shell.moc"
