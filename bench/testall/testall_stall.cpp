// Runs "Test all" on the Model page of the real window against eight loopback providers (six
// answer after 20 to 300 ms, two accept the connection and never answer) and measures how long
// the event loop of the window was held up at most while the tests ran: a 2 ms timer notes the
// time of each of its ticks, and the longest gap between two ticks, less the 2 ms, is the stall.
// Prints one line per run and the worst and median figure:
//
//   testall_stall [runs] [deadline-ms]      (default 5 runs, 3000 ms for the silent ones)

#include "ui/contentview.h"
#include "ui/mainwindow.h"
#include "config/settingsmodel.h"
#include "providers/providerbatch.h"
#include "service/notificationtransport.h"

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

struct Run {
    qint64 stallUs = 0;
    qint64 totalMs = 0;
    qsizetype answered = 0;
    qsizetype rows = 0;
};

Run runOnce(const QString &configPath, int deadlineMs)
{
    InMemoryTransport transport;
    SettingsModel model(configPath, ModelEnvironment{&transport});
    model.setProviderTestTimeout(deadlineMs);
    MainWindow window;
    window.setContentView(new ContentView(&model));
    window.resize(MainWindow::initialSize());
    window.show();
    model.setSelection(SidebarItem::defaults(SectionID::Model));
    QElapsedTimer settle;
    settle.start();
    while (settle.elapsed() < 300)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);

    auto *button = window.findChild<QPushButton *>(u"testAll"_s);
    auto *batch = model.findChild<Providers::ProviderBatch *>(u"testAllBatch"_s);
    if (!button || !batch)
        qFatal("no Test all button on the Model page");

    Run run;
    QElapsedTimer clock;
    clock.start();
    qint64 last = clock.nsecsElapsed();
    qint64 longest = 0;
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    ticker.setInterval(2);
    QObject::connect(&ticker, &QTimer::timeout, &ticker, [&] {
        const qint64 now = clock.nsecsElapsed();
        longest = std::max(longest, now - last);
        last = now;
    });
    QEventLoop loop;
    QObject::connect(batch, &Providers::ProviderBatch::finished, &loop, &QEventLoop::quit);
    ticker.start();
    QTimer::singleShot(10, button, [button] { button->click(); });
    loop.exec();
    ticker.stop();
    run.stallUs = std::max<qint64>(0, longest / 1000 - 2000);
    run.totalMs = clock.elapsed();
    run.answered = batch->answeredCount();
    run.rows = batch->rows().size();
    return run;
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
    QList<qint64> stalls;
    for (int i = 0; i < runs; ++i) {
        const Run run = runOnce(file.fileName(), deadlineMs);
        stalls.append(run.stallUs);
        out << "run " << i + 1 << ": longest stall "
            << QString::number(run.stallUs / 1000.0, 'f', 1) << " ms, " << run.answered << " of "
            << run.rows << " answered in " << run.totalMs << " ms\n";
        out.flush();
    }
    std::sort(stalls.begin(), stalls.end());
    out << "longest_stall_ms=" << QString::number(stalls.constLast() / 1000.0, 'f', 1)
        << " median_stall_ms=" << QString::number(stalls.at(stalls.size() / 2) / 1000.0, 'f', 1)
        << " runs=" << runs << '\n';
    return 0;
}
