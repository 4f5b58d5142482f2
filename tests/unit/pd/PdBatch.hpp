// Runs Pure Data without a window (`pd -nogui -batch`) on a patch that a
// test writes: the patch loads a score into `cadenzium~`, plays a
// performance into it, prints what its outlets and the patch's receivers
// get, and quits. The printed lines are what the test reads.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

// A note of a performance: onset and duration in seconds.
struct PdNote {
    double onset;
    int pitch;
    double duration;
    int velocity;
};

// "onset pitch duration velocity" per line, '#' starting a comment.
std::vector<PdNote> read_notes(const std::filesystem::path& performance);

// The patch, given the folder it lives in. `receivers`: the names of the
// patch's receivers that print what they get as "message NAME values...".
struct PdPatch {
    std::string box = "cadenzium~ @INLET MIDI @OUTLET MAIN TEMPO LABEL LOADBANG ENDBANG";
    std::vector<std::string> receivers;
    // Messages to the object before "load score.cad", and after it and
    // "start".
    std::vector<std::string> setup;
    std::vector<std::string> commands;
    // MIDI notes played into the first inlet, or a sound file into its
    // signal when `sound` names one.
    std::vector<PdNote> notes;
    std::string sound;
    // Pd's signal chain on even without a sound: for AUDIO outlets, which
    // print their level in dB as "AUDIO: 62.1" (env~).
    bool dsp = false;
    // Lines of text that the patch itself writes over score.cad at
    // `rewrite_at` logical seconds (none when empty).
    std::vector<std::string> rewrite;
    double rewrite_at = 0;
    double seconds = 10; // logical seconds before Pd quits
    std::string text() const;
};

// The lines Pd printed (its console without the prefix "print: " of
// the printing objects), and its exit status.
struct PdRun {
    int status = -1;
    std::vector<std::string> lines;
    std::string console;
};

// Runs `patch` with `score.cad` (and the sound) already written in `dir`.
PdRun run_pd(const std::filesystem::path& dir, const PdPatch& patch);
