// Events as the reader builds them from score texts.
#include "ConsoleCapture.hpp"
#include "TestReading.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace {

class EventReading : public ::testing::Test {
protected:
    void read(const std::string& text) { ASSERT_TRUE(reader.load(text)) << text; }
    Event& e(int i) { return reader.event(i); }
    std::vector<float> pitches(int i) { return e(i).pitch_list(); }

    ConsoleCapture console;
    TestReading reader;
};

TEST_F(EventReading, PitchesAndDurations) {
    read("NOTE 60 1\nNOTE 6150 1/2\nNOTE C#4 0.25\nNOTE Bb3 2\nNOTE -62 1\n");
    ASSERT_EQ(reader.score().CountEvents(), 5);
    EXPECT_EQ(pitches(1), std::vector<float>{6000});
    EXPECT_EQ(pitches(2), std::vector<float>{6150});
    EXPECT_EQ(pitches(3), std::vector<float>{6100});
    EXPECT_EQ(pitches(4), std::vector<float>{5800});
    EXPECT_EQ(pitches(5), std::vector<float>{-6200}) << "a negative pitch is tied";
    EXPECT_DOUBLE_EQ(e(2).beat_duration(), 0.5);
    EXPECT_DOUBLE_EQ(e(3).beatcum(), 1.5);
    EXPECT_DOUBLE_EQ(e(5).beatcum(), 3.75);
}

TEST_F(EventReading, SilencesAndGraceNotes) {
    read("NOTE 60 1\nNOTE 0 1.0\nNOTE 62 0\nNOTE 64 1\n");
    EXPECT_TRUE(e(2).isSilence());
    EXPECT_FALSE(e(2).isEvent());
    EXPECT_EQ(e(3).type(), 1) << "a grace note";
    EXPECT_FALSE(e(3).withdummy());
    EXPECT_EQ(e(4).type(), 0);
    // The first note's onset distance runs over the silence and the grace
    // note up to the next sounding note.
    EXPECT_DOUBLE_EQ(e(1).IOI_beat_duration(), 2.0);
    EXPECT_EQ(e(1).notenum(), 1);
    EXPECT_EQ(e(4).notenum(), 2);
    EXPECT_DOUBLE_EQ(e(4).IOI_beat_duration(), 1.0) << "the last note is closed at the end of reading";
}

TEST_F(EventReading, OnsetDistanceAndPhase) {
    read("NOTE 60 1.5\nNOTE 62 0.75\nNOTE 64 1\n");
    EXPECT_DOUBLE_EQ(e(1).IOI_beat_duration(), 1.5);
    EXPECT_FLOAT_EQ(e(1).IOI_phi_score(), 0.5f);
    EXPECT_FLOAT_EQ(e(2).IOI_phi_score(), -0.25f);
    EXPECT_FLOAT_EQ(e(3).IOI_phi_score(), 0.0f);
    EXPECT_FLOAT_EQ(wrap_phi(0.5), 0.5f);
    EXPECT_FLOAT_EQ(wrap_phi(-0.5), -0.5f);
    EXPECT_FLOAT_EQ(wrap_phi(2.3), 0.3f);
}

TEST_F(EventReading, Labels) {
    read("NOTE 60 1 intro\nNOTE 62 1 \"second one\"\nNOTE 64 1 12\nNOTE 65 1 a+b\nNOTE 67 1 intro\n");
    EXPECT_EQ(e(1).cuename(), "intro");
    EXPECT_EQ(e(2).cuename(), "second one");
    EXPECT_EQ(e(3).cuename(), "12");
    EXPECT_EQ(e(4).cuename(), "a+b");
    // A second label of the same name replaces the first in the tables,
    // silently at verbosity 0.
    EXPECT_EQ(reader.score().label_to_event.at("intro"), &e(5));
    EXPECT_DOUBLE_EQ(reader.score().label_to_beat.at("intro"), 4.0);
    EXPECT_FALSE(console.has_post("redefining label"));
    EXPECT_EQ(reader.score().labelPosition("second one"), 2);
}

TEST_F(EventReading, ChordsTrillsAndAttributes) {
    read("CHORD (60 64 67) 2 @hook\nTRILL (72 74) 1 @fermata\nTRILL ((60 64) 67) 1\nTRILL (60) 1\n"
         "NOTE 60 1 @pizz\n");
    EXPECT_EQ(pitches(1), (std::vector<float>{6000, 6400, 6700}));
    EXPECT_TRUE(e(1).isHook());
    EXPECT_EQ(e(2).type(), 2);
    EXPECT_TRUE(e(2).fermata());
    EXPECT_TRUE(e(2).withdummy());
    EXPECT_EQ(e(2).direction(), 0);
    ASSERT_NE(e(3).get_sub_events(), nullptr);
    EXPECT_EQ(e(3).get_sub_events()->size(), 2u);
    EXPECT_EQ(e(4).type_string(), "CHORD") << "a trill of one element is a chord";
    EXPECT_TRUE(e(5).withdummy());
}

