#include "Listening/HeardNotes.hpp"

#include <algorithm>
#include <cmath>

HeardNotes::HeardNotes(int bins)
    : level(static_cast<size_t>(bins), 0.0f)
    , held(static_cast<size_t>(bins), 0)
    , listed(static_cast<size_t>(bins), 0)
    , pedalled(static_cast<size_t>(bins), 0) {
    live.reserve(static_cast<size_t>(bins));
    fresh.reserve(static_cast<size_t>(bins));
    fresh_times.reserve(static_cast<size_t>(bins));
    last_strike.fill(NEVER);
}

void HeardNotes::set_envelope(double release, double sustain, double sustain_time) {
    release_ms = std::max(release, 0.0);
    sustain_level = std::clamp(sustain, 0.0, 1.0);
    sustain_ms = std::max(sustain_time, 0.0);
}

void HeardNotes::note_on(int bin, int note, double time) {
    if (note >= 0 && fresh.size() < fresh.capacity()) {
        fresh.push_back(note);
        fresh_times.push_back(time);
    }
    if (note >= 0 && note < 128) last_strike[static_cast<size_t>(note)] = time;
    if (bin < 0 || bin >= static_cast<int>(level.size())) return;
    const auto i = static_cast<size_t>(bin);
    if (!listed[i]) live.push_back(bin);
    listed[i] = 1;
    level[i] = 1.0f;
    held[i] = 1;
    pedalled[i] = 0;
}

void HeardNotes::note_off(int bin) {
    if (bin < 0 || bin >= static_cast<int>(level.size())) return;
    if (pedal_held) {
        pedalled[static_cast<size_t>(bin)] = held[static_cast<size_t>(bin)];
        return;
    }
    release(bin);
}

void HeardNotes::release(int bin) {
    held[static_cast<size_t>(bin)] = 0;
    pedalled[static_cast<size_t>(bin)] = 0;
    if (release_ms <= 0) drop(bin);
}

void HeardNotes::pedal(bool down) {
    if (down == pedal_held) return;
    pedal_held = down;
    if (down) return;
    for (size_t i = 0; i < pedalled.size(); ++i)
        if (pedalled[i]) release(static_cast<int>(i));
}

void HeardNotes::drop(int bin) {
    const auto i = static_cast<size_t>(bin);
    if (listed[i]) std::erase(live, bin);
    listed[i] = 0;
    level[i] = FLOOR;
}

// Held notes fall towards the sustain level, released ones towards nothing;
// both exponentially, with their own time constants.
void HeardNotes::advance(double seconds) {
    fresh.clear();
    fresh_times.clear();
    if (!has_envelope()) return;
    const double fade = release_ms > 0 ? std::exp(-1000.0 * seconds / release_ms) : 0.0;
    const double settle = sustain_ms > 0 ? std::exp(-1000.0 * seconds / sustain_ms) : 0.0;
    for (size_t k = live.size(); k-- > 0;) {
        const auto i = static_cast<size_t>(live[k]);
        if (held[i]) {
            level[i] = static_cast<float>(std::max(sustain_level, level[i] * settle));
            continue;
        }
        level[i] = static_cast<float>(level[i] * fade);
        if (level[i] < FADED) {
            level[i] = FLOOR;
            listed[i] = 0;
            live.erase(live.begin() + static_cast<long>(k));
        }
    }
}

void HeardNotes::clear() {
    std::fill(level.begin(), level.end(), 0.0f);
    std::fill(held.begin(), held.end(), 0);
    std::fill(listed.begin(), listed.end(), 0);
    std::fill(pedalled.begin(), pedalled.end(), 0);
    live.clear();
    fresh.clear();
    fresh_times.clear();
    last_strike.fill(NEVER);
    pedal_held = false;
}

double HeardNotes::total() const {
    double sum = 0;
    for (int b : live)
        sum += level[static_cast<size_t>(b)];
    return sum;
}

float HeardNotes::match(const std::vector<float>& templ, int positive) const {
    double dot = 0;
    double sum = 1e-12;
    for (int b : live) {
        const auto i = static_cast<size_t>(b);
        sum += level[i];
        if (i < templ.size()) dot += static_cast<double>(level[i]) * templ[i];
    }
    const double value = dot / std::max(static_cast<double>(positive), sum);
    return value < 1e-12 ? 1e-12f : static_cast<float>(value);
}

// Bin b of the grid is MIDI number b / 2.
HeardNotes::Coverage HeardNotes::coverage(const std::vector<int>& notes, const std::bitset<128>& own) const {
    Coverage c;
    double total = 0;
    double mine = 0;
    for (int b : live) {
        const double l = level[static_cast<size_t>(b)];
        total += l;
        const int note = (b + 1) / 2;
        if (note < 128 && own[static_cast<size_t>(note)]) mine += l;
    }
    c.precision = total > 0 ? mine / total : 0;
    if (notes.empty()) return c;
    int sounding = 0;
    for (int note : notes) {
        const size_t b = static_cast<size_t>(2 * note);
        if (b < level.size() && level[b] >= FADED) ++sounding;
    }
    c.recall = static_cast<double>(sounding) / static_cast<double>(notes.size());
    return c;
}
