#include "Listening/Relocator.hpp"

#include "Listening/AudioOnsets.hpp"
#include "Listening/NearestKey.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <algorithm>
#include <cassert>
#include <cmath>

void Relocator::set_score(const Score* score, bool partials) {
    notes_of.clear();
    weight.clear();
    scratch.clear();
    lost_count = 0;
    if (!score) return;
    const size_t n = score->events.size();
    notes_of.resize(n);
    for (size_t i = 1; i < n; ++i)
        for (float p : score->events[i]->pitch_list())
            if (const int note = nearest_key(p); note > 0 && note < 128)
                notes_of[i].set(static_cast<size_t>(note));
    if (partials)
        for (auto& notes : notes_of)
            notes = AudioOnsets::partial_bands(notes);
    weight.assign(n, 0.0);
    scratch.assign(n, 0.0);
    reset(0);
}

void Relocator::reset(int index) {
    std::fill(weight.begin(), weight.end(), 0.0);
    lost_count = 0;
    explained = 1.0;
    if (index >= 0 && index < size()) weight[static_cast<size_t>(index)] = 1.0;
}

void Relocator::observe(const std::vector<int>& notes, const std::vector<double>& weights) {
    assert(notes.size() == weights.size() && "one weight per attack");
    const size_t n = weight.size();
    if (n == 0 || notes.empty()) return;
    const RelocatorSettings& s = settings;
    const double entering = s.reentry / static_cast<double>(n);
    double total = 0;
    for (size_t j = 0; j < n; ++j) {
        double w = s.stay * weight[j] + entering;
        if (j >= 1) w += s.next * weight[j - 1];
        if (j >= 2) w += s.skip * weight[j - 2];
        const std::bitset<128>& own = notes_of[j];
        for (size_t a = 0; a < notes.size(); ++a) {
            const int note = notes[a];
            const bool mine = note >= 0 && note < 128 && own[static_cast<size_t>(note)];
            if (!mine) w *= weights[a] == 1.0 ? s.foreign : std::pow(s.foreign, weights[a]);
        }
        scratch[j] = w;
        total += w;
    }
    if (total <= 0) return;
    for (size_t j = 0; j < n; ++j)
        weight[j] = scratch[j] / total;
}

double Relocator::mass(int from, int to) const {
    from = std::max(from, 0);
    to = std::min(to, size() - 1);
    double m = 0;
    for (int j = from; j <= to; ++j)
        m += weight[static_cast<size_t>(j)];
    return m;
}

int Relocator::densest(int near) const {
    const int span = std::max(settings.found_span, 1);
    if (size() == 0) return -1;
    const double reach = std::max(settings.reach, 1.0);
    double run = mass(0, span - 1);
    double best = -1;
    int at = 0;
    for (int j = 0; j + span - 1 < size(); ++j) {
        if (j > 0) run += weight[static_cast<size_t>(j + span - 1)] - weight[static_cast<size_t>(j - 1)];
        const double score = run * std::exp(-std::abs(j - near) / reach);
        if (score > best) {
            best = score;
            at = j;
        }
    }
    return at;
}

void Relocator::judge(int belief, const std::vector<int>& notes) {
    if (notes.empty() || belief < 0 || belief >= size()) return;
    int own = 0;
    for (int note : notes)
        if (note >= 0 && note < 128 && notes_of[static_cast<size_t>(belief)][static_cast<size_t>(note)])
            ++own;
    const double share = 2 * own >= static_cast<int>(notes.size()) ? 1.0 : 0.0;
    explained = settings.smoothing * explained + (1 - settings.smoothing) * share;
    if (explained < settings.trusted) return;
    std::fill(weight.begin(), weight.end(), 0.0);
    weight[static_cast<size_t>(belief)] = 1.0;
    lost_count = 0;
}

// Looking for the densest span costs a pass over the score: only when the
// window holds almost nothing.
int Relocator::clearly_elsewhere(double here, int from, int to, int belief) const {
    if (settings.clear_lost <= 0 || explained >= settings.trusted || here >= settings.clear_lost) return -1;
    const int at = densest(belief);
    return outside(at, from, to) && mass(at, at + span() - 1) >= settings.clear_found ? at : -1;
}

bool Relocator::outside(int at, int from, int to) const {
    return at >= 0 && (at + span() - 1 < from || at > to);
}

int Relocator::elsewhere(int from, int to, int belief) {
    if (size() == 0) return -1;
    const double here = mass(from, to);
    if (const int at = clearly_elsewhere(here, from, to, belief); at >= 0) {
        lost_count = 0;
        return at;
    }
    if (explained >= settings.doubted || here >= settings.lost_mass) {
        lost_count = 0;
        return -1;
    }
    if (++lost_count < settings.lost_frames) return -1;
    const int at = densest(belief);
    if (!outside(at, from, to) || mass(at, at + span() - 1) < settings.found_mass) return -1;
    lost_count = 0;
    return at;
}
