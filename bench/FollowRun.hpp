// Following one case of the follow benchmark, by MIDI or by audio.
#pragma once

#include "FollowCases.hpp"

#include <filesystem>
#include <string>
#include <vector>

class StandaloneHost;

// Settings of the listening machine: by MIDI the program's piano profile
// unless told otherwise, by audio the engine's defaults, with overrides by
// name ("hold=0.9", see ListeningProfile::set); zero audio values leave the
// engine's.
struct ListeningSettings {
    bool design = false;
    std::vector<std::string> params;
    // Audio observation
    double gamma = 0; // 0 leaves the engine's
    double klexp = 0; // 0 leaves the engine's
    int harmonics = 0;

    // Set before the score is read: states take some of them when built.
    void apply_midi(StandaloneHost& host) const;
    void apply_audio(StandaloneHost& host) const;
};

struct AudioSetup {
    int rate = 44100;
    int block = 512;
    std::string write_dir; // where renderings are saved, or empty
    // Where renderings are kept between runs (read back when there), or
    // empty.
    std::string cache_dir;
    bool time_hops = false;
    // "fluidsynth" (the General MIDI piano) or "synth" (the test
    // synthesiser's piano voice).
    std::string renderer = "fluidsynth";
    std::string soundfont;
    bool plain_voice = false; // the synthesiser's default voice instead of its piano
};

CaseRun follow_by_midi(const std::filesystem::path& dir, const ListeningSettings& settings);
CaseRun follow_by_audio(const std::filesystem::path& dir, const ListeningSettings& settings,
                        const AudioSetup& setup);
