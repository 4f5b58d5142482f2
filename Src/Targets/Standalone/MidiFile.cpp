#include "Targets/Standalone/MidiFile.hpp"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <new>
#include <type_traits>
#include <utility>

namespace {

constexpr uint32_t kDefaultMicrosPerQuarter = 500000; // 120 beats per minute
constexpr uint32_t kMaxMicrosPerQuarter = 0xFFFFFF;   // three bytes in a set-tempo event
constexpr uint32_t kMaxVlq = 0x0FFFFFFF;              // four bytes of seven bits
constexpr int kMaxVlqBytes = 4;
constexpr std::size_t kHeaderSize = 14; // "MThd", length, format, track count, division
constexpr std::size_t kChunkHeaderSize = 8;
constexpr uint8_t kMetaEndOfTrack = 0x2F;
constexpr uint8_t kMetaSetTempo = 0x51;
constexpr uint8_t kMetaText = 0x01;

// Sorts `items` by `key_of(item)`; items of equal keys keep their order.
// The index makes every sort key distinct, so a plain sort is stable.
template <class T, class KeyOf>
void sort_keeping_order(std::vector<T>& items, KeyOf key_of) {
    using Key = std::decay_t<decltype(key_of(items.front()))>;
    std::vector<std::pair<Key, std::size_t>> keys;
    keys.reserve(items.size());
    for (std::size_t i = 0; i < items.size(); ++i)
        keys.emplace_back(key_of(items[i]), i);
    std::sort(keys.begin(), keys.end());
    std::vector<T> sorted;
    sorted.reserve(items.size());
    for (const auto& key : keys)
        sorted.push_back(std::move(items[key.second]));
    items = std::move(sorted);
}

// ---------------------------------------------------------------------------
// Reading

// Thrown inside the reader only; read_midi_bytes turns it into its error text.
struct MidiError {
    std::string message;
};

[[noreturn]] void fail(std::string message) {
    throw MidiError{std::move(message)};
}

std::string at_byte(std::size_t offset) {
    return " at byte " + std::to_string(offset);
}

std::string hex_byte(uint8_t byte) {
    static const char digits[] = "0123456789ABCDEF";
    return std::string("0x") + digits[byte >> 4] + digits[byte & 0x0F];
}

uint16_t be16(const uint8_t* p) {
    return uint16_t(p[0] << 8 | p[1]);
}

uint32_t be32(const uint8_t* p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | uint32_t(p[3]);
}

// A chunk type for messages: the four letters when printable, else hex.
std::string chunk_name(const uint8_t* p) {
    bool printable = std::all_of(p, p + 4, [](uint8_t c) { return c >= 0x20 && c < 0x7F; });
    if (printable) return "'" + std::string(p, p + 4) + "'";
    return hex_byte(p[0]) + hex_byte(p[1]).substr(2) + hex_byte(p[2]).substr(2) + hex_byte(p[3]).substr(2);
}

struct Header {
    uint16_t format = 0;
    uint16_t tracks = 0;
    uint16_t division = 0;
    std::size_t end = 0; // offset of the first chunk after the header
};

void check_format(const Header& header) {
    if (header.format == 2) fail("format 2 (independent sequences) is not supported");
    if (header.format > 2) fail("unknown format " + std::to_string(header.format) + at_byte(8));
    if (header.format == 0 && header.tracks != 1)
        fail("format 0 file declares " + std::to_string(header.tracks) + " tracks" + at_byte(10) +
             " (one expected)");
}

Header read_header(const uint8_t* data, std::size_t size) {
    if (size < 4 || std::memcmp(data, "MThd", 4) != 0)
        fail("not a Standard MIDI File: missing 'MThd' header");
    if (size < kHeaderSize)
        fail("truncated header: the file has " + std::to_string(size) + " bytes, a header needs 14");
    uint32_t length = be32(data + 4);
    if (length < 6)
        fail("bad header length " + std::to_string(length) + at_byte(4) + " (at least 6 expected)");
    if (length > size - kChunkHeaderSize)
        fail("truncated header: its length " + std::to_string(length) + at_byte(4) +
             " runs past the end of the file (" + std::to_string(size) + " bytes)");
    Header header{be16(data + 8), be16(data + 10), be16(data + 12), kChunkHeaderSize + length};
    check_format(header);
    return header;
}

// How ticks become seconds before any tempo is applied.
struct Division {
    uint16_t ticks_per_quarter = 0;      // 0 for SMPTE timing
    double smpte_seconds_per_tick = 0.0; // SMPTE timing ignores tempo events
};

double smpte_frames_per_second(int frames) {
    switch (frames) {
    case 24:
    case 25:
    case 30:
        return frames;
    case 29:
        return 30000.0 / 1001.0; // 29.97 drop-frame
    default:
        fail("SMPTE division of " + std::to_string(frames) + " frames per second" + at_byte(12) +
             " (24, 25, 29 or 30 expected)");
    }
}

Division read_division(uint16_t raw) {
    if ((raw & 0x8000) == 0) {
        if (raw == 0) fail("division of 0 ticks per quarter note" + at_byte(12));
        return {raw, 0.0};
    }
    // The high byte is minus the frame rate, in two's complement.
    int frames = -int(int8_t(raw >> 8));
    double fps = smpte_frames_per_second(frames);
    unsigned ticks_per_frame = raw & 0xFF;
    if (ticks_per_frame == 0) fail("SMPTE division of 0 ticks per frame" + at_byte(13));
    return {0, 1.0 / (fps * ticks_per_frame)};
}

struct TempoChange {
    uint64_t tick = 0;
    uint32_t micros_per_quarter = 0;
};

struct TickedNote {
    uint64_t tick = 0;
    MidiNote note; // time is filled in once the tempo map is known
};

struct TickedControl {
    uint64_t tick = 0;
    MidiControl control;
};

// What the tracks hold that matters here, in file order.
struct Timeline {
    std::vector<TickedNote> notes;
    std::vector<TickedControl> controls;
    std::vector<TempoChange> tempos;
    uint64_t end_tick = 0;
};

// Reads the events of one track chunk, [begin, end) of the file.
class TrackParser {
public:
    TrackParser(const uint8_t* data, std::size_t begin, std::size_t end, uint16_t track, Timeline& out)
        : data_(data)
        , pos_(begin)
        , end_(end)
        , track_(track)
        , out_(out) {}

