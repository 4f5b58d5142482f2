// The driver of the listening machine: owns the observation templates, the
// occupancy laws and the state chain of each score it followed, turns MIDI
// notes and audio spectra into observation probabilities, and runs the cycle
// of one frame: observe, infer, decide. A step gives its decision back; the
// engine accepts or refuses it and tells the machine where the position
// stands (`place_window`). The machine never calls the engine.
#pragma once

#include "Listening/AudioFrontEnd.hpp"
#include "Listening/AudioLikelihood.hpp"
#include "Listening/AudioOnsets.hpp"
#include "Listening/AudioTemplates.hpp"
#include "Listening/Evidence.hpp"
#include "Listening/HeardNotes.hpp"
#include "Listening/History.hpp"
#include "Listening/Occupancy.hpp"
#include "Listening/PedalHistory.hpp"
#include "Listening/PitchClass.hpp"
#include "Listening/Relocator.hpp"
#include "Listening/StateSemiMarkov.hpp"

#include <atomic>
#include <bitset>
#include <cstdint>
#include <deque>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

class Event;
class Score;
class StateChain;
class t_tempo;

// One template and its observations, shared by every state of equal pitch
// class. It lives while some state of the decode window asks for it.
struct UniqueObs {
    // How many semi-Markov / Markov states asked at this frame.
    int history_count = 0;
    int instant_count = 0;
    Observation history{OBS_HISTORY};
    // The newest settled probability.
    double instant = 0;
    std::vector<float> templ;
    // The spectral template's logarithms, for the audio match.
    KLTemplate kl;
    // Pitches above 0 in the pitch class: the denominator of a MIDI match.
    int positive_pitches = 0;
    // The MIDI notes (nearest semitones) of the pitch class, and those it
    // strikes (not tied): whom an attack belongs to.
    std::bitset<128> own_notes;
    std::bitset<128> struck_notes;
    // Keys a semitone from a struck note that are none of its own.
    std::bitset<128> near_notes;
    std::vector<int> note_list;
    // By audio: the semitone bands of those notes' first partials.
    std::bitset<128> own_bands;
    std::bitset<128> struck_bands;

    // The newest probabilities; kept in the history only when a
    // semi-Markov state asked for them.
    void push_back(const PhaseValues& p);
    void push_back(double p) { push_back(PhaseValues{p, p, p}); }
    // The attacks of a frame (MIDI note numbers) counted against the notes.
    AttackCount count(const std::vector<int>& attacks) const;
};

// Inlet kinds of the inlet-kinds map.
constexpr int INLET_KIND_MIDI = 1;
constexpr int INLET_KIND_AUDIO = 2;

// What one decoding step decided.
struct Decision {
    // The most likely event (or sub-event within a trill or multi-event)
    // changed: an onset at `onset_time`.
    bool moved = false;
    int index = -1;
    Event* sub = nullptr;
    double onset_time = 0; // seconds, the engine's clock
    // A frame decoded without an onset: the position lasts one frame more
    // and $ENERGY takes the frame's `energy`. (A step while no note sounds
    // decodes nothing: neither `moved` nor `quiet`.)
    bool quiet = false;
    float energy = 0;
    // The belief in the decided state, in [0, 1].
    double certainty = 0;
};

class CadAlign {
public:
    // `name` heads the console lines of the machine (the host's name).
    explicit CadAlign(std::string name = "cadenzium");
    ~CadAlign();
    CadAlign(const CadAlign&) = delete;
    CadAlign& operator=(const CadAlign&) = delete;

    // ---- setup (the caller holds the engine's align mutex) ----
    // Starts a performance: inlets and tempo, the chain at its first state,
    // observation history and sounding notes cleared.
    void setPointers(const std::map<std::string, int>* inlets, t_tempo* tempo);
    // Builds the score's chain if it has none (unless the score is read
    // without states) and makes it the chain followed.
    void setScore(Score* score);
    void setAnalysis(float samplerate, float nfft, float hop);
    // Drops what the machine keeps for a score about to be freed.
    void forget(const Score* score);

