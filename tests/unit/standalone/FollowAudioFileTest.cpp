// `cadenzium follow --audio`: synthesised performances written to sound
// files in the formats users bring, followed offline at the file's own
// rate (and once paced by the wall clock), with the score's actions firing.
#include "Commands.hpp"
#include "ConsoleCapture.hpp"
#include "RunTime/ListeningProfile.hpp"
#include "PerformanceFiles.hpp"
#include "ScoreFiles.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace {

constexpr double kLate = 0.25; // a report within 250 ms of the onset is in time

// Reports are dated back by the piano audio profile's onset lag, so one may
// come a little before the onset it reports; actions start at the decision.
const double kLag = piano_audio_profile().onset_lag;

int dated_in_time(const TraceRead& trace, const std::vector<double>& onsets, double late) {
    std::vector<double> earlier;
    for (double t : onsets)
        earlier.push_back(t - kLag);
    return reported_in_time(trace, earlier, late + kLag);
}

struct AudioRun {
    int status = -1;
    TraceRead trace;
    std::string human;
};

AudioRun follow_file(const std::string& score, const std::string& sound, bool realtime = false) {
    TempScore score_file(score);
    TempScore trace_file("", ".jsonl");
    FollowOptions options;
    options.score = score_file.path;
    options.audio = sound;
    options.trace = trace_file.path;
    options.quiet = true;
    options.realtime = realtime;
    options.tail = 0.5;
    std::ostringstream human;
    AudioRun run;
    run.status = run_follow(options, human);
    run.trace = read_trace(trace_file.path);
    run.human = human.str();
    return run;
}

TEST(FollowAudioFile, MonoWavInTimeWithItsActions) {
    const Melody m = melody(8, 100);
    // The score, written at 100, with an action half a beat after the fifth
    // note: 0.25 s at the tempo played, 120, once the follower has it.
    std::string with_action = m.score();
    const size_t sixth =
        with_action.find("NOTE", with_action.find("NOTE " + std::to_string(m.pitches[4])) + 1);
    with_action.insert(sixth, "  0.5 ping 1\n");
    TempScore wav("", ".wav");
    ASSERT_TRUE(write_sound_file(wav.path, synthesize(m.performance(120, 0.5), 44100), 44100));
    ConsoleCapture console;
    const AudioRun run = follow_file(with_action, wav.path);
    ASSERT_EQ(run.status, 0) << (console.errors.empty() ? "" : console.errors.front());
    const std::vector<double> onsets = m.onsets(120, 0.5);
    EXPECT_EQ(dated_in_time(run.trace, onsets, kLate), 8);
    EXPECT_EQ(run.trace.positions.back(), 8) << "the follower reaches the end";
    ASSERT_EQ(run.trace.messages.size(), 1u);
    EXPECT_EQ(run.trace.messages[0].second, "ping");
    const double fifth = run.trace.first_report.at(5);
    EXPECT_NEAR(run.trace.messages[0].first - fifth, 0.25 + kLag, 0.02)
        << "half a beat at the followed tempo after the decision";
    EXPECT_NE(run.human.find("-> ping 1"), std::string::npos) << run.human;
    EXPECT_TRUE(console.has_post("44100 Hz, 1 channel")) << "the file is described";
}

// Other rates are followed at their own rate: were they read as 44.1 kHz,
// the onsets would drift by the ratio. Only the first channel is heard:
// the second plays other notes at another tempo.
TEST(FollowAudioFile, OtherRatesFormatsAndChannels) {
    const Melody m = melody(8);
    const Melody other{{90, 91, 92, 93, 94, 95, 96, 97}, 1, 60};
    struct Case {
        const char* suffix;
        int rate;
        int channels;
    };
    for (const Case c : {Case{".flac", 48000, 2}, Case{".aiff", 22050, 1}, Case{".wav", 96000, 1}}) {
        SCOPED_TRACE(std::string(c.suffix) + " at " + std::to_string(c.rate));
        std::vector<std::vector<float>> channels{synthesize(m.performance(100, 0.4), c.rate)};
        if (c.channels == 2) {
            channels.push_back(synthesize(other.performance(170, 0.1), c.rate));
            channels[1].resize(channels[0].size());
        }
        TempScore sound("", c.suffix);
        ASSERT_TRUE(write_sound_file(sound.path, channels, c.rate));
        ConsoleCapture console;
        const AudioRun run = follow_file(m.score(), sound.path);
        ASSERT_EQ(run.status, 0);
        EXPECT_EQ(dated_in_time(run.trace, m.onsets(100, 0.4), kLate), 8);
    }
}

TEST(FollowAudioFile, PacedByTheWallClock) {
    const Melody m = melody(5);
    TempScore wav("", ".wav");
    ASSERT_TRUE(write_sound_file(wav.path, synthesize(m.performance(240, 0.2), 44100), 44100));
    ConsoleCapture console;
    const AudioRun run = follow_file(m.score(), wav.path, true);
    ASSERT_EQ(run.status, 0);
    EXPECT_EQ(run.trace.positions.back(), 5);
    // Wall-clock reports cannot be exact; they can be in order and close.
    EXPECT_GE(dated_in_time(run.trace, m.onsets(240, 0.2), 0.4), 4);
}

TEST(FollowAudioFile, BadInputsAreReportedAndNothingRuns) {
    const Melody m = melody(4);
    ConsoleCapture console;
    AudioRun run = follow_file(m.score(), "/nonexistent/take1.wav");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(console.has_error("Audio file '/nonexistent/take1.wav' not found"));
    EXPECT_TRUE(run.trace.positions.empty());

    TempScore not_sound("this is a score, not a sound\n", ".wav");
    run = follow_file(m.score(), not_sound.path);
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(console.has_error("Cannot read audio file"));

    TempScore score(m.score());
    FollowOptions two;
    two.score = score.path;
    two.audio = not_sound.path;
    two.live_midi = true;
    std::ostringstream out;
    EXPECT_EQ(run_follow(two, out), 1);
    EXPECT_TRUE(console.has_error("follow needs one performance"));
}

} // namespace