    void parse() {
        while (pos_ < end_) {
            event_start_ = pos_;
            tick_ += read_vlq();
            if (read_event()) {
                out_.end_tick = std::max(out_.end_tick, tick_);
                return; // bytes after the end of track are ignored
            }
        }
        fail("track " + std::to_string(track_) + " ends" + at_byte(end_) + " without an end-of-track event");
    }

private:
    // Returns true at the end-of-track event. Running status survives meta
    // and sysex events: strict files never rely on it, lenient writers do.
    bool read_event() {
        uint8_t first = next_byte();
        if (first < 0x80) {
            if (running_status_ == 0)
                fail("data byte " + hex_byte(first) + " without running status" + where());
            read_channel(running_status_, first);
            return false;
        }
        if (first < 0xF0) {
            running_status_ = first;
            read_channel(first, next_data());
            return false;
        }
        if (first == 0xFF) return read_meta();
        if (first == 0xF0 || first == 0xF7) {
            skip(read_vlq()); // sysex, or an escaped sequence
            return false;
        }
        fail("unexpected status byte " + hex_byte(first) + where());
    }

    void read_channel(uint8_t status, uint8_t data1) {
        uint8_t kind = status >> 4;
        if (kind == 0xC || kind == 0xD) return; // program change, channel pressure: one data byte
        uint8_t data2 = next_data();
        if (kind == 0xB) {
            MidiControl control;
            control.number = data1;
            control.value = data2;
            control.channel = status & 0x0F;
            out_.controls.push_back({tick_, control});
            return;
        }
        if (kind != 0x8 && kind != 0x9) return;
        MidiNote note;
        note.pitch = data1;
        note.velocity = kind == 0x9 ? data2 : 0;
        note.channel = status & 0x0F;
        note.track = track_;
        out_.notes.push_back({tick_, note});
    }

