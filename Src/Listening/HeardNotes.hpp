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
#pragma once

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

    void note_on(int bin);
    void note_off(int bin);
    // One frame of `seconds` passes: the envelope moves on.
    void advance(double seconds);
    // Nothing heard, the envelope kept.
    void clear();

    // sum(level * templ) over the bins heard, divided by the larger of
    // `positive` (the template's pitch count) and the total level, floored
    // at 1e-12.
    float match(const std::vector<float>& templ, int positive) const;

    const std::vector<float>& levels() const { return level; }
    double total() const;

private:
    void drop(int bin);

    std::vector<float> level;
    std::vector<char> held;
    // Whether a bin is in `live`.
    std::vector<char> listed;
    std::vector<int> live;
    double release_ms = 0;
    double sustain_level = 1;
    double sustain_ms = 0;
};
