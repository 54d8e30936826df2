// Runs "Test all" on the Model page of the real window against eight loopback providers (six
// answer after 20 to 300 ms, two accept the connection and never answer) and measures how long
// the event loop of the window was held up at most while the tests ran: a 2 ms timer notes the
// time of each of its ticks, and the longest gap between two ticks, less the 2 ms, is the stall.
// The same is measured on the idle window first, and the loop's own CPU time between two ticks
// beside it (see Ticker). Prints one line per run and the worst figures:
//
//   testall_stall [runs] [deadline-ms]      (default 5 runs, 3000 ms for the silent ones)

#include "ui/contentview.h"
#include "ui/mainwindow.h"
#include "model/settingsmodel.h"
#include "providers/providerbatch.h"
#include "service/notificationtransport.h"
#include "ui/state/windowstate.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHttpServer>
#include <QHttpServerResponder>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <memory>

#include <time.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// Answers every request with 200 after `delayMs`.
class AnsweringProvider final {
public:
    explicit AnsweringProvider(int delayMs)
    {
        m_server.setMissingHandler(
            [delayMs](const QHttpServerRequest &, QHttpServerResponder &&responder) {
                auto held = std::make_shared<QHttpServerResponder>(std::move(responder));
                QTimer::singleShot(delayMs,
                                   [held] { held->write(QHttpServerResponder::StatusCode::Ok); });
            });
        m_port = m_server.listen(QHostAddress::LocalHost, 0);
    }
    QString url() const { return u"http://127.0.0.1:"_s + QString::number(m_port) + u"/v1"_s; }

private:
    QHttpServer m_server;
    quint16 m_port = 0;
};

// Takes every connection and never says a word.
class SilentProvider final {
public:
    SilentProvider()
    {
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection())
                QObject::connect(socket, &QTcpSocket::readyRead, socket,
                                 [socket] { socket->readAll(); });
        });
        m_server.listen(QHostAddress::LocalHost, 0);
    }
    QString url() const
    {
        return u"http://127.0.0.1:"_s + QString::number(m_server.serverPort()) + u"/v1"_s;
    }

private:
    QTcpServer m_server;
};

QJsonObject provider(const QString &url, const QString &model)
{
    return {{u"base_url"_s, url}, {u"api_key"_s, u"sk-bench"_s}, {u"model"_s, model}};
}

// Notes every tick of a 2 ms timer: the longest wall-clock gap between two ticks, and the longest
// stretch of this thread's own CPU time between two ticks. On a machine shared with other work the
// wall-clock gap also holds the time the scheduler gave to other processes; the CPU time holds only
// what the event loop itself did in between.
class Ticker final {
public:
    Ticker()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(intervalMs);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { tick(); });
    }
    void start()
    {
        m_clock.start();
        m_lastWall = m_clock.nsecsElapsed();
        m_lastCpu = threadCpuNs();
        m_timer.start();
    }
    void stop() { m_timer.stop(); }
    // Less the timer's own interval, in microseconds.
    qint64 longestWallUs() const
    {
        return std::max<qint64>(0, m_longestWall / 1000 - intervalMs * 1000);
    }
    qint64 longestCpuUs() const { return m_longestCpu / 1000; }
    qint64 longestWallEndMs() const { return m_longestWallAt / 1000000; }

private:
    static constexpr int intervalMs = 2;

    static qint64 threadCpuNs()
    {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return qint64(now.tv_sec) * 1000000000 + now.tv_nsec;
    }
    void tick()
    {
        const qint64 wall = m_clock.nsecsElapsed();
        const qint64 cpu = threadCpuNs();
        if (wall - m_lastWall > m_longestWall) {
            m_longestWall = wall - m_lastWall;
            m_longestWallAt = wall;
        }
        m_longestCpu = std::max(m_longestCpu, cpu - m_lastCpu);
        m_lastWall = wall;
        m_lastCpu = cpu;
    }

    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_lastWall = 0;
    qint64 m_lastCpu = 0;
    qint64 m_longestWall = 0;
    qint64 m_longestWallAt = 0;
    qint64 m_longestCpu = 0;
};

struct Run {
    qint64 wallUs = 0;     // longest wall-clock stall during "Test all"
    qint64 cpuUs = 0;      // longest stretch of the loop's own work during "Test all"
    qint64 idleWallUs = 0; // the same two on the idle window, as long as a run
    qint64 idleCpuUs = 0;
    qint64 wallAtMs = 0; // when the longest stall ended, from the start of the ticks
    qint64 totalMs = 0;
    qsizetype answered = 0;
    qsizetype rows = 0;
};

