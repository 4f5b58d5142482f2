// A scheduler on the virtual clock, with an environment of its own and
// timers that write each wake-up in a trace: every case has one exact trace.
#pragma once

#include "RunTime/CadClock.hpp"
#include "RunTime/CadScheduler.hpp"
#include "RunTime/HostClock.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

// The environment's side of the scheduler: logical time, the followed tempo,
// and instants. A clock wake-up opens an instant at the clock's time, as the
// engine's instants do; the test sets time and tempo directly for the
// instants that it plays itself (a position update).
class RigEnv : public SchedulerEnv {
public:
    // Time is virtual without `host`, else the host's from now.
    explicit RigEnv(HostClocks* host = nullptr)
        : clock(host) {}
    TimeBase& time() override { return clock; }
    double now() const override { return now_s; }
    double last_tempo() const override { return tempo; }
    void begin_clock_instant() override {
        ++instants;
        in_instant = true;
        now_s = std::max(now_s, clock.GetTime());
    }
    void end_clock_instant() override { in_instant = false; }

    TimeBase clock;
    double now_s = 0.0;
    double tempo = 60.0;
    int instants = 0; // clock wake-ups so far
    bool in_instant = false;
};

// One wake-up: which timer, at which logical time, in which clock instant
// (0: outside any, inside the caller's operation).
struct Wake {
    std::string name;
    double at;
    int instant;
    bool operator==(const Wake&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Wake& w) {
    return out << w.name << "@" << w.at << " (instant " << w.instant << ")";
}

class TraceTimer : public CadTimer {
public:
    TraceTimer(const char* name, RigEnv& env, std::vector<Wake>& trace, t_scheduler* sched)
        : CadTimer(sched)
        , name(name)
        , env(env)
        , trace(trace) {}

    void callback(var_management*) override {
        trace.push_back({name, env.now_s, env.in_instant ? env.instants : 0});
        if (on_wake) on_wake();
    }

    // Sets the timer's date and reference as a running group does before it
    // schedules a delay: at `date` beats from `pos`, now, under `tempo`.
    void at(double date_beats, double pos, double tempo) {
        date = date_beats;
        last_pos = pos;
        last_ref_time = env.now_s;
        last_tempo = tempo;
        local_tempo = tempo;
    }

    const char* name;
    RigEnv& env;
    std::vector<Wake>& trace;
    std::function<void()> on_wake;
};

class SchedulerRig : public ::testing::Test {
protected:
    SchedulerRig() {
        trace.reserve(256);
        sched.reset_data(1.0); // 60 BPM
    }
    ~SchedulerRig() override { sched.reset(); }

    TraceTimer& timer(const char* name) {
        timers.push_back(std::make_unique<TraceTimer>(name, env, trace, &sched));
        return *timers.back();
    }

    // Lets virtual time run to `t`, then plays an instant at `t` of the
    // test's own (a position update, say).
    void instant_at(double t) {
        env.clock.queue.run_until(t);
        env.clock.SetTime(t);
        env.now_s = t;
    }

    // The instant of a position update that comes at `t` before the clocks
    // due earlier have fired.
    void jump_to(double t) {
        env.clock.SetTime(t);
        env.now_s = t;
    }

    void set_tempo(double bpm) {
        env.tempo = bpm;
        sched.UpdateTempo();
    }

    // Before the scheduler, whose clocks run on its time base.
    RigEnv env;
    std::vector<Wake> trace;
    t_scheduler sched{env};
    std::vector<std::unique_ptr<TraceTimer>> timers;
};
