// Fast-forward: the score run from its top to its last event in virtual
// time, every action included and the messages dropped, as a start from a
// label near the end of a long piece does. The score is the largest of the
// follow data, each event given a group of two delayed steps and a curve,
// so that timers start, wake and end all along. The figure is the time per
// 1,000 events.
#include "Base/Console.hpp"
#include "LargestScore.hpp"
#include "StandaloneHost.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace {

bool is_event_line(const std::string& line) {
    for (const char* word : {"NOTE", "CHORD", "TRILL", "MULTI"})
        if (line.rfind(word, 0) == 0) return true;
    return false;
}

// The score with a group and a curve under every event.
std::string with_actions(const std::string& path) {
    std::ifstream in(path);
    std::ostringstream out;
    int n = 0;
    for (std::string line; std::getline(in, line);) {
        out << line << '\n';
        if (!is_event_line(line)) continue;
        out << "  group g" << n << " { 0.25 $x := " << n << "\n    0.25 print step $x }\n";
        out << "  curve c" << n << " @grain 0.1 { $y { {0} 0.5 {1} } }\n";
        ++n;
    }
    const std::string generated = (fs::temp_directory_path() / "cadenzium-bench-forward.cad").string();
    std::ofstream(generated) << "$x := 0\n$y := 0\n" << out.str();
    return generated;
}

void BM_FastForwardLargestScore(benchmark::State& state) {
    const std::string source = largest_follow_score();
    if (source.empty()) {
        state.SkipWithError("no follow data (set CAD_DATA_DIR)");
        return;
    }
    set_console_sink([](ConsoleLevel, std::string_view) {});
    StandaloneHost host;
    cadenzium_core& engine = host.engine();
    if (!engine.ScoreParsing(with_actions(source))) {
        state.SkipWithError("the generated score did not read");
        return;
    }
    const Score& score = *engine.score();
    const double last_beat = score.events.back()->beatcum();
    const int events = score.CountEvents();
    double wall_ms = 0.0;
    for (auto _ : state) {
        const auto begin = std::chrono::steady_clock::now();
        if (engine.cadenzium_fastforward(last_beat, true) < 0) state.SkipWithError("the fast-forward failed");
        wall_ms +=
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
    }
    state.counters["events"] = events;
    state.counters["ms_per_1000_events"] =
        wall_ms / static_cast<double>(state.iterations()) / (static_cast<double>(events) / 1000.0);
}
BENCHMARK(BM_FastForwardLargestScore)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace

BENCHMARK_MAIN();
