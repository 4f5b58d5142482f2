// Reading performances from sound files written by the test synthesiser.
#include "AudioFile.hpp"
#include "ConsoleCapture.hpp"
#include "ScoreFiles.hpp"
#include "Synth.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

namespace {

std::vector<float> a4_second(int sample_rate) {
    return synthesize({{0.1, {69}, 0.8, 100}}, sample_rate);
}

float max_difference(const std::vector<float>& a, const std::vector<float>& b) {
    float d = 0;
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        d = std::max(d, std::fabs(a[i] - b[i]));
    return d;
}

} // namespace

class SoundFormats : public ::testing::TestWithParam<std::string> {};

TEST_P(SoundFormats, FileReadsBackAtItsOwnRate) {
    const std::string ext = GetParam();
    for (int rate : {44100, 48000, 22050}) {
        const auto audio = a4_second(rate);
        TempScore file("", ext);
        ASSERT_TRUE(write_sound_file(file.path, audio, rate)) << ext;
        const auto read = read_audio_file(file.path);
        ASSERT_TRUE(read.has_value()) << ext;
        EXPECT_EQ(read->sample_rate, rate);
        EXPECT_EQ(read->channels, 1);
        ASSERT_EQ(read->samples.size(), audio.size());
        // 16-bit formats round to 1/32768.
        EXPECT_LT(max_difference(read->samples, audio), ext == ".wav" ? 1e-7f : 1.0f / 16384) << ext;
        EXPECT_NEAR(read->seconds(), static_cast<double>(audio.size()) / rate, 1e-9);
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, SoundFormats, ::testing::Values(".wav", ".aiff", ".flac"),
                         [](const auto& info) { return info.param.substr(1); });

TEST(AudioFile, FirstChannelOfAStereoFileIsKept) {
    const auto left = a4_second(44100);
    std::vector<float> right(left.size(), 0.25f);
    TempScore file("", ".wav");
    ASSERT_TRUE(write_sound_file(file.path, {left, right}, 44100));
    const auto read = read_audio_file(file.path);
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->channels, 2);
    EXPECT_EQ(read->samples, left);
    const auto opened = SoundFile::open(file.path);
    ASSERT_TRUE(opened);
    EXPECT_NE(opened->describe().find("44100 Hz, 2 channels (first used)"), std::string::npos)
        << opened->describe();
}

TEST(AudioFile, MissingUnreadableAndEmptyFilesAreReported) {
    ConsoleCapture console;
    EXPECT_FALSE(read_audio_file("/nonexistent/perf.wav").has_value());
    EXPECT_TRUE(console.has_error("Audio file '/nonexistent/perf.wav' not found."));

    TempScore text("this is a score, not a sound\n", ".wav");
    EXPECT_FALSE(read_audio_file(text.path).has_value());
    EXPECT_TRUE(console.has_error("Cannot read audio file '" + text.path + "'"));

    TempScore empty("", ".wav");
    ASSERT_TRUE(write_sound_file(empty.path, std::vector<float>{}, 44100));
    EXPECT_FALSE(read_audio_file(empty.path).has_value());
    EXPECT_TRUE(console.has_error("holds no samples"));
    EXPECT_EQ(console.errors.size(), 3u);
}

TEST(AudioFile, StreamedInAnyBlockSizeAsReadWhole) {
    const auto audio = a4_second(44100);
    TempScore file("", ".flac");
    ASSERT_TRUE(write_sound_file(file.path, audio, 44100));
    const auto whole = read_audio_file(file.path);
    ASSERT_TRUE(whole.has_value());
    for (std::size_t block : {1u, 511u, 4096u, 10000u}) {
        const auto sound = SoundFile::open(file.path);
        ASSERT_TRUE(sound);
        std::vector<float> streamed, chunk(block);
        while (const std::size_t got = sound->read(chunk.data(), block))
            streamed.insert(streamed.end(), chunk.begin(), chunk.begin() + static_cast<long>(got));
        EXPECT_EQ(streamed, whole->samples) << block;
        EXPECT_TRUE(sound->report_reading());
    }
}

TEST(AudioFile, AFileCutShortReadsWhatItHolds) {
    const auto audio = a4_second(44100);
    TempScore file("", ".wav");
    ASSERT_TRUE(write_sound_file(file.path, audio, 44100));
    std::filesystem::resize_file(file.path, std::filesystem::file_size(file.path) / 2);
    ConsoleCapture console;
    const auto read = read_audio_file(file.path);
    ASSERT_TRUE(read.has_value());
    EXPECT_LT(read->samples.size(), audio.size());
    EXPECT_GT(read->samples.size(), audio.size() / 4);
    EXPECT_TRUE(console.errors.empty());
}
