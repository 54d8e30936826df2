// Checking a bot token against loopback stand-ins for Telegram's Bot API: what the user is
// told for each kind of answer, the limits, and that the token is in no text that comes back.
#include "telegram/botapi.h"

#include "support/faketelegram.h"
#include "support/hostileserver.h"
#include "support/silentserver.h"

#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTest>

#include <optional>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString goodToken = u"123456:ABC-good_token"_s;
const QString badToken = u"654321:XYZ-revoked"_s;

} // namespace

class TestBotApi final : public QObject {
    Q_OBJECT

    QNetworkAccessManager m_network;

    BotApi::TokenCheck check(const QString &base, const QString &token,
                             Net::Limits limits = BotApi::tokenCheckLimits)
    {
        std::optional<BotApi::TokenCheck> answer;
        QObject context;
        BotApi::checkToken(
            &m_network, &context, base, token, [&](const BotApi::TokenCheck &c) { answer = c; },
            limits);
        // Never answered before checkToken returns.
        if (answer)
            return {true, u"answered too early"_s};
        if (!QTest::qWaitFor([&] { return answer.has_value(); }, 30000))
            return {true, u"no answer"_s};
        return *answer;
    }

private Q_SLOTS:
    void aGoodTokenNamesTheBot()
    {
        FakeTelegram telegram;
        telegram.addBot(goodToken, u"varnook_helper_bot"_s, u"Varnook Helper"_s);
        const BotApi::TokenCheck result = check(telegram.base(), goodToken);
        QCOMPARE(result, (BotApi::TokenCheck{true, u"@varnook_helper_bot · Varnook Helper"_s}));
        QCOMPARE(telegram.paths(), QStringList{u"/bot"_s + goodToken + u"/getMe"_s});
    }

    void aBadTokenShowsTelegramsOwnReason()
    {
        FakeTelegram telegram;
        const BotApi::TokenCheck result = check(telegram.base(), badToken);
        QCOMPARE(result, (BotApi::TokenCheck{false, u"Unauthorized"_s}));
    }

    void aBaseWithATrailingSlashMakesOneAddress()
    {
        FakeTelegram telegram;
        telegram.addBot(goodToken, u"b"_s, u"B"_s);
        QVERIFY(check(telegram.base() + u"/"_s, goodToken).valid);
        QCOMPARE(BotApi::getMeUrl(u"https://api.telegram.org/"_s, u"1:A"_s).toString(),
                 u"https://api.telegram.org/bot1:A/getMe"_s);
    }

    void aPastedTokenCannotLeaveThePath()
    {
        const QUrl url = BotApi::getMeUrl(u"https://api.telegram.org"_s, u"1:A/../x?y#z"_s);
        QCOMPARE(url.path(QUrl::FullyEncoded), u"/bot1:A%2F..%2Fx%3Fy%23z/getMe"_s);
        QVERIFY(url.query().isEmpty());
        QVERIFY(url.fragment().isEmpty());
    }

    void answersThatAreNotTelegramsAreNotUnderstood()
    {
        FakeTelegram telegram;
        telegram.serve(goodToken, "<html>hello</html>", 200);
        QCOMPARE(check(telegram.base(), goodToken),
                 (BotApi::TokenCheck{false, u"Telegram's answer was not understood"_s}));
        // ok, but no bot in it
        telegram.serve(goodToken, R"({"ok":true,"result":{"first_name":"X"}})", 200);
        QCOMPARE(check(telegram.base(), goodToken).text, u"Telegram's answer was not understood"_s);
        // an error status without Telegram's shape: the status is the reason
        telegram.serve(goodToken, "Bad gateway", 502);
        QCOMPARE(check(telegram.base(), goodToken), (BotApi::TokenCheck{false, u"HTTP 502"_s}));
        // a reason over several lines stays one line
        telegram.serve(goodToken, R"({"ok":false,"description":"Not\nFound"})", 404);
        QCOMPARE(check(telegram.base(), goodToken), (BotApi::TokenCheck{false, u"Not Found"_s}));
    }

    void anEmptyTokenIsNotSent()
    {
        FakeTelegram telegram;
        QCOMPARE(check(telegram.base(), u"   "_s),
                 (BotApi::TokenCheck{false, u"No token to check"_s}));
        QVERIFY(telegram.paths().isEmpty());
    }

    void aServerThatNeverAnswersEndsAtTheDeadline()
    {
        SilentServer silent;
        QVERIFY(silent.listen());
        QElapsedTimer clock;
        clock.start();
        const BotApi::TokenCheck result = check(silent.url(), goodToken, {300, 64 * 1024});
        QCOMPARE(result, (BotApi::TokenCheck{false, u"Request timed out"_s}));
        QVERIFY2(clock.elapsed() < 5000, qPrintable(QString::number(clock.elapsed())));
    }

    void anEndlessAnswerIsCutAtTheLimit()
    {
        HostileServer endless(HostileServer::Mode::EndlessBody);
        const BotApi::TokenCheck result = check(endless.url(), goodToken);
        QCOMPARE(result, (BotApi::TokenCheck{false, u"Answer larger than 64 KiB"_s}));
        QVERIFY(endless.bytesSent() < 8 * 1024 * 1024);
    }

    void theTokenIsInNoTextThatComesBack()
    {
        // A server that quotes the token back.
        FakeTelegram telegram;
        telegram.serve(goodToken,
                       R"({"ok":false,"description":"Forbidden: token )" + goodToken.toUtf8()
                           + R"( is blocked"})",
                       403);
        BotApi::TokenCheck result = check(telegram.base(), goodToken);
        QCOMPARE(result.text, u"Forbidden: token <token> is blocked"_s);

        // A connection broken mid-body: Qt's error text quotes the whole address.
        HostileServer broken(HostileServer::Mode::ReplyAndClose);
        broken.setAnswer("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n{\"ok\":");
        result = check(broken.url(), goodToken);
        QVERIFY(!result.valid);
        QVERIFY2(!result.text.isEmpty(), "the failure has a reason");
        QVERIFY2(!result.text.contains(goodToken), qPrintable(result.text));
        QVERIFY2(!result.text.contains(u"ABC-good"_s), qPrintable(result.text));

        // A refused connection.
        QString refused;
        {
            SilentServer gone;
            QVERIFY(gone.listen());
            refused = gone.url();
        }
        result = check(refused, goodToken);
        QVERIFY(!result.valid);
        QVERIFY2(!result.text.contains(goodToken), qPrintable(result.text));
    }

    void scrubbingCatchesEveryWriting()
    {
        const QString token = u"1:a b/c"_s;
        QCOMPARE(BotApi::scrubbed(u"x 1:a b/c y"_s, token), u"x <token> y"_s);
        QCOMPARE(BotApi::scrubbed(u"http://h/bot1:a%20b%2Fc/getMe"_s, token),
                 u"http://h/bot<token>/getMe"_s);
        QCOMPARE(BotApi::scrubbed(u"http://h/bot1:a%20b%2fc/getMe"_s, token),
                 u"http://h/bot<token>/getMe"_s);
        // Qt shows a blank in a path as it is, and keeps "/" escaped.
        QCOMPARE(BotApi::scrubbed(u"http://h/bot1:a b%2Fc/getMe"_s, token),
                 u"http://h/bot<token>/getMe"_s);
        QCOMPARE(BotApi::scrubbed(u"nothing here"_s, token), u"nothing here"_s);
    }
};

QTEST_GUILESS_MAIN(TestBotApi)
#include "tst_botapi.moc"
