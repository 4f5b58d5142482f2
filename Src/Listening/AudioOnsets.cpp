#include "Listening/AudioOnsets.hpp"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace {

double decibels(double power) {
    return 10.0 * std::log10(power + 1e-20);
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
    level = -200;
    silent = 1;
}

void AudioOnsets::frame(const std::vector<float>& magnitudes) {
    if (past.empty()) return;
    const int top = static_cast<int>(magnitudes.size()) - 1;
    double all = 0;
    for (float m : magnitudes)
        all += static_cast<double>(m) * m;
    level = decibels(all);
    peak = std::max(level, peak - peak_fall);
    silent = 1.0 / (1.0 + std::exp(-((peak - level) - settings.silence_db) / settings.silence_width_db));

    const int count = static_cast<int>(past.size());
    newest = (newest + 1) % count;
    const int oldest = (newest + 1) % count; // lag frames back
    std::array<float, 128>& now = past[static_cast<size_t>(newest)];
    const std::array<float, 128>& then = past[static_cast<size_t>(oldest)];
    const float floor = static_cast<float>(peak - 60.0);
    total = 0;
    for (int n = LOW; n <= HIGH; ++n) {
        const Band& b = bands[static_cast<size_t>(n)];
        double power = 0;
        for (int k = b.first_bin; k <= std::min(b.last_bin, top); ++k)
            power += static_cast<double>(magnitudes[static_cast<size_t>(k)]) * magnitudes[static_cast<size_t>(k)];
        const float db = std::max(static_cast<float>(decibels(power)), floor);
        now[static_cast<size_t>(n)] = db;
        const double d = filled >= count - 1 ? db - std::max(then[static_cast<size_t>(n)], floor) : 0.0;
        const float r = d >= settings.threshold_db ? static_cast<float>(std::min(d, settings.cap_db)) : 0.0f;
        rise[static_cast<size_t>(n)] = r;
        total += r;
    }
    if (filled < count) ++filled;
}

double AudioOnsets::flux_in(const std::bitset<128>& b) const {
    double sum = 0;
    for (int n = LOW; n <= HIGH; ++n)
        if (b[static_cast<size_t>(n)]) sum += rise[static_cast<size_t>(n)];
    return sum;
}

std::bitset<128> AudioOnsets::partial_bands(const std::bitset<128>& notes) {
    std::bitset<128> out;
    for (int n = 0; n < 128; ++n) {
        if (!notes[static_cast<size_t>(n)]) continue;
        for (int step : {0, 12, 19, 24})
            if (n + step < 128) out.set(static_cast<size_t>(n + step));
    }
    return out;
}
