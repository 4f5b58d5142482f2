#include "RunTime/ListeningProfile.hpp"

#include "Listening/CadAlign.hpp"
#include "Listening/StateChain.hpp"
#include "RunTime/CadenziumCore.hpp"

#include <map>

ListeningProfile design_profile() {
    return {};
}

// Chosen on the 39 performances of the follow set together (follow_bench):
// each setting in turn tried a step either side while the pooled precision
// rose, the shortfall of any case below 90% counted against it.
ListeningProfile piano_midi_profile() {
    ListeningProfile p;
    p.occupancy = 0.2;
    p.release_ms = 50;
    p.sustain_level = 0.5;
    p.sustain_ms = 1000;
    // Notes last about their written length, give or take half of it; a
    // note held past it waits in its tail.
    p.spread = 0.5;
    p.hold = 0.3;
    p.hold_loop = 0.97;
    // A note left out, up to six in a row, a chord half as often and a
    // note shorter than an eighth of a beat half as often again; a note
    // played again, two back.
    p.skip = 0.03;
    p.skip_chord = 0.5;
    p.skip_short = 1.5;
    // A note held past its law whose next event has not come: from its
    // tail, five times the skips.
    p.tail_skip = 5;
    p.skip_reach = 6;
    p.skip_decay = 0.3;
    p.back = 0.003;
    p.back_reach = 2;
    p.window = 35;
    p.evidence.extra = 0.009;
    p.evidence.restrike = 0.009;
    p.evidence.unannounced = 0.001;
    // A note a semitone off, where a single note is due, is that note
    // played wrong.
    p.evidence.wrong_note = 1.0;
    p.evidence.sound_power = 0.1;
    p.evidence.sound_floor = 0.02;
    p.evidence.early_frames = 6;
    p.through_silence = true;
    p.relocation = true;
    p.relocator.trusted = 0.4;
    p.relocator.doubted = 0.2;
    p.relocator.foreign = 0.1;
    p.relocator.lost_mass = 0.02;
    p.relocator.found_mass = 0.4;
    p.relocator.reentry = 0.001;
    p.relocator.clear_lost = 0.005;
    p.relocator.clear_found = 0.95;
    return p;
}

// By audio (chosen on the 39 cases rendered by FluidSynth, all together):
// reports are dated back by what the analysis adds (a note is decided about
// 80 ms after its onset, once enough of it fills the 4096-sample window),
// and attacks are evidence: the rise of the semitone bands of a pitch
// class's first eight partials tells its entry from its held or decaying
// sound. The MIDI profile's skips do not carry over: with the spectral
// match's noisier frames they jump ahead.
ListeningProfile piano_audio_profile() {
    ListeningProfile p;
    p.onset_lag = 0.08;
    p.audio_attacks = true;
    p.onsets.partials = 8;
    // Only bands within 40 dB of the peak rise, and fully only within 20 dB
    // of the loudest band: the hammer's noise in quiet bands is no attack.
    p.onsets.depth_db = 40;
    p.onsets.loud_range_db = 20;
    // An attack foreign to an event counts 0.03 against it in every phase.
    p.evidence.extra = 0.03;
    return p;
}

