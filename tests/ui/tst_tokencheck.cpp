// "Check token" on a bot's page against a loopback Bot API: the line under the token, its
// colour, what a screen reader reads, and that the token shows up nowhere but in its field.
#include "ui/pages/botpage.h"

#include "ui/pages/botskillssheet.h"

#include "ui/controls/settingrow.h"
#include "ui/pagerenderer.h"
#include "ui/pages/tokencheck.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/accessibilitywalk.h"
#include "support/faketelegram.h"
#include "support/pageshots.h"
#include "support/silentserver.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString goodToken = u"111111:AAA-good"_s;
const QString badToken = u"222222:BBB-bad"_s;

// Every message Qt or the program logs while a test runs.
QStringList g_messages;
QtMessageHandler g_previous = nullptr;

void collect(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    g_messages.append(message);
    if (g_previous)
        g_previous(type, context, message);
}

} // namespace

class TestTokenCheck final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<BotPage> m_page;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }

    BotPage *open(const QString &token, int bot = 0, const QString &nickname = {})
    {
        const QJsonObject config{
            {u"bot_tokens"_s, QJsonArray{token, badToken}},
            {u"bot_nicknames"_s, QJsonArray{nickname}},
        };
        UiSupport::writeConfig(configPath(), QJsonDocument(config).toJson());
        m_page.reset();
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        m_page = std::make_unique<BotPage>(m_model.get(), bot);
        m_page->resize(820, 700);
        m_page->show();
        return m_page.get();
    }
    QPushButton *button() const
    {
        return UiSupport::find<QPushButton>(m_page.get(), u"botTokenCheck"_s);
    }
    QLabel *outcome() const
    {
        return UiSupport::find<QLabel>(m_page.get(), u"botTokenCheckOutcome"_s);
    }
    // Clicks "Check token" and waits for the answer.
    bool checkAndWait()
    {
        QTest::mouseClick(button(), Qt::LeftButton);
        return QTest::qWaitFor(
            [this] {
                return !outcome()->text().isEmpty()
                       && outcome()->text() != TokenCheck::checkingText();
            },
            20000);
    }
    QColor shownColour() const { return outcome()->palette().color(outcome()->foregroundRole()); }

