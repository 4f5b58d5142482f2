// The standalone host's scheduler thread, with real time. Durations are
// only checked against generous bounds.
#include "SchedulerThread.hpp"
#include "AllocCounter.hpp"
#include "RunTime/CadClock.hpp"
#include "SchedulerRig.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

using ::testing::ElementsAre;
using namespace std::chrono_literals;

namespace {

// A clock of the scheduler thread that records its firings.
class Alarm {
public:
    Alarm(SchedulerThread& host, int id)
        : host(host)
        , id(id)
        , clock(host.clock_new(this, fire)) {
        fired_at.reserve(16);
        fired_wall.reserve(16);
    }
    ~Alarm() { host.clock_free(clock); }

    void arm(double ms) {
        armed_at = host.clock_getftime();
        due = armed_at + ms;
        host.clock_fdelay(clock, ms);
    }

    static void fire(void* self) {
        auto* a = static_cast<Alarm*>(self);
        std::lock_guard lock(a->mutex);
        a->fired_at.push_back(a->host.clock_getftime());
        a->fired_wall.push_back(a->host.physical_ms());
        a->on_thread = a->host.on_scheduler_thread();
        if (a->then) a->then(*a);
        a->cond.notify_all();
    }

    bool wait_fired(std::size_t n, std::chrono::milliseconds limit = 5s) {
        std::unique_lock lock(mutex);
        return cond.wait_for(lock, limit, [&] { return fired_at.size() >= n; });
    }
    std::size_t count() {
        std::lock_guard lock(mutex);
        return fired_at.size();
    }

    SchedulerThread& host;
    int id;
    HostClock* clock;
    double armed_at = 0.0;
    double due = 0.0;
    std::function<void(Alarm&)> then;
    std::mutex mutex;
    std::condition_variable cond;
    std::vector<double> fired_at;   // the host's time in the callback: logical
    std::vector<double> fired_wall; // the physical time
    bool on_thread = false;
};

TEST(SchedulerThread, ShortTimersFireOnceEachInDateOrderOnItsThread) {
    SchedulerThread host;
    std::mutex order_mutex;
    std::vector<int> order;
    Alarm a(host, 30), b(host, 10), c(host, 20);
    for (Alarm* x : {&a, &b, &c}) {
        x->then = [&](Alarm& self) {
            std::lock_guard lock(order_mutex);
            order.push_back(self.id);
        };
        x->arm(x->id);
    }
    for (Alarm* x : {&a, &b, &c})
        ASSERT_TRUE(x->wait_fired(1));
    std::this_thread::sleep_for(30ms);
    {
        std::lock_guard lock(order_mutex);
        EXPECT_THAT(order, ElementsAre(10, 20, 30));
    }
    for (Alarm* x : {&a, &b, &c}) {
        EXPECT_EQ(x->count(), 1u);
        EXPECT_TRUE(x->on_thread);
        EXPECT_GE(x->fired_wall[0], x->due) << "never before its date";
        EXPECT_LT(x->fired_wall[0], x->due + 1000.0);
    }
}

// Many clocks armed, re-armed and unset in a scrambled order fire in the
// order of their dates, each once. A first clock holds the thread until all
// are armed, so that none fires while the others are being armed.
TEST(SchedulerThread, ManyClocksFireInDateOrderWhateverTheArmingOrder) {
    SchedulerThread host;
    std::mutex mutex;
    std::condition_variable cond;
    bool armed = false;
    std::vector<double> fired_dues;
    fired_dues.reserve(400);

    // Each records the host's time in its callback: the date it was due.
    struct Entry {
        SchedulerThread* host;
        std::mutex* mutex;
        std::vector<double>* fired;
    };
    auto record = [](void* self) {
        auto* e = static_cast<Entry*>(self);
        std::lock_guard lock(*e->mutex);
        e->fired->push_back(e->host->clock_getftime());
    };
    std::vector<Entry> entries(300, Entry{&host, &mutex, &fired_dues});
    std::vector<HostClock*> clocks;
    for (Entry& e : entries)
        clocks.push_back(host.clock_new(&e, record));

    struct Gate {
        std::mutex* mutex;
        std::condition_variable* cond;
        bool* open;
    } gate{&mutex, &cond, &armed};
    HostClock* blocker = host.clock_new(&gate, [](void* g) {
        auto* gate = static_cast<Gate*>(g);
        std::unique_lock lock(*gate->mutex);
        gate->cond->wait(lock, [&] { return *gate->open; });
    });
    host.clock_fdelay(blocker, 0.0);

    std::size_t expected = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const double ms = 1.0 + static_cast<double>((i * 7919) % 293) / 10.0; // scrambled, up to 30 ms
        host.clock_fdelay(clocks[i], ms + 50.0);
        if (i % 3 == 0) host.clock_fdelay(clocks[i], ms); // re-armed earlier
        if (i % 5 == 0) host.clock_unset(clocks[i]);
        if (i % 3 == 0 && i % 5 != 0) ++expected;
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (i % 3 != 0) host.clock_unset(clocks[i]);
    }
    {
        std::lock_guard lock(mutex);
        armed = true;
    }
    cond.notify_all();
    const auto limit = std::chrono::steady_clock::now() + 5s;
    while (std::chrono::steady_clock::now() < limit) {
        {
            std::lock_guard lock(mutex);
            if (fired_dues.size() >= expected) break;
        }
        std::this_thread::sleep_for(5ms);
    }
    std::this_thread::sleep_for(20ms);

