// The tempo oscillator and the tracking of the tempo at position changes.
#include "Listening/Tempo.hpp"
#include "Listening/TempoTracking.hpp"
#include "ConsoleCapture.hpp"
#include "TestReading.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(TempoTable, BesselRatiosOnTheKappaGrid) {
    const std::vector<double>& a = t_tempo::bessel_ratio_table();
    ASSERT_EQ(a.size(), 9001u);
    EXPECT_DOUBLE_EQ(a.front(), 0.44639);
    EXPECT_DOUBLE_EQ(a.back(), 0.9486);
    EXPECT_DOUBLE_EQ(a[1000], 0.69777) << "kappa 2";
    for (size_t i = 1; i < a.size(); ++i)
        ASSERT_LE(a[i - 1], a[i]);
}

TEST(TempoWrap, PhasesComeBackIntoHalfAPeriod) {
    EXPECT_DOUBLE_EQ(tempo_wrap(0.5), 0.5);
    EXPECT_NEAR(tempo_wrap(0.7), -0.3, 1e-12);
    EXPECT_NEAR(tempo_wrap(-0.7), 0.3, 1e-12);
    EXPECT_NEAR(tempo_wrap(2.25), 0.25, 1e-12);
    EXPECT_DOUBLE_EQ(tempo_wrap(0.0), 0.0);
}

class Oscillator : public ::testing::Test {
protected:
    // An onset `elapsed` seconds after the previous one, one beat apart in
    // the score.
    void onset(double elapsed) {
        tempo.tempoOsc(tempo_wrap(1.0), 1.0f, 1.0f, static_cast<float>(elapsed), 0);
    }

    t_tempo tempo;
};

TEST_F(Oscillator, OnsetOnTimeChangesNothingButCoherence) {
    onset(1.0);
    EXPECT_EQ(tempo.correction, 0.0);
    EXPECT_EQ(tempo.period, 1.0);
    EXPECT_NEAR(tempo.rbar, 0.94 + (1 - 0.94) * 0.9, 1e-12);
    EXPECT_EQ(tempo.kappa, 10.0) << "rbar above the last entry of the table";
}

TEST_F(Oscillator, LateOnsetLengthensAndEarlyShortens) {
    onset(1.1);
    const double late = tempo.period;
    EXPECT_GT(late, 1.0);
    EXPECT_DOUBLE_EQ(tempo.get_tempo(), 60.0 / late);

    t_tempo early;
    early.tempoOsc(0, 1.0f, 1.0f, 0.9f, 0);
    EXPECT_LT(early.period, 1.0);
}

TEST_F(Oscillator, SteadyLatenessConvergesOnTheNewTempo) {
    for (int i = 0; i < 60; ++i)
        onset(1.2);
    EXPECT_NEAR(tempo.period, 1.2, 0.05) << "within the bounded correction that keeps the phase";
}

TEST_F(Oscillator, AntiphaseCorrectsNothing) {
    onset(1.5);
    EXPECT_NEAR(tempo.correction, 0.0, 1e-9);
    EXPECT_NEAR(tempo.rbar, 0.94 - (0.94 + 1) * 0.9, 1e-12);
}

TEST_F(Oscillator, IncoherentErrorsFallToTheFloorOfKappa) {
    tempo.rbar = 0.1;
    onset(1.3);
    EXPECT_EQ(tempo.kappa, 1.0);
    tempo.kappamin_set(3.0);
    tempo.kappamin_set(0.5); // refused
    EXPECT_EQ(tempo.kappamin, 3.0);
    tempo.rbar = 0.1;
    onset(1.3);
    EXPECT_EQ(tempo.kappa, 3.0);
}

TEST_F(Oscillator, CoherentPastTrustsSmallErrorsOverLargeOnes) {
    EXPECT_GT(t_tempo::entrain(0.05f, 10.0f), t_tempo::entrain(0.3f, 10.0f)) << "a far error is an outlier";
    EXPECT_GT(t_tempo::entrain(0.3f, 1.0f), 5 * t_tempo::entrain(0.3f, 10.0f));
}

TEST_F(Oscillator, ResetForgetsCoherenceButKeepsThePeriod) {
    onset(1.1);
    const double period = tempo.period;
    tempo.Reset();
    EXPECT_EQ(tempo.correction, 0.0);
    EXPECT_EQ(tempo.kappa, 2.0);
    EXPECT_EQ(tempo.rbar, 0.94);
    EXPECT_EQ(tempo.period, period);
    EXPECT_DOUBLE_EQ(tempo.get_tempo(), 60.0 / period);
}

