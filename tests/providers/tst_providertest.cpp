#include "providers/providertest.h"

#include "support/fakeposthog.h"
#include "support/fakeproviderserver.h"
#include "support/hostileserver.h"
#include "support/silentserver.h"
#include "support/waits.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// What the completion of one test call received.
struct Heard {
    int calls = 0;
    bool ok = false;
    QString message;
    bool onMainThread = false;
};

// Answers every request itself, from a data: URL: a real reply that carries no HTTP status,
// as a provider URL with a non-HTTP scheme would get from a client that can post to it.
class NonHttpNetwork final : public QNetworkAccessManager {
public:
    using QNetworkAccessManager::QNetworkAccessManager;

protected:
    QNetworkReply *createRequest(Operation, const QNetworkRequest &, QIODevice *) override
    {
        return QNetworkAccessManager::createRequest(
            GetOperation, QNetworkRequest(QUrl(u"data:text/plain,pong"_s)), nullptr);
    }
};

} // namespace

class TestProviderRequest final : public QObject {
    Q_OBJECT

private:
    std::shared_ptr<Heard> start(const QString &baseURL, const QString &apiKey,
                                 const QString &model, int timeoutMs = 5000,
                                 QNetworkAccessManager *network = nullptr,
                                 QObject *context = nullptr)
    {
        auto heard = std::make_shared<Heard>();
        Providers::testProvider(network ? network : &m_network, timeoutMs, context ? context : this,
                                baseURL, apiKey, model, [heard](bool ok, const QString &message) {
                                    ++heard->calls;
                                    heard->ok = ok;
                                    heard->message = message;
                                    heard->onMainThread
                                        = QThread::currentThread() == qApp->thread();
                                });
        return heard;
    }

    // Runs one test to its end. A test that never ends leaves calls at 0 and the message
    // empty, which every caller's comparison then reports.
    std::shared_ptr<Heard> run(const QString &baseURL, const QString &apiKey, const QString &model,
                               int timeoutMs = 5000, QNetworkAccessManager *network = nullptr)
    {
        auto heard = start(baseURL, apiKey, model, timeoutMs, network);
        if (!QTest::qWaitFor([&] { return heard->calls > 0; }, 10000))
            qWarning("the provider test did not complete");
        return heard;
    }

    QNetworkAccessManager m_network;
    FakeProviderServer m_server;

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init()
    {
        m_server.clear();
        m_server.setDefaultAnswer({});
    }

    void v1AndV1SlashBothPostToV1ChatCompletions()
    {
        const auto plain = run(m_server.url(u"/v1"_s), u"sk-a"_s, u"gpt-4o-mini"_s);
        const auto slash = run(m_server.url(u"/v1/"_s), u"sk-a"_s, u"gpt-4o-mini"_s);

        QCOMPARE(m_server.requests().size(), 2);
        QCOMPARE(m_server.requests().at(0).path, u"/v1/chat/completions"_s);
        QCOMPARE(m_server.requests().at(1).path, u"/v1/chat/completions"_s);
        QCOMPARE(plain->message, u"gpt-4o-mini: reachable (HTTP 200)"_s);
        QCOMPARE(slash->message, u"gpt-4o-mini: reachable (HTTP 200)"_s);
    }

    void baseUrlIsJoinedWithoutOtherNormalising_data()
    {
        QTest::addColumn<QString>("suffix");
        QTest::addColumn<QString>("path");
        QTest::newRow("no path") << QString() << u"/chat/completions"_s;
        QTest::newRow("root") << u"/"_s << u"/chat/completions"_s;
        QTest::newRow("no version inserted") << u"/openai"_s << u"/openai/chat/completions"_s;
        QTest::newRow("deeper version") << u"/api/v2/"_s << u"/api/v2/chat/completions"_s;
        QTest::newRow("only one slash is taken") << u"/v1//"_s << u"/v1//chat/completions"_s;
    }

    void baseUrlIsJoinedWithoutOtherNormalising()
    {
        QFETCH(QString, suffix);
        QFETCH(QString, path);
        const auto heard = run(m_server.url(suffix), QString(), u"m"_s);
        QVERIFY(heard->ok);
        QCOMPARE(m_server.requests().size(), 1);
        QCOMPARE(m_server.requests().constFirst().path, path);
    }

