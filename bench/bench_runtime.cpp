// The runtime in real time: how late the messages of timers reach the host
// against their logical dates, on the standalone scheduler thread, with
// 1,000 timers pending, and with 100 curves and 100 loops running; the cost
// of an instant that sends messages; the allocations of a curve's step and
// a loop's iteration.
#include "RunTime/CadScheduler.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "SchedulerThread.hpp"
#include "StandaloneHost.hpp"

#include "AllocCounter.hpp"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

// The host records, for each message, how late it arrived (physical time
// of delivery against the logical date of its instant).
class LatenessHost : public StandaloneHost {
public:
    explicit LatenessHost(SchedulerThread& clocks)
        : StandaloneHost(&clocks)
        , clocks(clocks) {
        late_us.reserve(1 << 17);
    }
    void send_message(const message& m) override {
        const double due_ms = (m.date + engine().time().queue.start_time()) * 1000.0;
        const double late = (clocks.physical_ms() - due_ms) * 1000.0;
        std::lock_guard lock(mutex);
        late_us.push_back(late);
    }
    std::size_t received() {
        std::lock_guard lock(mutex);
        return late_us.size();
    }

    SchedulerThread& clocks;
    std::mutex mutex;
    std::vector<double> late_us;
};

// A timer that, when woken, sends one message from its instant.
class MessageTimer : public CadTimer {
public:
    MessageTimer(t_scheduler* sched, Runtime& rt)
        : CadTimer(sched)
        , rt(rt) {}
    void callback(var_management*) override {
        auto* m = new message;
        m->receiver = "probe";
        m->values.push_back(float_value(1.0));
        rt.queue_message(m);
    }
    Runtime& rt;
};

class IdleTimer : public CadTimer {
public:
    using CadTimer::CadTimer;
    void callback(var_management*) override {}
};

void report_lateness(benchmark::State& state, std::vector<double> late_us) {
    if (late_us.empty()) return;
    std::sort(late_us.begin(), late_us.end());
    const auto at = [&](double q) { return late_us[static_cast<std::size_t>(q * (late_us.size() - 1))]; };
    state.counters["median_us"] = at(0.5);
    state.counters["p99_us"] = at(0.99);
    state.counters["max_us"] = late_us.back();
    state.counters["messages"] = static_cast<double>(late_us.size());
}

// An engine on the scheduler thread's clocks, with 1,000 timers pending an
// hour ahead on its absolute and relative lists.
struct RealEngine {
    RealEngine() {
        host = std::make_unique<LatenessHost>(clocks);
        host->engine().time().init_now();
        t_scheduler& sched = rt().scheduler;
        in_instant([&] {
            for (int i = 0; i < 1000; ++i) {
                idle.push_back(std::make_unique<IdleTimer>(&sched));
                if (i % 2)
                    sched.insertAbsoluteTimer(idle.back().get(), 3600.0 + i);
                else
                    sched.insertRelativeTimer(idle.back().get(), 3600.0 + i);
            }
        });
        for (int i = 0; i < 200; ++i)
            probes.push_back(std::make_unique<MessageTimer>(&sched, rt()));
    }
    ~RealEngine() {
        in_instant([&] { rt().scheduler.reset(); });
        host.reset();
    }

    Runtime& rt() { return host->engine().runtime(); }

    // Runs `f` inside one instant of the calling thread.
    template <class F>
    void in_instant(F f) {
        rt().lock();
        rt().start_logical_instant(-1);
        f();
        rt().end_logical_instant();
        rt().send_messages(true);
    }

    SchedulerThread clocks;
    std::unique_ptr<LatenessHost> host;
    std::vector<std::unique_ptr<IdleTimer>> idle;
    std::vector<std::unique_ptr<MessageTimer>> probes;
};

