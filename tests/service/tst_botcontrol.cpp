// The start, stop and restart request: what it posts, what the message beside the server
// buttons says, how often the status file is polled and when the wait ends.
//
// The poll and clear intervals are milliseconds here. To count polls exactly, a scripted
// service rewrites the status file after every read that changed the model, with "requests"
// set to the number of the next poll: each poll then finds a new record, and the model's
// `requests` is the number of polls made so far.
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "service/statusinfo.h"
#include "support/testsupport.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <functional>
#include <optional>

using namespace Qt::Literals::StringLiterals;

namespace {

using Message = std::optional<QString>;

struct ServiceState {
    bool running = false;
    qint64 pid = 0;
};

// Plays the bot service through the status file: poll n reads the state script(n).
class ScriptedService final : public QObject {
public:
    ScriptedService(SettingsModel &model, std::function<ServiceState(int poll)> script)
        : m_model(model)
        , m_script(std::move(script))
    {
        connect(&model, &SettingsModel::statusChanged, this, [this] {
            if (m_model.status().requests == m_next)
                write(m_next + 1);
        });
    }

    // Writes the record for the next read and arms the rewriting.
    void begin() { write(1); }

private:
    void write(int poll)
    {
        const ServiceState state = m_script(poll);
        StatusInfo status;
        status.botRunning = state.running;
        status.pid = state.pid;
        status.requests = poll;
        m_next = poll;
        TestSupport::writeFile(statusFilePath(m_model.path()), serialiseStatus(status));
    }

    SettingsModel &m_model;
    std::function<ServiceState(int)> m_script;
    qint64 m_next = 0;
};

} // namespace

