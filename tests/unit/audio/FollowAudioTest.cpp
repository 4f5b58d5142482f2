// Following synthesised performances by audio, end to end: score text into
// the engine, blocks through cadenzium_next_frame on a virtual clock,
// positions out.
#include "AllocCounter.hpp"
#include "AudioRig.hpp"
#include "Exp/Environment.hpp"
#include "Listening/CadAlign.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

const Piece kScale{{{{60}, 1}, {{62}, 1}, {{64}, 1}, {{65}, 1}, {{67}, 1}, {{69}, 1}, {{71}, 1}, {{72}, 1}}};

std::vector<int> range(int from, int to) {
    std::vector<int> v;
    for (int i = from; i <= to; ++i)
        v.push_back(i);
    return v;
}

// How late (seconds) each part was reported after its onset in the audio.
std::vector<double> lateness(const AudioRig& rig, const std::vector<double>& onsets) {
    std::vector<double> late;
    for (size_t i = 0; i < onsets.size(); ++i) {
        const double t = rig.first_report(static_cast<int>(i) + 1);
        late.push_back(t < 0 ? INFINITY : t - onsets[i]);
    }
    return late;
}

// Every event reported once, in order, each between its onset and 250 ms
// after it.
void expect_followed(const AudioRig& rig, const Piece& piece, const std::vector<double>& periods,
                     double start) {
    const int n = static_cast<int>(piece.parts.size());
    EXPECT_EQ(rig.positions, range(1, n));
    const std::vector<double> late = lateness(rig, piece.onsets(periods, start));
    for (size_t i = 0; i < late.size(); ++i) {
        EXPECT_GE(late[i], 0.0) << "event " << i + 1 << " reported before it was played";
        EXPECT_LT(late[i], 0.25) << "event " << i + 1;
    }
}

void follow(AudioRig& rig, const Piece& piece, const std::vector<double>& periods, double start = 0.5,
            const SynthVoice& voice = {}) {
    ASSERT_TRUE(rig.start(piece.score()));
    rig.play(synthesize(piece.performance(periods, start), kRate, voice));
}

TEST(FollowAudio, ScaleAtTheWrittenTempo) {
    AudioRig rig;
    const std::vector<double> periods(8, 1.0);
    follow(rig, kScale, periods);
    expect_followed(rig, kScale, periods, 0.5);
}

TEST(FollowAudio, FasterAndSlowerThanWritten) {
    for (double period : {0.7, 1.4}) {
        SCOPED_TRACE(period);
        AudioRig rig;
        const std::vector<double> periods(8, period);
        follow(rig, kScale, periods);
        expect_followed(rig, kScale, periods, 0.5);
    }
}

TEST(FollowAudio, AccelerandoThenRitardando) {
    const std::vector<double> periods = {1.0, 0.9, 0.8, 0.7, 0.6, 0.75, 1.0, 1.3};
    AudioRig rig;
    follow(rig, kScale, periods);
    expect_followed(rig, kScale, periods, 0.5);
}

TEST(FollowAudio, SkippedNoteIsJumpedOver) {
    const Piece score{{{{60}, 1}, {{64}, 1}, {{67}, 1}, {{71}, 1}, {{74}, 1}, {{77}, 1}, {{72}, 1}}};
    Piece played = score;
    played.parts.erase(played.parts.begin() + 2); // 67 is not played
    played.parts[2].beats = 2;                    // 71 comes in its place
    AudioRig rig;
    ASSERT_TRUE(rig.start(score.score()));
    rig.play(synthesize(played.performance(std::vector<double>(6, 1.0), 0.5), kRate));
    EXPECT_EQ(rig.positions, (std::vector<int>{1, 2, 4, 5, 6, 7}))
        << "the skipped event is never reported";
    // The mass has to cross the skipped state: the jump costs some latency,
    // but 71 is recognised while it still sounds.
    EXPECT_GT(rig.first_report(4), 2.5);
    EXPECT_LT(rig.first_report(4), 3.5);
}

