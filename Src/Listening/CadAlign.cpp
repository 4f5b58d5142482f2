#include "Listening/CadAlign.hpp"

#include "Listening/State.hpp"
#include "Listening/StateChain.hpp"
#include "Listening/Tempo.hpp"
#include "Base/Console.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <algorithm>

void UniqueObs::push_back(double p) {
    instant = p;
    if (history_count < 1) return;
    history.push_back(p);
}

CadAlign::CadAlign(std::string name)
    : host_name(std::move(name)) {
    set_nofharm(10);
    midi_grid.resize(static_cast<size_t>(midi_size));
    for (int i = 0; i < midi_size; ++i)
        midi_grid[static_cast<size_t>(i)] = static_cast<float>(i) * 127.0f / 254.0f;
    midi_active.assign(static_cast<size_t>(midi_size), 0.0f);
    likelihood_scratch.reserve(static_cast<size_t>(midi_size));
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
    if (print_enabled) trace.open("/tmp/cadenzium.inference.txt");
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
        chain->decodingwin_length = decode_window_length;
    }
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
    inner_event = nullptr;
    if (!chain || !score) return;
    if (i < 0 || i >= static_cast<int>(score->events.size())) return;
    chain->setPosition(score->events[static_cast<size_t>(i)].get());
}

void CadAlign::place_window(int position) {
    accepted = position;
    if (!chain || !score) return;
    const bool known = position >= 0 && position < static_cast<int>(score->events.size());
    chain->place_window(known ? score->events[static_cast<size_t>(position)].get() : nullptr);
}

// ---- the cycle ----

// MIDI observations are consumed once: with no note left sounding the
// machine stands still until the next note-on.
Decision CadAlign::Align(double now) {
    Decision decision;
    if (!score || !chain || score->CountEvents() < 1) return decision;
    Observer();
    if (align_on) {
        Inference();
        decision = Decode(now);
        if (print_enabled) print_inference();
    }
    const int midi = MIDI_input();
    if (midi >= 0 && inlets->size() > 1) observations[midi].clear();
    if (midi >= 0 && !any_note_sounding()) align_on = false;
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
    for (State* s : chain->window())
        s->assign_pitchclass(this);
    const int midi = MIDI_input();
    for (auto it = obs_map.begin(); it != obs_map.end();) {
        UniqueObs& r = *it->second;
        if (r.history_count == 0 && r.instant_count == 0) {
            it = obs_map.erase(it);
            continue;
        }
        const double p = observation_probability(it->first, r, midi, audio);
        if (verbosity == 5) post("OBS %s is %.3f - kl is %f - KL temp:", it->first.toString().c_str(), p, p);
        r.push_back(p);
        r.history_count = r.instant_count = 0;
        ++it;
    }
    chain->Observer();
}

double CadAlign::observation_probability(const PitchClass& pc, UniqueObs& r, int midi_inlet, bool audio) {
    if (dummy_observations != 0) return 1.0;
    if (pc.isSilence()) return silence_prob;
    if (midi_inlet >= 0) return heard.match(r.templ, r.positive_pitches);
    if (audio) return spectral_match(r) * energy;
    return 1.0;
}

void CadAlign::Inference() {
    occupancy_map.purge();
    if (verbosity > 1)
        post("CadAlign::Inference() \t the map of occupancy distributions has %d unique keys.",
             occupancy_map.size());
    if (chain) chain->Infere();
}

// Any change of the most likely state is an onset: no threshold, no
// hysteresis. The only brake against a spurious backward move is the
// engine's refusal of it. A frame without an onset lasts one more frame in
// the position.
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
    const bool moved = ev && ev->index() != accepted;
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
    d.onset_time = now;
    inner_event = d.sub;
    if (verbosity >= 1) log_onset(d);
    return d;
}

void CadAlign::log_onset(const Decision& d) const {
    const Event* sub = d.sub;
    post("CadAlign::Decode():  ONSET! Number of PitchClass %d -- New sub-state %s %s index %i - decoded event "
         "%i - position held: %i",
         static_cast<int>(obs_map.size()), sub ? sub->type_string().c_str() : "none",
         sub ? sub->pitch_list_string().c_str() : "", sub ? sub->index() : -1, d.index, accepted);
    post("    \t  local_Nt is %.5f", chain->N_t.empty() ? 0.0 : chain->N_t.back());
}

// One line per frame: frame, position, normaliser, and the window.
void CadAlign::print_inference() {
    if (!trace.is_open()) trace.open("/tmp/cadenzium.inference.txt");
    trace << frame_counter << ' ' << accepted << ' '
          << (chain->N_t.empty() ? 0.0 : chain->N_t.back());
    for (const State* s : chain->window())
        trace << ' ' << (s->event ? s->event->index() : -1) << ':' << s->ForwardLast;
    trace << '\n';
}