TEST(TempoVariable, FollowsTheDatesOfItsUpdates) {
    t_tempo_var var(0.5);
    EXPECT_DOUBLE_EQ(var.tempoOsc(10.0), 60.0);
    EXPECT_DOUBLE_EQ(var.tempoOsc(10.5), 60.0) << "on time";
    EXPECT_DOUBLE_EQ(var.tempoOsc(10.5), 60.0) << "no time passed";
    const double slower = var.tempoOsc(11.1);
    EXPECT_LT(slower, 60.0);
    std::unique_ptr<TempoOscillator> copy = var.clone();
    EXPECT_DOUBLE_EQ(copy->get_tempo(), slower);
    copy->init();
    EXPECT_DOUBLE_EQ(copy->tempoOsc(3.0), slower) << "after init the first date only starts";
}

class Tracking : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(
            engine.load("bpm 60\nNOTE 60 1\nNOTE 62 1\nNOTE 64 1\nNOTE 64 1\nbpm 120\nNOTE 65 1 @fermata\n"
                        "NOTE 67 1\n"));
    }
    Event* ev(int i) { return engine.score().events[static_cast<size_t>(i)].get(); }
    // The decoder names `to` while the engine stands on `from`, at `now`.
    void move(int from, int to, double now) {
        PositionChange c;
        c.new_index = to;
        c.current_index = from;
        c.previous_event = from > 0 ? ev(from - 1) : nullptr;
        c.last_action_event = from > 0 ? ev(from) : nullptr;
        c.now = now;
        tracking.track_tempo_from_position_update(engine.score(), tempo, c);
    }

    ConsoleCapture console;
    TestReading engine;
    t_tempo tempo;
    TempoTracking tracking;
};

TEST_F(Tracking, StartTakesTheFirstEventsTempo) {
    tempo.TempoUpdate(0.5);
    move(0, 1, 0.0);
    EXPECT_EQ(tempo.period, 1.0);
}

TEST_F(Tracking, ConsecutiveOnsetsFeedTheOscillator) {
    move(0, 1, 0.0);
    move(1, 2, 1.0);
    EXPECT_EQ(tracking.oscillator_updates, 0) << "the first onset has no predecessor";
    move(2, 3, 2.3);
    EXPECT_EQ(tracking.oscillator_updates, 1);
    EXPECT_GT(tempo.period, 1.0) << "late";
    EXPECT_NEAR(tracking.timing_error_ms, -300.0, 1e-6);
    EXPECT_EQ(tracking.onset_count, 2);
}

TEST_F(Tracking, RepeatedNoteAndSkippedNotesDoNotMoveTheTempo) {
    move(0, 1, 0.0);
    move(1, 2, 1.0);
    move(2, 3, 2.0);
    const int fed = tracking.oscillator_updates;
    move(3, 4, 3.5); // 64 again
    EXPECT_EQ(tracking.oscillator_updates, fed);
    move(4, 6, 5.0); // two notes ahead
    EXPECT_EQ(tracking.oscillator_updates, fed);
}

TEST_F(Tracking, ScoreTempoChangeRestartsTheOscillator) {
    move(0, 1, 0.0);
    tempo.rbar = 0.5;
    move(4, 5, 4.0);
    EXPECT_EQ(tempo.period, 0.5);
    EXPECT_EQ(tempo.rbar, 0.94) << "reset";
    EXPECT_TRUE(tracking.score_tempo_changed);
    EXPECT_DOUBLE_EQ(tracking.score_tempo, 120.0);
    move(5, 6, 5.0);
    EXPECT_EQ(tracking.onset_count, 1) << "no onset counted after a fermata";
}

TEST_F(Tracking, JumpSkipsTheNextTempoUpdate) {
    move(0, 1, 0.0);
    move(1, 2, 1.0);
    tracking.skip_next_tempo_update = true;
    move(2, 3, 2.3);
    EXPECT_EQ(tracking.oscillator_updates, 0);
    EXPECT_FALSE(tracking.skip_next_tempo_update);
    EXPECT_EQ(tempo.period, 1.0);
}

} // namespace