    bool read_meta() {
        uint8_t type = next_byte();
        uint32_t length = read_vlq();
        std::size_t body = pos_;
        skip(length);
        if (type == kMetaSetTempo) read_tempo(body, length);
        return type == kMetaEndOfTrack;
    }

    void read_tempo(std::size_t body, uint32_t length) {
        if (length != 3)
            fail("set-tempo event of length " + std::to_string(length) + where() + " (3 expected)");
        uint32_t micros = uint32_t(data_[body]) << 16 | uint32_t(data_[body + 1]) << 8 | data_[body + 2];
        if (micros == 0) fail("set-tempo event of 0 microseconds per quarter note" + where());
        out_.tempos.push_back({tick_, micros});
    }

    uint8_t next_byte() {
        if (pos_ >= end_) fail("truncated event" + where());
        return data_[pos_++];
    }

    uint8_t next_data() {
        uint8_t byte = next_byte();
        if (byte >= 0x80)
            fail("status byte " + hex_byte(byte) + " where a data byte was expected" + where(pos_ - 1));
        return byte;
    }

    uint32_t read_vlq() {
        std::size_t start = pos_;
        uint32_t value = 0;
        for (int i = 0; i < kMaxVlqBytes; ++i) {
            if (pos_ >= end_) fail("truncated variable-length quantity" + where(start));
            uint8_t byte = data_[pos_++];
            value = value << 7 | (byte & 0x7F);
            if ((byte & 0x80) == 0) return value;
        }
        fail("variable-length quantity too long" + where(start));
    }

    void skip(uint32_t length) {
        if (length > end_ - pos_)
            fail("event length " + std::to_string(length) + " runs past the end of the track" + where());
        pos_ += length;
    }

    std::string where() const { return where(event_start_); }
    std::string where(std::size_t offset) const {
        return " in track " + std::to_string(track_) + at_byte(offset);
    }

    const uint8_t* data_;
    std::size_t pos_;
    std::size_t end_;
    uint16_t track_;
    Timeline& out_;
    std::size_t event_start_ = 0;
    uint64_t tick_ = 0;
    uint8_t running_status_ = 0;
};

// Walks the chunks after the header, parsing the declared number of track
// chunks and skipping chunks of other types. Chunks after the last declared
// track are ignored.
Timeline read_tracks(const uint8_t* data, std::size_t size, const Header& header) {
    Timeline out;
    std::size_t pos = header.end;
    uint16_t track = 0;
    while (track < header.tracks) {
        if (pos == size)
            fail("file declares " + std::to_string(header.tracks) + " tracks but ends after " +
                 std::to_string(track) + at_byte(pos));
        if (size - pos < kChunkHeaderSize) fail("truncated chunk header" + at_byte(pos));
        bool is_track = std::memcmp(data + pos, "MTrk", 4) == 0;
        uint32_t length = be32(data + pos + 4);
        std::size_t body = pos + kChunkHeaderSize;
        if (length > size - body) {
            std::string what =
                is_track ? "track " + std::to_string(track) : "chunk " + chunk_name(data + pos);
            fail("truncated " + what + at_byte(pos) + ": its chunk declares " + std::to_string(length) +
                 " bytes, only " + std::to_string(size - body) + " remain");
        }
        if (is_track) TrackParser(data, body, body + length, track++, out).parse();
        pos = body + length;
    }
    return out;
}

// Piecewise-linear map from ticks to seconds, one segment per tempo.
class TempoMap {
public:
    TempoMap(const Division& division, std::vector<TempoChange> changes) {
        if (division.ticks_per_quarter == 0) {
            segments_.push_back({0, 0.0, division.smpte_seconds_per_tick});
            return;
        }
        double seconds_per_micro_tick = 1e-6 / division.ticks_per_quarter;
        segments_.push_back({0, 0.0, kDefaultMicrosPerQuarter * seconds_per_micro_tick});
        // Of two changes at one tick, the later in the file wins.
        sort_keeping_order(changes, [](const TempoChange& change) { return change.tick; });
        for (const TempoChange& change : changes)
            add(change.tick, change.micros_per_quarter * seconds_per_micro_tick);
    }

