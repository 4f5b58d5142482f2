// How long reading a score takes: the largest real score of the follow
// data set when it is there, and a generated score of 4,000 events always.
#include "Base/Console.hpp"
#include "LargestScore.hpp"
#include "StandaloneHost.hpp"
#include "Tree/Score.hpp"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace {

std::string generated_score(int events) {
    const std::string path = (fs::temp_directory_path() / "cadenzium-bench-4000.cad").string();
    std::ofstream out(path);
    out << "bpm 100\n";
    for (int i = 0; i < events; ++i) {
        if (i % 7 == 3)
            out << "CHORD (" << 48 + i % 24 << ' ' << 52 + i % 24 << ") 1/3 c" << i << '\n';
        else
            out << "NOTE " << 48 + i % 36 << ' ' << (i % 3 ? "0.5" : "0.25") << '\n';
    }
    return path;
}

void read_score(benchmark::State& state, const std::string& path) {
    set_console_sink([](ConsoleLevel, std::string_view) {});
    StandaloneHost host;
    cadenzium_core& engine = host.engine();
    for (auto _ : state) {
        if (!engine.ScoreParsing(path)) state.SkipWithError("the score did not read");
    }
    state.counters["events"] = engine.score() ? engine.score()->CountEvents() : 0;
}

void BM_ReadGeneratedScore(benchmark::State& state) {
    read_score(state, generated_score(4000));
}
BENCHMARK(BM_ReadGeneratedScore)->Unit(benchmark::kMillisecond);

void BM_ReadLargestRealScore(benchmark::State& state) {
    const std::string path = largest_follow_score();
    if (path.empty()) {
        state.SkipWithError("no follow data (set CAD_DATA_DIR)");
        return;
    }
    read_score(state, path);
}
BENCHMARK(BM_ReadLargestRealScore)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
