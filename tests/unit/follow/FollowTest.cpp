// The listening machine following MIDI performances end to end: notes in,
// positions out, through the engine's position update.
#include "AllocCounter.hpp"
#include "Listening/State.hpp"
#include "ListeningRig.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace {

const char* kScale = "bpm 60\nNOTE 60 1\nNOTE 62 1\nNOTE 64 1\nNOTE 65 1\nNOTE 67 1\nNOTE 69 1\nNOTE 71 1\n"
                     "NOTE 72 1\n";
const float kScalePitches[] = {60, 62, 64, 65, 67, 69, 71, 72};

std::vector<int> range(int from, int to) {
    std::vector<int> v;
    for (int i = from; i <= to; ++i)
        v.push_back(i);
    return v;
}

TEST(Follow, ScalePlayedInTimeIsFollowedNoteByNote) {
    ListeningRig rig(kScale);
    ASSERT_TRUE(rig.loaded);
    for (float p : kScalePitches)
        rig.play(p, 1.0);
    EXPECT_EQ(rig.positions, range(1, 8));
    EXPECT_FALSE(rig.align.align_on) << "no note sounds: the machine stands still";
}

TEST(Follow, FasterAndSlowerPlayingIsFollowed) {
    for (double period : {0.6, 1.5}) {
        ListeningRig rig(kScale);
        for (float p : kScalePitches)
            rig.play(p, 1.0, period);
        EXPECT_EQ(rig.positions, range(1, 8)) << "period " << period;
    }
}

// The chain has no transition over an event: the mass crosses the missed
// note, which may be named on the way, and settles on the note played.
TEST(Follow, SkippedNoteIsCaughtUp) {
    ListeningRig rig(kScale);
    rig.play(60, 1);
    rig.play(62, 1);
    rig.note_on(65); // 64 is not played
    rig.frames(40);
    EXPECT_EQ(rig.position(), 4);
    rig.note_off(65);
    rig.play(67, 1);
    EXPECT_EQ(rig.position(), 5);
    const std::vector<int>& seen = rig.positions;
    EXPECT_EQ(std::vector<int>(seen.begin(), seen.begin() + 2), (std::vector<int>{1, 2}));
}

TEST(Follow, NoteHeldLongStaysOnItsEvent) {
    ListeningRig rig(kScale);
    rig.note_on(60);
    rig.frames(2000);
    EXPECT_EQ(rig.positions, std::vector<int>{1});
    EXPECT_EQ(rig.chain().best->event->index(), 1);
}

TEST(Follow, BackwardCandidateRefusedLeavesTheWindowInPlace) {
    ListeningRig rig("bpm 60\nNOTE 60 1\nNOTE 62 1\nNOTE 64 1\nNOTE 60 1\nNOTE 67 1\n");
    rig.align.inference_decode_window_length(3);
    rig.play(60, 1);
    rig.play(62, 1);
    ASSERT_EQ(rig.position(), 2);
    // Event 1 sits behind, in the window: its pitch comes back, but the
    // engine refuses the backward move and the window stays around event 2.
    rig.note_on(60);
    rig.frames(3);
    EXPECT_EQ(rig.position(), 2);
    ASSERT_FALSE(rig.chain().window().empty());
    EXPECT_EQ(rig.chain().window().front()->event->index(), 1);
}

TEST(Follow, TrillNotesMoveTheSubPositionOnly) {
    ListeningRig rig("bpm 60\nNOTE 60 1\nTRILL (72 74) 4\nNOTE 60 1\n");
    rig.play(60, 1);
    rig.note_on(72);
    rig.frames(20);
    ASSERT_EQ(rig.position(), 2);
    const Event* first = rig.engine.runtime().inner_event;
    ASSERT_NE(first, nullptr);
    rig.release(72); // a fast trill: off and on within one hop
    rig.note_on(74);
    rig.frames(20);
    const Event* second = rig.engine.runtime().inner_event;
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(second->pitch_list(), std::vector<float>{7400});
    EXPECT_EQ(rig.position(), 2);
}

TEST(Follow, DecodingStepsDoNotAllocateOnceTheWindowsTemplatesExist) {
    ListeningRig rig(kScale);
    rig.note_on(60);
    rig.frames(1200); // histories and laws reach their full size
    const std::vector<int> before = rig.positions;
    alloc_counter::start();
    for (int i = 0; i < 5000; ++i)
        rig.step();
    const std::size_t allocations = alloc_counter::stop();
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(rig.positions, before);
}

TEST(Follow, SilentAfterLastNoteOffUntilNextNoteOn) {
    ListeningRig rig(kScale);
    rig.play(60, 1);
    const std::size_t normalisers = rig.chain().N_t.size();
    rig.frames(50);
    EXPECT_EQ(rig.chain().N_t.size(), normalisers) << "no frame passes through the recursion in silence";
    rig.note_on(62);
    EXPECT_TRUE(rig.align.align_on);
    EXPECT_EQ(rig.chain().N_t.size(), normalisers + 1);
}

TEST(Follow, DummyObservationsFollowOnDurationsAlone) {
    ListeningRig rig(kScale);
    rig.align.dummy_observations = 1;
    rig.note_on(60);
    rig.frames(static_cast<int>(4.5 * FRAMES_PER_SECOND));
    ASSERT_FALSE(rig.positions.empty());
    EXPECT_GE(rig.position(), 3) << "the mass moves on at the score's pace";
    EXPECT_LE(rig.position(), 6);
}

} // namespace