    double seconds(uint64_t tick) const {
        auto after = std::upper_bound(segments_.begin(), segments_.end(), tick,
                                      [](uint64_t t, const Segment& s) { return t < s.tick; });
        const Segment& segment = *(after - 1);
        return segment.seconds + double(tick - segment.tick) * segment.seconds_per_tick;
    }

private:
    struct Segment {
        uint64_t tick;
        double seconds;
        double seconds_per_tick;
    };

    void add(uint64_t tick, double seconds_per_tick) {
        assert(tick >= segments_.back().tick && "tempo changes must come sorted by tick");
        if (tick == segments_.back().tick) {
            segments_.back().seconds_per_tick = seconds_per_tick;
            return;
        }
        segments_.push_back({tick, seconds(tick), seconds_per_tick});
    }

    std::vector<Segment> segments_;
};

// Sorts by tick, keeping file order among equal ticks, and sets the times.
std::vector<MidiNote> place_in_time(std::vector<TickedNote>& ticked, const TempoMap& tempo_map) {
    sort_keeping_order(ticked, [](const TickedNote& t) { return t.tick; });
    std::vector<MidiNote> notes;
    notes.reserve(ticked.size());
    for (const TickedNote& t : ticked) {
        notes.push_back(t.note);
        notes.back().time = tempo_map.seconds(t.tick);
    }
    return notes;
}

std::vector<MidiControl> place_in_time(std::vector<TickedControl>& ticked, const TempoMap& tempo_map) {
    sort_keeping_order(ticked, [](const TickedControl& t) { return t.tick; });
    std::vector<MidiControl> controls;
    controls.reserve(ticked.size());
    for (const TickedControl& t : ticked) {
        controls.push_back(t.control);
        controls.back().time = tempo_map.seconds(t.tick);
    }
    return controls;
}

MidiReadResult parse_midi(const uint8_t* data, std::size_t size) {
    if (size > kMaxMidiFileBytes)
        fail("file too large: " + std::to_string(size) + " bytes (at most " +
             std::to_string(kMaxMidiFileBytes) + ")");
    Header header = read_header(data, size);
    Division division = read_division(header.division);
    Timeline timeline = read_tracks(data, size, header);
    TempoMap tempo_map(division, std::move(timeline.tempos));
    MidiReadResult result;
    result.notes = place_in_time(timeline.notes, tempo_map);
    result.controls = place_in_time(timeline.controls, tempo_map);
    result.duration = tempo_map.seconds(timeline.end_tick);
    result.format = header.format;
    result.tracks = header.tracks;
    return result;
}

MidiReadResult failed_read(std::string message) {
    MidiReadResult result;
    result.error = std::move(message);
    return result;
}

// ---------------------------------------------------------------------------
// Writing

constexpr uint64_t kMaxWriteTick = UINT32_MAX;

void append_chunk_header(std::vector<uint8_t>& out, const char* type, uint32_t length) {
    for (int i = 0; i < 4; ++i)
        out.push_back(uint8_t(type[i]));
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(uint8_t(length >> shift));
}

// Builds the bytes of one track chunk, with running status.
class TrackWriter {
public:
    // Writes a delta time. Gaps longer than one variable-length quantity are
    // bridged with empty text events.
    void delta(uint64_t ticks) {
        while (ticks > kMaxVlq) {
            vlq(kMaxVlq);
            meta(kMetaText, {});
            ticks -= kMaxVlq;
        }
        vlq(uint32_t(ticks));
    }

