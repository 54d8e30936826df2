// Loading, applying and writing configuration documents with many bots, beside the floor of
// what QJsonDocument alone costs for the same bytes (parse, and serialise).
#include "config/configdocument.h"
#include "model/settingsmodel.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <map>

using namespace Qt::Literals::StringLiterals;

namespace {

QJsonObject provider(int i, int j)
{
    return {{"name"_L1, u"Backup %1-%2"_s.arg(i).arg(j)},
            {"base_url"_L1, u"https://provider%1.example.test/v1"_s.arg(j)},
            {"api_key"_L1, u"sk-%1-%2-0123456789abcdef"_s.arg(i).arg(j)},
            {"model"_L1, u"model-%1"_s.arg(j)}};
}

// A document with `bots` bots, each with three backup providers and every per-bot key set, and
// every top-level key set, as in a file this program has saved before.
QByteArray makeDocument(int bots)
{
    QJsonObject doc{{"base_url"_L1, u"https://api.example.test/v1"_s},
                    {"api_key"_L1, u"sk-primary"_s},
                    {"model"_L1, u"gpt-5"_s},
                    {"model_name"_L1, u"Main"_s},
                    {"allowed_ids"_L1, QJsonArray{1, 2, 3}},
                    {"trigger_words"_L1, QJsonArray{u"hey"_s, u"bot"_s}},
                    {"clip_trigger_words"_L1, QJsonArray{u"clip"_s}},
                    {"briefing_time"_L1, u"07:30"_s},
                    {"briefing_prompt"_L1, u"Morning news"_s},
                    {"bot_mode"_L1, u"assistant"_s},
                    {"soul_file"_L1, u"~/.zandrel/soul.md"_s},
                    {"max_tokens"_L1, 4000},
                    {"chat_buffer_max"_L1, 40},
                    {"recall_limit"_L1, 5},
                    {"fact_cap"_L1, 5000},
                    {"research_max_tokens"_L1, 1200},
                    {"api_timeout"_L1, 90},
                    {"data_dir"_L1, u"~/.zandrel/data"_s},
                    {"show_in_dock"_L1, true},
                    {"launch_at_login"_L1, false},
                    {"backfill_missed"_L1, true},
                    {"briefing_crypto"_L1, false},
                    {"auto_memory"_L1, true},
                    {"skill_sources"_L1, QJsonArray{u"github:owner/repo"_s}},
                    {"x_unknown"_L1, QJsonObject{{"kept"_L1, true}}}};
    QJsonArray tokens, nicknames, profiles, fallbacks;
    for (int j = 0; j < 3; ++j)
        fallbacks.append(provider(0, j));
    doc.insert("fallbacks"_L1, fallbacks);
    for (int i = 0; i < bots; ++i) {
        tokens.append(u"%1:AAH-token-of-bot"_s.arg(100000 + i));
        nicknames.append(u"Bot nickname %1"_s.arg(i));
        QJsonArray own;
        for (int j = 0; j < 3; ++j)
            own.append(provider(i, j));
        profiles.append(
            QJsonObject{{"trigger_words"_L1, QJsonArray{u"w%1"_s.arg(i), u"x"_s}},
                        {"clip_trigger_words"_L1, QJsonArray{u"clip %1"_s.arg(i)}},
                        {"allowed_ids"_L1, QJsonArray{i, -100 - i}},
                        {"briefing_time"_L1, u"07:%1"_s.arg(i % 60, 2, 10, QChar(u'0'))},
                        {"briefing_prompt"_L1, u"prompt %1"_s.arg(i)},
                        {"bot_mode"_L1, u"coder"_s},
                        {"base_url"_L1, u"https://bot%1.example.test/v1"_s.arg(i)},
                        {"api_key"_L1, u"sk-bot-%1"_s.arg(i)},
                        {"model"_L1, u"bot-model-%1"_s.arg(i)},
                        {"fallbacks"_L1, own},
                        {"enabled_skills"_L1, QJsonArray{u"pdf"_s, u"voice"_s}},
                        {"soul_file"_L1, u"~/.zandrel/soul-%1.md"_s.arg(i)},
                        {"x_service_key"_L1, i}});
    }
    doc.insert("bot_tokens"_L1, tokens);
    doc.insert("bot_token"_L1, tokens.first());
    doc.insert("bot_nicknames"_L1, nicknames);
    doc.insert("bot_profiles"_L1, profiles);
    return ConfigDocument::serialise(doc);
}

// Made once per size, so that a profiler counting a benchmark function counts only its loop.
const QByteArray &document(int bots)
{
    static std::map<int, QByteArray> made;
    auto it = made.find(bots);
    if (it == made.end())
        it = made.emplace(bots, makeDocument(bots)).first;
    return it->second;
}

const QJsonObject &parsed(int bots)
{
    static std::map<int, QJsonObject> made;
    auto it = made.find(bots);
    if (it == made.end())
        it = made.emplace(bots, QJsonDocument::fromJson(document(bots)).object()).first;
    return it->second;
}

const ConfigValues &readValues(int bots)
{
    static std::map<int, ConfigValues> made;
    auto it = made.find(bots);
    if (it == made.end())
        it = made.emplace(bots, ConfigDocument::read(parsed(bots))).first;
    return it->second;
}

// The document as this program saves it, with the values read from it. Per-bot trigger words
// are written as one comma-joined text where the document has a list, so the first save of a
// hand-written document rewrites every bot; the write benchmarks measure the saves after that.
const QJsonObject &savedDocument(int bots)
{
    static std::map<int, QJsonObject> made;
    auto it = made.find(bots);
    if (it == made.end()) {
        QJsonObject document = parsed(bots);
        ConfigValues values = readValues(bots);
        ConfigDocument::write(values, document);
        it = made.emplace(bots, document).first;
    }
    return it->second;
}

constexpr int sizes[] = {1, 100, 1000};

// Floor: parse the bytes with QJsonDocument alone.
void floorParse(benchmark::State &state)
{
    const QByteArray bytes = document(int(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(QJsonDocument::fromJson(bytes).object().size());
    state.SetBytesProcessed(state.iterations() * bytes.size());
}

// Floor: serialise the saved document with QJsonDocument alone.
void floorSerialise(benchmark::State &state)
{
    const QJsonObject &object = savedDocument(int(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(QJsonDocument(object).toJson(QJsonDocument::Indented).size());
}

// Parse and apply: the bytes become every model value.
void loadAndApply(benchmark::State &state)
{
    const QByteArray bytes = document(int(state.range(0)));
    for (auto _ : state) {
        const ConfigValues values = ConfigDocument::read(QJsonDocument::fromJson(bytes).object());
        benchmark::DoNotOptimize(values.botProfiles.size());
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
}

// Update the document key by key from the values and serialise it.
void write(benchmark::State &state)
{
    const QJsonObject &original = savedDocument(int(state.range(0)));
    const ConfigValues &values = readValues(int(state.range(0)));
    for (auto _ : state) {
        QJsonObject doc = original;
        ConfigValues v = values;
        ConfigDocument::write(v, doc);
        benchmark::DoNotOptimize(ConfigDocument::serialise(doc).size());
    }
}

// The whole model against a real file: load-from-disk, then write-document.
void modelLoadAndWrite(benchmark::State &state)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"bot-config.json"_s);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        state.SkipWithError("cannot write the document");
    file.write(document(int(state.range(0))));
    file.close();
    for (auto _ : state) {
        SettingsModel model(path);
        benchmark::DoNotOptimize(model.writeDocument().has_value());
    }
}

// The floor of the line above: read, parse, serialise and write the same file.
void floorFileRoundTrip(benchmark::State &state)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"bot-config.json"_s);
    QFile out(path);
    if (!out.open(QIODevice::WriteOnly))
        state.SkipWithError("cannot write the document");
    out.write(document(int(state.range(0))));
    out.close();
    for (auto _ : state) {
        QFile in(path);
        if (!in.open(QIODevice::ReadOnly))
            state.SkipWithError("cannot read the document");
        const QJsonDocument doc = QJsonDocument::fromJson(in.readAll());
        in.close();
        QFile back(path);
        if (!back.open(QIODevice::WriteOnly | QIODevice::Truncate))
            state.SkipWithError("cannot write the document");
        back.write(doc.toJson(QJsonDocument::Indented));
    }
}

void withSizes(benchmark::internal::Benchmark *benchmark)
{
    for (int bots : sizes)
        benchmark->Arg(bots);
}

} // namespace

BENCHMARK(floorParse)->Apply(withSizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(loadAndApply)->Apply(withSizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(floorSerialise)->Apply(withSizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(write)->Apply(withSizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(floorFileRoundTrip)->Apply(withSizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(modelLoadAndWrite)->Apply(withSizes)->Unit(benchmark::kMicrosecond);

int main(int argc, char **argv)
{
    // Keep freed memory in the process. By default glibc hands large blocks back to the
    // system and moves its mmap threshold as the program runs, so the cost of a run (page
    // faults on fresh memory) depended on which benchmark ran before it, by up to 2x on the
    // floors. With every block served from a warm heap, ours and the floors are measured
    // alike.
    mallopt(M_MMAP_THRESHOLD, 512 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 1024 * 1024 * 1024);
    mallopt(M_TOP_PAD, 64 * 1024 * 1024);
    QCoreApplication app(argc, argv);
    // Inputs are made before any benchmark runs, so that a profiler counting one benchmark
    // function (bench/cost.sh) counts its loop and nothing else.
    // Saving once makes the tables built on first use, so they are not counted either.
    for (int bots : sizes)
        savedDocument(bots);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
