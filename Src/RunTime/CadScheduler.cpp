#include "RunTime/CadScheduler.hpp"

#include "Base/Console.hpp"

#include <algorithm>
#include <cassert>
#include <iterator>

// The parts of one list, by reference, so that the three lists share one
// implementation. The relative list counts beats; the others count seconds.
struct t_scheduler::Lane {
    sched_type type;
    std::recursive_mutex& mutex;
    std::uint8_t& armed;
    CadClock& clock;
    NodeList& list;
    double& ref;

    bool in_beats() const { return type == SCHED_RELATIVE; }
    double epsilon() const { return in_beats() ? BEAT_EPSILON : SEC_EPSILON; }
};

t_scheduler::t_scheduler(SchedulerEnv& environment, std::size_t pool)
    : env(environment)
    , abs_clock(env.time(), this, callback_abs2)
    , rel_clock(env.time(), this, callback_rel2)
    , loc_clock(env.time(), this, callback_loc2) {
    const double tempo = env.last_tempo();
    seconds_per_beat = tempo > 0.0 ? 60.0 / tempo : 60.0;
    free_nodes.resize(pool);
    nodes_made = pool;
}

t_scheduler::~t_scheduler() = default;

t_scheduler::Lane t_scheduler::lane(sched_type type) {
    switch (type) {
    case SCHED_ABSOLUTE:
        return {type, abs_mutex, abs_armed, abs_clock, abs_list, abs_ref};
    case SCHED_RELATIVE:
        return {type, rel_mutex, rel_armed, rel_clock, rel_list, rel_ref};
    case SCHED_LOCAL:
        return {type, loc_mutex, loc_armed, loc_clock, loc_list, loc_ref};
    case SCHED_NONE:
        break;
    }
    assert(false && "a scheduler list is absolute, relative or local");
    return {SCHED_ABSOLUTE, abs_mutex, abs_armed, abs_clock, abs_list, abs_ref};
}

t_scheduler::Lane t_scheduler::lane(sched_type type) const {
    return const_cast<t_scheduler*>(this)->lane(type);
}

// ---- time of a list ----

double t_scheduler::span_of(Lane l, double seconds) const {
    return l.in_beats() ? seconds / seconds_per_beat : seconds;
}

double t_scheduler::seconds_of(Lane l, double delta) const {
    return l.in_beats() ? delta * seconds_per_beat : delta;
}

// Deltas count from the instant's date, which may lie behind the clock's
// present (an instant dated at its onset): the clock waits what is left.
void t_scheduler::arm(Lane l, double delta) {
    l.armed = 1;
    l.clock.Delay(std::max(0.0, seconds_of(l, delta) - env.clock_lag()) * 1000.0);
}

void t_scheduler::disarm(Lane l) {
    l.armed = 0;
    l.clock.Reset();
}

// The head's delta counts from the list's reference date: take off what has
// passed since.
void t_scheduler::age_head(Lane l, double at) {
    Node& head = l.list.front();
    head.delta = std::max(0.0, head.delta - span_of(l, at - l.ref));
}

// ---- nodes ----

t_scheduler::NodeList::iterator t_scheduler::take_node(NodeList& list, NodeList::iterator before) {
    std::lock_guard lock(pool_mutex);
    if (free_nodes.empty()) {
        free_nodes.emplace_back();
        ++nodes_made;
    }
    list.splice(before, free_nodes, free_nodes.begin());
    return std::prev(before);
}

void t_scheduler::release(NodeList& list, NodeList::iterator it) {
    std::lock_guard lock(pool_mutex);
    free_nodes.splice(free_nodes.end(), list, it);
}

void t_scheduler::release_all(NodeList& list) {
    std::lock_guard lock(pool_mutex);
    free_nodes.splice(free_nodes.end(), list);
}

t_scheduler::NodeList::iterator t_scheduler::find(Lane l, const CadTimer* t) {
    return std::find_if(l.list.begin(), l.list.end(), [t](const Node& n) { return n.timer == t; });
}

// Removes a node; its delta goes to the next one, whose date stays put.
void t_scheduler::unlink(Lane l, NodeList::iterator it) {
    const auto next = std::next(it);
    if (next != l.list.end()) next->delta += it->delta;
    release(l.list, it);
}