bool ListeningProfile::set(const std::string& name, double value) {
    const std::map<std::string, double*> fields = {{"occupancy", &occupancy},
                                                   {"spread", &spread},
                                                   {"release_ms", &release_ms},
                                                   {"sustain_level", &sustain_level},
                                                   {"sustain_ms", &sustain_ms},
                                                   {"hold", &hold},
                                                   {"hold_loop", &hold_loop},
                                                   {"skip", &skip},
                                                   {"back", &back},
                                                   {"skip_decay", &skip_decay},
                                                   {"skip_chord", &skip_chord},
                                                   {"tail_skip", &tail_skip},
                                                   {"skip_short", &skip_short},
                                                   {"reentry", &reentry},
                                                   {"extra", &evidence.extra},
                                                   {"restrike", &evidence.restrike},
                                                   {"unannounced", &evidence.unannounced},
                                                   {"wrong_note", &evidence.wrong_note},
                                                   {"sound_floor", &evidence.sound_floor},
                                                   {"sound_power", &evidence.sound_power},
                                                   {"coverage_floor", &evidence.coverage_floor},
                                                   {"early_fraction", &evidence.early_fraction},
                                                   {"reloc_stay", &relocator.stay},
                                                   {"reloc_next", &relocator.next},
                                                   {"reloc_skip", &relocator.skip},
                                                   {"reloc_reentry", &relocator.reentry},
                                                   {"reloc_foreign", &relocator.foreign},
                                                   {"lost_mass", &relocator.lost_mass},
                                                   {"found_mass", &relocator.found_mass},
                                                   {"reloc_reach", &relocator.reach},
                                                   {"trusted", &relocator.trusted},
                                                   {"onset_lag", &onset_lag},
                                                   {"flux_threshold", &onsets.threshold_db},
                                                   {"flux_cap", &onsets.cap_db},
                                                   {"note_db", &onsets.note_db},
                                                   {"peak_decay", &onsets.peak_decay_db},
                                                   {"silence_db", &onsets.silence_db},
                                                   {"silence_width", &onsets.silence_width_db},
                                                   {"attack_db", &onsets.attack_db},
                                                   {"loud_range", &onsets.loud_range_db},
                                                   {"floor_margin", &onsets.floor_margin_db},
                                                   {"floor_rise", &onsets.floor_rise_db},
                                                   {"full_share", &onsets.full_share},
                                                   {"flux_depth", &onsets.depth_db},
                                                   {"doubted", &relocator.doubted},
                                                   {"clear_lost", &relocator.clear_lost},
                                                   {"clear_found", &relocator.clear_found},
                                                   {"reloc_smoothing", &relocator.smoothing}};
    if (const auto it = fields.find(name); it != fields.end()) {
        *it->second = value;
        return true;
    }
    if (name == "back_reach")
        back_reach = static_cast<int>(value);
    else if (name == "skip_reach")
        skip_reach = static_cast<int>(value);
    else if (name == "window")
        window = static_cast<int>(value);
    else if (name == "early_frames")
        evidence.early_frames = static_cast<int>(value);
    else if (name == "early_limit")
        evidence.early_limit = static_cast<int>(value);
    else if (name == "relocation")
        relocation = value != 0;
    else if (name == "coverage")
        evidence.coverage = value != 0;
    else if (name == "through_silence")
        through_silence = value != 0;
    else if (name == "hop_steps")
        hop_steps = value != 0;
    else if (name == "pedal")
        pedal = value != 0;
    else if (name == "audio_attacks")
        audio_attacks = value != 0;
    else if (name == "partials")
        onsets.partials = static_cast<int>(value);
    else if (name == "flux_lag")
        onsets.lag = static_cast<int>(value);
    else if (name == "lost_frames")
        relocator.lost_frames = static_cast<int>(value);
    else if (name == "found_span")
        relocator.found_span = static_cast<int>(value);
    else
        return false;
    return true;
}

void apply_listening_profile(cadenzium_core& engine, const ListeningProfile& p) {
    engine.midi_steps_by_hop(p.hop_steps);
    apply_listening_profile(engine.get_align(), p);
}

void apply_listening_profile(CadAlign& align, const ListeningProfile& p) {
    align.inference_occupancymodel_set(p.occupancy);
    align.midi_envelope_set(p.release_ms, p.sustain_level, p.sustain_ms);
    align.evidence = p.evidence;
    align.relocation = p.relocation;
    align.listen_through_silence = p.through_silence;
    align.hear_pedal = p.pedal;
    align.audio_attacks = p.audio_attacks;
    align.onset_lag = p.onset_lag;
    align.onsets.settings = p.onsets;
    align.onsets.setAnalysis(align.samplerate, static_cast<int>(align.nfft), align.hop);
    align.relocator.settings = p.relocator;
    if (p.window != align.decode_window_length) align.inference_decode_window_length(p.window);
    StateChain::duration_spread = p.spread;
    StateChain::hold_probability = p.hold;
    StateChain::hold_loop_probability = p.hold_loop;
    StateChain::skip_probability = p.skip;
    StateChain::skip_reach = p.skip_reach;
    StateChain::skip_decay = p.skip_decay;
    StateChain::skip_chord = p.skip_chord;
    StateChain::tail_skip = p.tail_skip;
    StateChain::skip_short = p.skip_short;
    StateChain::reentry = p.reentry;
    StateChain::back_probability = p.back;
    StateChain::back_reach = p.back_reach;
}
