// Sound for the audio mode of the follow benchmark: a MIDI performance
// played on the test synthesiser's piano voice.
#pragma once

#include "MidiFile.hpp"
#include "Synth.hpp"

#include <string>
#include <vector>

// Pairs each note-on with the next note-off of its pitch and channel. A key
// struck again before its note-off is released at the new stroke; a note
// never released lasts until `end`. The sustain pedal is not honoured: the
// MIDI reader does not give controllers, so a note sounds from its note-on
// to its note-off only.
std::vector<SynthNote> notes_of_performance(const std::vector<MidiNote>& events, double end);

// The performance at `rate` Hz, mono.
std::vector<float> render_performance(const MidiReadResult& performance, int rate,
                                      const SynthVoice& voice = piano_voice());

// Saves a rendering as a float WAV, scaled down if it would clip.
bool write_rendering(const std::string& path, const std::vector<float>& samples, int rate);