private Q_SLOTS:
    void init()
    {
        g_messages.clear();
        g_previous = qInstallMessageHandler(collect);
    }
    void cleanup()
    {
        qInstallMessageHandler(g_previous);
        m_page.reset();
        m_model.reset();
        qunsetenv("VARNOOK_TELEGRAM_API_BASE");
    }

    void aGoodTokenShowsTheBotInGreen()
    {
        FakeTelegram telegram;
        telegram.addBot(goodToken, u"varnook_trading_bot"_s, u"Trading"_s);
        qputenv("VARNOOK_TELEGRAM_API_BASE", telegram.base().toUtf8());
        open(goodToken);
        QCOMPARE(button()->text(), u"Check token"_s);
        QVERIFY(!outcome()->isVisible());

        QVERIFY(checkAndWait());
        QCOMPARE(outcome()->text(), u"@varnook_trading_bot · Trading"_s);
        QVERIFY(outcome()->isVisible());
        QCOMPARE(outcome()->textFormat(), Qt::PlainText);
        QCOMPARE(outcome()->foregroundRole(), QPalette::WindowText);
        QCOMPARE(shownColour(), StatusColors::good());

        // A screen reader reads the answer and, beyond the colour, what it means.
        QAccessibleInterface *iface
            = AccessibilityWalk::reachableInterfaceOf(m_page.get(), outcome());
        QVERIFY(iface);
        QCOMPARE(iface->text(QAccessible::Name), u"@varnook_trading_bot · Trading"_s);
        QCOMPARE(iface->text(QAccessible::Description), TokenCheck::validDescription());
        QAccessibleInterface *buttonFace
            = AccessibilityWalk::reachableInterfaceOf(m_page.get(), button());
        QVERIFY(buttonFace);
        QCOMPARE(buttonFace->text(QAccessible::Name), u"Check token"_s);
        QVERIFY(buttonFace->actionInterface());
        QVERIFY(AccessibilityWalk::unnamedInteractive(m_page.get()).isEmpty());
    }

    void aBadTokenShowsTelegramsReasonInRed()
    {
        FakeTelegram telegram;
        qputenv("VARNOOK_TELEGRAM_API_BASE", telegram.base().toUtf8());
        open(badToken);
        QVERIFY(checkAndWait());
        QCOMPARE(outcome()->text(), u"Unauthorized"_s);
        QCOMPARE(outcome()->foregroundRole(), QPalette::WindowText);
        QCOMPARE(shownColour(), StatusColors::bad());
        QCOMPARE(outcome()->accessibleDescription(), TokenCheck::invalidDescription());
    }

    void aScreenReadersPressChecksToo()
    {
        FakeTelegram telegram;
        telegram.addBot(goodToken, u"b"_s, u"B"_s);
        qputenv("VARNOOK_TELEGRAM_API_BASE", telegram.base().toUtf8());
        open(goodToken);
        QAccessibleInterface *iface
            = AccessibilityWalk::reachableInterfaceOf(m_page.get(), button());
        QVERIFY(iface && iface->actionInterface());
        iface->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QTRY_COMPARE_WITH_TIMEOUT(outcome()->text(), u"@b · B"_s, 20000);
    }

    void whileCheckingTheButtonRestsAndAChangedTokenDropsTheAnswer()
    {
        SilentServer silent;
        QVERIFY(silent.listen());
        qputenv("VARNOOK_TELEGRAM_API_BASE", silent.url().toUtf8());
        open(goodToken);
        QTest::mouseClick(button(), Qt::LeftButton);
        QCOMPARE(outcome()->text(), TokenCheck::checkingText());
        QCOMPARE(outcome()->foregroundRole(), QPalette::PlaceholderText);
        // The focus stays on the button, and pressing it again starts nothing more.
        QVERIFY(button()->isEnabled());
        QVERIFY(button()->hasFocus() || !m_page->isActiveWindow());
        QTRY_COMPARE(silent.connectionCount(), 1);
        QTest::mouseClick(button(), Qt::LeftButton);
        QTest::qWait(100);
        QCOMPARE(silent.connectionCount(), 1);

        // The user types another token: the check is abandoned and its line goes.
        m_model->setBotToken(0, u"333:CCC"_s);
        QVERIFY(outcome()->text().isEmpty());
        QVERIFY(!outcome()->isVisible());
        // A new check can start at once.
        QTest::mouseClick(button(), Qt::LeftButton);
        QCOMPARE(outcome()->text(), TokenCheck::checkingText());
        QTRY_COMPARE(silent.connectionCount(), 2);
    }

    void theTokenIsShownNowhereButItsField()
    {
        // The server quotes the token back, and a second check fails on the network.
        FakeTelegram telegram;
        telegram.serve(
            goodToken,
            R"({"ok":false,"description":"token )" + goodToken.toUtf8() + R"( was revoked"})", 401);
        qputenv("VARNOOK_TELEGRAM_API_BASE", telegram.base().toUtf8());
        open(goodToken);
        QVERIFY(checkAndWait());
        QCOMPARE(outcome()->text(), u"token <token> was revoked"_s);

        QString gone;
        {
            SilentServer closed;
            QVERIFY(closed.listen());
            gone = closed.url();
        }
        qputenv("VARNOOK_TELEGRAM_API_BASE", gone.toUtf8());
        m_model->setBotToken(0, goodToken + u"x"_s);
        QVERIFY(checkAndWait());
        QCOMPARE(shownColour(), StatusColors::bad());

        for (QAccessibleInterface *iface : AccessibilityWalk::reachable(m_page.get())) {
            if (iface->object() && iface->object()->objectName() == u"botTokenField")
                continue; // the field holds it, masked
            for (const auto kind : {QAccessible::Name, QAccessible::Value, QAccessible::Description,
                                    QAccessible::Help}) {
                QVERIFY2(!iface->text(kind).contains(u"AAA-good"_s),
                         qPrintable(AccessibilityWalk::describe(iface)));
            }
        }
        for (QLabel *label : m_page->findChildren<QLabel *>()) {
            QVERIFY2(!label->text().contains(u"AAA-good"_s), qPrintable(label->objectName()));
            QVERIFY(!label->toolTip().contains(u"AAA-good"_s));
        }
        for (const QString &message : std::as_const(g_messages))
            QVERIFY2(!message.contains(u"AAA-good"_s), qPrintable(message));
    }

    void rendersLongAnswersInLightAndDark()
    {
        // 400 characters of Telegram's reason, and a bot whose name is as long.
        const QString longReason = QString(u"Bad Request: "_s).repeated(31).left(400);
        const QString longName = QString(u"Long-name "_s).repeated(40);
        FakeTelegram telegram;
        telegram.serve(badToken,
                       QJsonDocument(QJsonObject{{u"ok"_s, false}, {u"description"_s, longReason}})
                           .toJson(QJsonDocument::Compact),
                       400);
        telegram.addBot(goodToken, u"a_bot"_s, longName);
        qputenv("VARNOOK_TELEGRAM_API_BASE", telegram.base().toUtf8());

        const QString folder = PageShots::folder(m_dir.path());
        const QPalette light = QApplication::palette();
        for (const bool dark : {false, true}) {
            QApplication::setPalette(dark ? Shell::darkPalette() : light);
            for (const QString &token : {badToken, goodToken}) {
                UiSupport::writeConfig(
                    configPath(),
                    QJsonDocument(QJsonObject{{u"bot_tokens"_s, QJsonArray{token}}}).toJson());
                SettingsModel model(configPath(), ModelEnvironment{&m_transport});
                MainWindow window;
                QVERIFY(UiSupport::showWindow(window, &model));
                WindowState::of(&model)->setSelection(SidebarItem::botAt(0));
                UiSupport::settle(150);
                QWidget *page = window.contentView()->currentPage();
                QVERIFY(page);
                auto *check = UiSupport::find<QPushButton>(page, u"botTokenCheck"_s);
                auto *line = UiSupport::find<QLabel>(page, u"botTokenCheckOutcome"_s);
                QVERIFY(check && line);
                QTest::mouseClick(check, Qt::LeftButton);
                QTRY_VERIFY_WITH_TIMEOUT(line->text() != TokenCheck::checkingText(), 20000);
                QVERIFY(check->hasFocus());
                UiSupport::settle(150);
                QCOMPARE(line->text(), token == badToken ? longReason.simplified()
                                                         : u"@a_bot · "_s + longName.trimmed());
                const QString name = u"tokencheck-"_s + (token == badToken ? u"bad"_s : u"good"_s)
                                     + (dark ? u"-dark"_s : u"-light"_s);
                QVERIFY(window.grab().save(folder + u'/' + name + u".png"_s, "PNG"));
                const QStringList clipped = PageShots::clippedWidgets(page);
                QVERIFY2(clipped.isEmpty(), qPrintable(clipped.join(u"; "_s)));
                // The whole answer is on screen: the label is as tall as its wrapped text.
                QVERIFY(line->height() >= line->heightForWidth(line->width()));
            }
        }
        QApplication::setPalette(light);
    }
};

QTEST_MAIN(TestTokenCheck)
#include "tst_tokencheck.moc"