    // ---- the cycle of one frame ----
    // One step at the engine's time `now`; what it decided.
    Decision Align(double now);
    void Observer();
    void Inference();
    Decision Decode(double now);

    // ---- MIDI observation ----
    // The number of the "MIDI" inlet, or -1.
    int MIDI_input() const;
    int AUDIO_input() const;
    // Listening to MIDI with every note released: until the next note,
    // steps only let what was heard fade, or (listening through silence)
    // let time pass in the rests.
    bool waiting_for_notes() const { return MIDI_input() >= 0 && !any_note_sounding(); }
    // The raw input of an inlet for this frame (no allocation once the
    // inlet has been seen).
    void set_observation(int inlet, const float* values, int n);
    // A pitch and velocity list has arrived at the MIDI inlet (at the
    // engine's time `now`; without it, the time of the last step): update
    // the sounding notes and the frame's attacks.
    void MIDI_prepareObs();
    void MIDI_prepareObs(double now);
    // A controller change at the MIDI inlet: the sustain pedal (64) holds
    // released notes on in what is heard, from a value of 64.
    void MIDI_control(int number, int value);
    bool MIDI_statecheck(int i) const;
    bool AUDIO_statecheck(int i) const;
    float MIDI_likelihood(const PitchClass& pc, const std::vector<float>& obs);
    // The envelope of heard notes (see HeardNotes): 0, 1, 0 is the plain
    // rule, a note heard from its note-on to its note-off.
    void midi_envelope_set(double release_ms, double sustain_level, double sustain_ms);
    // A Gaussian bump per pitch on the 254-point half-semitone grid,
    // normalised.
    void MakeMIDItemplates(std::vector<float>& out, const PitchClass& pc) const;

    // ---- audio observation ----
    // One magnitude spectrum of a full analysis window, into the observation
    // of the "KL" inlet.
    void SigProc_frontend(const float* samples);
    // exp(KLexp * divergence) in the driver's KL mode; floors zero bins of
    // both vectors in place.
    float KL_likelihood(std::vector<float>& spectrum, std::vector<float>& templ) const;
    void MakeKLtemplates(std::vector<float>& out, const PitchClass& pc);
    void PreparePianoTemplates(std::vector<float>& out, const PitchClass& pc);
    void harmlistgen(std::vector<float>& pitches) const { templates.harmlistgen(pitches, harmlist); }

    // ---- templates ----
    UniqueObs& insert_PitchClass(const PitchClass& pc, bool history);
    Observation& insert_PitchClass_History(const PitchClass& pc) {
        return insert_PitchClass(pc, true).history;
    }
    const double& insert_PitchClass_Instant(const PitchClass& pc) {
        return insert_PitchClass(pc, false).instant;
    }
    // The same for a state that keeps its entry in `cache` between frames:
    // no look-up while no entry was dropped since `generation`. Called
    // while the frame is observed.
    UniqueObs& cached_PitchClass(UniqueObs*& cache, std::uint64_t& generation, const PitchClass& pc,
                                 bool history);
    void clear_observation_history();
    std::size_t template_count() const { return obs_map.size(); }

    // ---- occupancy laws ----
    void computeDurationDistributions(const std::vector<double>*& occupancy,
                                      const std::vector<double>*& survivor, double frame_duration, int u_max);
    UniqueOccupancy& insert_occupancy(double frame_duration, int u_max);
    static void DiscreteOccupancies(std::vector<double>& out, double mean, int u_max, double model, bool log);
    int occupancy_count() const { return occupancy_map.size(); }

    // ---- durations at the live tempo ----
    float FrameDurationFloat(const Event* e, double beats) const;
    float FrameDurationFloat(int i) const;
    int FrameDuration(int i) const;
    float IOIFrameDurationFloat(int i) const;
    int IOIFrameDuration(int i) const;
    double SecondsDuration(int i) const;
    double IOISecondsDuration(int i) const;
    int eventToIndex(const Event* e) const;

