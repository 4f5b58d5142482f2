#include "Synth.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <sndfile.h>

namespace {

double midi_pitch(float pitch) {
    const double p = std::fabs(pitch);
    return p <= 127 ? p : p / 100;
}

double frequency(float pitch, double tune) {
    return tune * std::pow(2.0, (midi_pitch(pitch) - 69) / 12);
}

// Seconds for partial k of `pitch` to fall by e; 0 holds it.
double decay_time(const SynthVoice& v, float pitch, int k) {
    if (v.decay <= 0) return 0;
    const double by_pitch = v.decay * std::pow(2.0, -v.pitch_decay * (midi_pitch(pitch) - 60) / 12);
    return by_pitch / (1 + v.partial_decay * (k - 1));
}

// Attack ramp up to `duration`, then a linear release; the decay is the
// oscillators' own.
double shape(double t, double duration, const SynthVoice& v) {
    if (t < 0) return 0;
    if (t <= duration) return v.attack > 0 ? std::min(1.0, t / v.attack) : 1.0;
    if (v.release <= 0 || t > duration + v.release) return 0;
    return 1.0 - (t - duration) / v.release;
}

// The partials of one pitch as phasors: the imaginary part is the sound, the
// length the amplitude. Each sample multiplies a phasor by its rotation,
// times its decay while the note is held; during the release the
// amplitude stays where the hold left it.
struct Partials {
    std::vector<double> re, im;
    std::vector<double> held_re, held_im;
    std::vector<double> free_re, free_im;
    double weights = 0;

    void add(double amplitude, double step, double decay, double sample_rate, double t0) {
        const double per_sample = decay > 0 ? std::exp(-1 / (decay * sample_rate)) : 1.0;
        re.push_back(amplitude * (decay > 0 ? std::exp(-t0 / decay) : 1.0));
        im.push_back(0);
        free_re.push_back(std::cos(step));
        free_im.push_back(std::sin(step));
        held_re.push_back(per_sample * free_re.back());
        held_im.push_back(per_sample * free_im.back());
        weights += amplitude;
    }

    double sample() const {
        double x = 0;
        for (double v : im)
            x += v;
        return x;
    }

    void advance(bool held) {
        const std::vector<double>& sr = held ? held_re : free_re;
        const std::vector<double>& si = held ? held_im : free_im;
        for (size_t k = 0; k < re.size(); ++k) {
            const double r = re[k] * sr[k] - im[k] * si[k];
            im[k] = re[k] * si[k] + im[k] * sr[k];
            re[k] = r;
        }
    }
};

Partials partials_of(float pitch, int sr, double t0, const SynthVoice& v) {
    const double f0 = frequency(pitch, v.tune);
    Partials p;
    for (int k = 1; k <= v.partials; ++k) {
        const double f = k * f0 * std::sqrt(1 + v.inharmonicity * k * k);
        if (f >= sr / 2.0) break;
        p.add(std::pow(v.rolloff, k - 1), 2 * std::numbers::pi * f / sr, decay_time(v, pitch, k), sr, t0);
    }
    return p;
}

void render_pitch(std::vector<float>& out, const SynthNote& n, float pitch, int sr, const SynthVoice& v) {
    const auto first = static_cast<size_t>(n.onset * sr);
    const auto last = std::min(out.size(), static_cast<size_t>((n.onset + n.duration + v.release) * sr) + 1);
    Partials p = partials_of(pitch, sr, static_cast<double>(first) / sr - n.onset, v);
    const double gain = 0.3 * (n.velocity / 127.0) / std::max(p.weights, 1e-9);
    for (size_t i = first; i < last; ++i) {
        const double t = static_cast<double>(i) / sr - n.onset;
        out[i] += static_cast<float>(gain * shape(t, n.duration, v) * p.sample());
        p.advance(t + 1.0 / sr <= n.duration);
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

SynthVoice piano_voice() {
    SynthVoice v;
    v.partials = 10;
    v.rolloff = 0.6;
    v.decay = 2.5;
    v.attack = 0.004;
    v.release = 0.12;
    v.tail = 1.0;
    v.partial_decay = 0.4;
    v.pitch_decay = 0.5;
    v.inharmonicity = 1e-4;
    return v;
}

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
