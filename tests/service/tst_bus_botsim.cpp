// The settings model against the simulated bot service, over a private session bus: start,
// stop and restart end to end, configuration changes reaching the service, the service asking
// the settings program to quit, and reads while the service rewrites its status file.
#include "support/bussupport.h"
#include "model/settingsmodel.h"
#include "service/dbustransport.h"
#include "service/statusinfo.h"
#include "support/testsupport.h"

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <numeric>

using namespace Qt::Literals::StringLiterals;

namespace {

// Three bots, the second without a token (so the service does not run it).
QByteArray configText()
{
    const QJsonObject spare{{u"name"_s, u"spare"_s},
                            {u"base_url"_s, u"http://127.0.0.1:9/v2"_s},
                            {u"api_key"_s, u"k"_s},
                            {u"model"_s, u"m2"_s}};
    const QJsonObject config{
        {u"base_url"_s, u"  http://127.0.0.1:9/v1 "_s},
        {u"model"_s, u"sim-model"_s},
        {u"fallbacks"_s, QJsonArray{spare}},
        {u"bot_tokens"_s, QJsonArray{u"111:aaa"_s, QString(), u"333:ccc"_s}},
        {u"bot_nicknames"_s, QJsonArray{u"Trading desk"_s, u"Idle"_s, QString()}},
    };
    return QJsonDocument(config).toJson();
}

using Message = std::optional<QString>;

// What the model's status said at the moment each completion message appeared.
class CompletionLog final : public QObject {
public:
    explicit CompletionLog(SettingsModel &model)
    {
        connect(&model, &SettingsModel::controlMsgChanged, this, [this, &model] {
            if (model.controlMsg() && model.controlMsg()->startsWith(u"✓ "_s))
                entries.append({*model.controlMsg(), model.status()});
        });
    }
    struct Entry {
        QString message;
        StatusInfo status;
    };
    QList<Entry> entries;
};

} // namespace

