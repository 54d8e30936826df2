// varnook-config-stress: puts one configuration file under every kind of traffic it meets at once
// and counts what went wrong.
//
//  - two varnookctl loops set values of their own: one a short model name, the other a
//    briefing prompt that is alternately about 100 KB and a few bytes long, so that documents
//    of very different lengths replace each other;
//  - the simulated bot service rewrites the file (a counter of its own) 1,000 times;
//  - a reader polls the file all along, as the bot service reads it.
//
// It prints the invalid or empty documents the reader saw, the sets and service updates that
// were lost (seen undone by the reader, found undone by the service, or missing at the end),
// and whether the final file is valid and still holds the keys no writer knows.
//
//   build/tools/varnook-config-stress/varnook-config-stress [--sets 100] [--rewrites 1000]
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTextStream>

#include <atomic>
#include <chrono>
#include <thread>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString serviceKey = u"sim_rewrites"_s;

QJsonObject unknownTopLevel()
{
    return QJsonObject{{"nested"_L1, QJsonArray{1, 2, 3}}, {"kept"_L1, u"yes"_s}};
}

QByteArray initialDocument()
{
    const QJsonObject bot{{"x_unknown_bot"_L1, u"keep me"_s}, {"model"_L1, u"bot-model"_s}};
    const QJsonObject document{
        {"api_key"_L1, u"sk-stress"_s},
        {"base_url"_L1, u"http://127.0.0.1:11234/v1"_s},
        {"bot_tokens"_L1, QJsonArray{u"111:AAA"_s, u"222:BBB"_s}},
        {"bot_nicknames"_L1, QJsonArray{u"One"_s, u"Two"_s}},
        {"bot_profiles"_L1, QJsonArray{bot, QJsonObject()}},
        {"x_unknown_top"_L1, unknownTopLevel()},
    };
    return QJsonDocument(document).toJson();
}

// How often a writer's value was seen going back to an older one from one read to the next:
// each time, a newer set had been undone by a writer that wrote an older document.
struct Counter {
    qint64 last = 0;
    int wentBack = 0;

    void see(qint64 value)
    {
        if (value < last)
            ++wentBack;
        last = value;
    }
};

struct ReaderResult {
    int reads = 0;
    int empty = 0;
    int invalid = 0;
    Counter shortWriter;
    Counter longWriter;
    Counter service;
};

std::optional<qint64> numberAfter(const QString &text, const QString &prefix)
{
    if (!text.startsWith(prefix))
        return std::nullopt;
    const qsizetype end = text.indexOf(u':', prefix.size());
    bool ok = false;
    const qint64 n = text.mid(prefix.size(), end < 0 ? -1 : end - prefix.size()).toLongLong(&ok);
    return ok ? std::optional(n) : std::nullopt;
}

void readAll(const QString &path, const std::atomic<bool> &stop, ReaderResult &result)
{
    while (!stop.load()) {
        // A service polls; it does not spin.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QByteArray bytes = file.readAll();
        ++result.reads;
        if (bytes.isEmpty()) {
            ++result.empty;
            continue;
        }
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
        if (error.error != QJsonParseError::NoError || !document.isObject()) {
            ++result.invalid;
            continue;
        }
        const QJsonObject object = document.object();
        if (const auto n = numberAfter(object.value("model"_L1).toString(), u"short-"_s))
            result.shortWriter.see(*n);
        if (const auto n = numberAfter(object.value("briefing_prompt"_L1).toString(), u"long-"_s))
            result.longWriter.see(*n);
        if (object.value(serviceKey).isDouble())
            result.service.see(object.value(serviceKey).toInteger());
    }
}

