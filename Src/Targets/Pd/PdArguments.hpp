// The box's arguments: "@INLET" and "@OUTLET" lists of names, and
// attributes given as flags ("@suivi 1", "@analysis 4096 512").
#pragma once

#include "PdApi.hpp"

#include <string>
#include <vector>

struct BoxAttribute {
    std::string name;
    std::vector<t_atom> values;
};

struct BoxArguments {
    std::vector<std::string> inlets{"KL"};
    std::vector<std::string> outlets{"MAIN", "TEMPO", "LABEL", "LOADBANG"};
    std::vector<BoxAttribute> attributes;
};

// Reads the box's arguments; what cannot be read is reported and skipped.
BoxArguments read_box_arguments(int argc, const t_atom* argv);

// Inlet kinds: "AUDIO" and "KL" take a signal, "MIDI" pitch and velocity
// lists, "HZ" raw pitches.
bool is_audio_inlet(const std::string& kind);
