#include "Listening/StateSemiMarkov.hpp"

#include "Base/Console.hpp"
#include "Listening/BufferPool.hpp"
#include "Listening/CadAlign.hpp"
#include "Listening/StateChain.hpp"
#include "Tree/Event.hpp"

#include <algorithm>
#include <cfloat>
#include <cmath>

// ---- StateSemiMarkov ----

StateSemiMarkov::StateSemiMarkov(Event* e, Normalisers* normalisers)
    : StateRecursion(e)
    , N_t(normalisers) {
    assert(N_t && "a semi-Markov state reads its chain's normalisers");
}

void StateSemiMarkov::set_default_parameters() {
    u_max_factor = 4.0f;
    u_max = 1;
}

int StateSemiMarkov::compute_u_max(const CadAlign& align) {
    const int full = static_cast<int>(std::ceil(FrameDurationFloat(align) * u_max_factor));
    long u = full;
    const long history = obs ? static_cast<long>(obs->size()) : 0;
    if (history < u) u = history;
    if (static_cast<long>(N_t->size()) < u - 1) u = static_cast<long>(N_t->size()) + 1;
    if (static_cast<long>(StateIns.size()) < u - 1) u = static_cast<long>(StateIns.size()) + 1;
    if (StateChain::verbosity > 2 && u != full)
        post("StateSemiMarkov::Observe: u_max=%d instead of %d (state pitch list: %s)", static_cast<int>(u),
             full, pitchclass.toString().c_str());
    return static_cast<int>(u);
}

void StateSemiMarkov::Observe(CadAlign& align) {
    Observe(align, compute_u_max(align));
}

// The newest normaliser is that of the previous frame: this frame's does not
// exist yet. A stay entered when no mass entered weighs nothing in the
// recursion: the look-back stops at the oldest entry that brought mass
// (this frame's entry is not known yet, and always looked at).
void StateSemiMarkov::Observe(CadAlign& align, int u) {
    u_max = u;
    if (!obs || obs->empty()) {
        obsCumNorm.clear();
        return;
    }
    const int reach = static_cast<int>(std::min<std::size_t>(entered_span + 1, STATE_HISTORY + 1));
    obs->stays(*N_t, std::min(u_max, reach), early_frames(align), obsCumNorm);
}

int StateSemiMarkov::early_frames(const CadAlign& align) const {
    return align.evidence.early_length(FrameDurationFloat(align));
}

// ForwardLast: entered u frames ago, heard what was heard, still here.
// Forward: the same, leaving exactly now.
void StateSemiMarkov::Infere(CadAlign& align) {
    StateIns.push_back(StateIn);
    if (StateIn != 0 || entered_span > 0) entered_span = std::min(entered_span + 1, StateIns.size());
    if (obsCumNorm.empty()) {
        if (StateChain::verbosity > 2) {
            post("StateSemiMarkov::Infere: empty obsCumNorm and u_max=%d (frameduration %.3f, state pitch "
                 "list: %s)",
                 u_max, FrameDurationFloat(align), pitchclass.toString().c_str());
            post("StateSemiMarkov::Infere: \t\t - stateins-size %d, obs-size %d,  N_t-size %d",
                 static_cast<int>(StateIns.size()), obs ? static_cast<int>(obs->size()) : 0,
                 static_cast<int>(N_t->size()));
        }
    } else if (u_max > 0) {
        const std::vector<double>* occupancy = nullptr;
        const std::vector<double>* survivor = nullptr;
        align.computeDurationDistributions(occupancy, survivor, FrameDurationFloat(align), u_max);
        const size_t n =
            std::min({static_cast<size_t>(u_max), obsCumNorm.size(), StateIns.size(), occupancy->size()});
        if (StateChain::verbosity > 1)
            accumulate_checked(n, survivor->data(), occupancy->data());
        else
            accumulate(n, survivor->data(), occupancy->data());
    }
    StateIn = 0;
}