// 200 timers due over the next 400 ms, 2 ms apart in a scrambled order, on
// both lists, each sending a message from its wake-up.
void BM_MessageLateness(benchmark::State& state) {
    RealEngine rig;
    std::mt19937 random(11);
    std::vector<double> dates(rig.probes.size());
    for (std::size_t i = 0; i < dates.size(); ++i)
        dates[i] = 0.01 + 0.002 * static_cast<double>(i);
    std::size_t expected = 0;
    for (auto _ : state) {
        std::shuffle(dates.begin(), dates.end(), random);
        rig.in_instant([&] {
            t_scheduler& sched = rig.rt().scheduler;
            for (std::size_t i = 0; i < rig.probes.size(); ++i) {
                if (i % 2)
                    sched.insertAbsoluteTimer(rig.probes[i].get(), dates[i]);
                else
                    sched.insertRelativeTimer(rig.probes[i].get(), dates[i]); // 60 BPM
            }
        });
        expected += rig.probes.size();
        for (int wait = 0; wait < 400 && rig.host->received() < expected; ++wait)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        if (rig.host->received() < expected) state.SkipWithError("a message did not arrive");
    }
    std::lock_guard lock(rig.host->mutex);
    report_lateness(state, rig.host->late_us);
}
BENCHMARK(BM_MessageLateness)->Iterations(10)->Unit(benchmark::kMillisecond)->UseRealTime();

// A score whose first event starts 1,000 groups that wait an hour (half in
// beats, half in seconds) and two groups that send 100 messages each, 20 ms
// apart, one counting in seconds and one in beats of 60 BPM.
std::string loaded_score_text() {
    std::ostringstream text;
    text << "bpm 60\nNOTE 60 1000\n";
    for (int i = 0; i < 1000; ++i)
        text << "    group pending" << i << " { 3600" << (i % 2 ? "s" : "") << " print never }\n";
    text << "    group in_seconds {\n";
    for (int i = 0; i < 100; ++i)
        text << "        20 ms print s\n";
    text << "    }\n    group in_beats {\n        0.01 print b\n";
    for (int i = 1; i < 100; ++i)
        text << "        0.02 print b\n";
    text << "    }\n";
    return text.str();
}

// The messages of a score's groups, fired by the scheduler thread with the
// 1,000 other groups pending; each iteration starts the performance again.
void BM_ScoreMessageLateness(benchmark::State& state) {
    SchedulerThread clocks;
    const std::string path = "/tmp/cadenzium-bench-runtime-" + std::to_string(::getpid()) + ".cad";
    std::ofstream(path) << loaded_score_text();
    {
        LatenessHost host(clocks);
        cadenzium_core& engine = host.engine();
        engine.time().init_now();
        if (!engine.ScoreParsing(path)) state.SkipWithError("the score does not read");
        std::size_t expected = 0;
        for (auto _ : state) {
            engine.cadenzium_start("");
            engine.updatePosition(1);
            expected += 200;
            for (int wait = 0; wait < 600 && host.received() < expected; ++wait)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            if (host.received() < expected) state.SkipWithError("a message did not arrive");
            if (engine.runtime().active_timer_count() < 1000) state.SkipWithError("the pending groups are gone");
        }
        engine.cadenzium_stop();
        std::lock_guard lock(host.mutex);
        report_lateness(state, host.late_us);
    }
    std::remove(path.c_str());
}
BENCHMARK(BM_ScoreMessageLateness)->Iterations(5)->Unit(benchmark::kMillisecond)->UseRealTime();

// 100 curves with a 10 ms grain, each sending its value at each step, and
// 100 loops with a period of 1/16 beat at 60 BPM, each sending a click, all
// started by the first event and running for two seconds. With `messages`
// false the curves only move their variables and the loops only count.
std::string curves_and_loops_score(bool messages) {
    std::ostringstream text;
    text << "bpm 60\nNOTE 60 1000\n";
    for (int i = 0; i < 100; ++i) {
        text << "    curve c" << i << " @grain 10 ms";
        if (messages) text << " @action := { level" << i << " $x" << i << " }";
        text << " { $x" << i << " { {0} \"sine_in_out\" 2s {1} } }\n";
    }
    for (int i = 0; i < 100; ++i) {
        text << "    $n" << i << " := 0\n";
        text << "    loop l" << i << " 1/16 { ";
        text << (messages ? "click " + std::to_string(i) : "$n" + std::to_string(i) + " := $n" + std::to_string(i) + " + 1");
        text << " } during [32#]\n";
    }
    return text.str();
}

