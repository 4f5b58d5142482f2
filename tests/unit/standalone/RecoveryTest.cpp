// A follower that has lost the musician finds them again: after a skip of
// sixteen bars, and after five seconds of a wrong passage, it is back on
// the event being played within seconds of the musician's return,
// and follows on from there. Played through the program's MIDI profile.
#include "GeneratedPerformance.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

namespace {

using E = WrittenEvent;

// A piece of `bars` bars of four beats: a melody that wanders (seeded, so
// that no passage repeats another) with a chord on the first beat of each
// bar.
WrittenScore wandering_piece(int bars, double bpm) {
    WrittenScore s{bpm, {}};
    uint32_t state = 12345;
    auto next = [&state](int n) {
        state = state * 1664525u + 1013904223u;
        return static_cast<int>((state >> 8) % static_cast<uint32_t>(n));
    };
    int pitch = 67;
    for (int bar = 0; bar < bars; ++bar) {
        const int root = 48 + next(12);
        s.events.push_back({E::Chord, {root, root + 4 + next(2) * 3, pitch}, 1});
        for (int k = 0; k < 6; ++k) {
            pitch = std::clamp(pitch + next(9) - 4, 60, 84);
            s.events.push_back({E::Note, {pitch}, 0.5});
        }
    }
    return s;
}

constexpr int kEventsPerBar = 7;

// The event being played at time t (the last one whose onset has come).
int event_at(const Performance& p, const std::vector<int>& played, double t) {
    int at = 0;
    for (int i : played)
        if (p.onsets[static_cast<size_t>(i)] <= t) at = i;
    return at;
}

// Drops the notes of the events not in `played` from the performance, and
// shifts the events from `resume` on to start at `resume_at` seconds.
Performance keep_only(const Performance& full, const std::vector<int>& played, int resume, double resume_at) {
    Performance p = full;
    p.spans.clear();
    const double shift = resume_at - full.onsets[static_cast<size_t>(resume)];
    for (int i : played) {
        const double from = full.onsets[static_cast<size_t>(i)];
        const double to = static_cast<size_t>(i + 1) < full.onsets.size()
                              ? full.onsets[static_cast<size_t>(i + 1)]
                              : full.end;
        for (const MidiNoteSpan& s : full.spans)
            if (s.onset >= from - 1e-9 && s.onset < to - 1e-9) {
                p.spans.push_back(s);
                if (i >= resume) p.spans.back().onset += shift;
            }
        if (i >= resume) p.onsets[static_cast<size_t>(i)] += shift;
    }
    return p;
}

// How long after `back` (the musician's return) the follower's position
// first names the event being played, and what share of the events played
// from there on is reported within 300 ms.
struct Return {
    double delay = 1e9;
    double on_time = 0;
};

Return judge(const Performance& p, const std::vector<int>& played, const FollowedPositions& f, int resume,
             double back) {
    Return r;
    for (const auto& [index, time] : f.first) {
        if (time < back - 1e-9 || index < resume) continue;
        if (index == event_at(p, played, time) || index == event_at(p, played, time + 0.3)) {
            r.delay = time - back;
            break;
        }
    }
    int counted = 0, good = 0;
    for (int i : played) {
        const double onset = p.onsets[static_cast<size_t>(i)];
        if (i < resume || onset < back + r.delay + 1.0) continue;
        ++counted;
        const auto it = f.first.find(i);
        if (it != f.first.end() && std::abs(it->second - onset) <= 0.3) ++good;
    }
    r.on_time = counted ? static_cast<double>(good) / counted : 0;
    return r;
}

TEST(Recovery, SixteenBarsSkippedAreFoundWithinSeconds) {
    const WrittenScore score = wandering_piece(40, 100);
    const Performance full = perform(score, {});
    // Bars 1 to 8, then on from bar 25: bars 9 to 24 are not played.
    const int resume = 24 * kEventsPerBar + 1;
    std::vector<int> played;
    for (int i = 1; i <= static_cast<int>(score.events.size()); ++i)
        if (i <= 8 * kEventsPerBar || i >= resume) played.push_back(i);
    const double back = full.onsets[8 * kEventsPerBar + 1];
    const Performance p = keep_only(full, played, resume, back);
    const FollowedPositions f = follow_midi(score.text(), p.spans);
    const Return r = judge(p, played, f, resume, back);
    // 2.4 s: the relocator moves once the window holds almost none of the
    // coarse weight and one passage elsewhere holds nearly all of it, even
    // while chance matches of the old belief keep the doubt from settling.
    EXPECT_LE(r.delay, 2.7) << "seconds to find the musician again";
    EXPECT_GE(r.on_time, 0.9);
    EXPECT_EQ(f.positions.back(), static_cast<int>(score.events.size()));
}

TEST(Recovery, FiveSecondsOfAWrongPassageDoNotLoseTheMusician) {
    const WrittenScore score = wandering_piece(40, 100);
    const Performance full = perform(score, {});
    // From bar 9 the musician plays five seconds of something else (a
    // passage in another key, not in the score), then goes on where the
    // score has got to.
    const double wrong_from = full.onsets[8 * kEventsPerBar + 1];
    const double back = wrong_from + 5.0;
    int resume = 0;
    while (full.onsets[static_cast<size_t>(resume)] < back)
        ++resume;
    std::vector<int> played;
    for (int i = 1; i <= static_cast<int>(score.events.size()); ++i)
        if (i <= 8 * kEventsPerBar || i >= resume) played.push_back(i);
    Performance p = keep_only(full, played, resume, full.onsets[static_cast<size_t>(resume)]);
    for (double t = wrong_from; t < back - 0.1; t += 0.2)
        p.spans.push_back({t, static_cast<uint8_t>(61 + static_cast<int>(t * 7) % 12 * 2 % 24), 0.18, 70, 0});
    const FollowedPositions f = follow_midi(score.text(), p.spans);
    const Return r = judge(p, played, f, resume, full.onsets[static_cast<size_t>(resume)]);
    EXPECT_LE(r.delay, 0.6) << "seconds to find the musician again";
    EXPECT_GE(r.on_time, 0.9);
    EXPECT_EQ(f.positions.back(), static_cast<int>(score.events.size()));
}

} // namespace