// Mass entering u frames ago never is negative and the laws never are, so a
// term with no entering mass adds nothing: the sums need no tests.
void StateSemiMarkov::accumulate(size_t n, const double* survivor, const double* occupancy) {
    const double* O = obsCumNorm.data();
    double last = STATE_FLOOR;
    double leaving = 0;
    for (size_t u = 0; u < n;) {
        const double* in = nullptr;
        const size_t m = std::min(StateIns.newest_run(u, in), n - u);
        for (size_t j = 0; j < m; ++j) {
            const double entered = in[-static_cast<long>(j)];
            last += survivor[u + j] * entered * O[u + j];
            leaving += occupancy[u + j] * entered * O[u + j];
        }
        u += m;
    }
    ForwardLast = last;
    Forward = leaving;
}

// The same sums, checked term by term for the traces.
void StateSemiMarkov::accumulate_checked(size_t n, const double* survivor, const double* occupancy) {
    ForwardLast = STATE_FLOOR;
    Forward = 0;
    for (size_t u = 0; u < n; ++u) {
        const double in = StateIns.back(u);
        const double O = obsCumNorm[u];
        if (in > 0) {
            if (survivor[u] > 0) ForwardLast += survivor[u] * in * O;
            if (occupancy[u] > 0) Forward += occupancy[u] * in * O;
        }
        check_sums(static_cast<int>(u), survivor[u], occupancy[u], in, O);
    }
}

void StateSemiMarkov::check_sums(int u, double survivor, double occupancy, double in, double O) const {
    const bool last_too_big = ForwardLast > 1.1;
    const bool forward_too_big = Forward > 1.1;
    if (last_too_big)
        error(
            "StateSemiMarkov::Infere: too big ForwardLast - state %s - u=%d - ForwardLast %.4e, Forward %.4e",
            toString().c_str(), u, ForwardLast, Forward);
    if (forward_too_big)
        error("StateSemiMarkov::Infere: too big Forward - state %s - u=%d - ForwardLast %.4e, Forward %.4e",
              toString().c_str(), u, ForwardLast, Forward);
    if (last_too_big || forward_too_big)
        post("StateSemiMarkov::Infere: state %s - u= %d\t\t - state in %.4e, obs %.4e, survivor %.2e, "
             "occupancy "
             "%.2e, forwardLast %.4e, forward %.4e",
             toString().c_str(), u, in, O, survivor, occupancy, ForwardLast, Forward);
}

void StateSemiMarkov::deleteInference() {
    StateRecursion::deleteInference();
    StateIns.clear();
    entered_span = 0;
    obsCumNorm.clear();
}

void StateSemiMarkov::set_windowed(bool on) {
    StateRecursion::set_windowed(on);
    if (!pool || on == (slot != nullptr)) return;
    if (on) {
        slot = pool->borrow();
        if (!slot) return;
        StateIns.attach(slot);
        entered_span = 0;
        obsCumNorm.attach(slot + History::storage_for(STATE_HISTORY));
        return;
    }
    deleteInference();
    StateIns.detach();
    entered_span = 0;
    obsCumNorm.detach();
    pool->give_back(slot);
    slot = nullptr;
}

void StateSemiMarkov::assign_pitchclass(CadAlign* align) {
    obs = &align->cached_PitchClass(entry, entry_generation, pitchclass, true).history;
}

// ---- StateSemiMarkovCompound ----

StateSemiMarkovCompound::~StateSemiMarkovCompound() {
    for (StateMarkov* m : micro)
        delete m;
}

