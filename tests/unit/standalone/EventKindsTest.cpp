// A corpus of generated performances of scores that use every kind of event
// (notes, chords, grace notes, trills, multi-events, glides, rests, ties),
// played in time, with rubato, and with wrong and stray notes: the
// follower must report every event, once, in the order of the score.
#include "GeneratedPerformance.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <ostream>
#include <string>

namespace {

using E = WrittenEvent;

// A grace note, a trill and two glides: the score a new user tried first.
WrittenScore first_try() {
    return {60,
            {{E::Note, {60}, 1},
             {E::Note, {62}, 1},
             {E::Grace, {65}, 0},
             {E::Note, {64}, 1},
             {E::Trill, {67, 69}, 2},
             {E::Note, {65}, 1},
             {E::Glide, {60, 67}, 2},
             {E::Note, {62}, 1},
             {E::Glide, {72, 65}, 2},
             {E::Note, {60}, 2}}};
}

// Every kind, several times, among plain notes and chords.
WrittenScore every_kind() {
    return {72,
            {{E::Note, {60}, 1},
             {E::Chord, {55, 64, 67}, 1},
             {E::Grace, {71}, 0},
             {E::Note, {72}, 1},
             {E::Note, {69}, 0.5},
             {E::Note, {67}, 0.5},
             {E::Trill, {65, 67}, 2},
             {E::Note, {64}, 1},
             {E::Rest, {}, 1},
             {E::Note, {62}, 1},
             {E::Tie, {62}, 1},
             {E::Chord, {53, 57, 60}, 1},
             {E::Multi, {60, 64, 67, 72}, 1},
             {E::Note, {71}, 1},
             {E::Grace, {74}, 0},
             {E::Grace, {72}, 0},
             {E::Note, {71}, 1},
             {E::Glide, {59, 67}, 2},
             {E::Chord, {48, 64, 67}, 1},
             {E::Rest, {}, 0.5},
             {E::Note, {65}, 0.5},
             {E::Note, {64}, 1},
             {E::Tie, {64}, 0.5},
             {E::Note, {62}, 0.5},
             {E::Trill, {62, 64}, 1},
             {E::Multi, {67, 65, 64, 62}, 1},
             {E::Note, {60}, 2}}};
}

// Trills before and after a glide, a trill followed by a note a semitone
// off one of its keys, then a tie and a grace note.
WrittenScore after_trills() {
    return {80,
            {{E::Note, {60}, 1},
             {E::Trill, {64, 66}, 1},
             {E::Glide, {60, 67}, 2},
             {E::Trill, {67, 69}, 2},
             {E::Note, {65}, 1},
             {E::Trill, {72, 74}, 1},
             {E::Note, {71}, 1},
             {E::Tie, {71}, 1},
             {E::Grace, {62}, 0},
             {E::Note, {65}, 1},
             {E::Trill, {60, 62}, 1},
             {E::Note, {64}, 2}}};
}

struct Case {
    const char* name;
    WrittenScore (*score)();
    PlayStyle style;
};

PlayStyle rubato() {
    PlayStyle s;
    s.rubato = 0.15;
    return s;
}

PlayStyle wrong_notes() {
    PlayStyle s;
    s.wrong_every = 7;
    s.stray_every = 5;
    return s;
}

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.name;
}

class EventKinds : public ::testing::TestWithParam<Case> {};

TEST_P(EventKinds, EveryEventIsReportedInOrder) {
    const Case& c = GetParam();
    const WrittenScore score = c.score();
    const Performance p = perform(score, c.style);
    const FollowedPositions f = follow_midi(score.text(), p.spans);
    std::string why;
    EXPECT_TRUE(reported_in_order(f, static_cast<int>(score.events.size()), &why)) << why;
}

// In time, struck events are reported at their onset; rests and ties,
// which nothing announces, when their time has come.
TEST_P(EventKinds, StruckEventsInTimeAreReportedOnTime) {
    const Case& c = GetParam();
    if (c.style.rubato != 0 || c.style.wrong_every != 0) GTEST_SKIP() << "in time only";
    const WrittenScore score = c.score();
    const Performance p = perform(score, c.style);
    const FollowedPositions f = follow_midi(score.text(), p.spans);
    for (size_t i = 1; i <= score.events.size(); ++i) {
        const auto kind = score.events[i - 1].kind;
        const auto it = f.first.find(static_cast<int>(i));
        ASSERT_NE(it, f.first.end()) << "event " << i;
        const double late = it->second - p.onsets[i];
        if (kind == E::Rest || kind == E::Tie)
            EXPECT_GT(late, -0.3) << "event " << i << " comes with its time";
        else
            EXPECT_NEAR(late, 0.0, 0.05) << "event " << i;
    }
}

const auto kName = [](const ::testing::TestParamInfo<Case>& info) { return info.param.name; };

INSTANTIATE_TEST_SUITE_P(Corpus, EventKinds,
                         ::testing::Values(Case{"first_try_in_time", first_try, {}},
                                           Case{"first_try_rubato", first_try, rubato()},
                                           Case{"first_try_wrong_notes", first_try, wrong_notes()},
                                           Case{"every_kind_in_time", every_kind, {}},
                                           Case{"every_kind_rubato", every_kind, rubato()},
                                           Case{"every_kind_wrong_notes", every_kind, wrong_notes()},
                                           Case{"after_trills_in_time", after_trills, {}},
                                           Case{"after_trills_rubato", after_trills, rubato()},
                                           Case{"after_trills_wrong_notes", after_trills, wrong_notes()}),
                         kName);

// The bundled example: a pianist's performance of a score with a rest, a
// chord, a grace note, a trill followed by notes on its own keys, and a
// glide.
TEST(EventKinds, TheBundledExampleIsFollowedThroughEveryEvent) {
    const std::string dir = std::string(CAD_SOURCE_DIR) + "/examples/";
    const FollowedPositions f = follow_midi_file(dir + "etude.cad", dir + "etude.mid");
    std::string why;
    EXPECT_TRUE(reported_in_order(f, 12, &why)) << why;
}

} // namespace