    // ---- position ----
    // Forces the machine onto event i: all mass there, the window around it.
    void set_Position(int i);
    // The machine waits in front of event i (1 or more): in a silent state
    // that the event's first observation leaves, with what was heard
    // before forgotten. The position held meanwhile is the event before.
    void wait_before(int i);
    // After a decision that moved: the position the engine holds now (the
    // decided one, or the one it kept). The window stays on the belief.
    void place_window(int position);
    // The position the engine holds, as last told.
    int accepted_position() const { return accepted; }

    // ---- parameters ----
    void set_verbosity(int v);
    void inference_decode_window_length(int n);
    void inference_occupancymodel_set(double d);
    void inference_rubato(int on);
    void inference_dummysilences_set(double d);
    void inference_version_set(int n);
    void inference_common_transition(double d);
    void inference_dummy_observations(int on);
    void inference_print_enable(int on);
    void set_nofharm(int n);
    // Settings of the audio observation, with their console messages.
    void set_harmlist(const std::vector<double>& list);
    void cadenzium_variance(double v);
    void gamma_set(double g);
    void tuning_set(double hz);
    void KLexp_set(double e);
    void observation_kl_mode(int mode);
    void set_piano_mode(bool on);
    // Templates are rebuilt at their next use (after a change of harmonics,
    // tuning or piano mode).
    void invalidate_templates() {
        templates_stale = true;
        calibration_stale = true;
    }

    // ---- pedal model and calibration (audio) ----
    // Subtracts from a spectrum of template_size bins the decaying sum of
    // the pedal's history, scaled to pedalcoeff (no change at a
    // coefficient of 0). `position` is unused: the correction does not
    // depend on the score.
    void pedal_correction(std::vector<float>& spectrum, int position);
    // One frame of calibration: the energy of the "KL" inlet's spectrum
    // and the likelihood of the reference pitch's template; feeds the
    // pedal's history when the pedal is on.
    void RawCalibration(float& energy, float& likelihood);

