#include "Synth.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <sndfile.h>

namespace {

double frequency(float pitch, double tune) {
    const double p = std::fabs(pitch);
    return p <= 127 ? tune * std::pow(2.0, (p - 69) / 12) : tune * std::pow(2.0, (p - 6900) / 1200);
}

// Attack ramp, exponential sustain, linear release after `duration`.
double envelope(double t, double duration, const SynthVoice& v) {
    if (t < 0) return 0;
    const double attack = v.attack > 0 ? std::min(1.0, t / v.attack) : 1.0;
    const double sustain = v.decay > 0 ? std::exp(-t / v.decay) : 1.0;
    if (t <= duration) return attack * sustain;
    if (v.release <= 0 || t > duration + v.release) return 0;
    const double at_release = (v.decay > 0 ? std::exp(-duration / v.decay) : 1.0);
    return at_release * (1.0 - (t - duration) / v.release);
}

void render_pitch(std::vector<float>& out, const SynthNote& n, float pitch, int sr, const SynthVoice& v) {
    const double f0 = frequency(pitch, v.tune);
    std::vector<double> amps, steps;
    double weights = 0;
    for (int k = 1; k <= v.partials && k * f0 < sr / 2.0; ++k) {
        amps.push_back(std::pow(v.rolloff, k - 1));
        steps.push_back(2 * std::numbers::pi * k * f0 / sr);
        weights += amps.back();
    }
    const double gain = 0.3 * (n.velocity / 127.0) / std::max(weights, 1e-9);
    const auto first = static_cast<size_t>(n.onset * sr);
    const auto last = std::min(out.size(), static_cast<size_t>((n.onset + n.duration + v.release) * sr) + 1);
    for (size_t i = first; i < last; ++i) {
        const double t = static_cast<double>(i) / sr - n.onset;
        const double env = gain * envelope(t, n.duration, v);
        const auto phase = static_cast<double>(i - first);
        double x = 0;
        for (size_t k = 0; k < amps.size(); ++k)
            x += amps[k] * std::sin(steps[k] * phase);
        out[i] += static_cast<float>(env * x);
    }
}

int format_for(const std::string& path) {
    const auto dot = path.rfind('.');
    const std::string ext = dot == std::string::npos ? "" : path.substr(dot);
    if (ext == ".aiff" || ext == ".aif") return SF_FORMAT_AIFF | SF_FORMAT_PCM_16;
    if (ext == ".flac") return SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    return SF_FORMAT_WAV | SF_FORMAT_FLOAT;
}

} // namespace

std::vector<float> synthesize(const std::vector<SynthNote>& notes, int sample_rate, const SynthVoice& voice) {
    double end = 0;
    for (const SynthNote& n : notes)
        end = std::max(end, n.onset + n.duration + voice.release);
    std::vector<float> out(static_cast<size_t>((end + voice.tail) * sample_rate), 0.0f);
    for (const SynthNote& n : notes)
        for (float p : n.pitches)
            if (p != 0) render_pitch(out, n, p, sample_rate, voice);
    if (voice.noise > 0) {
        std::mt19937 rng(voice.seed);
        std::uniform_real_distribution<float> white(-1.0f, 1.0f);
        for (float& x : out)
            x += static_cast<float>(voice.noise) * white(rng);
    }
    return out;
}

bool write_sound_file(const std::string& path, const std::vector<std::vector<float>>& channels,
                      int sample_rate) {
    if (channels.empty()) return false;
    SF_INFO info{};
    info.samplerate = sample_rate;
    info.channels = static_cast<int>(channels.size());
    info.format = format_for(path);
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) return false;
    const size_t frames = channels.front().size();
    std::vector<float> interleaved(frames * channels.size());
    for (size_t i = 0; i < frames; ++i)
        for (size_t c = 0; c < channels.size(); ++c)
            interleaved[i * channels.size() + c] = channels[c].at(i);
    const sf_count_t written = sf_writef_float(f, interleaved.data(), static_cast<sf_count_t>(frames));
    sf_close(f);
    return written == static_cast<sf_count_t>(frames);
}
