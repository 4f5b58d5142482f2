#include "RunTime/CadTimer.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Values.hpp"
#include "Base/Console.hpp"
#include "RunTime/CadScheduler.hpp"
#include "RunTime/Runtime.hpp"
#include "Tree/Bloc.hpp"
#include "Tree/Event.hpp"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

namespace {

double tempo_or(double tempo, double fallback) {
    return tempo > 0.0 ? tempo : fallback;
}

} // namespace

CadTimer::CadTimer(t_scheduler* sched)
    : sched(sched) {}

CadTimer::CadTimer(Runtime& runtime, Bloc& b, double start, const Expression* end, double delay,
                   duration_type unit)
    : id(runtime.next_execution())
    , execution(make_counted<Execution>(static_cast<std::uint32_t>(id), true))
    , sched(&runtime.scheduler)
    , rt(&runtime)
    , stack(*runtime.get_envs())
    , date(start)
    , last_pos(start)
    , last_ref_time(runtime.instant().now)
    , late(delay)
    , late_unit(unit)
    , bloc(&b)
    , until(end) {
    wait_index = runtime.current_event ? runtime.current_event->index() : 0;
    take_life_limits();
    father = runtime.get_exe();
    take_tempo();
    abort_handler = runtime.handlers_firing > 0 ? 1 : 0;
    if (!runtime.admit_timer() || over_before_start()) {
        execution->end();
        finished = dead_on_arrival = 1;
        stack.clear();
        return;
    }
    if (father) father->active_childs_insert(this);
    register_active();
}

CadTimer::~CadTimer() {
    stop_waiting();
    detach_tempo_vars();
    if (rt && !dead_on_arrival) {
        unregister_active();
        notify_father_child_is_deleted();
    }
    leave_context();
}

void CadTimer::take_life_limits() {
    during_unit = 1;
    during_left = std::numeric_limits<double>::quiet_NaN();
    if (bloc->during) {
        during_unit = bloc->during->unit == DURATION_SECONDS ? 0 : 1;
        during_left = bloc->during->eval();
    }
    if (bloc->during_count) during_count = static_cast<int>(std::max(0L, eval_int(bloc->during_count.get())));
    start_time = now();
    start_rnow = rnow();
}

bool CadTimer::over_before_start() const {
    if (until && eval_bool(until)) return true;
    if (!std::isnan(during_left) && during_left <= 0.0) return true;
    return during_count == 0;
}

void CadTimer::register_active() {
    rt->register_timer(this);
}

void CadTimer::unregister_active() {
    rt->unregister_timer(this);
    execution->end();
}

void CadTimer::leave_context() {
    if (rt && rt->get_exe() == this) rt->set_static_context();
}

// ---- conversions of the scheduler ----

// A target scope that passed its target meanwhile counted the rest at the
// tempo it follows.
double CadTimer::seconds_in_beats(double seconds, double, double, double tempo) const {
    const double b = seconds * tempo_or(tempo, local_tempo) / 60.0;
    const double before = target_beat - last_pos;
    if (tempo > 0.0 || target_beat < 0.0 || before < 0.0 || b <= before || base_tempo <= 0.0) return b;
    return before + (seconds - before * 60.0 / local_tempo) * base_tempo / 60.0;
}

// A tempo of zero stops the beats: their seconds never come. A target
// scope counts at its own tempo up to its target and at the one it follows
// beyond it.
double CadTimer::beats_in_seconds(double beats, double, double, double tempo) const {
    double s = beats * 60.0 / tempo_or(tempo, local_tempo);
    const double before = target_beat - last_pos;
    if (tempo <= 0.0 && target_beat >= 0.0 && before >= 0.0 && beats > before && base_tempo > 0.0)
        s = before * 60.0 / local_tempo + (beats - before) * 60.0 / base_tempo;
    return std::isfinite(s) ? s : 8.988465674311578e+304;
}

void CadTimer::real_beat_position(double pos) {
    last_pos = pos;
    last_ref_time = now();
}

double CadTimer::now() const {
    if (rt) return rt->instant().now;
    return sched ? sched->env_now() : 0.0;
}

double CadTimer::rnow() const {
    return rt ? rt->instant().rnow : 0.0;
}
double CadTimer::rcnow() const {
    return rt ? rt->instant().rcnow : 0.0;
}

