// The status record as parsed from the bytes of a status file, and the texts the Model page
// shows from it.
#include "service/statusinfo.h"

#include <QTest>

#include <limits>

using namespace Qt::Literals::StringLiterals;

class TestStatusInfo final : public QObject {
    Q_OBJECT

private:
    static StatusInfo parsed(const QByteArray &json)
    {
        const std::optional<StatusInfo> status = parseStatus(json);
        if (!status)
            qWarning("not parsed: %s", json.constData());
        return status.value_or(StatusInfo{});
    }

private Q_SLOTS:
    void statusFileLiesBesideTheConfigurationFile()
    {
        QCOMPARE(statusFilePath(u"/home/ana/.zandrel/bot-config.json"_s),
                 u"/home/ana/.zandrel/varnook-status.json"_s);
        QCOMPARE(statusFilePath(u"/srv/bots/other.json"_s), u"/srv/bots/varnook-status.json"_s);
        QCOMPARE(statusFilePath(u"bot-config.json"_s), u"./varnook-status.json"_s);
    }

    void everyKeyFillsItsField()
    {
        const StatusInfo status = parsed(R"({
            "bot_running": true, "pid": 4242, "bot_handle": "alpha_bot,beta_bot",
            "bot_nicknames": ["Alpha", ""], "requests": 15, "requests_by_bot": [12, 3],
            "tokens_in": 12400, "tokens_out": 3100, "tokens_by_bot": [[10000, 3000], [2400, 100]],
            "base_url": "api.example.test/v1", "model": "gpt-x", "fallbacks": 2,
            "unknown_key": {"ignored": true}})");
        StatusInfo expected;
        expected.botRunning = true;
        expected.pid = 4242;
        expected.botHandle = u"alpha_bot,beta_bot"_s;
        expected.botNicknames = QStringList{u"Alpha"_s, QString()};
        expected.requests = 15;
        expected.requestsByBot = {12, 3};
        expected.tokensIn = 12400;
        expected.tokensOut = 3100;
        expected.tokensByBot = {{10000, 3000}, {2400, 100}};
        expected.provider = u"api.example.test/v1"_s;
        expected.model = u"gpt-x"_s;
        expected.fallbacks = 2;
        QCOMPARE(status, expected);
    }

    void emptyObjectGivesTheDefaultRecord()
    {
        const std::optional<StatusInfo> status = parseStatus("{}");
        QVERIFY(status);
        QCOMPARE(*status, StatusInfo{});
    }

    void requestsWrittenAsTextReadAsZeroWhileOthersAreRead()
    {
        const StatusInfo status
            = parsed(R"({"requests": "15", "bot_running": true, "tokens_in": 7, "model": "m"})");
        QCOMPARE(status.requests, 0);
        QCOMPARE(status.botRunning, true);
        QCOMPARE(status.tokensIn, 7);
        QCOMPARE(status.model, u"m"_s);
    }

    void wrongTypesEverywhereGiveTheDefaults()
    {
        const StatusInfo status = parsed(R"({
            "bot_running": "yes", "pid": "12", "bot_handle": 5, "bot_nicknames": [1, "a"],
            "requests": true, "requests_by_bot": ["1"], "tokens_in": 1.5, "tokens_out": null,
            "tokens_by_bot": [[1, 2], [3, "x"]], "base_url": [], "model": {}, "fallbacks": "2"})");
        QCOMPARE(status, StatusInfo{});
    }

    void arrayOrTruncatedJsonIsNotARecord_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("array") << QByteArray(R"([{"bot_running": true}])");
        QTest::newRow("truncated") << QByteArray(R"({"bot_running": true, "pid": 12)");
        QTest::newRow("string") << QByteArray(R"("running")");
        QTest::newRow("number") << QByteArray("42");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("two objects") << QByteArray(R"({"pid": 1}{"pid": 2})");
        QTest::newRow("not utf-8") << QByteArray("{\"model\": \"\xff\xfe\"");
        QTest::newRow("nul bytes") << QByteArray("\0\0\0\0", 4);
    }
    void arrayOrTruncatedJsonIsNotARecord()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(!parseStatus(bytes));
    }

    void baseUrlIsKeptWithoutSurroundingBlanksAndLineBreaks()
    {
        // Not a raw string: moc would take the "//" of a URL for a comment.
        QCOMPARE(parsed("{\"base_url\": \"  \\t https://api.example.test/v1\\n\"}").provider,
                 u"https://api.example.test/v1"_s);
    }

    void integersAreKeptExactlyAcross64Bits()
    {
        const StatusInfo status
            = parsed(R"({"pid": 9007199254740993, "tokens_in": -9223372036854775808,
                       "tokens_out": 9223372036854775807})");
        QCOMPARE(status.pid, Q_INT64_C(9007199254740993));
        QCOMPARE(status.tokensIn, std::numeric_limits<qint64>::min());
        QCOMPARE(status.tokensOut, std::numeric_limits<qint64>::max());
    }

    void fractionalNumbersAreNotIntegers()
    {
        const StatusInfo status = parsed(R"({"pid": 12.5, "requests_by_bot": [1, 2.5]})");
        QCOMPARE(status.pid, 0);
        QVERIFY(status.requestsByBot.isEmpty());
    }

    void numbersAreNotBooleans() { QCOMPARE(parsed(R"({"bot_running": 1})").botRunning, false); }

    void writtenRecordReadsBackTheSame()
    {
        StatusInfo status;
        status.botRunning = true;
        status.pid = 31337;
        status.botHandle = u"a_bot,b_bot"_s;
        status.botNicknames = QStringList{u"Ä"_s, QString()};
        status.requests = 9;
        status.requestsByBot = {4, 5};
        status.tokensIn = 123456789012LL;
        status.tokensOut = 5;
        status.tokensByBot = {{1, 2}, {3, 4}};
        status.provider = u"http://127.0.0.1:8080/v1"_s;
        status.model = u"llama"_s;
        status.fallbacks = 3;
        QCOMPARE(parsed(serialiseStatus(status)), status);
    }

    // ---- formatCount ---------------------------------------------------------------------

    void formatCountIsCompact_data()
    {
        QTest::addColumn<qint64>("n");
        QTest::addColumn<QString>("text");
        QTest::newRow("0") << qint64(0) << u"0"_s;
        QTest::newRow("-5") << qint64(-5) << u"-5"_s;
        QTest::newRow("-5000 stays plain") << qint64(-5000) << u"-5000"_s;
        QTest::newRow("999") << qint64(999) << u"999"_s;
        QTest::newRow("1000") << qint64(1000) << u"1.0K"_s;
        QTest::newRow("1049") << qint64(1049) << u"1.0K"_s;
        QTest::newRow("1050 rounds up") << qint64(1050) << u"1.1K"_s;
        QTest::newRow("15320") << qint64(15320) << u"15.3K"_s;
        QTest::newRow("999999 is not promoted") << qint64(999999) << u"1000.0K"_s;
        QTest::newRow("1000000") << qint64(1000000) << u"1.0M"_s;
        QTest::newRow("2500000") << qint64(2500000) << u"2.5M"_s;
        QTest::newRow("min") << std::numeric_limits<qint64>::min() << u"-9223372036854775808"_s;
        QTest::newRow("max") << std::numeric_limits<qint64>::max() << u"9223372036854.8M"_s;
    }
    void formatCountIsCompact()
    {
        QFETCH(qint64, n);
        QFETCH(QString, text);
        QCOMPARE(formatCount(n), text);
    }

    // ---- runningLabel and the status line ----------------------------------------------

    void noStatusSaysStoppedWithZeroCountsAndNoTokens()
    {
        const StatusInfo status;
        QCOMPARE(statusLineText(status), u"Stopped"_s);
        QCOMPARE(requestsText(status), u"0"_s);
        QCOMPARE(tokensUsedText(status), u"—"_s);
        QCOMPARE(primaryProviderText(status), u"not configured"_s);
        QCOMPARE(backupModelsText(status), u"0 configured"_s);
        QCOMPARE(requestsByBotLabel(status), QString());
    }

    void blankHandlePiecesAreDroppedAndNicknamesFollowTheirPosition()
    {
        const StatusInfo status = parsed(
            R"({"bot_handle": " alpha , ,beta", "bot_nicknames": ["", "Trading"], "bot_running": true})");
        QCOMPARE(runningLabel(status), u"@alpha, Trading"_s);
        QCOMPARE(statusLineText(status), u"Running as @alpha, Trading"_s);
    }

    void runningWithEmptyHandleSaysRunning()
    {
        StatusInfo status;
        status.botRunning = true;
        QCOMPARE(runningLabel(status), QString());
        QCOMPARE(statusLineText(status), u"Running"_s);
        status.botHandle = u" ,\t, "_s;
        QCOMPARE(statusLineText(status), u"Running"_s);
    }

    void stoppedServiceSaysStoppedWhateverItsHandles()
    {
        StatusInfo status;
        status.botHandle = u"alpha"_s;
        QCOMPARE(statusLineText(status), u"Stopped"_s);
    }

    void runningLabelShowsTwoBotsAndCountsTheRest_data()
    {
        QTest::addColumn<QString>("handles");
        QTest::addColumn<QStringList>("nicknames");
        QTest::addColumn<QString>("label");
        QTest::newRow("one") << u"a"_s << QStringList() << u"@a"_s;
        QTest::newRow("two") << u"a,b"_s << QStringList() << u"@a, @b"_s;
        QTest::newRow("three") << u"a,b,c"_s << QStringList() << u"@a, @b ... +1 more"_s;
        QTest::newRow("four") << u"a,b,c,d"_s << QStringList() << u"@a, @b ... +2 more"_s;
        QTest::newRow("nickname as it stands")
            << u"a,b"_s << QStringList{u" Desk "_s} << u" Desk , @b"_s;
        QTest::newRow("more nicknames than handles")
            << u"a"_s << QStringList{u"One"_s, u"Two"_s} << u"One"_s;
    }
    void runningLabelShowsTwoBotsAndCountsTheRest()
    {
        QFETCH(QString, handles);
        QFETCH(QStringList, nicknames);
        QFETCH(QString, label);
        StatusInfo status;
        status.botRunning = true;
        status.botHandle = handles;
        status.botNicknames = nicknames;
        QCOMPARE(runningLabel(status), label);
    }

    // ---- the other rows ------------------------------------------------------------------

    void requestsByBotNamesBotsByNicknameOrNumber()
    {
        StatusInfo status;
        status.botNicknames = QStringList{u"Trading"_s, QString()};
        status.requestsByBot = {12, 3, 1500};
        QCOMPARE(requestsByBotLabel(status), u"Trading: 12 · bot 2: 3 · bot 3: 1500"_s);
    }

    void pageBreakdownNamesTheFirstBotsAndCountsTheRest()
    {
        StatusInfo status;
        status.botNicknames = {u"Trading"_s, QString()};
        status.requestsByBot = {12, 3, 4, 5};
        QCOMPARE(requestsByBotLabel(status, 2), u"Trading: 12 · bot 2: 3 ... +2 more"_s);
        QCOMPARE(requestsByBotLabel(status, 4), requestsByBotLabel(status));
        QCOMPARE(requestsByBotLabel(status, 10), u"Trading: 12 · bot 2: 3 · bot 3: 4 · bot 4: 5"_s);
        QCOMPARE(requestsByBotLabel(StatusInfo{}, 2), QString());
    }

    void tokensLineUsesCompactCounts()
    {
        StatusInfo status;
        status.tokensIn = 12400;
        status.tokensOut = 3100;
        QCOMPARE(tokensLabel(status), u"12.4K in · 3.1K out"_s);
        QCOMPARE(tokensUsedText(status), u"12.4K in · 3.1K out"_s);
    }

    void tokensRowIsADashBelowOneToken_data()
    {
        QTest::addColumn<qint64>("in");
        QTest::addColumn<qint64>("out");
        QTest::addColumn<QString>("text");
        QTest::newRow("none") << qint64(0) << qint64(0) << u"—"_s;
        QTest::newRow("one out") << qint64(0) << qint64(1) << u"0 in · 1 out"_s;
        QTest::newRow("negative sum") << qint64(-5) << qint64(3) << u"—"_s;
        QTest::newRow("huge positive sum")
            << std::numeric_limits<qint64>::max() << std::numeric_limits<qint64>::max()
            << u"9223372036854.8M in · 9223372036854.8M out"_s;
        QTest::newRow("huge negative sum")
            << std::numeric_limits<qint64>::min() << std::numeric_limits<qint64>::min() << u"—"_s;
    }
    void tokensRowIsADashBelowOneToken()
    {
        QFETCH(qint64, in);
        QFETCH(qint64, out);
        QFETCH(QString, text);
        StatusInfo status;
        status.tokensIn = in;
        status.tokensOut = out;
        QCOMPARE(tokensUsedText(status), text);
    }

    void providerModelsAndRequestsRows()
    {
        StatusInfo status;
        status.provider = u"https://api.example.test/v1"_s;
        status.fallbacks = 2;
        status.requests = 1234567;
        QCOMPARE(primaryProviderText(status), u"https://api.example.test/v1"_s);
        QCOMPARE(backupModelsText(status), u"2 configured"_s);
        QCOMPARE(requestsText(status), u"1234567"_s); // not compact
    }
};

QTEST_GUILESS_MAIN(TestStatusInfo)
#include "tst_statusinfo.moc"
