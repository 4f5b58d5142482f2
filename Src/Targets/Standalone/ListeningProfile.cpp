#include "ListeningProfile.hpp"

#include "Listening/CadAlign.hpp"
#include "RunTime/CadenziumCore.hpp"

ListeningProfile design_profile() { return {}; }

ListeningProfile piano_midi_profile() { return {0.2, 100, 0.5, 1000}; }

void apply_listening_profile(cadenzium_core& engine, const ListeningProfile& p) {
    CadAlign& align = engine.get_align();
    align.inference_occupancymodel_set(p.occupancy);
    align.midi_envelope_set(p.release_ms, p.sustain_level, p.sustain_ms);
}
