// The score-wide search for a lost musician: a coarse belief over every
// event, moved by attacks, pinned to the follower's belief while it
// explains them, and asked where else the musician may be once it no
// longer does.
#include "Listening/Relocator.hpp"
#include "TestReading.hpp"
#include "Tree/Score.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// A melody of 120 notes in which no two consecutive notes repeat one
// another's pair: every place is told by a few notes.
std::string melody_text(std::vector<int>& pitches) {
    std::string text = "BPM 120\n";
    unsigned state = 7;
    for (int i = 0; i < 120; ++i) {
        state = state * 1103515245u + 12345u;
        pitches.push_back(48 + static_cast<int>((state >> 16) % 36));
        text += "NOTE " + std::to_string(pitches.back()) + " 1\n";
    }
    return text;
}

class RelocatorTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(reading.load(melody_text(pitches)));
        relocator.set_score(&reading.score());
    }
    // Event i (1-based) struck, as one frame's attack.
    void strike(int i) {
        const std::vector<int> notes{pitches[static_cast<size_t>(i - 1)]};
        relocator.observe(notes, ones);
    }

    TestReading reading;
    std::vector<int> pitches;
    Relocator relocator;
    const std::vector<double> ones{1.0};
};

TEST_F(RelocatorTest, AttacksCarryTheWeightFromEventToEvent) {
    relocator.reset(10);
    for (int i = 11; i <= 14; ++i)
        strike(i);
    EXPECT_GT(relocator.weight_of(14), 0.5);
    EXPECT_NEAR(relocator.mass(0, relocator.size() - 1), 1.0, 1e-9);
}

TEST_F(RelocatorTest, AFarPassageIsFoundFromItsNotesAlone) {
    // Eight notes of a passage seventy events away outweigh what is left
    // of the old belief.
    relocator.reset(10);
    for (int i = 80; i <= 87; ++i)
        strike(i);
    EXPECT_GE(relocator.densest(10), 80);
    EXPECT_LE(relocator.densest(10), 87);
}

TEST_F(RelocatorTest, TheWindowIsLostOnlyOnceTheBeliefNoLongerExplainsTheAttacks) {
    relocator.reset(10);
    // The belief stays at 10 while the musician plays from 80 on.
    int found = -1;
    int frames = 0;
    for (int i = 80; i <= 95 && found < 0; ++i, ++frames) {
        strike(i);
        found = relocator.elsewhere(0, 20, 10);
        relocator.judge(10, {pitches[static_cast<size_t>(i - 1)]});
    }
    ASSERT_GE(found, 78);
    EXPECT_LE(found, 95);
    EXPECT_GE(frames, relocator.settings.lost_frames) << "a few attacks, not one";
}

TEST_F(RelocatorTest, ABeliefThatExplainsTheAttacksIsNeverDoubted) {
    relocator.reset(10);
    for (int i = 11; i <= 40; ++i) {
        strike(i);
        EXPECT_EQ(relocator.elsewhere(i - 5, i + 10, i), -1) << "event " << i;
        relocator.judge(i, {pitches[static_cast<size_t>(i - 1)]});
        EXPECT_DOUBLE_EQ(relocator.weight_of(i), 1.0) << "pinned to the belief";
    }
}

// Frames played from event `from` on while the belief stays at 10 (window
// [0, 20]), until the window is found lost: how many it took, and where.
struct Found {
    int at = -1;
    int frames = 0;
};

Found lost_from(Relocator& r, const std::vector<int>& pitches, int from, int last) {
    Found f;
    r.reset(10);
    for (int i = from; i <= last && f.at < 0; ++i, ++f.frames) {
        const std::vector<int> notes{pitches[static_cast<size_t>(i - 1)]};
        r.observe(notes, {1.0});
        f.at = r.elsewhere(0, 20, 10);
        // One attack in three happens to be the belief's own pitch: the
        // recent share never stays below the doubt for long.
        const int heard = i % 3 == 0 ? pitches[9] : notes[0];
        r.judge(10, {heard});
    }
    return f;
}

TEST_F(RelocatorTest, OneSidedEvidenceMovesTheWindowAtOnce) {
    // Chance matches of the belief keep resetting the count of lost frames;
    // once the window holds almost nothing and one span holds nearly all,
    // the window moves without that count.
    relocator.settings.clear_lost = 0;
    const Found counted = lost_from(relocator, pitches, 80, 110);
    relocator.settings.clear_lost = 0.005;
    const Found clear = lost_from(relocator, pitches, 80, 110);
    ASSERT_GE(clear.at, 78);
    EXPECT_LE(clear.at, 110);
    EXPECT_LT(clear.frames, counted.frames);
}

TEST_F(RelocatorTest, NearerOfTwoEqualPlacesIsPreferred) {
    // Events 30 and 90 strike the same notes: the nearer one wins.
    std::string text = "BPM 120\n";
    for (int i = 1; i <= 120; ++i)
        text += "NOTE " + std::to_string(i == 30 || i == 90 ? 100 : 40 + i % 3) + " 1\n";
    TestReading other;
    ASSERT_TRUE(other.load(text));
    Relocator r;
    r.set_score(&other.score());
    r.settings.found_span = 1;
    r.reset(1);
    for (int k = 0; k < 8; ++k)
        r.observe({100}, ones);
    EXPECT_EQ(r.densest(80), 90);
    EXPECT_EQ(r.densest(20), 30);
}

} // namespace