    Score* score = nullptr;
    const std::map<std::string, int>* inlets = nullptr;
    t_tempo* tempo_source = nullptr;
    // Inlet number to kind (INLET_KIND_MIDI, INLET_KIND_AUDIO); the host
    // fills it, setPointers adds the inlets it knows.
    std::map<int, int> inlet_kinds;
    StateChain* chain = nullptr;
    int verbosity = 0;
    int pedal = 0;
    float pedalcoeff = 0;
    float pedaltime = 600.0f;
    float energy = 0;
    std::vector<double> harmlist;
    std::map<int, std::vector<float>> observations;
    float KLexp = -0.5f;
    double KL_eps = 1e-19;
    bool PianoMode = false;
    // The probability of a silent template: 0.6 once no note sounds.
    float silence_prob = 0.6f;
    int dummy_observations = 0;
    int KL_mode = 0;
    bool print_enabled = false;
    double gamma = -1.0;
    double tune = 440.0;
    double variance = -1.0;
    // Spectra for the pedal model (fed by calibration), and how many frames
    // pedaltime covers at the analysis of setAnalysis.
    PedalHistory pedal_history;
    int pedal_frames = 1;
    // The reference pitch of calibration: MIDI number up to 127, midicents
    // above.
    int calibration_pitch = 6900;
    int template_size = 513;
    float samplerate = 44100.0f;
    float nfft = 4096.0f;
    float hop = 512.0f;
    int decode_window_length = 21;
    int frame_counter = 0;
    // The audio front end (window, FFT) and the spectral templates with
    // their frequency axis and stored piano spectra.
    AudioFrontEnd front_end;
    // Attacks and level of each audio frame. With `audio_attacks` the audio
    // observation weighs them (and tells silence by the level against the
    // running peak); without, it is the spectral match and energy alone.
    AudioOnsets onsets;
    bool audio_attacks = false;
    // Seconds the analysis window makes an audio decision late: an onset
    // is reported that long before the frame that decided it.
    double onset_lag = 0;
    AudioTemplates templates;
    // The frame's compared spectrum: the first template_size bins of the
    // "KL" observation, normalised.
    std::vector<float> spectrum;
    std::vector<float> midi_grid;
    int midi_size = 254;
    // The notes now sounding: 1.0 on, 1e-12 released, 0 never played.
    std::vector<float> midi_active;
    // What the templates are compared with.
    HeardNotes heard{254};
    // How attacks and the sound make the phase probabilities of a frame.
    EvidenceSettings evidence;
    // The score-wide search for a lost musician, and whether it may move
    // the window.
    Relocator relocator;
    bool relocation = false;
    // By MIDI, once the first note has come, frames go on while no note
    // sounds (time passes in rests) instead of the machine standing still
    // until the next note-on. Before the first note it waits.
    bool listen_through_silence = false;
    bool note_heard = false;
    // Whether the sustain pedal keeps released notes on in what is heard.
    bool hear_pedal = true;
    bool align_on = true;

private:
    PhaseValues observation_probability(const PitchClass& pc, UniqueObs& r, int midi_inlet, bool audio);
    float midi_match(const std::vector<float>& templ, int positive, const std::vector<float>& obs) const;
    int grid_index(float pitch) const;
    bool any_note_sounding() const;
    void build_template(UniqueObs& r, const PitchClass& pc);
    void build_calibration_template();
    void set_notes(UniqueObs& r, const PitchClass& pc) const;
    void observe_audio();
    void rebuild_stale_templates();
    float spectral_match(UniqueObs& r);
    double score_tempo_ratio(int i) const;
    double beat_period(const Event* e) const;
    const char* name() const { return host_name.c_str(); }
    void log_onset(const Decision& d) const;
    double onset_time_of(State* s, double now) const;
    double midi_sound(const UniqueObs& r) const;
    double rest_silence(const PitchClass& pc) const;
    PhaseValues audio_probability(const PitchClass& pc, UniqueObs& r);
    AttackCount audio_attack_count(const UniqueObs& r) const;
    // After a frame with attacks: moves the window where the relocator
    // finds the musician, when the window has lost them.
    void relocate_if_lost();
    // The frame's attacks for the relocator (MIDI notes, or audio bands)
    // with their weights in attack_weights.
    const std::vector<int>& frame_attacks();
    void print_inference();

    // Counts a state's request, building the template if it is stale.
    void touch_PitchClass(UniqueObs& r, const PitchClass& pc, bool history, std::size_t expected);

    std::map<PitchClass, std::unique_ptr<UniqueObs>> obs_map;
    // Raised whenever an entry of obs_map is dropped (cached entries are
    // then looked up again).
    std::uint64_t obs_generation = 1;
    // The template size of the frame being observed.
    std::size_t frame_template_size = 0;
    OccupancyMap occupancy_map;
    std::vector<float> likelihood_scratch;
    std::map<const Score*, std::unique_ptr<StateChain>> chains;
    std::string host_name;
    // The sub-event last reported within a trill or multi-event.
    Event* inner_event = nullptr;
    int accepted = 0;
    // The event of the most likely state at the last step.
    int belief = 0;
    // The engine's time at the last step.
    double last_time = 0;
    std::atomic<bool> templates_stale{false};
    KLFrame kl_frame;
    std::vector<double> attack_weights;
    std::vector<float> pedal_acc;
    std::vector<float> calibration_spectrum;
    std::vector<float> calibration_feed;
    std::vector<float> calibration_template;
    int calibration_template_pitch = -1;
    bool calibration_stale = true;
    std::vector<int> attack_bands;
    std::ofstream trace;
};