// Runs `sets` varnookctl commands one after the other; returns how many failed.
int writeLoop(const QString &ctl, const QString &path, int sets,
              const std::function<QStringList(int)> &arguments)
{
    int failed = 0;
    for (int i = 1; i <= sets; ++i) {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        // No bus: the notifications are not what is measured here.
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent"_s);
        process.setProcessEnvironment(environment);
        process.start(ctl, QStringList{u"--config"_s, path} + arguments(i));
        if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit
            || process.exitCode() != 0) {
            ++failed;
            QTextStream(stderr) << "varnookctl failed: " << process.readAllStandardError();
        }
    }
    return failed;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"varnook-config-stress"_s);
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Two varnookctl writers, the simulated service and a "
                                     "reader on one configuration file at once."_s);
    parser.addHelpOption();
    const QString here = QCoreApplication::applicationDirPath();
    const QCommandLineOption ctlOption(u"ctl"_s, u"The varnookctl to run."_s, u"path"_s,
                                       QDir::cleanPath(here + u"/../../src/varnookctl"_s));
    const QCommandLineOption simOption(
        u"sim"_s, u"The varnook-bot-sim to run."_s, u"path"_s,
        QDir::cleanPath(here + u"/../varnook-bot-sim/varnook-bot-sim"_s));
    const QCommandLineOption setsOption(u"sets"_s, u"Sets per varnookctl writer (default 100)."_s,
                                        u"count"_s, u"100"_s);
    const QCommandLineOption rewritesOption(u"rewrites"_s,
                                            u"Rewrites by the simulated service (default 1000)."_s,
                                            u"count"_s, u"1000"_s);
    const QCommandLineOption intervalOption(
        u"interval"_s, u"Milliseconds between two rewrites of the service (default 20)."_s, u"ms"_s,
        u"20"_s);
    parser.addOptions({ctlOption, simOption, setsOption, rewritesOption, intervalOption});
    parser.process(app);
    const int sets = parser.value(setsOption).toInt();
    const int rewrites = parser.value(rewritesOption).toInt();
    QTextStream out(stdout);

    QTemporaryDir dir;
    const QString path = dir.filePath(u"bot-config.json"_s);
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(initialDocument()) < 0)
            return 2;
    }

    std::atomic<bool> stop = false;
    ReaderResult read;
    std::thread reader(readAll, path, std::cref(stop), std::ref(read));

    const QString ctl = parser.value(ctlOption);
    const QString longText = QString(100 * 1024, u'x');
    int shortFailed = 0;
    int longFailed = 0;
    std::thread shortWriter([&] {
        shortFailed = writeLoop(ctl, path, sets, [](int i) {
            return QStringList{u"set"_s, u"model"_s, u"short-"_s + QString::number(i)};
        });
    });
    std::thread longWriter([&] {
        longFailed = writeLoop(ctl, path, sets, [&longText](int i) {
            const QString body = i % 2 ? longText : u"brief"_s;
            return QStringList{u"set"_s, u"briefing_prompt"_s,
                               u"long-"_s + QString::number(i) + u':' + body};
        });
    });

    QProcess service;
    service.start(parser.value(simOption),
                  {u"--config"_s, path, u"--rewrite-config"_s, QString::number(rewrites),
                   u"--rewrite-key"_s, serviceKey, u"--rewrite-interval"_s,
                   parser.value(intervalOption)});
    service.waitForFinished(-1);
    shortWriter.join();
    longWriter.join();
    stop = true;
    reader.join();

    // "rewrites N lost L failed F"
    const QString serviceLine = QString::fromUtf8(service.readAllStandardOutput()).trimmed();
    const QRegularExpressionMatch serviceReport
        = QRegularExpression(u"rewrites (\\d+) lost (\\d+) failed (\\d+)"_s).match(serviceLine);
    const int serviceWritten = serviceReport.captured(1).toInt();
    const int serviceFoundUndone = serviceReport.captured(2).toInt();
    const int serviceFailed = serviceReport.captured(3).toInt();

    QFile file(path);
    const bool opened = file.open(QIODevice::ReadOnly);
    QJsonParseError error;
    const QJsonDocument final
        = QJsonDocument::fromJson(opened ? file.readAll() : QByteArray(), &error);
    const bool valid = error.error == QJsonParseError::NoError && final.isObject();
    const QJsonObject object = final.object();
    const bool shortKept
        = object.value("model"_L1).toString() == u"short-"_s + QString::number(sets);
    const bool longKept = numberAfter(object.value("briefing_prompt"_L1).toString(), u"long-"_s)
                          == std::optional<qint64>(sets);
    const bool serviceKept = object.value(serviceKey).toInteger() == rewrites;
    const bool unknownKept
        = object.value("x_unknown_top"_L1).toObject() == unknownTopLevel()
          && object.value("bot_profiles"_L1).toArray().at(0).toObject().value("x_unknown_bot"_L1)
                 == QJsonValue(u"keep me"_s);

    const int setsLost = read.shortWriter.wentBack + read.longWriter.wentBack + (shortKept ? 0 : 1)
                         + (longKept ? 0 : 1);
    const int serviceLost = serviceFoundUndone + read.service.wentBack + (serviceKept ? 0 : 1);

    out << "reader: " << read.reads << " reads, " << read.invalid << " invalid, " << read.empty
        << " empty\n";
    out << "varnookctl writers: " << 2 * sets << " sets (" << shortFailed + longFailed
        << " failed), documents alternating between about 100 KB and 1 KB\n";
    out << "sets lost: " << setsLost << " (seen going back by the reader: "
        << read.shortWriter.wentBack + read.longWriter.wentBack
        << ", last set missing at the end: " << (shortKept ? 0 : 1) + (longKept ? 0 : 1) << ")\n";
    out << "service: " << serviceWritten << " rewrites (" << serviceFailed
        << " failed), updates lost: " << serviceLost
        << " (found undone by the service: " << serviceFoundUndone
        << ", seen going back by the reader: " << read.service.wentBack
        << ", last one missing at the end: " << (serviceKept ? 0 : 1) << ")\n";
    out << "final file: " << (valid ? "valid" : "INVALID") << ", unknown keys "
        << (unknownKept ? "kept" : "LOST") << "\n";
    out.flush();
    const bool good = read.invalid == 0 && read.empty == 0 && setsLost == 0 && serviceLost == 0
                      && valid && unknownKept && shortFailed + longFailed + serviceFailed == 0
                      && serviceWritten == rewrites;
    return good ? 0 : 1;
}
