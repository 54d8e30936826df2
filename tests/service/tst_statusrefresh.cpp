// SettingsModel::refreshStatus against what can lie on disk beside the configuration file:
// nothing, good records, broken ones, hostile ones, and files being rewritten as they are read.
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "service/statusinfo.h"
#include "support/testsupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QSaveFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <limits>
#include <sys/stat.h>
#include <thread>

using namespace Qt::Literals::StringLiterals;

namespace {

// Generous: these are about not hanging, not about speed.
constexpr qint64 boundMs = 10000;

StatusInfo runningRecord(qint64 pid)
{
    StatusInfo status;
    status.botRunning = true;
    status.pid = pid;
    status.botHandle = u"alpha_bot"_s;
    status.requests = 3;
    status.provider = u"https://api.example.test/v1"_s;
    return status;
}

// Records of different lengths and contents, so that a torn read could not pass for a whole one
// by accident.
QList<StatusInfo> distinctRecords(int count)
{
    QList<StatusInfo> records;
    for (int i = 0; i < count; ++i) {
        StatusInfo status;
        status.botRunning = i % 2 == 0;
        status.pid = 1000 + i;
        status.botHandle = QString(i * 37 % 300 + 1, QChar(u'a' + i % 26)) + u"_bot"_s;
        status.requests = i;
        status.requestsByBot = QList<qint64>(i % 7, i);
        status.tokensIn = qint64(i) * 1000;
        status.tokensOut = qint64(i) * 10;
        status.model = u"model-"_s + QString::number(i);
        status.provider = QString(i * 53 % 2000, u'p');
        records.append(status);
    }
    return records;
}

} // namespace

