#include "Commands.hpp"

#include "FollowReport.hpp"
#include "MidiFile.hpp"
#include "MidiFollower.hpp"
#include "RunTime/Console.hpp"
#include "StandaloneHost.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <fstream>
#include <iostream>
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
    StandaloneHost host;
    host.set_verbosity(options.verbosity);
    if (!host.ScoreParsing(options.score)) return 1;

    TraceTarget trace;
    if (!open_trace(options.trace, trace)) return 1;
    // With the trace on standard output the human lines stay quiet.
    std::ostream* human = options.trace == "-" ? nullptr : &out;
    FollowReport report(human, trace.stream);
    report.show_progress(!options.quiet && isatty(STDERR_FILENO) && !options.realtime);

    // Notes inside a trill or a multi-event report their event again: one
    // line per change of event is what a reader wants.
    int last_index = -1;
    host.on_position([&](int index, const Event* e) {
        if (index == last_index) return;
        last_index = index;
        report.position({host.GetTime(), index, e ? e->beatcum() : 0.0, host.tempo_bpm(), e ? e->cuename() : ""});
    });
    host.cadenzium_start("");
    MidiFollower follower(host, std::move(performance.notes), performance.duration);
    follower.run(options.realtime, 1.0, [&](double t) { report.progress(t, performance.duration + 1.0); });
    report.end_progress();
    host.cadenzium_stop();
    return 0;
}
