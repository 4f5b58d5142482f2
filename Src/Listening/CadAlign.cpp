#include "Listening/CadAlign.hpp"

#include "Base/Console.hpp"
#include "Listening/State.hpp"
#include "Listening/StateChain.hpp"
#include "Listening/Tempo.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <algorithm>
#include <cmath>

void UniqueObs::push_back(const PhaseValues& p) {
    instant = p.settled;
    if (history_count < 1) return;
    history.push(p);
}

AttackCount UniqueObs::count(const std::vector<int>& attacks) const {
    AttackCount c;
    for (int note : attacks) {
        c.total += 1;
        if (note < 0 || note >= 128) continue;
        if (own_notes[static_cast<size_t>(note)]) c.own += 1;
        if (struck_notes[static_cast<size_t>(note)]) c.struck += 1;
        if (near_notes[static_cast<size_t>(note)]) c.near += 1;
    }
    return c;
}

CadAlign::CadAlign(std::string name)
    : host_name(std::move(name)) {
    set_nofharm(10);
    midi_grid.resize(static_cast<size_t>(midi_size));
    for (int i = 0; i < midi_size; ++i)
        midi_grid[static_cast<size_t>(i)] = static_cast<float>(i) * 127.0f / 254.0f;
    midi_active.assign(static_cast<size_t>(midi_size), 0.0f);
    likelihood_scratch.reserve(static_cast<size_t>(midi_size));
    attack_bands.reserve(128);
    attack_weights.reserve(256);
    setAnalysis(samplerate, nfft, hop);
}

CadAlign::~CadAlign() = default;

// ---- setup ----

void CadAlign::setPointers(const std::map<std::string, int>* in, t_tempo* tempo) {
    inlets = in;
    tempo_source = tempo;
    if (const int m = MIDI_input(); m >= 0) inlet_kinds.try_emplace(m, INLET_KIND_MIDI);
    if (const int a = AUDIO_input(); a >= 0) inlet_kinds.try_emplace(a, INLET_KIND_AUDIO);
    if (chain) chain->initStates();
    relocator.reset(0);
    note_heard = false;
    pedal_history.clear();
    for (const auto& [inlet, kind] : inlet_kinds) {
        std::vector<float>& v = observations[inlet];
        v.reserve(8);
        if (inlet >= 1 && kind == INLET_KIND_MIDI) v.assign(1, -100.0f);
    }
    frame_counter = 0;
    std::fill(midi_active.begin(), midi_active.end(), 0.0f);
    heard.clear();
    clear_observation_history();
    if (print_enabled && !trace.is_open()) trace.open("/tmp/cadenzium.inference.txt");
}

void CadAlign::setScore(Score* s) {
    score = s;
    chain = nullptr;
    if (s && !s->without_states) {
        std::unique_ptr<StateChain>& owned = chains[s];
        if (!owned) {
            owned = std::make_unique<StateChain>(s, this);
            owned->loadScore(s);
        }
        chain = owned.get();
        chain->set_window_length(decode_window_length);
    }
    relocator.set_score(chain ? s : nullptr, AUDIO_input() >= 0 && audio_attacks);
    if (chain && StateChain::verbosity > 0)
        post("CadAlign::setScore(): %d states for %d events (decode window %d)",
             static_cast<int>(chain->size()), s->CountEvents(), decode_window_length);
    StateChain::verbosity = verbosity;
}

void CadAlign::forget(const Score* s) {
    if (score == s) {
        score = nullptr;
        chain = nullptr;
    }
    chains.erase(s);
}

void CadAlign::set_Position(int i) {
    accepted = i;
    belief = i;
    inner_event = nullptr;
    if (!chain || !score) return;
    if (i < 0 || i >= static_cast<int>(score->events.size())) return;
    chain->setPosition(score->events[static_cast<size_t>(i)].get());
    relocator.reset(i);
}

void CadAlign::wait_before(int i) {
    if (!chain || !score || i < 1 || i >= static_cast<int>(score->events.size())) {
        set_Position(i - 1);
        return;
    }
    accepted = i - 1;
    belief = i - 1;
    inner_event = nullptr;
    chain->waitPosition(score->events[static_cast<size_t>(i)].get(),
                        score->events[static_cast<size_t>(i - 1)].get());
    relocator.reset(i - 1);
    clear_observation_history();
}

// The window stays on the belief: a refused move does not hold the machine
// back, it only keeps the report where it is.
void CadAlign::place_window(int position) {
    accepted = position;
    if (chain) chain->frames_in_position = 1.0f;
}

// ---- the cycle ----

// MIDI observations are consumed once: with no note left sounding the
// machine stands still until the next note-on (unless it listens through
// silence).
Decision CadAlign::Align(double now) {
    Decision decision;
    last_time = now;
    if (!score || !chain || score->CountEvents() < 1) return decision;
    // The observation histories and the normalisers stay frame for frame:
    // a step that runs no recursion observes nothing either.
    if (align_on) {
        Observer();
        Inference();
        decision = Decode(now);
        if (print_enabled) print_inference();
        if (relocation) relocate_if_lost();
    }
    const int midi = MIDI_input();
    if (midi >= 0 && inlets->size() > 1) observations[midi].clear();
    if (midi >= 0 && !any_note_sounding() && !(listen_through_silence && note_heard)) align_on = false;
    heard.advance(hop / samplerate);
    ++frame_counter;
    return decision;
}

