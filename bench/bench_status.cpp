// One status refresh (read the file, parse it, build every text the Model page shows) for a
// service running 1,000 and 200,000 bots, 4-letter handles each, beside the floor of reading and
// parsing the same file with QJsonDocument alone. The cost per handle must not grow with the
// number of handles: 200,000 handles is as many as fit under the 1 MiB cap.
#include "service/statusinfo.h"

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <map>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

QByteArray statusWithHandles(int count)
{
    StatusInfo status;
    status.botRunning = true;
    status.pid = 4242;
    status.requests = 12345;
    status.tokensIn = 123456;
    status.tokensOut = 7890;
    status.provider = u"https://api.example.com/v1"_s;
    status.model = u"gpt-5"_s;
    QString handles;
    handles.reserve(count * 5);
    for (int i = 0; i < count; ++i) {
        if (i > 0)
            handles += u',';
        for (int n = i, k = 0; k < 4; ++k, n /= 26)
            handles += QChar(u'a' + n % 26);
    }
    status.botHandle = handles;
    return QJsonDocument(statusRecord(status)).toJson(QJsonDocument::Compact);
}

// One status file per size, written once and kept for the whole run.
const QString &statusFileOf(int count)
{
    static std::map<int, std::unique_ptr<QTemporaryDir>> folders;
    static std::map<int, QString> paths;
    auto &dir = folders[count];
    if (!dir) {
        dir = std::make_unique<QTemporaryDir>();
        const QString path = dir->filePath(u"varnook-status.json"_s);
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(statusWithHandles(count));
        paths[count] = path;
    }
    return paths[count];
}

void statusRefresh(benchmark::State &state)
{
    const QString path = statusFileOf(int(state.range(0)));
    for (auto _ : state) {
        const std::optional<StatusInfo> status = readStatusFile(path);
        if (!status) {
            state.SkipWithError("the status file was not read");
            return;
        }
        benchmark::DoNotOptimize(statusLineText(*status));
        benchmark::DoNotOptimize(primaryProviderText(*status));
        benchmark::DoNotOptimize(backupModelsText(*status));
        benchmark::DoNotOptimize(requestsText(*status));
        benchmark::DoNotOptimize(requestsByBotLabel(*status, 20));
        benchmark::DoNotOptimize(tokensUsedText(*status));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void floorReadAndParse(benchmark::State &state)
{
    const QString path = statusFileOf(int(state.range(0)));
    for (auto _ : state) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            state.SkipWithError("the status file could not be opened");
            return;
        }
        const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
        benchmark::DoNotOptimize(document.object().size());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

} // namespace

// The files are written before any benchmark runs, so that only the loops are measured.
[[maybe_unused]] const bool prepared = (statusFileOf(1000), statusFileOf(200000), true);

BENCHMARK(statusRefresh)->Arg(1000)->Arg(200000)->Unit(benchmark::kMicrosecond);
BENCHMARK(floorReadAndParse)->Arg(1000)->Arg(200000)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
