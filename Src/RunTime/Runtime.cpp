// The runtime's construction, what evaluation asks of it, and the register
// of running compound actions with its limits.
#include "RunTime/Runtime.hpp"

#include "Base/Console.hpp"
#include "Listening/Tempo.hpp"
#include "RunTime/CadTimer.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "RunTime/Firing.hpp"
#include "RunTime/HostPort.hpp"
#include "RunTime/TimeBase.hpp"
#include "RunTime/exec.hpp"
#include "Tree/Bloc.hpp"
#include "Tree/Score.hpp"

#include <cstdio>

namespace {

// Room made in the queue, so that an instant with up to this many messages
// never grows it.
constexpr std::size_t queue_room = 256;

constexpr std::size_t hard_limit = 20000;

// Delivered messages kept for reuse, at most.
constexpr std::size_t spare_room = 1024;
// Positions accepted within one instant before it delivers: one, or a few
// when the score plays itself through events of no duration.
constexpr std::size_t positions_room = 16;

} // namespace

Runtime::Runtime(HostPort& host, TimeBase& time)
    : port(host)
    , console([&host](ConsoleLevel level, std::string_view text) { host.console(level, text); })
    , timebase(time)
    , env(this)
    , scheduler(*this) {
    init_envs.assign(1, &env);
    envs = &init_envs;
    pending.reserve(queue_room);
    positions_to_report.reserve(positions_room);
    spare.reserve(spare_room);
}

Runtime::~Runtime() {
    Killall();
    clear_messages();
    for (message* m : spare)
        delete m;
}

// ---- what evaluation asks ----

bool Runtime::label_beat(const std::string& label, double& beat) const {
    if (!score) return false;
    const auto found = score->label_to_beat.find(label);
    if (found == score->label_to_beat.end()) return false;
    beat = found->second;
    return true;
}

// The position of a running compound action is the date of its next step.
bool Runtime::exe_time(double& position, double& tempo) const {
    if (!current_exe) return false;
    position = current_exe->date;
    tempo = current_exe->local_tempo;
    return true;
}

// The instance that runs `ambient`: the current timer or the nearest of its
// fathers that runs that action; the current timer when none does.
Value Runtime::ambient_exe(const Action* ambient) const {
    for (const CadTimer* t = current_exe; t; t = t->father)
        if (static_cast<const Action*>(t->bloc) == ambient) return exe_value(t->execution);
    return current_exe ? exe_value(current_exe->execution) : exe_value(0);
}

std::unique_ptr<TempoOscillator> Runtime::make_tempo_oscillator() const {
    return make_t_tempo_var();
}

Environment* Runtime::exe_environment(unsigned long id, unique_identifier uid) const {
    const CadTimer* t = find_exe(id);
    if (!t) return nullptr;
    for (auto it = t->stack.rbegin(); it != t->stack.rend(); ++it)
        if (*it && (*it)->is_defined_var(uid)) return *it;
    return nullptr;
}

// The block fires with no running execution as its father, in the
// environments in force; the first execution the firing started is the
// block's own.
Value Runtime::fire_action(Action& action, double position) {
    SavedContext saved(*this);
    current_exe = nullptr;
    const std::uint64_t before = executions_made;
    Fire(*this, action, position, 0.0, DURATION_BEATS);
    if (executions_made == before) return exe_value(0);
    if (const CadTimer* started = find_exe(before + 1)) return exe_value(started->execution);
    return exe_value(before + 1); // it ended within the firing
}

// ---- the context of evaluation ----

void Runtime::set_static_context() {
    current_exe = nullptr;
    envs = &init_envs;
}

// ---- running compound actions ----

bool Runtime::admit_timer() {
    if (given_up) return false;
    const std::size_t count = active_timer_count() + 1;
    peak_timers = std::max(peak_timers, count);
    if (count >= hard_limit) {
        give_up(count);
        return false;
    }
    if (count >= alert_threshold) {
        std::fprintf(stderr, "### Cadenzium ALERT: %d simultaneously active groups\n",
                     static_cast<int>(count));
        error("### ALERT: %d simultaneously active groups", static_cast<int>(count));
        alert_threshold += 1500;
    }
    return true;
}

// Too many groups at once: the runtime gives up. Every running one is
// stopped, none starts any more, and the engine stops following.
void Runtime::give_up(std::size_t count) {
    error("Fatal Error: too much (%d) active groups: give up", static_cast<int>(count));
    given_up = true;
    Killall();
    error("Fatal Error: too much (%d) active groups: stoping current program", static_cast<int>(count));
}

void Runtime::register_timer(CadTimer* timer) {
    std::lock_guard lock(timers_mutex);
    executions[timer->id] = timer;
}

void Runtime::unregister_timer(CadTimer* timer) {
    std::lock_guard lock(timers_mutex);
    executions.erase(timer->id);
}

bool Runtime::active(const CadTimer* timer) const {
    if (!timer) return false;
    std::lock_guard lock(timers_mutex);
    const auto found = executions.find(timer->id);
    return found != executions.end() && found->second == timer;
}

CadTimer* Runtime::find_exe(std::uint64_t id) const {
    std::lock_guard lock(timers_mutex);
    const auto found = executions.find(id);
    return found == executions.end() ? nullptr : found->second;
}

std::size_t Runtime::active_timer_count() const {
    std::lock_guard lock(timers_mutex);
    return executions.size();
}

std::vector<CadTimer*> Runtime::instances_of(const Bloc* bloc) const {
    std::vector<CadTimer*> found;
    std::lock_guard lock(timers_mutex);
    for (const auto& [id, timer] : executions)
        if (timer->bloc == bloc) found.push_back(timer);
    return found;
}

std::vector<CadTimer*> Runtime::instances_labelled(const std::string& label) const {
    std::vector<CadTimer*> found;
    std::lock_guard lock(timers_mutex);
    for (const auto& [id, timer] : executions)
        if (timer->bloc && timer->bloc->get_label() == label) found.push_back(timer);
    return found;
}

// The scheduler's lists are emptied first, so that no termination has to
// search them; the set is copied, since a termination changes it and may
// end other timers, which the `active` test then skips.
void Runtime::Killall() {
    scheduler.reset();
    std::vector<CadTimer*> copy;
    {
        std::lock_guard lock(timers_mutex);
        copy.reserve(executions.size());
        for (const auto& [id, timer] : executions)
            copy.push_back(timer);
    }
    for (CadTimer* timer : copy)
        if (active(timer)) timer->terminate();
}
