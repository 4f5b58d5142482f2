#include "Commands.hpp"

#include "ClockSession.hpp"
#include "FollowReport.hpp"
#include "ListeningProfile.hpp"
#include "MidiFile.hpp"
#include "MidiFollower.hpp"
#include "RunTime/Console.hpp"
#include "StandaloneHost.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <fstream>
#include <iostream>
#include <optional>
#include <unistd.h>

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

int run_follow(const FollowOptions& options, std::ostream& out) {
    MidiReadResult performance = read_midi_file(options.midi);
    if (!performance.ok()) {
        error("cadenzium: cannot read '%s': %s", options.midi.c_str(), performance.error.c_str());
        return 1;
    }
    // The clocks first: the engine's are made with it. The report outlives
    // the engine, whose clock thread may be delivering until it dies.
    ClockSession clocks(options.realtime);
    TraceTarget trace;
    std::optional<FollowReport> reporting;
    StandaloneHost host;
    host.set_verbosity(options.verbosity);
    apply_listening_profile(host, options.design_listening ? design_profile() : piano_midi_profile());
    if (!host.ScoreParsing(options.score)) return 1;

    if (!open_trace(options.trace, trace)) return 1;
    // With the trace on standard output the human lines stay quiet.
    std::ostream* human = options.trace == "-" ? nullptr : &out;
    FollowReport& report = reporting.emplace(human, trace.stream);
    report.show_progress(!options.quiet && isatty(STDERR_FILENO) && !options.realtime);

    // Notes inside a trill or a multi-event report their event again: one
    // line per change of event is what a reader wants.
    int last_index = -1;
    host.on_position([&](int index, const Event* e) {
        if (index == last_index) return;
        last_index = index;
        report.position(
            {host.GetTime(), index, e ? e->beatcum() : 0.0, host.tempo_bpm(), e ? e->cuename() : ""});
    });
    host.on_message([&](const message& m) { report.message(m); });
    // In real time logical time 0 is the start of the performance.
    if (options.realtime) host.start_wall_clock();
    host.cadenzium_start("");
    MidiFollower follower(host, std::move(performance.notes), performance.duration);
    const double end = performance.duration + options.tail;
    follower.run(options.realtime, options.tail, [&](double t) { report.progress(t, end); });
    report.end_progress();
    host.cadenzium_stop();
    return 0;
}
