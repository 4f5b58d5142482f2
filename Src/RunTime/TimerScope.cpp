// The dynamic tempos of a scope that are not an expression: the tempo a
// tempo variable follows ("@sync $v"), the followed tempo as it stood at the
// last of a list of events ("@tempo := {...}"), and a target that the scope
// reaches on time ("@target"). A target scope counts its beats so that the
// timer, behind or ahead of the scope's position, meets it at the next
// target: at position `pos` with the scope at `ref` and the next target at
// T, the tempo is (T - pos) / (T - ref) times the followed one. That ratio
// stays the same while both move on to T, so between two moves of the
// position the tempo is constant up to T, and the followed one after it.
#include "RunTime/CadTimer.hpp"

#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/Expression.hpp"
#include "Exp/Values.hpp"
#include "RunTime/Runtime.hpp"
#include "RunTime/exec.hpp"
#include "Tree/Action.hpp"
#include "Tree/Bloc.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <cmath>

namespace {

constexpr double kEps = 0.0001;

bool has_target(const Action& a) {
    return a.events_list_target || a.duration_target || a.logic_target || a.period_target;
}

bool opens_dynamic_scope(const Action& a) {
    return has_target(a) || get_sync_var(a.attributes) || a.events_tempo;
}

// An event named in a list: a number is a beat, a label (or a variable
// standing for one) the beat of its event; -1.0 when it names none.
double beat_of(const Score* score, const Value& v) {
    if (v->is_string_or_symb()) {
        const int index = score ? score->labelPosition(v->get_string()) : -1;
        return index < 0 ? -1.0 : score->events[static_cast<std::size_t>(index)]->beatcum();
    }
    if (v->is_undef()) return -1.0;
    return v->get_double();
}

bool forward_event(const Event& e) {
    return e.isEvent() && e.beat_duration() > 0;
}

} // namespace

bool CadTimer::take_scope_tempo() {
    if (!opens_dynamic_scope(*bloc)) return false;
    scope_action = bloc;
    tempo_kind = TEMPO_DYNAMIC;
    scope_source = has_target(*bloc)                ? SCOPE_TARGET
                   : get_sync_var(bloc->attributes) ? SCOPE_SYNC
                                                    : SCOPE_EVENTS;
    if (const Var* v = get_sync_var(bloc->attributes)) {
        SavedContext saved(*rt);
        set_context();
        sync_vm = v->thisVM();
    } else if (father) {
        sync_vm = father->sync_vm;
    }
    local_tempo = followed_or_synced_tempo();
    local_tempo = get_local_tempo(date, -1.0);
    return true;
}

double CadTimer::followed_or_synced_tempo() const {
    if (sync_vm && sync_vm->tempo_var) return sync_vm->tempo_var->tempo();
    const Value& t = rt->env.vars[rt->env.rt_tempo_index].newest();
    return t->is_undef() ? 60.0 : t->get_double();
}

double CadTimer::scope_position() const {
    const bool conservative = scope_action && scope_action->prog == 1;
    if (sync_vm && sync_vm->tempo_var) return conservative ? sync_vm->rnow() : sync_vm->rcnow();
    return conservative ? rnow() : rcnow();
}

double CadTimer::scope_tempo() {
    const double base = followed_or_synced_tempo();
    base_tempo = base;
    target_beat = -1.0;
    double t = base;
    if (scope_source == SCOPE_EVENTS) t = events_tempo(scope_position(), base);
    if (scope_source == SCOPE_TARGET) t = target_tempo(last_pos, scope_position(), base);
    if (std::isfinite(t) && t >= 0.0 && t <= MAX_LOCAL_TEMPO) return t;
    error("Dynamic tempo out of admissible range: computed %f, keep %f", t, local_tempo);
    target_beat = -1.0;
    return local_tempo;
}

// The followed tempo as it was when the score stood at the last listed
// event at or before `ref`: the newest value of $RT_TEMPO dated at or
// before that event's beat.
double CadTimer::events_tempo(double ref, double tempo) const {
    const ExpressionList* list = scope_action->events_tempo;
    double last = 0.0;
    for (const auto& e : *list) {
        const double b = beat_of(rt->score, e->eval());
        if (b >= 0.0 && b <= ref + kEps && b > last) last = b;
    }
    const var_management& vm = rt->env.vars[rt->env.rt_tempo_index];
    // The oldest slots may hold the initial value, undated.
    for (int i = 0; i < static_cast<int>(vm.size()); ++i) {
        const Value& v = vm.last(i);
        if (v->is_undef()) break;
        if (vm.rdates[vm.slot(i)] <= last + kEps) return v->get_double();
    }
    return tempo;
}

double CadTimer::target_tempo(double pos, double ref, double tempo) {
    SavedContext saved(*rt);
    set_context();
    if (const CadDuration* d = scope_action->duration_target) {
        // A target of a duration: the gap closes at a rate that grows with
        // the square root of the gap.
        double span = d->eval();
        if (d->unit == DURATION_BEATS) span = span * 60.0 / tempo;
        if (span <= 0.0) return tempo;
        const double x = pos - ref;
        double v = tempo / 60.0;
        if (x > 0.0) v -= 2.0 * std::sqrt(x) / span;
        if (x < 0.0) v += 2.0 * std::sqrt(-x) / span;
        return v < 0.0 ? 0.0 : v * 60.0;
    }
    const double T = next_target(pos, ref);
    if (T < 0.0) return tempo;
    target_beat = T;
    return (T - pos) / (T - ref) * tempo;
}

// The smallest target after both the timer and the scope; -1.0 when none.
double CadTimer::next_target(double pos, double ref) {
    const Action& a = *scope_action;
    const double after = std::max(pos, ref) + kEps;
    if (a.events_list_target) {
        double best = -1.0;
        for (const auto& e : *a.events_list_target) {
            const double b = beat_of(rt->score, e->eval());
            if (b > after && (best < 0.0 || b < best)) best = b;
        }
        return best;
    }
    if (a.period_target) {
        double period = a.period_target->eval()->get_double();
        const double phase = a.phase_target ? a.phase_target->eval()->get_double() : 0.0;
        if (period == 0.0) {
            error("period target is NULL; period is instanciated to 1 ");
            period = 1.0;
        }
        const double from = std::max(pos, ref);
        return std::floor((from - phase) / period + 1.0) * period + phase;
    }
    if (!a.logic_target || !rt->score) return -1.0;
    const Score& score = *rt->score;
    const long k = eval_int(a.logic_target);
    int i = 1;
    while (i <= score.get_cur_index() &&
           !(forward_event(*score.events[static_cast<std::size_t>(i)]) &&
             score.events[static_cast<std::size_t>(i)]->beatcum() >= ref - kEps))
        ++i;
    for (long n = 0; n < k && i <= score.get_cur_index(); ++i)
        if (forward_event(*score.events[static_cast<std::size_t>(i)])) ++n;
    for (; i <= score.get_cur_index(); ++i) {
        const Event& e = *score.events[static_cast<std::size_t>(i)];
        if (forward_event(e) && e.beatcum() > after) return e.beatcum();
    }
    if (!logic_target_reported)
        error("dynamic logic target: not enough forward events. Keep current tempo %f", local_tempo);
    logic_target_reported = 1;
    return -1.0;
}
