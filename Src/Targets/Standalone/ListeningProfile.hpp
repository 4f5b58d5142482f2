// How the standalone program listens to a musician by MIDI.
//
// The engine's defaults drop a released note from the observation at once
// and use the occupancy model 0.5. Pianists release short notes before the
// next one while another voice is held, and with those defaults the
// follower falls back onto earlier events that still match the held notes
// (58.8% of the events of the follow data set within 300 ms). The piano
// profile lets a released note fade over 100 ms and a held note settle to
// half its weight over a second, with occupancy 0.2 (97.6% on the same set).
#pragma once

class cadenzium_core;

struct ListeningProfile {
    double occupancy = 0.5;
    double release_ms = 0;
    double sustain_level = 1;
    double sustain_ms = 0;
};

// The engine's own defaults.
ListeningProfile design_profile();
// What the program uses for a pianist by MIDI.
ListeningProfile piano_midi_profile();

// Applies a profile; call it before reading the score, since the states
// take some of these settings when they are built.
void apply_listening_profile(cadenzium_core& engine, const ListeningProfile& profile);