class TestBotControl final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport *m_transport = nullptr;
    SettingsModel *m_model = nullptr;
    QList<Message> m_messages; // every value controlMsg took, in order

    static constexpr int pollMs = 5;
    static constexpr int clearMs = 60;

    QString statusPath() const { return m_dir.filePath(u"varnook-status.json"_s); }

    void writeState(bool running, qint64 pid)
    {
        StatusInfo status;
        status.botRunning = running;
        status.pid = pid;
        TestSupport::writeFile(statusPath(), serialiseStatus(status));
    }

    // Waits until the message has been cleared, then a little longer to show that no poll
    // is left.
    void waitForIdle()
    {
        QTRY_VERIFY_WITH_TIMEOUT(m_messages.size() >= 2 && !m_messages.constLast(), 10000);
        QTest::qWait(clearMs + 10 * pollMs);
    }

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_dir.isValid());
        QFile::remove(statusPath());
        m_transport = new InMemoryTransport(this);
        m_model = new SettingsModel(m_dir.filePath(u"bot-config.json"_s),
                                    ModelEnvironment{m_transport}, this);
        m_model->setControlPollInterval(pollMs);
        m_model->setControlClearDelay(clearMs);
        m_messages.clear();
        connect(m_model, &SettingsModel::controlMsgChanged, this,
                [this] { m_messages.append(m_model->controlMsg()); });
    }

    void cleanup()
    {
        delete m_model;
        m_model = nullptr;
        delete m_transport;
        m_transport = nullptr;
    }

    void requestIsPostedWithItsAction_data()
    {
        QTest::addColumn<QString>("action");
        QTest::newRow("start") << u"start"_s;
        QTest::newRow("stop") << u"stop"_s;
        QTest::newRow("restart") << u"restart"_s;
    }
    void requestIsPostedWithItsAction()
    {
        QFETCH(QString, action);
        m_model->sendBotControl(action);
        QCOMPARE(m_transport->posts().size(), 1);
        QCOMPARE(m_transport->posts().constFirst().name, u"com.tesselmo.varnook.bot-control"_s);
        QCOMPARE(m_transport->posts().constFirst().userInfo, QVariantMap({{u"action"_s, action}}));
    }

    void startWhileRunningIsDoneOnTheFirstPoll()
    {
        ScriptedService service(*m_model, [](int) { return ServiceState{true, 40}; });
        service.begin();
        m_model->sendBotControl(u"start"_s);
        // The first poll runs within the call.
        QCOMPARE(m_messages, QList<Message>({u"Starting…"_s, u"✓ Started"_s}));
        QCOMPARE(m_model->status().requests, 1);
        waitForIdle();
        QCOMPARE(m_messages, QList<Message>({u"Starting…"_s, u"✓ Started"_s, std::nullopt}));
        QCOMPARE(m_model->status().requests, 1);
    }

    void stopWithNoServiceAndNoStatusFileIsDoneAtOnce()
    {
        m_model->sendBotControl(u"stop"_s);
        QCOMPARE(m_messages, QList<Message>({u"Stopping…"_s, u"✓ Stopped"_s}));
        QCOMPARE(m_model->status(), StatusInfo{});
        waitForIdle();
        QCOMPARE(m_messages, QList<Message>({u"Stopping…"_s, u"✓ Stopped"_s, std::nullopt}));
    }

    void startIsDoneWhenTheServiceComesUp()
    {
        ScriptedService service(*m_model, [](int poll) { return ServiceState{poll >= 4, 41}; });
        service.begin();
        m_model->sendBotControl(u"start"_s);
        waitForIdle();
        QCOMPARE(m_messages, QList<Message>({u"Starting…"_s, u"✓ Started"_s, std::nullopt}));
        QCOMPARE(m_model->status().requests, 4);
    }

    void stopIsDoneWhenTheServiceGoesDown()
    {
        ScriptedService service(*m_model, [](int poll) { return ServiceState{poll < 3, 41}; });
        service.begin();
        m_model->sendBotControl(u"stop"_s);
        waitForIdle();
        QCOMPARE(m_messages, QList<Message>({u"Stopping…"_s, u"✓ Stopped"_s, std::nullopt}));
        QCOMPARE(m_model->status().requests, 3);
    }

    void startThatNeverHappensCompletesAfter31Polls()
    {
        ScriptedService service(*m_model, [](int) { return ServiceState{false, 0}; });
        service.begin();
        m_model->sendBotControl(u"start"_s);
        waitForIdle();
        QCOMPARE(m_messages, QList<Message>({u"Starting…"_s, u"✓ Started"_s, std::nullopt}));
        QCOMPARE(m_model->status().requests, SettingsModel::controlMaxPolls);
        QCOMPARE(m_model->status().botRunning, false);
    }

    void restartIsDoneWhenThePidChanges()
    {
        writeState(true, 500);
        m_model->refreshStatus();
        ScriptedService service(*m_model, [](int poll) {
            return ServiceState{true, poll < 3 ? 500 : 501};
        });
        service.begin();
        m_model->sendBotControl(u"restart"_s);
        waitForIdle();
        QCOMPARE(m_messages, QList<Message>({u"Restarting…"_s, u"✓ Restarted"_s, std::nullopt}));
        QCOMPARE(m_model->status().requests, 3);
    }

    void restartThroughStoppedIsDoneWhenBackUnderANewPid()
    {
        writeState(true, 500);
        m_model->refreshStatus();
        ScriptedService service(*m_model, [](int poll) {
            return poll < 4 ? ServiceState{false, 0} : ServiceState{true, 502};
        });
        service.begin();
        m_model->sendBotControl(u"restart"_s);
        waitForIdle();
        QCOMPARE(m_model->status().requests, 4);
        QCOMPARE(m_messages.at(1), Message(u"✓ Restarted"_s));
    }

    void restartWithTheSamePidCompletesAfter31Polls()
    {
        writeState(true, 500);
        m_model->refreshStatus();
        ScriptedService service(*m_model, [](int) { return ServiceState{true, 500}; });
        service.begin();
        m_model->sendBotControl(u"restart"_s);
        waitForIdle();
        QCOMPARE(m_model->status().requests, SettingsModel::controlMaxPolls);
        QCOMPARE(m_messages, QList<Message>({u"Restarting…"_s, u"✓ Restarted"_s, std::nullopt}));
    }

    void restartWhosePidStaysZeroIsNeverDone()
    {
        ScriptedService service(*m_model, [](int) { return ServiceState{true, 0}; });
        service.begin();
        m_model->sendBotControl(u"restart"_s);
        waitForIdle();
        QCOMPARE(m_model->status().requests, SettingsModel::controlMaxPolls);
        QCOMPARE(m_messages.at(1), Message(u"✓ Restarted"_s));
    }

    void restartSeenStoppedOnceStillNeedsANewPid()
    {
        // Down on the first poll, back under the old pid afterwards. The stopped sighting is
        // not remembered: the pid decides, and it never changes.
        writeState(true, 500);
        m_model->refreshStatus();
        ScriptedService service(*m_model, [](int poll) {
            return poll == 1 ? ServiceState{false, 0} : ServiceState{true, 500};
        });
        service.begin();
        m_model->sendBotControl(u"restart"_s);
        waitForIdle();
        QCOMPARE(m_model->status().requests, SettingsModel::controlMaxPolls);
    }

    void pidBeforeIsTheOneShownNotTheOneOnDisk()
    {
        writeState(true, 500);
        m_model->refreshStatus();
        writeState(true, 600); // already restarted, but not read yet
        m_model->sendBotControl(u"restart"_s);
        QCOMPARE(m_messages, QList<Message>({u"Restarting…"_s, u"✓ Restarted"_s}));
        QCOMPARE(m_model->status().pid, 600);
    }

    void stopPressedDuringStartKeepsItsPendingText()
    {
        // Start finishes at once; Stop, pressed before Start's message clears, waits all 31
        // polls (longer than the clear delay). Start's clearing must spare "Stopping…".
        m_model->setControlPollInterval(20);
        writeState(true, 40);
        m_model->sendBotControl(u"start"_s);
        QCOMPARE(m_model->controlMsg(), Message(u"✓ Started"_s));
        m_model->sendBotControl(u"stop"_s);
        QCOMPARE(m_model->controlMsg(), Message(u"Stopping…"_s));
        QTest::qWait(clearMs * 2);
        QCOMPARE(m_model->controlMsg(), Message(u"Stopping…"_s));
        waitForIdle();
        QCOMPARE(m_messages, QList<Message>({u"Starting…"_s, u"✓ Started"_s, u"Stopping…"_s,
                                             u"✓ Stopped"_s, std::nullopt}));
    }

    void waitsRunIndependently()
    {
        // A stop that never completes and a start that completes at once: the start does not
        // end the stop's wait, which goes on to its 31st poll.
        ScriptedService service(*m_model, [](int) { return ServiceState{true, 40}; });
        service.begin();
        m_model->sendBotControl(u"stop"_s);
        m_model->sendBotControl(u"start"_s);
        QCOMPARE(m_model->controlMsg(), Message(u"✓ Started"_s));
        QTRY_COMPARE_WITH_TIMEOUT(m_model->status().requests, SettingsModel::controlMaxPolls + 1,
                                  10000);
        QTRY_VERIFY_WITH_TIMEOUT(m_messages.contains(Message(u"✓ Stopped"_s)), 10000);
        QCOMPARE(m_messages.mid(0, 3),
                 QList<Message>({u"Stopping…"_s, u"Starting…"_s, u"✓ Started"_s}));
    }

    void unknownActionUsesItsCapitalisedWords_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("words");
        QTest::newRow("one word") << u"reload"_s << u"Reload"_s;
        QTest::newRow("mixed case") << u"fORCE-relOAD now"_s << u"Force-reload Now"_s;
        QTest::newRow("blanks kept") << u" pause  all\tbots"_s << u" Pause  All\tBots"_s;
        QTest::newRow("non-latin") << u"ärger übel"_s << u"Ärger Übel"_s;
        QTest::newRow("empty") << QString() << QString();
    }
    void unknownActionUsesItsCapitalisedWords()
    {
        QFETCH(QString, action);
        QFETCH(QString, words);
        writeState(true, 0); // never done by the restart rule
        m_model->sendBotControl(action);
        QCOMPARE(m_transport->posts().constFirst().userInfo.value(u"action"_s).toString(), action);
        waitForIdle();
        QCOMPARE(m_messages, QList<Message>({words + u'…', u"✓ "_s + words, std::nullopt}));
    }

    void unknownActionIsDoneByTheRestartRule()
    {
        writeState(true, 500);
        m_model->refreshStatus();
        writeState(true, 501);
        m_model->sendBotControl(u"reload"_s);
        QCOMPARE(m_messages, QList<Message>({u"Reload…"_s, u"✓ Reload"_s}));
    }

    void waitEndsQuietlyWhenTheModelGoesAway()
    {
        writeState(false, 0);
        m_model->sendBotControl(u"start"_s);
        delete m_model;
        m_model = nullptr;
        QTest::qWait(20 * pollMs + clearMs);
        QCOMPARE(m_messages, QList<Message>({u"Starting…"_s}));
    }

    void withoutTransportTheWaitStillRuns()
    {
        SettingsModel alone(m_dir.filePath(u"bot-config.json"_s));
        alone.setControlPollInterval(pollMs);
        alone.setControlClearDelay(clearMs);
        alone.sendBotControl(u"stop"_s);
        QCOMPARE(alone.controlMsg(), Message(u"✓ Stopped"_s));
        QTRY_VERIFY_WITH_TIMEOUT(!alone.controlMsg(), 10000);
    }

    void quitSettingsQuitsTheApplication()
    {
        QSignalSpy aboutToQuit(QCoreApplication::instance(), &QCoreApplication::aboutToQuit);
        // The application's own loop is what quits; run it, with a watchdog that would end it
        // with another code.
        QTimer watchdog;
        watchdog.setSingleShot(true);
        connect(&watchdog, &QTimer::timeout, this, [] { QCoreApplication::exit(3); });
        watchdog.start(10000);
        QTimer::singleShot(0, m_transport,
                           [this] { m_transport->post(u"com.tesselmo.varnook.quit-settings"_s); });
        QCOMPARE(QCoreApplication::exec(), 0);
        QCOMPARE(aboutToQuit.count(), 1);
    }

    void otherNotificationsDoNotQuit()
    {
        QTimer watchdog;
        watchdog.setSingleShot(true);
        connect(&watchdog, &QTimer::timeout, this, [] { QCoreApplication::exit(3); });
        watchdog.start(300);
        QTimer::singleShot(0, m_transport, [this] {
            m_transport->post(u"com.tesselmo.varnook.quit-settings-later"_s);
            m_transport->post(u"com.tesselmo.varnook.bot-control"_s, {{u"action"_s, u"quit"_s}});
            m_transport->post(u"quit-settings"_s);
        });
        QCOMPARE(QCoreApplication::exec(), 3); // only the watchdog ended it
    }
};

QTEST_GUILESS_MAIN(TestBotControl)
#include "tst_botcontrol.moc"
