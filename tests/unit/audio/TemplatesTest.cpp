// Spectral templates: the frequency axis, harmonics on their bins, the
// pitch notations, and the piano fallback.
#include "ConsoleCapture.hpp"
#include "Listening/AudioTemplates.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

const std::vector<double> kTenHarmonics = {10, 9, 8, 7, 6, 5, 4, 3, 2, 1};

PitchClass pitch_class(std::vector<float> pitches, std::vector<double> harmlist = kTenHarmonics,
                       float variance = 0.3f) {
    PitchClass pc(std::move(pitches), variance);
    pc.harmlist = std::move(harmlist);
    return pc;
}

std::vector<float> kl_template(const AudioTemplates& t, const PitchClass& pc) {
    std::vector<float> out;
    t.MakeKLtemplates(out, pc);
    return out;
}

size_t nearest_bin(const AudioTemplates& t, double f) {
    return static_cast<size_t>(std::lround(f / (t.samplerate / (t.nfft - 2))));
}

size_t peak_bin(const std::vector<float>& v) {
    return static_cast<size_t>(std::max_element(v.begin(), v.end()) - v.begin());
}

bool is_local_peak(const std::vector<float>& v, size_t k) {
    return k > 0 && k + 1 < v.size() && v[k] >= v[k - 1] && v[k] >= v[k + 1];
}

} // namespace

TEST(AudioTemplates, AxisFollowsTheAnalysis) {
    AudioTemplates t;
    EXPECT_EQ(t.template_size, 513);
    ASSERT_EQ(t.freqs.size(), 513u);
    EXPECT_FLOAT_EQ(t.freqs[1], 44100.0f / 4094.0f);
    EXPECT_FLOAT_EQ(t.min_variance, t.freqs[3] - t.freqs[2]);

    t.setAnalysis(48000.0f, 1024);
    EXPECT_EQ(t.template_size, 129);
    EXPECT_FLOAT_EQ(t.freqs.back(), 128 * 48000.0f / 1022.0f);
}

TEST(AudioTemplates, HarmonicsLandOnTheNearestBins) {
    AudioTemplates t;
    std::vector<float> freqs = {69, 0, 60};
    t.harmlistgen(freqs, {1, 2, 3});
    ASSERT_EQ(freqs.size(), 6u) << "three harmonics for each sounding pitch, none for the silent one";
    const double c4 = 440.0 * std::pow(2.0, -9.0 / 12);
    const double expected[] = {440, 880, 1320, c4, 2 * c4, 3 * c4};
    for (size_t i = 0; i < freqs.size(); ++i) {
        EXPECT_FLOAT_EQ(freqs[i], t.freqs[nearest_bin(t, expected[i])]) << "harmonic " << i;
        EXPECT_LE(std::fabs(freqs[i] - expected[i]), t.freqs[1] / 2) << "harmonic " << i;
    }
}

TEST(AudioTemplates, TemplateIsADistributionPeakingOnTheHarmonics) {
    AudioTemplates t;
    const auto a4 = kl_template(t, pitch_class({69}));
    ASSERT_EQ(a4.size(), 513u);
    EXPECT_NEAR(std::accumulate(a4.begin(), a4.end(), 0.0), 1.0, 1e-5);
    EXPECT_GT(*std::min_element(a4.begin(), a4.end()), 0.0f) << "no bin is ever 0";
    EXPECT_EQ(peak_bin(a4), nearest_bin(t, 440)) << "the fundamental is the strongest";
    float previous = a4[nearest_bin(t, 440)];
    for (int h = 2; h <= 10; ++h) {
        const size_t k = nearest_bin(t, 440.0 * h);
        EXPECT_TRUE(is_local_peak(a4, k)) << "harmonic " << h;
        EXPECT_LT(a4[k], previous) << "harmonic " << h << " is weaker than the one below";
        previous = a4[k];
    }
    EXPECT_FLOAT_EQ(a4[nearest_bin(t, 440.0 * 1.5)], a4.back()) << "nothing between harmonics but the floor";
}

