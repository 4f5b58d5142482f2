// Matching spectra against templates: the three divergences, the energy and
// silence measure, and the whole front end ranking the notes it hears.
#include "Listening/AudioFrontEnd.hpp"
#include "Listening/AudioLikelihood.hpp"
#include "Listening/AudioTemplates.hpp"
#include "Synth.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <numeric>

TEST(KLLikelihood, EqualDistributionsMatchPerfectlyInEveryMode) {
    for (int mode : {KL_LEFT, KL_RIGHT, KL_SYMMETRIC}) {
        std::vector<float> s = {0.1f, 0.2f, 0.3f, 0.4f};
        std::vector<float> t = s;
        EXPECT_FLOAT_EQ(KL_likelihood(s, t, mode, -0.5f), 1.0f) << KL_mode_name(mode);
    }
}

TEST(KLLikelihood, ModesMeasureTheirOwnDivergence) {
    const std::vector<float> s0 = {0.5f, 0.5f, 0.0f};
    const std::vector<float> t0 = {0.25f, 0.25f, 0.5f};
    const double eps = 0.0001;
    const double left = 2 * 0.5 * std::log(0.5 / 0.25) + eps * std::log(eps / 0.5);
    const double right = 2 * 0.25 * std::log(0.25 / 0.5) + 0.5 * std::log(0.5 / eps);
    const double tiny = 1e-10;
    const double sym = 0.5 * (2 * 0.25 * std::log(2.0) + (tiny - 0.5) * std::log(tiny / 0.5));
    const std::map<int, double> expected = {{KL_LEFT, left}, {KL_RIGHT, right}, {KL_SYMMETRIC, sym}};
    for (const auto& [mode, d] : expected) {
        auto s = s0;
        auto t = t0;
        EXPECT_NEAR(KL_likelihood(s, t, mode, -0.5f), std::exp(-0.5 * d), 1e-5) << KL_mode_name(mode);
    }
}

TEST(KLLikelihood, ZeroBinsAreFlooredInPlace) {
    std::vector<float> s = {0.5f, 0.5f, 0.0f};
    std::vector<float> t = {0.0f, 0.5f, 0.5f};
    KL_likelihood(s, t, KL_LEFT, -0.5f);
    EXPECT_FLOAT_EQ(s[2], 0.0001f) << "the next template of the frame sees the floored spectrum";
    EXPECT_FLOAT_EQ(t[0], 0.0001f);
    s[2] = 0;
    KL_likelihood(s, t, KL_SYMMETRIC, -0.5f);
    EXPECT_FLOAT_EQ(s[2], 1e-10f);
}

TEST(KLLikelihood, SteeperExponentSeparatesMore) {
    std::vector<float> s = {0.7f, 0.2f, 0.1f};
    std::vector<float> t = {0.2f, 0.2f, 0.6f};
    const float soft = KL_likelihood(s, t, KL_LEFT, -0.5f);
    const float steep = KL_likelihood(s, t, KL_LEFT, -2.0f);
    EXPECT_LT(steep, soft);
    EXPECT_NEAR(steep, std::pow(soft, 4.0f), 1e-5);
}

TEST(KLLikelihood, SharedLogarithmsGiveTheSameLikelihoods) {
    AudioTemplates templates;
    AudioFrontEnd front_end;
    front_end.setAnalysis(4096);
    const auto audio = synthesize({{0.0, {62, 69}, 1.0, 90}}, 44100);
    std::vector<float> raw, heard;
    front_end.SigProc_frontend(audio.data() + 4410, raw);
    fit_spectrum(raw, templates.template_size, heard);
    normalize_spectrum(heard);
    heard[100] = 0; // a zero bin, floored by both
    for (int mode : {KL_LEFT, KL_RIGHT, KL_SYMMETRIC}) {
        std::vector<float> s = heard;
        KLFrame frame;
        frame.set_spectrum(s, mode);
        for (float pitch : {50.0f, 62.0f, 69.0f, 74.0f}) {
            PitchClass pc({pitch}, 0.3f);
            pc.harmlist = {5, 4, 3, 2, 1};
            std::vector<float> t;
            templates.MakeKLtemplates(t, pc);
            KLTemplate prepared;
            prepared.build(t);
            std::vector<float> s_copy = heard;
            const float direct = KL_likelihood(s_copy, t, mode, -0.5f);
            EXPECT_NEAR(frame.likelihood(t, prepared, -0.5f), direct, 1e-5 + 1e-4 * direct)
                << KL_mode_name(mode) << " pitch " << pitch;
        }
    }
}

