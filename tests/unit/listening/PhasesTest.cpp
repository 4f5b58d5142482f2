// What a stay hears in its phases: the entry frame, the early frames, the
// settled ones; and what attacks and sound are worth in each phase.
#include "Listening/Evidence.hpp"
#include "Listening/Observation.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

// Frames are pushed oldest first; the normalisers of the past frames are
// all `n` (the current frame has none yet).
struct Frames {
    Observation obs{1001};
    Normalisers N{1000};

    void push(PhaseValues v, double n = 1.0) {
        if (!obs.empty()) N.push_back(n);
        obs.push(v);
    }
    std::vector<double> stays(int u_max, int early) const {
        BoundedRow out{1001};
        obs.stays(N, u_max, early, out);
        return {out.data(), out.data() + out.size()};
    }
};

TEST(Stays, EachFrameIsReadInThePhaseItHasForTheEntry) {
    // Four frames t-3 .. t, each phase with its own value per frame.
    Frames f;
    const std::vector<PhaseValues> v = {{2, 3, 5}, {7, 11, 13}, {17, 19, 23}, {29, 31, 37}};
    for (const PhaseValues& x : v)
        f.push(x);
    const std::vector<double> O = f.stays(4, 2);
    ASSERT_EQ(O.size(), 4u);
    EXPECT_DOUBLE_EQ(O[0], 29) << "entered now: the entry phase of this frame";
    EXPECT_DOUBLE_EQ(O[1], 17 * 31) << "entered one frame ago: then early";
    EXPECT_DOUBLE_EQ(O[2], 7 * 19 * 37) << "two frames ago: early, then settled";
    EXPECT_DOUBLE_EQ(O[3], 2 * 11 * 23 * 37);
}

TEST(Stays, PastFramesAreDividedByTheirNormalisers) {
    Frames f;
    f.push({1, 1, 1});
    f.push({1, 1, 1}, 4.0);
    f.push({2, 2, 2}, 0.5);
    const std::vector<double> O = f.stays(3, 1);
    EXPECT_DOUBLE_EQ(O[0], 2);
    EXPECT_DOUBLE_EQ(O[1], 2 * (1 / 0.5));
    EXPECT_DOUBLE_EQ(O[2], 2 * (1 / 0.5) * (1 / 4.0));
}

TEST(Stays, EqualPhasesGiveTheProductsOfOneHistory) {
    Frames f;
    std::vector<double> values = {0.3, 0.9, 0.2, 0.7, 0.5, 0.8};
    for (double x : values)
        f.push({x, x, x}, 0.6);
    for (int early : {1, 2, 4}) {
        const std::vector<double> O = f.stays(6, early);
        double run = values.back();
        for (size_t u = 0; u < O.size(); ++u) {
            if (u > 0) run *= values[values.size() - 1 - u] / 0.6;
            EXPECT_DOUBLE_EQ(O[u], run) << "u " << u << ", early " << early;
        }
    }
}

TEST(Stays, LookBackIsCutToWhatTheHistoriesHold) {
    Frames f;
    EXPECT_TRUE(f.stays(5, 2).empty());
    f.push({1, 1, 1});
    f.push({1, 1, 1});
    EXPECT_EQ(f.stays(5, 2).size(), 2u);
    EXPECT_EQ(f.stays(0, 2).size(), 1u) << "at least the frame itself";
}

// ---- evidence ----

EvidenceSettings plain() {
    EvidenceSettings s;
    s.extra = 0.01;
    s.restrike = 0.1;
    s.unannounced = 0.001;
    s.sound_floor = 0;
    s.sound_power = 1;
    return s;
}

TEST(Evidence, AFrameWithoutAttacksIsTheSoundInEveryPhaseButAnUnannouncedEntry) {
    const PhaseValues v = phase_values({}, 0.5, plain(), true);
    EXPECT_DOUBLE_EQ(v.early, 0.5);
    EXPECT_DOUBLE_EQ(v.settled, 0.5);
    EXPECT_DOUBLE_EQ(v.entry, 0.5 * 0.001);
}