void CadAlign::Observer() {
    const bool audio = AUDIO_input() >= 0;
    if (audio)
        observe_audio();
    else if (silence_prob < 1e-12f)
        silence_prob = 1e-12f;
    if (!chain) return;
    rebuild_stale_templates();
    const int midi = MIDI_input();
    frame_template_size = static_cast<size_t>(midi >= 0 ? midi_size : template_size);
    for (State* s : chain->window())
        s->assign_pitchclass(this);
    for (auto it = obs_map.begin(); it != obs_map.end();) {
        UniqueObs& r = *it->second;
        if (r.history_count == 0 && r.instant_count == 0) {
            it = obs_map.erase(it);
            ++obs_generation;
            continue;
        }
        const PhaseValues p = observation_probability(it->first, r, midi, audio);
        if (verbosity == 5)
            post("OBS %s is %.3f - kl is %f - KL temp:", it->first.toString().c_str(), p.settled, p.settled);
        r.push_back(p);
        r.history_count = r.instant_count = 0;
        ++it;
    }
    chain->Observer();
}

// The notes heard against a pitch class: by their coverage (the share of
// its notes that sound, times the share of what sounds that is its own),
// or by the template match.
double CadAlign::midi_sound(const UniqueObs& r) const {
    if (!evidence.coverage) return heard.match(r.templ, r.positive_pitches);
    const HeardNotes::Coverage c = heard.coverage(r.note_list, r.own_notes);
    const double e = evidence.coverage_floor;
    return (e + c.recall) * (e + c.precision) / ((1 + e) * (1 + e));
}

// With no attack in the frame the three phases agree: the plain likelihood
// of what sounds.
PhaseValues CadAlign::observation_probability(const PitchClass& pc, UniqueObs& r, int midi_inlet,
                                              bool audio) {
    if (dummy_observations != 0) return {1.0, 1.0, 1.0};
    const std::vector<int>& attacks = heard.attacks();
    if (audio) return audio_probability(pc, r);
    if (pc.isSilence()) {
        if (attacks.empty()) {
            const double p = rest_silence(pc);
            return {p, p, p};
        }
        return phase_values(r.count(attacks), silence_prob, evidence, false);
    }
    if (midi_inlet >= 0) {
        const double sound = midi_sound(r);
        return phase_values(r.count(attacks), sound, evidence, r.struck_notes.any());
    }
    return {1.0, 1.0, 1.0};
}

// Once nothing sounds, a rest (no pitch at all) hears its silence tempered
// as a note hears its sound, so that it outweighs the tail of the note
// before it. While a note sounds it stays out of the question; and waiting
// states and the silence after the last event (pitch 0) keep the plain
// probability: reaching the end state reports the last event, which must
// wait for its own note.
double CadAlign::rest_silence(const PitchClass& pc) const {
    const bool rest = pc.pitches.empty();
    if (!rest || silence_prob < 0.5f) return silence_prob;
    return std::pow(static_cast<double>(silence_prob), evidence.sound_power);
}

// The spectral match weighs what sounds; the rise of the bands of the pitch
// class's partials, counted in notes, weighs the attacks. A silent class
// hears how far the level has fallen.
PhaseValues CadAlign::audio_probability(const PitchClass& pc, UniqueObs& r) {
    if (!audio_attacks) {
        const double p = pc.isSilence() ? silence_prob : spectral_match(r) * energy;
        return {p, p, p};
    }
    const AttackCount a = audio_attack_count(r);
    if (pc.isSilence()) return phase_values(a, onsets.silence(), evidence, false);
    const double sound = spectral_match(r) * (1.0 - onsets.silence());
    return phase_values(a, sound, evidence, r.struck_notes.any());
}

// By audio an attack is one event at most: the frame's strength, shared
// between the pitch class's partial bands and the others as the flux is.
AttackCount CadAlign::audio_attack_count(const UniqueObs& r) const {
    AttackCount a;
    const double flux = onsets.total_flux();
    a.total = onsets.strength();
    if (a.total <= 0 || flux <= 0) return a;
    const double full = std::max(onsets.settings.full_share, 1e-3) * flux;
    a.own = a.total * std::min(1.0, onsets.flux_in(r.own_bands) / full);
    a.struck = a.total * std::min(1.0, onsets.flux_in(r.struck_bands) / full);
    return a;
}

void CadAlign::Inference() {
    occupancy_map.purge();
    if (verbosity > 1)
        post("CadAlign::Inference() \t the map of occupancy distributions has %d unique keys.",
             occupancy_map.size());
    if (chain) chain->Infere();
}

