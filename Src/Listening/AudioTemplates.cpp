#include "Listening/AudioTemplates.hpp"

#include "Base/Console.hpp"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <numeric>

namespace {
// Every bin of a template starts here, so no bin is ever 0.
constexpr float TEMPLATE_FLOOR = 0.0001f;
constexpr double SQRT_TWO_PI = 2.5066283;
} // namespace

void normalize_template(std::vector<float>& v) {
    const double sum = std::accumulate(v.begin(), v.end(), 0.0);
    if (sum <= 0) return;
    for (float& x : v)
        x = static_cast<float>(x / sum);
}

void AudioTemplates::setAnalysis(float sr, int n) {
    assert(sr > 0 && n > 2 && "analysis needs a sample rate and an FFT size above 2");
    samplerate = sr;
    nfft = n;
    template_size = static_cast<int>(static_cast<float>(n) * 0.125f + 1);
    freqs.resize(static_cast<size_t>(template_size));
    for (int k = 0; k < template_size; ++k)
        freqs[static_cast<size_t>(k)] = static_cast<float>(k) * samplerate / static_cast<float>(nfft - 2);
    min_variance = template_size > 3 ? freqs[3] - freqs[2] : samplerate / static_cast<float>(nfft - 2);
}

double AudioTemplates::fundamental(float pitch) const {
    const double p = std::fabs(pitch);
    if (p <= 127) return tune * std::pow(2.0, (p - 69.0) / 12.0);
    return tune * std::pow(2.0, (p - 6900.0) / 1200.0);
}

float AudioTemplates::snap_to_bin(double f) const {
    const auto it = std::lower_bound(freqs.begin(), freqs.end(), static_cast<float>(f));
    if (it == freqs.end()) return freqs.back();
    if (it == freqs.begin()) return *it;
    const float above = *it;
    const float below = *(it - 1);
    return (above - f) < (f - below) ? above : below;
}

void AudioTemplates::harmlistgen(std::vector<float>& pitches, const std::vector<double>& harmlist) const {
    std::vector<float> out;
    out.reserve(pitches.size() * harmlist.size());
    for (float p : pitches) {
        if (p == 0) continue;
        const double f0 = fundamental(p);
        for (double h : harmlist)
            out.push_back(snap_to_bin(h * f0));
    }
    pitches.swap(out);
}

// One Gaussian bump around the h-th harmonic of f0, over +-4 spreads. A
// bump whose upper edge runs past the axis is left out.
void AudioTemplates::add_harmonic(std::vector<float>& out, double f0, double h, float variance) const {
    const double spread = std::max((std::pow(2.0, variance / 12.0) - 1.0) * h * f0, double(min_variance));
    const double amp = std::exp((h - 1.0) * -0.25);
    const double fh = snap_to_bin(h * f0);
    const auto first = std::lower_bound(freqs.begin(), freqs.end(), static_cast<float>(fh - 4 * spread));
    const auto last = std::upper_bound(freqs.begin(), freqs.end(), static_cast<float>(fh + 4 * spread));
    if (last == freqs.end()) return;
    const double bin_width = samplerate / static_cast<double>(nfft - 2);
    const double scale = amp / (spread * SQRT_TWO_PI);
    for (auto it = first; it != last; ++it) {
        const auto bin = static_cast<size_t>(it - freqs.begin());
        const double x = static_cast<double>(bin) * bin_width - fh;
        out[bin] += static_cast<float>(scale * std::exp(-x * x / (2 * spread * spread)));
    }
}

void AudioTemplates::MakeKLtemplates(std::vector<float>& out, const PitchClass& pc) const {
    out.assign(static_cast<size_t>(template_size), TEMPLATE_FLOOR);
    for (float p : pc.pitches) {
        if (p == 0) continue;
        const double f0 = fundamental(p);
        if (!(f0 > 0)) continue;
        for (double h : pc.harmlist)
            add_harmonic(out, f0, h, pc.variance);
    }
    normalize_template(out);
}

void AudioTemplates::PreparePianoTemplates(std::vector<float>& out, const PitchClass& pc) const {
    if (piano_templates.empty()) {
        MakeKLtemplates(out, pc);
        return;
    }
    out.assign(static_cast<size_t>(template_size), TEMPLATE_FLOOR);
    for (float p : pc.pitches) {
        const float key = std::fabs(p) < 128 ? std::fabs(p) * 100 : std::fabs(p);
        if (key == 0) continue;
        const auto it = piano_templates.find(key);
        if (it == piano_templates.end()) {
            error("Cadenzium~ - Pitch %.0f not present on a piano! IGNORED!", key);
            continue;
        }
        const size_t n = std::min(out.size(), it->second.size());
        for (size_t i = 0; i < n; ++i)
            out[i] += it->second[i];
    }
    normalize_template(out);
}
