// `cadenzium play`: the score played by itself at its own tempo, its
// positions and messages reported as a follow reports them. Offline the
// clock is virtual and the run takes no time, and the score's own sound
// may be rendered to a file; with --realtime it is the wall clock's.
#include "Commands.hpp"

#include "Base/Console.hpp"
#include "FollowInput.hpp"
#include "Osc/OscManager.hpp"
#include "SchedulerThread.hpp"
#include "ScoreSound.hpp"
#include "TraceFile.hpp"

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <thread>

namespace {

// The beat that `where` names: a number, or a label of the score; -1.0
// (reported by the engine) when the score has no such label.
double beat_of(cadenzium_core& engine, const std::string& where) {
    char* end = nullptr;
    const double beat = std::strtod(where.c_str(), &end);
    if (end != where.c_str() && *end == '\0') return beat;
    return engine.cadenzium_label_to_pos(where);
}

bool start_playing(cadenzium_core& engine, const PlayOptions& o) {
    if (o.from.empty()) {
        engine.cadenzium_play();
    } else {
        const double beat = beat_of(engine, o.from);
        if (beat < 0.0) return false;
        engine.cadenzium_playfrombeat(beat);
    }
    if (!engine.is_playing()) return false;
    if (o.to.empty()) return true;
    const double end = beat_of(engine, o.to);
    if (end < 0.0) return false;
    engine.play_end_at(end);
    return true;
}

// Offline: the virtual clock runs a second at a time until the player is
// done, then for the tail.
void run_offline(StandaloneHost& host, double tail) {
    double t = host.engine().GetTime();
    while (host.engine().is_playing() && t < kLongestPerformance) {
        t += 1.0;
        host.set_time(t);
    }
    host.set_time(t + tail);
}

void run_realtime(StandaloneHost& host, double tail) {
    while (host.engine().is_playing())
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    std::this_thread::sleep_for(std::chrono::duration<double>(tail));
}

// The score's sound rendered as the engine's virtual time passes.
bool open_render(const PlayOptions& o, ScoreSound& sound, StandaloneHost& host) {
    if (o.render.empty()) return true;
    if (o.realtime) {
        error("cadenzium: --render works offline only, without --realtime");
        return false;
    }
    if (!sound.render_to(o.render, o.soundfont)) return false;
    host.on_time([&sound](double seconds) { sound.render_until(seconds); });
    host.set_dsp(&sound.graph());
    return true;
}

} // namespace

int run_play(const PlayOptions& options, std::ostream& out) {
    if (!(options.tail >= 0 && options.tail <= 3600.0)) {
        error("cadenzium: --tail takes seconds from 0 to 3600 (got %g)", options.tail);
        return 1;
    }
    std::unique_ptr<SchedulerThread> clocks =
        options.realtime ? std::make_unique<SchedulerThread>() : nullptr;
    TraceTarget trace;
    std::optional<FollowReport> reporting;
    ScoreSound sound;
    StandaloneHost host(clocks.get());
    if (!open_render(options, sound, host)) return 1;
    cadenzium_core& engine = host.engine();
    OscManager channels(engine.runtime());
    host.set_channels(&channels);
    if (options.verbosity != 0) engine.cadenzium_verbosity(options.verbosity);
    if (!engine.ScoreParsing(options.score)) return 1;
    if (!open_trace(options.trace, trace)) return 1;
    std::ostream* human = options.trace == "-" ? nullptr : &out;
    FollowReport& report = reporting.emplace(human, trace.stream, options.trace);
    connect_reports(host, report);
    if (options.realtime) host.start_wall_clock();
    if (!start_playing(engine, options)) return 1;
    if (options.realtime)
        run_realtime(host, options.tail);
    else
        run_offline(host, options.tail);
    if (!options.realtime) sound.render_until(engine.GetTime());
    const bool fault = engine.stopped_by_fault();
    engine.cadenzium_stop();
    const bool sound_ok = sound.finish();
    return !fault && report.finish_trace() && sound_ok ? 0 : 1;
}