// Any change of the most likely state is an onset: no threshold, no
// hysteresis. The window follows the most likely state, whether or not the
// engine takes the move; a move to the event the engine already holds is
// not told again. A frame without an onset lasts one more frame in the
// position.
Decision CadAlign::Decode(double now) {
    Decision d;
    d.energy = energy;
    if (!chain) return d;
    chain->Decode();
    State* best = chain->best;
    Event* ev = best ? best->event : nullptr;
    State* inner = best ? best->bestState() : nullptr;
    Event* sub = inner ? inner->event : nullptr;
    if (verbosity > 1 && ev)
        post("CadAlign::Decode(): most likely event = index() %i, pitch list %s, position = %.2f beats, type "
             "= %i\n",
             ev->index(), ev->pitch_list_string().c_str(), ev->beatcum(), ev->type());
    const bool changed = ev && ev->index() != belief;
    if (changed) {
        belief = ev->index();
        chain->follow_belief(ev);
    }
    const bool moved = changed && ev->index() != accepted;
    const bool sub_moved = sub && inner_event && sub != inner_event;
    if (!ev || (!moved && !sub_moved)) {
        d.quiet = true;
        chain->frames_in_position += 1.0f;
        if (verbosity > 1 && ev)
            post("CadAlign::Decode():  SHMM pos is %i corresponding to event %i ", accepted, ev->index());
        return d;
    }
    d.moved = true;
    d.index = ev->index();
    d.sub = (ev->type() == 2 || ev->type() == 4) ? sub : nullptr;
    d.onset_time = onset_time_of(best, now);
    d.certainty = std::clamp(best->ForwardLast, 0.0, 1.0);
    inner_event = d.sub;
    if (verbosity >= 1) log_onset(d);
    return d;
}

// By MIDI, the earliest strike of the state's pitches within the last
// `kStrikeReach` seconds: the decision may come a frame or two after the
// notes that make it (frames are clocked by the hop), and a chord's notes
// are spread. The step's time when none of its pitches was struck then.
constexpr double kStrikeReach = 0.05;

double CadAlign::onset_time_of(State* s, double now) const {
    if (AUDIO_input() >= 0) return now - onset_lag;
    const State* inner = s ? s->bestState() : nullptr;
    if (!inner) return now;
    double first = now;
    for (float p : inner->pitchclass.pitches) {
        const double m = p > 127 ? p / 100.0 : p;
        const double t = heard.struck_at(static_cast<int>(std::lround(m)));
        if (t >= now - kStrikeReach) first = std::min(first, t);
    }
    return first;
}

// By audio the attacks are the bands that rose, weighed in notes.
const std::vector<int>& CadAlign::frame_attacks() {
    if (AUDIO_input() < 0 || !audio_attacks) {
        attack_weights.assign(heard.attacks().size(), 1.0);
        return heard.attacks();
    }
    attack_bands.clear();
    attack_weights.clear();
    for (int n = AudioOnsets::LOW; n <= AudioOnsets::HIGH; ++n) {
        const double rise = onsets.flux(n);
        if (rise <= 0) continue;
        attack_bands.push_back(n);
        attack_weights.push_back(rise / onsets.settings.note_db * 4);
    }
    return attack_bands;
}

void CadAlign::relocate_if_lost() {
    const std::vector<int>& notes = frame_attacks();
    if (notes.empty()) return;
    relocator.observe(notes, attack_weights);
    int from = relocator.size();
    int to = -1;
    for (const State* s : chain->window()) {
        if (!s->event) continue;
        from = std::min(from, s->event->index());
        to = std::max(to, s->event->index());
    }
    const int at = relocator.elsewhere(from, to, belief);
    relocator.judge(belief, notes);
    if (at < 0) return;
    if (verbosity > 0)
        post("CadAlign: the musician is lost near event %d; looking again from event %d", belief, at);
    chain->relocate(at, relocator);
}

void CadAlign::log_onset(const Decision& d) const {
    const Event* sub = d.sub;
    post(
        "CadAlign::Decode():  ONSET! Number of PitchClass %d -- New sub-state %s %s index %i - decoded event "
        "%i - position held: %i",
        static_cast<int>(obs_map.size()), sub ? sub->type_string().c_str() : "none",
        sub ? sub->pitch_list_string().c_str() : "", sub ? sub->index() : -1, d.index, accepted);
    post("    \t  local_Nt is %.5f", chain->N_t.empty() ? 0.0 : chain->N_t.back());
}

// One line per frame: frame, time, position, normaliser, the frame's
// attacks, and the states of the window that hold mass.
void CadAlign::print_inference() {
    if (!trace.is_open()) trace.open("/tmp/cadenzium.inference.txt");
    trace << frame_counter << ' ' << last_time << ' ' << accepted << ' '
          << (chain->N_t.empty() ? 0.0 : chain->N_t.back()) << " att=" << heard.attacks().size();
    for (const State* s : chain->window())
        if (s->ForwardLast > 1e-3)
            trace << ' ' << (s->event ? s->event->index() : -1) << ':' << s->ForwardLast;
    trace << '\n';
}
