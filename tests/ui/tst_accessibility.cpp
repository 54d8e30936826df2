#include "ui/contentview.h"
#include "ui/controls/settingrow.h"
#include "ui/mainwindow.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/accessibilitywalk.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QAccessible>
#include <QAccessibleActionInterface>
#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QTreeWidget>

using namespace Qt::Literals::StringLiterals;

namespace {

const char document[]
    = "{\"bot_tokens\": [\"1:a\", \"2:b\"], \"bot_nicknames\": [\"Momo\", \"\"],"
      " \"bot_profiles\": [{\"fallbacks\": [{\"name\": \"n\", \"base_url\": \"http://x\","
      " \"api_key\": \"k\", \"model\": \"m\"}]}, {}],"
      " \"fallbacks\": [{\"name\": \"b\", \"base_url\": \"http://y\", \"api_key\": \"k\","
      " \"model\": \"m\"}], \"briefing_time\": \"08:00\"}";

QAccessibleInterface *findByName(QWidget *root, QAccessible::Role role, const QString &name)
{
    for (QAccessibleInterface *iface : AccessibilityWalk::reachable(root)) {
        if (iface->role() == role && iface->text(QAccessible::Name) == name)
            return iface;
    }
    return nullptr;
}

QStringList pageNames(const SettingsModel &model)
{
    QStringList names;
    for (int i = 0; i < model.botTokens().size(); ++i)
        names.append(u"bot %1"_s.arg(i + 1));
    for (SectionID section : allSections())
        names.append(sectionRawValue(section));
    return names;
}

} // namespace

// The window as a screen reader presents it, through Qt's accessibility interfaces: every
// control has a name, every value can be read, and every action a sighted user has is there.
class TestAccessibility final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<MainWindow> m_window;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }
    ContentView *view() const { return m_window->contentView(); }

    void open(const QByteArray &bytes)
    {
        m_window.reset();
        m_model.reset();
        UiSupport::writeConfig(configPath(), bytes);
        QVERIFY(QDir(m_dir.path()).mkpath(u"skills"_s));
        TestSupport::writeFile(m_dir.filePath(u"skills/weather.md"_s),
                               "---\ntitle: Weather\ndescription: Forecasts.\n---\nBody\n");
        TestSupport::writeFile(m_dir.filePath(u"varnook-status.json"_s),
                               "{\"bot_running\": true, \"pid\": 4, \"bot_handle\": "
                               "\"helper_bot\", \"requests\": 12, \"tokens_in\": 1200, "
                               "\"tokens_out\": 300}");
        m_transport.clear();
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        m_window = std::make_unique<MainWindow>();
        QVERIFY(UiSupport::showWindow(*m_window, m_model.get()));
        QTRY_VERIFY(!m_model->skills().isEmpty());
    }

    void select(const SidebarItem &item)
    {
        WindowState::of(m_model.get())->setSelection(item);
        UiSupport::settle();
    }

    QList<SidebarItem> everyPage() const
    {
        QList<SidebarItem> items;
        for (int i = 0; i < m_model->botTokens().size(); ++i)
            items.append(SidebarItem::botAt(i));
        for (SectionID section : allSections())
            items.append(SidebarItem::defaults(section));
        return items;
    }

