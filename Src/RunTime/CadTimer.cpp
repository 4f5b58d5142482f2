#include "RunTime/CadTimer.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Values.hpp"
#include "RunTime/CadScheduler.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "Base/Console.hpp"
#include "Tree/Bloc.hpp"
#include "Tree/Event.hpp"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cmath>
#include <limits>

namespace {

std::atomic<std::uint64_t> cuid{0};

double tempo_or(double tempo, double fallback) {
    return tempo > 0.0 ? tempo : fallback;
}

double rt_tempo(const GlobalEnvironment& env) {
    const Value& t = env.vars[env.rt_tempo_index].newest();
    return t->is_undef() ? -1.0 : t->get_double();
}

} // namespace

CadTimer::CadTimer(t_scheduler* sched)
    : sched(sched) {}

CadTimer::CadTimer(cadenzium_core* core, Bloc& b, double start, const Expression* end, double delay,
                   duration_type unit)
    : id(cuid++)
    , sched(core->get_x_sched())
    , engine(core)
    , env(core->get_env())
    , stack(*core->get_envs())
    , date(start)
    , last_pos(start)
    , last_ref_time(env->now)
    , late(delay)
    , late_unit(unit)
    , bloc(&b)
    , until(end) {
    wait_index = env->current_event ? env->current_event->index() : 0;
    take_life_limits();
    father = core->get_exe();
    abort_handler = firing_abort_handler() ? 1 : 0;
    if (!core->admit_timer(this) || over_before_start()) {
        finished = dead_on_arrival = 1;
        stack.clear();
        return;
    }
    if (father) father->active_childs_insert(this);
    register_active();
}

CadTimer::~CadTimer() {
    if (pending_type != SCHED_NONE && sched) sched->Reset(this, pending_type);
    if (engine && !dead_on_arrival) {
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
    if (bloc->during_count) during_count = static_cast<int>(std::max(0L, eval_int(bloc->during_count)));
    start_time = env->now;
    start_rnow = env->rnow;
}

bool CadTimer::over_before_start() const {
    if (until && eval_bool(until)) return true;
    if (!std::isnan(during_left) && during_left <= 0.0) return true;
    return during_count == 0;
}

void CadTimer::register_active() {
    bloc->exe_register(this);
    engine->register_timer(this);
}

void CadTimer::unregister_active() {
    engine->unregister_timer(this);
    bloc->exe_unregister(this);
}

void CadTimer::leave_context() {
    if (engine && engine->get_exe() == this) engine->set_static_context();
}

// ---- conversions of the scheduler ----

double CadTimer::seconds_in_beats(double seconds, double, double, double tempo) const {
    return seconds * tempo_or(tempo, local_tempo) / 60.0;
}

double CadTimer::beats_in_seconds(double beats, double, double, double tempo) const {
    return beats * 60.0 / tempo_or(tempo, local_tempo);
}

void CadTimer::real_beat_position(double pos) {
    last_pos = pos;
    last_ref_time = now();
}

double CadTimer::get_local_tempo(double, double) {
    return local_tempo;
}

double CadTimer::now() const {
    if (env) return env->now;
    return sched ? sched->env_now() : 0.0;
}

double CadTimer::rnow() const {
    return env ? env->rnow : 0.0;
}
double CadTimer::rcnow() const {
    return env ? env->rcnow : 0.0;
}

// ---- life ----

bool CadTimer::exist() const {
    return engine && engine->active(this);
}

void CadTimer::start_run() {
    running += 1;
    last_pos = date;
    last_ref_time = now();
    last_env_pos = rnow();
    if (env) {
        last_tempo = rt_tempo(*env);
        local_tempo = tempo_or(last_tempo, local_tempo);
    }
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
    if (engine) engine->set_exe_context(this, &stack);
}

// ---- scheduling ----

void CadTimer::schedule(double delay, duration_type unit) {
    if (finished) return;
    if (std::isnan(delay)) {
        error("Bad duration (%d) in schedule action", static_cast<int>(id));
        return;
    }
    if (unit == DURATION_SECONDS) {
        pending_type = SCHED_ABSOLUTE;
        sched->insertAbsoluteTimer(this, delay);
        return;
    }
    pending_type = SCHED_RELATIVE;
    sched->insertRelativeTimer(this, delay);
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
    if (!father || !engine->active(father)) return;
    father->active_childs_erase(this);
    if (run_first) finish_father();
}

void CadTimer::finish_father() {
    CadTimer* f = father;
    if (!f->finished || f->running != 0 || f->has_children()) return;
    delete f;
}