class TestBusBotSim final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY2(QFile::exists(BusSupport::botSimulatorPath()),
                 "build the varnook-bot-sim target before this test");
        QVERIFY(QDBusConnection::sessionBus().isConnected());
    }

    void init() { TestSupport::writeFile(configPath(), configText()); }

    void startStopAndRestartEndToEnd()
    {
        BusSupport::BotSimulatorProcess service;
        QVERIFY(service.start(configPath(), {u"--delay"_s, u"150"_s}));

        DBusTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        // Long enough that a wait that ran out (31 polls) could not pass for one that ended
        // because the service got there: see the status logged with each completion.
        model.setControlPollInterval(100);
        model.setControlClearDelay(200);
        CompletionLog log(model);
        model.refreshStatus();
        QCOMPARE(statusLineText(model.status()), u"Stopped"_s);
        QCOMPARE(primaryProviderText(model.status()), u"http://127.0.0.1:9/v1"_s);
        QCOMPARE(backupModelsText(model.status()), u"1 configured"_s);

        model.sendBotControl(u"start"_s);
        QCOMPARE(model.controlMsg(), Message(u"Starting…"_s));
        QTRY_COMPARE_WITH_TIMEOUT(log.entries.size(), 1, 20000);
        QCOMPARE(log.entries.at(0).message, u"✓ Started"_s);
        QVERIFY(log.entries.at(0).status.botRunning);
        const qint64 firstPid = log.entries.at(0).status.pid;
        QVERIFY(firstPid != 0);
        QCOMPARE(statusLineText(model.status()), u"Running as Trading desk, @varnook_bot3"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!model.controlMsg(), 10000);

        model.sendBotControl(u"restart"_s);
        QCOMPARE(model.controlMsg(), Message(u"Restarting…"_s));
        QTRY_COMPARE_WITH_TIMEOUT(log.entries.size(), 2, 20000);
        QCOMPARE(log.entries.at(1).message, u"✓ Restarted"_s);
        QVERIFY(log.entries.at(1).status.botRunning);
        QVERIFY(log.entries.at(1).status.pid != 0);
        QVERIFY(log.entries.at(1).status.pid != firstPid);
        QTRY_VERIFY_WITH_TIMEOUT(!model.controlMsg(), 10000);

        model.sendBotControl(u"stop"_s);
        QCOMPARE(model.controlMsg(), Message(u"Stopping…"_s));
        QTRY_COMPARE_WITH_TIMEOUT(log.entries.size(), 3, 20000);
        QCOMPARE(log.entries.at(2).message, u"✓ Stopped"_s);
        QVERIFY(!log.entries.at(2).status.botRunning);
        QCOMPARE(statusLineText(model.status()), u"Stopped"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!model.controlMsg(), 10000);

        QVERIFY2(service.stop(), service.log().constData());
    }

    void savedConfigurationReachesTheService()
    {
        BusSupport::BotSimulatorProcess service;
        QVERIFY(service.start(configPath(), {u"--running"_s}));

        DBusTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        QVERIFY(transport.flush());
        model.setModel(u"changed-model"_s);
        model.setBaseURL(u"http://127.0.0.1:10/v1"_s);
        model.setBotNickname(2, u"Night Shift"_s);
        QVERIFY(model.saveAndNotify());

        // The rows show what the service reports, so they follow once it has rewritten its file.
        QTRY_COMPARE_WITH_TIMEOUT((model.refreshStatus(), model.status().model), u"changed-model"_s,
                                  10000);
        QCOMPARE(primaryProviderText(model.status()), u"http://127.0.0.1:10/v1"_s);
        QCOMPARE(statusLineText(model.status()), u"Running as Trading desk, Night Shift"_s);
        QCOMPARE(model.status().botHandle, u"trading_desk_bot,night_shift_bot"_s);
        QVERIFY2(service.stop(), service.log().constData());
    }

    void serviceStoppingWritesStopped()
    {
        BusSupport::BotSimulatorProcess service;
        QVERIFY(service.start(configPath(), {u"--running"_s}));
        InMemoryTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        model.refreshStatus();
        QVERIFY(model.status().botRunning);
        QVERIFY2(service.stop(), service.log().constData());
        model.refreshStatus();
        QCOMPARE(statusLineText(model.status()), u"Stopped"_s);
    }

    void serviceCanQuitTheSettingsProgram()
    {
        BusSupport::ModelProcess settings;
        QVERIFY(settings.start(configPath()));
        QProcess simulator;
        simulator.start(BusSupport::botSimulatorPath(), {u"--quit-settings"_s});
        QVERIFY(simulator.waitForFinished(15000));
        QCOMPARE(simulator.exitCode(), 0);
        QVERIFY2(settings.waitForQuit(15000), settings.output().constData());
    }

    void readsWhileTheServiceRewritesInATightLoopAreWholeRecords()
    {
        // Made-up traffic every millisecond: every record the service writes keeps its totals
        // equal to the sums of its per-bot counts, which a mix of two records would break.
        BusSupport::BotSimulatorProcess service;
        QVERIFY(service.start(configPath(),
                              {u"--running"_s, u"--demo-traffic"_s, u"--tick"_s, u"1"_s}));
        InMemoryTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        int taken = 0;
        int inconsistent = 0;
        qint64 lastRequests = 0;
        connect(&model, &SettingsModel::statusChanged, this, [&] {
            const StatusInfo &status = model.status();
            ++taken;
            qint64 tokensIn = 0;
            qint64 tokensOut = 0;
            for (const QList<qint64> &counts : status.tokensByBot) {
                tokensIn += counts.value(0);
                tokensOut += counts.value(1);
            }
            const qint64 requests = std::accumulate(status.requestsByBot.begin(),
                                                    status.requestsByBot.end(), qint64(0));
            if (requests != status.requests || tokensIn != status.tokensIn
                || tokensOut != status.tokensOut || status.requests < lastRequests
                || status.requestsByBot.size() != 2 || !status.botRunning)
                ++inconsistent;
            lastRequests = status.requests;
        });
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < 2000 || (taken < 20 && clock.elapsed() < 20000)) {
            model.refreshStatus();
            QCoreApplication::processEvents();
        }
        qInfo("%d records taken, %lld requests counted", taken, model.status().requests);
        QVERIFY2(taken >= 20, qPrintable(QString::number(taken)));
        QCOMPARE(inconsistent, 0);
        QVERIFY(model.status().requests > 0);
        QVERIFY2(service.stop(), service.log().constData());
    }
};

VARNOOK_BUS_TEST_MAIN(TestBusBotSim)
#include "tst_bus_botsim.moc"