// Links `t` at `d` from the reference date, behind every node due at or
// before it, so that equal dates keep insertion order. Returns whether it is
// the new head.
bool t_scheduler::link_node(Lane l, CadTimer* t, double d) {
    double sum = 0.0;
    auto it = l.list.begin();
    while (it != l.list.end() && sum + it->delta <= d) {
        sum += it->delta;
        ++it;
    }
    if (it != l.list.end()) it->delta = sum + it->delta - d;
    const auto node = take_node(l.list, it);
    node->timer = t;
    node->delta = std::max(0.0, d - sum);
    return node == l.list.begin();
}

// ---- insertion ----

void t_scheduler::insertAbsoluteTimer(CadTimer* t, double seconds) {
    insert(lane(SCHED_ABSOLUTE), t, seconds);
}

void t_scheduler::insertRelativeTimer(CadTimer* t, double beats) {
    insert(lane(SCHED_RELATIVE), t, beats);
}

void t_scheduler::insertLocalTempoTimer(CadTimer* t, double seconds) {
    if (t->has_expression_tempo()) t->local_tempo = t->get_local_tempo(t->date, t->last_pos);
    insert(lane(SCHED_LOCAL), t, seconds);
}

void t_scheduler::insert(Lane l, CadTimer* t, double d) {
    assert(t && "a scheduled timer exists");
    if (d < l.epsilon()) {
        // Due now: the timer runs in the caller's instant and never waits.
        t->pending_type = SCHED_NONE;
        t->callback(nullptr);
        return;
    }
    std::lock_guard lock(l.mutex);
    now = env.now();
    if (l.armed && !l.list.empty()) age_head(l, now);
    l.ref = now;
    if (l.type == SCHED_LOCAL) t->attach_tempo_vars();
    if (link_node(l, t, d)) arm(l, d);
}

// ---- wake-up ----

void t_scheduler::callback_abs2(void* s) {
    auto* self = static_cast<t_scheduler*>(s);
    const ConsoleScope console(self->env.console_sink());
    self->env.begin_clock_instant();
    self->callback_abs();
    self->env.end_clock_instant();
}

void t_scheduler::callback_rel2(void* s) {
    auto* self = static_cast<t_scheduler*>(s);
    const ConsoleScope console(self->env.console_sink());
    self->env.begin_clock_instant();
    self->callback_rel();
    self->env.end_clock_instant();
}

void t_scheduler::callback_loc2(void* s) {
    auto* self = static_cast<t_scheduler*>(s);
    const ConsoleScope console(self->env.console_sink());
    self->env.begin_clock_instant();
    self->callback_loc();
    self->env.end_clock_instant();
}

void t_scheduler::callback_abs() {
    walk(lane(SCHED_ABSOLUTE));
}
void t_scheduler::callback_rel() {
    walk(lane(SCHED_RELATIVE));
}
void t_scheduler::callback_loc() {
    walk(lane(SCHED_LOCAL));
}

// A clock that fires with no time gone since the list's reference date fired
// too early: it is armed again for what is left. A head whose remaining time
// is below the epsilon (a relative head under an undefined tempo) is due.
bool t_scheduler::fired_early(Lane l) const {
    const Node& head = l.list.front();
    return !(now - l.ref > SEC_EPSILON) && head.delta >= l.epsilon() &&
           seconds_of(l, head.delta) >= SEC_EPSILON;
}

// Wakes the head and every node due with it, with the list unlocked around
// each timer so that a timer may insert in the same list; then arms the
// clock for the new head unless a timer already did.
void t_scheduler::walk(Lane l) {
    std::unique_lock lock(l.mutex);
    now = env.now();
    if (l.list.empty()) return;
    if (fired_early(l)) {
        arm(l, l.list.front().delta);
        return;
    }
    l.armed = 0;
    l.ref = now;
    do {
        CadTimer* t = l.list.front().timer;
        release(l.list, l.list.begin());
        t->pending_type = SCHED_NONE; // it leaves the list: nothing to remove later
        lock.unlock();
        t->callback(nullptr);
        lock.lock();
        if (l.list.empty()) return;
    } while (l.list.front().delta < l.epsilon());
    if (!l.armed) arm(l, l.list.front().delta);
}

