// Malformed files: each is refused with a message naming the fault and where
// it lies; cut files are refused without reading past their end.
#include "SmfBytes.hpp"
#include "Targets/Standalone/MidiFile.hpp"

#include <gtest/gtest.h>

using namespace smf_bytes;

namespace {

struct BrokenFile {
    std::string name;
    Bytes bytes;
    std::string error;
};

Bytes cat(Bytes a, const Bytes& b) {
    append(a, b);
    return a;
}

// A header for one track, then a track chunk with the given body.
Bytes one_track(const Bytes& body) {
    return cat(header(0, 1, 480), chunk("MTrk", body));
}

Bytes raw_chunk(const std::string& type, uint32_t declared_length, const Bytes& body) {
    return cat(cat(Bytes(type.begin(), type.end()), be32(declared_length)), body);
}

const Bytes kEnd = {0x00, 0xFF, 0x2F, 0x00};

uint16_t smpte(int frames, uint8_t ticks_per_frame) {
    return uint16_t(uint8_t(-frames) << 8 | ticks_per_frame);
}

std::vector<BrokenFile> header_faults() {
    Track good;
    good.end();
    return {
        {"Empty", {}, "not a Standard MIDI File: missing 'MThd' header"},
        {"TruncatedHeader",
         {'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0},
         "truncated header: the file has 10 bytes, a header needs 14"},
        {"ShortHeaderLength",
         {'M', 'T', 'h', 'd', 0, 0, 0, 2, 0, 0, 0, 1, 1, 0xE0},
         "bad header length 2 at byte 4 (at least 6 expected)"},
        {"HugeHeaderLength", raw_chunk("MThd", 0xFFFFFFFF, {0, 0, 0, 1, 1, 0xE0}),
         "truncated header: its length 4294967295 at byte 4 runs past the end of the file (14 bytes)"},
        {"Format2", file(2, 480, {good}), "format 2 (independent sequences) is not supported"},
        {"Format0WithTwoTracks", file(0, 480, {good, good}),
         "format 0 file declares 2 tracks at byte 10 (one expected)"},
        {"ZeroDivision", file(0, 0, {good}), "division of 0 ticks per quarter note at byte 12"},
        {"SmpteRate", file(0, smpte(23, 40), {good}),
         "SMPTE division of 23 frames per second at byte 12 (24, 25, 29 or 30 expected)"},
    };
}

std::vector<BrokenFile> chunk_faults() {
    Bytes good = chunk("MTrk", kEnd); // bytes 14 to 26 after a header
    return {
        {"MissingTrack", cat(header(1, 2, 480), good), "file declares 2 tracks but ends after 1 at byte 26"},
        {"TruncatedChunkHeader", cat(header(0, 1, 480), {'M', 'T', 'r'}),
         "truncated chunk header at byte 14"},
        {"TruncatedTrack", cat(cat(header(1, 2, 480), good), raw_chunk("MTrk", 100, {0, 0x90, 60, 100})),
         "truncated track 1 at byte 26: its chunk declares 100 bytes, only 4 remain"},
        {"HugeTrackLength", cat(header(0, 1, 480), raw_chunk("MTrk", 0xFFFFFFFF, kEnd)),
         "truncated track 0 at byte 14: its chunk declares 4294967295 bytes, only 4 remain"},
        {"HugeUnknownChunk", cat(header(0, 1, 480), raw_chunk("XFIH", 0xFFFFFFFF, kEnd)),
         "truncated chunk 'XFIH' at byte 14: its chunk declares 4294967295 bytes, only 4 remain"},
    };
}

// Track bodies start at byte 22 in a one-track file.
std::vector<BrokenFile> event_faults() {
    return {
        {"MissingEndOfTrack", one_track({0x00, 0x90, 60, 100}),
         "track 0 ends at byte 26 without an end-of-track event"},
        {"EventCutAtChunkEnd", one_track({0x00, 0x90, 60}), "truncated event in track 0 at byte 22"},
        {"DeltaTooLong", one_track(cat({0xFF, 0xFF, 0xFF, 0xFF, 0x00}, kEnd)),
         "variable-length quantity too long in track 0 at byte 22"},
        {"HugeSysex", one_track(cat({0x00, 0xF0, 0xFF, 0xFF, 0xFF, 0x7F}, kEnd)),
         "event length 268435455 runs past the end of the track in track 0 at byte 22"},
        {"DataWithoutRunningStatus", one_track(cat({0x00, 60, 100}, kEnd)),
         "data byte 0x3C without running status in track 0 at byte 22"},
        {"StatusWhereDataExpected", one_track(cat({0x00, 0x90, 60, 0x90, 61, 100}, kEnd)),
         "status byte 0x90 where a data byte was expected in track 0 at byte 25"},
        {"TempoOfZero", one_track(Track{}.tempo(0, 0).end().body),
         "set-tempo event of 0 microseconds per quarter note in track 0 at byte 22"},
    };
}

std::vector<BrokenFile> all_faults() {
    std::vector<BrokenFile> all = header_faults();
    for (auto* more : {chunk_faults, event_faults}) {
        std::vector<BrokenFile> cases = more();
        all.insert(all.end(), cases.begin(), cases.end());
    }
    return all;
}

class MidiReadBroken : public testing::TestWithParam<BrokenFile> {};

} // namespace

TEST_P(MidiReadBroken, IsRefusedWithItsMessage) {
    const BrokenFile& broken = GetParam();
    MidiReadResult result = read_midi_bytes(broken.bytes.data(), broken.bytes.size());
    EXPECT_FALSE(result.ok());
    EXPECT_EQ(result.error, broken.error);
    EXPECT_TRUE(result.notes.empty());
}

INSTANTIATE_TEST_SUITE_P(Files, MidiReadBroken, testing::ValuesIn(all_faults()),
                         [](const testing::TestParamInfo<BrokenFile>& info) { return info.param.name; });

TEST(MidiReadLimits, EveryTruncationOfAValidFileIsRefused) {
    std::vector<MidiNoteSpan> spans;
    for (int i = 0; i < 12; ++i)
        spans.push_back({0.2 * i, uint8_t(60 + i % 5), 0.3, uint8_t(40 + i), uint8_t(i % 3)});
    Bytes bytes = write_midi_bytes(midi_events_from_spans(spans), 96, 100.0);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        Bytes prefix(bytes.begin(), bytes.begin() + long(size)); // exact size: reads past it are caught
        EXPECT_FALSE(read_midi_bytes(prefix.data(), prefix.size()).ok()) << "prefix of " << size << " bytes";
    }
}

TEST(MidiReadLimits, InputLargerThanTheLimitIsRefusedUnread) {
    Bytes huge(kMaxMidiFileBytes + 1, 0);
    MidiReadResult result = read_midi_bytes(huge.data(), huge.size());
    EXPECT_EQ(result.error, "file too large: 67108865 bytes (at most 67108864)");
}