std::string write_score(const std::string& name, const std::string& text) {
    const std::string path = "/tmp/cadenzium-bench-" + name + "-" + std::to_string(::getpid()) + ".cad";
    std::ofstream(path) << text;
    return path;
}

// The curves and loops with their messages in real time, on the scheduler
// thread: 20,000 curve messages and 3,200 clicks per iteration.
void BM_CurvesAndLoopsLateness(benchmark::State& state) {
    SchedulerThread clocks;
    const std::string path = write_score("curves", curves_and_loops_score(true));
    {
        LatenessHost host(clocks);
        cadenzium_core& engine = host.engine();
        engine.time().init_now();
        if (!engine.ScoreParsing(path)) state.SkipWithError("the score does not read");
        const std::size_t per_run = 100 * 201 + 100 * 32;
        std::size_t expected = 0;
        for (auto _ : state) {
            engine.cadenzium_start("");
            engine.updatePosition(1);
            expected += per_run;
            for (int wait = 0; wait < 800 && host.received() < expected; ++wait)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            if (host.received() < expected) state.SkipWithError("a message did not arrive");
        }
        engine.cadenzium_stop();
        std::lock_guard lock(host.mutex);
        report_lateness(state, host.late_us);
    }
    std::remove(path.c_str());
}
BENCHMARK(BM_CurvesAndLoopsLateness)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();

// Allocations on the virtual clock over one second of the curves and loops,
// once they run: per curve step (100 curves, 100 steps each) and per loop
// iteration (100 loops, 16 iterations each), as one count over both.
void count_allocations(benchmark::State& state, bool messages) {
    const std::string path = write_score(messages ? "alloc-messages" : "alloc", curves_and_loops_score(messages));
    StandaloneHost host;
    cadenzium_core& engine = host.engine();
    if (!engine.ScoreParsing(path)) state.SkipWithError("the score does not read");
    std::size_t allocations = 0;
    for (auto _ : state) {
        engine.cadenzium_start("");
        engine.time().advance_to(engine.time().GetTime() + 0.1);
        engine.updatePosition(1);
        const double t = engine.time().GetTime();
        engine.time().advance_to(t + 0.1);
        alloc_counter::start();
        engine.time().advance_to(t + 1.1);
        allocations += alloc_counter::stop();
        engine.cadenzium_stop();
    }
    const double steps = static_cast<double>(state.iterations()) * (100 * 100 + 100 * 16);
    state.counters["allocations_per_step"] = static_cast<double>(allocations) / steps;
    std::remove(path.c_str());
}

void BM_CurveStepAllocations(benchmark::State& state) {
    count_allocations(state, false);
}
BENCHMARK(BM_CurveStepAllocations)->Iterations(3)->Unit(benchmark::kMillisecond);

void BM_CurveStepAllocationsWithMessages(benchmark::State& state) {
    count_allocations(state, true);
}
BENCHMARK(BM_CurveStepAllocationsWithMessages)->Iterations(3)->Unit(benchmark::kMillisecond);

// One instant on the virtual clock that queues and delivers 100 messages.
void BM_InstantOfHundredMessages(benchmark::State& state) {
    StandaloneHost host;
    Runtime& rt = host.engine().runtime();
    const std::string receiver = "level";
    double t = 0.0;
    for (auto _ : state) {
        host.engine().time().SetTime(t += 0.001);
        rt.lock();
        rt.start_logical_instant(-1);
        for (int i = 0; i < 100; ++i) {
            auto* m = new message;
            m->receiver = receiver;
            m->values.push_back(float_value(i));
            rt.queue_message(m);
        }
        rt.end_logical_instant();
        rt.send_messages(true);
    }
}
BENCHMARK(BM_InstantOfHundredMessages);

} // namespace

BENCHMARK_MAIN();
