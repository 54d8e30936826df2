// varnookctl on a private session bus: start, stop and restart against the simulated bot
// service, and a settings model in this process (the window's, without the window) that picks
// up what the terminal writes.
#include "ctlprocess.h"

#include "model/settingsmodel.h"
#include "service/dbustransport.h"
#include "service/statusinfo.h"
#include "support/bussupport.h"
#include "support/testsupport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int timeout = 20000;

QByteArray startingConfig()
{
    return QJsonDocument(QJsonObject{{"max_tokens"_L1, 500},
                                     {"model"_L1, u"m0"_s},
                                     {"bot_tokens"_L1, QJsonArray{u"111:AAA"_s}},
                                     {"bot_nicknames"_L1, QJsonArray{u"Trading"_s}}})
        .toJson();
}

// A status file that says running under `pid`, with nobody behind it.
QByteArray runningStatus(qint64 pid)
{
    StatusInfo status;
    status.botRunning = true;
    status.pid = pid;
    return serialiseStatus(status);
}

} // namespace

class TestBusCtl final : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    CtlProcess m_ctl;
    std::unique_ptr<DBusTransport> m_listener;
    QList<std::pair<QString, QVariantMap>> m_received;

    QString configPath() const { return m_dir->filePath(u"bot-config.json"_s); }
    QJsonObject file() const
    {
        return QJsonDocument::fromJson(TestSupport::readFile(configPath())).object();
    }
    // The file as an older save left it: the next write always moves the modification time.
    void writeOldConfig(const QByteArray &bytes)
    {
        TestSupport::writeFile(configPath(), bytes);
        QFile f(configPath());
        QVERIFY(f.open(QIODevice::ReadWrite));
        QVERIFY(f.setFileTime(QDateTime::currentDateTime().addSecs(-3600),
                              QFileDevice::FileModificationTime));
    }
    int receivedCount(const QString &name) const
    {
        return int(std::count_if(m_received.begin(), m_received.end(),
                                 [&](const auto &post) { return post.first == name; }));
    }
    // A post made after everything varnookctl sent so far, so that once it is back, all of
    // varnookctl's posts have been delivered too.
    void drainBus()
    {
        const int marks = receivedCount(u"test.mark"_s);
        m_listener->post(u"test.mark"_s);
        QTRY_COMPARE_WITH_TIMEOUT(receivedCount(u"test.mark"_s), marks + 1, timeout);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(!qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"),
                 "runs inside dbus-run-session");
        QVERIFY2(QFile::exists(BusSupport::botSimulatorPath()), "build varnook-bot-sim first");
        QVERIFY2(QFile::exists(CtlProcess::binary()), "build the varnookctl target first");
    }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        writeOldConfig(startingConfig());
        m_ctl = CtlProcess();
        m_ctl.setConfig(configPath());
        m_ctl.setWorkingDirectory(m_dir->path());
        // Thirty-one polls in well under a second.
        m_ctl.environment().insert(u"VARNOOK_CONTROL_POLL_MS"_s, u"20"_s);
        m_received.clear();
        m_listener = std::make_unique<DBusTransport>();
        QVERIFY(m_listener->isConnected());
        connect(m_listener.get(), &NotificationTransport::received, this,
                [this](const QString &name, const QVariantMap &info) {
                    m_received.append({name, info});
                });
        QVERIFY(m_listener->flush());
    }

    void cleanup() { m_listener.reset(); }

    void startStopAndRestartFollowTheService()
    {
        BusSupport::BotSimulatorProcess service;
        QVERIFY(service.start(configPath(), {u"--delay"_s, u"100"_s}));

        const CtlResult start = m_ctl.run({u"start"_s});
        QVERIFY2(start.exitCode == 0, start.err.constData());
        QCOMPARE(start.output(), u"Starting…\n✓ Started\n"_s);
        QCOMPARE(start.err, QByteArray());
        const std::optional<StatusInfo> running = readStatusFile(statusFilePath(configPath()));
        QVERIFY(running && running->botRunning);
        QVERIFY(m_ctl.run({u"status"_s}).outputLines().value(0).endsWith(u"Running as Trading"_s));

        const CtlResult restart = m_ctl.run({u"restart"_s});
        QVERIFY2(restart.exitCode == 0, restart.err.constData());
        QCOMPARE(restart.output(), u"Restarting…\n✓ Restarted\n"_s);
        const std::optional<StatusInfo> restarted = readStatusFile(statusFilePath(configPath()));
        QVERIFY(restarted && restarted->botRunning);
        QVERIFY(restarted->pid != running->pid);

        const CtlResult stop = m_ctl.run({u"stop"_s});
        QVERIFY2(stop.exitCode == 0, stop.err.constData());
        QCOMPARE(stop.output(), u"Stopping…\n✓ Stopped\n"_s);
        QVERIFY(!readStatusFile(statusFilePath(configPath()))->botRunning);

        // The requests went out as the window sends them.
        drainBus();
        QStringList actions;
        for (const auto &[name, info] : std::as_const(m_received)) {
            if (name == Notifications::botControl())
                actions.append(info.value(u"action"_s).toString());
        }
        QCOMPARE(actions, (QStringList{u"start"_s, u"restart"_s, u"stop"_s}));
    }

    void aServiceThatNeverAnswersEndsTheWaitWithExitCodeOne()
    {
        const CtlResult start = m_ctl.run({u"start"_s});
        QCOMPARE(start.exitCode, 1);
        // The window's optimistic ending is shown all the same; the exit code tells the truth.
        QCOMPARE(start.output(), u"Starting…\n✓ Started\n"_s);
        QVERIFY(start.oneErrorLine());
        QVERIFY(start.error().contains(u"31"_s));

        // Stopping what is not running is done at the first look.
        QCOMPARE(m_ctl.run({u"stop"_s}).exitCode, 0);
    }

    void aRestartIsToldByANewPid()
    {
        // Running, says the file, but nothing will ever write a new pid into it.
        TestSupport::writeFile(statusFilePath(configPath()), runningStatus(777));
        const CtlResult restart = m_ctl.run({u"restart"_s});
        QCOMPARE(restart.exitCode, 1);
        QCOMPARE(restart.output(), u"Restarting…\n✓ Restarted\n"_s);
        QVERIFY(restart.oneErrorLine());
        QVERIFY(restart.error().contains(u"new pid"_s));
        // Already running: a start is done at once.
        QCOMPARE(m_ctl.run({u"start"_s}).exitCode, 0);
    }

    void aSetFromTheTerminalReachesARunningModel()
    {
        DBusTransport transport;
        SettingsModel model(configPath(), ModelEnvironment{&transport});
        QVERIFY(transport.flush());
        QCOMPARE(model.maxTokens(), u"500"_s);

        const CtlResult set = m_ctl.run({u"set"_s, u"max_tokens"_s, u"777"_s});
        QCOMPARE(set.exitCode, 0);
        QTRY_COMPARE_WITH_TIMEOUT(model.maxTokens(), u"777"_s, timeout);
        QCOMPARE(model.model(), u"m0"_s);

        // And the other way round: what the model saves, the terminal reads.
        model.setBotNickname(0, u"Desk"_s);
        QVERIFY(model.saveAndNotify());
        QCOMPARE(m_ctl.run({u"bot"_s, u"get"_s, u"1"_s, u"nickname"_s}).output(), u"Desk\n"_s);
    }

    void everyWriteIsAnnouncedAndNothingElse()
    {
        QVERIFY(m_ctl.run({u"get"_s, u"model"_s}).exitCode == 0);
        QVERIFY(m_ctl.run({u"bot"_s, u"list"_s}).exitCode == 0);
        QCOMPARE(m_ctl.run({u"set"_s, u"max_tokens"_s, u"lots"_s}).exitCode, 2);
        drainBus();
        QCOMPARE(receivedCount(Notifications::configChanged()), 0);

        QCOMPARE(m_ctl.run({u"set"_s, u"model"_s, u"m1"_s}).exitCode, 0);
        QCOMPARE(m_ctl.run({u"bot"_s, u"set"_s, u"1"_s, u"model"_s, u"m2"_s}).exitCode, 0);
        QCOMPARE(m_ctl.run({u"backup"_s, u"add"_s}).exitCode, 0);
        QCOMPARE(m_ctl.run({u"unset"_s, u"fallbacks"_s}).exitCode, 0);
        QVERIFY(QDir(m_dir->path()).mkpath(u"skills"_s));
        TestSupport::writeFile(m_dir->filePath(u"skills/voice.md"_s), "# Voice\n");
        QCOMPARE(m_ctl.run({u"skills"_s, u"disable"_s, u"voice"_s}).exitCode, 0);
        drainBus();
        QCOMPARE(receivedCount(Notifications::configChanged()), 5);
        QCOMPARE(file().value("model"_L1), QJsonValue(u"m1"_s));

        QCOMPARE(
            m_ctl.run({u"import"_s, TestSupport::fixture(u"config/legacy-single-token.json"_s)})
                .exitCode,
            0);
        drainBus();
        QCOMPARE(receivedCount(Notifications::configChanged()), 6);
        QCOMPARE(file().value("model"_L1), QJsonValue(u"gpt-legacy"_s));
    }

    void quitSettingsDoesNotCutAWaitShort()
    {
        // Meant for the window; a terminal command waiting on the service goes on waiting.
        BusSupport::BotSimulatorProcess service;
        QVERIFY(service.start(configPath(), {u"--delay"_s, u"1500"_s}));
        m_ctl.environment().insert(u"VARNOOK_CONTROL_POLL_MS"_s, u"100"_s);
        QProcess quitter;
        QSignalSpy quitterDone(&quitter, &QProcess::finished);
        QTimer::singleShot(100, this, [&quitter] {
            quitter.start(BusSupport::botSimulatorPath(), {u"--quit-settings"_s});
        });
        const CtlResult start = m_ctl.run({u"start"_s});
        QCOMPARE(start.exitCode, 0);
        QCOMPARE(start.output(), u"Starting…\n✓ Started\n"_s);
        // It was sent, and received, while the wait went on.
        QCOMPARE(quitterDone.size(), 1);
        QCOMPARE(quitter.exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(TestBusCtl)
#include "tst_bus_ctl.moc"