TEST(FollowAudio, RestInTheScoreIsHeardAsSilence) {
    const Piece piece{{{{60}, 1}, {{64}, 1}, {{}, 1}, {{67}, 1}, {{72}, 1}}};
    for (double period : {1.0, 0.8}) {
        SCOPED_TRACE(period);
        AudioRig rig;
        const std::vector<double> periods(5, period);
        follow(rig, piece, periods);
        expect_followed(rig, piece, periods, 0.5);
    }
}

TEST(FollowAudio, ChordsAndABackgroundOfNoise) {
    const Piece piece{{{{60, 64, 67}, 1}, {{62, 65, 69}, 1}, {{59, 62, 67}, 1}, {{60, 64, 67, 72}, 2}}};
    SynthVoice noisy;
    noisy.noise = 0.003;
    AudioRig rig;
    const std::vector<double> periods(4, 0.9);
    follow(rig, piece, periods, 0.5, noisy);
    expect_followed(rig, piece, periods, 0.5);
}

TEST(FollowAudio, BlockSizeDoesNotChangeWhatIsHeard) {
    for (int block : {64, 1024}) {
        SCOPED_TRACE(block);
        AudioRig rig(block);
        const std::vector<double> periods(8, 0.8);
        follow(rig, kScale, periods);
        expect_followed(rig, kScale, periods, 0.5);
    }
}

TEST(FollowAudio, StoppedEngineAnalysesButDoesNotFollow) {
    AudioRig rig;
    ASSERT_TRUE(rig.load(kScale.score()));
    rig.play(synthesize(kScale.performance(std::vector<double>(8, 1.0), 0.5), kRate));
    EXPECT_TRUE(rig.positions.empty());
    EXPECT_FALSE(rig.engine.get_align().observations[0].empty()) << "the front end still ran";
}

// $ENERGY takes each quiet frame's energy: high while a note sounds,
// back near nothing once the sound has died away.
TEST(FollowAudio, EnergyVariableFollowsTheSound) {
    AudioRig rig;
    ASSERT_TRUE(rig.start(kScale.score()));
    const auto energy = [&] { return rig.env().unsafe_get_var("$ENERGY")->get_double(); };
    SynthVoice held;
    held.decay = 0;
    held.tail = 0;
    rig.play(synthesize({{0.2, {60}, 1.5, 100}}, kRate, held));
    const double sounding = energy();
    rig.play(std::vector<float>(kRate, 0.0f));
    const double silent = energy();
    EXPECT_GT(sounding, 0.0);
    EXPECT_LT(silent, sounding / 100) << "sounding " << sounding << ", silent " << silent;
}

// Two seconds of A4: any second of it loops without a seam.
std::vector<float> held_a4() {
    SynthVoice held;
    held.decay = 0;
    held.attack = 0;
    held.release = 0;
    held.tail = 0;
    return synthesize({{0.0, {69}, 2.0, 100}}, kRate, held);
}

TEST(FollowAudio, FramePathAllocatesNothingOnceTheWindowsTemplatesExist) {
    const std::vector<float> tone = held_a4();
    for (int block : {64, 256, 1024}) {
        SCOPED_TRACE(block);
        AudioRig rig(block);
        ASSERT_TRUE(rig.start("BPM 60\nNOTE 69 1000\n"));
        // Histories and laws reach their full size (1,000 frames back).
        const double warm_up = 1200.0 * rig.engine.analysis_hop_size() / kRate;
        for (double seconds = 0; seconds < warm_up; seconds += 2)
            rig.play(tone);
        ASSERT_EQ(rig.positions, std::vector<int>{1});
        alloc_counter::start();
        for (int i = 0; i < 10000; ++i) {
            const size_t at = static_cast<size_t>(i * block) % kRate;
            rig.engine.cadenzium_next_frame(tone.data() + at);
        }
        EXPECT_EQ(alloc_counter::stop(), 0u);
        EXPECT_EQ(rig.positions, std::vector<int>{1});
    }
}

} // namespace
