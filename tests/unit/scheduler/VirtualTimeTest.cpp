// The clocks: the virtual queue, and the hand-over between virtual time and
// the host's clocks.
#include "ConsoleCapture.hpp"
#include "RunTime/CadClock.hpp"
#include "RunTime/HostClock.hpp"
#include "RunTime/TimeBase.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

using ::testing::ElementsAre;

namespace {

// A clock that writes its firings, with the virtual time of each.
struct Probe {
    Probe(TimeBase& time, std::vector<std::string>& log, std::string name)
        : log(log)
        , name(std::move(name))
        , clock(time, this, fire) {}

    static void fire(void* self) {
        auto* p = static_cast<Probe*>(self);
        p->log.push_back(p->name + "@" + std::to_string(p->clock.time.GetTime()).substr(0, 5));
        if (p->then) p->then();
    }

    std::vector<std::string>& log;
    std::string name;
    std::function<void()> then;
    CadClock clock;
};

class VirtualClock : public ::testing::Test {
protected:
    explicit VirtualClock(HostClocks* host = nullptr)
        : time(host) {
        time.init_at(0.0);
    }
    ~VirtualClock() override { probes.clear(); }

    Probe& probe(const std::string& name) {
        probes.push_back(std::make_unique<Probe>(time, log, name));
        return *probes.back();
    }

    TimeBase time;
    std::vector<std::string> log;
    std::vector<std::unique_ptr<Probe>> probes;
};

TEST_F(VirtualClock, RunUntilFiresWhatIsDueInDateOrderAndStops) {
    probe("late").clock.Delay(300.0);
    probe("first").clock.Delay(100.0);
    probe("second").clock.Delay(200.0);
    time.queue.run_until(0.25);
    EXPECT_THAT(log, ElementsAre("first@0.100", "second@0.200"));
    EXPECT_EQ(time.queue.pending(), 1);

    time.queue.run_until(0.3);
    EXPECT_THAT(log, ElementsAre("first@0.100", "second@0.200", "late@0.300")) << "due exactly at t";
}

TEST_F(VirtualClock, EqualDatesFireInArmingOrder) {
    probe("a").clock.Delay(100.0);
    probe("b").clock.Delay(100.0);
    probe("c").clock.Delay(50.0);
    probe("d").clock.Delay(100.0);
    time.queue.run_to_end();
    EXPECT_THAT(log, ElementsAre("c@0.050", "a@0.100", "b@0.100", "d@0.100"));
}

TEST_F(VirtualClock, ArmingAgainReplacesThePendingFiring) {
    Probe& sooner = probe("sooner");
    sooner.clock.Delay(100.0);
    sooner.clock.Delay(50.0);
    Probe& later = probe("later");
    later.clock.Delay(60.0);
    later.clock.Delay(120.0);
    EXPECT_EQ(time.queue.pending(), 2);
    time.queue.run_to_end();
    EXPECT_THAT(log, ElementsAre("sooner@0.050", "later@0.120"));
}

TEST_F(VirtualClock, ResetDisarms) {
    Probe& p = probe("p");
    p.clock.Delay(100.0);
    p.clock.Reset();
    p.clock.Reset();
    time.queue.run_to_end();
    EXPECT_TRUE(log.empty());
}

TEST_F(VirtualClock, DelaysCountFromTheVirtualNow) {
    Probe& p = probe("p");
    time.SetTime(2.0);
    EXPECT_DOUBLE_EQ(time.GetTime(), 2.0);
    p.clock.Delay(500.0);
    time.queue.run_to_end();
    EXPECT_THAT(log, ElementsAre("p@2.500"));
}

TEST_F(VirtualClock, MakingAClockZeroesTheVirtualNow) {
    time.SetTime(2.0);
    probe("p").clock.Delay(500.0);
    time.queue.run_to_end();
    EXPECT_THAT(log, ElementsAre("p@0.500"));
}

TEST_F(VirtualClock, CallbackArmingItselfForZeroFiresAgainInTheSameRun) {
    Probe& p = probe("p");
    int again = 2;
    p.then = [&] {
        if (again-- > 0) p.clock.Delay(0.0);
    };
    p.clock.Delay(100.0);
    probe("after").clock.Delay(100.0);
    time.queue.run_until(0.1);
    EXPECT_THAT(log, ElementsAre("p@0.100", "after@0.100", "p@0.100", "p@0.100"));
}

TEST_F(VirtualClock, ResetAllEmptiesTheQueueEvenFromACallback) {
    Probe& p = probe("p");
    p.then = [this] { time.Reset_all(); };
    p.clock.Delay(100.0);
    probe("never").clock.Delay(200.0);
    time.queue.run_to_end();
    EXPECT_THAT(log, ElementsAre("p@0.100"));
    EXPECT_EQ(time.queue.pending(), 0);
}

TEST_F(VirtualClock, ClockDestroyedWhilePendingLeavesTheQueue) {
    probe("stays").clock.Delay(200.0);
    {
        Probe gone(time, log, "gone");
        gone.clock.Delay(100.0);
    }
    time.queue.run_to_end();
    EXPECT_THAT(log, ElementsAre("stays@0.200"));
}

// ---- with a host ----

// A host whose time the test sets, and which writes what it is asked.
class FakeHost : public HostClocks {
public:
    struct Clock : HostClock {
        int number;
    };

