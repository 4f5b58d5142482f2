// A runtime as the value layer sees it, for tests: a global environment, a
// stack of environments, the dates of an instant the test moves, labels, a
// running execution, and processes that only record their arguments.
#pragma once

#include "Exp/Environment.hpp"
#include "Exp/EvalContext.hpp"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

class TestContext : public EvalContext {
public:
    TestContext()
        : global(this) {
        stack.push_back(&global);
    }

    GlobalEnvironment* global_env() override { return &global; }
    std::vector<Environment*>& env_stack() override { return stack; }
    const InstantDates& instant() const override { return dates; }

    bool label_beat(const std::string& label, double& beat) const override {
        const auto found = labels.find(label);
        if (found == labels.end()) return false;
        beat = found->second;
        return true;
    }
    bool exe_time(double& position, double& tempo) const override {
        if (!in_execution) return false;
        position = exe_position;
        tempo = exe_tempo;
        return true;
    }
    Value ambient_exe(const Action*) const override { return exe_value(myself); }
    Value launch_process(ProcDefinition*, const std::vector<Value>& args, float, const Action*) override {
        launched_args = args;
        return exe_value(77);
    }

    // Moves the instant.
    void at(double now, double rnow) {
        dates.now = now;
        dates.rnow = rnow;
        dates.rcnow = rnow;
    }

    // Before the environment, which dates its first values with it.
    InstantDates dates;
    GlobalEnvironment global;
    std::vector<Environment*> stack;
    std::map<std::string, double> labels;
    bool in_execution = false;
    double exe_position = 0.0, exe_tempo = 60.0;
    unsigned long myself = 0;
    std::vector<Value> launched_args;
};

// An observer of variables that records what it is told.
struct Notification {
    const VarObserver* observer;
    VAR_CALLBACK kind;
    int event_index;
    std::string variable;
};

class RecordingObserver : public VarObserver {
public:
    RecordingObserver(std::vector<Notification>& log)
        : log(log) {}
    void var_changed(VAR_CALLBACK kind, int event_index, var_management& var) override {
        log.push_back({this, kind, event_index, var.name()});
        if (on_change) on_change(kind);
    }
    bool observing() const override { return alive; }

    std::vector<Notification>& log;
    std::function<void(VAR_CALLBACK)> on_change;
    bool alive = true;
};
