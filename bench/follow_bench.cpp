// The follow benchmark: runs the follower over every case of the follow data
// set (a score, a real MIDI performance and the note-level truth) and
// scores it as score followers are usually scored: an event is correct when
// it is first reported within 300 ms of its true onset. By default the
// follower listens to the MIDI performance; with --audio it listens to the
// performance rendered by FluidSynth on a General MIDI piano (or by the test
// synthesiser).
#include "FollowCases.hpp"
#include "FollowRun.hpp"
#include "FollowScoring.hpp"
#include "Base/Console.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

struct Options {
    std::string data = CAD_DEFAULT_DATA_DIR "/follow";
    double tolerance = 0.3;
    std::string only;
    std::string dump;
    bool audio = false;
    AudioSetup setup;
    ListeningSettings settings;
};

void add_listening_options(CLI::App& app, ListeningSettings& s) {
    app.add_flag("--design", s.design,
                 "Listen with the engine's defaults instead of the piano profile (MIDI or audio)");
    app.add_option("--set", s.params, "A listening setting by name, e.g. --set hold=0.9 (repeatable)");
    app.add_option("--gamma", s.gamma, "Audio observation: silence exponent (negative)");
    app.add_option("--klexp", s.klexp, "Audio observation: tightness of the spectral match (below -0.1)");
    app.add_option("--harmonics", s.harmonics, "Audio observation: harmonics per template pitch");
}

void add_options(CLI::App& app, Options& o) {
    app.add_option("--data", o.data, "Folder of follow cases");
    app.add_option("--tolerance", o.tolerance, "Seconds within which a report is correct");
    app.add_option("--case", o.only, "Run only the cases whose name contains this text");
    app.add_option("--dump", o.dump, "Folder where per-event truth and reports are written for each case");
    app.add_flag("--audio", o.audio, "Follow the performances rendered to audio instead of their MIDI");
    app.add_option("--write-audio", o.setup.write_dir, "Audio mode: folder where the renderings are saved");
    app.add_option("--block", o.setup.block, "Audio mode: samples per block");
    app.add_flag("--hop-times", o.setup.time_hops, "Audio mode: time every block and print percentiles");
    app.add_option("--renderer", o.setup.renderer,
                   "Audio mode: 'fluidsynth' (General MIDI piano, default) or 'synth' (test synthesiser)");
    app.add_option("--soundfont", o.setup.soundfont, "Audio mode: the sound font FluidSynth plays");
    app.add_option("--render-cache", o.setup.cache_dir,
                   "Audio mode: folder where renderings are kept and read back on the next run");
    app.add_flag("--plain-voice", o.setup.plain_voice,
                 "Audio mode: render with the synthesiser's plain voice instead of its piano");
    add_listening_options(app, o.settings);
}

// Per-case and pooled figures.
struct Totals {
    FollowScore pooled;
    double precision_sum = 0;
    int cases = 0;
    Spent following;
    double duration = 0;
    double render = 0;
    std::vector<double> hop_seconds;
    long hops = 0;

    void add(const FollowScore& score, CaseRun& run) {
        pooled.add(score);
        precision_sum += score.precision();
        ++cases;
        following.add(run.following);
        duration += run.duration;
        render += run.render_seconds;
        hops += run.hops;
        hop_seconds.insert(hop_seconds.end(), run.hop_seconds.begin(), run.hop_seconds.end());
    }
};

double ratio(double a, double b) {
    return b > 0 ? a / b : 0.0;
}

void print_header(bool audio) {
    std::printf("%-48s %6s %9s %8s %9s %10s %9s %9s", "case", "events", "precision", "miss", "mean err",
                "completion", "RTF(cpu)", "RTF(wall)");
    std::printf(audio ? " %9s\n" : "\n", "render");
}

void print_case(const std::string& name, const FollowScore& s, const CaseRun& run, bool audio) {
    std::printf("%-48s %6d %8.2f%% %7.2f%% %7.1fms %9.2f%% %9.5f %9.5f", name.c_str(), s.evaluated,
                100 * s.precision(), 100 * s.miss_rate(), 1000 * s.mean_error(), 100 * s.completion,
                ratio(run.following.cpu, run.duration), ratio(run.following.wall, run.duration));
    if (audio) std::printf(" %8.2fs", run.render_seconds);
    std::printf("\n");
}

double percentile(std::vector<double> v, double p) {
    if (v.empty()) return 0;
    const auto k = static_cast<size_t>(p * static_cast<double>(v.size() - 1));
    std::nth_element(v.begin(), v.begin() + static_cast<long>(k), v.end());
    return v[k];
}

void print_totals(Totals& t, bool audio) {
    const FollowScore& p = t.pooled;
    std::printf("\npooled: %d events, total precision %.2f%%, piecewise precision %.2f%%, miss rate %.2f%%, "
                "mean error %.1f ms, mean completion %.2f%%, real-time factor %.5f (processor time), %.5f "
                "(wall clock)\n",
                p.evaluated, 100 * p.precision(), 100 * ratio(t.precision_sum, t.cases), 100 * p.miss_rate(),
                1000 * p.mean_error(), 100 * ratio(p.completion, t.cases), ratio(t.following.cpu, t.duration),
                ratio(t.following.wall, t.duration));
    if (!audio) return;
    std::printf(
        "audio: rendering %.1f s for %.1f s of music; %ld blocks, mean %.1f us per block (processor time)\n",
        t.render, t.duration, t.hops, 1e6 * ratio(t.following.cpu, static_cast<double>(t.hops)));
    if (!t.hop_seconds.empty())
        std::printf("audio: per block (wall clock) p50 %.1f us, p99 %.1f us, p99.9 %.1f us, max %.1f us\n",
                    1e6 * percentile(t.hop_seconds, 0.5), 1e6 * percentile(t.hop_seconds, 0.99),
                    1e6 * percentile(t.hop_seconds, 0.999), 1e6 * percentile(t.hop_seconds, 1.0));
}

CaseRun follow(const fs::path& dir, const Options& o) {
    return o.audio ? follow_by_audio(dir, o.settings, o.setup) : follow_by_midi(dir, o.settings);
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Follow benchmark over real performances"};
    Options o;
    add_options(app, o);
    CLI11_PARSE(app, argc, argv);

    if (!fs::is_directory(o.data)) {
        std::printf("follow benchmark skipped: no data at %s\n", o.data.c_str());
        return 0;
    }
    set_console_sink([](ConsoleLevel level, std::string_view line) {
        if (level == ConsoleLevel::Error)
            std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
    });
    if (!o.dump.empty()) fs::create_directories(o.dump);

    Totals totals;
    print_header(o.audio);
    for (const fs::path& dir : list_cases(o.data, o.only)) {
        const std::vector<TruthEvent> truth = read_truth((dir / "truth.tsv").string());
        CaseRun run = follow(dir, o);
        const FollowScore score = score_follow(truth, run.first_report, o.tolerance);
        if (!o.dump.empty()) dump_case(o.dump, dir.filename().string(), truth, run, o.tolerance);
        totals.add(score, run);
        print_case(dir.filename().string(), score, run, o.audio);
        std::fflush(stdout);
    }
    print_totals(totals, o.audio);
    return 0;
}