void runLoopFor(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

Run runOnce(const QString &configPath, int deadlineMs)
{
    InMemoryTransport transport;
    SettingsModel model(configPath, ModelEnvironment{&transport});
    model.setProviderTestTimeout(deadlineMs);
    MainWindow window;
    window.setContentView(new ContentView(&model));
    window.resize(MainWindow::initialSize());
    window.show();
    WindowState::of(&model)->setSelection(SidebarItem::defaults(SectionID::Model));
    runLoopFor(300);

    auto *button = window.findChild<QPushButton *>(u"testAll"_s);
    auto *batch = model.findChild<Providers::ProviderBatch *>(u"testAllBatch"_s);
    if (!button || !batch)
        qFatal("no Test all button on the Model page");

    Run run;
    {
        Ticker idle;
        idle.start();
        runLoopFor(deadlineMs + 200);
        idle.stop();
        run.idleWallUs = idle.longestWallUs();
        run.idleCpuUs = idle.longestCpuUs();
    }

    Ticker ticker;
    QElapsedTimer clock;
    QEventLoop loop;
    QObject::connect(batch, &Providers::ProviderBatch::finished, &loop, &QEventLoop::quit);
    ticker.start();
    clock.start();
    QTimer::singleShot(10, button, [button] { button->click(); });
    loop.exec();
    // The last table line and the summary are drawn after the batch has finished.
    runLoopFor(100);
    ticker.stop();
    run.wallUs = ticker.longestWallUs();
    run.cpuUs = ticker.longestCpuUs();
    run.wallAtMs = ticker.longestWallEndMs();
    run.totalMs = clock.elapsed();
    run.answered = batch->answeredCount();
    run.rows = batch->rows().size();
    return run;
}

QString ms(qint64 us)
{
    return QString::number(us / 1000.0, 'f', 1);
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    const int runs = arguments.size() > 1 ? std::max(1, arguments.at(1).toInt()) : 5;
    const int deadlineMs = arguments.size() > 2 ? std::max(100, arguments.at(2).toInt()) : 3000;

    // Eight providers: the primary, five backup models, a bot's own provider and its own
    // backup model. Backups 3 and 5 never answer.
    const int delays[] = {20, 80, 150, 300, 60, 200};
    std::vector<std::unique_ptr<AnsweringProvider>> answering;
    for (int delay : delays)
        answering.push_back(std::make_unique<AnsweringProvider>(delay));
    SilentProvider silent1;
    SilentProvider silent2;
    const QJsonObject config{
        {u"base_url"_s, answering[0]->url()},
        {u"api_key"_s, u"sk-bench"_s},
        {u"model"_s, u"primary"_s},
        {u"fallbacks"_s,
         QJsonArray{provider(answering[1]->url(), u"b1"_s), provider(answering[2]->url(), u"b2"_s),
                    provider(silent1.url(), u"b3-silent"_s), provider(answering[3]->url(), u"b4"_s),
                    provider(silent2.url(), u"b5-silent"_s)}},
        {u"bot_tokens"_s, QJsonArray{u"1:a"_s}},
        {u"bot_nicknames"_s, QJsonArray{u"Bench"_s}},
        {u"bot_profiles"_s,
         QJsonArray{QJsonObject{
             {u"base_url"_s, answering[4]->url()},
             {u"model"_s, u"bot"_s},
             {u"fallbacks"_s, QJsonArray{provider(answering[5]->url(), u"bot-b1"_s)}}}}},
    };
    QTemporaryDir dir;
    QFile file(dir.filePath(u"bot-config.json"_s));
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(config).toJson()) < 0)
        qFatal("cannot write the configuration");
    file.close();

    QTextStream out(stdout);
    QList<qint64> walls;
    QList<qint64> cpus;
    QList<qint64> idleWalls;
    QList<qint64> idleCpus;
    for (int i = 0; i < runs; ++i) {
        const Run run = runOnce(file.fileName(), deadlineMs);
        walls.append(run.wallUs);
        cpus.append(run.cpuUs);
        idleWalls.append(run.idleWallUs);
        idleCpus.append(run.idleCpuUs);
        out << "run " << i + 1 << ": longest stall " << ms(run.wallUs) << " ms wall (at "
            << run.wallAtMs << " ms), " << ms(run.cpuUs)
            << " ms of the loop's own work; idle window " << ms(run.idleWallUs) << " ms wall, "
            << ms(run.idleCpuUs) << " ms own work; " << run.answered << " of " << run.rows
            << " answered in " << run.totalMs << " ms\n";
        out.flush();
    }
    const auto worst
        = [](const QList<qint64> &list) { return *std::max_element(list.begin(), list.end()); };
    out << "longest_stall_ms=" << ms(worst(walls)) << " longest_own_work_ms=" << ms(worst(cpus))
        << " idle_longest_stall_ms=" << ms(worst(idleWalls))
        << " idle_longest_own_work_ms=" << ms(worst(idleCpus)) << " runs=" << runs << '\n';
    return 0;
}