// ---- removal ----

int t_scheduler::Reset(CadTimer* t, sched_type type) {
    if (type == SCHED_NONE) {
        CAD_INTERNAL_ERROR("no scheduler list to remove the timer from");
        return 1;
    }
    Lane l = lane(type);
    std::unique_lock lock(l.mutex);
    const auto it = find(l, t);
    if (it == l.list.end()) return 1;
    if (it != l.list.begin()) {
        unlink(l, it);
        return 1;
    }
    reset_head(l, lock);
    return 1;
}

// The head leaves: what was left of its delta goes to the next node, whose
// clock is armed anew, or which is woken at once when it is due.
void t_scheduler::reset_head(Lane l, std::unique_lock<std::recursive_mutex>& lock) {
    now = env.now();
    const double left = l.list.front().delta - span_of(l, now - l.ref);
    l.ref = now;
    release(l.list, l.list.begin());
    if (l.list.empty()) {
        disarm(l);
        return;
    }
    Node& next = l.list.front();
    next.delta += left;
    if (next.delta >= l.epsilon()) {
        arm(l, next.delta);
        return;
    }
    disarm(l);
    lock.unlock();
    walk(l);
}

// ---- tempo ----

void t_scheduler::UpdateTempo() {
    std::unique_lock rel_lock(rel_mutex);
    std::unique_lock loc_lock(loc_mutex);
    std::unique_lock abs_lock(abs_mutex);
    now = env.now();
    // An undefined tempo gives 0; a NaN passes the test and stays a NaN.
    const double tempo = env.last_tempo();
    const double spb = tempo == 0.0 ? 0.0 : 60.0 / tempo;
    update_local_list(loc_lock);
    if (!update_relative_list(spb, rel_lock, abs_lock)) return;
    seconds_per_beat = spb;
    rel_lock.unlock();
    update_absolute_dates();
}

void t_scheduler::UpdateConservativeTempo() {
    std::unique_lock loc_lock(loc_mutex);
    std::lock_guard abs_lock(abs_mutex);
    now = env.now();
    update_local_list(loc_lock);
    update_absolute_dates();
}

void t_scheduler::UpdateLocalTempo() {
    std::unique_lock loc_lock(loc_mutex);
    now = env.now();
    update_local_list(loc_lock);
}

// Brings a timer's beat position to the present, at the tempo of its last
// reference.
void t_scheduler::catch_up(CadTimer& t) const {
    const double b = t.seconds_in_beats(now - t.last_ref_time, t.last_pos, t.last_env_pos, t.last_tempo);
    t.real_beat_position(std::min(t.date, b + t.last_pos));
}

// Each local timer's wake-up is recomputed from its date in beats under its
// new tempo, and the list is sorted again (stable, so ties keep their order).
// Releases the local lock; wakes the new head if it is due.
void t_scheduler::update_local_list(std::unique_lock<std::recursive_mutex>& lock) {
    Lane l = lane(SCHED_LOCAL);
    if (l.list.empty()) {
        lock.unlock();
        return;
    }
    if (l.armed) disarm(l);
    l.ref = now; // every delta is computed from now below
    for (Node& n : l.list)
        n.delta = local_delay_now(*n.timer);
    l.list.sort([](const Node& a, const Node& b) { return a.delta < b.delta; });
    double previous = 0.0;
    for (Node& n : l.list) {
        const double from_now = n.delta;
        n.delta = from_now - previous;
        previous = from_now;
    }
    const double head = l.list.front().delta;
    if (head >= l.epsilon()) {
        arm(l, head);
        lock.unlock();
        return;
    }
    lock.unlock();
    callback_loc();
}

// Only the head changes: the list counts beats. Its remaining beats at the
// old rate are re-armed at the new one. Returns false when the head was due
// and woken, which ends the tempo update; both locks are then released.
bool t_scheduler::update_relative_list(double spb, std::unique_lock<std::recursive_mutex>& rel_lock,
                                       std::unique_lock<std::recursive_mutex>& abs_lock) {
    Lane l = lane(SCHED_RELATIVE);
    if (l.list.empty() || spb == seconds_per_beat) return true;
    if (l.armed) disarm(l);
    Node& head = l.list.front();
    const double left = head.delta - (now - l.ref) / seconds_per_beat;
    head.delta = std::max(0.0, left);
    l.ref = now;
    seconds_per_beat = spb;
    if (left >= l.epsilon()) {
        arm(l, left);
        return true;
    }
    abs_lock.unlock();
    rel_lock.unlock();
    callback_rel();
    return false;
}

