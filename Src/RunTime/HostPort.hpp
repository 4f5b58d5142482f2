// The one interface through which a host plugs into the engine: the
// standalone program, a patch object, a test. The host gives it to the
// engine at construction and keeps it alive as long as the engine; the
// engine calls it with the environment lock released, from the thread that
// closed the instant (a decoding step, a clock, a command).
//
//   messages out    send_message: each message of the score, in the order
//                   of its instant, after the instant
//   positions out   report_position: each accepted position, once, with the
//                   followed tempo
//   clocks          clocks: one-shot timers of the host (null: the engine's
//                   time is virtual, as offline)
//   channels        channels: the score's OSC and output files (null: none)
//   audio graph     dsp: the score's patches and sound nodes (null: none)
//   console         console: the engine's posts and errors
//   signal          sample_rate, block_size: what frames will carry
//   calibration     calibration: each calibrated frame's energy and fit
#pragma once

#include "Base/Console.hpp"

#include <string>
#include <string_view>
#include <vector>

class ChannelPort;
class DspPort;
class Event;
class HostClocks;
struct message;

// What else is known of an accepted position, for hosts that show it.
struct PositionDetails {
    // The decoder's belief in the position, in [0, 1]; 1 for a move by
    // command.
    double certainty = 1;
    // The loudness of the onset as a MIDI velocity (1 to 127) when the
    // engine listens to audio; 0 otherwise.
    double velocity = 0;
    // Events from the position to the next one that has actions (0: this
    // one has); -1 when no event ahead has any.
    int actions_ahead = -1;
    // The events the move skipped, [missed_first, missed_end); empty when
    // none.
    int missed_first = 0;
    int missed_end = 0;
};

class HostPort {
public:
    virtual ~HostPort() = default;

    // The name at the head of the engine's console lines.
    virtual const char* name() const { return "cadenzium"; }

    virtual void send_message(const message& m) = 0;
    // `time` is when the onset was heard on the engine's clock (seconds),
    // `tempo_bpm` the tempo the follower hears then.
    virtual void report_position(int index, const Event* event, double time, double tempo_bpm) = 0;
    // Just before report_position, for the same position.
    virtual void report_details(int /*index*/, const PositionDetails& /*details*/) {}
    // Whether the host shows an output of this name ("ENDBANG", ...): some
    // of the engine's work is done only for a host that has it.
    virtual bool has_outlet(std::string_view /*name*/) const { return false; }
    // Watches the file at `path` and reads the score again when it
    // changes; an empty path stops watching. False when the host does not
    // watch files.
    virtual bool watch_file(const std::string& /*path*/) { return false; }
    // The names the host's patch receives messages on; empty when the host
    // has no patch.
    virtual std::vector<std::string> patch_receivers() const { return {}; }

    virtual HostClocks* clocks() { return nullptr; }
    virtual ChannelPort* channels() { return nullptr; }
    virtual DspPort* dsp() { return nullptr; }
    // By default the process's console.
    virtual void console(ConsoleLevel level, std::string_view text) { console_default(level, text); }

    // Samples per second and per block of the signal; 0 without a signal.
    virtual float sample_rate() const { return 0; }
    virtual float block_size() const { return 0; }

    // A score was read and is ready.
    virtual void score_loaded() {}

    // While calibrating, after each analysed frame: how loud the frame is
    // and how well it fits the reference pitch ("calibration" on the
    // patch's main outlet).
    virtual void calibration(float /*energy*/, float /*likelihood*/) {}
};
