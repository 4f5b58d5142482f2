// The driver's parameters and the durations of events at the live tempo.
#include "ListeningRig.hpp"

#include <gtest/gtest.h>

namespace {

TEST(DriverParameters, InferenceSettersCheckTheirRangeAndReport) {
    ParameterGuard guard;
    ListeningRig rig("NOTE 60 1\n");
    CadAlign& a = rig.align;
    ConsoleCapture& console = rig.console;

    a.inference_dummysilences_set(1.5);
    EXPECT_TRUE(
        console.has_error("Dummy silence self-transition probability should be between 0.0 and 1.0!"));
    EXPECT_EQ(StateChain::probaMarkov, 0.85);
    a.inference_dummysilences_set(0.7);
    EXPECT_TRUE(console.has_post(
        "cadenzium - Inference - Dummy silence self-transition probability set to 0.700000 (was 0.850000)."));

    a.inference_version_set(-1);
    EXPECT_TRUE(console.has_error("Inference version should be >= 0"));
    a.inference_version_set(1);
    EXPECT_TRUE(console.has_post("cadenzium - Inference - Version set to 1 (was 2)."));

    a.inference_common_transition(2.0);
    EXPECT_TRUE(console.has_error(
        "cadenzium - Inference - The common transition probability should be between 0 and 1."));
    a.inference_common_transition(0.5);
    EXPECT_TRUE(console.has_post(
        "cadenzium - Inference - Common transition probability set to 5.00e-01 (was 0.00e+00)."));

    a.inference_occupancymodel_set(0.7);
    EXPECT_TRUE(console.has_post(
        "cadenzium - Inference - Occupancy distribution model parameter set to 0.700000 (was 0.500000)."));

    a.inference_rubato(1);
    EXPECT_EQ(StateChain::occupancyModel, 0.86);
    EXPECT_EQ(StateChain::probaMarkov, 0.9);
    EXPECT_TRUE(console.has_post("cadenzium - Rubato mode is ON"));
    a.inference_rubato(3);
    EXPECT_EQ(StateChain::occupancyModel, 0.86) << "other values do nothing";
    a.inference_rubato(0);
    EXPECT_EQ(StateChain::occupancyModel, 0.5);
    EXPECT_EQ(StateChain::probaMarkov, 0.85);

    const int window = a.decode_window_length;
    a.inference_decode_window_length(0);
    EXPECT_EQ(a.decode_window_length, window) << "below 1 is refused";

    a.set_nofharm(0);
    EXPECT_TRUE(console.has_error("Number of harmonics must be an integer greater than zero!"));
    a.set_nofharm(3);
    EXPECT_EQ(a.harmlist, (std::vector<double>{3, 2, 1}));
}

TEST(DriverParameters, CommonTransitionDoesNotChangeTheResult) {
    ParameterGuard guard;
    std::vector<double> plain, common;
    for (double c : {0.0, 0.9}) {
        StateChain::common_transition = c;
        ListeningRig rig("bpm 60\nNOTE 60 1\nNOTE 62 1\n");
        rig.note_on(60);
        rig.frames(30);
        std::vector<double>& out = c == 0 ? plain : common;
        for (const State* s : rig.chain().window())
            out.push_back(s->ForwardLast);
    }
    EXPECT_EQ(plain, common);
}

TEST(DriverDurations, FramesAtTheLiveTempo) {
    ListeningRig rig("bpm 60\nNOTE 60 2\nbpm 120 @modulate\nNOTE 62 1\n");
    CadAlign& a = rig.align;
    EXPECT_FLOAT_EQ(a.FrameDurationFloat(1), static_cast<float>(2 * FRAMES_PER_SECOND));
    EXPECT_DOUBLE_EQ(a.SecondsDuration(1), 2.0);
    EXPECT_DOUBLE_EQ(a.IOISecondsDuration(1), 2.0);
    rig.tempo.TempoUpdate(0.5);
    EXPECT_FLOAT_EQ(a.FrameDurationFloat(1), static_cast<float>(FRAMES_PER_SECOND)) << "twice as fast";
    EXPECT_EQ(a.FrameDuration(1), 86);
    // A modulated change (negative score period) is scaled by the ratio of
    // the score tempos while the position is elsewhere.
    EXPECT_DOUBLE_EQ(a.SecondsDuration(2), 0.5 * 0.5);
    rig.engine.updatePosition(2);
    a.place_window(rig.engine.Position()); // the machine is told where the position stands
    EXPECT_DOUBLE_EQ(a.SecondsDuration(2), 0.5);
    EXPECT_EQ(a.eventToIndex(rig.host.score().events[2].get()), 2);
    EXPECT_EQ(a.eventToIndex(nullptr), -1);
}

} // namespace
