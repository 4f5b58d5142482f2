#include "Commands.hpp"

#include "Base/Console.hpp"
#include "CommandInput.hpp"
#include "FollowInput.hpp"
#include "Osc/CommandPort.hpp"
#include "Osc/OscManager.hpp"
#include "Osc/OscSender.hpp"
#include "SchedulerThread.hpp"
#include "ScoreSound.hpp"
#include "TraceFile.hpp"

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>

#include "RunTime/Environment_RunTime.hpp"
#include "Tree/Event.hpp"

namespace {

// Seconds a follow may run on after the last note.
constexpr double kLongestTail = 3600.0;

bool seconds_in_range(const char* option, double value, double longest) {
    if (std::isfinite(value) && value >= 0 && value <= longest) return true;
    error("cadenzium: %s takes seconds from 0 to %g (got %g)", option, longest, value);
    return false;
}

bool same_file(const std::string& a, const std::string& b) {
    std::error_code ec;
    return !a.empty() && !b.empty() && std::filesystem::equivalent(a, b, ec);
}

// A trace written over the score or the performance would destroy it.
bool trace_spares_the_inputs(const FollowOptions& o) {
    if (o.trace.empty() || o.trace == "-") return true;
    for (const std::string* input : {&o.score, &o.midi, &o.audio}) {
        if (!same_file(o.trace, *input)) continue;
        error("cadenzium: the trace '%s' would overwrite '%s': choose another file", o.trace.c_str(),
              input->c_str());
        return false;
    }
    return true;
}

// A start elsewhere than the top runs the score in virtual time, which a
// performance paced by the wall clock cannot wait for.
bool start_is_possible(const FollowOptions& o) {
    if (o.start.empty() || (o.audio.empty() && !o.realtime && !o.live())) return true;
    error("cadenzium: --start follows a MIDI file offline only");
    return false;
}

// A number is a beat, anything else a label. False when there is no such
// place in the score (the engine has said why).
bool start_from(cadenzium_core& engine, const std::string& where) {
    char* end = nullptr;
    const double beat = std::strtod(where.c_str(), &end);
    const bool is_beat = end != where.c_str() && *end == '\0';
    const double at = is_beat ? beat : engine.cadenzium_label_to_pos(where);
    return at >= 0.0 && engine.cadenzium_fastforward(at, true) >= 0;
}

// A rendering follows the engine's virtual clock; the sound through JACK,
// the wall clock.
bool sound_is_possible(const FollowOptions& o) {
    const bool paced = o.realtime || o.live();
    if (o.sound && !paced) {
        error("cadenzium: --sound plays with --realtime or a live input");
        return false;
    }
    if (o.render.empty() || (!paced && !o.sound)) return true;
    error("cadenzium: --render works offline only, without --realtime, --sound or a live input");
    return false;
}

// The score's sound, when asked for, heard by the engine through its host.
bool open_sound(const FollowOptions& o, ScoreSound& sound, StandaloneHost& host) {
    if (!o.render.empty()) {
        if (!sound.render_to(o.render, o.soundfont)) return false;
        host.on_time([&sound](double seconds) { sound.render_until(seconds); });
    } else if (o.sound) {
        if (!sound.play_live(o.soundfont, o.jack_server)) return false;
    } else {
        return true;
    }
    host.set_dsp(&sound.graph());
    return true;
}

bool options_make_sense(const FollowOptions& o) {
    return start_is_possible(o) && sound_is_possible(o) && seconds_in_range("--tail", o.tail, kLongestTail) &&
           seconds_in_range("--duration", o.duration, kLongestPerformance) && trace_spares_the_inputs(o);
}

// "HOST:PORT", "PORT" or ":PORT" (the host is then this machine).
std::unique_ptr<OscSender> open_forwarding(const std::string& peer) {
    if (peer.empty()) return nullptr;
    const auto colon = peer.rfind(':');
    const std::string host = colon == std::string::npos ? "" : peer.substr(0, colon);
    const std::string digits = colon == std::string::npos ? peer : peer.substr(colon + 1);
    char* end = nullptr;
    const long port = std::strtol(digits.c_str(), &end, 10);
    if (digits.empty() || *end != '\0' || port < 1 || port > 65535) {
        error("cadenzium: --send-osc takes HOST:PORT with a port from 1 to 65535 (got '%s')", peer.c_str());
        return nullptr;
    }
    auto sender = std::make_unique<OscSender>(host, static_cast<int>(port));
    if (!sender->is_open()) return nullptr;
    return sender;
}

// "HOST:PORT" of the editor: false, reported, when it is not one.
bool editor_peer(const std::string& peer, EditorLinkConfig& config) {
    const auto colon = peer.rfind(':');
    const std::string digits = colon == std::string::npos ? peer : peer.substr(colon + 1);
    char* end = nullptr;
    const long port = std::strtol(digits.c_str(), &end, 10);
    if (digits.empty() || *end != '\0' || port < 1 || port > 65535) {
        error("cadenzium: --editor takes HOST:PORT with a port from 1 to 65535 (got '%s')", peer.c_str());
        return false;
    }
    if (colon != std::string::npos && colon > 0) config.remote_host = peer.substr(0, colon);
    config.remote_port = static_cast<int>(port);
    return true;
}

// The editor link of the options, enabled; null when none was asked or it
// could not open (`failed` then says so).
std::unique_ptr<CommandPort> open_editor_link(cadenzium_core& engine, const FollowOptions& o, bool& failed) {
    failed = false;
    if (o.commands_port == 0 && o.editor.empty()) return nullptr;
    EditorLinkConfig config;
    config.remote_port = 0;
    config.port_receive = o.commands_port;
    if (!o.editor.empty() && !editor_peer(o.editor, config)) {
        failed = true;
        return nullptr;
    }
    auto link = std::make_unique<CommandPort>(engine, config);
    failed = !link->enable();
    return failed ? nullptr : std::move(link);
}

// The follow's reports, and the editor's when it is linked.
class LinkedReports {
public:
    LinkedReports(const cadenzium_core& engine, FollowReport& report, CommandPort* link)
        : engine(engine)
        , report(report)
        , link(link) {}
    void position(const PositionReport& r) {
        report.position(r);
        if (link) link->send_beat_pos(r.event ? r.event->beatcum() : 0.0, r.tempo);
    }
    void message(const ::message& m) {
        report.message(m);
        if (link && engine.lectern_trace_on()) link->send_lectern_trace_mess("message", m.receiver, m.date);
    }

private:
    const cadenzium_core& engine;
    FollowReport& report;
    CommandPort* link;
};

} // namespace

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
    if (!options_make_sense(options)) return 1;
    std::unique_ptr<FollowInput> input = make_follow_input(options);
    if (!input) return 1;
    const bool realtime = options.realtime || options.live();
    std::unique_ptr<SchedulerThread> clocks = realtime ? std::make_unique<SchedulerThread>() : nullptr;
    TraceTarget trace;
    std::optional<FollowReport> reporting;
    const std::unique_ptr<OscSender> forwarding = open_forwarding(options.send_osc);
    if (!options.send_osc.empty() && !forwarding) return 1;
    ScoreSound sound;
    StandaloneHost host(clocks.get());
    if (!open_sound(options, sound, host)) return 1;
    cadenzium_core& engine = host.engine();
    // The score's channels end (their listening threads with them) before
    // the engine does.
    OscManager channels(engine.runtime());
    host.set_channels(&channels);
    host.forward_to(forwarding.get());
    if (options.verbosity != 0) engine.cadenzium_verbosity(options.verbosity);
    ListeningProfile profile = input->profile(options);
    if (!override_profile(profile, options.listening)) return 1;
    apply_listening_profile(engine, profile);
    if (!input->open(host)) return 1;
    if (!engine.ScoreParsing(options.score)) return 1;
    if (!open_trace(options.trace, trace)) return 1;

    // With the trace on standard output the human lines stay quiet.
    std::ostream* human = options.trace == "-" ? nullptr : &out;
    FollowReport& report = reporting.emplace(human, trace.stream, options.trace);
    bool link_failed = false;
    const std::unique_ptr<CommandPort> link = open_editor_link(engine, options, link_failed);
    if (link_failed) return 1;
    LinkedReports reports(engine, report, link.get());
    connect_reports(host, reports);
    // In real time logical time 0 is the start of the performance.
    if (realtime) host.start_wall_clock();
    if (realtime) sound.set_time_origin(std::chrono::steady_clock::now());
    if (options.practice) engine.mode_set(1);
    engine.cadenzium_start("");
    if (!options.start.empty() && !start_from(engine, options.start)) return 1;
    // Live, standard input takes commands.
    std::optional<CommandInput> typed;
    if (options.live())
        typed.emplace(
            0, [&engine, &report](const std::string& line) { run_command_line(engine, report, line); });
    const bool ok = input->run(host, report, options);
    typed.reset();
    report.end_progress();
    if (options.practice) engine.PracticeReport();
    const bool fault = engine.stopped_by_fault();
    if (!realtime) sound.render_until(engine.GetTime());
    engine.cadenzium_stop();
    const bool sound_ok = sound.finish();
    return ok && !fault && report.finish_trace() && sound_ok ? 0 : 1;
}
