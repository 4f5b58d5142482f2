// Shared observation templates and occupancy laws: one of each per distinct
// key, created when a state of the window first asks for it.
#include "Listening/CadAlign.hpp"

#include "Base/Console.hpp"
#include "Listening/NearestKey.hpp"
#include "Listening/StateChain.hpp"

#include <cmath>

UniqueObs& CadAlign::insert_PitchClass(const PitchClass& pc, bool history) {
    auto it = obs_map.find(pc);
    const bool existed = it != obs_map.end();
    if (!existed) it = obs_map.emplace(pc, std::make_unique<UniqueObs>()).first;
    UniqueObs& r = *it->second;
    touch_PitchClass(r, pc, history, static_cast<size_t>(MIDI_input() >= 0 ? midi_size : template_size));
    if (verbosity > 2)
        post("StateChain::insert_PitchClass: candidate pitches are %s (KL template size = %d) - already "
             "exist = %d - "
             "key = %s - value.size = %i (map size %i)",
             pc.toString().c_str(), template_size, existed ? 1 : 0, pc.toString().c_str(),
             static_cast<int>(r.templ.size()), static_cast<int>(obs_map.size()));
    return r;
}

UniqueObs& CadAlign::cached_PitchClass(UniqueObs*& cache, std::uint64_t& generation, const PitchClass& pc,
                                       bool history) {
    if (!cache || generation != obs_generation || verbosity > 2) {
        cache = &insert_PitchClass(pc, history);
        generation = obs_generation;
        return *cache;
    }
    touch_PitchClass(*cache, pc, history, frame_template_size);
    return *cache;
}

void CadAlign::touch_PitchClass(UniqueObs& r, const PitchClass& pc, bool history, std::size_t expected) {
    if (r.templ.size() != expected) build_template(r, pc);
    if (history)
        ++r.history_count;
    else
        ++r.instant_count;
}

// The builder sees the driver's harmonics and piano mode, not the state's.
// By MIDI a pitch is heard on its nearest key: a glide's quarter tones, or a
// pitch a few cents off, expect the key a player strikes for them.
void CadAlign::build_template(UniqueObs& r, const PitchClass& pc) {
    PitchClass key = pc;
    key.harmlist = harmlist;
    key.piano = PianoMode;
    r.positive_pitches = key.positive_count();
    set_notes(r, pc);
    if (MIDI_input() >= 0) {
        for (float& p : key.pitches)
            if (p > 0) p = static_cast<float>(nearest_key(p));
        MakeMIDItemplates(r.templ, key);
        return;
    }
    if (PianoMode)
        PreparePianoTemplates(r.templ, key);
    else
        MakeKLtemplates(r.templ, key);
    r.kl.build(r.templ);
}

void CadAlign::set_notes(UniqueObs& r, const PitchClass& pc) const {
    r.own_notes.reset();
    r.struck_notes.reset();
    r.note_list.clear();
    for (float p : pc.pitches) {
        if (p <= 0) continue;
        const int note = nearest_key(p);
        if (note < 0 || note >= 128) continue;
        if (!r.own_notes[static_cast<size_t>(note)]) r.note_list.push_back(note);
        r.own_notes.set(static_cast<size_t>(note));
        r.struck_notes.set(static_cast<size_t>(note));
    }
    for (float p : pc.tied) {
        const int note = nearest_key(p);
        if (note >= 0 && note < 128) r.struck_notes.reset(static_cast<size_t>(note));
    }
    // Only a single struck note is missed by a neighbour: among a chord's
    // keys, a wrong one cannot be told from a stray.
    r.near_notes.reset();
    if (r.struck_notes.count() == 1)
        r.near_notes = ((r.struck_notes << 1) | (r.struck_notes >> 1)) & ~r.own_notes;
    r.own_bands = AudioOnsets::partial_bands(r.own_notes, onsets.settings.partials);
    r.struck_bands = AudioOnsets::partial_bands(r.struck_notes, onsets.settings.partials);
}

void CadAlign::clear_observation_history() {
    for (auto& [pc, r] : obs_map)
        r->history.clear();
}

void CadAlign::DiscreteOccupancies(std::vector<double>& out, double mean, int u_max, double model, bool log) {
    ::DiscreteOccupancies(out, mean, u_max, model, log);
}

UniqueOccupancy& CadAlign::insert_occupancy(double frame_duration, int u_max) {
    UniqueOccupancy* r = occupancy_map.find(frame_duration);
    const bool existed = r != nullptr;
    if (!r) r = &occupancy_map.acquire(frame_duration);
    if (!existed || r->occupancy.size() < static_cast<size_t>(u_max)) {
        const double model = StateChain::duration_spread > 0
                                 ? spread_model(frame_duration, StateChain::duration_spread)
                                 : StateChain::occupancyModel;
        ::DiscreteOccupancies(r->occupancy, frame_duration, u_max, model, false);
        survivor_from_occupancy(r->occupancy, r->survivor);
    }
    r->used = true;
    if (verbosity > 2)
        post("CadAlign::insert_occupancy(): candidate frame_duration = %f and u_max = %i - already exist = "
             "%d - flag "
             "= %i",
             frame_duration, u_max, existed ? 1 : 0, r->used ? 1 : 0);
    return *r;
}

void CadAlign::computeDurationDistributions(const std::vector<double>*& occupancy,
                                            const std::vector<double>*& survivor, double frame_duration,
                                            int u_max) {
    const UniqueOccupancy& r = insert_occupancy(frame_duration, u_max);
    occupancy = &r.occupancy;
    survivor = &r.survivor;
}