    void requestIsOneJsonPostWithThePingBody()
    {
        run(m_server.url(u"/v1"_s), u"sk-a"_s, u"llama-3.1-8b"_s);

        QCOMPARE(m_server.requests().size(), 1);
        const RecordedRequest &request = m_server.requests().constFirst();
        QCOMPARE(request.method, u"POST"_s);
        QCOMPARE(request.header("Content-Type"), QByteArray("application/json"));

        const QJsonObject body = request.json();
        QStringList members = body.keys();
        members.sort();
        QCOMPARE(members, (QStringList{u"max_tokens"_s, u"messages"_s, u"model"_s}));
        QCOMPARE(body.value("model"_L1).toString(), u"llama-3.1-8b"_s);
        // An integer on the wire, not 1.0.
        QVERIFY(request.body.contains("\"max_tokens\":1,")
                || request.body.contains("\"max_tokens\":1}"));
        const QJsonArray messages = body.value("messages"_L1).toArray();
        QCOMPARE(messages.size(), 1);
        const QJsonObject ping = messages.at(0).toObject();
        QCOMPARE(ping, (QJsonObject{{u"role"_s, u"user"_s}, {u"content"_s, u"ping"_s}}));
    }

    void apiKeyTravelsAsBearerToken()
    {
        run(m_server.url(u"/v1"_s), u"sk-proj-123"_s, u"m"_s);
        QCOMPARE(m_server.requests().size(), 1);
        QCOMPARE(m_server.requests().constFirst().header("Authorization"),
                 QByteArray("Bearer sk-proj-123"));
    }

    void emptyApiKeySendsNoAuthorizationHeader()
    {
        const auto heard = run(m_server.url(u"/v1"_s), QString(), u"local-model"_s);
        QVERIFY(heard->ok);
        QCOMPARE(m_server.requests().size(), 1);
        QVERIFY(!m_server.requests().constFirst().hasHeader("Authorization"));
    }

    void modelIsSentAndReportedExactlyAsStored()
    {
        const auto heard = run(m_server.url(u"/v1"_s), QString(), u" gpt 4o "_s);
        QCOMPARE(m_server.requests().constFirst().json().value("model"_L1).toString(),
                 u" gpt 4o "_s);
        QCOMPARE(heard->message, u" gpt 4o : reachable (HTTP 200)"_s);
    }

    void emptyModelMessageBeginsWithColon()
    {
        m_server.setDefaultAnswer({404});
        const auto heard = run(m_server.url(u"/v1"_s), QString(), QString());
        QCOMPARE(m_server.requests().constFirst().json().value("model"_L1), QJsonValue(QString()));
        QCOMPARE(heard->message, u": HTTP 404"_s);
    }

    void status401GivesNotOkWithHttp401()
    {
        m_server.setDefaultAnswer({401});
        const auto heard = run(m_server.url(u"/v1"_s), u"sk-wrong"_s, u"gpt-4o"_s);
        QCOMPARE(heard->ok, false);
        QCOMPARE(heard->message, u"gpt-4o: HTTP 401"_s);
    }

    void status204GivesReachable()
    {
        m_server.setDefaultAnswer({204});
        const auto heard = run(m_server.url(u"/v1"_s), u"sk"_s, u"gpt-4o"_s);
        QCOMPARE(heard->ok, true);
        QCOMPARE(heard->message, u"gpt-4o: reachable (HTTP 204)"_s);
    }

