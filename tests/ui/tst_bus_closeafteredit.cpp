#include "ui/contentview.h"
#include "ui/controls/field.h"
#include "ui/launch.h"
#include "ui/mainwindow.h"
#include "model/settingsmodel.h"
#include "service/dbustransport.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QGuiApplication>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

#include <memory>

#ifdef VARNOOK_TEST_XCB
#include <xcb/xcb.h>

namespace {

xcb_atom_t atom(xcb_connection_t *connection, const char *name)
{
    const xcb_intern_atom_cookie_t cookie
        = xcb_intern_atom(connection, 0, static_cast<uint16_t>(qstrlen(name)), name);
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(connection, cookie, nullptr);
    const xcb_atom_t value = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    free(reply);
    return value;
}

// Asks the window to close the way a window manager does when its close button is pressed: a
// WM_DELETE_WINDOW client message, sent through the X server. False when this is not X11.
bool sendDeleteWindow(QWindow *window)
{
    // The offscreen platform answers for X11 too, with no connection.
    auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t *connection = x11 ? x11->connection() : nullptr;
    if (!connection || !window || QGuiApplication::platformName() != QStringLiteral("xcb"))
        return false;
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = static_cast<xcb_window_t>(window->winId());
    event.type = atom(connection, "WM_PROTOCOLS");
    event.data.data32[0] = atom(connection, "WM_DELETE_WINDOW");
    event.data.data32[1] = XCB_CURRENT_TIME;
    xcb_send_event(connection, 0, event.window, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char *>(&event));
    xcb_flush(connection);
    return true;
}

} // namespace
#endif

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
        // The X11 run must really be on X11, or it would test the same as the offscreen one.
        if (qEnvironmentVariable("QT_QPA_PLATFORM") == u"xcb"_s)
            QCOMPARE(QGuiApplication::platformName(), u"xcb"_s);
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
        int closedThroughTheServer = 0;
        for (int round = 0; round < 24; ++round) {
            const Target &target = targets.at(round % targets.size());
            m_app->reactivate();
            QVERIFY(QTest::qWaitForWindowExposed(window()));
            WindowState::of(model())->setSelection(target.page);
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
            bool throughTheServer = false;
#ifdef VARNOOK_TEST_XCB
            if (fromWindowSystem)
                throughTheServer = sendDeleteWindow(window()->windowHandle());
#endif
            closedThroughTheServer += throughTheServer ? 1 : 0;
            if (throughTheServer) // the message comes back from the X server
                QTRY_VERIFY2(!window()->isVisible(), qPrintable(u"round %1"_s.arg(round)));
            else if (fromWindowSystem)
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
        // On X11 the window system's closes were real WM_DELETE_WINDOW messages, every one.
        if (QGuiApplication::platformName() == u"xcb"_s)
            QCOMPARE(closedThroughTheServer, 12);
    }
};

QTEST_MAIN(TestCloseAfterEdit)
#include "tst_bus_closeafteredit.moc"
