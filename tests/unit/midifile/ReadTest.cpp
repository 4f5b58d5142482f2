// Reading well-formed files: timing, tempo maps, event kinds, ordering.
#include "SmfBytes.hpp"
#include "Targets/Standalone/MidiFile.hpp"

#include <gtest/gtest.h>

using namespace smf_bytes;

namespace {

constexpr uint16_t kTpq = 480;
constexpr double kTol = 1e-9;

MidiReadResult read(const Bytes& bytes) {
    MidiReadResult result = read_midi_bytes(bytes.data(), bytes.size());
    EXPECT_TRUE(result.ok()) << result.error;
    return result;
}

void expect_times(const MidiReadResult& result, const std::vector<double>& expected) {
    ASSERT_EQ(result.notes.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_NEAR(result.notes[i].time, expected[i], kTol) << "event " << i;
}

} // namespace

TEST(MidiReadFormat0, NotesAtDefaultTempoOf120BpmEndedByNoteOffOrVelocityZero) {
    Track track;
    track.on(0, 60, 100).off(480, 60).on(480, 64, 90, 3).on(240, 64, 0, 3).end(240);
    MidiReadResult result = read(file(0, kTpq, {track}));
    EXPECT_EQ(result.format, 0);
    EXPECT_EQ(result.tracks, 1);
    ASSERT_EQ(result.notes.size(), 4u);
    EXPECT_EQ(result.notes[0], (MidiNote{0.0, 60, 100, 0, 0}));
    EXPECT_EQ(result.notes[1], (MidiNote{0.5, 60, 0, 0, 0}));
    EXPECT_EQ(result.notes[2], (MidiNote{1.0, 64, 90, 3, 0}));
    EXPECT_EQ(result.notes[3], (MidiNote{1.25, 64, 0, 3, 0}));
    EXPECT_NEAR(result.duration, 1.5, kTol);
}

TEST(MidiReadRunningStatus, DataBytesReuseThePreviousStatusEvenAfterMetaAndSysex) {
    // Strict writers restate the status after meta and sysex; lenient ones do not.
    Track track;
    track.event(0, {0x91, 60, 100})
        .event(0, {0xFF, 0x01, 0x02, 'h', 'i'})
        .event(480, {62, 100}) // note-on, channel 1
        .event(0, {0xF0, 0x03, 0x7E, 0x00, 0xF7})
        .event(480, {60, 0}) // note-on velocity 0
        .event(0, {0xC1, 5}) // program change: one data byte
        .event(0, {0xB1, 7, 100})
        .event(0, {10, 64}) // running controller change, not a note
        .end();
    MidiReadResult result = read(file(0, kTpq, {track}));
    ASSERT_EQ(result.notes.size(), 3u);
    EXPECT_EQ(result.notes[1], (MidiNote{0.5, 62, 100, 1, 0}));
    EXPECT_EQ(result.notes[2], (MidiNote{1.0, 60, 0, 1, 0}));
}

TEST(MidiReadSkipped, SysexMetaOtherMessagesUnknownChunksAndHeaderExtras) {
    Track track;
    track.event(0, {0xF0, 0x04, 0x43, 0x12, 0x00, 0xF7})
        .event(0, {0xF7, 0x02, 0xF3, 0x01}) // escaped bytes
        .event(0, {0xFF, 0x58, 0x04, 4, 2, 24, 8})
        .event(0, {0xFF, 0x03, 0x00})
        .event(0, {0xE0, 0x00, 0x40})
        .event(0, {0xA0, 60, 10})
        .event(0, {0xD0, 30})
        .on(480, 60, 100)
        .end();
    track.body.insert(track.body.end(), {0x00, 0x90, 61, 100});        // after the end of track: ignored
    Bytes bytes = chunk("MThd", {0, 0, 0, 1, 0x01, 0xE0, 0xAA, 0xBB}); // a longer header
    append(bytes, chunk("XFIH", {1, 2, 3}));
    append(bytes, chunk("MTrk", track.body));
    append(bytes, chunk("XFKM", {}));
    MidiReadResult result = read(bytes);
    ASSERT_EQ(result.notes.size(), 1u);
    EXPECT_NEAR(result.notes[0].time, 0.5, kTol);
}

TEST(MidiReadTempo, ChangeMidTrackScalesLaterDeltas) {
    Track track;
    track.tempo(0, 500000).on(480, 60, 100).tempo(0, 1000000).on(480, 62, 100).on(480, 64, 100).end(480);
    MidiReadResult result = read(file(0, kTpq, {track}));
    expect_times(result, {0.5, 1.5, 2.5});
    EXPECT_NEAR(result.duration, 3.5, kTol);
}

TEST(MidiReadTempo, LaterOfTwoChangesAtOneTickWins) {
    Track track;
    track.tempo(0, 1000000).tempo(0, 250000).on(480, 60, 100).end();
    expect_times(read(file(0, kTpq, {track})), {0.25});
}

TEST(MidiReadFormat1, TempoMapInTrackZeroTimesNotesOfTrackOne) {
    Track conductor;
    conductor.tempo(0, 250000).tempo(960, 1000000).end(960);
    Track piano;
    piano.on(480, 60, 100).off(480, 60).on(480, 62, 100).off(480, 62).end();
    MidiReadResult result = read(file(1, kTpq, {conductor, piano}));
    EXPECT_EQ(result.format, 1);
    EXPECT_EQ(result.tracks, 2);
    expect_times(result, {0.25, 0.5, 1.5, 2.5});
    for (const MidiNote& note : result.notes)
        EXPECT_EQ(note.track, 1);
    EXPECT_NEAR(result.duration, 2.5, kTol) << "both tracks end at tick 1920";
}

TEST(MidiReadFormat1, TempoInAnyTrackAppliesToAllTracks) {
    Track first;
    first.on(960, 60, 100).end();
    Track second;
    second.tempo(480, 1000000).end();
    expect_times(read(file(1, kTpq, {first, second})), {0.5 + 1.0});
}

TEST(MidiReadFormat1, EqualTimesKeepTrackThenEventOrderAndDurationIsTheLatestEnd) {
    Track first;
    first.on(480, 60, 100).on(0, 61, 100).end(1440);
    Track second;
    second.on(480, 50, 100).on(0, 51, 100).on(0, 40, 100).end();
    Track third;
    third.on(0, 30, 100).end();
    MidiReadResult result = read(file(1, kTpq, {first, second, third}));
    std::vector<int> pitches;
    for (const MidiNote& note : result.notes)
        pitches.push_back(note.pitch);
    EXPECT_EQ(pitches, (std::vector<int>{30, 60, 61, 50, 51, 40}));
    EXPECT_EQ(result.notes[0].track, 2);
    EXPECT_NEAR(result.duration, 2.0, kTol);
}

TEST(MidiReadSmpte, TicksAreFractionsOfFramesAndTempoIsIgnored) {
    Track track;
    track.tempo(0, 1000000).on(1000, 60, 100).on(500, 62, 100).end();
    uint16_t division = uint16_t(uint8_t(-25)) << 8 | 40; // 25 fps, 40 ticks per frame
    expect_times(read(file(0, division, {track})), {1.0, 1.5});
}

TEST(MidiReadFile, MissingFileOrDirectoryIsNamedInTheError) {
    EXPECT_EQ(read_midi_file("/nonexistent/piece.mid")
                  .error.rfind("cannot open MIDI file '/nonexistent/piece.mid'", 0),
              0u);
    EXPECT_EQ(read_midi_file("/tmp").error.rfind("cannot open MIDI file '/tmp'", 0), 0u);
}

TEST(MidiReadControls, SustainPedalIsReadWithItsTimeAndChannelApartFromTheNotes) {
    Track track;
    track.on(0, 60, 100)
        .event(240, {0xB2, 64, 127}) // pedal down, channel 2
        .event(0, {64, 0})           // running status: pedal up at once
        .off(240, 60)
        .event(0, {0xB0, 7, 90}) // volume: another controller, kept too
        .end();
    MidiReadResult result = read(file(0, kTpq, {track}));
    ASSERT_EQ(result.notes.size(), 2u) << "controller changes are no notes";
    ASSERT_EQ(result.controls.size(), 3u);
    EXPECT_EQ(result.controls[0], (MidiControl{0.25, kSustainPedal, 127, 2}));
    EXPECT_EQ(result.controls[1], (MidiControl{0.25, kSustainPedal, 0, 2}));
    EXPECT_EQ(result.controls[2], (MidiControl{0.5, 7, 90, 0}));
}

TEST(MidiReadControls, WrittenPedalReadsBackAmongTheNotes) {
    const std::vector<MidiNote> notes = {{0.0, 60, 90, 0, 0}, {1.0, 60, 0, 0, 0}};
    const std::vector<MidiControl> pedal = {{0.5, kSustainPedal, 100, 0}, {1.5, kSustainPedal, 0, 0}};
    const std::vector<uint8_t> bytes = write_midi_bytes(notes, 480, 120.0, pedal);
    MidiReadResult result = read_midi_bytes(bytes.data(), bytes.size());
    ASSERT_TRUE(result.ok()) << result.error;
    EXPECT_EQ(result.notes, notes);
    EXPECT_EQ(result.controls, pedal);
}
