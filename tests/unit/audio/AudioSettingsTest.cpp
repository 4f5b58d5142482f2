// The commands that set the audio analysis and the spectral observation:
// their rules, their messages, and templates that follow the settings.
#include "AudioRig.hpp"
#include "Listening/CadAlign.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

struct Analysis {
    int window;
    int hop;
};

Analysis analysis_of(const AudioRig& rig) {
    return {static_cast<int>(rig.engine.analysis_window_size()), static_cast<int>(rig.engine.analysis_hop_size())};
}

} // namespace

TEST(AnalysisParameters, DefaultsFollowTheBlockSize) {
    struct Case {
        int block, window, hop;
        Analysis expected;
    };
    const Case cases[] = {
        {64, -1, -1, {4096, 512}},    {1024, -1, -1, {4096, 1024}},    {64, 1024, -1, {1024, 64}},
        {512, 1024, -1, {1024, 512}}, {256, 2048, 1024, {2048, 1024}},
    };
    for (const Case& c : cases) {
        AudioRig rig(c.block);
        rig.engine.cadenzium_analysisParameters(c.window, c.hop);
        const Analysis got = analysis_of(rig);
        EXPECT_EQ(got.window, c.expected.window) << "block " << c.block << " window " << c.window;
        EXPECT_EQ(got.hop, c.expected.hop) << "block " << c.block << " window " << c.window;
        EXPECT_TRUE(rig.console.errors.empty());
    }
}

TEST(AnalysisParameters, HopBelowTheBlockSizeIsRaisedToIt) {
    AudioRig rig(256);
    rig.engine.cadenzium_analysisParameters(4096, 128);
    EXPECT_TRUE(
        rig.console.has_error("cadenzium: Hopsize must be greater than or equal to system vector size!"));
    EXPECT_TRUE(rig.console.has_error("Hopsize is set to system blocksize: 256"));
    EXPECT_EQ(analysis_of(rig).hop, 256);
}

TEST(AnalysisParameters, ChangeResizesTheListeningMachineOnce) {
    AudioRig rig(64);
    rig.engine.cadenzium_analysisParameters(1024, 256);
    EXPECT_TRUE(rig.console.has_post("cadenzium - Analysis parameters set to 1024 (winsz) 256 (hopsz)"));
    const CadAlign& align = rig.engine.get_align();
    EXPECT_EQ(align.template_size, 129);
    EXPECT_EQ(align.front_end.nfft(), 1024);
    EXPECT_EQ(align.templates.freqs.size(), 129u);
    EXPECT_FLOAT_EQ(align.hop, 256.0f);

    rig.console.clear();
    rig.engine.cadenzium_analysisParameters(1024, 256);
    EXPECT_TRUE(rig.console.posts.empty()) << "the same parameters change nothing";
}

TEST(AudioSettings, RefusedValuesKeepTheOldOnes) {
    AudioRig rig;
    CadAlign& align = rig.engine.get_align();

    rig.engine.cadenzium_variance(1.0);
    EXPECT_TRUE(rig.console.has_error(
        "cadenzium - Observation variance should be a percentage factor, between 0 and 1."));
    EXPECT_EQ(align.variance, -1.0);
    rig.engine.cadenzium_variance(0.4);
    EXPECT_EQ(align.variance, 0.4);

    rig.engine.KLexp_set(-0.1);
    EXPECT_TRUE(rig.console.has_error("Cadenzium - Observation tightness should be less than -0.1 !"));
    EXPECT_FLOAT_EQ(align.KLexp, -0.5f);
    rig.engine.KLexp_set(-2.0);
    EXPECT_FLOAT_EQ(align.KLexp, -2.0f);

    align.observation_kl_mode(3);
    EXPECT_TRUE(rig.console.has_error("cadenzium - Observer - KL mode should be 0, 1 or 2."));
    EXPECT_EQ(align.KL_mode, 0);
    align.observation_kl_mode(2);
    EXPECT_TRUE(rig.console.has_post("symmetric"));
    EXPECT_EQ(align.KL_mode, 2);

    rig.engine.nofharm_set(0);
    EXPECT_TRUE(
        rig.console.has_error("Number of harmonics must be an integer greater than zero! (received 0)"));
    EXPECT_EQ(align.harmlist.size(), 10u);
    rig.engine.nofharm_set(3);
    EXPECT_TRUE(rig.console.has_post("cadenzium - Number of harmonics set to 3 (was 10)"));
    EXPECT_EQ(align.harmlist, (std::vector<double>{3, 2, 1}));

    rig.engine.gamma_set(-2.5);
    EXPECT_TRUE(rig.console.has_post("cadenzium - Boltzmann temperature is set to -2.500000."));
    EXPECT_EQ(align.gamma, -2.5);
}

TEST(AudioSettings, PianoModeForcesTheWindowItsSpectraWereMadeFor) {
    AudioRig rig(256);
    rig.engine.cadenzium_analysisParameters(2048, 512);
    rig.engine.PianoMode(1);
    EXPECT_TRUE(rig.console.has_post("Cadenzium~ - Follower Mode is ON (was OFF)."));
    EXPECT_TRUE(rig.console.has_post("Cadenzium~ - Setting analysis window size to 4096 for Piano Mode."));
    EXPECT_EQ(analysis_of(rig).window, 4096);
    EXPECT_EQ(analysis_of(rig).hop, 512);
    EXPECT_TRUE(rig.engine.get_align().PianoMode);
    rig.engine.PianoMode(0);
    EXPECT_TRUE(rig.console.has_post("Cadenzium~ - Follower Mode is OFF (was ON)."));
}

// Templates in use are rebuilt at the next frame after a setting changes.
TEST(AudioSettings, TemplatesFollowTuningAndHarmonics) {
    AudioRig rig;
    ASSERT_TRUE(rig.start("BPM 60\nNOTE 69 8\n"));
    const std::vector<float> a4 = synthesize({{0.0, {69}, 2.0, 100}}, kRate);
    rig.play(a4);
    CadAlign& align = rig.engine.get_align();
    const PitchClass key(rig.event(1).pitch_list(), rig.event(1).variance());
    auto peak = [&] {
        const std::vector<float>& t = align.insert_PitchClass(key, false).templ;
        return std::max_element(t.begin(), t.end()) - t.begin();
    };
    EXPECT_EQ(peak(), 41) << "440 Hz";
    rig.engine.tuning_set(415.0);
    rig.play(std::vector<float>(a4.begin(), a4.begin() + 4096));
    EXPECT_EQ(peak(), 39) << "415 Hz";

    const std::vector<float> before = align.insert_PitchClass(key, false).templ;
    rig.engine.nofharm_set(1);
    rig.play(std::vector<float>(a4.begin(), a4.begin() + 4096));
    const std::vector<float> after = align.insert_PitchClass(key, false).templ;
    EXPECT_NE(before, after);
    EXPECT_EQ(after[2 * 39], after.back()) << "no second harmonic any more";
}
