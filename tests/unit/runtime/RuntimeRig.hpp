// An engine on its virtual clock whose host records every message it is
// handed, with whether the environment lock was free at that moment.
#pragma once

#include "RunTime/Environment_RunTime.hpp"
#include "TestEngine.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <set>
#include <string>
#include <vector>

struct Delivered {
    std::string receiver;
    double date;
    bool lock_free;   // another thread could take the environment lock
    std::string args; // the values, printed and separated by spaces
};

// The messages delivered, as "arguments@date".
inline std::vector<std::string> timeline(const std::vector<Delivered>& delivered) {
    std::vector<std::string> lines;
    for (const Delivered& d : delivered)
        lines.push_back(d.args + "@" + str_printf("%g", d.date));
    return lines;
}

inline std::string args_text(const std::vector<Value>& values) {
    std::string text;
    for (const Value& v : values)
        text += (text.empty() ? "" : " ") + show_text(v);
    return text;
}

class RecordingHost : public TestHost {
public:
    void on_message(const message& m) override {
        if (!record) return;
        delivered.push_back({m.receiver, m.date, lock_is_free(), args_text(m.values)});
        if (on_each_message) on_each_message(delivered.back().args);
    }
    void on_position(int index, const Event*, double, double) override {
        report_lock_free.push_back(lock_is_free());
        if (on_each_position) on_each_position(index);
    }
    // Called with each position and each message's arguments, in the
    // order the host is handed them.
    std::function<void(int)> on_each_position;
    std::function<void(const std::string&)> on_each_message;

    // Whether another thread can take the environment lock now.
    bool lock_is_free() {
        return std::async(std::launch::async,
                          [this] {
                              if (!engine.env_lock().try_lock()) return false;
                              engine.env_lock().unlock();
                              return true;
                          })
            .get();
    }

    bool has_outlet(std::string_view name) const override { return outlets.count(std::string(name)) > 0; }

    PracticeCounters& counters() { return runtime().practice; }
    bool record = true;
    std::set<std::string> outlets;
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
    // Loads and starts `score`, at time 0.
    void start(const std::string& score) {
        ASSERT_TRUE(host.load(score));
        engine.cadenzium_start("");
    }

    // Moves time on to `t`, firing the timers due meanwhile.
    void at(double t) { engine.time().advance_to(t); }

    // One instant that no position causes (a clock's), at `t`.
    void clock_instant_at(double t) {
        at(t);
        rt().lock();
        rt().start_logical_instant(-1);
        rt().end_logical_instant();
        rt().send_messages(true);
    }

    double var(std::size_t index) { return env().vars[index].newest()->get_double(); }
    GlobalEnvironment& env() { return host.env(); }
    Runtime& rt() { return host.runtime(); }

    ConsoleCapture console;
    RecordingHost host;
    cadenzium_core& engine = host.engine;
};