    for (HostClock* c : clocks)
        host.clock_free(c);
    host.clock_free(blocker);
    std::lock_guard lock(mutex);
    EXPECT_EQ(fired_dues.size(), expected);
    EXPECT_TRUE(std::is_sorted(fired_dues.begin(), fired_dues.end()));
}

TEST(SchedulerThread, UnsetPreventsTheFiring) {
    SchedulerThread host;
    Alarm cancelled(host, 1), sentinel(host, 2);
    cancelled.arm(20);
    sentinel.arm(60);
    host.clock_unset(cancelled.clock);
    ASSERT_TRUE(sentinel.wait_fired(1));
    EXPECT_EQ(cancelled.count(), 0u);
}

TEST(SchedulerThread, ReArmingFromAnotherThreadReplacesThePendingFiring) {
    SchedulerThread host;
    Alarm alarm(host, 1);
    alarm.arm(60'000);
    std::thread other([&] { alarm.arm(5); });
    other.join();
    ASSERT_TRUE(alarm.wait_fired(1));
    std::this_thread::sleep_for(30ms);
    EXPECT_EQ(alarm.count(), 1u);
    EXPECT_LT(alarm.fired_wall[0], alarm.armed_at + 1000.0);
}

TEST(SchedulerThread, CallbackMayArmItsOwnClock) {
    SchedulerThread host;
    Alarm alarm(host, 1);
    alarm.then = [&](Alarm& self) {
        if (self.fired_at.size() < 3) self.host.clock_fdelay(self.clock, 1.0);
    };
    alarm.arm(1);
    ASSERT_TRUE(alarm.wait_fired(3));
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(alarm.count(), 3u);
}

// Delays armed in a callback count from the date the clock was due, not from
// the late moment it ran: a chain of clocks does not drift.
TEST(SchedulerThread, DelaysArmedInACallbackCountFromItsDate) {
    SchedulerThread host;
    Alarm alarm(host, 1);
    alarm.then = [&](Alarm& self) {
        std::this_thread::sleep_for(2ms); // a slow callback
        if (self.fired_at.size() < 5) self.host.clock_fdelay(self.clock, 1.0);
    };
    alarm.arm(1);
    ASSERT_TRUE(alarm.wait_fired(5));
    for (std::size_t i = 1; i < 5; ++i) {
        EXPECT_NEAR(alarm.fired_at[i] - alarm.fired_at[i - 1], 1.0, 1e-6);
        EXPECT_GE(alarm.fired_wall[i] - alarm.fired_wall[i - 1], 2.0) << "each waits for the slow one";
    }
    EXPECT_GE(host.clock_getftime(), alarm.fired_wall[4]) << "elsewhere the time is physical";
}

TEST(SchedulerThread, FreedClockNeverFires) {
    SchedulerThread host;
    Alarm sentinel(host, 2);
    bool fired = false;
    HostClock* gone = host.clock_new(&fired, [](void* flag) { *static_cast<bool*>(flag) = true; });
    host.clock_fdelay(gone, 10);
    host.clock_free(gone);
    sentinel.arm(40);
    ASSERT_TRUE(sentinel.wait_fired(1));
    EXPECT_FALSE(fired);
}

TEST(SchedulerThread, ArmingAndFiringAnExistingClockAllocateNothing) {
    SchedulerThread host;
    Alarm alarm(host, 1);
    Alarm other(host, 2);
    std::size_t fire_allocations = 99;
    alarm.then = [&](Alarm& self) {
        // The counter is per thread: count on the scheduler thread from one
        // firing to the next.
        if (self.fired_at.size() == 1) {
            alloc_counter::start();
            self.host.clock_fdelay(self.clock, 1.0);
        } else if (self.fired_at.size() == 2) {
            fire_allocations = alloc_counter::stop();
        }
    };
    alarm.arm(1);
    ASSERT_TRUE(alarm.wait_fired(2));
    EXPECT_EQ(fire_allocations, 0u);

    alloc_counter::start();
    other.arm(50);
    other.arm(10);
    host.clock_unset(other.clock);
    other.arm(5);
    EXPECT_EQ(alloc_counter::stop(), 0u);
    ASSERT_TRUE(other.wait_fired(1));
}

// ---- the runtime's clocks on the scheduler thread ----

class OnSchedulerThread : public ::testing::Test {
protected:
    OnSchedulerThread() { time.init_now(); }

    SchedulerThread host;
    TimeBase time{&host};
};

TEST_F(OnSchedulerThread, LogicalTimeStartsNearZeroAfterInitNow) {
    EXPECT_GE(time.GetTime(), 0.0);
    EXPECT_LT(time.GetTime(), 0.5);
    std::this_thread::sleep_for(5ms);
    EXPECT_GT(time.GetTime(), 0.004);
}

// The environment lock of a real engine: clock instants hold it, and so does
// the test when it plays an instant of its own.
class LockingEnv : public RigEnv {
public:
    explicit LockingEnv(HostClocks* host)
        : RigEnv(host) {}
    void begin_clock_instant() override {
        lock.lock();
        RigEnv::begin_clock_instant();
    }
    void end_clock_instant() override {
        RigEnv::end_clock_instant();
        woken.notify_all();
        lock.unlock();
    }
    std::recursive_mutex lock;
    std::condition_variable_any woken;
};

TEST_F(OnSchedulerThread, SchedulerWakesTimersOnRealClocks) {
    LockingEnv env(&host);
    std::vector<Wake> trace;
    t_scheduler sched(env);
    TraceTimer a("a", env, trace, &sched), b("b", env, trace, &sched);
    std::unique_lock instant(env.lock);
    env.now_s = env.clock.GetTime();
    sched.insertAbsoluteTimer(&a, 0.005);
    sched.insertRelativeTimer(&b, 0.02); // 20 ms at 60 BPM
    ASSERT_TRUE(env.woken.wait_for(instant, 5s, [&] { return trace.size() == 2; }));
    EXPECT_EQ(trace[0].name, "a");
    EXPECT_EQ(trace[1].name, "b");
    EXPECT_EQ(trace[1].instant, 2) << "one instant per clock wake-up";
    EXPECT_GE(trace[1].at, 0.02);
}

} // namespace
