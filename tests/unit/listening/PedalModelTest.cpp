// The pedal model of audio listening (a decaying sum of past spectra taken
// off the present one) and calibration (the energy of a frame and its fit to
// a reference pitch), on a listening machine of its own listening by audio
// on inlet 0.
#include "Listening/CadAlign.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <numbers>
#include <string>
#include <vector>

namespace {

constexpr float kRate = 44100.0f;

class PedalModel : public ::testing::Test {
protected:
    PedalModel() {
        align.setAnalysis(kRate, 4096, 512);
        align.setPointers(&inlets, nullptr);
    }

    // A spectrum of the compared size with `level` on each of `bins`.
    std::vector<float> spectrum(const std::vector<int>& bins, float level = 1.0f) const {
        std::vector<float> s(static_cast<size_t>(align.template_size), 0.0f);
        for (int b : bins)
            s[static_cast<size_t>(b)] = level;
        return s;
    }

    // One analysed window of a sine at `hz` (silence at 0).
    void hear(double hz, float amplitude = 0.5f) {
        std::vector<float> samples(4096);
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = amplitude * static_cast<float>(std::sin(2 * std::numbers::pi * hz * i / kRate));
        align.SigProc_frontend(samples.data());
    }

    struct Reading {
        float energy = 0;
        float likelihood = 0;
    };
    Reading calibrate() {
        Reading r;
        align.RawCalibration(r.energy, r.likelihood);
        return r;
    }

    std::map<std::string, int> inlets{{"KL", 0}};
    CadAlign align;
};

TEST_F(PedalModel, WithoutCoefficientTheSpectrumIsUntouched) {
    align.pedal_history.push(spectrum({10}));
    const std::vector<float> before = spectrum({10, 40}, 3.0f);
    for (int pedal : {0, 1}) {
        align.pedal = pedal;
        std::vector<float> s = before;
        align.pedal_correction(s, 0);
        EXPECT_EQ(s, before) << "pedal " << pedal;
    }
}

TEST_F(PedalModel, EmptyHistoryTakesNothingOffButRescales) {
    align.pedalcoeff = 0.5f;
    const std::vector<float> before = spectrum({10, 40}, 3.0f);
    std::vector<float> s = before;
    align.pedal_correction(s, 0);
    // Divided by its level, then scaled by that level times what is left
    // (about 1): the spectrum comes back as it was, up to rounding.
    for (size_t k = 0; k < s.size(); ++k)
        EXPECT_NEAR(s[k], before[k], 1e-5f) << "bin " << k;
}

TEST_F(PedalModel, WhatStillRingsIsTakenOffAndFloored) {
    align.pedalcoeff = 0.5f;
    align.pedal_history.push(spectrum({20}));
    std::vector<float> s = spectrum({10, 20});
    align.pedal_correction(s, 0);
    // Half of the spectrum is the note that still rings: its bin loses the
    // coefficient's share; a bin the history does not hold keeps its level.
    EXPECT_GT(s[10], s[20]);
    EXPECT_NEAR(s[20], 0.0f, 1e-6f);
    // A bin taken below nothing ends at the floor before the final scaling.
    std::vector<float> quiet = spectrum({10});
    quiet[20] = 0.1f;
    align.pedal_correction(quiet, 0);
    EXPECT_GT(quiet[20], 0.0f);
    EXPECT_LT(quiet[20], 1e-9f);
}

TEST_F(PedalModel, TheOldestSpectrumWeighsMost) {
    align.pedalcoeff = 0.5f;
    align.pedal_history.push(spectrum({30})); // oldest
    align.pedal_history.push(spectrum({50})); // newest
    std::vector<float> s = spectrum({30, 50});
    align.pedal_correction(s, 0);
    EXPECT_LT(s[30], s[50]) << "the older bin is taken off more";
}

TEST_F(PedalModel, CalibrationFitsTheReferencePitch) {
    hear(440.0);
    align.calibration_pitch = 69;
    const Reading a4 = calibrate();
    align.calibration_pitch = 60;
    const Reading c4 = calibrate();
    EXPECT_GT(a4.likelihood, c4.likelihood) << "A4 is heard: its template fits better than C4's";
    EXPECT_FLOAT_EQ(a4.energy, c4.energy) << "the energy does not depend on the reference";

    align.calibration_pitch = 6900;
    EXPECT_FLOAT_EQ(calibrate().likelihood, a4.likelihood) << "6900 midicents and 69 name one pitch";
    hear(0.0, 0.0f);
    EXPECT_LT(calibrate().energy, a4.energy) << "silence is quieter";
}

TEST_F(PedalModel, OnlyCalibrationWithThePedalFeedsTheHistory) {
    hear(440.0);
    calibrate();
    EXPECT_TRUE(align.pedal_history.empty()) << "pedal off";
    align.pedal = 1;
    for (int i = 0; i < align.pedal_frames + 5; ++i)
        calibrate();
    EXPECT_EQ(align.pedal_history.size(), static_cast<size_t>(align.pedal_frames))
        << "the history holds what the pedal time covers";
    // The newest spectrum is the frame's, normalised.
    float sum = 0;
    for (float x : align.pedal_history[align.pedal_history.size() - 1])
        sum += x;
    EXPECT_NEAR(sum, 1.0f, 1e-4f);
}

} // namespace
