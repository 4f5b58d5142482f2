// An engine on the virtual clock whose host records every message it is
// handed, with whether the environment lock was free at that moment.
#pragma once

#include "RunTime/CadClock.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "RunTime/HostClock.hpp"
#include "RunTime/VirtualTime.hpp"
#include "TestEngine.hpp"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

struct Delivered {
    std::string receiver;
    double date;
    bool lock_free;   // another thread could take the environment lock
    std::string args; // the values, printed and separated by spaces
};

inline std::string args_text(const std::vector<Value>& values) {
    std::string text;
    for (const Value& v : values)
        text += (text.empty() ? "" : " ") + show_text(v);
    return text;
}

class RecordingEngine : public TestEngine {
public:
    void send_one_message(const message& m) override {
        if (!record) return;
        delivered.push_back({m.receiver, m.date, lock_is_free(), args_text(m.values)});
    }

    void report_position(int index, const Event* e) override {
        TestEngine::report_position(index, e);
        report_lock_free.push_back(lock_is_free());
    }

    // Whether another thread can take the environment lock now.
    bool lock_is_free() {
        return std::async(std::launch::async,
                          [this] {
                              if (!env_lock().try_lock()) return false;
                              env_lock().unlock();
                              return true;
                          })
            .get();
    }

    GlobalEnvironment& env() { return *get_env(); }
    PracticeCounters& counters() { return practice; }
    bool record = true;
    std::vector<Delivered> delivered;
    std::vector<bool> report_lock_free;
};

// A message of one value for `receiver`.
inline message* make_message(const std::string& receiver, double value = 1.0) {
    auto* m = new message;
    m->receiver = receiver;
    m->values.push_back(float_value(value));
    return m;
}

class RuntimeRig : public ::testing::Test {
protected:
    RuntimeRig() {
        CadClock::fastforward = false;
        VirtualTime::Reset_all();
        CadClock::init_at(0.0);
    }
    ~RuntimeRig() override {
        VirtualTime::Reset_all();
        install_host_clocks(previous_host);
    }

    // Loads and starts `score`, at time 0.
    void start(const std::string& score) {
        ASSERT_TRUE(engine.load(score));
        engine.cadenzium_start("");
    }

    // Moves time on to `t`, firing the timers due meanwhile.
    void at(double t) {
        VirtualTime::run_until(t);
        CadClock::SetTime(t);
    }

    // One instant that no position causes (a clock's), at `t`.
    void clock_instant_at(double t) {
        at(t);
        env().env_lock();
        env().start_logical_instant(-1);
        env().end_logical_instant();
        env().send_messages(true);
    }

    double var(std::size_t index) { return env().vars[index].newest()->get_double(); }
    GlobalEnvironment& env() { return engine.env(); }

    // Before the engine, so that its clocks are virtual.
    HostClocks* previous_host = install_host_clocks(nullptr);
    ConsoleCapture console;
    RecordingEngine engine;
};