// ---- life ----

bool CadTimer::exist() const {
    return rt && rt->active(this);
}

void CadTimer::var_changed(VAR_CALLBACK kind, int event_index, var_management& var) {
    if (!exist()) return;
    switch (kind) {
    case CLBK:
        callback(&var);
        return;
    case UPDATE_POS:
        UpdatePosition(event_index);
        return;
    case TEMPO:
        if (pending_type == SCHED_LOCAL) sched->reschedule(this, pending_type);
        return;
    }
}

void CadTimer::start_run() {
    running += 1;
    last_pos = date;
    last_ref_time = now();
    last_env_pos = rnow();
    if (rt) refresh_tempo();
}

bool CadTimer::stop_run() {
    assert(running > 0 && "a callback ends that began");
    running -= 1;
    const bool over = finished != 0;
    if (over && running == 0 && !has_children()) delete this;
    return over;
}

bool CadTimer::terminate() {
    if (!finished) {
        stop_waiting();
        detach_tempo_vars();
        waited_vars.clear();
        finished = 1;
    }
    if (running != 0 || has_children()) return false;
    delete this;
    return true;
}

void CadTimer::stop_waiting() {
    if (pending_type != SCHED_NONE) {
        if (sched) sched->Reset(this, pending_type);
        pending_type = SCHED_NONE;
    }
    if (position_var) {
        position_var->detach(this, UPDATE_POS);
        position_var = nullptr;
    }
    if (awaited_event == -1) return;
    for (var_management* vm : waited_vars)
        vm->detach(this, CLBK);
    awaited_event = -1;
}

bool CadTimer::end_duration() {
    if (!std::isnan(during_left)) {
        during_left -= during_unit == 1 ? rnow() - start_rnow : now() - start_time;
        if (during_left <= 0.0) {
            terminate();
            return true;
        }
    }
    start_time = now();
    start_rnow = rnow();
    if (during_count < 0) return false;
    if (during_count > 0) {
        during_count -= 1;
        return false;
    }
    terminate();
    return true;
}

bool CadTimer::end_until() {
    if (!until || !eval_bool(until)) return false;
    terminate();
    return true;
}

void CadTimer::set_context() {
    if (rt) rt->set_exe_context(this, &stack);
}

// ---- scheduling ----

void CadTimer::schedule(double delay, duration_type unit) {
    if (finished) return;
    if (std::isnan(delay)) {
        error("Bad duration (%d) in schedule action", static_cast<int>(id));
        return;
    }
    if (tight_step())
        schedule_tight(delay, unit);
    else
        schedule_loose(delay, unit);
}

// A step not yet due is scheduled for what remains of it: in beats, the
// position may already be on its way to the step's date.
void CadTimer::schedule_late(double delay, duration_type unit) {
    if (delay <= 0.0001 || rnow() > date) {
        callback_late(nullptr);
        return;
    }
    schedule(unit == DURATION_BEATS ? std::min(delay, date - rnow()) : delay, unit);
}

// ---- children and kill ----

void CadTimer::active_childs_insert(const CadTimer* child) {
    std::lock_guard lock(childs_mutex);
    active_childs.insert(child);
}

void CadTimer::active_childs_erase(const CadTimer* child) {
    std::lock_guard lock(childs_mutex);
    active_childs.erase(child);
}

bool CadTimer::has_children() const {
    std::lock_guard lock(childs_mutex);
    return !active_childs.empty();
}

std::vector<CadTimer*> CadTimer::fill_active_childs() const {
    std::lock_guard lock(childs_mutex);
    std::vector<CadTimer*> copy;
    copy.reserve(active_childs.size());
    for (const CadTimer* c : active_childs)
        copy.push_back(const_cast<CadTimer*>(c));
    return copy;
}

// A finished father waits for its last child; when that child goes, the
// father goes too, and so on up.
void CadTimer::notify_father_child_is_deleted() {
    if (!father || !rt->active(father)) return;
    father->active_childs_erase(this);
    if (run_first) finish_father();
}

void CadTimer::finish_father() {
    CadTimer* f = father;
    if (!f->finished || f->running != 0 || f->has_children()) return;
    delete f;
}
