// Construction, loading, starting and stopping of the engine.
#include "RunTime/CadenziumCore.hpp"

#include "Listening/CadAlign.hpp"

#include "RunTime/CadClock.hpp"
#include "RunTime/CadScheduler.hpp"
#include "Base/Console.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

std::string cadenzium_core::cadenzium_version() const {
    return CAD_VERSION;
}
std::string cadenzium_core::cadenzium_commit_version() const {
    return CAD_VERSION;
}

bool cadenzium_core::PreloadedMode() const {
    return x_netscore && x_netscore->preloaded;
}

int cadenzium_core::outlet_number(const std::string& name) const {
    auto it = outlet_map.find(name);
    return it == outlet_map.end() ? -1 : it->second;
}

OscSend* cadenzium_core::get_osc_send(const std::string& name) {
    auto it = osc_send_map.find(name);
    return it == osc_send_map.end() ? nullptr : it->second;
}

void cadenzium_core::set_static_context() {
    current_exe = nullptr;
    envs = &init_envs;
}

bool cadenzium_core::active(const CadTimer* timer) {
    std::lock_guard lock(timers_mutex);
    return active_timers.count(const_cast<CadTimer*>(timer)) > 0;
}

void cadenzium_core::napro_trace_init(const std::string& host, int port) {
    napro_trace_host = host;
    napro_trace_port = port;
    napro_trace_on = 1;
}

double cadenzium_core::GetTime() const {
    return CadClock::GetTime();
}

void cadenzium_core::cadenzium_suivi(bool on) {
    follow_on = on ? 1 : 0;
    post(on ? "%s - Suivi ON." : "%s - Suivi OFF.", thisName());
}

void cadenzium_core::cadenzium_verbosity(int v) {
    verbosity = v;
    if (align) align->set_verbosity(v);
    post("%s - Verbosity set to %d.", thisName(), v);
}

void cadenzium_core::cadenzium_actionsOnOff(bool on) {
    remote_forwarding = on ? 1 : 0;
    post(on ? "%s - Turning remote forwarding ON." : "%s - Turning remote forwarding OFF.", thisName());
}

// ---- lifecycle ----

void cadenzium_core::cadenzium_init() {
    included_files.clear();
    if (PreloadedMode()) {
        cadenzium_init_preloaded();
        return;
    }
    {
        EnvironmentLock lock(*global_env);
        Killall();
    }
    frame_fill = 0;
    tempo_update_on = 1;
    global_env->reset();
    set_static_context();
    reset_listening();
    global_env->send_messages(false);
    {
        EnvironmentLock lock(*global_env);
        scheduler->reset();
    }
    reset_practice();
    apply_first_event_tempo();
}

void cadenzium_core::cadenzium_init_preloaded() {
    global_env->send_messages(false);
    set_static_context();
    global_env->reset();
    apply_first_event_tempo();
}

void cadenzium_core::reset_practice() {
    practice = PracticeCounters();
}

void cadenzium_core::wait_for_decoder() {
    running = 0;
    std::unique_lock lock(align_mutex);
    align_cond.wait(lock, [this] { return !align_busy.load(); });
}

void cadenzium_core::cadenzium_start(const std::string& name) {
    if (!name.empty()) {
        start_preloaded(name);
        return;
    }
    if (!x_netscore) {
        error("%s - No score defined or loaded! Do not expect to follow nothing...", thisName());
        running = 0;
        return;
    }
    const bool was_preloaded = x_netscore->preloaded;
    x_netscore->preloaded = false;
    cadenzium_init();
    x_netscore->preloaded = was_preloaded;
    wait_for_decoder();
    running = 1;
    if (play_state == 0) {
        practice_on = false;
        tempo_update_on = 1;
        post("%s - Start follower... .", thisName());
    }
    updatePosition(0);
    global_env->last_action_event = global_env->current_event;
    listening_set_position(0);
}

void cadenzium_core::start_preloaded(const std::string& name) {
    auto it = preloaded_scores.find(name);
    if (it == preloaded_scores.end()) {
        error("%s - No preloaded score for '%s'", thisName(), name.c_str());
        return;
    }
    wait_for_decoder();
    if (x_netscore && !x_netscore->preloaded && x_netscore != it->second) delete x_netscore;
    x_netscore = it->second;
    listening_set_score();
    cadenzium_init();
    running = 1;
    post("%s - Starting \"%s\"... .", thisName(), name.c_str());
    updatePosition(0);
}

void cadenzium_core::cadenzium_stop() {
    wait_for_decoder();
    if (player || PreloadedMode()) Killall();
    if (PreloadedMode())
        cadenzium_init_preloaded();
    else
        cadenzium_init();
    if (play_state_at_end == 1) {
        play_state = 1;
        play_state_at_end = 0;
    }
    post("%s - Stopped!", thisName());
}

// Terminates every running compound action. The set is copied first: a
// termination changes it and may end other timers, which the `active` test
// then skips.
void cadenzium_core::Killall() {
    std::vector<CadTimer*> copy;
    {
        std::lock_guard lock(timers_mutex);
        copy.assign(active_timers.begin(), active_timers.end());
    }
    for (CadTimer* timer : copy)
        if (active(timer)) terminate_timer(timer);
}

// The global environment is the root of the stack of environments.
Environment* cadenzium_core::get_globalenv_as_env() {
    return global_env;
}

std::recursive_mutex& cadenzium_core::env_lock() {
    return *global_env->mutex;
}
