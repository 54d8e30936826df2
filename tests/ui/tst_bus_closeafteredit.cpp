#include "ui/contentview.h"
#include "ui/controls/field.h"
#include "ui/launch.h"
#include "ui/mainwindow.h"
#include "model/settingsmodel.h"
#include "service/dbustransport.h"
#include "support/uisupport.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

#include <memory>

using namespace Qt::Literals::StringLiterals;

// Closing the window right after an edit, as a user does: type, maybe press Return, close at
// once. The window must hide every time, and the edit must be in the file. The program talks
// to itself over the real session bus here, so the notification of the save comes back while
// the window is closing, as it does on a desktop.
class TestCloseAfterEdit final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<Shell::SettingsApp> m_app;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }
    MainWindow *window() const { return m_app->window(); }
    SettingsModel *model() const { return m_app->model(); }

    struct Target {
        SidebarItem page;
        QString field;
        QString key; // where the text lands in the file
    };

private Q_SLOTS:
    void initTestCase()
    {
        Shell::configureApplication();
        UiSupport::writeConfig(configPath(), R"({"bot_tokens": ["1:a"]})");
        m_app = std::make_unique<Shell::SettingsApp>(
            new DBusTransport(QDBusConnection::sessionBus()));
        m_app->launch({u"varnook-settings"_s, configPath()});
        QVERIFY(QTest::qWaitForWindowExposed(window()));
        QVERIFY(static_cast<DBusTransport *>(m_app->transport())->isConnected());
    }
    void cleanupTestCase() { m_app.reset(); }

    void closeHidesTheWindowAndKeepsTheEditEveryTime()
    {
        const QList<Target> targets{
            {SidebarItem::defaults(SectionID::Model), u"primaryModel"_s, u"model"_s},
            {SidebarItem::defaults(SectionID::Telegram), u"briefingPrompt"_s, u"briefing_prompt"_s},
            {SidebarItem::defaults(SectionID::App), u"dataDir"_s, u"data_dir"_s},
            {SidebarItem::botAt(0), u"botNickname"_s, u"bot_nicknames"_s},
        };
        QSignalSpy notifications(m_app->transport(), &NotificationTransport::received);
        for (int round = 0; round < 24; ++round) {
            const Target &target = targets.at(round % targets.size());
            m_app->reactivate();
            QVERIFY(QTest::qWaitForWindowExposed(window()));
            model()->setSelection(target.page);
            auto *field = UiSupport::find<Field>(window(), target.field);
            QVERIFY(field);
            window()->activateWindow();
            field->setFocus();
            QTRY_VERIFY(field->hasFocus());
            field->selectAll();
            const QString typed = u"edit-%1"_s.arg(round);
            QTest::keyClicks(field, typed);
            // Half the rounds commit with Return first, the others leave the commit to the
            // close; half close through the window system (the title bar's button, a window
            // manager), the others through QWidget::close().
            const bool pressReturn = round % 2 == 0;
            const bool fromWindowSystem = (round / 2) % 2 == 0;
            const qsizetype heardBefore = notifications.size();
            if (pressReturn)
                QTest::keyClick(field, Qt::Key_Return);
            if (fromWindowSystem)
                window()->windowHandle()->close();
            else
                window()->close();
            QVERIFY2(!window()->isVisible(), qPrintable(u"round %1"_s.arg(round)));
            // The save's notification comes back over the bus and the file is read again;
            // the window stays closed through that.
            QTRY_VERIFY_WITH_TIMEOUT(notifications.size() > heardBefore, 10000);
            UiSupport::settle(50);
            QVERIFY2(!window()->isVisible(), qPrintable(u"round %1"_s.arg(round)));
            const QByteArray file = TestSupport::readFile(configPath());
            QVERIFY2(file.contains(u"\"%1\""_s.arg(typed).toUtf8()),
                     qPrintable(target.key + u" lacks "_s + typed));
        }
    }
};

QTEST_MAIN(TestCloseAfterEdit)
#include "tst_bus_closeafteredit.moc"
