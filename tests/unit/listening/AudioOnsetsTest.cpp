// Attacks and silence heard in audio spectra: the rise of semitone bands
// over a few frames, and the level against the running peak.
#include "Listening/AudioOnsets.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

constexpr float kRate = 44100;
constexpr int kSize = 4096;

// A magnitude spectrum with partials of the given MIDI notes at `amplitude`
// (each partial a little weaker), over a faint noise floor.
std::vector<float> spectrum(const std::vector<int>& notes, float amplitude) {
    std::vector<float> s(kSize / 2 + 1, 1e-4f);
    for (int n : notes) {
        const double f0 = 440.0 * std::pow(2.0, (n - 69) / 12.0);
        for (int h = 1; h <= 4; ++h) {
            const auto bin = static_cast<size_t>(std::lround(h * f0 * kSize / kRate));
            if (bin < s.size()) s[bin] += amplitude / static_cast<float>(h);
        }
    }
    return s;
}

class Onsets : public ::testing::Test {
protected:
    void SetUp() override { onsets.setAnalysis(kRate, kSize, 512); }
    void frames(const std::vector<float>& s, int n) {
        for (int i = 0; i < n; ++i)
            onsets.frame(s);
    }
    std::bitset<128> bands_of(std::initializer_list<int> notes) {
        std::bitset<128> b;
        for (int n : notes)
            b.set(static_cast<size_t>(n));
        return AudioOnsets::partial_bands(b);
    }
    AudioOnsets onsets;
};

TEST_F(Onsets, AStruckNoteRaisesItsOwnBandsOnly) {
    frames(spectrum({}, 0), 5);
    onsets.frame(spectrum({60}, 10));
    EXPECT_GT(onsets.flux(60), onsets.settings.threshold_db);
    EXPECT_GT(onsets.flux(72), 0.0f) << "its octave partial";
    EXPECT_EQ(onsets.flux(61), 0.0f);
    EXPECT_EQ(onsets.flux(64), 0.0f);
    EXPECT_NEAR(onsets.flux_in(bands_of({60})), onsets.total_flux(), 1e-9);
    EXPECT_EQ(onsets.flux_in(bands_of({61, 63})), 0.0) << "notes sharing no partial with it";
}

TEST_F(Onsets, AHeldOrDecayingNoteRaisesNothing) {
    frames(spectrum({}, 0), 5);
    frames(spectrum({60}, 10), 5);
    EXPECT_EQ(onsets.total_flux(), 0.0);
    for (float a = 10; a > 1; a *= 0.8f)
        onsets.frame(spectrum({60}, a));
    EXPECT_EQ(onsets.total_flux(), 0.0);
}

TEST_F(Onsets, ANoteStruckOverAHeldOneIsHeardApart) {
    frames(spectrum({}, 0), 5);
    frames(spectrum({48}, 10), 5);
    onsets.frame(spectrum({48, 64}, 10));
    EXPECT_GT(onsets.flux(64), 0.0f);
    EXPECT_EQ(onsets.flux(48), 0.0f);
}

TEST_F(Onsets, RisesAreCappedSoOneLoudNoteCountsAsOne) {
    frames(spectrum({}, 0), 5);
    onsets.frame(spectrum({60}, 1e4f));
    EXPECT_LE(onsets.flux(60), onsets.settings.cap_db);
}

TEST_F(Onsets, SilenceIsTheLevelFarBelowTheRecentPeak) {
    frames(spectrum({60}, 100), 3);
    EXPECT_LT(onsets.silence(), 0.01) << "a stream that opens on a note";
    frames(spectrum({60}, 10), 3);
    EXPECT_LT(onsets.silence(), 0.05) << "20 dB down is still sound";
    frames(spectrum({}, 0), 3);
    EXPECT_GT(onsets.silence(), 0.99) << "the noise floor, far below";
}

TEST_F(Onsets, TheNoiseBeforeTheFirstNoteIsSilence) {
    std::vector<float> noise(kSize / 2 + 1, 0.003f);
    frames(noise, 20);
    EXPECT_GT(onsets.silence(), 0.9) << "no peak yet to fall from: the level sits on its floor";
    frames(spectrum({60}, 10), 3);
    EXPECT_LT(onsets.silence(), 0.01);
}

TEST_F(Onsets, TheSameMusicQuieterIsHeardTheSame) {
    AudioOnsets loud, quiet;
    loud.setAnalysis(kRate, kSize, 512);
    quiet.setAnalysis(kRate, kSize, 512);
    for (int i = 0; i < 5; ++i) {
        loud.frame(spectrum({}, 0));
        quiet.frame(spectrum({}, 0));
    }
    std::vector<float> a = spectrum({60, 64}, 10);
    std::vector<float> b = a;
    for (float& x : b)
        x *= 0.1f;
    loud.frame(a);
    quiet.frame(b);
    EXPECT_NEAR(loud.flux(60), quiet.flux(60), 1e-3);
    EXPECT_NEAR(loud.strength(), quiet.strength(), 1e-6);
    EXPECT_LT(loud.silence(), 0.01);
    EXPECT_LT(quiet.silence(), 0.01);
}

TEST(OnsetBands, APitchClassLightsItsNotesAndFirstPartials) {
    std::bitset<128> notes;
    notes.set(60);
    const std::bitset<128> b = AudioOnsets::partial_bands(notes);
    EXPECT_EQ(b.count(), 4u);
    for (int n : {60, 72, 79, 84})
        EXPECT_TRUE(b[static_cast<size_t>(n)]) << n;
    const std::bitset<128> eight = AudioOnsets::partial_bands(notes, 8);
    EXPECT_EQ(eight.count(), 8u);
    for (int n : {88, 91, 94, 96})
        EXPECT_TRUE(eight[static_cast<size_t>(n)]) << "upper partial " << n;
}

} // namespace
