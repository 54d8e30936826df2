// The model list of a provider, as "Fetch models" and `varnookctl models` ask for it: the
// address, the header, the parsing of the answer, and every way the answer can go wrong.
#include "providers/modellist.h"
#include "providers/providertargets.h"

#include "support/fakeproviderserver.h"
#include "support/hostileserver.h"
#include "support/silentserver.h"
#include "support/waits.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

QByteArray modelsAnswer(const QStringList &ids)
{
    QJsonArray data;
    for (const QString &id : ids)
        data.append(QJsonObject{{u"id"_s, id}, {u"object"_s, u"model"_s}});
    return QJsonDocument(QJsonObject{{u"object"_s, u"list"_s}, {u"data"_s, data}}).toJson();
}

struct Heard {
    int calls = 0;
    Providers::ModelList list;
};

} // namespace

class TestModelList final : public QObject {
    Q_OBJECT

    QNetworkAccessManager m_network;
    FakeProviderServer m_server;

    std::shared_ptr<Heard> fetch(const QString &baseURL, const QString &key, const QString &model,
                                 int timeoutMs = 5000)
    {
        auto heard = std::make_shared<Heard>();
        Providers::fetchModels(&m_network, timeoutMs, this, {u"n"_s, baseURL, key, model},
                               [heard](const Providers::ModelList &list) {
                                   ++heard->calls;
                                   heard->list = list;
                               });
        if (!QTest::qWaitFor([&] { return heard->calls > 0; }, 30000))
            qWarning("the model list never came");
        return heard;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init()
    {
        m_server.clear();
        m_server.setDefaultAnswer({});
    }

    void modelsUrlFollowsTheConnectionTestsRule()
    {
        QCOMPARE(Providers::modelsUrl(u"https://api.example.com/v1"_s).toString(),
                 u"https://api.example.com/v1/models"_s);
        QCOMPARE(Providers::modelsUrl(u"https://api.example.com/v1/"_s).toString(),
                 u"https://api.example.com/v1/models"_s);
        QVERIFY(!Providers::modelsUrl(u"https://api.example .com/v1"_s).isValid());
    }

    void parsingSortsWithoutRegardToCaseAndDropsDuplicatesAndNonIds()
    {
        const QByteArray answer = R"({"data":[{"id":"gpt-5"},{"id":"Claude-sonnet-4-5"},
            {"id":"claude-haiku"},{"id":"gpt-5"},{"id":42},{"name":"no id"},"text",{"id":""},
            {"id":"GPT-4o"}]})";
        QCOMPARE(Providers::parseModelIds(answer),
                 std::optional<QStringList>(QStringList{u"claude-haiku"_s, u"Claude-sonnet-4-5"_s,
                                                        u"GPT-4o"_s, u"gpt-5"_s}));
        QCOMPARE(Providers::parseModelIds(R"({"data":[]})"),
                 std::optional<QStringList>(QStringList{}));
        QCOMPARE(Providers::parseModelIds("<html>Not here</html>"), std::nullopt);
        QCOMPARE(Providers::parseModelIds(R"({"data":{"id":"x"}})"), std::nullopt);
        QCOMPARE(Providers::parseModelIds(R"([{"id":"x"}])"), std::nullopt);
    }

    void answerIsOfferedSortedAfterAnAuthorizedGet()
    {
        m_server.setAnswer(u"/v1/models"_s, {200, 0},
                           modelsAnswer({u"zeta"_s, u"alpha"_s, u"Mid"_s}));
        const auto heard = fetch(m_server.url(u"/v1/"_s), u"sk-list"_s, u"alpha"_s);
        QCOMPARE(heard->calls, 1);
        QVERIFY(heard->list.ok);
        QCOMPARE(heard->list.ids, (QStringList{u"alpha"_s, u"Mid"_s, u"zeta"_s}));
        QCOMPARE(heard->list.message, u"3 models"_s);

        QCOMPARE(m_server.requests().size(), 1);
        const RecordedRequest &request = m_server.requests().constFirst();
        QCOMPARE(request.method, u"GET"_s);
        QCOMPARE(request.path, u"/v1/models"_s);
        QCOMPARE(request.header("Authorization"), QByteArray("Bearer sk-list"));
    }

    void withoutAKeyNoAuthorizationIsSent()
    {
        m_server.setAnswer(u"/models"_s, {200, 0}, modelsAnswer({u"only"_s}));
        const auto heard = fetch(m_server.url(), QString(), u"m"_s);
        QVERIFY(heard->list.ok);
        QCOMPARE(heard->list.message, u"1 model"_s);
        QVERIFY(!m_server.requests().constFirst().hasHeader("Authorization"));
    }

    void anEmptyListIsAnAnswerWithNoModels()
    {
        m_server.setAnswer(u"/v1/models"_s, {200, 0}, modelsAnswer({}));
        const auto heard = fetch(m_server.url(u"/v1"_s), u"k"_s, u"m"_s);
        QVERIFY(heard->list.ok);
        QVERIFY(heard->list.ids.isEmpty());
        QCOMPARE(heard->list.message, u"0 models"_s);
    }

    void garbageIsNotAListOfModels()
    {
        m_server.setAnswer(u"/v1/models"_s, {200, 0}, "{\"data\": [\"unterminated");
        const auto heard = fetch(m_server.url(u"/v1"_s), u"k"_s, u"gpt-5"_s);
        QVERIFY(!heard->list.ok);
        QVERIFY(heard->list.ids.isEmpty());
        QCOMPARE(heard->list.message, u"gpt-5: not a list of models"_s);
    }

    void refusalReadsLikeTheConnectionTest()
    {
        m_server.setAnswer(u"/v1/models"_s, {401, 0}, R"({"error":"bad key"})");
        const auto heard = fetch(m_server.url(u"/v1"_s), u"wrong"_s, u"gpt-5"_s);
        QVERIFY(!heard->list.ok);
        QCOMPARE(heard->list.message, u"gpt-5: HTTP 401"_s);
    }

    void anAddressThatDoesNotParseSendsNothing()
    {
        const auto heard = fetch(u"http://bad host/v1"_s, u"k"_s, u"gpt-5"_s);
        QCOMPARE(heard->list.message, u"gpt-5: no server URL"_s);
        QVERIFY(m_server.requests().isEmpty());
    }

    void aHugeAnswerIsCutAtTheLimit()
    {
        HostileServer endless(HostileServer::Mode::EndlessBody);
        QElapsedTimer clock;
        clock.start();
        const auto heard = fetch(endless.url(u"/v1"_s), u"k"_s, u"m"_s, 20000);
        QVERIFY(!heard->list.ok);
        QCOMPARE(heard->list.message, u"m: Answer larger than 4 MiB"_s);
        QVERIFY2(clock.elapsed() < 15000, qPrintable(QString::number(clock.elapsed())));
        QVERIFY2(endless.bytesSent() < 16 * Net::mebibyte,
                 qPrintable(QString::number(endless.bytesSent())));
    }

    void aProviderThatNeverAnswersTimesOut()
    {
        SilentServer silent;
        QVERIFY(silent.listen());
        QElapsedTimer clock;
        clock.start();
        const auto heard = fetch(silent.url(u"/v1"_s), u"k"_s, u"m"_s, 800);
        QVERIFY(!heard->list.ok);
        QCOMPARE(heard->list.message, u"m: Request timed out"_s);
        QVERIFY(clock.elapsed() >= 700);
        QVERIFY2(clock.elapsed() < 10000, qPrintable(QString::number(clock.elapsed())));
    }

    void noAnswerComesAfterTheContextIsGone()
    {
        m_server.setAnswer(u"/v1/models"_s, {200, 300}, modelsAnswer({u"a"_s}));
        auto context = std::make_unique<QObject>();
        int calls = 0;
        Providers::fetchModels(&m_network, 5000, context.get(),
                               {u"n"_s, m_server.url(u"/v1"_s), QString(), u"m"_s},
                               [&calls](const Providers::ModelList &) { ++calls; });
        context.reset();
        QTest::qWait(600);
        QCOMPARE(calls, 0);
    }
};

QTEST_GUILESS_MAIN(TestModelList)
#include "tst_modellist.moc"
