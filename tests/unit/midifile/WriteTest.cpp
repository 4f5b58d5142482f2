// Writing: spans to events, bytes and files that read back as written.
#include "SmfBytes.hpp"
#include "Targets/Standalone/MidiFile.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <random>

#include <unistd.h>

namespace {

// A reproducible two-handed performance with chords, repeated notes and
// overlapping releases.
std::vector<MidiNoteSpan> performance(unsigned seed, int count) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> gap(0.0, 0.4), length(0.05, 1.2);
    std::uniform_int_distribution<int> pitch(36, 96), velocity(1, 127), channel(0, 1);
    std::vector<MidiNoteSpan> spans;
    double onset = 0.1;
    for (int i = 0; i < count; ++i) {
        if (i % 5 != 0) onset += gap(random); // every fifth note joins a chord
        spans.push_back({onset, uint8_t(pitch(random)), length(random), uint8_t(velocity(random)),
                         uint8_t(channel(random))});
    }
    return spans;
}

MidiReadResult round_trip(const std::vector<MidiNote>& notes, uint16_t tpq, double bpm) {
    std::vector<uint8_t> bytes = write_midi_bytes(notes, tpq, bpm);
    MidiReadResult result = read_midi_bytes(bytes.data(), bytes.size());
    EXPECT_TRUE(result.ok()) << result.error;
    return result;
}

void expect_same_notes(const std::vector<MidiNote>& written, const MidiReadResult& read, double tick) {
    ASSERT_EQ(read.notes.size(), written.size());
    for (std::size_t i = 0; i < written.size(); ++i) {
        SCOPED_TRACE("event " + std::to_string(i));
        EXPECT_NEAR(read.notes[i].time, written[i].time, tick);
        EXPECT_EQ(read.notes[i].pitch, written[i].pitch);
        EXPECT_EQ(read.notes[i].velocity, written[i].velocity);
        EXPECT_EQ(read.notes[i].channel, written[i].channel);
        EXPECT_EQ(read.notes[i].track, 0);
    }
}

} // namespace

TEST(MidiSpans, RepeatedPitchIsReleasedBeforeItIsStruckAgain) {
    std::vector<MidiNote> events = midi_events_from_spans({{1.0, 60, 1.0, 80}, {0.0, 60, 1.0, 80}});
    ASSERT_EQ(events.size(), 4u);
    EXPECT_FALSE(events[1].is_on());
    EXPECT_TRUE(events[2].is_on());
    EXPECT_EQ(events[1].time, events[2].time);
}

TEST(MidiSpans, ZeroLengthNoteEndsAfterItStartsAndVelocityZeroIsRaised) {
    std::vector<MidiNote> events = midi_events_from_spans({{0.5, 60, 0.0, 0}, {0.5, 62, -1.0, 50}});
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[0], (MidiNote{0.5, 60, 1, 0, 0}));
    EXPECT_EQ(events[1], (MidiNote{0.5, 62, 50, 0, 0}));
    EXPECT_EQ(events[2], (MidiNote{0.5, 60, 0, 0, 0}));
    EXPECT_EQ(events[3], (MidiNote{0.5, 62, 0, 0, 0}));
}

TEST(MidiWrite, PerformanceReadsBackWithinOneTick) {
    struct Setting {
        uint16_t tpq;
        double bpm;
    };
    std::vector<MidiNote> written = midi_events_from_spans(performance(7, 400));
    for (Setting setting :
         {Setting{480, 120.0}, Setting{96, 73.5}, Setting{1, 30.0}, Setting{32767, 240.0}}) {
        SCOPED_TRACE("tpq " + std::to_string(setting.tpq) + " bpm " + std::to_string(setting.bpm));
        double tick = 60.0 / setting.bpm / setting.tpq;
        expect_same_notes(written, round_trip(written, setting.tpq, setting.bpm), tick);
    }
}

TEST(MidiWrite, GapLongerThanOneDeltaTimeIsBridged) {
    // At 32767 ticks per quarter and 240 bpm, one delta time holds about 2048 s.
    std::vector<MidiNote> written = {{1.0, 60, 90, 0, 0}, {5000.0, 60, 0, 0, 0}, {9000.0, 61, 10, 0, 0}};
    MidiReadResult result = round_trip(written, 32767, 240.0);
    expect_same_notes(written, result, 60.0 / 240.0 / 32767);
}

TEST(MidiWrite, OutOfRangeFieldsAreLimited) {
    std::vector<MidiNote> written = {{-3.0, 200, 255, 99, 7}};
    MidiReadResult result = round_trip(written, 480, 120.0);
    ASSERT_EQ(result.notes.size(), 1u);
    EXPECT_EQ(result.notes[0], (MidiNote{0.0, 127, 127, 15, 0}));
}

TEST(MidiWriteFile, WritesAFileThatReadsBack) {
    std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("cad_midifile_test_" + std::to_string(::getpid()) + ".mid");
    std::vector<MidiNote> written = midi_events_from_spans(performance(3, 50));
    std::string error;
    ASSERT_TRUE(write_midi_file(path.string(), written, 480, 90.0, &error)) << error;
    MidiReadResult result = read_midi_file(path.string());
    std::filesystem::remove(path);
    ASSERT_TRUE(result.ok()) << result.error;
    expect_same_notes(written, result, 60.0 / 90.0 / 480);
}
