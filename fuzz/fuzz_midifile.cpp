// Feeds arbitrary bytes to the Standard MIDI File reader. Whatever it reads
// must be sane, and must come back the same through the writer.
#include "Targets/Standalone/MidiFile.hpp"

#include <cmath>
#include <cstdlib>

namespace {

constexpr uint16_t kTicksPerQuarter = 480;
constexpr double kBpm = 120.0;
constexpr double kTick = 60.0 / kBpm / kTicksPerQuarter;
// The writer clamps times beyond 2^32 ticks; stay well below.
constexpr double kMaxRewriteSeconds = 1e6;

void check(bool condition) {
    if (!condition) std::abort();
}

void check_sane(const MidiReadResult& result) {
    double previous = 0.0;
    for (const MidiNote& note : result.notes) {
        check(std::isfinite(note.time) && note.time >= previous);
        check(note.pitch < 128 && note.velocity < 128 && note.channel < 16);
        check(note.track < result.tracks);
        previous = note.time;
    }
    check(std::isfinite(result.duration) && result.duration >= previous);
}

void check_rewrite(const MidiReadResult& result) {
    if (!result.notes.empty() && result.notes.back().time > kMaxRewriteSeconds) return;
    std::vector<uint8_t> bytes = write_midi_bytes(result.notes, kTicksPerQuarter, kBpm);
    MidiReadResult again = read_midi_bytes(bytes.data(), bytes.size());
    check(again.ok() && again.notes.size() == result.notes.size());
    for (std::size_t i = 0; i < again.notes.size(); ++i) {
        const MidiNote& a = result.notes[i];
        const MidiNote& b = again.notes[i];
        check(std::fabs(a.time - b.time) <= kTick);
        check(a.pitch == b.pitch && a.velocity == b.velocity && a.channel == b.channel);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    MidiReadResult result = read_midi_bytes(data, size);
    if (!result.ok()) {
        check(result.notes.empty());
        return 0;
    }
    check_sane(result);
    check_rewrite(result);
    return 0;
}
