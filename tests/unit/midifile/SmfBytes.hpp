// Builds Standard MIDI File bytes by hand, so tests state exactly what the
// reader sees, including files that no writer would make.
#pragma once

#include "Targets/Standalone/MidiFile.hpp"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

// Lets test failures show notes readably.
inline void PrintTo(const MidiNote& note, std::ostream* os) {
    *os << "{t=" << note.time << " pitch=" << int(note.pitch) << " vel=" << int(note.velocity)
        << " ch=" << int(note.channel) << " track=" << note.track << "}";
}

namespace smf_bytes {

using Bytes = std::vector<uint8_t>;

inline Bytes vlq(uint32_t value) {
    Bytes groups{uint8_t(value & 0x7F)};
    while ((value >>= 7) != 0)
        groups.insert(groups.begin(), uint8_t(0x80 | (value & 0x7F)));
    return groups;
}

inline Bytes be32(uint32_t value) {
    return {uint8_t(value >> 24), uint8_t(value >> 16), uint8_t(value >> 8), uint8_t(value)};
}

inline void append(Bytes& out, const Bytes& more) {
    out.insert(out.end(), more.begin(), more.end());
}

// The body of a track chunk: each event is a delta time and raw bytes.
struct Track {
    Bytes body;

    Track& event(uint32_t delta, const Bytes& bytes) {
        append(body, vlq(delta));
        append(body, bytes);
        return *this;
    }
    Track& on(uint32_t delta, uint8_t pitch, uint8_t velocity, uint8_t channel = 0) {
        return event(delta, {uint8_t(0x90 | channel), pitch, velocity});
    }
    Track& off(uint32_t delta, uint8_t pitch, uint8_t channel = 0) {
        return event(delta, {uint8_t(0x80 | channel), pitch, 64});
    }
    Track& tempo(uint32_t delta, uint32_t micros_per_quarter) {
        return event(delta, {0xFF, 0x51, 0x03, uint8_t(micros_per_quarter >> 16),
                             uint8_t(micros_per_quarter >> 8), uint8_t(micros_per_quarter)});
    }
    Track& end(uint32_t delta = 0) { return event(delta, {0xFF, 0x2F, 0x00}); }
};

inline Bytes chunk(const std::string& type, const Bytes& body) {
    Bytes out(type.begin(), type.end());
    append(out, be32(uint32_t(body.size())));
    append(out, body);
    return out;
}

inline Bytes header(uint16_t format, uint16_t tracks, uint16_t division) {
    return chunk("MThd", {uint8_t(format >> 8), uint8_t(format), uint8_t(tracks >> 8), uint8_t(tracks),
                          uint8_t(division >> 8), uint8_t(division)});
}

// A whole file whose header declares exactly the given tracks.
inline Bytes file(uint16_t format, uint16_t division, const std::vector<Track>& tracks) {
    Bytes out = header(format, uint16_t(tracks.size()), division);
    for (const Track& track : tracks)
        append(out, chunk("MTrk", track.body));
    return out;
}

} // namespace smf_bytes