TEST_F(EventReading, MultiEvents) {
    read("MULTI (60 (64 67)' 72) 2\n");
    ASSERT_EQ(e(1).get_sub_events()->size(), 3u);
    EXPECT_EQ(e(1).type(), 4);
    EXPECT_EQ(e(1).get_sub_events()->at(1)->type(), 2) << "a marked element is a trill";
    EXPECT_EQ(reader.score().note_count, 3);
}

TEST_F(EventReading, MultiArrowGlides) {
    // At 60 BPM, 2 beats allow 20 steps of 100 ms; an octave allows 24 of
    // 50 cents: 20 steps of 60 cents, rounded to 50.
    read("bpm 60\nMULTI (60 -> 72) 2\n");
    const auto& subs = *e(1).get_sub_events();
    ASSERT_EQ(subs.size(), 20u);
    EXPECT_EQ(subs[0]->pitch_list(), std::vector<float>{6000});
    EXPECT_EQ(subs[1]->pitch_list(), std::vector<float>{6050});
    EXPECT_EQ(subs[19]->pitch_list(), std::vector<float>{6950});

    // A short glide is limited by time.
    ASSERT_TRUE(reader.load("bpm 60\nMULTI ((60 64) -> (62 66)) 0.05\n"));
    EXPECT_EQ(reader.event(1).get_sub_events()->size(), 1u);
}

TEST_F(EventReading, TempoAndStatements) {
    read("bpm 120\nNOTE 60 1\nbpm 60 @modulate\nNOTE 62 1\nbpm 60\nNOTE 64 1\nvariance 0.5\nNOTE 65 1\n");
    EXPECT_FLOAT_EQ(e(1).ScoreTempo(), 0.5f);
    EXPECT_TRUE(e(1).scoretempochange());
    EXPECT_FLOAT_EQ(e(2).ScoreTempo(), -1.0f) << "a modulation is a negative period";
    EXPECT_FLOAT_EQ(e(3).ScoreTempo(), 1.0f);
    EXPECT_FALSE(e(4).scoretempochange());
    EXPECT_FLOAT_EQ(e(4).variance(), 0.5f);
    const auto& changes = reader.score().tempo_changes;
    ASSERT_EQ(changes.size(), 4u) << "the initial event, then three changes";
    EXPECT_FLOAT_EQ(changes[1].second, 120.0f);
    EXPECT_FLOAT_EQ(changes[3].second, 60.0f);
}

TEST_F(EventReading, TransposeActsOnListenedPitchesOnly) {
    read("@transpose 100\nNOTE 60 1\nNOTE 0 1\n");
    EXPECT_EQ(pitches(1), std::vector<float>{6100});
    EXPECT_TRUE(e(2).isSilence());

    // An inlet the score does not listen to in midicents keeps raw pitches.
    reader.inlets["KL"] = 1;
    ASSERT_TRUE(reader.load("@transpose 100\nNOTE 60 1\n"));
    EXPECT_EQ(reader.event(1).pitch_list(), std::vector<float>{60});
}

TEST_F(EventReading, JumpsResolveLabels) {
    read("NOTE 60 1 a\nNOTE 62 1 b @jump a, c\nNOTE 64 1 c\n");
    EXPECT_EQ(reader.score().find_jump(2), (std::vector<int>{1, 3}));
    EXPECT_TRUE(reader.score().find_jump(1).empty());
}

TEST_F(EventReading, NavigationSkipsSilencesAndGraces) {
    read("NOTE 0 1\nNOTE 60 1\nNOTE 62 0\nNOTE 0 1\nNOTE 64 1\n");
    const Score& s = reader.score();
    EXPECT_EQ(s.FirstEvent(), 2);
    EXPECT_EQ(s.LastEvent(), 5);
    EXPECT_EQ(s.nextEvent(2), 3);
    EXPECT_EQ(s.nextEvent_with_silence(3), 4);
    EXPECT_EQ(s.previous_non_grace_Event(5), 2);
    double rest = 0;
    int index = 0;
    s.search_event(2.5, &rest, &index);
    EXPECT_EQ(index, 3);
    EXPECT_DOUBLE_EQ(rest, 0.5);
}

TEST(Pitches, SymbolicNames) {
    ConsoleCapture console;
    EXPECT_DOUBLE_EQ(symb_to_midicent("A4"), 6900);
    EXPECT_DOUBLE_EQ(symb_to_midicent("c4"), 6000);
    EXPECT_DOUBLE_EQ(symb_to_midicent("Cb4"), 5900);
    EXPECT_DOUBLE_EQ(symb_to_midicent("B#3"), 6000);
    EXPECT_TRUE(console.errors.empty());
    EXPECT_DOUBLE_EQ(symb_to_midicent("H4"), -999);
    EXPECT_TRUE(console.has_error("error note H4"));
    EXPECT_DOUBLE_EQ(symb_to_midicent("C21"), -999);
    EXPECT_TRUE(console.has_error("octave error in note C21"));
}

} // namespace
