// Following live: `cadenzium follow --live-audio` on a private JACK server
// (dummy driver), fed by a player client that plays a synthesised
// performance into the program's input port; and the live inputs' errors.
#include "Commands.hpp"
#include "ConsoleCapture.hpp"
#include "DummyJack.hpp"
#include "PerformanceFiles.hpp"
#include "ScoreFiles.hpp"

#include <gtest/gtest.h>
#include <jack/jack.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <sstream>

namespace {

// A JACK client with one output port that plays `audio` from the moment
// something is connected to it, then silence.
class JackPlayer {
public:
    explicit JackPlayer(std::vector<float> audio)
        : audio(std::move(audio)) {}
    ~JackPlayer() {
        if (client) jack_client_close(client);
    }
    JackPlayer(const JackPlayer&) = delete;
    JackPlayer& operator=(const JackPlayer&) = delete;

    bool open(const std::string& server) {
        jack_status_t status{};
        client = jack_client_open("player", static_cast<jack_options_t>(JackNoStartServer | JackServerName),
                                  &status, server.c_str());
        if (!client) return false;
        port = jack_port_register(client, "out", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
        jack_set_process_callback(client, &JackPlayer::process, this);
        return port && jack_activate(client) == 0;
    }
    bool finished() const { return played >= audio.size(); }

private:
    static int process(jack_nframes_t n, void* arg) {
        auto* self = static_cast<JackPlayer*>(arg);
        auto* out = static_cast<float*>(jack_port_get_buffer(self->port, n));
        for (jack_nframes_t i = 0; i < n; ++i)
            out[i] = 0.0f;
        if (jack_port_connected(self->port) == 0) return 0;
        size_t at = self->played;
        for (jack_nframes_t i = 0; i < n && at < self->audio.size(); ++i)
            out[i] = self->audio[at++];
        self->played = at;
        return 0;
    }

    std::vector<float> audio;
    std::atomic<size_t> played{0};
    jack_client_t* client = nullptr;
    jack_port_t* port = nullptr;
};

TEST(FollowLive, AudioThroughJackFollowsThePlayer) {
    if (!jackd_installed())
        GTEST_SKIP() << "jackd is not installed (Debian package jackd2): live audio not tested";
    DummyJackServer server(256, "live");
    const Melody m = melody(8);
    const double start = 0.5;
    JackPlayer player(synthesize(m.performance(150, start), 44100));
    ASSERT_TRUE(server.wait_for([&] { return player.open(server.name); }))
        << "the dummy server did not come up";

    TempScore score(m.score());
    TempScore trace_file("", ".jsonl");
    FollowOptions options;
    options.score = score.path;
    options.live_audio = true;
    options.audio_port = "player:out";
    options.jack_server = server.name;
    options.duration = 4.5;
    options.trace = trace_file.path;
    options.quiet = true;
    ConsoleCapture console;
    std::ostringstream human;
    ASSERT_EQ(run_follow(options, human), 0) << (console.errors.empty() ? "" : console.errors.front());
    EXPECT_TRUE(player.finished());
    EXPECT_TRUE(console.has_post("Listening on cadenzium:in (44100 Hz, blocks of 256)"));
    EXPECT_TRUE(console.errors.empty()) << console.errors.front();

    // The player starts when connected, a moment after the program's clock:
    // reports are compared with the onsets shifted by their median lag, so
    // that one late report (a busy machine) does not move all the others.
    const TraceRead trace = read_trace(trace_file.path);
    ASSERT_FALSE(trace.positions.empty());
    EXPECT_EQ(trace.positions.back(), 8) << "the follower reaches the end";
    const std::vector<double> onsets = m.onsets(150, start);
    std::vector<double> lags;
    for (int i = 1; i <= 8; ++i) {
        ASSERT_TRUE(trace.first_report.count(i)) << "event " << i;
        lags.push_back(trace.first_report.at(i) - onsets[static_cast<size_t>(i - 1)]);
    }
    std::nth_element(lags.begin(), lags.begin() + 4, lags.end());
    const double shift = lags[4];
    for (int i = 1; i <= 8; ++i) {
        EXPECT_NEAR(trace.first_report.at(i) - shift, onsets[static_cast<size_t>(i - 1)], 0.3)
            << "event " << i;
    }
}

TEST(FollowLive, MissingSourcesAreReported) {
    const Melody m = melody(4);
    TempScore score(m.score());
    FollowOptions options;
    options.score = score.path;
    options.duration = 0.5;
    ConsoleCapture console;
    std::ostringstream out;

    options.live_audio = true;
    options.jack_server = "cadenzium-no-such-server";
    EXPECT_EQ(run_follow(options, out), 1);
    EXPECT_TRUE(console.has_error("Cannot connect to the JACK server cadenzium-no-such-server"));

    options.live_audio = false;
    options.live_midi = true;
    options.midi_port = "no such port anywhere";
    EXPECT_EQ(run_follow(options, out), 1);
    EXPECT_TRUE(console.has_error("No ALSA MIDI input") || console.has_error("No MIDI input port matches"));
    EXPECT_EQ(out.str(), "") << "nothing was followed";
}

} // namespace
