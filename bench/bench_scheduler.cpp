// The scheduler: the cost of inserting, removing and waking timers with
// many pending, on the virtual clock; and the lateness of real timers on the
// standalone scheduler thread with 1,000 pending.
#include "RunTime/CadClock.hpp"
#include "RunTime/CadScheduler.hpp"
#include "RunTime/HostClock.hpp"
#include "SchedulerThread.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

namespace {

// An environment whose instants take the clock's time, under one lock.
class BenchEnv : public SchedulerEnv {
public:
    explicit BenchEnv(HostClocks* host = nullptr)
        : clock(host) {}
    TimeBase& time() override { return clock; }
    double now() const override { return now_s; }
    double last_tempo() const override { return tempo; }
    void begin_clock_instant() override {
        lock.lock();
        now_s = std::max(now_s, clock.GetTime());
    }
    void end_clock_instant() override { lock.unlock(); }

    TimeBase clock;
    std::recursive_mutex lock;
    double now_s = 0.0;
    double tempo = 60.0;
};

class CountingTimer : public CadTimer {
public:
    using CadTimer::CadTimer;
    void callback(var_management*) override { ++wakes; }
    long wakes = 0;
};

// A scheduler on the virtual clock with `n` timers pending far ahead, spread
// over the three lists: beyond the virtual time that the iterations reach.
struct VirtualRig {
    explicit VirtualRig(std::size_t n) {
        sched = std::make_unique<t_scheduler>(env, n + 64);
        std::mt19937 random(42);
        std::uniform_real_distribution<double> far(1e6, 2e6);
        for (std::size_t i = 0; i < n; ++i) {
            pending.push_back(std::make_unique<CountingTimer>(sched.get()));
            CadTimer* t = pending.back().get();
            switch (i % 3) {
            case 0:
                sched->insertAbsoluteTimer(t, far(random));
                break;
            case 1:
                sched->insertRelativeTimer(t, far(random));
                break;
            default:
                sched->insertLocalTempoTimer(t, far(random));
                break;
            }
        }
    }
    ~VirtualRig() { sched->reset(); }

