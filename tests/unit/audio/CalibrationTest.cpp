// Calibration through the engine: the command's rules and messages, and a
// report of energy and fit for each analysed window while it is on, whether
// or not the engine follows.
#include "AudioRig.hpp"
#include "Listening/CadAlign.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace {

class CalibratingRig : public AudioRig {
public:
    void calibration(float energy, float likelihood) override { reports.push_back({energy, likelihood}); }

    struct Report {
        float energy;
        float likelihood;
    };
    std::vector<Report> reports;
};

std::vector<float> sine(double hz, double seconds) {
    std::vector<float> out(static_cast<size_t>(seconds * kRate));
    for (size_t i = 0; i < out.size(); ++i)
        out[i] =
            0.4f * static_cast<float>(std::sin(2 * std::numbers::pi * hz * static_cast<double>(i) / kRate));
    return out;
}

TEST(Calibration, ReportsEachWindowWhileOnAndStopsAtOnce) {
    CalibratingRig rig;
    ASSERT_TRUE(rig.load("BPM 60\nNOTE 69 1\n"));
    rig.engine.cadenzium_analysisParameters(-1, -1);
    rig.engine.calibrate_set(1, 1, 0);
    EXPECT_TRUE(rig.console.has_post("cadenzium - Entering calibration mode (on MIDI reference 6900)."));

    rig.play(sine(440, 0.5));
    ASSERT_GT(rig.reports.size(), 20u) << "a report per analysed window, without following";
    EXPECT_GT(rig.reports.back().energy, 0.0f);
    const float fit_a4 = rig.reports.back().likelihood;

    rig.engine.calibrate_set(2, 1, 60);
    EXPECT_TRUE(rig.console.has_post("cadenzium - Entering calibration mode (on MIDI reference 60)."));
    rig.play(sine(440, 0.2));
    EXPECT_LT(rig.reports.back().likelihood, fit_a4) << "A4 played against a C4 reference";

    const size_t before = rig.reports.size();
    rig.console.clear();
    rig.engine.calibrate_set(1, 0, 0);
    EXPECT_TRUE(rig.console.posts.empty()) << "stopping says nothing";
    rig.play(sine(440, 0.2));
    EXPECT_EQ(rig.reports.size(), before);
}

TEST(Calibration, WithoutAnAudioInletIsRefusedAndChangesNothing) {
    TestHost host;
    ConsoleCapture console;
    host.engine.calibrate_set(2, 1, 60);
    EXPECT_TRUE(console.has_error("Cadenzium~: Caliberate mode ONLY available for audio observations!"));
    EXPECT_EQ(host.engine.get_align().calibration_pitch, 6900);
}

TEST(PedalSettings, TimeAtOrBelowOneMillisecondIsRefused) {
    AudioRig rig;
    rig.engine.pedaltime_set(1.0);
    EXPECT_TRUE(
        rig.console.has_error("Cadenzium~: Pedal time is in MS and should be greater than 1.0! IGNORED!"));
    EXPECT_FLOAT_EQ(rig.engine.get_align().pedaltime, 600.0f);
    rig.engine.pedaltime_set(300.0);
    EXPECT_FLOAT_EQ(rig.engine.get_align().pedaltime, 300.0f);

    rig.console.clear();
    rig.engine.pedal_set(1);
    rig.engine.pedal_set(1);
    rig.engine.pedal_set(0);
    EXPECT_EQ(rig.console.posts, (std::vector<std::string>{"Entering pedal mode.", "Exiting pedal mode."}))
        << "only a change is told";
}

} // namespace
