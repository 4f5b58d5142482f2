// Following a musician live: audio from a JACK server, with the engine
// running in JACK's process callback, or notes from an ALSA MIDI port. Both
// run on the wall clock until Ctrl-C, SIGTERM or the requested duration.
#include "FollowInput.hpp"

#include "LiveInput.hpp"
#include "ReportRelay.hpp"
#include "Base/Console.hpp"

#include <atomic>
#include <csignal>

namespace {

std::atomic<bool> interrupted{false};

extern "C" void on_interrupt(int) {
    interrupted = true;
}

// Ctrl-C and SIGTERM end the run for as long as the scope lasts; the
// previous handlers come back after.
class InterruptScope {
public:
    InterruptScope() {
        interrupted = false;
        struct sigaction action {};
        action.sa_handler = on_interrupt;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &old_int);
        sigaction(SIGTERM, &action, &old_term);
    }
    ~InterruptScope() {
        sigaction(SIGINT, &old_int, nullptr);
        sigaction(SIGTERM, &old_term, nullptr);
    }
    InterruptScope(const InterruptScope&) = delete;
    InterruptScope& operator=(const InterruptScope&) = delete;

private:
    struct sigaction old_int {};
    struct sigaction old_term {};
};

// Calls `step` every `period` seconds of the wall clock until interrupted,
// until `duration` seconds have passed (0: no limit) or until `step` says
// to stop.
template <class Step>
void live_loop(StandaloneHost& host, double duration, double period, Step step) {
    InterruptScope scope;
    for (long k = 1; !interrupted; ++k) {
        const double t = static_cast<double>(k) * period;
        if (duration > 0 && t > duration) return;
        host.wait_until(t);
        if (!step() || host.engine().stopped_by_fault()) return;
    }
}

// How often the main thread writes what the audio thread reported.
constexpr double kDrainPeriod = 0.02;

class LiveAudioInput : public FollowInput {
public:
    explicit LiveAudioInput(const FollowOptions& options)
        : source(options.audio_port)
        , server(options.jack_server) {}

    ListeningProfile profile(const FollowOptions& options) const override { return audio_listening(options); }

    bool open(StandaloneHost& host) override {
        if (!jack.open("cadenzium", server)) return false;
        block = jack.block_size();
        host.listen_by_audio(jack.sample_rate(), block);
        return true;
    }

    bool run(StandaloneHost& host, FollowReport& report, const FollowOptions& options) override {
        connect_reports(host, relay);
        // The engine's frame path, in JACK's real-time thread. A block of
        // another size (the server's buffer size changed) cannot fill the
        // analysis window exactly: it is skipped and counted.
        jack.set_handler([this, &host](const float* samples, int n) {
            if (n != block) {
                ++odd_blocks;
                return;
            }
            host.engine().cadenzium_next_frame(samples);
        });
        if (!jack.activate() || (!source.empty() && !jack.connect(source))) {
            jack.close();
            return false;
        }
        post("cadenzium - Listening on %s (%d Hz, blocks of %d)%s", jack.port_name().c_str(),
             jack.sample_rate(), block, source.empty() ? ": connect a source to it" : "");
        live_loop(host, options.duration, kDrainPeriod, [&] {
            relay.drain(report);
            return jack.server_alive();
        });
        const bool server_lost = !jack.server_alive();
        jack.close();
        relay.drain(report);
        return report_trouble(server_lost, host.engine());
    }

private:
    bool report_trouble(bool server_lost, const cadenzium_core& engine) const {
        if (const std::size_t bad = engine.bad_samples())
            error("cadenzium - %zu samples that are not numbers (NaN or infinite) were heard as silence.", bad);
        if (odd_blocks > 0)
            error("cadenzium - %d audio blocks of another size than %d were skipped.", odd_blocks.load(),
                  block);
        if (relay.dropped() > 0)
            error("cadenzium - %zu reports were dropped: the output could not keep up.", relay.dropped());
        if (server_lost) error("cadenzium - The JACK server has shut down.");
        return !server_lost;
    }

    std::string source;
    std::string server;
    JackInput jack;
    int block = 0;
    std::atomic<int> odd_blocks{0};
    // Lives as long as the input, which outlives the engine: a timer that
    // fires after the run still finds it.
    ReportRelay relay;
};

class LiveMidiInput : public FollowInput {
public:
    explicit LiveMidiInput(const FollowOptions& options)
        : port(options.midi_port) {}

    ListeningProfile profile(const FollowOptions& options) const override { return midi_listening(options); }

    // Notes go to the engine from RtMidi's thread as they arrive; before
    // the follow starts the engine ignores them.
    bool open(StandaloneHost& host) override {
        return midi.open(
            port, [&host](int pitch, int velocity) { host.deliver_note(pitch, velocity); }, "cadenzium",
            [&host](int number, int value) { host.deliver_control(number, value); });
    }

    // The decoding step runs once a hop on the main thread, between notes.
    bool run(StandaloneHost& host, FollowReport&, const FollowOptions& options) override {
        if (port.empty())
            post("cadenzium - Listening to MIDI on the virtual port cadenzium:in: connect a keyboard to it "
                 "(aconnect)");
        else
            post("cadenzium - Listening to MIDI from '%s'", port.c_str());
        const double hop = host.engine().analysis_hop_size() / host.engine().analysis_sample_rate();
        live_loop(host, options.duration, hop, [&] {
            host.decoding_step();
            return true;
        });
        midi.close();
        return true;
    }

private:
    std::string port;
    MidiInput midi;
};

} // namespace

std::unique_ptr<FollowInput> live_audio_input(const FollowOptions& options) {
    return std::make_unique<LiveAudioInput>(options);
}

std::unique_ptr<FollowInput> live_midi_input(const FollowOptions& options) {
    return std::make_unique<LiveMidiInput>(options);
}