// The observation of each look-back step is the best path through the
// micro-states so far.
void StateSemiMarkovCompound::Observe(CadAlign& align, int u) {
    u_max = u;
    obsCumNorm.clear();
    initial_mask.resize(micro.size(), false);
    for (size_t i = 0; i < micro.size(); ++i)
        micro[i]->StateIn = initial_mask[i] ? 1.0 : 0.0;
    best_micro = micro.empty() ? nullptr : micro.front();
    for (int k = 0; k < u_max; ++k) {
        double value = 0;
        for (StateMarkov* m : micro) {
            m->Infere(align);
            if (m->ForwardLast > value) {
                value = m->ForwardLast;
                best_micro = m;
            }
        }
        obsCumNorm.push_back(value);
        for (StateMarkov* m : micro)
            m->propagateViterbi();
    }
}

void StateSemiMarkovCompound::deleteInference() {
    StateSemiMarkov::deleteInference();
    for (StateMarkov* m : micro)
        m->deleteInference();
}

void StateSemiMarkovCompound::assign_pitchclass(CadAlign* align) {
    for (StateMarkov* m : micro)
        m->assign_pitchclass(align);
}

// ---- StateTrill ----

StateTrill::StateTrill(Event* e, StateChain* chain)
    : StateSemiMarkovCompound(e, &chain->N_t) {
    obs = &own_obs;
    const EventList* subs = e ? e->get_sub_events() : nullptr;
    if (!subs) return;
    for (const auto& sub : *subs)
        addMicrostate(sub.get(), chain);
}

StateTrill::~StateTrill() {
    for (StateSemiMarkov* m : trill_micro)
        delete m;
}

void StateTrill::addMicrostate(Event* e, StateChain* chain) {
    if (!e) return;
    if (e->type() == 0 || e->type() == 1) {
        trill_micro.push_back(new StateSemiMarkov(e, &chain->N_t));
        return;
    }
    if (e->type() != 2 || !e->get_sub_events()) return;
    for (const auto& sub : *e->get_sub_events())
        addMicrostate(sub.get(), chain);
}

void StateTrill::Observe(CadAlign& align) {
    own_obs.push(hear_notes());
    Observe(align, compute_u_max(align));
}

namespace {

// A note was struck at this frame: its settled value (a re-strike) is
// below its early one (a welcome late note).
bool struck_now(const PhaseValues& p) {
    return p.settled < p.early;
}

} // namespace

PhaseValues StateTrill::hear_notes() {
    double best = -1.0;
    int struck = -1;
    int struck_count = 0;
    for (size_t k = 0; k < trill_micro.size(); ++k) {
        StateSemiMarkov* m = trill_micro[k];
        const double v = m->get_obs();
        if (v > best) {
            best = v;
            best_micro = m;
        }
        if (m->obs && !m->obs->empty() && struck_now(m->obs->newest_values())) {
            struck = static_cast<int>(k);
            ++struck_count;
        }
    }
    const bool repeated = struck_count == 1 && struck == last_struck;
    if (struck_count > 0) last_struck = struck_count == 1 ? struck : -1;
    PhaseValues heard{-1.0, -1.0, -1.0};
    for (size_t k = 0; k < trill_micro.size(); ++k) {
        const StateSemiMarkov* m = trill_micro[k];
        if (!m->obs || m->obs->empty()) continue;
        const PhaseValues& p = m->obs->newest_values();
        heard.entry = std::max(heard.entry, p.entry);
        heard.early = std::max(heard.early, repeated && static_cast<int>(k) == struck ? p.settled : p.early);
        heard.settled = std::max(heard.settled, p.settled);
    }
    if (heard.early < 0) heard = {best, best, best};
    return heard;
}

int StateTrill::early_frames(const CadAlign& align) const {
    return std::max(StateSemiMarkov::early_frames(align), static_cast<int>(FrameDurationFloat(align)));
}

void StateTrill::deleteInference() {
    own_obs.clear();
    last_struck = -1;
    StateSemiMarkovCompound::deleteInference();
    for (StateSemiMarkov* m : trill_micro)
        m->deleteInference();
}

void StateTrill::assign_pitchclass(CadAlign* align) {
    obs = &own_obs;
    for (StateSemiMarkov* m : trill_micro)
        m->assign_pitchclass(align);
}
