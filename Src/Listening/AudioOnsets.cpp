#include "Listening/AudioOnsets.hpp"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace {

double decibels(double power) {
    return 10.0 * std::log10(power + 1e-20);
}

double logistic(double x) {
    return 1.0 / (1.0 + std::exp(-x));
}

} // namespace

void AudioOnsets::setAnalysis(float samplerate, int nfft, float hop) {
    assert(samplerate > 0 && nfft >= 8 && hop > 0 && "onsets need an analysis");
    const double bin_hz = samplerate / nfft;
    const int top = nfft / 2;
    for (int n = LOW; n <= HIGH; ++n) {
        const double f = 440.0 * std::pow(2.0, (n - 69) / 12.0);
        int first = static_cast<int>(std::ceil(f * std::pow(2.0, -1.0 / 24) / bin_hz));
        int last = static_cast<int>(std::floor(f * std::pow(2.0, 1.0 / 24) / bin_hz));
        if (first > last) first = last = static_cast<int>(std::lround(f / bin_hz));
        bands[static_cast<size_t>(n)] = {std::clamp(first, 1, top), std::clamp(last, 1, top)};
    }
    past.assign(static_cast<size_t>(std::max(settings.lag, 1) + 1), {});
    peak_fall = settings.peak_decay_db * hop / samplerate;
    floor_rise = settings.floor_rise_db * hop / samplerate;
    // A Hann-windowed sine of amplitude 1 puts about 3/32 nfft^2 of power
    // in the half spectrum.
    full_scale = decibels(3.0 / 32.0 * nfft * nfft);
    clear();
}

void AudioOnsets::clear() {
    for (auto& levels : past)
        levels.fill(-200.0f);
    rise.fill(0.0f);
    newest = 0;
    filled = 0;
    total = 0;
    peak = -200;
    floor = full_scale + settings.start_floor_dbfs;
    level = -200;
    silent = 1;
}

// Silence is a level far below the recent peak, or close to the recent
// floor: either holds once the sound has died away, and only the second
// before the first note.
void AudioOnsets::measure_level(const std::vector<float>& magnitudes) {
    double all = 0;
    for (float m : magnitudes)
        all += static_cast<double>(m) * m;
    level = decibels(all);
    peak = std::max(level, peak - peak_fall);
    floor = std::min(level, floor + floor_rise);
    const double w = settings.silence_width_db;
    const double below_peak = logistic(((peak - level) - settings.silence_db) / w);
    const double near_floor = logistic((settings.floor_margin_db - (level - floor)) / w);
    silent = std::max(below_peak, near_floor);
}

void AudioOnsets::frame(const std::vector<float>& magnitudes) {
    if (past.empty()) return;
    measure_level(magnitudes);
    const int top = static_cast<int>(magnitudes.size()) - 1;
    const int count = static_cast<int>(past.size());
    newest = (newest + 1) % count;
    const int oldest = (newest + 1) % count; // lag frames back
    std::array<float, 128>& now = past[static_cast<size_t>(newest)];
    const std::array<float, 128>& then = past[static_cast<size_t>(oldest)];
    const float bottom = static_cast<float>(peak - settings.depth_db);
    float loudest = bottom;
    for (int n = LOW; n <= HIGH; ++n) {
        const Band& b = bands[static_cast<size_t>(n)];
        double power = 0;
        for (int k = b.first_bin; k <= std::min(b.last_bin, top); ++k)
            power +=
                static_cast<double>(magnitudes[static_cast<size_t>(k)]) * magnitudes[static_cast<size_t>(k)];
        now[static_cast<size_t>(n)] = std::max(static_cast<float>(decibels(power)), bottom);
        loudest = std::max(loudest, now[static_cast<size_t>(n)]);
    }
    const double range = std::max(settings.loud_range_db, 1.0);
    total = 0;
    for (int n = LOW; n <= HIGH; ++n) {
        const float db = now[static_cast<size_t>(n)];
        const double d = filled >= count - 1 ? db - std::max(then[static_cast<size_t>(n)], bottom) : 0.0;
        const double loudness = std::clamp((db - (loudest - 2 * range)) / range, 0.0, 1.0);
        const double counted = d >= settings.threshold_db ? std::min(d, settings.cap_db) * loudness : 0.0;
        rise[static_cast<size_t>(n)] = static_cast<float>(counted);
        total += counted;
    }
    if (filled < count) ++filled;
}

double AudioOnsets::strength() const {
    return std::min(1.0, total / std::max(settings.attack_db, 1e-9));
}

double AudioOnsets::flux_in(const std::bitset<128>& b) const {
    double sum = 0;
    for (int n = LOW; n <= HIGH; ++n)
        if (b[static_cast<size_t>(n)]) sum += rise[static_cast<size_t>(n)];
    return sum;
}

std::bitset<128> AudioOnsets::partial_bands(const std::bitset<128>& notes, int partials) {
    // Semitones from a note to its partials 1 to 8.
    static constexpr std::array<int, 8> steps{0, 12, 19, 24, 28, 31, 34, 36};
    const int count = std::clamp(partials, 1, static_cast<int>(steps.size()));
    std::bitset<128> out;
    for (int n = 0; n < 128; ++n) {
        if (!notes[static_cast<size_t>(n)]) continue;
        for (int i = 0; i < count; ++i)
            if (n + steps[static_cast<size_t>(i)] < 128)
                out.set(static_cast<size_t>(n + steps[static_cast<size_t>(i)]));
    }
    return out;
}
