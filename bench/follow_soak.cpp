// A concert-length follow: real pieces from the follow data, one after the
// other in a single score and a single performance, repeated until the
// performance lasts as long as asked, followed offline. Prints the resident
// memory at each simulated minute and fails when it ends above the limit or
// grows after the first minutes: memory must depend on the score, not on
// how long the musician plays.
#include "Base/Console.hpp"
#include "RunTime/ListeningProfile.hpp"
#include "MidiFile.hpp"
#include "MidiFollower.hpp"
#include "StandaloneHost.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

struct Options {
    std::string data = std::string(CAD_DEFAULT_DATA_DIR) + "/follow";
    double minutes = 120;
    double limit_mb = 100;
    double settle_minutes = 10;
    double growth_mb = 5;
    std::string keep; // where to write the score and performance, if anywhere
};

struct LongPerformance {
    std::string score;
    std::vector<MidiNote> notes;
    double duration = 0;
    int pieces = 0;
};

std::string slurp(const fs::path& p) {
    std::ifstream in(p);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// Appends one piece: its score text, and its notes after a pause.
bool append_piece(LongPerformance& all, const fs::path& dir) {
    const MidiReadResult perf = read_midi_file((dir / "perf.mid").string());
    if (!perf.ok() || perf.notes.empty()) return false;
    const double start = all.duration + (all.pieces ? 10.0 : 0.0);
    for (MidiNote n : perf.notes) {
        n.time += start;
        all.notes.push_back(n);
    }
    all.score += slurp(dir / "score.txt") + "\n";
    all.duration = start + perf.duration;
    ++all.pieces;
    return true;
}

LongPerformance build_performance(const Options& o) {
    std::vector<fs::path> cases;
    for (const auto& entry : fs::directory_iterator(o.data))
        if (fs::exists(entry.path() / "perf.mid")) cases.push_back(entry.path());
    std::sort(cases.begin(), cases.end());
    LongPerformance all;
    for (size_t i = 0; !cases.empty() && all.duration < o.minutes * 60; ++i)
        if (!append_piece(all, cases[i % cases.size()]) && i > cases.size()) break;
    return all;
}

double resident_mb() {
    std::ifstream statm("/proc/self/statm");
    long size = 0, resident = 0;
    statm >> size >> resident;
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Follow a concert-length performance and watch the memory"};
    Options o;
    app.add_option("--data", o.data, "Folder of follow cases");
    app.add_option("--minutes", o.minutes, "Length of the performance");
    app.add_option("--limit-mb", o.limit_mb, "Resident memory allowed at the end");
    app.add_option("--settle-minutes", o.settle_minutes, "Minutes after which memory may no longer grow");
    app.add_option("--growth-mb", o.growth_mb, "Growth allowed after the settling minutes");
    app.add_option("--keep", o.keep, "Also write the score and performance as PREFIX.txt and PREFIX.mid");
    CLI11_PARSE(app, argc, argv);
    if (!fs::is_directory(o.data)) {
        std::printf("follow soak skipped: no data at %s\n", o.data.c_str());
        return 0;
    }
    set_console_sink([](ConsoleLevel level, std::string_view line) {
        if (level == ConsoleLevel::Error) std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
    });
    LongPerformance perf = build_performance(o);
    const fs::path score = fs::temp_directory_path() / ("cadenzium-soak-" + std::to_string(getpid()) + ".txt");
    std::ofstream(score) << perf.score;
    std::printf("%d pieces, %zu note events, %.1f minutes\n", perf.pieces, perf.notes.size(), perf.duration / 60);
    if (!o.keep.empty()) {
        std::ofstream(o.keep + ".txt") << perf.score;
        write_midi_file(o.keep + ".mid", perf.notes, 960, 120);
    }

    StandaloneHost host;
    apply_listening_profile(host.engine(), piano_midi_profile());
    const bool read = host.engine().ScoreParsing(score.string());
    fs::remove(score);
    if (!read) return 1;
    std::printf("score read: %d events, resident %.1f MB\n", host.engine().score()->CountEvents(), resident_mb());
    host.engine().cadenzium_start("");
    double next_minute = 0, settled = -1, last = 0;
    MidiFollower follower(host, std::move(perf.notes), perf.duration);
    follower.run(false, 1.0, [&](double t) {
        if (t < next_minute) return;
        last = resident_mb();
        if (settled < 0 && t >= o.settle_minutes * 60) settled = last;
        std::printf("minute %5.0f  resident %7.1f MB  position %d\n", t / 60, last, host.engine().Position());
        std::fflush(stdout);
        next_minute += 60;
    });
    last = resident_mb();
    const double growth = settled < 0 ? 0 : last - settled;
    std::printf("end: resident %.1f MB (limit %.0f), growth after minute %.0f: %.1f MB (allowed %.0f); "
                "followed to event %d of %d\n",
                last, o.limit_mb, o.settle_minutes, growth, o.growth_mb, host.engine().Position(),
                host.engine().score()->CountEvents());
    return last <= o.limit_mb && growth <= o.growth_mb ? 0 : 1;
}
