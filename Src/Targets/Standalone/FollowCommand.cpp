#include "Commands.hpp"

#include "Base/Console.hpp"
#include "FollowInput.hpp"
#include "SchedulerThread.hpp"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <optional>

namespace {

struct TraceTarget {
    std::ostream* stream = nullptr;
    std::ofstream file;
};

bool open_trace(const std::string& path, TraceTarget& target) {
    if (path.empty()) return true;
    if (path == "-") {
        target.stream = &std::cout;
        return true;
    }
    target.file.open(path);
    if (!target.file) {
        error("cadenzium: cannot write the trace file '%s'", path.c_str());
        return false;
    }
    target.stream = &target.file;
    return true;
}

} // namespace

bool override_profile(ListeningProfile& profile, const std::vector<std::string>& settings) {
    for (const std::string& text : settings) {
        const auto eq = text.find('=');
        char* end = nullptr;
        const std::string value = eq == std::string::npos ? "" : text.substr(eq + 1);
        const double v = std::strtod(value.c_str(), &end);
        if (value.empty() || *end != '\0' || !profile.set(text.substr(0, eq), v)) {
            error("cadenzium: unknown listening setting '%s' (NAME=VALUE)", text.c_str());
            return false;
        }
    }
    return true;
}

std::unique_ptr<FollowInput> make_follow_input(const FollowOptions& o) {
    const int named = !o.midi.empty() + !o.audio.empty() + o.live_audio + o.live_midi;
    if (named != 1) {
        error("cadenzium: follow needs one performance: --midi FILE, --audio FILE, --live-audio or "
              "--live-midi");
        return nullptr;
    }
    if (!o.midi.empty()) return midi_file_input(o.midi);
    if (!o.audio.empty()) return audio_file_input(o.audio);
    if (o.live_audio) return live_audio_input(o);
    return live_midi_input(o);
}

int run_follow(const FollowOptions& options, std::ostream& out) {
    // The input outlives the engine (a live input's relay may still be
    // written to by the engine's clock thread until the engine dies), the
    // clocks of a run in real time come before the engine, whose own are
    // made with it, and so does the report.
    std::unique_ptr<FollowInput> input = make_follow_input(options);
    if (!input) return 1;
    const bool realtime = options.realtime || options.live();
    std::unique_ptr<SchedulerThread> clocks = realtime ? std::make_unique<SchedulerThread>() : nullptr;
    TraceTarget trace;
    std::optional<FollowReport> reporting;
    StandaloneHost host(clocks.get());
    cadenzium_core& engine = host.engine();
    if (options.verbosity != 0) engine.cadenzium_verbosity(options.verbosity);
    ListeningProfile profile = input->profile(options);
    if (!override_profile(profile, options.listening)) return 1;
    apply_listening_profile(engine, profile);
    if (!input->open(host)) return 1;
    if (!engine.ScoreParsing(options.score)) return 1;
    if (!open_trace(options.trace, trace)) return 1;

    // With the trace on standard output the human lines stay quiet.
    std::ostream* human = options.trace == "-" ? nullptr : &out;
    FollowReport& report = reporting.emplace(human, trace.stream);
    connect_reports(host, report);
    // In real time logical time 0 is the start of the performance.
    if (realtime) host.start_wall_clock();
    engine.cadenzium_start("");
    const bool ok = input->run(host, report, options);
    report.end_progress();
    const bool fault = engine.stopped_by_fault();
    engine.cadenzium_stop();
    return ok && !fault ? 0 : 1;
}
