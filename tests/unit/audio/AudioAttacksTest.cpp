// Attacks heard in rendered piano sound: the rise of semitone bands marks
// the frames where chords are struck and no others, and the follower that
// weighs them (the piano audio profile) does not take a held chord's decay
// for the rest after it.
#include "AllocCounter.hpp"
#include "AudioRig.hpp"
#include "Listening/AudioFrontEnd.hpp"
#include "Listening/AudioOnsets.hpp"
#include "RunTime/ListeningProfile.hpp"

#include <gtest/gtest.h>

#include <bitset>
#include <vector>

namespace {

constexpr int kWindow = 4096;
constexpr int kHop = 512;

std::bitset<128> bands_of(const std::vector<float>& pitches, int shift = 0) {
    std::bitset<128> notes;
    for (float p : pitches)
        notes.set(static_cast<size_t>(p) + static_cast<size_t>(shift));
    return AudioOnsets::partial_bands(notes, 8);
}

struct Attack {
    double time = 0;  // end of the first window that heard it, seconds
    double own = 0;   // its flux in the bands of the chord struck
    double other = 0; // the same for that chord a tritone higher
    double total = 0; // all its flux
};

// Analyses `audio` window by window and keeps each run of frames with a
// strong attack: when it began, and its flux summed over the run.
std::vector<Attack> attacks_in(const std::vector<float>& audio, const std::vector<SynthNote>& chords) {
    AudioFrontEnd front;
    front.setAnalysis(kWindow);
    AudioOnsets onsets;
    onsets.setAnalysis(kRate, kWindow, kHop);
    std::vector<float> spectrum;
    std::vector<Attack> found;
    bool in_run = false;
    for (size_t at = 0; at + kWindow <= audio.size(); at += kHop) {
        front.SigProc_frontend(audio.data() + at, spectrum);
        onsets.frame(spectrum);
        const double time = static_cast<double>(at + kWindow) / kRate;
        if (onsets.strength() < 0.5) {
            in_run = false;
            continue;
        }
        if (!in_run) found.push_back({time, 0, 0, 0});
        in_run = true;
        const SynthNote* struck = &chords.front();
        for (const SynthNote& c : chords)
            if (c.onset < time) struck = &c;
        found.back().own += onsets.flux_in(bands_of(struck->pitches));
        found.back().other += onsets.flux_in(bands_of(struck->pitches, 6));
        found.back().total += onsets.total_flux();
    }
    return found;
}

TEST(AudioAttacks, EachStruckChordIsHeardOnceWithinTheWindowOfItsOnset) {
    const std::vector<SynthNote> chords{{0.5, {48, 55, 64}, 1.2, 90},
                                        {1.8, {50, 57, 65}, 0.9, 80},
                                        {2.8, {43, 59, 62, 67}, 1.5, 100},
                                        {4.4, {48, 60, 64, 72}, 1.0, 70}};
    const std::vector<float> audio = synthesize(chords, kRate, piano_voice());
    const std::vector<Attack> found = attacks_in(audio, chords);
    ASSERT_EQ(found.size(), chords.size()) << "one attack per chord, none while they ring or decay";
    const double reach = static_cast<double>(kWindow + 3 * kHop) / kRate;
    for (size_t i = 0; i < chords.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_GT(found[i].time, chords[i].onset);
        EXPECT_LT(found[i].time, chords[i].onset + reach);
        // The hammer's noise raises every band, the struck chord's the most.
        EXPECT_GT(found[i].own, found[i].other) << "the rise lies in the struck chord's partials";
    }
}

TEST(AudioAttacks, AQuieterRenderingHearsTheSameAttacks) {
    const std::vector<SynthNote> chords{{0.5, {60, 64, 67}, 0.8, 100}, {1.5, {62, 65, 69}, 0.8, 100}};
    std::vector<float> audio = synthesize(chords, kRate, piano_voice());
    const std::vector<Attack> loud = attacks_in(audio, chords);
    for (float& x : audio)
        x *= 0.05f;
    const std::vector<Attack> quiet = attacks_in(audio, chords);
    ASSERT_EQ(loud.size(), quiet.size());
    for (size_t i = 0; i < loud.size(); ++i)
        EXPECT_DOUBLE_EQ(loud[i].time, quiet[i].time);
}

// The follower with the piano audio profile, on the test synthesiser's
// piano: a chord held over three beats decays for all of them, and only the
// silence after its release is the rest.
TEST(AudioAttacks, AHeldChordsDecayIsNotTheRestAfterIt) {
    const Piece piece{{{{48, 55, 64}, 3}, {{}, 1}, {{50, 57, 65}, 1}, {{62}, 1}}};
    const std::vector<double> periods(4, 1.0);
    AudioRig rig;
    apply_listening_profile(rig.engine, piano_audio_profile());
    ASSERT_TRUE(rig.start(piece.score()));
    rig.play(synthesize(piece.performance(periods, 0.5), kRate, piano_voice()));
    const std::vector<double> onsets = piece.onsets(periods, 0.5);
    EXPECT_EQ(rig.positions, (std::vector<int>{1, 2, 3, 4}));
    EXPECT_GT(rig.first_report(2), onsets[1] - 0.1) << "the rest reported while the chord still sounds";
    EXPECT_LT(rig.first_report(2), onsets[1] + 0.4);
    for (int event : {1, 3, 4})
        EXPECT_LT(rig.first_report(event) - onsets[static_cast<size_t>(event - 1)], 0.25) << event;
}

// Reading attacks adds no allocation to the frame path: a chord struck
// again and again, once the window's templates and histories exist.
TEST(AudioAttacks, TheFramePathAllocatesNothing) {
    std::vector<SynthNote> strikes;
    for (int i = 0; i < 4; ++i)
        strikes.push_back({0.5 * i, {57, 64, 69}, 0.4, 90});
    const std::vector<float> audio = synthesize(strikes, kRate, piano_voice());
    AudioRig rig(512);
    apply_listening_profile(rig.engine, piano_audio_profile());
    ASSERT_TRUE(rig.start("BPM 60\nCHORD (57 64 69) 1000\n"));
    const double warm_up = 1200.0 * rig.engine.analysis_hop_size() / kRate;
    for (double seconds = 0; seconds < warm_up; seconds += 2)
        rig.play(audio);
    alloc_counter::start();
    for (size_t at = 0; at + 512 <= audio.size(); at += 512)
        rig.engine.cadenzium_next_frame(audio.data() + at);
    EXPECT_EQ(alloc_counter::stop(), 0u);
}

} // namespace
