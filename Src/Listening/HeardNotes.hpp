// What the MIDI observation compares with the templates: a level per bin of
// the pitch grid. A note-on sets its bin to 1.0. By default a note-off drops
// it to nothing at once (1e-12), so that the level is the set of notes now
// sounding.
//
// An envelope may be set instead: a held note relaxes towards a sustain
// level, so that fresh attacks weigh more than an old held bass; a released
// note fades out over a release time, so that a short (staccato) note still
// names its event until the next one comes, even while another voice holds
// a note and keeps the machine running.
//
// The bins above the floor are kept in a list, so that a match costs the
// number of notes heard, not the size of the grid.
//
// The notes struck since the last frame are kept apart, with their times:
// they are the frame's attacks. While the sustain pedal is down a released
// note keeps sounding as if held, until the pedal is lifted.
#pragma once

#include <array>
#include <bitset>
#include <vector>

class HeardNotes {
public:
    // The level of a released note, and the level below which a fading
    // note is dropped.
    static constexpr float FLOOR = 1e-12f;
    static constexpr float FADED = 1e-3f;

    explicit HeardNotes(int bins);

    // `release_ms` 0 releases at once; `sustain_level` 1 keeps held notes
    // at 1.0. Both together are the plain rule.
    void set_envelope(double release_ms, double sustain_level, double sustain_ms);
    bool has_envelope() const { return release_ms > 0 || sustain_level < 1; }
    double release_time() const { return release_ms; }
    double sustain() const { return sustain_level; }
    double sustain_time() const { return sustain_ms; }

    // `note` is the MIDI number struck (for the attacks), `time` when.
    void note_on(int bin, int note = -1, double time = 0);
    void note_off(int bin);
    // The sustain pedal (CC 64) down or up; lifting it releases the notes
    // it held.
    void pedal(bool down);
    bool pedal_down() const { return pedal_held; }
    // One frame of `seconds` passes: the envelope moves on and the frame's
    // attacks are forgotten.
    void advance(double seconds);
    // Nothing heard, the envelope kept.
    void clear();

    // The MIDI numbers struck since the last frame, in order, and when.
    const std::vector<int>& attacks() const { return fresh; }
    const std::vector<double>& attack_times() const { return fresh_times; }
    // When MIDI note `note` was last struck (-infinity: not yet).
    double struck_at(int note) const {
        return note >= 0 && note < 128 ? last_strike[static_cast<size_t>(note)] : NEVER;
    }
    static constexpr double NEVER = -1e300;

    // sum(level * templ) over the bins heard, divided by the larger of
    // `positive` (the template's pitch count) and the total level, floored
    // at 1e-12.
    float match(const std::vector<float>& templ, int positive) const;

    // How the notes heard cover a pitch class of MIDI notes (`notes`, the
    // same as bits of `own`): the share of its notes that sound, and the
    // share of the level heard that is its own.
    struct Coverage {
        double recall = 0;
        double precision = 0;
    };
    Coverage coverage(const std::vector<int>& notes, const std::bitset<128>& own) const;

    const std::vector<float>& levels() const { return level; }
    double total() const;

private:
    void drop(int bin);
    void release(int bin);

    std::vector<float> level;
    std::vector<char> held;
    // Whether a bin is in `live`.
    std::vector<char> listed;
    std::vector<int> live;
    std::vector<int> fresh;
    std::vector<double> fresh_times;
    std::array<double, 128> last_strike;
    // Released while the pedal was down: still sounding.
    std::vector<char> pedalled;
    bool pedal_held = false;
    double release_ms = 0;
    double sustain_level = 1;
    double sustain_ms = 0;
};