// The wake-ups stay put in seconds; the dates in beats of the timers move
// with the tempo. The clock is not touched.
void t_scheduler::update_absolute_dates() {
    Lane l = lane(SCHED_ABSOLUTE);
    if (l.list.empty()) return;
    age_head(l, now);
    l.ref = now;
    double from_now = 0.0;
    for (Node& n : l.list) {
        from_now += n.delta;
        CadTimer& t = *n.timer;
        catch_up(t);
        t.date = t.last_pos + t.seconds_in_beats(from_now, t.last_pos, -1.0, -1.0);
    }
}

// ---- local tempo change ----

void t_scheduler::reschedule(CadTimer* t, sched_type type) {
    if (type == SCHED_NONE) return;
    if (type != SCHED_LOCAL) {
        CAD_INTERNAL_ERROR("only a timer of the local tempo list is rescheduled");
        return;
    }
    Lane l = lane(SCHED_LOCAL);
    std::unique_lock lock(l.mutex);
    const auto it = find(l, t);
    if (it == l.list.end()) return;
    now = env.now();
    age_head(l, now);
    l.ref = now;
    const double d = local_delay_now(*t);
    const bool was_head = it == l.list.begin();
    unlink(l, it);
    const bool is_head = link_node(l, t, d);
    const double head = l.list.front().delta;
    if (head >= l.epsilon()) {
        if (was_head || is_head) arm(l, head);
        return;
    }
    if (l.armed) disarm(l);
    lock.unlock();
    callback_loc();
}

// The seconds from now to the timer's date under its present local tempo.
double t_scheduler::local_delay_now(CadTimer& t) const {
    const double dt = now - t.last_ref_time;
    if (!t.has_expression_tempo()) {
        catch_up(t);
    } else {
        // The beats gone by at the tempo in force since the last reference,
        // then the tempo from where the timer stands now.
        const double b = t.seconds_in_beats(dt, t.last_pos, t.last_env_pos, -1.0);
        t.real_beat_position(std::min(t.date, b + t.last_pos));
        t.local_tempo = t.get_local_tempo(t.last_pos, -1.0);
    }
    return t.beats_in_seconds(t.date - t.last_pos, t.last_pos, -1.0, -1.0);
}

// ---- reset ----

void t_scheduler::reset_data(double spb) {
    std::scoped_lock lock(rel_mutex, loc_mutex, abs_mutex);
    seconds_per_beat = spb;
    now = env.now();
    abs_ref = rel_ref = loc_ref = now;
}

void t_scheduler::reset() {
    for (sched_type type : {SCHED_RELATIVE, SCHED_LOCAL, SCHED_ABSOLUTE}) {
        Lane l = lane(type);
        std::lock_guard lock(l.mutex);
        release_all(l.list);
        disarm(l);
    }
}

// ---- inspection ----

bool t_scheduler::is_armed(sched_type type) const {
    Lane l = lane(type);
    std::lock_guard lock(l.mutex);
    return l.armed != 0;
}

std::size_t t_scheduler::pending(sched_type type) const {
    Lane l = lane(type);
    std::lock_guard lock(l.mutex);
    return l.list.size();
}

std::string t_scheduler::show() const {
    static const char* const names[] = {"", "absolute", "relative", "local"};
    std::string out;
    for (sched_type type : {SCHED_ABSOLUTE, SCHED_RELATIVE, SCHED_LOCAL}) {
        Lane l = lane(type);
        std::lock_guard lock(l.mutex);
        out += str_printf("%s list: %zu timer(s), %s, ref %g\n", names[type], l.list.size(),
                          l.armed ? "armed" : "unarmed", l.ref);
        for (const Node& n : l.list)
            out += str_printf("  %p delta %g date %g\n", (void*)n.timer, n.delta, n.timer->date);
    }
    out += str_printf("seconds per beat %g, now %g\n", seconds_per_beat, now);
    return out;
}