class TestStatusRefresh final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }
    QString statusPath() const { return m_dir.filePath(u"varnook-status.json"_s); }
    void writeStatus(const QByteArray &bytes) const { TestSupport::writeFile(statusPath(), bytes); }

    // A model that has already read a good record, to show that a bad file keeps it.
    void expectUnchangedAfter(const QByteArray &bytes)
    {
        InMemoryTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        writeStatus(serialiseStatus(runningRecord(77)));
        model.refreshStatus();
        QCOMPARE(model.status(), runningRecord(77));
        writeStatus(bytes);
        QSignalSpy changes(&model, &SettingsModel::statusChanged);
        QElapsedTimer clock;
        clock.start();
        model.refreshStatus();
        QVERIFY2(clock.elapsed() < boundMs, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(model.status(), runningRecord(77));
        QCOMPARE(changes.count(), 0);
    }

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_dir.isValid());
        QFile::remove(statusPath());
        QDir(statusPath()).removeRecursively();
    }

    void noStatusFileShowsStoppedZeroCountsAndNoTokens()
    {
        InMemoryTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        QSignalSpy changes(&model, &SettingsModel::statusChanged);
        model.refreshStatus();
        QCOMPARE(changes.count(), 0);
        QCOMPARE(model.status(), StatusInfo{});
        QCOMPARE(statusLineText(model.status()), u"Stopped"_s);
        QCOMPARE(requestsText(model.status()), u"0"_s);
        QCOMPARE(tokensUsedText(model.status()), u"—"_s);
    }

    void aReadReplacesTheRecordWithOneChangeSignal()
    {
        InMemoryTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        QSignalSpy changes(&model, &SettingsModel::statusChanged);
        writeStatus(R"({"bot_running": true, "bot_handle": " alpha , ,beta",
                        "bot_nicknames": ["", "Trading"], "requests": "9", "tokens_in": 1500})");
        model.refreshStatus();
        QCOMPARE(changes.count(), 1);
        QCOMPARE(statusLineText(model.status()), u"Running as @alpha, Trading"_s);
        QCOMPARE(model.status().requests, 0);
        QCOMPARE(tokensUsedText(model.status()), u"1.5K in · 0 out"_s);

        // The same record again is no change.
        model.refreshStatus();
        QCOMPARE(changes.count(), 1);
    }

    void statusFileFollowsTheConfigurationPath()
    {
        QTemporaryDir other;
        TestSupport::writeFile(other.filePath(u"varnook-status.json"_s),
                               serialiseStatus(runningRecord(5)));
        InMemoryTransport transport;
        SettingsModel model(other.filePath(u"custom-name.json"_s), ModelEnvironment{&transport});
        model.refreshStatus();
        QCOMPARE(model.status().pid, 5);
    }

    void vanishedFileKeepsTheLastValues()
    {
        InMemoryTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        writeStatus(serialiseStatus(runningRecord(8)));
        model.refreshStatus();
        QVERIFY(QFile::remove(statusPath()));
        model.refreshStatus();
        QCOMPARE(model.status(), runningRecord(8));
    }

    void arrayFileKeepsThePreviousRecord() { expectUnchangedAfter(R"([{"bot_running": false}])"); }
    void truncatedFileKeepsThePreviousRecord()
    {
        expectUnchangedAfter(serialiseStatus(StatusInfo{}).chopped(10));
    }
    void emptyFileKeepsThePreviousRecord() { expectUnchangedAfter({}); }
    void binaryGarbageKeepsThePreviousRecord()
    {
        QByteArray garbage;
        for (int i = 0; i < 70000; ++i)
            garbage.append(char(i * 7919 % 256));
        expectUnchangedAfter(garbage);
    }

    void wrongTypesEverywhereResetEveryField()
    {
        InMemoryTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        writeStatus(serialiseStatus(runningRecord(77)));
        model.refreshStatus();
        writeStatus(R"({"bot_running": "true", "pid": [77], "bot_handle": {"a": 1},
            "bot_nicknames": "Trading", "requests": "3", "requests_by_bot": {"0": 1},
            "tokens_in": "1", "tokens_out": false, "tokens_by_bot": [1, 2], "base_url": 7,
            "model": null, "fallbacks": 2.25})");
        QSignalSpy changes(&model, &SettingsModel::statusChanged);
        QElapsedTimer clock;
        clock.start();
        model.refreshStatus();
        QVERIFY(clock.elapsed() < boundMs);
        QCOMPARE(changes.count(), 1);
        QCOMPARE(model.status(), StatusInfo{});
        QCOMPARE(statusLineText(model.status()), u"Stopped"_s);
    }

    void directoryInPlaceOfTheFileIsIgnored()
    {
        InMemoryTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        writeStatus(serialiseStatus(runningRecord(77)));
        model.refreshStatus();
        QVERIFY(QFile::remove(statusPath()));
        QVERIFY(QDir().mkpath(statusPath()));
        model.refreshStatus();
        QCOMPARE(model.status(), runningRecord(77));
    }

    void namedPipeInPlaceOfTheFileDoesNotBlock()
    {
        InMemoryTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        QCOMPARE(::mkfifo(QFile::encodeName(statusPath()).constData(), 0600), 0);
        QElapsedTimer clock;
        clock.start();
        model.refreshStatus(); // opening a pipe nobody writes to would wait for ever
        QVERIFY(clock.elapsed() < boundMs);
        QCOMPARE(model.status(), StatusInfo{});
    }

    void endlessDeviceInPlaceOfTheFileIsIgnored()
    {
        if (!QFile::exists(u"/dev/zero"_s))
            QSKIP("no /dev/zero here");
        InMemoryTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        QVERIFY(QFile::link(u"/dev/zero"_s, statusPath()));
        QElapsedTimer clock;
        clock.start();
        model.refreshStatus();
        QVERIFY(clock.elapsed() < boundMs);
        QCOMPARE(model.status(), StatusInfo{});
    }

    // A service with very many bots writes a file of several megabytes: above the 1 MiB cap it
    // is not read at all, like an unreadable file, and the record read before stays.
    void severalMegabyteFileKeepsThePreviousRecord()
    {
        StatusInfo big;
        big.botRunning = true;
        big.pid = 99;
        QStringList handles;
        for (int i = 0; i < 200000; ++i) {
            handles.append(u"bot"_s + QString::number(i));
            big.requestsByBot.append(i);
        }
        big.botHandle = handles.join(u',');
        const QByteArray bytes = serialiseStatus(big);
        QVERIFY(bytes.size() > 4 * 1024 * 1024);
        expectUnchangedAfter(bytes);
    }

    // As many handles as fit under the cap: read whole, in time that grows with the file, not
    // with its square (the page shows two names and a count).
    void twoHundredThousandHandlesAreReadInLinearTime()
    {
        const auto handlesFile = [](int count) {
            StatusInfo status;
            status.botRunning = true;
            status.pid = 99;
            QString handles;
            for (int i = 0; i < count; ++i) {
                if (i > 0)
                    handles += u',';
                // Four letters each: 200000 handles stay under the cap.
                for (int n = i, k = 0; k < 4; ++k, n /= 26)
                    handles += QChar(u'a' + n % 26);
            }
            status.botHandle = handles;
            return QJsonDocument(statusRecord(status)).toJson(QJsonDocument::Compact);
        };
        const QByteArray big = handlesFile(200000);
        QVERIFY2(big.size() <= statusFileSizeLimit, qPrintable(QString::number(big.size())));

        InMemoryTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        writeStatus(big);
        model.refreshStatus();
        QCOMPARE(model.status().pid, 99);
        QCOMPARE(statusLineText(model.status()), u"Running as @aaaa, @baaa ... +199998 more"_s);

        // The best of a few reads of each size, per handle: a quadratic step would make the
        // large file hundreds of times dearer per handle; a linear one keeps them close.
        const auto perHandleNs = [&](const QByteArray &bytes, int count) {
            writeStatus(bytes);
            qint64 best = std::numeric_limits<qint64>::max();
            for (int run = 0; run < 5; ++run) {
                QElapsedTimer clock;
                clock.start();
                const std::optional<StatusInfo> read = readStatusFile(statusPath());
                const QString line = read ? statusLineText(*read) : QString();
                best = std::min(best, clock.nsecsElapsed());
                if (line.isEmpty())
                    return -1.0;
            }
            return double(best) / count;
        };
        const double small = perHandleNs(handlesFile(1000), 1000);
        const double large = perHandleNs(big, 200000);
        qInfo("status read: %.1f ns per handle at 1000 handles, %.1f at 200000", small, large);
        QVERIFY(small > 0 && large > 0);
        QVERIFY2(large < small * 4, qPrintable(u"%1 vs %2 ns"_s.arg(large).arg(small)));
    }

    void fileOfExactlyTheSizeLimitIsRead()
    {
        QByteArray bytes = "{\"bot_running\": true, \"pid\": 6, \"padding\": \"";
        const QByteArray tail = "\"}";
        bytes.append(QByteArray(statusFileSizeLimit - bytes.size() - tail.size(), 'x'));
        bytes.append(tail);
        QCOMPARE(qint64(bytes.size()), statusFileSizeLimit);
        writeStatus(bytes);
        InMemoryTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        model.refreshStatus();
        QCOMPARE(model.status().pid, 6);
        // One byte more, still a valid record, and it is too large: the last record stays.
        writeStatus(bytes.insert(bytes.size() - 2, 'x'));
        model.refreshStatus();
        QCOMPARE(model.status().pid, 6);
    }

    void fileAboveTheSizeLimitIsIgnored()
    {
        // A valid record padded past the limit: it is not read at all.
        QByteArray bytes = "{\"bot_running\": true, \"pid\": 5, \"padding\": \"";
        bytes.append(QByteArray(statusFileSizeLimit, 'x'));
        bytes.append("\"}");
        expectUnchangedAfter(bytes);
    }

    void deeplyNestedFileIsRejectedQuietly_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        constexpr int depth = 100000;
        QTest::newRow("arrays") << QByteArray(depth, '[') + QByteArray(depth, ']');
        QTest::newRow("inside a key") << QByteArray(R"({"bot_running": true, "deep": )")
                                             + QByteArray(depth, '[') + QByteArray(depth, ']')
                                             + '}';
        QByteArray objects;
        for (int i = 0; i < depth; ++i)
            objects.append(R"({"a":)");
        objects.append("0");
        objects.append(QByteArray(depth, '}'));
        QTest::newRow("objects") << objects;
        QTest::newRow("unclosed") << QByteArray(depth, '[');
    }
    void deeplyNestedFileIsRejectedQuietly()
    {
        QFETCH(QByteArray, bytes);
        expectUnchangedAfter(bytes);
    }

    // ---- a writer at work while the file is read ---------------------------------------

    void readsDuringRenamingRewritesAreAlwaysWholeRecords()
    {
        const QList<StatusInfo> records = distinctRecords(40);
        std::atomic<bool> stop = false;
        std::atomic<int> writes = 0;
        std::thread writer([&] {
            for (int i = 0; !stop; i = (i + 1) % records.size()) {
                QSaveFile file(statusPath());
                if (file.open(QIODevice::WriteOnly)
                    && file.write(serialiseStatus(records.at(i))) > 0 && file.commit())
                    ++writes;
            }
        });
        readWhileWriting(records, stop);
        writer.join();
        QVERIFY(writes > 10);
    }

    void readsDuringInPlaceRewritesAreAlwaysWholeRecords()
    {
        const QList<StatusInfo> records = distinctRecords(40);
        std::atomic<bool> stop = false;
        std::atomic<int> writes = 0;
        std::thread writer([&] {
            for (int i = 0; !stop; i = (i + 1) % records.size()) {
                // Truncate and write in two pieces: a reader can find it empty or half done.
                QFile file(statusPath());
                if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
                    continue;
                const QByteArray bytes = serialiseStatus(records.at(i));
                file.write(bytes.first(bytes.size() / 2));
                file.flush();
                file.write(bytes.sliced(bytes.size() / 2));
                file.close();
                ++writes;
            }
        });
        readWhileWriting(records, stop);
        writer.join();
        QVERIFY(writes > 10);
    }

private:
    void readWhileWriting(const QList<StatusInfo> &records, std::atomic<bool> &stop)
    {
        InMemoryTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        int accepted = 0;
        int foreign = 0;
        connect(&model, &SettingsModel::statusChanged, this, [&] {
            ++accepted;
            if (!records.contains(model.status()))
                ++foreign;
        });
        QElapsedTimer clock;
        clock.start();
        int reads = 0;
        while (clock.elapsed() < 1500 || (accepted < 20 && clock.elapsed() < boundMs)) {
            model.refreshStatus();
            ++reads;
        }
        stop = true;
        qInfo("%d reads, %d records taken", reads, accepted);
        QCOMPARE(foreign, 0);
        QVERIFY(accepted >= 20);
    }
};

QTEST_GUILESS_MAIN(TestStatusRefresh)
#include "tst_statusrefresh.moc"