TEST(AudioTemplates, MidicentsAndMidiNumbersGiveTheSameTemplate) {
    AudioTemplates t;
    for (float midi : {21.0f, 60.0f, 69.0f, 100.0f}) {
        EXPECT_EQ(kl_template(t, pitch_class({midi})), kl_template(t, pitch_class({midi * 100})))
            << "pitch " << midi;
    }
    EXPECT_EQ(kl_template(t, pitch_class({60, 64, 67})), kl_template(t, pitch_class({6000, 6400, 6700})));
    EXPECT_EQ(kl_template(t, pitch_class({-69})), kl_template(t, pitch_class({69})))
        << "a tie sounds the same";
}

TEST(AudioTemplates, SilentPitchesAreSkipped) {
    AudioTemplates t;
    EXPECT_EQ(kl_template(t, pitch_class({0, 69})), kl_template(t, pitch_class({69})));
    const auto silence = kl_template(t, pitch_class({0}));
    EXPECT_TRUE(std::all_of(silence.begin(), silence.end(), [&](float v) { return v == silence[0]; }))
        << "a silent pitch class gives the flat floor";
}

TEST(AudioTemplates, TuningVarianceAndHarmonicListShapeTheTemplate) {
    AudioTemplates t;
    t.tune = 415.0;
    EXPECT_EQ(peak_bin(kl_template(t, pitch_class({69}, {1}))), nearest_bin(t, 415));
    t.tune = 440.0;

    const auto narrow = kl_template(t, pitch_class({81}, {1}, 0.3f));
    const auto wide = kl_template(t, pitch_class({81}, {1}, 2.0f));
    EXPECT_GT(narrow[peak_bin(narrow)], wide[peak_bin(wide)]) << "a larger variance spreads the bump";
    EXPECT_EQ(peak_bin(narrow), peak_bin(wide));

    const auto third_only = kl_template(t, pitch_class({57}, {3}));
    EXPECT_EQ(peak_bin(third_only), nearest_bin(t, 3 * 220.0)) << "only the listed multiples are drawn";
}

TEST(AudioTemplates, HarmonicsPastTheComparedBandAreLeftOut) {
    AudioTemplates t;
    // The band ends at about 5.5 kHz: of C8's harmonics (4186 Hz) only the
    // fundamental fits with its spread.
    const auto c8 = kl_template(t, pitch_class({108}));
    EXPECT_EQ(peak_bin(c8), nearest_bin(t, 4186.01));
    EXPECT_EQ(kl_template(t, pitch_class({108}, {1})), c8);
}

TEST(AudioTemplates, LowNotesAreSpreadAtLeastOneBin) {
    AudioTemplates t;
    // A0's fundamental (27.5 Hz) is narrower than a bin: its bump spans
    // several bins all the same.
    const auto a0 = kl_template(t, pitch_class({21}, {1}));
    const size_t k = peak_bin(a0);
    EXPECT_GT(a0[k + 1], a0.back() * 10);
    EXPECT_GT(a0[k - 1], a0.back() * 10);
}

TEST(AudioTemplates, PianoModeFallsBackOnHarmonicTemplates) {
    AudioTemplates t;
    std::vector<float> piano;
    t.PreparePianoTemplates(piano, pitch_class({60, 67}));
    EXPECT_EQ(piano, kl_template(t, pitch_class({60, 67})));
}

TEST(AudioTemplates, PianoModeSumsTheStoredSpectra) {
    ConsoleCapture console;
    AudioTemplates t;
    std::vector<float> a4(513, 0.0f), c4(513, 0.0f);
    a4[41] = 1.0f;
    c4[24] = 1.0f;
    t.piano_templates[6900] = a4;
    t.piano_templates[6000] = c4;
    std::vector<float> out;
    t.PreparePianoTemplates(out, pitch_class({60, 6900}));
    ASSERT_EQ(out.size(), 513u);
    EXPECT_NEAR(out[41], out[24], 1e-7) << "MIDI numbers and midicents find their keys";
    EXPECT_GT(out[41], 0.4f);
    EXPECT_NEAR(std::accumulate(out.begin(), out.end(), 0.0), 1.0, 1e-5);

    const std::size_t errors = console.errors.size();
    t.PreparePianoTemplates(out, pitch_class({20, 69}));
    EXPECT_TRUE(console.has_error("Cadenzium~ - Pitch 2000 not present on a piano! IGNORED!"));
    EXPECT_EQ(console.errors.size(), errors + 1);
    EXPECT_GT(out[41], 0.8f) << "the key that exists is still used";
}