    void statusDecidesTheOutcome_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("message");
        QTest::newRow("200") << 200 << true << u"m: reachable (HTTP 200)"_s;
        QTest::newRow("201") << 201 << true << u"m: reachable (HTTP 201)"_s;
        QTest::newRow("299") << 299 << true << u"m: reachable (HTTP 299)"_s;
        QTest::newRow("400") << 400 << false << u"m: HTTP 400"_s;
        QTest::newRow("403") << 403 << false << u"m: HTTP 403"_s;
        QTest::newRow("404") << 404 << false << u"m: HTTP 404"_s;
        QTest::newRow("429") << 429 << false << u"m: HTTP 429"_s;
        QTest::newRow("500") << 500 << false << u"m: HTTP 500"_s;
        QTest::newRow("503") << 503 << false << u"m: HTTP 503"_s;
    }

    void statusDecidesTheOutcome()
    {
        QFETCH(int, status);
        QFETCH(bool, ok);
        QFETCH(QString, message);
        m_server.setDefaultAnswer({status});
        const auto heard = run(m_server.url(u"/v1"_s), u"sk"_s, u"m"_s);
        QCOMPARE(heard->ok, ok);
        QCOMPARE(heard->message, message);
    }

    void blankInsideBaseUrlGivesNoServerUrlWithoutRequest()
    {
        LoopbackNetwork recording(m_server.port());
        const auto heard
            = run(m_server.url(u"/my api/v1"_s), u"sk"_s, u"gpt-4o"_s, 5000, &recording);
        QCOMPARE(heard->ok, false);
        QCOMPARE(heard->message, u"gpt-4o: no server URL"_s);
        QVERIFY(recording.asked().isEmpty());
        QVERIFY(m_server.requests().isEmpty());
    }

    void unparsableBaseUrlGivesNoServerUrl_data()
    {
        QTest::addColumn<QString>("baseURL");
        QTest::newRow("leading blank") << u" "_s + m_server.url(u"/v1"_s);
        QTest::newRow("trailing blank") << m_server.url(u"/v1 "_s);
        QTest::newRow("blank in host") << u"http://127.0 .0.1/v1"_s;
        QTest::newRow("tab") << m_server.url(u"/v1\t"_s);
        QTest::newRow("stray percent") << m_server.url(u"/v1%zz"_s);
    }

    void unparsableBaseUrlGivesNoServerUrl()
    {
        QFETCH(QString, baseURL);
        LoopbackNetwork recording(m_server.port());
        const auto heard = run(baseURL, u"sk"_s, u"m"_s, 5000, &recording);
        QCOMPARE(heard->ok, false);
        QCOMPARE(heard->message, u"m: no server URL"_s);
        QVERIFY(recording.asked().isEmpty());
    }

    // Text without an http(s) scheme parses as a URL, but the client refuses to post it: the
    // user reads the client's reason and the server named in the text hears nothing.
    void baseUrlWithoutSchemeIsNeverSent_data()
    {
        const QString hostPort = u"127.0.0.1:"_s + QString::number(m_server.port());
        QTest::addColumn<QString>("baseURL");
        QTest::newRow("empty") << QString();
        QTest::newRow("host and port only") << hostPort + u"/v1"_s;
        QTest::newRow("name and port only") << u"localhost:"_s + QString::number(m_server.port());
        QTest::newRow("scheme-relative") << u"//"_s + hostPort + u"/v1"_s;
        QTest::newRow("file") << u"file:///tmp/v1"_s;
    }

    void baseUrlWithoutSchemeIsNeverSent()
    {
        QFETCH(QString, baseURL);
        const auto heard = run(baseURL, u"sk"_s, u"m"_s);
        QCOMPARE(heard->ok, false);
        QVERIFY2(heard->message.startsWith(u"m: "_s), qPrintable(heard->message));
        QVERIFY(heard->message.size() > 3);
        QVERIFY(!heard->message.contains(u"HTTP"_s));
        QVERIFY(m_server.requests().isEmpty());
    }

    void unreachableHostGivesTheSystemErrorText()
    {
        const quint16 port = TestSupport::closedPort();
        QVERIFY(port != 0);
        const QString base = u"http://127.0.0.1:"_s + QString::number(port) + u"/v1"_s;

        // What the network library itself says about that address.
        QNetworkAccessManager probe;
        std::unique_ptr<QNetworkReply> reply(probe.get(QNetworkRequest(QUrl(base))));
        QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), 20000);
        QCOMPARE(reply->error(), QNetworkReply::ConnectionRefusedError);
        const QString systemText = reply->errorString();

        QElapsedTimer clock;
        clock.start();
        const auto heard = run(base, u"sk"_s, u"gpt-4o"_s, 20000);
        QVERIFY(clock.elapsed() < 20000);
        QCOMPARE(heard->ok, false);
        QCOMPARE(heard->message, u"gpt-4o: "_s + systemText);
    }

    void silentServerTimesOutWhileEventLoopStaysResponsive()
    {
        SilentServer silent;
        QVERIFY(silent.listen());
        // Long enough that a request blocking the event loop would show as a gap of the whole
        // time-out, short enough to keep the test quick; the bounds leave room for a busy machine.
        const int timeout = 2000;

        QElapsedTimer clock;
        clock.start();
        qint64 lastTick = 0;
        qint64 longestGap = 0;
        QTimer ticker;
        ticker.setInterval(10);
        connect(&ticker, &QTimer::timeout, this, [&] {
            const qint64 now = clock.elapsed();
            longestGap = std::max(longestGap, now - lastTick);
            lastTick = now;
        });
        ticker.start();

        const auto heard = start(silent.url(u"/v1"_s), u"sk"_s, u"gpt-4o"_s, timeout);
        QTRY_VERIFY_WITH_TIMEOUT(heard->calls > 0, 10000);
        const qint64 waited = clock.elapsed();
        ticker.stop();

        QCOMPARE(silent.connectionCount(), 1);
        QVERIFY(silent.bytesReceived() > 0);
        QCOMPARE(heard->ok, false);
        QCOMPARE(heard->message, u"gpt-4o: Request timed out"_s);
        QVERIFY2(waited >= timeout * 9 / 10, qPrintable(QString::number(waited)));
        QVERIFY2(waited < timeout + 15000, qPrintable(QString::number(waited)));
        qInfo("time-out %d ms: outcome after %lld ms, longest event-loop gap %lld ms", timeout,
              waited, longestGap);
        QVERIFY2(longestGap < timeout / 2, qPrintable(u"longest gap %1 ms"_s.arg(longestGap)));
    }

    // The test stops at the status line: a body that stalls after it is never waited for.
    void bodyThatStallsAfterTheStatusIsNotWaitedFor()
    {
        SilentServer stalling;
        QVERIFY(stalling.listen());
        stalling.setPrelude("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n"
                            "Content-Length: 100\r\n\r\n{\"id\":");
        QElapsedTimer clock;
        clock.start();
        const auto heard = run(stalling.url(u"/v1"_s), u"sk"_s, u"m"_s, 5000);
        QCOMPARE(stalling.connectionCount(), 1);
        QCOMPARE(heard->ok, true);
        QCOMPARE(heard->message, u"m: reachable (HTTP 200)"_s);
        QVERIFY2(clock.elapsed() < 4000, qPrintable(QString::number(clock.elapsed())));
    }

    void endlessBodyAfterA200IsReachableWithoutReadingIt()
    {
        HostileServer endless(HostileServer::Mode::EndlessBody);
        QElapsedTimer clock;
        clock.start();
        const auto heard = run(endless.url(u"/v1"_s), u"sk"_s, u"m"_s, 20000);
        QCOMPARE(heard->ok, true);
        QCOMPARE(heard->message, u"m: reachable (HTTP 200)"_s);
        QVERIFY2(clock.elapsed() < 5000, qPrintable(QString::number(clock.elapsed())));
        // The client hung up instead of reading on.
        QTRY_COMPARE_WITH_TIMEOUT(endless.openConnections(), 0, 10000);
        QVERIFY2(endless.bytesSent() < 16 * 1024 * 1024,
                 qPrintable(QString::number(endless.bytesSent())));
    }

    void endlessChunkedErrorBodyGivesItsStatus()
    {
        HostileServer endless(HostileServer::Mode::Reply);
        endless.setAnswer("HTTP/1.1 503 Service Unavailable\r\nTransfer-Encoding: chunked\r\n\r\n"
                          "10\r\n0123456789abcdef\r\n");
        const auto heard = run(endless.url(u"/v1"_s), u"sk"_s, u"m"_s, 5000);
        QCOMPARE(heard->ok, false);
        QCOMPARE(heard->message, u"m: HTTP 503"_s);
    }

    // The deadline is for the whole test, not the longest silence: a provider that sends its
    // answer one byte at a time (one every 100 ms against a deadline of 1.2 s, as one every 5 s
    // would be against the real 20 s) is given up at the deadline.
    void trickledAnswerEndsAtTheDeadline()
    {
        HostileServer trickle(HostileServer::Mode::Trickle);
        trickle.setAnswer("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n{}");
        trickle.setTrickleInterval(100);
        const int deadline = 1200;
        QElapsedTimer clock;
        clock.start();
        const auto heard = run(trickle.url(u"/v1"_s), u"sk"_s, u"m"_s, deadline);
        const qint64 waited = clock.elapsed();
        QCOMPARE(heard->ok, false);
        QCOMPARE(heard->message, u"m: Request timed out"_s);
        QVERIFY2(waited >= deadline * 9 / 10, qPrintable(QString::number(waited)));
        QVERIFY2(waited < deadline + 5000, qPrintable(QString::number(waited)));
    }

    void serverAnsweringInAnotherProtocolGivesHttpZero_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("ssh banner")
            << int(HostileServer::Mode::Reply) << QByteArray("SSH-2.0-OpenSSH_9.2p1 Debian-2\r\n");
        QTest::newRow("banner, then closed")
            << int(HostileServer::Mode::ReplyAndClose) << QByteArray("220 smtp.example ESMTP\r\n");
        QTest::newRow("closed without answer")
            << int(HostileServer::Mode::ReplyAndClose) << QByteArray();
    }

    void serverAnsweringInAnotherProtocolGivesHttpZero()
    {
        QFETCH(int, mode);
        QFETCH(QByteArray, answer);
        HostileServer server(static_cast<HostileServer::Mode>(mode));
        server.setAnswer(answer);
        const auto heard = run(server.url(u"/v1"_s), u"sk"_s, u"m"_s, 5000);
        // Qt's HTTP client sends a request again (a few times at most) when the connection
        // ends before a status line; the server did hear it.
        QVERIFY(server.requests() >= 1);
        QCOMPARE(heard->ok, false);
        QCOMPARE(heard->message, u"m: HTTP 0"_s);
    }

    void requestCarriesTheProgramsUserAgent()
    {
        run(m_server.url(u"/v1"_s), u"sk"_s, u"m"_s);
        QCOMPARE(m_server.requests().size(), 1);
        QCOMPARE(m_server.requests().constFirst().header("User-Agent"),
                 QByteArray("varnook-settings/" VARNOOK_VERSION));
    }

    void redirectIsReportedAndNotFollowed()
    {
        HostileServer redirecting(HostileServer::Mode::ReplyAndClose);
        redirecting.setAnswer("HTTP/1.1 307 Temporary Redirect\r\nLocation: "
                              + m_server.url(u"/v1/chat/completions"_s).toUtf8()
                              + "\r\nContent-Length: 0\r\n\r\n");
        const auto heard = run(redirecting.url(u"/v1"_s), u"sk"_s, u"m"_s);
        QCOMPARE(heard->ok, false);
        QCOMPARE(heard->message, u"m: HTTP 307"_s);
        QTest::qWait(100);
        QVERIFY(m_server.requests().isEmpty());
    }

    void responseThatIsNotHttpGivesHttpZero()
    {
        NonHttpNetwork network;
        const auto heard = run(m_server.url(u"/v1"_s), u"sk"_s, u"m"_s, 5000, &network);
        QCOMPARE(heard->ok, false);
        QCOMPARE(heard->message, u"m: HTTP 0"_s);
    }

    void completionRunsOnceOnTheMainThreadAfterTheCallReturns_data()
    {
        QTest::addColumn<QString>("baseURL");
        QTest::newRow("answered") << m_server.url(u"/v1"_s);
        QTest::newRow("no server URL") << m_server.url(u"/v 1"_s);
        QTest::newRow("refused") << u"http://127.0.0.1:"_s
                                        + QString::number(TestSupport::closedPort());
    }

    void completionRunsOnceOnTheMainThreadAfterTheCallReturns()
    {
        QFETCH(QString, baseURL);
        const auto heard = start(baseURL, u"sk"_s, u"m"_s);
        QCOMPARE(heard->calls, 0);
        QTRY_COMPARE_WITH_TIMEOUT(heard->calls, 1, 10000);
        QTest::qWait(100);
        QCOMPARE(heard->calls, 1);
        QVERIFY(heard->onMainThread);
    }

    void replyIsDeletedOnceTheOutcomeIsIn()
    {
        QNetworkAccessManager network;
        const auto heard = run(m_server.url(u"/v1"_s), u"sk"_s, u"m"_s, 5000, &network);
        QVERIFY(heard->ok);
        QTRY_VERIFY(network.findChildren<QNetworkReply *>().isEmpty());
    }

    void contextGoneFirstHearsNothingAndStopsTheRequest()
    {
        SilentServer silent;
        QVERIFY(silent.listen());
        QNetworkAccessManager network;
        auto *context = new QObject;
        const auto heard = start(silent.url(u"/v1"_s), u"sk"_s, u"m"_s, 120000, &network, context);
        QTRY_VERIFY_WITH_TIMEOUT(silent.bytesReceived() > 0, 20000);
        delete context;
        // Long before the time-out: the request was stopped, not left to run out.
        QTRY_VERIFY_WITH_TIMEOUT(network.findChildren<QNetworkReply *>().isEmpty(), 20000);
        QTest::qWait(100);
        QCOMPARE(heard->calls, 0);
    }
};

QTEST_GUILESS_MAIN(TestProviderRequest)
#include "tst_providertest.moc"
