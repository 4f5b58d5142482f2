// Construction, starting and stopping of the engine, and its switches.
#include "RunTime/CadenziumCore.hpp"

#include "Base/Console.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "RunTime/EventPlayer.hpp"
#include "RunTime/HostPort.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <cmath>

cadenzium_core::cadenzium_core(HostPort& host)
    : port(host)
    , timebase(host.clocks())
    , rt(host, timebase)
    , align(std::make_unique<CadAlign>(host.name())) {
    frame_buffer.assign(static_cast<size_t>(window_size), 0.0f);
    rt.commands = this;
    init_internal_func_map();
}

// The timers go first: their clocks call into the runtime.
cadenzium_core::~cadenzium_core() {
    const ConsoleScope scope(&rt.console);
    running = 0;
    rt.commands = nullptr;
    destroy_player();
    Killall();
    rt.score = nullptr;
    x_netscore = nullptr;
    align->forget(loaded.get());
    for (auto& [name, score] : preloaded)
        align->forget(score.get());
    for (auto& score : retired)
        align->forget(score.get());
}

const char* cadenzium_core::thisName() const {
    return port.name();
}

void cadenzium_core::cadenzium_suivi(bool on) {
    const ConsoleScope scope(&rt.console);
    follow_on = on ? 1 : 0;
    inform(on ? "%s - Suivi ON." : "%s - Suivi OFF.", thisName());
}

void cadenzium_core::set_verbosity(int v) {
    verbosity = v;
    rt.verbosity_level = v;
    align->set_verbosity(v);
}

void cadenzium_core::cadenzium_verbosity(int v) {
    const ConsoleScope scope(&rt.console);
    set_verbosity(v);
    inform("%s - Verbosity set to %d.", thisName(), v);
}

void cadenzium_core::cadenzium_actionsOnOff(bool on) {
    const ConsoleScope scope(&rt.console);
    rt.switches.actions_on = on;
    inform(on ? "%s - Turning remote forwarding ON." : "%s - Turning remote forwarding OFF.", thisName());
}

// ---- lifecycle ----

// Back to the top of the score: no timer runs, the instant restarts at 0,
// the listening machine and the tempo tracker start again.
void cadenzium_core::cadenzium_init() {
    const ConsoleScope scope(&rt.console);
    if (x_netscore && x_netscore->preloaded) {
        cadenzium_init_preloaded();
        return;
    }
    close_channels();
    destroy_player();
    {
        EnvironmentLock lock(rt);
        rt.Killall();
    }
    frame_fill = 0;
    rt.switches.tempo_update_on = true;
    rt.reset();
    rt.set_static_context();
    if (x_netscore && x_netscore->CountEvents() > 0) {
        align->setPointers(&inlet_map, &tempo);
        tempo.init();
        tracking.reset();
    }
    rt.send_messages(false);
    {
        EnvironmentLock lock(rt);
        rt.scheduler.reset();
    }
    rt.practice = PracticeCounters();
    apply_first_event_tempo();
}

void cadenzium_core::cadenzium_init_preloaded() {
    rt.send_messages(false);
    rt.set_static_context();
    rt.reset();
    apply_first_event_tempo();
}

// At the top of a score the tempo starts from the first event's: the
// tracker and the scheduler take its period.
void cadenzium_core::apply_first_event_tempo() {
    if (!x_netscore || x_netscore->CountEvents() == 0) return;
    const float t = x_netscore->events[1]->ScoreTempo();
    if (!tempo_from_first_event || !(t > 0)) return;
    const double period = std::fabs(t);
    tempo.TempoUpdate(period);
    rt.scheduler.reset_data(period);
}

// A command that the decoding step's own instant gave runs on the decoding
// thread: it has no step to wait for.
void cadenzium_core::wait_for_decoder() {
    running = 0;
    if (decoding_thread.load() == std::this_thread::get_id()) return;
    std::unique_lock lock(align_mutex);
    align_cond.wait(lock, [this] { return !align_busy.load(); });
}

void cadenzium_core::cadenzium_start(const std::string& name) {
    const ConsoleScope scope(&rt.console);
    if (!name.empty()) {
        start_preloaded(name);
        return;
    }
    if (!x_netscore) {
        error("%s - No score defined or loaded! Do not expect to follow nothing...", thisName());
        running = 0;
        return;
    }
    // The decoder stops, and waits until the top of the score is in place.
    wait_for_decoder();
    std::lock_guard hold(align_mutex);
    const bool was_preloaded = x_netscore->preloaded;
    x_netscore->preloaded = false;
    cadenzium_init();
    x_netscore->preloaded = was_preloaded;
    running = 1;
    if (rt.switches.play_state == 0) {
        rt.switches.practice_on = false;
        rt.switches.tempo_update_on = true;
        inform("%s - Start follower... .", thisName());
    }
    updatePosition(0);
    rt.last_action_event = rt.current_event;
    align->set_Position(0);
}

void cadenzium_core::start_preloaded(const std::string& name) {
    auto it = preloaded.find(name);
    if (it == preloaded.end()) {
        error("%s - No preloaded score for '%s'", thisName(), name.c_str());
        return;
    }
    wait_for_decoder();
    follow_score(it->second.get());
    cadenzium_init();
    running = 1;
    inform("%s - Starting \"%s\"... .", thisName(), name.c_str());
    updatePosition(0);
}

void cadenzium_core::cadenzium_stop() {
    const ConsoleScope scope(&rt.console);
    wait_for_decoder();
    const bool preloaded_mode = x_netscore && x_netscore->preloaded;
    if (preloaded_mode) Killall();
    if (preloaded_mode)
        cadenzium_init_preloaded();
    else
        cadenzium_init();
    inform("%s - Stopped!", thisName());
}

void cadenzium_core::Killall() {
    const ConsoleScope scope(&rt.console);
    rt.Killall();
}

int cadenzium_core::Position() const {
    return rt.position();
}

int cadenzium_core::lastPosition() const {
    return rt.previous_event ? rt.previous_event->index() : 0;
}

int cadenzium_core::lastAction() const {
    return rt.last_action_event ? rt.last_action_event->index() : 0;
}
