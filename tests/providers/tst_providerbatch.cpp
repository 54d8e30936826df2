// "Test all": which providers a configuration holds, and the batch that tests them a few at a
// time, with each one's outcome and latency.
#include "providers/providerbatch.h"
#include "providers/providertargets.h"

#include "config/configtypes.h"
#include "support/fakeproviderserver.h"
#include "support/silentserver.h"
#include "support/waits.h"

#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using Providers::ProviderBatch;
using Providers::ProviderTarget;

namespace {

Fallback fallback(const QString &name, const QString &url, const QString &key, const QString &model)
{
    Fallback f;
    f.name = name;
    f.base_url = url;
    f.api_key = key;
    f.model = model;
    return f;
}

// Primary P, backups A and B; bot 1 "Trading" with its own model and one own backup, bot 2
// with nothing of its own.
ConfigValues twoBots()
{
    ConfigValues values;
    values.baseURL = u"http://p/v1"_s;
    values.apiKey = u"kp"_s;
    values.model = u"mp"_s;
    values.fallbacks = {fallback(u"A"_s, u"http://a/v1"_s, u"ka"_s, u"ma"_s),
                        fallback(u"B"_s, u"http://b/v1"_s, QString(), u"mb"_s)};
    values.botTokens = {u"1:a"_s, u"2:b"_s};
    values.botNicknames = {u"Trading"_s, QString()};
    BotProfile trading;
    trading.model = u"mt"_s;
    trading.fallbacks = {fallback(u"T"_s, u"http://t/v1"_s, u"kt"_s, u"mtb"_s)};
    values.botProfiles = {trading, BotProfile{}};
    return values;
}

} // namespace

class TestProviderBatch final : public QObject {
    Q_OBJECT

    QNetworkAccessManager m_network;

private Q_SLOTS:
    void everyProviderIsListedInPageOrderWithWhatABotInherits()
    {
        const QList<ProviderTarget> targets = Providers::allTargets(twoBots());
        QCOMPARE(targets, (QList<ProviderTarget>{
                              {u"Primary model"_s, u"http://p/v1"_s, u"kp"_s, u"mp"_s},
                              {u"Backup model 1"_s, u"http://a/v1"_s, u"ka"_s, u"ma"_s},
                              {u"Backup model 2"_s, u"http://b/v1"_s, QString(), u"mb"_s},
                              // The bot's own model on the default server with the default key.
                              {u"Trading"_s, u"http://p/v1"_s, u"kp"_s, u"mt"_s},
                              {u"Trading · Backup model 1"_s, u"http://t/v1"_s, u"kt"_s, u"mtb"_s},
                              // Bot 2 sends to the primary model: nothing more to test.
                          }));
        QCOMPARE(Providers::botTarget(twoBots(), 1)->name, u"Bot 2"_s);
        QCOMPARE(Providers::botTarget(twoBots(), 1)->model, u"mp"_s);
        QCOMPARE(Providers::botTarget(twoBots(), 2), std::nullopt);
        QCOMPARE(Providers::backupTarget(twoBots(), 2), std::nullopt);
        QCOMPARE(Providers::botBackupTarget(twoBots(), 0, 1), std::nullopt);
    }

