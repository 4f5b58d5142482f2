// The score's sound through JACK: a private dummy server, the program's
// sound client on it, and a listening client of the test's own connected
// to its left output.
#include "Commands.hpp"
#include "ConsoleCapture.hpp"
#include "DummyJack.hpp"
#include "ScoreSound.hpp"

#include <gtest/gtest.h>
#include <jack/jack.h>

#include <atomic>
#include <cmath>
#include <filesystem>

namespace {

// The loudest sample heard so far on one input port.
class Listener {
public:
    bool open(const std::string& server) {
        jack_status_t status{};
        client = jack_client_open("listener", static_cast<jack_options_t>(JackNoStartServer | JackServerName),
                                  &status, server.c_str());
        if (!client) return false;
        port = jack_port_register(client, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
        jack_set_process_callback(client, &Listener::process, this);
        return port && jack_activate(client) == 0;
    }
    ~Listener() {
        if (client) jack_client_close(client);
    }
    bool listen_to(const char* source) { return jack_connect(client, source, jack_port_name(port)) == 0; }
    float loudest() const { return peak.load(); }

private:
    static int process(jack_nframes_t n, void* arg) {
        auto* self = static_cast<Listener*>(arg);
        const auto* in = static_cast<const float*>(jack_port_get_buffer(self->port, n));
        float p = self->peak.load();
        for (jack_nframes_t i = 0; in && i < n; ++i)
            p = std::max(p, std::fabs(in[i]));
        self->peak.store(p);
        return 0;
    }
    jack_client_t* client = nullptr;
    jack_port_t* port = nullptr;
    std::atomic<float> peak{0.0f};
};

TEST(DspLive, ANoteOfTheScorePlaysThroughJack) {
    if (!jackd_installed()) GTEST_SKIP() << "jackd is not installed";
    if (!std::filesystem::exists(kScoreSoundFont)) GTEST_SKIP() << "no sound font at " << kScoreSoundFont;
    ConsoleCapture console; // the failed attempts while the server starts
    DummyJackServer server(256, "sound");
    ScoreSound sound;
    ASSERT_TRUE(server.wait_for([&] { return sound.play_live(kScoreSoundFont, server.name); }));
    Listener listener;
    ASSERT_TRUE(listener.open(server.name));
    ASSERT_TRUE(listener.listen_to("cadenzium-sound:out_left"));
    EXPECT_EQ(listener.loudest(), 0.0f) << "silence before any note";

    sound.graph().note("fluidsynth::gm", {0, 72, 110, 0.0, 0.0}, nullptr);
    for (int i = 0; i < 40 && listener.loudest() < 0.01f; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_GT(listener.loudest(), 0.01f);
    EXPECT_TRUE(sound.finish());
}

} // namespace