private Q_SLOTS:
    void initTestCase() { QApplication::setApplicationVersion(u"0.1.0"_s); }
    void cleanup()
    {
        m_window.reset();
        m_model.reset();
    }

    // The walk a screen reader makes, on every page: no interactive element without a name,
    // no value row whose value cannot be read.
    void everyPageNamesItsControlsAndReadsItsValues()
    {
        open(document);
        const QStringList names = pageNames(*m_model);
        const QList<SidebarItem> items = everyPage();
        int valueRows = 0;
        for (qsizetype i = 0; i < items.size(); ++i) {
            select(items.at(i));
            const QString page = names.at(i);
            QVERIFY2(view()->currentPage()->objectName() != u"emptyPage"_s, qPrintable(page));
            const QStringList unnamed = AccessibilityWalk::unnamedInteractive(m_window.get());
            QVERIFY2(unnamed.isEmpty(), qPrintable(page + u": "_s + unnamed.join(u", "_s)));
            const QStringList unread = AccessibilityWalk::unreachableValues(m_window.get());
            QVERIFY2(unread.isEmpty(), qPrintable(page + u": "_s + unread.join(u", "_s)));
            valueRows += int(AccessibilityWalk::valueRows(view()->currentPage()).size());
        }
        // Model: five status rows; About: Config, Data and the two links; Updates: one.
        QCOMPARE(valueRows, 5 + 4 + 1);
    }

    void statusAndAboutValuesAreReadWithTheirTitles()
    {
        open(document);
        select(SidebarItem::defaults(SectionID::Model));
        auto *status = UiSupport::find<StatusRow>(view()->currentPage(), u"statusRow"_s);
        QVERIFY(status);
        QAccessibleInterface *value
            = AccessibilityWalk::reachableInterfaceOf(m_window.get(), status->valueLabel());
        QVERIFY(value);
        QCOMPARE(value->text(QAccessible::Name), u"Running as @helper_bot"_s);
        QVERIFY(AccessibilityWalk::labelledBy(value, u"Status"_s));

        select(SidebarItem::defaults(SectionID::About));
        auto *config = UiSupport::find<QLabel>(view()->currentPage(), u"configPath"_s);
        QVERIFY(config);
        value = AccessibilityWalk::reachableInterfaceOf(m_window.get(), config);
        QVERIFY(value);
        QCOMPARE(value->text(QAccessible::Name), configPath());
        QVERIFY(AccessibilityWalk::labelledBy(value, u"Config"_s));

        select(SidebarItem::defaults(SectionID::Updates));
        auto *installed = UiSupport::find<QLabel>(view()->currentPage(), u"installedVersion"_s);
        QVERIFY(installed);
        value = AccessibilityWalk::reachableInterfaceOf(m_window.get(), installed);
        QVERIFY(value);
        QCOMPARE(value->text(QAccessible::Name), u"0.1.0"_s);
        QVERIFY(AccessibilityWalk::labelledBy(value, u"Installed version"_s));
    }

    // "Add bot" is a button in the tree, with its help text and its enabled state, and its
    // press action adds a bot like a click.
    void addBotIsAPressableButtonWithHelpAndState()
    {
        open(R"({"bot_tokens": ["1:a"]})");
        QAccessibleInterface *addBot
            = findByName(m_window.get(), QAccessible::Button, u"Add bot"_s);
        QVERIFY(addBot);
        QCOMPARE(addBot->text(QAccessible::Description), u"Complete the last bot's token first"_s);
        QVERIFY(!addBot->state().disabled);
        // Its parent knows it as its child, so the tree reads the same both ways.
        QAccessibleInterface *parent = addBot->parent();
        QVERIFY(parent);
        QCOMPARE(parent->child(parent->indexOfChild(addBot)), addBot);
        QAccessibleActionInterface *actions = addBot->actionInterface();
        QVERIFY(actions);
        QVERIFY(actions->actionNames().contains(QAccessibleActionInterface::pressAction()));
        actions->doAction(QAccessibleActionInterface::pressAction());
        QTRY_COMPARE(m_model->botTokens().size(), 2);
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"bot_tokens"_s).toArray().size(), 2);

        // The new bot has no token yet: the button says it cannot add another, and pressing
        // it does nothing.
        addBot = findByName(m_window.get(), QAccessible::Button, u"Add bot"_s);
        QVERIFY(addBot);
        QVERIFY(addBot->state().disabled);
        addBot->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        UiSupport::settle();
        QCOMPARE(m_model->botTokens().size(), 2);
    }

    // A switch toggled through the screen reader's "Toggle" action is saved like a click, and
    // so is a press.
    void switchesToggledByAScreenReaderAreSaved()
    {
        open(document);
        select(SidebarItem::defaults(SectionID::App));
        QAccessibleInterface *dock
            = findByName(m_window.get(), QAccessible::CheckBox, u"Show in Dock"_s);
        QVERIFY(dock);
        QVERIFY(!dock->state().checked);
        dock->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
        QTRY_VERIFY(dock->state().checked);
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"show_in_dock"_s), QJsonValue(true));
        QCOMPARE(m_model->showInDock(), true);

        dock->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QTRY_VERIFY(!dock->state().checked);
        QTRY_COMPARE(UiSupport::readConfig(configPath()).value(u"show_in_dock"_s),
                     QJsonValue(false));

        // A feature switch and a skill switch of the Skills page, the same way.
        select(SidebarItem::defaults(SectionID::Skills));
        QAccessibleInterface *backfill
            = findByName(m_window.get(), QAccessible::CheckBox, u"Backfill missed messages"_s);
        QVERIFY(backfill);
        const bool before = backfill->state().checked;
        backfill->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
        QTRY_COMPARE(bool(backfill->state().checked), !before);
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"backfill_missed"_s).toBool(), !before);
        QAccessibleInterface *weather
            = findByName(m_window.get(), QAccessible::CheckBox, u"Weather"_s);
        QVERIFY(weather);
        QVERIFY(weather->state().checked);
        weather->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
        QTRY_VERIFY(!m_model->skills().constFirst().enabled);
    }

    void searchClearButtonIsNamed()
    {
        open(document);
        WindowState::of(m_model.get())->setFilter(u"api"_s);
        UiSupport::settle();
        QAccessibleInterface *clear
            = findByName(m_window.get(), QAccessible::Button, u"Clear the search"_s);
        QVERIFY(clear);
        clear->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QTRY_COMPARE(WindowState::of(m_model.get())->filter(), QString());
    }

    // The hour and minute menus are named after their row; the value is the time shown.
    void timePickersAreNamedAfterTheirRow_data()
    {
        QTest::addColumn<bool>("botPage");
        QTest::newRow("Telegram") << false;
        QTest::newRow("bot") << true;
    }
    void timePickersAreNamedAfterTheirRow()
    {
        QFETCH(bool, botPage);
        open(document);
        select(botPage ? SidebarItem::botAt(0) : SidebarItem::defaults(SectionID::Telegram));
        QAccessibleInterface *hour
            = findByName(m_window.get(), QAccessible::ComboBox, u"Daily briefing time, hour"_s);
        QAccessibleInterface *minute
            = findByName(m_window.get(), QAccessible::ComboBox, u"Daily briefing time, minute"_s);
        QVERIFY(hour);
        QVERIFY(minute);
        QCOMPARE(hour->text(QAccessible::Value), u"08"_s);
        QCOMPARE(minute->text(QAccessible::Value), u"00"_s);
        // Every menu of the page has a name of its own.
        QStringList names;
        for (QAccessibleInterface *iface : AccessibilityWalk::reachable(m_window.get())) {
            if (iface->role() == QAccessible::ComboBox)
                names.append(iface->text(QAccessible::Name));
        }
        QCOMPARE(names.size(), QSet<QString>(names.cbegin(), names.cend()).size());
    }

    // The arrow keys walk the sidebar through "Add bot" like through any row, both ways, and
    // Tab reaches it from the list.
    void keyboardReachesAddBot()
    {
        open(document);
        m_window->activateWindow();
        QTRY_VERIFY(m_window->isActiveWindow());
        QTreeWidget *sidebar = view()->sidebar();
        QToolButton *addBot = view()->addBotButton();
        select(SidebarItem::botAt(1));
        sidebar->setFocus();
        QTRY_VERIFY(sidebar->hasFocus());

        QTest::keyClick(sidebar, Qt::Key_Down);
        QTRY_VERIFY(addBot->hasFocus());
        // The page stays while the focus is on the button.
        QCOMPARE(WindowState::of(m_model.get())->selection(), std::optional(SidebarItem::botAt(1)));
        QCOMPARE(view()->currentPage()->objectName(), u"botPage"_s);
        QCOMPARE(sidebar->selectedItems(), QList{view()->itemFor(SidebarItem::botAt(1))});
        QTest::keyClick(addBot, Qt::Key_Up);
        QTRY_VERIFY(sidebar->hasFocus());
        QCOMPARE(WindowState::of(m_model.get())->selection(), std::optional(SidebarItem::botAt(1)));
        QTest::keyClick(sidebar, Qt::Key_Down);
        QTRY_VERIFY(addBot->hasFocus());
        QTest::keyClick(addBot, Qt::Key_Down);
        QTRY_VERIFY(sidebar->hasFocus());
        // Past "Add bot" and the "Defaults" heading, the first page.
        QTest::keyClick(sidebar, Qt::Key_Down);
        QCOMPARE(WindowState::of(m_model.get())->selection(),
                 std::optional(SidebarItem::defaults(SectionID::Model)));
        // And back up to it.
        QTest::keyClick(sidebar, Qt::Key_Up);
        QTest::keyClick(sidebar, Qt::Key_Up);
        QTRY_VERIFY(addBot->hasFocus());

        // Tab from the list.
        sidebar->setFocus();
        QTRY_VERIFY(sidebar->hasFocus());
        QTest::keyClick(sidebar, Qt::Key_Tab);
        QTRY_VERIFY(addBot->hasFocus());
        // Space presses it, as on any button.
        QTest::keyClick(addBot, Qt::Key_Space);
        QTRY_COMPARE(m_model->botTokens().size(), 3);
    }
};

QTEST_MAIN(TestAccessibility)
#include "tst_accessibility.moc"