    void atMostFourRunAtOnceAndEachGetsItsOutcomeAndMilliseconds()
    {
        FakeProviderServer server;
        QVERIFY(server.listen());
        server.setDefaultAnswer({200, 250});
        server.setAnswer(u"/p3/chat/completions"_s, {401, 50});
        server.setAnswer(u"/p5/chat/completions"_s, {204, 600});
        QList<ProviderTarget> targets;
        for (int i = 0; i < 9; ++i) {
            targets.append({u"Provider "_s + QString::number(i),
                            server.url(u"/p"_s + QString::number(i)),
                            u"key-"_s + QString::number(i), u"m"_s + QString::number(i)});
        }

        ProviderBatch batch;
        batch.setTimeout(5000);
        int mostAtOnce = 0;
        connect(&batch, &ProviderBatch::rowChanged, this, [&] {
            const auto testing = std::count_if(
                batch.rows().cbegin(), batch.rows().cend(), [](const ProviderBatch::Row &row) {
                    return row.state == ProviderBatch::State::Testing;
                });
            mostAtOnce = std::max(mostAtOnce, int(testing));
        });
        QSignalSpy finished(&batch, &ProviderBatch::finished);
        batch.start(&m_network, targets);
        QVERIFY(batch.running());
        QCOMPARE(batch.rows().size(), 9);
        QCOMPARE(batch.rows().at(4).state, ProviderBatch::State::Waiting);
        QTRY_COMPARE(finished.size(), 1);

        QCOMPARE(mostAtOnce, ProviderBatch::maxRunning);
        QVERIFY(!batch.running());
        QCOMPARE(batch.doneCount(), 9);
        QCOMPARE(batch.answeredCount(), 8);
        QVERIFY(!batch.allAnswered());
        QCOMPARE(server.requests().size(), 9);

        const ProviderBatch::Row &refused = batch.rows().at(3);
        QCOMPARE(refused.outcome, (TestOutcome{false, u"m3: HTTP 401"_s}));
        QCOMPARE(refused.outcomeText(), u"HTTP 401"_s);
        const ProviderBatch::Row &slow = batch.rows().at(5);
        QCOMPARE(slow.outcomeText(), u"reachable (HTTP 204)"_s);
        QVERIFY2(slow.ms >= 550, qPrintable(QString::number(slow.ms)));
        QVERIFY2(refused.ms < slow.ms, qPrintable(QString::number(refused.ms)));
        for (const ProviderBatch::Row &row : batch.rows())
            QVERIFY(row.state == ProviderBatch::State::Done && row.ms >= 0);
    }

    void providersThatNeverAnswerEndAtTheDeadlineWithoutHoldingUpTheRest()
    {
        FakeProviderServer server;
        QVERIFY(server.listen());
        SilentServer silent;
        QVERIFY(silent.listen());
        const QList<ProviderTarget> targets{
            {u"quiet 1"_s, silent.url(u"/v1"_s), QString(), u"q1"_s},
            {u"quiet 2"_s, silent.url(u"/v1"_s), QString(), u"q2"_s},
            {u"fine"_s, server.url(u"/v1"_s), QString(), u"f"_s},
            {u"blank"_s, u"http://bad host"_s, QString(), u"b"_s},
        };
        ProviderBatch batch;
        batch.setTimeout(700);
        QSignalSpy finished(&batch, &ProviderBatch::finished);
        batch.start(&m_network, targets);
        // The answering one is done long before the silent ones give up.
        QTRY_COMPARE(batch.rows().at(2).state, ProviderBatch::State::Done);
        QCOMPARE(batch.rows().at(0).state, ProviderBatch::State::Testing);
        QTRY_COMPARE(finished.size(), 1);
        QCOMPARE(batch.rows().at(0).outcomeText(), u"Request timed out"_s);
        QCOMPARE(batch.rows().at(1).outcomeText(), u"Request timed out"_s);
        QVERIFY(batch.rows().at(0).ms >= 650);
        QCOMPARE(batch.rows().at(2).outcomeText(), u"reachable (HTTP 200)"_s);
        QCOMPARE(batch.rows().at(3).outcome.message, u"b: no server URL"_s);
        QCOMPARE(batch.answeredCount(), 1);
    }

    void aNewStartDropsTheRunningOne()
    {
        FakeProviderServer server;
        QVERIFY(server.listen());
        server.setDefaultAnswer({200, 400});
        ProviderBatch batch;
        QSignalSpy finished(&batch, &ProviderBatch::finished);
        batch.start(&m_network, {{u"old"_s, server.url(), QString(), u"old"_s}});
        batch.start(&m_network, {{u"new"_s, server.url(), QString(), u"new"_s}});
        QTRY_COMPARE(finished.size(), 1);
        QTest::qWait(600);
        QCOMPARE(finished.size(), 1);
        QCOMPARE(batch.rows().size(), 1);
        QCOMPARE(batch.rows().at(0).outcome.message, u"new: reachable (HTTP 200)"_s);
        QVERIFY(batch.allAnswered());
    }

    void nothingToTestFinishesAtOnce()
    {
        ProviderBatch batch;
        QSignalSpy finished(&batch, &ProviderBatch::finished);
        batch.start(&m_network, {});
        QTRY_COMPARE(finished.size(), 1);
        QVERIFY(!batch.allAnswered());
    }
};

QTEST_GUILESS_MAIN(TestProviderBatch)
#include "tst_providerbatch.moc"
