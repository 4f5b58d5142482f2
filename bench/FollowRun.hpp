// Following one case of the follow benchmark, by MIDI or by audio.
#pragma once

#include "FollowCases.hpp"

#include <filesystem>
#include <string>

class StandaloneHost;

// Settings of the listening machine: by MIDI the program's piano profile
// unless told otherwise, by audio the engine's defaults; negative values
// (zero for the audio ones) leave the profile's.
struct ListeningSettings {
    bool design = false;
    double occupancy = -1;
    int window = -1;
    double dummy_silence = -1; // self-transition of the silent waiting states
    // MIDI observation
    double release_ms = -1;
    double sustain_level = -1;
    double sustain_ms = -1;
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
    bool time_hops = false;
    bool plain_voice = false; // the synthesiser's default voice instead of its piano
};

CaseRun follow_by_midi(const std::filesystem::path& dir, const ListeningSettings& settings);
CaseRun follow_by_audio(const std::filesystem::path& dir, const ListeningSettings& settings,
                        const AudioSetup& setup);
