// Listing and parsing a skills folder of 100 and 10,000 generated skill files, beside the floor
// of simply walking the folder and reading every file. The ratio of the two is the cost of the
// parse, the ".md" filter and the sort.
#include "skills/skillfile.h"

#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <map>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

QByteArray skillText(int i)
{
    const QByteArray n = QByteArray::number(i);
    return "---\nname: skill-" + n + "\ndescription: \"Generated skill number " + n
           + " for the benchmark.\"\nversion: 1\n---\n\n# Skill " + n
           + "\n\nUse this skill when the user asks about topic " + n
           + ". It explains the steps, the tools to call and the format of the answer.\n\n"
             "## Steps\n\n1. Read the request.\n2. Look up what is needed.\n3. Answer briefly.\n\n"
             "## Notes\n\nKeep answers short; cite sources; never invent numbers.\n";
}

// One generated folder per size, made once and kept for the whole run.
const QString &folderOf(int count)
{
    static std::map<int, std::unique_ptr<QTemporaryDir>> folders;
    static std::map<int, QString> paths;
    auto &dir = folders[count];
    if (!dir) {
        dir = std::make_unique<QTemporaryDir>();
        for (int i = 0; i < count; ++i) {
            QFile file(dir->filePath(u"skill-"_s + QString::number(i) + u".md"_s));
            if (file.open(QIODevice::WriteOnly))
                file.write(skillText(i));
        }
        // A few entries that the listing skips, as a real folder has.
        QFile readme(dir->filePath(u"README.txt"_s));
        if (readme.open(QIODevice::WriteOnly))
            readme.write("not a skill\n");
        paths[count] = dir->path();
    }
    return paths[count];
}

void listAndParse(benchmark::State &state)
{
    const QString folder = folderOf(int(state.range(0)));
    const QSet<QString> disabled{u"skill-3"_s, u"skill-40"_s};
    for (auto _ : state) {
        const QList<SkillInfo> skills = SkillFile::listFolder(folder, disabled);
        benchmark::DoNotOptimize(skills.size());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// The floor: walk the folder and read every file, nothing else.
void readFloor(benchmark::State &state)
{
    const QString folder = folderOf(int(state.range(0)));
    for (auto _ : state) {
        qint64 bytes = 0;
        QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot);
        while (it.hasNext()) {
            QFile file(it.next());
            if (file.open(QIODevice::ReadOnly))
                bytes += file.readAll().size();
        }
        benchmark::DoNotOptimize(bytes);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

} // namespace

BENCHMARK(listAndParse)->Arg(100)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(readFloor)->Arg(100)->Arg(10000)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
