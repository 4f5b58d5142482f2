// The score-wide search that finds a lost musician again. The decode window
// only looks near the belief; when the musician skips a page, plays a wrong
// passage or the follower has gone astray, the right position may lie far
// outside it. The relocator keeps a coarse belief over every event of the
// score, moved only by attacks: at each frame that brings attacks, each
// event's weight is carried on (stay, next, over one) and weighed by how
// many of the attacks are its own pitches, and a small share re-enters
// every event alike (a_ji = a_nbh_ji + s_j r_i with uniform s). One frame
// costs one pass over the events, with a bit test per attack.
//
// It never decides anything itself: the driver asks it, after each frame,
// whether the window still holds the musician, and where else to look.
#pragma once

#include <algorithm>
#include <bitset>
#include <vector>

class Score;

struct RelocatorSettings {
    // How the coarse belief moves at a frame with attacks.
    double stay = 0.35;
    double next = 0.55;
    double skip = 0.1;
    // Share re-entering every event alike.
    double reentry = 1e-3;
    // Factor of an attack that is not one of an event's pitches.
    double foreign = 0.1;
    // The window is lost when the coarse belief it covers stays below
    // `lost_mass` for `lost_frames` frames with attacks in a row, while
    // `found_mass` of it gathers within `found_span` events elsewhere.
    double lost_mass = 0.02;
    int lost_frames = 3;
    double found_mass = 0.4;
    int found_span = 4;
    // How far from the belief a span may lie before its weight counts
    // less: a span `reach` events away counts e^-1 times its weight.
    double reach = 500;
    // While the belief explains the attacks (their recent share, smoothed,
    // at least `trusted`) the coarse weight is pinned to the belief; the
    // window may only be lost once that share has fallen below `doubted`.
    double trusted = 0.5;
    double doubted = 0.3;
    double smoothing = 0.7;
    // Once the coarse weight is no longer pinned, evidence this one-sided
    // moves the window at once, whatever the recent share: the window
    // covers less than `clear_lost` of the weight and one span elsewhere
    // holds at least `clear_found`. Zero turns it off.
    double clear_lost = 0;
    double clear_found = 0.95;
};

class Relocator {
public:
    RelocatorSettings settings;

    // One entry per event of the score (event 0, the silence before the
    // first note, listens for nothing). With `partials` an event owns the
    // semitone bands of its notes' first partials (attacks heard in audio).
    void set_score(const Score* score, bool partials = false);
    // All the weight on event `index`.
    void reset(int index);
    // One frame with attacks (MIDI note numbers; fractional weights by
    // audio). No allocation.
    void observe(const std::vector<int>& notes, const std::vector<double>& weights);
    // After a frame with attacks, with the belief's event: whether the
    // belief's pitches explain the attacks, which pins the coarse weight to
    // the belief while they keep doing so.
    void judge(int belief, const std::vector<int>& notes);
    // After a frame with attacks: whether the events [from, to] (the
    // window) have lost the musician, and if so where they are (the first
    // event of the densest span, near `belief` rather than far), else -1.
    int elsewhere(int from, int to, int belief);
    double trust() const { return explained; }

    int size() const { return static_cast<int>(weight.size()); }
    double weight_of(int index) const { return weight[static_cast<size_t>(index)]; }
    // The sum of the weights of events [from, to].
    double mass(int from, int to) const;
    // The first event of the span of `found_span` events holding the most
    // weight, discounted by its distance from `near`.
    int densest(int near) const;

private:
    // The window [from, to] holds so little (`here`) and one span elsewhere
    // so much that the musician is there beyond doubt: that span, else -1.
    int clearly_elsewhere(double here, int from, int to, int belief) const;
    // Whether the span from `at` lies wholly outside [from, to].
    bool outside(int at, int from, int to) const;
    int span() const { return std::max(settings.found_span, 1); }

    std::vector<std::bitset<128>> notes_of;
    std::vector<double> weight;
    std::vector<double> scratch;
    int lost_count = 0;
    double explained = 1.0;
};
