// The one network helper against servers that misbehave: endless bodies, a trickle that never
// lets an idle time-out fire, answers that are not HTTP, redirects, oversized answers. Deadlines
// are shortened through the limits; nothing here waits for the real 20 or 30 seconds.
#include "network/request.h"

#include "support/fakeproviderserver.h"
#include "support/hostileserver.h"
#include "support/silentserver.h"

#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTest>

#include <memory>
#include <optional>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int generous = 20000;

struct Heard {
    int calls = 0;
    Net::Outcome outcome;
};

} // namespace

class TestRequest final : public QObject {
    Q_OBJECT

private:
    std::shared_ptr<Heard> start(const QString &url, Net::Limits limits,
                                 Net::Method method = Net::Method::Get, QObject *context = nullptr)
    {
        auto heard = std::make_shared<Heard>();
        Net::send(&m_network, context ? context : this, method, QNetworkRequest(QUrl(url)),
                  method == Net::Method::Post ? QByteArray("{}") : QByteArray(), limits,
                  [heard](const Net::Outcome &outcome) {
                      ++heard->calls;
                      heard->outcome = outcome;
                  });
        return heard;
    }

    // Runs one request to its end and says how long it took.
    std::shared_ptr<Heard> run(const QString &url, Net::Limits limits, qint64 *elapsed = nullptr,
                               Net::Method method = Net::Method::Get)
    {
        QElapsedTimer clock;
        clock.start();
        auto heard = start(url, limits, method);
        if (!QTest::qWaitFor([&] { return heard->calls > 0; }, generous))
            qWarning("the request did not end");
        if (elapsed)
            *elapsed = clock.elapsed();
        return heard;
    }

    QNetworkAccessManager m_network;

private Q_SLOTS:
    void endlessChunkedBodyStopsAtTheLimit()
    {
        HostileServer server(HostileServer::Mode::EndlessChunked);
        const auto heard = run(server.url(u"/skill.md"_s), {generous, 1024 * 1024});
        QCOMPARE(heard->calls, 1);
        QCOMPARE(heard->outcome.ending, Net::Ending::TooLarge);
        QCOMPARE(heard->outcome.status, 200);
        QVERIFY(heard->outcome.body.isEmpty());
        QCOMPARE(heard->outcome.text, u"Answer larger than 1 MiB"_s);
        // The client went away instead of reading on until the deadline.
        QTRY_COMPARE_WITH_TIMEOUT(server.openConnections(), 0, generous);
        QVERIFY2(server.bytesSent() < 8 * 1024 * 1024,
                 qPrintable(QString::number(server.bytesSent())));
    }

    void endlessBodyWithoutLengthStopsAtTheLimit()
    {
        HostileServer server(HostileServer::Mode::EndlessBody);
        const auto heard = run(server.url(u"/skill.md"_s), {generous, 512 * 1024});
        QCOMPARE(heard->outcome.ending, Net::Ending::TooLarge);
        QTRY_COMPARE_WITH_TIMEOUT(server.openConnections(), 0, generous);
        QVERIFY(server.bytesSent() < 8 * 1024 * 1024);
    }

    void announcedLengthOverTheLimitIsRefusedBeforeReading()
    {
        HostileServer server(HostileServer::Mode::Reply);
        server.setAnswer("HTTP/1.1 200 OK\r\nContent-Length: 999999999\r\n\r\nxxxx");
        const auto heard = run(server.url(), {generous, 1000});
        QCOMPARE(heard->outcome.ending, Net::Ending::TooLarge);
        QCOMPARE(heard->outcome.text, u"Answer larger than 1000 bytes"_s);
    }