TEST(Evidence, AttacksOfTheEventsPitchesAnnounceItsEntryAndDisturbItsSettledStay) {
    const AttackCount own{2, 2, 2};
    const PhaseValues v = phase_values(own, 1.0, plain(), true);
    EXPECT_DOUBLE_EQ(v.entry, 1.0);
    EXPECT_DOUBLE_EQ(v.early, 1.0) << "late notes of a spread chord";
    EXPECT_DOUBLE_EQ(v.settled, 0.1 * 0.1) << "the same pitches struck again";
}

TEST(Evidence, ForeignAttacksCostEveryPhaseAlike) {
    const AttackCount foreign{1, 0, 0};
    const PhaseValues v = phase_values(foreign, 1.0, plain(), true);
    EXPECT_DOUBLE_EQ(v.early, 0.01);
    EXPECT_DOUBLE_EQ(v.settled, 0.01);
    EXPECT_DOUBLE_EQ(v.entry, 0.01 * 0.001);
}

TEST(Evidence, ATiedPitchStruckAgainIsARestrikeEvenAtTheEntry) {
    const AttackCount tied{1, 1, 0};
    const PhaseValues v = phase_values(tied, 1.0, plain(), true);
    EXPECT_DOUBLE_EQ(v.entry, 0.1 * 0.001);
}

TEST(Evidence, AWrongNoteStandsForTheMissingStrikeAndItsSound) {
    EvidenceSettings s = plain();
    s.wrong_note = 0.5;
    const AttackCount wrong{1, 0, 0, 1};
    const PhaseValues v = phase_values(wrong, 0.2, s, true);
    EXPECT_DOUBLE_EQ(v.entry, 0.5) << "the wrong key sounds, not the event's";
    EXPECT_DOUBLE_EQ(v.early, 0.2 * 0.01) << "once entered it is an extra attack";
    EXPECT_DOUBLE_EQ(v.settled, 0.2 * 0.01);
    const PhaseValues with_extra = phase_values({2, 0, 0, 1}, 0.2, s, true);
    EXPECT_DOUBLE_EQ(with_extra.entry, 0.5 * 0.01) << "a second foreign attack stays extra";
    const PhaseValues announced = phase_values({2, 1, 1, 1}, 1.0, s, true);
    EXPECT_DOUBLE_EQ(announced.entry, 0.01) << "with the right note there, the near one is extra";
}

TEST(Evidence, WithoutAWrongNoteWeightANearMissIsAnyForeignAttack) {
    const PhaseValues v = phase_values({1, 0, 0, 1}, 1.0, plain(), true);
    EXPECT_DOUBLE_EQ(v.entry, 0.01 * 0.001);
}

TEST(Evidence, AStateThatExpectsNoAttackHearsEveryPhaseAsSettled) {
    const PhaseValues v = phase_values({1, 0, 0}, 0.4, plain(), false);
    EXPECT_DOUBLE_EQ(v.entry, v.settled);
    EXPECT_DOUBLE_EQ(v.early, v.settled);
    EXPECT_DOUBLE_EQ(v.settled, 0.4 * 0.01);
}

TEST(Evidence, TheSoundIsTemperedAndFloored) {
    EvidenceSettings s = plain();
    s.sound_floor = 0.04;
    s.sound_power = 0.5;
    EXPECT_DOUBLE_EQ(phase_values({}, 0.25, s, true).settled, 0.5);
    EXPECT_DOUBLE_EQ(phase_values({}, 0.0, s, true).settled, 0.2) << "no frame rules a state out";
}

TEST(Evidence, FractionalCountsFromAudio) {
    const PhaseValues v = phase_values({0.5, 0.5, 0.5}, 1.0, plain(), true);
    EXPECT_NEAR(v.settled, std::sqrt(0.1), 1e-12);
    EXPECT_NEAR(v.entry, 0.5 + 0.5 * 0.001, 1e-12) << "half an attack half announces";
}

TEST(Evidence, EarlyPhaseLastsAtLeastItsFramesAndGrowsWithLongEvents) {
    EvidenceSettings s;
    s.early_frames = 5;
    s.early_fraction = 0.25;
    s.early_limit = 30;
    EXPECT_EQ(s.early_length(8), 5);
    EXPECT_EQ(s.early_length(80), 20);
    EXPECT_EQ(s.early_length(800), 30);
}

} // namespace
