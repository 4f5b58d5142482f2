// A MIDI performance played by FluidSynth on a General MIDI piano sound
// font (the Debian package fluid-soundfont-gm): notes with their
// velocities and the sustain pedal, rendered offline to a mono buffer.
#pragma once

#include "MidiFile.hpp"

#include <string>
#include <vector>

// Where Debian installs the General MIDI sound font.
inline constexpr const char* kDefaultSoundFont = "/usr/share/sounds/sf2/FluidR3_GM.sf2";

// The performance (notes and controller changes, on the acoustic grand
// piano of the sound font) at `rate` Hz, the two channels mixed to one,
// with `tail` seconds after its end. Empty, with `error` set, when the
// sound font cannot be loaded.
std::vector<float> render_with_fluidsynth(const MidiReadResult& performance, int rate,
                                          const std::string& soundfont, double tail, std::string& error);
