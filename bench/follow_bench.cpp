// The follow benchmark: runs the follower over every case of the follow data
// set (a score, a real MIDI performance and the note-level truth) and
// scores it as score followers are usually scored: an event is correct when
// it is first reported within 300 ms of its true onset.
#include "FollowScoring.hpp"
#include "MidiFile.hpp"
#include "MidiFollower.hpp"
#include "RunTime/Console.hpp"
#include "StandaloneHost.hpp"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>

namespace fs = std::filesystem;

namespace {

// Follows one case and returns the first time each event was reported.
std::map<int, double> follow_case(const fs::path& dir, double& seconds_spent, double& duration) {
    std::map<int, double> first_report;
    MidiReadResult performance = read_midi_file((dir / "perf.mid").string());
    if (!performance.ok()) {
        std::fprintf(stderr, "%s: %s\n", dir.c_str(), performance.error.c_str());
        return first_report;
    }
    duration = performance.duration;
    StandaloneHost host;
    if (!host.ScoreParsing((dir / "score.txt").string())) return first_report;
    host.on_position([&](int index, const Event*) { first_report.emplace(index, host.GetTime()); });

    const auto start = std::chrono::steady_clock::now();
    host.cadenzium_start("");
    MidiFollower follower(host, std::move(performance.notes), performance.duration);
    follower.run(false);
    seconds_spent = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return first_report;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Follow benchmark over real performances"};
    std::string data = CAD_DEFAULT_DATA_DIR "/follow";
    double tolerance = 0.3;
    std::string only;
    app.add_option("--data", data, "Folder of follow cases");
    app.add_option("--tolerance", tolerance, "Seconds within which a report is correct");
    app.add_option("--case", only, "Run only the cases whose name contains this text");
    CLI11_PARSE(app, argc, argv);

    if (!fs::is_directory(data)) {
        std::printf("follow benchmark skipped: no data at %s\n", data.c_str());
        return 0;
    }
    set_console_sink([](ConsoleLevel level, std::string_view line) {
        if (level == ConsoleLevel::Error) std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
    });

    std::vector<fs::path> cases;
    for (const auto& entry : fs::directory_iterator(data))
        if (entry.is_directory() && entry.path().filename().string().find(only) != std::string::npos)
            cases.push_back(entry.path());
    std::sort(cases.begin(), cases.end());

    FollowScore pooled;
    std::vector<double> per_case_precision;
    double spent_all = 0, duration_all = 0;
    std::printf("%-48s %6s %9s %8s %9s %10s %9s\n", "case", "events", "precision", "miss", "mean err", "completion",
                "RTF");
    for (const fs::path& dir : cases) {
        const std::vector<TruthEvent> truth = read_truth((dir / "truth.tsv").string());
        double spent = 0, duration = 0;
        const std::map<int, double> reports = follow_case(dir, spent, duration);
        const FollowScore score = score_follow(truth, reports, tolerance);
        pooled.add(score);
        per_case_precision.push_back(score.precision());
        spent_all += spent;
        duration_all += duration;
        std::printf("%-48s %6d %8.2f%% %7.2f%% %7.1fms %9.2f%% %9.5f\n", dir.filename().c_str(), score.evaluated,
                    100 * score.precision(), 100 * score.miss_rate(), 1000 * score.mean_error(),
                    100 * score.completion, duration > 0 ? spent / duration : 0.0);
    }
    double piecewise = 0;
    for (double p : per_case_precision) piecewise += p;
    if (!per_case_precision.empty()) piecewise /= static_cast<double>(per_case_precision.size());
    std::printf("\npooled: %d events, total precision %.2f%%, piecewise precision %.2f%%, miss rate %.2f%%, "
                "mean error %.1f ms, mean completion %.2f%%, real-time factor %.5f\n",
                pooled.evaluated, 100 * pooled.precision(), 100 * piecewise, 100 * pooled.miss_rate(),
                1000 * pooled.mean_error(), 100 * pooled.completion / std::max<size_t>(1, cases.size()),
                duration_all > 0 ? spent_all / duration_all : 0.0);
    return 0;
}
