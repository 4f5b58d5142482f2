// The logical instant: time stands still inside it, every variable gets one
// date, and messages wait in a queue until the environment lock is
// released.
#include "RunTime/Environment_RunTime.hpp"

#include "RunTime/CadClock.hpp"
#include "RunTime/CadScheduler.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "Base/Console.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>

namespace {

// Room made in the queue at each reset, so that an instant with up to this
// many messages never grows it.
constexpr std::size_t queue_room = 256;

// The tempo printed when the tempo is undefined.
constexpr double bad_tempo = -6.66;

struct Positions {
    double rnow;
    double rcnow;
    bool reached = false; // rnow stops at the next event's beat
};

bool debugging(const GlobalEnvironment& env) {
    return env.pre && env.pre->verbose() > 2;
}

double tempo_or_bad(const GlobalEnvironment& env) {
    const Value& t = env.unsafe_get_var(env.rt_tempo_index);
    return t->is_undef() ? bad_tempo : t->get_double();
}

Score* score_of(const GlobalEnvironment& env) {
    return env.pre ? env.pre->get_x_netscore() : nullptr;
}

// The new positions of an instant at `time`. An instant of the score's
// position jumps to the event's beat; any other extrapolates at the
// tempo, with rnow pinned at the next event.
Positions advance(GlobalEnvironment& env, int pos, double time) {
    Positions p{env.rnow, env.rcnow};
    const Value& tempo = env.vars[env.rt_tempo_index].newest();
    const bool tempo_defined = !tempo->is_undef();
    const double d = tempo_defined ? tempo->get_double() * (time - env.now) / 60.0 : 0.0;
    Score* score = score_of(env);
    if (pos >= 0) {
        if (!score || pos > score->get_cur_index()) {
            CAD_INTERNAL_ERROR(str_printf("instant at position %d out of the score", pos));
            return p;
        }
        env.previous_index = env.index;
        env.index = pos;
        env.next_index = score->nextEvent(pos);
        const Event* e = score->events[static_cast<std::size_t>(pos)];
        const double b = (env.inner_event ? env.inner_event : e)->beatcum();
        p.rnow = b;
        if (pos == 0 || !e->isSilence())
            p.rcnow = b;
        else if (tempo_defined)
            p.rcnow = env.rcnow + d;
        return p;
    }
    if (!tempo_defined) return p;
    if (env.next_index == 0 || !score || env.next_index > score->get_cur_index()) {
        p.rnow = p.rcnow = env.rnow + d;
        return p;
    }
    const double next_beat = score->events[static_cast<std::size_t>(env.next_index)]->beatcum();
    p.rnow = std::min(env.rnow + d, next_beat);
    p.rcnow = env.rcnow + d;
    p.reached = p.rnow == next_beat;
    return p;
}

void debug_start(const GlobalEnvironment& env, int pos, double utime, double time) {
    std::fprintf(stderr,
                 "DEBUG: START logical instant [%d]: lnow=%d utime=%.3f pos=%d time=%.6f current: now=%.6f "
                 "rnow=%.6f rcnow=%.6f tempo=%.3f\n",
                 env.logical_nesting, env.instant_count, utime, pos, time, env.now, env.rnow, env.rcnow,
                 tempo_or_bad(env));
    if (pos >= 0 && pos <= env.last_position_given)
        std::fprintf(stderr, "DEBUG: position %d at or before the last given %d\n", pos,
                     env.last_position_given);
}

} // namespace

// Back to the top of the score: the instant restarts at date 0 before the
// first event, with no event heard yet.
void GlobalEnvironment::reset() {
    EnvironmentLock lock(*this);
    pending.reserve(queue_room);
    now = rnow = rcnow = 0.0;
    current_timer = nullptr;
    Score* score = score_of(*this);
    current_event = score && !score->events.empty() ? score->events[0] : nullptr;
    inner_event = previous_event = last_action_event = nullptr;
    last_onset_time = 0.0;
    onset_count = 0;
    timing_error_ms = 0.0;
    previous_index = index = next_index = last_position_given = 0;
    last_rnow_sent = -1.0;
    position_to_report = -1;
    set_var(now_index, float_value(0.0));
    set_var(rnow_index, float_value(0.0));
    set_var(rcnow_index, float_value(0.0));
    set_var(beat_pos_index, float_value(0.0));
    start_logical_instant(-1);
    end_logical_instant();
}

void GlobalEnvironment::start_logical_instant(int pos) {
    ++logical_nesting;
    const double utime = GetCurrentUnixTimeMs();
    const double time = std::max(now, pre ? pre->GetTime() : now);
    const bool debug = debugging(*this);
    if (debug) debug_start(*this, pos, utime, time);
    const Positions p = advance(*this, pos, time);
    ++instant_count;
    if (time - now > SEC_EPSILON) {
        stats.update_inter(utime - last_utime);
        last_utime = utime;
        now = time;
        vars[now_index].h_insert(float_value(time), time, p.rnow);
    } else if (debug) {
        std::fprintf(stderr, "DEBUG: ## time increment < SEC_EPSILON: %g\n", time - now);
    }
    if (pos >= 0 || p.rnow - rnow > BEAT_EPSILON) {
        rnow = p.rnow;
        last_position_given = pos;
        set_var(rnow_index, float_value(rnow));
        // The report of rnow to the editor goes at most every half second.
        if (last_rnow_sent == -1.0 || time - last_rnow_sent > 0.5) last_rnow_sent = time;
    } else if (debug) {
        std::fprintf(stderr, "DEBUG: ## relative time increment < BEAT_EPSILON: %g\n", p.rnow - rnow);
    }
    if (std::fabs(p.rcnow - rcnow) > 0.0001) {
        rcnow = p.rcnow;
        set_var(rcnow_index, float_value(rcnow));
    }
    t_scheduler* sched = pre ? pre->get_x_sched() : nullptr;
    if (p.reached && sched) sched->UpdateConservativeTempo();
    if (debug)
        std::fprintf(stderr, "       SET: utime=%.3f now=%.6f rnow=%.6f rcnow=%.6f\n", utime, now, rnow,
                     rcnow);
}

void GlobalEnvironment::end_logical_instant() {
    const double utime = GetCurrentUnixTimeMs();
    if (debugging(*this))
        std::fprintf(stderr,
                     "DEBUG: END logical instant [%d] utime=%.3f now=%.6f rnow=%.6f rcnow=%.6f tempo=%.3f\n",
                     logical_nesting, utime, now, rnow, rcnow, tempo_or_bad(*this));
    if (logical_nesting <= 0) {
        CAD_INTERNAL_ERROR("an instant closed that was not open");
        logical_nesting = 0;
        return;
    }
    if (--logical_nesting == 0)
        stats.update_duration_and_messages(utime - last_utime, static_cast<int>(pending.size()));
}

void GlobalEnvironment::queue_message(message* m) {
    m->date = now;
    pending.push_back(m);
}

void GlobalEnvironment::clear_messages() {
    for (message* m : pending)
        delete m;
    pending.clear();
}