    void channel(uint8_t status, uint8_t data1, uint8_t data2) {
        if (status != running_status_) bytes_.push_back(status);
        running_status_ = status;
        bytes_.push_back(data1);
        bytes_.push_back(data2);
    }

    void meta(uint8_t type, std::initializer_list<uint8_t> body) {
        bytes_.push_back(0xFF);
        bytes_.push_back(type);
        vlq(uint32_t(body.size()));
        bytes_.insert(bytes_.end(), body);
        running_status_ = 0; // a meta event cancels running status
    }

    void append_chunk(std::vector<uint8_t>& out) const {
        append_chunk_header(out, "MTrk", uint32_t(bytes_.size()));
        out.insert(out.end(), bytes_.begin(), bytes_.end());
    }

private:
    void vlq(uint32_t value) {
        assert(value <= kMaxVlq && "variable-length quantities hold 28 bits");
        uint8_t groups[kMaxVlqBytes];
        int count = 0;
        do {
            groups[count++] = value & 0x7F;
            value >>= 7;
        } while (value != 0);
        while (count > 1)
            bytes_.push_back(groups[--count] | 0x80);
        bytes_.push_back(groups[0]);
    }

    std::vector<uint8_t> bytes_;
    uint8_t running_status_ = 0;
};

uint32_t micros_per_quarter(double bpm) {
    assert(bpm > 0 && std::isfinite(bpm) && "tempo must be a positive number of beats per minute");
    double micros = 60e6 / bpm;
    if (!(micros >= 1)) return 1;
    if (micros >= kMaxMicrosPerQuarter) return kMaxMicrosPerQuarter;
    return uint32_t(std::lround(micros));
}

uint64_t to_tick(double seconds, double ticks_per_second) {
    double ticks = seconds * ticks_per_second;
    if (!(ticks > 0)) return 0; // negative or NaN
    if (ticks >= double(kMaxWriteTick)) return kMaxWriteTick;
    return uint64_t(std::llround(ticks));
}

// Controls come before the notes of their tick (a pedal pressed with a
// chord holds it).
void write_notes(TrackWriter& writer, const std::vector<MidiNote>& notes, const std::vector<MidiControl>& controls,
                 double ticks_per_second) {
    struct Ticked {
        uint64_t tick;
        int rank;
        uint8_t status, data1, data2;
    };
    std::vector<Ticked> ticked;
    ticked.reserve(notes.size() + controls.size());
    for (const MidiControl& c : controls)
        ticked.push_back({to_tick(c.time, ticks_per_second), 0, uint8_t(0xB0 | std::min<uint8_t>(c.channel, 15)),
                          std::min<uint8_t>(c.number, 127), std::min<uint8_t>(c.value, 127)});
    for (const MidiNote& note : notes)
        ticked.push_back({to_tick(note.time, ticks_per_second), 1,
                          uint8_t(0x90 | std::min<uint8_t>(note.channel, 15)), std::min<uint8_t>(note.pitch, 127),
                          std::min<uint8_t>(note.velocity, 127)});
    sort_keeping_order(ticked, [](const Ticked& t) { return std::make_pair(t.tick, t.rank); });
    uint64_t now = 0;
    for (const Ticked& t : ticked) {
        writer.delta(t.tick - now);
        now = t.tick;
        writer.channel(t.status, t.data1, t.data2);
    }
}

// A span's note-on and note-off, with the rank that orders events of equal
// time: earlier notes' offs, then ons, then offs of zero-length notes.
struct RankedEvent {
    MidiNote note;
    int rank = 0;
};

} // namespace

MidiReadResult read_midi_bytes(const uint8_t* data, std::size_t size) {
    try {
        return parse_midi(data, size);
    } catch (const MidiError& e) {
        return failed_read(e.message);
    } catch (const std::bad_alloc&) {
        return failed_read("out of memory while reading the MIDI file");
    }
}

