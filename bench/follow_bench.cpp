// The follow benchmark: runs the follower over every case of the follow data
// set (a score, a real MIDI performance and the note-level truth) and
// scores it as score followers are usually scored: an event is correct when
// it is first reported within 300 ms of its true onset.
#include "FollowScoring.hpp"
#include "ListeningProfile.hpp"
#include "Listening/CadAlign.hpp"
#include "MidiFile.hpp"
#include "MidiFollower.hpp"
#include "RunTime/Console.hpp"
#include "StandaloneHost.hpp"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>

namespace fs = std::filesystem;

namespace {

// Settings of the listening machine: the program's piano profile unless
// told otherwise; negative values leave the profile's.
struct ListeningSettings {
    bool design = false;
    double occupancy = -1;
    int window = -1;
    double release_ms = -1;
    double sustain_level = -1;
    double sustain_ms = -1;

    // Set before the score is read: states take some of them when built.
    void apply(cadenzium_core& engine) const {
        ListeningProfile p = design ? design_profile() : piano_midi_profile();
        if (occupancy >= 0) p.occupancy = occupancy;
        if (release_ms >= 0) p.release_ms = release_ms;
        if (sustain_level >= 0) p.sustain_level = sustain_level;
        if (sustain_ms >= 0) p.sustain_ms = sustain_ms;
        apply_listening_profile(engine, p);
        if (window > 0) engine.get_align().inference_decode_window_length(window);
    }
};

// Time spent following, by the wall clock and by this process's processor
// time: on a machine shared with other work the second is what one core
// costs.
struct Spent {
    double wall = 0;
    double cpu = 0;
    void add(const Spent& o) {
        wall += o.wall;
        cpu += o.cpu;
    }
};

double process_cpu_seconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// Every position the follower reported, in order, with the tempo it held.
struct Report {
    double time;
    int index;
    double bpm;
};

// Follows one case and returns the first time each event was reported.
std::map<int, double> follow_case(const fs::path& dir, const ListeningSettings& settings, Spent& spent,
                                  double& duration, std::vector<Report>& all_reports) {
    std::map<int, double> first_report;
    MidiReadResult performance = read_midi_file((dir / "perf.mid").string());
    if (!performance.ok()) {
        std::fprintf(stderr, "%s: %s\n", dir.c_str(), performance.error.c_str());
        return first_report;
    }
    duration = performance.duration;
    StandaloneHost host;
    settings.apply(host);
    if (!host.ScoreParsing((dir / "score.txt").string())) return first_report;
    host.on_position([&](int index, const Event*) {
        first_report.emplace(index, host.GetTime());
        all_reports.push_back({host.GetTime(), index, host.tempo_bpm()});
    });

    const auto start = std::chrono::steady_clock::now();
    const double cpu_start = process_cpu_seconds();
    host.cadenzium_start("");
    MidiFollower follower(host, std::move(performance.notes), performance.duration);
    follower.run(false);
    spent.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    spent.cpu = process_cpu_seconds() - cpu_start;
    return first_report;
}

// Per event: truth against the first report (`<case>.events.tsv`), and the
// whole sequence of reports (`<case>.reports.tsv`), to see where and why the
// follower loses the player.
void dump_case(const fs::path& out_dir, const std::string& name, const std::vector<TruthEvent>& truth,
               const std::map<int, double>& first, const std::vector<Report>& all, double tolerance) {
    std::ofstream events(out_dir / (name + ".events.tsv"));
    events << "index\tbeat\ttruth_s\treported_s\terror_ms\tstatus\n";
    for (const TruthEvent& e : truth) {
        const auto it = first.find(e.index);
        events << e.index << '\t' << e.beat << '\t';
        if (e.onset < 0)
            events << '-';
        else
            events << e.onset;
        events << '\t';
        if (it == first.end())
            events << '-';
        else
            events << it->second;
        const char* status = "unplayed";
        if (e.onset >= 0 && it == first.end()) status = "missed";
        if (e.onset >= 0 && it != first.end())
            status = std::fabs(it->second - e.onset) <= tolerance ? "correct" : "misaligned";
        events << '\t';
        if (e.onset >= 0 && it != first.end())
            events << 1000 * (it->second - e.onset);
        else
            events << '-';
        events << '\t' << status << '\n';
    }
    std::ofstream reports(out_dir / (name + ".reports.tsv"));
    reports << "time_s\tindex\tbpm\n";
    for (const Report& r : all)
        reports << r.time << '\t' << r.index << '\t' << r.bpm << '\n';
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Follow benchmark over real performances"};
    std::string data = CAD_DEFAULT_DATA_DIR "/follow";
    double tolerance = 0.3;
    std::string only;
    std::string dump;
    app.add_option("--data", data, "Folder of follow cases");
    app.add_option("--tolerance", tolerance, "Seconds within which a report is correct");
    app.add_option("--case", only, "Run only the cases whose name contains this text");
    ListeningSettings settings;
    app.add_flag("--design", settings.design, "Listen with the engine's defaults instead of the piano profile");
    app.add_option("--occupancy", settings.occupancy, "Occupancy distribution model parameter");
    app.add_option("--window", settings.window, "Decode window length");
    app.add_option("--release-ms", settings.release_ms, "MIDI observation: release time of a note (ms)");
    app.add_option("--sustain-level", settings.sustain_level,
                   "MIDI observation: level a held note settles at");
    app.add_option("--sustain-ms", settings.sustain_ms,
                   "MIDI observation: time a held note takes to settle (ms)");
    app.add_option("--dump", dump, "Folder where per-event truth and reports are written for each case");
    CLI11_PARSE(app, argc, argv);

    if (!fs::is_directory(data)) {
        std::printf("follow benchmark skipped: no data at %s\n", data.c_str());
        return 0;
    }
    set_console_sink([](ConsoleLevel level, std::string_view line) {
        if (level == ConsoleLevel::Error)
            std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
    });

    std::vector<fs::path> cases;
    for (const auto& entry : fs::directory_iterator(data))
        if (entry.is_directory() && entry.path().filename().string().find(only) != std::string::npos)
            cases.push_back(entry.path());
    std::sort(cases.begin(), cases.end());

    FollowScore pooled;
    std::vector<double> per_case_precision;
    Spent spent_all;
    double duration_all = 0;
    std::printf("%-48s %6s %9s %8s %9s %10s %9s\n", "case", "events", "precision", "miss", "mean err",
                "completion", "RTF(cpu)");
    for (const fs::path& dir : cases) {
        const std::vector<TruthEvent> truth = read_truth((dir / "truth.tsv").string());
        Spent spent;
        double duration = 0;
        std::vector<Report> all_reports;
        const std::map<int, double> reports = follow_case(dir, settings, spent, duration, all_reports);
        const FollowScore score = score_follow(truth, reports, tolerance);
        if (!dump.empty()) {
            fs::create_directories(dump);
            dump_case(dump, dir.filename().string(), truth, reports, all_reports, tolerance);
        }
        pooled.add(score);
        per_case_precision.push_back(score.precision());
        spent_all.add(spent);
        duration_all += duration;
        std::printf("%-48s %6d %8.2f%% %7.2f%% %7.1fms %9.2f%% %9.5f\n", dir.filename().c_str(),
                    score.evaluated, 100 * score.precision(), 100 * score.miss_rate(),
                    1000 * score.mean_error(), 100 * score.completion,
                    duration > 0 ? spent.cpu / duration : 0.0);
    }
    double piecewise = 0;
    for (double p : per_case_precision)
        piecewise += p;
    if (!per_case_precision.empty()) piecewise /= static_cast<double>(per_case_precision.size());
    std::printf("\npooled: %d events, total precision %.2f%%, piecewise precision %.2f%%, miss rate %.2f%%, "
                "mean error %.1f ms, mean completion %.2f%%, real-time factor %.5f (processor time), %.5f "
                "(wall clock)\n",
                pooled.evaluated, 100 * pooled.precision(), 100 * piecewise, 100 * pooled.miss_rate(),
                1000 * pooled.mean_error(), 100 * pooled.completion / std::max<size_t>(1, cases.size()),
                duration_all > 0 ? spent_all.cpu / duration_all : 0.0,
                duration_all > 0 ? spent_all.wall / duration_all : 0.0);
    return 0;
}
