// The MIDI observation: sounding notes on the half-semitone grid, templates,
// likelihoods, and how notes on and off start and stop the machine.
#include "ListeningRig.hpp"

#include <gtest/gtest.h>

#include <numeric>

namespace {

class MidiObservation : public ::testing::Test {
protected:
    int bin(float pitch) const { return static_cast<int>(pitch * 2); }
    float active(float pitch) const { return rig.align.midi_active[static_cast<size_t>(bin(pitch))]; }
    PitchClass pc(std::vector<float> pitches) const { return PitchClass(std::move(pitches), 0.3f); }

    ListeningRig rig{"bpm 60\nNOTE 60 1\nCHORD (60 64 67) 1\nNOTE 62 1\n"};
};

TEST_F(MidiObservation, GridOfHalfSemitones) {
    const std::vector<float>& grid = rig.align.midi_grid;
    ASSERT_EQ(grid.size(), 254u);
    EXPECT_EQ(grid.front(), 0.0f);
    EXPECT_EQ(grid[120], 60.0f);
    EXPECT_EQ(grid.back(), 126.5f);
}

TEST_F(MidiObservation, TemplateIsANormalisedBumpInMidiOrMidicents) {
    std::vector<float> t;
    rig.align.MakeMIDItemplates(t, pc({60}));
    ASSERT_EQ(t.size(), 254u);
    EXPECT_NEAR(std::accumulate(t.begin(), t.end(), 0.0), 1.0, 1e-6);
    EXPECT_EQ(std::max_element(t.begin(), t.end()) - t.begin(), 120);
    for (size_t i = 0; i < t.size(); ++i) {
        if (i >= 118 && i <= 122) continue;
        EXPECT_EQ(t[i], 0.0f) << i << ": beyond four deviations";
    }
    EXPECT_NEAR(t[121] / t[120], std::exp(-0.25 / (2 * 0.09)), 1e-5);

    std::vector<float> cents;
    rig.align.MakeMIDItemplates(cents, pc({-6000}));
    EXPECT_EQ(cents, t) << "midicents, and ties, give the same template";

    std::vector<float> top;
    rig.align.MakeMIDItemplates(top, pc({127, 0}));
    EXPECT_EQ(std::accumulate(top.begin(), top.end(), 0.0), 0.0)
        << "a bump reaching the grid's end is left out";
}

TEST_F(MidiObservation, NoteOnAndOff) {
    rig.note_on(60);
    EXPECT_EQ(active(60), 1.0f);
    EXPECT_EQ(rig.align.silence_prob, 1e-12f);
    EXPECT_TRUE(rig.align.align_on);
    EXPECT_TRUE(rig.align.observations[0].empty()) << "consumed";

    rig.note_off(60);
    EXPECT_EQ(active(60), 1e-12f);
    EXPECT_EQ(rig.align.silence_prob, 0.6f);
    EXPECT_FALSE(rig.align.align_on) << "after the step that heard the silence";
}

TEST_F(MidiObservation, NoteOffWhileOthersSoundReleasesOnlyItsPitch) {
    rig.note_on(60);
    rig.note_on(64);
    rig.note_off(60);
    EXPECT_EQ(active(60), 1e-12f) << "a legato release must not leave the pitch sounding";
    EXPECT_EQ(active(64), 1.0f);
    EXPECT_EQ(rig.align.silence_prob, 1e-12f) << "64 still sounds";
    EXPECT_TRUE(rig.align.align_on);
    rig.note_off(64);
    EXPECT_EQ(active(64), 1e-12f);
    EXPECT_EQ(rig.align.silence_prob, 0.6f) << "nothing sounds any more";
}

TEST_F(MidiObservation, NoteOffOfASilentPitchOnlyMarksItsEntry) {
    rig.note_off(70);
    EXPECT_EQ(active(70), 1e-12f);
    EXPECT_EQ(rig.align.silence_prob, 0.6f);
    EXPECT_EQ(active(60), 0.0f);
}

TEST_F(MidiObservation, PitchOffTheGridIsIgnored) {
    rig.align.align_on = false;
    rig.press(60.25f);
    EXPECT_EQ(std::accumulate(rig.align.midi_active.begin(), rig.align.midi_active.end(), 0.0f), 0.0f);
    EXPECT_TRUE(rig.align.align_on) << "still a note-on";
    rig.frames(1);
    EXPECT_FALSE(rig.align.align_on) << "but nothing sounds";
}

TEST_F(MidiObservation, BadListsAreReported) {
    const float three[3] = {62, 90, 1};
    rig.align.set_observation(0, three, 3);
    rig.align.MIDI_prepareObs();
    EXPECT_TRUE(
        rig.console.has_error("Cadenzium~: BAD MIDI MESSAGE! Inputs should be pitch+velocity lists."));
    EXPECT_EQ(active(62), 1.0f) << "the first two numbers are read";

    rig.console.clear();
    const float one[1] = {64};
    rig.align.set_observation(0, one, 1);
    rig.align.MIDI_prepareObs();
    EXPECT_TRUE(rig.console.has_error("BAD MIDI MESSAGE"));
    EXPECT_EQ(active(64), 0.0f);

    rig.console.clear();
    rig.align.set_observation(0, one, 0);
    rig.align.MIDI_prepareObs();
    EXPECT_TRUE(rig.console.errors.empty()) << "no activity is not an error";
}

TEST_F(MidiObservation, ChordLikelihoodRisesNoteByNote) {
    const PitchClass chord = pc({6000, 6400, 6700});
    rig.note_on(60);
    const float one = rig.align.MIDI_likelihood(chord, rig.align.midi_active);
    rig.note_on(64);
    const float two = rig.align.MIDI_likelihood(chord, rig.align.midi_active);
    rig.note_on(67);
    const float three = rig.align.MIDI_likelihood(chord, rig.align.midi_active);
    EXPECT_LT(one, two);
    EXPECT_LT(two, three);
    // The denominator holds at the number of pitches until more sound.
    EXPECT_NEAR(two, 2 * one, 1e-6);
    rig.note_on(72);
    EXPECT_NEAR(rig.align.MIDI_likelihood(chord, rig.align.midi_active), three * 3 / 4, 1e-6);

    const float wrong = rig.align.MIDI_likelihood(pc({6200}), rig.align.midi_active);
    EXPECT_FLOAT_EQ(wrong, 1e-12f) << "no overlap: the floor";
}

TEST_F(MidiObservation, TemplatesLiveWhileTheWindowAsksForThem) {
    rig.note_on(60);
    // The silence before the first note, the silence after the last one
    // (a waiting state's, pitch 0), the note 60, the chord and the note 62.
    EXPECT_EQ(rig.align.template_count(), 5u);
    rig.align.set_Position(3);
    rig.chain().decodingwin_length = 1;
    rig.chain().updateDecodeWindow(rig.host.score().events[3].get());
    rig.frames(1);
    EXPECT_EQ(rig.align.template_count(), 2u) << "only the chord and the note 62 remain";
}

TEST_F(MidiObservation, StatecheckFollowsTheInletOfEachEvent) {
    EXPECT_TRUE(rig.align.MIDI_statecheck(1));
    EXPECT_FALSE(rig.align.AUDIO_statecheck(1)) << "no audio inlet";
    rig.inlets.clear();
    EXPECT_EQ(rig.align.MIDI_input(), -1);
    EXPECT_FALSE(rig.align.MIDI_statecheck(1));
    rig.align.align_on = true;
    rig.frames(3);
    EXPECT_TRUE(rig.align.align_on) << "without a MIDI inlet nothing stops the machine";
}

} // namespace