TEST(FrameEnergy, SilenceIsCertainOnAnEmptyOrFlatSpectrum) {
    const FrameEnergy zero = spectrum_energy(std::vector<float>(513, 0.0f), -1.0);
    EXPECT_FLOAT_EQ(zero.energy, 0.0f);
    EXPECT_FLOAT_EQ(zero.silence_prob, 1.0f);
    const FrameEnergy flat = spectrum_energy(std::vector<float>(513, 3.0f), -1.0);
    EXPECT_FLOAT_EQ(flat.silence_prob, 1.0f) << "energy measures spread, not level";
}

TEST(FrameEnergy, SpreadOfTheSpectrumMakesEnergy) {
    // mean 2, population deviation 2: e = sqrt(2).
    const FrameEnergy e = spectrum_energy({0.0f, 4.0f}, -1.0);
    EXPECT_NEAR(e.silence_prob, std::exp(-std::sqrt(2.0)), 1e-6);
    EXPECT_NEAR(e.energy + e.silence_prob, 1.0, 1e-6);
    const FrameEnergy hotter = spectrum_energy({0.0f, 4.0f}, -3.0);
    EXPECT_LT(hotter.silence_prob, e.silence_prob) << "a larger |gamma| hears notes sooner";
}

TEST(SpectrumShaping, FitCutsOrExtendsAndNormalisationKeepsSilenceAtZero) {
    std::vector<float> out;
    fit_spectrum({1, 2, 3, 4}, 2, out);
    EXPECT_EQ(out, (std::vector<float>{1, 2}));
    fit_spectrum({1, 2}, 4, out);
    EXPECT_EQ(out, (std::vector<float>{1, 2, 0, 0}));
    normalize_spectrum(out);
    EXPECT_NEAR(out[0] + out[1], 1.0, 1e-6);
    std::vector<float> silent(4, 0.0f);
    normalize_spectrum(silent);
    EXPECT_EQ(silent, std::vector<float>(4, 0.0f));
}

// A frame of synthesised sound, analysed as listening does it, is closest to
// the template of what was played among neighbouring candidates.
class SynthesisedNotes : public ::testing::TestWithParam<int> {};

TEST_P(SynthesisedNotes, PlayedPitchClassRanksFirst) {
    const std::vector<std::vector<float>> candidates = {{48}, {55}, {57}, {60},         {62},        {64},
                                                        {67}, {69}, {72}, {60, 64, 67}, {57, 60, 64}};
    AudioTemplates templates;
    AudioFrontEnd front_end;
    front_end.setAnalysis(4096);
    for (size_t played = 0; played < candidates.size(); ++played) {
        const auto audio = synthesize({{0.0, candidates[played], 1.0, 90}}, 44100);
        std::vector<float> raw, spectrum;
        front_end.SigProc_frontend(audio.data() + 4410, raw);
        fit_spectrum(raw, templates.template_size, spectrum);
        normalize_spectrum(spectrum);
        size_t best = candidates.size();
        float best_p = -1;
        for (size_t c = 0; c < candidates.size(); ++c) {
            PitchClass pc(candidates[c], 0.3f);
            pc.harmlist = {10, 9, 8, 7, 6, 5, 4, 3, 2, 1};
            std::vector<float> t;
            templates.MakeKLtemplates(t, pc);
            const float p = KL_likelihood(spectrum, t, GetParam(), -0.5f);
            if (p > best_p) best_p = p, best = c;
        }
        EXPECT_EQ(best, played) << KL_mode_name(GetParam()) << ": played candidate " << played;
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, SynthesisedNotes, ::testing::Values(KL_LEFT, KL_RIGHT, KL_SYMMETRIC),
                         [](const auto& info) { return std::string(KL_mode_name(info.param)); });
