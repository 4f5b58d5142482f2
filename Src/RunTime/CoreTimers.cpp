// The engine's register of running compound actions: the set it owns, the
// process-wide map of execution numbers, the limits on their count, and
// the notifications that variables send them.
#include "RunTime/CadenziumCore.hpp"

#include "Exp/VarManagement.hpp"
#include "RunTime/CadScheduler.hpp"
#include "RunTime/CadTimer.hpp"
#include "Base/Console.hpp"
#include "Tree/Bloc.hpp"

#include <cstdio>
#include <map>
#include <mutex>

namespace {

constexpr std::size_t hard_limit = 20000;
constexpr int kill_attempts = 40000;

std::recursive_mutex map_mutex;
std::map<std::uint64_t, CadTimer*> active_map;
std::size_t alert_threshold = 5000;
std::size_t peak_timers = 0;

} // namespace

CadTimer* find_exe_static(std::uint64_t id) {
    std::lock_guard lock(map_mutex);
    const auto found = active_map.find(id);
    return found == active_map.end() ? nullptr : found->second;
}

CadTimer* cadenzium_core::find_exe(int id) {
    if (id < 0) return nullptr;
    CadTimer* t = find_exe_static(static_cast<std::uint64_t>(id));
    return t && active(t) ? t : nullptr;
}

std::size_t cadenzium_core::active_timer_count() {
    std::lock_guard lock(timers_mutex);
    return active_timers.size();
}

bool cadenzium_core::admit_timer(CadTimer*) {
    const std::size_t count = active_timer_count() + 1;
    peak_timers = std::max(peak_timers, count);
    if (count >= hard_limit) {
        error("Fatal Error: too much (%d) active groups: give up", static_cast<int>(count));
        std::fprintf(stderr, "Fatal Error: too much (%d) active groups: give up\n", static_cast<int>(count));
        for (int i = 0; i < kill_attempts && active_timer_count() > 0; ++i) {
            CadTimer* first = nullptr;
            {
                std::lock_guard lock(timers_mutex);
                first = *active_timers.begin();
            }
            first->terminate();
        }
        error("Fatal Error: too much (%d) active groups: stoping current program", static_cast<int>(count));
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

void cadenzium_core::register_timer(CadTimer* timer) {
    std::scoped_lock lock(timers_mutex, map_mutex);
    active_timers.insert(timer);
    active_map[timer->id] = timer;
}

void cadenzium_core::unregister_timer(CadTimer* timer) {
    std::scoped_lock lock(timers_mutex, map_mutex);
    active_timers.erase(timer);
    active_map.erase(timer->id);
}

void cadenzium_core::terminate_timer(CadTimer* timer) {
    timer->terminate();
}

// A variable tells a timer that waits on it: a notification, a move of the
// position, or a change of the tempo it counts with.
void cadenzium_core::notify_var_observer(CadTimer* timer, int kind, int event_index, var_management& var) {
    if (!active(timer)) return;
    switch (kind) {
    case CLBK:
        timer->callback(&var);
        return;
    case UPDATE_POS:
        timer->UpdatePosition(event_index);
        return;
    case TEMPO:
        if (sched_type type = timer->pending_type; type == SCHED_LOCAL) scheduler->reschedule(timer, type);
        return;
    }
}

// The position of a running compound action is the date of its next step.
bool cadenzium_core::timer_time(const CadTimer* timer, double& position, double& tempo) const {
    if (!timer) return false;
    position = timer->date;
    tempo = timer->local_tempo;
    return true;
}

// The instance that runs `ambient`: the current timer or the nearest of its
// fathers that runs that action; the current timer when none does.
unsigned long cadenzium_core::ambient_exe(const Action* ambient) const {
    for (const CadTimer* t = current_exe; t; t = t->father)
        if (static_cast<const Action*>(t->bloc) == ambient) return static_cast<unsigned long>(t->id);
    return current_exe ? static_cast<unsigned long>(current_exe->id) : 0;
}