    void bodyUpToTheLimitIsKept()
    {
        HostileServer server(HostileServer::Mode::ReplyAndClose);
        const QByteArray body(1000, 'b');
        server.setAnswer("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + body);
        const auto heard = run(server.url(), {generous, 1000});
        QCOMPARE(heard->outcome.ending, Net::Ending::Answered);
        QVERIFY(heard->outcome.succeeded());
        QCOMPARE(heard->outcome.body, body);
        QCOMPARE(heard->outcome.text, u"HTTP 200"_s);
    }

    void bodyOneByteOverTheLimitIsTooLarge()
    {
        HostileServer server(HostileServer::Mode::ReplyAndClose);
        server.setAnswer("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + QByteArray(1001, 'b'));
        const auto heard = run(server.url(), {generous, 1000});
        QCOMPARE(heard->outcome.ending, Net::Ending::TooLarge);
        QVERIFY(heard->outcome.body.isEmpty());
    }

    void headersOnlyStopsBeforeTheEndlessBody()
    {
        HostileServer server(HostileServer::Mode::EndlessBody);
        qint64 elapsed = 0;
        const auto heard = run(server.url(u"/v1/chat/completions"_s), {generous, 0}, &elapsed,
                               Net::Method::Post);
        QCOMPARE(heard->outcome.ending, Net::Ending::Answered);
        QCOMPARE(heard->outcome.status, 200);
        QVERIFY(heard->outcome.succeeded());
        QVERIFY(heard->outcome.body.isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(server.openConnections(), 0, generous);
        // Only what the socket buffers held before the abort, not a body read to its end.
        QVERIFY2(server.bytesSent() < 16 * 1024 * 1024,
                 qPrintable(QString::number(server.bytesSent())));
        QVERIFY2(elapsed < 5000, qPrintable(QString::number(elapsed)));
    }

    // One byte every interval keeps an idle time-out from ever firing; the deadline is for
    // the whole request. Scaled down: one byte every 100 ms against a deadline of 1.5 s, as
    // one byte every 5 s would be against 20 s.
    void trickledBodyEndsAtTheDeadline()
    {
        HostileServer server(HostileServer::Mode::Trickle);
        server.setAnswer("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n"
                         + QByteArray(100000, 't'));
        server.setTrickleInterval(20);
        const int deadline = 1500;
        qint64 elapsed = 0;
        const auto heard = run(server.url(), {deadline, 4 * 1024 * 1024}, &elapsed);
        QCOMPARE(heard->outcome.ending, Net::Ending::TimedOut);
        QCOMPARE(heard->outcome.text, u"Request timed out"_s);
        QVERIFY(heard->outcome.body.isEmpty());
        QVERIFY2(elapsed >= deadline * 9 / 10, qPrintable(QString::number(elapsed)));
        QVERIFY2(elapsed < deadline + 5000, qPrintable(QString::number(elapsed)));
        // Bytes kept arriving until then: this was no idle connection.
        QVERIFY(server.bytesSent() > 10);
    }

    void trickledStatusLineEndsAtTheDeadline()
    {
        HostileServer server(HostileServer::Mode::Trickle);
        server.setAnswer("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n{}");
        server.setTrickleInterval(100);
        const int deadline = 1200;
        qint64 elapsed = 0;
        const auto heard = run(server.url(), {deadline, 0}, &elapsed, Net::Method::Post);
        QCOMPARE(heard->outcome.ending, Net::Ending::TimedOut);
        QVERIFY2(elapsed >= deadline * 9 / 10, qPrintable(QString::number(elapsed)));
        QVERIFY2(elapsed < deadline + 5000, qPrintable(QString::number(elapsed)));
    }

    void answerThatIsNotHttpIsNotHttp_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("ssh banner, connection kept")
            << int(HostileServer::Mode::Reply) << QByteArray("SSH-2.0-OpenSSH_9.2p1 Debian\r\n");
        QTest::newRow("ssh banner, connection closed")
            << int(HostileServer::Mode::ReplyAndClose)
            << QByteArray("SSH-2.0-OpenSSH_9.2p1 Debian\r\n");
        QTest::newRow("binary") << int(HostileServer::Mode::ReplyAndClose)
                                << QByteArray("\x15\x03\x01\x00\x02\x02\x46", 7);
        QTest::newRow("closed without a word")
            << int(HostileServer::Mode::ReplyAndClose) << QByteArray();
    }

    void answerThatIsNotHttpIsNotHttp()
    {
        QFETCH(int, mode);
        QFETCH(QByteArray, answer);
        HostileServer server(static_cast<HostileServer::Mode>(mode));
        server.setAnswer(answer);
        qint64 elapsed = 0;
        const auto heard = run(server.url(u"/v1/chat/completions"_s), {generous, 0}, &elapsed,
                               Net::Method::Post);
        QCOMPARE(heard->outcome.ending, Net::Ending::NotHttp);
        QCOMPARE(heard->outcome.status, 0);
        QCOMPARE(heard->outcome.text, u"Not an HTTP answer"_s);
        QVERIFY2(elapsed < 10000, qPrintable(QString::number(elapsed)));
    }

    void redirectIsAnAnswerAndNotFollowed()
    {
        FakeProviderServer elsewhere;
        QVERIFY(elsewhere.listen());
        HostileServer server(HostileServer::Mode::ReplyAndClose);
        server.setAnswer("HTTP/1.1 302 Found\r\nLocation: " + elsewhere.url(u"/x"_s).toUtf8()
                         + "\r\nContent-Length: 0\r\n\r\n");
        const auto heard = run(server.url(), {generous, 1000});
        QCOMPARE(heard->outcome.ending, Net::Ending::Answered);
        QCOMPARE(heard->outcome.status, 302);
        QVERIFY(!heard->outcome.succeeded());
        QCOMPARE(heard->outcome.text, u"HTTP 302"_s);
        QTest::qWait(100);
        QVERIFY(elsewhere.requests().isEmpty());
    }

    void onlyHttpAndHttpsAreSent_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("text");
        QTest::newRow("file") << u"file:///etc/passwd"_s << u"Protocol \"file\" is unknown"_s;
        QTest::newRow("data") << u"data:text/plain,hello"_s << u"Protocol \"data\" is unknown"_s;
        QTest::newRow("ftp") << u"ftp://127.0.0.1/x"_s << u"Protocol \"ftp\" is unknown"_s;
        QTest::newRow("no scheme") << u"/just/a/path"_s << u"Protocol \"\" is unknown"_s;
    }

    void onlyHttpAndHttpsAreSent()
    {
        QFETCH(QString, url);
        QFETCH(QString, text);
        const auto heard = start(url, {generous, 1000});
        // Never before send() has returned.
        QCOMPARE(heard->calls, 0);
        QTRY_COMPARE(heard->calls, 1);
        QCOMPARE(heard->outcome.ending, Net::Ending::Unsupported);
        QCOMPARE(heard->outcome.text, text);
        QVERIFY(m_network.findChildren<QNetworkReply *>().isEmpty());
    }

    void refusedConnectionGivesQtsDescription()
    {
        const quint16 port = TestSupport::closedPort();
        QVERIFY(port != 0);
        const auto heard = run(u"http://127.0.0.1:"_s + QString::number(port), {generous, 1000});
        QCOMPARE(heard->outcome.ending, Net::Ending::Failed);
        QCOMPARE(heard->outcome.text, u"Connection refused"_s);
    }

    void errorStatusIsAnAnswerWithItsBody()
    {
        HostileServer server(HostileServer::Mode::ReplyAndClose);
        server.setAnswer("HTTP/1.1 404 Not Found\r\nContent-Length: 9\r\n\r\nnot found");
        const auto heard = run(server.url(), {generous, 1000});
        QCOMPARE(heard->outcome.ending, Net::Ending::Answered);
        QCOMPARE(heard->outcome.status, 404);
        QCOMPARE(heard->outcome.body, QByteArray("not found"));
        QVERIFY(!heard->outcome.succeeded());
    }

    void everyRequestCarriesOurUserAgent()
    {
        HostileServer server(HostileServer::Mode::ReplyAndClose);
        server.setAnswer("HTTP/1.1 204 No Content\r\n\r\n");
        run(server.url(), {generous, 0}, nullptr, Net::Method::Post);
        QVERIFY2(server.lastRequestHead().contains(
                     "\r\nUser-Agent: varnook-settings/" VARNOOK_VERSION "\r\n"),
                 server.lastRequestHead().constData());
        QVERIFY(!server.lastRequestHead().contains("Mozilla"));
    }

    void contextGoneFirstHearsNothingAndStopsTheRequest()
    {
        SilentServer silent;
        QVERIFY(silent.listen());
        auto *context = new QObject;
        const auto heard = start(silent.url(), {generous, 1000}, Net::Method::Get, context);
        QTRY_VERIFY(silent.bytesReceived() > 0);
        delete context;
        QTRY_VERIFY_WITH_TIMEOUT(m_network.findChildren<QNetworkReply *>().isEmpty(), 2000);
        QTest::qWait(100);
        QCOMPARE(heard->calls, 0);
    }

    void sizeTextNamesWholeUnits()
    {
        QCOMPARE(Net::sizeText(4 * 1024 * 1024), u"4 MiB"_s);
        QCOMPARE(Net::sizeText(16 * 1024 * 1024), u"16 MiB"_s);
        QCOMPARE(Net::sizeText(64 * 1024), u"64 KiB"_s);
        QCOMPARE(Net::sizeText(1000), u"1000 bytes"_s);
    }
};

QTEST_GUILESS_MAIN(TestRequest)
#include "tst_request.moc"