MidiReadResult read_midi_file(const std::string& path) {
    std::error_code ec;
    std::uintmax_t size = std::filesystem::file_size(path, ec);
    if (ec) return failed_read("cannot open MIDI file '" + path + "': " + ec.message());
    if (size > kMaxMidiFileBytes)
        return failed_read(path + ": file too large: " + std::to_string(size) + " bytes (at most " +
                           std::to_string(kMaxMidiFileBytes) + ")");
    std::ifstream in(path, std::ios::binary);
    if (!in) return failed_read("cannot open MIDI file '" + path + "': " + std::strerror(errno));
    std::vector<uint8_t> bytes(size);
    in.read(reinterpret_cast<char*>(bytes.data()), std::streamsize(size));
    if (std::size_t(in.gcount()) != size) return failed_read("cannot read MIDI file '" + path + "'");
    MidiReadResult result = read_midi_bytes(bytes.data(), bytes.size());
    if (!result.ok()) result.error = path + ": " + result.error;
    return result;
}

std::vector<uint8_t> write_midi_bytes(const std::vector<MidiNote>& notes, uint16_t ticks_per_quarter,
                                      double bpm, const std::vector<MidiControl>& controls) {
    assert(ticks_per_quarter >= 1 && ticks_per_quarter <= 0x7FFF && "ticks per quarter must be in 1..32767");
    ticks_per_quarter = std::clamp<uint16_t>(ticks_per_quarter, 1, 0x7FFF);
    uint32_t micros = micros_per_quarter(bpm);
    TrackWriter writer;
    writer.delta(0);
    writer.meta(kMetaSetTempo, {uint8_t(micros >> 16), uint8_t(micros >> 8), uint8_t(micros)});
    write_notes(writer, notes, controls, ticks_per_quarter * 1e6 / micros);
    writer.delta(0);
    writer.meta(kMetaEndOfTrack, {});

    std::vector<uint8_t> out;
    append_chunk_header(out, "MThd", 6);
    for (uint16_t field : {uint16_t(0), uint16_t(1), ticks_per_quarter}) {
        out.push_back(uint8_t(field >> 8));
        out.push_back(uint8_t(field));
    }
    writer.append_chunk(out);
    return out;
}

bool write_midi_file(const std::string& path, const std::vector<MidiNote>& notes, uint16_t ticks_per_quarter,
                     double bpm, std::string* error, const std::vector<MidiControl>& controls) {
    std::vector<uint8_t> bytes = write_midi_bytes(notes, ticks_per_quarter, bpm, controls);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (out) out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    if (out) out.close();
    if (out) return true;
    if (error) *error = "cannot write MIDI file '" + path + "': " + std::strerror(errno);
    return false;
}

std::vector<MidiNote> midi_events_from_spans(const std::vector<MidiNoteSpan>& spans) {
    std::vector<RankedEvent> events;
    events.reserve(2 * spans.size());
    for (const MidiNoteSpan& span : spans) {
        double onset = std::isnan(span.onset) ? 0.0 : span.onset;
        double duration = span.duration > 0 ? span.duration : 0.0; // NaN too
        uint8_t velocity = std::max<uint8_t>(span.velocity, 1);
        events.push_back({{onset, span.pitch, velocity, span.channel, 0}, 1});
        double release = onset + duration;
        if (std::isnan(release)) release = onset; // an onset of minus infinity
        events.push_back({{release, span.pitch, 0, span.channel, 0}, duration > 0 ? 0 : 2});
    }
    sort_keeping_order(events,
                       [](const RankedEvent& event) { return std::make_pair(event.note.time, event.rank); });
    std::vector<MidiNote> notes;
    notes.reserve(events.size());
    for (const RankedEvent& event : events)
        notes.push_back(event.note);
    return notes;
}