    HostClock* clock_new(void*, Callback) override {
        clocks.push_back(std::make_unique<Clock>());
        clocks.back()->number = static_cast<int>(clocks.size());
        return clocks.back().get();
    }
    void clock_free(HostClock* c) override { calls.push_back(str_printf("free %d", number(c))); }
    void clock_fdelay(HostClock* c, double ms) override {
        calls.push_back(str_printf("delay %d %g", number(c), ms));
    }
    void clock_unset(HostClock* c) override { calls.push_back(str_printf("unset %d", number(c))); }
    double clock_getftime() const override { return time_ms; }

    static int number(HostClock* c) { return static_cast<Clock*>(c)->number; }

    double time_ms = 0.0;
    std::vector<std::string> calls;
    std::vector<std::unique_ptr<Clock>> clocks;
};

// The host is built before the time base that reads it, and outlives the
// clocks made on it.
struct WithFakeHost {
    FakeHost host;
};

class HostedClock : protected WithFakeHost, public VirtualClock {
protected:
    HostedClock()
        : VirtualClock(&host) {}
};

TEST_F(HostedClock, ArmingGoesToTheHostOutsideFastForward) {
    Probe& p = probe("p");
    p.clock.Delay(12.5);
    p.clock.Reset();
    EXPECT_THAT(host.calls, ElementsAre("delay 1 12.5", "unset 1"));
    EXPECT_EQ(time.queue.pending(), 0);
}

TEST_F(HostedClock, TimeIsTheHostsFromInitNow) {
    host.time_ms = 5000.0;
    time.init_now();
    EXPECT_DOUBLE_EQ(time.GetTime(), 0.0);
    host.time_ms = 5250.0;
    EXPECT_DOUBLE_EQ(time.GetTime(), 0.25);
}

TEST_F(HostedClock, SettingTimeOrResettingAllOutsideFastForwardIsAnInternalError) {
    ConsoleCapture console;
    time.SetTime(3.0);
    EXPECT_TRUE(console.has_error("Internal Error (please report): "));
    EXPECT_TRUE(console.has_error(
        "INTERNAL ERROR: NOT YET IMPLEMENTED: please report: 'CadClock::SetTime in non-standalone target'"));
    time.Reset_all();
    EXPECT_TRUE(console.has_error("INTERNAL ERROR: NOT YET IMPLEMENTED: please report: 'CadClock::Reset_all "
                                  "in non-standalone target'"));
    EXPECT_DOUBLE_EQ(time.queue.virtual_now(), 0.0);
}

TEST_F(HostedClock, FastForwardRunsVirtuallyAndHandsPendingFiringsToTheHost) {
    Probe& a = probe("a");
    Probe& b = probe("b");
    Probe& c = probe("c");
    host.time_ms = 7000.0;
    time.fastforward = true;
    time.SetTime(2.0);
    b.clock.Delay(1500.0);
    a.clock.Delay(500.0);
    c.clock.Delay(100.0);
    time.queue.run_until(2.2);
    EXPECT_THAT(log, ElementsAre("c@2.100"));
    EXPECT_TRUE(host.calls.empty());

    time.set_normal_mode();
    EXPECT_FALSE(time.fastforward);
    EXPECT_EQ(time.queue.pending(), 0);
    // Each pending clock goes to the host in date order, in milliseconds,
    // for what remains of it after the last firing (2.1 s).
    ASSERT_EQ(host.calls.size(), 2u);
    EXPECT_EQ(host.calls[0].substr(0, 8), "delay 1 ");
    EXPECT_NEAR(std::stod(host.calls[0].substr(8)), 400.0, 1e-6);
    EXPECT_EQ(host.calls[1].substr(0, 8), "delay 2 ");
    EXPECT_NEAR(std::stod(host.calls[1].substr(8)), 1400.0, 1e-6);
    // The logical time goes on from the hand-over: a's date comes when the
    // host says it does.
    EXPECT_NEAR(time.GetTime(), 2.1, 1e-9);
    host.time_ms = 7400.0;
    EXPECT_NEAR(time.GetTime(), 2.5, 1e-9);
}

} // namespace
