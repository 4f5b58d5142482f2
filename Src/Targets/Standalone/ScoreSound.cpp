#include "ScoreSound.hpp"

#include "Base/Console.hpp"
#include "Dsp/FluidsynthNode.hpp"

#include <jack/jack.h>
#include <sndfile.h>

#include <atomic>

namespace {

// Offline blocks are short: a note starts at most this many samples late.
constexpr int kRenderBlock = 64;

} // namespace

struct ScoreSound::Jack {
    jack_client_t* client = nullptr;
    jack_port_t* ports[2] = {nullptr, nullptr};
    DspGraph* graph = nullptr;
    std::atomic<std::chrono::steady_clock::rep> origin{0};

    // The notes dated up to the end of this block, on the engine's clock.
    static int process(jack_nframes_t n, void* arg) {
        auto* self = static_cast<Jack*>(arg);
        float* outs[2];
        for (int c = 0; c < 2; ++c)
            outs[c] = static_cast<float*>(jack_port_get_buffer(self->ports[c], n));
        const std::chrono::steady_clock::duration since =
            std::chrono::steady_clock::now().time_since_epoch() -
            std::chrono::steady_clock::duration(self->origin.load(std::memory_order_relaxed));
        const double until = std::chrono::duration<double>(since).count() +
                             static_cast<double>(n) / self->graph->sample_rate();
        self->graph->process(nullptr, 0, outs, 2, static_cast<int>(n), until);
        return 0;
    }
};

ScoreSound::ScoreSound() = default;

ScoreSound::~ScoreSound() {
    finish();
}

bool ScoreSound::start_graph(const std::string& soundfont, int sample_rate, int block) {
    DspNode* synth = dsp.add_node(std::make_unique<FluidsynthNode>("fluidsynth::gm", soundfont));
    dsp.set_default_sound(synth);
    return dsp.start(static_cast<float>(sample_rate), block, 0, 2);
}

bool ScoreSound::render_to(const std::string& path, const std::string& soundfont, int sample_rate) {
    rate = sample_rate;
    if (!start_graph(soundfont, rate, kRenderBlock)) return false;
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!file) {
        error("cadenzium - Cannot write the sound file '%s': %s", path.c_str(), sf_strerror(nullptr));
        return false;
    }
    file_path = path;
    left.assign(kRenderBlock, 0.0f);
    right.assign(kRenderBlock, 0.0f);
    interleaved.assign(2 * kRenderBlock, 0.0f);
    return true;
}

void ScoreSound::render_until(double seconds) {
    if (!file) return;
    const auto end = static_cast<long long>(seconds * rate);
    float* outs[2] = {left.data(), right.data()};
    while (rendered + kRenderBlock <= end) {
        rendered += kRenderBlock;
        dsp.process(nullptr, 0, outs, 2, kRenderBlock, static_cast<double>(rendered) / rate);
        for (int i = 0; i < kRenderBlock; ++i) {
            interleaved[2 * static_cast<std::size_t>(i)] = left[static_cast<std::size_t>(i)];
            interleaved[2 * static_cast<std::size_t>(i) + 1] = right[static_cast<std::size_t>(i)];
        }
        SNDFILE* f = file;
        if (sf_writef_float(f, interleaved.data(), kRenderBlock) != kRenderBlock) write_failed = true;
    }
    dsp.collect();
}

bool ScoreSound::play_live(const std::string& soundfont, const std::string& server) {
    jack = std::make_unique<Jack>();
    jack->graph = &dsp;
    jack_status_t status{};
    const auto options =
        static_cast<jack_options_t>(JackNoStartServer | (server.empty() ? 0 : JackServerName));
    jack->client = jack_client_open("cadenzium-sound", options, &status, server.c_str());
    if (!jack->client) {
        error("cadenzium - Cannot connect to the JACK server to play the score's sound (status 0x%x).",
              static_cast<unsigned>(status));
        jack.reset();
        return false;
    }
    const char* names[2] = {"out_left", "out_right"};
    for (int c = 0; c < 2; ++c)
        jack->ports[c] =
            jack_port_register(jack->client, names[c], JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
    const int block = static_cast<int>(jack_get_buffer_size(jack->client));
    if (!jack->ports[0] || !jack->ports[1] ||
        !start_graph(soundfont, static_cast<int>(jack_get_sample_rate(jack->client)), block)) {
        error("cadenzium - Cannot start the score's sound through JACK.");
        finish();
        return false;
    }
    set_time_origin(std::chrono::steady_clock::now());
    jack_set_process_callback(jack->client, &Jack::process, jack.get());
    if (jack_activate(jack->client) != 0) {
        error("cadenzium - Cannot activate the JACK client of the score's sound.");
        finish();
        return false;
    }
    // To the speakers, when the server has them.
    const char** playback =
        jack_get_ports(jack->client, nullptr, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | JackPortIsInput);
    for (int c = 0; playback && c < 2 && playback[c]; ++c)
        jack_connect(jack->client, jack_port_name(jack->ports[c]), playback[c]);
    if (playback) jack_free(playback);
    return true;
}

void ScoreSound::set_time_origin(std::chrono::steady_clock::time_point origin) {
    if (jack) jack->origin.store(origin.time_since_epoch().count(), std::memory_order_relaxed);
}

bool ScoreSound::finish() {
    if (jack && jack->client) {
        jack_deactivate(jack->client);
        jack_client_close(jack->client);
    }
    jack.reset();
    if (!file) return true;
    const bool closed = sf_close(file) == 0;
    file = nullptr;
    if (write_failed || !closed) {
        error("cadenzium - Writing the sound file '%s' failed.", file_path.c_str());
        return false;
    }
    return true;
}
