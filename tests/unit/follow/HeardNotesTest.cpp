// What the MIDI observation hears: the plain rule (a note from its note-on to
// its note-off) and the envelope that lets a released note fade and a held
// one settle. Played through the driver, as a performer would.
#include "AllocCounter.hpp"
#include "ListeningRig.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

constexpr double FRAME_MS = 1000.0 / FRAMES_PER_SECOND;

class HeardNotesTest : public ::testing::Test {
protected:
    float heard(float pitch) const { return rig.align.heard.levels()[static_cast<size_t>(pitch * 2)]; }
    PitchClass pc(std::vector<float> pitches) const { return PitchClass(std::move(pitches), 0.3f); }

    ListeningRig rig{"bpm 60\nNOTE 60 1\nCHORD (60 64 67) 1\nNOTE 62 1\n"};
};

// The fast match walks the notes heard; it must give what the likelihood of
// the sounding notes gives over the whole grid.
TEST_F(HeardNotesTest, PlainRuleMatchesTheLikelihoodOfTheSoundingNotes) {
    const std::vector<PitchClass> classes = {pc({6000}), pc({6000, 6400, 6700}), pc({6200}),
                                             pc({4800, 6000})};
    auto check = [&](const char* when) {
        for (const PitchClass& c : classes) {
            std::vector<float> t;
            rig.align.MakeMIDItemplates(t, c);
            EXPECT_NEAR(rig.align.heard.match(t, c.positive_count()),
                        rig.align.MIDI_likelihood(c, rig.align.midi_active), 1e-7)
                << when << ", " << c.toString();
        }
    };
    check("nothing played");
    rig.note_on(60);
    rig.note_on(64);
    check("two notes");
    rig.note_on(67);
    rig.note_on(72);
    rig.note_off(64);
    check("a release among others");
    rig.note_on(64);
    check("a note struck again");
    EXPECT_FLOAT_EQ(static_cast<float>(rig.align.heard.total()), 4.0f) << "each note counted once";
}

TEST_F(HeardNotesTest, ReleasedNoteFadesThenIsDropped) {
    rig.align.midi_envelope_set(100, 1, 0);
    rig.note_on(48); // a held bass keeps the machine running
    rig.note_on(60);
    rig.note_off(60);
    // The step of the note-off heard it whole; each step after fades it.
    EXPECT_NEAR(heard(60), std::exp(-FRAME_MS / 100), 1e-6);
    rig.frames(9);
    EXPECT_NEAR(heard(60), std::exp(-10 * FRAME_MS / 100), 1e-5);
    EXPECT_EQ(rig.align.midi_active[120], 1e-12f) << "the sounding notes keep the plain rule";
    rig.frames(60);
    EXPECT_EQ(heard(60), HeardNotes::FLOOR) << "faded below a thousandth";
    EXPECT_FLOAT_EQ(static_cast<float>(rig.align.heard.total()), 1.0f) << "only the bass is heard";

    rig.note_on(60);
    rig.note_off(60);
    rig.note_on(60);
    EXPECT_EQ(heard(60), 1.0f) << "struck again while fading";
    EXPECT_FLOAT_EQ(static_cast<float>(rig.align.heard.total()), 2.0f);
}

TEST_F(HeardNotesTest, HeldNoteSettlesAtTheSustainLevel) {
    rig.align.midi_envelope_set(0, 0.5, 200);
    rig.note_on(60);
    EXPECT_NEAR(heard(60), std::exp(-FRAME_MS / 200), 1e-6);
    rig.frames(200);
    EXPECT_FLOAT_EQ(heard(60), 0.5f);
    rig.note_on(64);
    EXPECT_GT(heard(64), heard(60)) << "a fresh attack weighs more than an old held note";
    rig.note_off(60);
    EXPECT_EQ(heard(60), HeardNotes::FLOOR) << "no release time: dropped at once";

    rig.align.midi_envelope_set(0, 0, 0);
    rig.note_on(67);
    EXPECT_EQ(heard(67), 0.0f) << "a held note may fall silent";
    rig.press(67);
    EXPECT_EQ(heard(67), 1.0f);
    EXPECT_FLOAT_EQ(static_cast<float>(rig.align.heard.total()), 1.0f) << "struck again, counted once";
}

TEST_F(HeardNotesTest, NothingHeardAfterARestart) {
    rig.align.midi_envelope_set(300, 1, 0);
    rig.note_on(60);
    rig.note_off(60);
    rig.align.setPointers(&rig.inlets, &rig.tempo);
    EXPECT_EQ(rig.align.heard.total(), 0.0);
    EXPECT_EQ(rig.align.heard.release_time(), 300.0) << "the envelope is a setting, kept";
}

TEST_F(HeardNotesTest, EnvelopeStepsDoNotAllocate) {
    rig.align.midi_envelope_set(100, 0.5, 1000);
    rig.note_on(48);
    rig.note_on(60);
    rig.frames(1200); // histories and laws reach their full size
    const auto strike_again = [&] {
        for (int i = 0; i < 50; ++i) {
            rig.note_off(60);
            rig.frames(10);
            rig.note_on(60);
            rig.frames(10);
        }
    };
    strike_again(); // the follower may move on to the chord, which holds 60
    alloc_counter::start();
    strike_again();
    EXPECT_EQ(alloc_counter::stop(), 0u);
}

// Short notes over a held bass: once a melody note is released, only the
// bass sounds. With a release time the released note still names its event
// until the next one is struck.
TEST_F(HeardNotesTest, StaccatoMelodyOverAHeldBassIsFollowedWithARelease) {
    ListeningRig staccato(
        "bpm 120\nCHORD (36 60) 1\nNOTE 62 1\nNOTE 64 1\nNOTE 65 1\nNOTE 67 1\nNOTE 69 1\n");
    ASSERT_TRUE(staccato.loaded);
    staccato.align.midi_envelope_set(100, 1, 0);
    const int beat = static_cast<int>(0.5 * FRAMES_PER_SECOND);
    staccato.note_on(36);
    for (float p : {60.0f, 62.0f, 64.0f, 65.0f, 67.0f, 69.0f}) {
        staccato.note_on(p);
        staccato.frames(beat / 4);
        staccato.note_off(p);
        staccato.frames(beat - beat / 4 - 2);
    }
    EXPECT_EQ(staccato.positions, (std::vector<int>{1, 2, 3, 4, 5, 6}));
}

// The sustain pedal (CC 64) keeps released notes sounding until it is
// lifted; a note struck again under the pedal is held by the key again.
TEST_F(HeardNotesTest, ThePedalHoldsReleasedNotesUntilItIsLifted) {
    rig.note_on(60);
    rig.note_on(64);
    rig.align.MIDI_control(64, 127);
    rig.note_off(60);
    rig.frames(20);
    EXPECT_GT(heard(60), 0.0f) << "released under the pedal: still sounding";
    rig.note_off(64);
    rig.note_on(64);
    rig.align.MIDI_control(64, 0);
    rig.frames(2);
    EXPECT_LT(heard(60), 1e-6f) << "the pedal lifted lets it go";
    EXPECT_GT(heard(64), 0.0f) << "struck again and held by its key";

    rig.align.hear_pedal = false;
    rig.align.MIDI_control(64, 127);
    rig.note_off(64);
    rig.frames(2);
    EXPECT_LT(heard(64), 1e-6f) << "a machine told not to hear the pedal ignores it";
}

} // namespace
