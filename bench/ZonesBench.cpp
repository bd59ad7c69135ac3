// The tree of the machine's time zones as JSON text, beside the floor: a plain walk of the same directories.

#include "logtime/ZoneTree.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

void zoneTree(benchmark::State &state)
{
    qsizetype length = 0;
    for ([[maybe_unused]] auto _ : state)
        length = zoneTreeText(u"/usr/share/zoneinfo"_s).size();
    state.counters["characters"] = static_cast<double>(length);
}

/** Finds out what each entry leads to and sorts the names, as any such list has to. */
size_t walk(const std::filesystem::path &directory)
{
    std::vector<std::string> directories;
    std::vector<std::string> files;
    for (const std::filesystem::directory_entry &entry : std::filesystem::directory_iterator(directory))
        (entry.is_directory() ? directories : files).push_back(entry.path().filename().string());
    std::ranges::sort(directories);
    std::ranges::sort(files);
    size_t count = files.size();
    for (const std::string &name : directories)
        count += walk(directory / name);
    return count;
}

void plainWalk(benchmark::State &state)
{
    size_t files = 0;
    for ([[maybe_unused]] auto _ : state)
        files = walk("/usr/share/zoneinfo");
    state.counters["files"] = static_cast<double>(files);
}

} // namespace

BENCHMARK(plainWalk)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(zoneTree)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