    BenchEnv env;
    std::unique_ptr<t_scheduler> sched;
    std::vector<std::unique_ptr<CountingTimer>> pending;
};

// A timer inserted at the head and woken through its clock: one instant.
void BM_InsertAndWake(benchmark::State& state) {
    VirtualRig rig(static_cast<std::size_t>(state.range(0)));
    CountingTimer t(rig.sched.get());
    for (auto _ : state) {
        rig.sched->insertAbsoluteTimer(&t, 0.001);
        rig.env.clock.queue.run_until(rig.env.now_s + 0.001);
    }
    if (t.wakes != state.iterations()) state.SkipWithError("a timer did not wake");
}
BENCHMARK(BM_InsertAndWake)->Arg(10)->Arg(100)->Arg(1000);

// A timer inserted among the pending ones (a walk of the list) and removed
// again (a search): the pair is one iteration.
void BM_InsertAmongAndRemove(benchmark::State& state) {
    VirtualRig rig(static_cast<std::size_t>(state.range(0)));
    CountingTimer t(rig.sched.get());
    std::mt19937 random(7);
    std::uniform_real_distribution<double> among(1e6, 2e6);
    std::vector<double> delays(4096);
    for (double& d : delays)
        d = among(random);
    std::size_t i = 0;
    for (auto _ : state) {
        rig.sched->insertAbsoluteTimer(&t, delays[i++ & 4095]);
        rig.sched->Reset(&t, SCHED_ABSOLUTE);
    }
}
BENCHMARK(BM_InsertAmongAndRemove)->Arg(10)->Arg(100)->Arg(1000);

// A change of the followed tempo with many relative timers pending: only the
// head is re-armed. The local list is left empty here: its timers are
// recomputed one by one, by design.
void BM_TempoChange(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    VirtualRig rig(0);
    std::vector<std::unique_ptr<CountingTimer>> timers;
    for (std::size_t i = 0; i < n; ++i) {
        timers.push_back(std::make_unique<CountingTimer>(rig.sched.get()));
        rig.sched->insertRelativeTimer(timers.back().get(), 1000.0 + static_cast<double>(i));
    }
    bool fast = false;
    for (auto _ : state) {
        rig.env.tempo = (fast = !fast) ? 120.0 : 60.0;
        rig.sched->UpdateTempo();
    }
}
BENCHMARK(BM_TempoChange)->Arg(10)->Arg(1000);

// ---- real time ----

void report_lateness(benchmark::State& state, std::vector<double>& late_us) {
    if (late_us.empty()) return;
    std::sort(late_us.begin(), late_us.end());
    const auto at = [&](double q) { return late_us[static_cast<std::size_t>(q * (late_us.size() - 1))]; };
    state.counters["median_us"] = at(0.5);
    state.counters["p99_us"] = at(0.99);
    state.counters["max_us"] = late_us.back();
    state.counters["samples"] = static_cast<double>(late_us.size());
}

// 1,000 clocks of the scheduler thread, all pending at once and due over the
// next 250 ms; each records how late it fired.
struct Alarm {
    SchedulerThread* host;
    HostClock* clock = nullptr;
    double due_ms = 0.0;
    double late_ms = -1.0;
    static void fire(void* self) {
        auto* a = static_cast<Alarm*>(self);
        a->late_ms = a->host->physical_ms() - a->due_ms;
    }
};

void BM_ThreadClockLateness(benchmark::State& state) {
    SchedulerThread host;
    std::vector<Alarm> alarms(1000, Alarm{&host});
    for (Alarm& a : alarms)
        a.clock = host.clock_new(&a, Alarm::fire);
    std::mt19937 random(3);
    std::uniform_real_distribution<double> within(5.0, 255.0);
    std::vector<double> late_us;
    for (auto _ : state) {
        for (Alarm& a : alarms) {
            const double ms = within(random);
            a.late_ms = -1.0;
            a.due_ms = host.clock_getftime() + ms;
            host.clock_fdelay(a.clock, ms);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        for (const Alarm& a : alarms) {
            if (a.late_ms >= 0.0) late_us.push_back(a.late_ms * 1000.0);
        }
    }
    for (Alarm& a : alarms)
        host.clock_free(a.clock);
    report_lateness(state, late_us);
}
BENCHMARK(BM_ThreadClockLateness)->Iterations(4)->Unit(benchmark::kMillisecond)->UseRealTime();

// Host milliseconds of a logical date.
double host_ms(const TimeBase& time, double logical_s) {
    return (logical_s + time.queue.start_time()) * 1000.0;
}

// A timer that records how late (physical ms) it woke against the date it
// was given; with `repeats` left, it schedules itself again `period` later.
// Time in a clock instant is logical, so the wake-up is read on the physical
// clock.
class LateTimer : public CadTimer {
public:
    LateTimer(t_scheduler* sched, SchedulerThread& host, const TimeBase& time)
        : CadTimer(sched)
        , host(host)
        , time(time) {}
    void callback(var_management*) override {
        late_ms.push_back(host.physical_ms() - due_ms);
        if (repeats-- <= 0) return;
        due_ms = host_ms(time, sched->env_now() + period);
        sched->insertAbsoluteTimer(this, period);
    }
    SchedulerThread& host;
    const TimeBase& time;
    double due_ms = 0.0;
    double period = 0.0;
    int repeats = 0;
    std::vector<double> late_ms;
};

// The scheduler on the scheduler thread, its environment's instants under
// one lock.
struct RealRig {
    RealRig() {
        sched = std::make_unique<t_scheduler>(env, 2100);
        env.clock.init_now();
        for (int i = 0; i < 1000; ++i) {
            timers.push_back(std::make_unique<LateTimer>(sched.get(), host, env.clock));
            timers.back()->late_ms.reserve(16);
        }
    }
    ~RealRig() {
        {
            std::lock_guard instant(env.lock);
            sched->reset();
        }
        sched.reset();
    }

    // Inserts, in one instant of the calling thread, each timer at the delay
    // `delay(i)`, alternating the absolute and the relative list (60 BPM:
    // beats are seconds).
    template <class F>
    void insert_all(F delay) {
        std::lock_guard instant(env.lock);
        env.now_s = env.clock.GetTime();
        for (std::size_t i = 0; i < timers.size(); ++i) {
            LateTimer& t = *timers[i];
            const double d = delay(i);
            t.due_ms = host_ms(env.clock, env.now_s + d);
            t.late_ms.clear();
            if (i % 2) {
                sched->insertAbsoluteTimer(&t, d);
            } else {
                sched->insertRelativeTimer(&t, d);
            }
        }
    }

    // Waits (at most 5 s) until `t` has woken `n` times in all.
    bool wait_for(const LateTimer& t, std::size_t n) {
        for (int i = 0; i < 1000; ++i) {
            {
                std::lock_guard instant(env.lock);
                if (t.late_ms.size() >= n) return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return false;
    }

    SchedulerThread host;
    BenchEnv env{&host};
    std::unique_ptr<t_scheduler> sched;
    std::vector<std::unique_ptr<LateTimer>> timers;
};

// 1,000 timers pending an hour ahead; a probe wakes 200 times, 1 ms apart,
// each time scheduling itself again from its wake-up.
void BM_SchedulerLatenessProbe(benchmark::State& state) {
    RealRig rig;
    std::vector<double> late_us;
    for (auto _ : state) {
        rig.insert_all([](std::size_t) { return 3600.0; });
        LateTimer probe(rig.sched.get(), rig.host, rig.env.clock);
        probe.late_ms.reserve(256);
        probe.period = 0.001;
        probe.repeats = 199;
        {
            std::lock_guard instant(rig.env.lock);
            rig.env.now_s = rig.env.clock.GetTime();
            probe.due_ms = host_ms(rig.env.clock, rig.env.now_s + probe.period);
            rig.sched->insertAbsoluteTimer(&probe, probe.period);
        }
        if (!rig.wait_for(probe, 200)) state.SkipWithError("the probe stopped");
        std::lock_guard instant(rig.env.lock);
        for (double l : probe.late_ms)
            late_us.push_back(l * 1000.0);
        rig.sched->reset();
    }
    report_lateness(state, late_us);
}
BENCHMARK(BM_SchedulerLatenessProbe)->Iterations(4)->Unit(benchmark::kMillisecond)->UseRealTime();

// 1,000 timers due over the next 250 ms, a quarter of a millisecond apart in
// a scrambled order, each woken in a clock instant. A list arms its clock for
// the next head from the instant of the previous one: the logical time of the
// scheduler thread keeps lateness from adding up along the list. (Dates
// closer than the epsilon would be woken together, the later one early.)
void BM_SchedulerLatenessDense(benchmark::State& state) {
    RealRig rig;
    std::mt19937 random(5);
    std::vector<double> dates(rig.timers.size());
    for (std::size_t i = 0; i < dates.size(); ++i)
        dates[i] = 0.005 + 0.00025 * static_cast<double>(i);
    std::vector<double> late_us;
    for (auto _ : state) {
        std::shuffle(dates.begin(), dates.end(), random);
        rig.insert_all([&](std::size_t i) { return dates[i]; });
        for (const auto& t : rig.timers) {
            if (!rig.wait_for(*t, 1)) state.SkipWithError("a timer did not wake");
        }
        std::lock_guard instant(rig.env.lock);
        for (const auto& t : rig.timers)
            late_us.push_back(t->late_ms.front() * 1000.0);
    }
    report_lateness(state, late_us);
}
BENCHMARK(BM_SchedulerLatenessDense)->Iterations(4)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
