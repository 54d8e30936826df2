#include "ui/contentview.h"
#include "ui/controls/settingrow.h"
#include "ui/mainwindow.h"
#include "ui/pages/pagekit.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QApplication>
#include <QLabel>
#include <QTemporaryDir>
#include <QTest>
#include <QVBoxLayout>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// Records every widget that is shown as a window of its own, other than the main window, for
// as long as it exists.
class WindowWatcher final : public QObject {
public:
    QStringList shown;

    WindowWatcher() { qApp->installEventFilter(this); }
    ~WindowWatcher() override { qApp->removeEventFilter(this); }
    QString report() const { return shown.join(u", "_s); }

protected:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() == QEvent::Show) {
            auto *widget = qobject_cast<QWidget *>(object);
            if (widget && widget->isWindow() && !qobject_cast<MainWindow *>(widget))
                shown.append(QString::fromLatin1(widget->metaObject()->className()) + u' '
                             + widget->objectName());
        }
        return false;
    }
};

const char demo[] = "{\"bot_tokens\": [\"1:a\", \"2:b\"], \"bot_nicknames\": [\"Momo\", \"\"],"
                    "\"fallbacks\": [{\"name\": \"b\", \"base_url\": \"http://x\","
                    "\"api_key\": \"k\", \"model\": \"m\"}]}";

// A window on screen for widgets to be placed in.
struct Host {
    QWidget widget;
    QVBoxLayout *layout = new QVBoxLayout(&widget);

    bool show()
    {
        widget.show();
        return QTest::qWaitForWindowExposed(&widget);
    }
};

} // namespace

// Building pages must not flash windows: a label shown before it has a parent opens as a
// window of its own (a real one on a desktop) until a layout adopts it.
class TestNoStrayWindows final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;

private Q_SLOTS:
    void buildingEveryPageOpensNoOtherWindow()
    {
        const QString path = m_dir.filePath(u"bot-config.json"_s);
        UiSupport::writeConfig(path, demo);
        SettingsModel model(path, ModelEnvironment{&m_transport});
        WindowWatcher watcher;

        MainWindow window;
        window.setContentView(new ContentView(&model));
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QList<std::optional<SidebarItem>> items;
        for (int i = 0; i < model.botTokens().size(); ++i)
            items.append(SidebarItem::botAt(i));
        for (SectionID section : allSections())
            items.append(SidebarItem::defaults(section));
        for (const auto &item : std::as_const(items)) {
            WindowState::of(&model)->setSelection(item);
            QCoreApplication::processEvents();
        }
        WindowState::of(&model)->setSelection(SidebarItem::defaults(SectionID::Model));
        WindowState::of(&model)->setFilter(u"API"_s);
        QCoreApplication::processEvents();
        WindowState::of(&model)->setFilter(QString());
        QCoreApplication::processEvents();

        QVERIFY2(watcher.shown.isEmpty(), qPrintable(watcher.report()));
    }

    // A row placed in a parent already on screen still follows the search afterwards, and a
    // group built while a search is under way shows only when one of its rows matches.
    void rowsAndGroupsPlacedOnScreenFollowTheSearch()
    {
        const QString path = m_dir.filePath(u"rows.json"_s);
        UiSupport::writeConfig(path, "{}");
        SettingsModel model(path, ModelEnvironment{&m_transport});
        Host host;
        QVERIFY(host.show());
        QVBoxLayout *layout = host.layout;
        WindowWatcher watcher;

        auto *row = new SettingRow(WindowState::of(&model), u"Allowed chat IDs"_s);
        layout->addWidget(row);
        QCoreApplication::processEvents();
        QVERIFY(row->isVisible());
        WindowState::of(&model)->setFilter(u"memory"_s);
        QVERIFY(!row->isVisible());
        WindowState::of(&model)->setFilter(u"chat"_s);
        QVERIFY(row->isVisible());

        WindowState::of(&model)->setFilter(u"memory"_s);
        auto *group = new SettingsGroup(WindowState::of(&model), u"Telegram"_s);
        layout->addWidget(group);
        group->addWidget(new SettingRow(WindowState::of(&model), u"Allowed chat IDs"_s));
        QCoreApplication::processEvents();
        QVERIFY(!group->isVisible());
        auto *matching = new SettingRow(WindowState::of(&model), u"Auto-memory"_s);
        group->addWidget(matching);
        QCoreApplication::processEvents();
        QVERIFY(group->isVisible());
        QVERIFY(matching->isVisible());

        QVERIFY2(watcher.shown.isEmpty(), qPrintable(watcher.report()));
    }

    // The helper the pages use instead of setVisible() for widgets that may not be placed yet.
    void shownWithParentNeverOpensAWindowAndKeepsTheLastWord()
    {
        Host host;
        QVERIFY(host.show());
        QVBoxLayout *layout = host.layout;
        WindowWatcher watcher;

        auto *hidden = new QLabel(u"hidden"_s);
        setShownWithParent(hidden, false);
        auto *shown = new QLabel(u"shown"_s);
        setShownWithParent(shown, true);
        auto *changedMind = new QLabel(u"changed mind"_s);
        setShownWithParent(changedMind, false);
        setShownWithParent(changedMind, true);
        QVERIFY(!hidden->isVisible() && !shown->isVisible() && !changedMind->isVisible());

        layout->addWidget(hidden);
        layout->addWidget(shown);
        layout->addWidget(changedMind);
        QCoreApplication::processEvents();
        QVERIFY(!hidden->isVisible());
        QVERIFY(shown->isVisible());
        QVERIFY(changedMind->isVisible());

        setShownWithParent(shown, false);
        QVERIFY(!shown->isVisible());
        setShownWithParent(hidden, true);
        QVERIFY(hidden->isVisible());

        QVERIFY2(watcher.shown.isEmpty(), qPrintable(watcher.report()));
    }
};

QTEST_MAIN(TestNoStrayWindows)
#include "tst_nostraywindows.moc"
