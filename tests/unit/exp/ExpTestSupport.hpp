// A small engine for the value layer's tests: a global environment, an
// environment stack, labels, a clock, and a record of observer
// notifications; plus a console capture.
#pragma once

#include "Exp/Environment.hpp"
#include "Exp/Expression.hpp"
#include "Exp/Function.hpp"
#include "Base/Console.hpp"
#include "RunTime/PreCadenzium.hpp"

#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

class ConsoleCapture {
public:
    ConsoleCapture() {
        previous = set_console_sink([this](ConsoleLevel level, std::string_view line) {
            lines.emplace_back(level, std::string(line));
        });
        reset_global_error_counter();
    }
    ~ConsoleCapture() { set_console_sink(previous); }
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;

    int errors() const { return get_global_error_counter(); }
    bool contains(const std::string& fragment) const {
        for (const auto& [level, line] : lines)
            if (line.find(fragment) != std::string::npos) return true;
        return false;
    }
    void clear() {
        lines.clear();
        reset_global_error_counter();
    }

    std::vector<std::pair<ConsoleLevel, std::string>> lines;

private:
    ConsoleSink previous;
};

struct Notification {
    CadTimer* timer;
    int kind;
    int event_index;
    std::string variable;
};

class FakeEngine : public pre_cadenzium {
public:
    FakeEngine()
        : global(nullptr, this) {}

    GlobalEnvironment* get_env() override { return &global; }
    Environment* get_globalenv_as_env() override { return &global; }
    CadTimer* get_exe() override { return current_timer; }
    std::vector<Environment*>* get_envs() override { return &stack; }
    std::vector<Environment*>* get_init_envs() override { return &stack; }
    void set_static_context() override {}
    void osc_save_send(const std::string&, OscSend*) override {}
    OscSend* get_osc_send(const std::string&) override { return nullptr; }
    Score* get_x_netscore() override { return nullptr; }
    void set_x_netscore(Score*) override {}
    t_scheduler* get_x_sched() override { return nullptr; }
    int verbose() const override { return 0; }
    const std::map<std::string, int>* get_obs_iomap() const override { return nullptr; }
    void napro_trace_init(const std::string&, int) override {}
    std::string cadenzium_version() const override { return "test"; }
    std::string cadenzium_commit_version() const override { return "test"; }
    cadenzium_core* to_cadenzium() override { return nullptr; }
    bool PreloadedMode() const override { return false; }
    void compute_and_propage_in_proc(Score*) override {}
    CadTimer* find_exe(int id) override { return running_exes.count(id) ? fake_timer(id) : nullptr; }
    bool active(const CadTimer* timer) override { return !dead_timers.count(timer); }
    void finalize_action_in_clause(Score*, std::vector<Action*>&) override {}
    bool eval_clause(std::vector<Action*>&) override { return true; }
    int outlet_number(const std::string&) const override { return -1; }
    void set_DspToRun(bool) override {}
    double GetTime() const override { return global.now; }

    bool label_beat(const std::string& label, double& beat) const override {
        const auto found = labels.find(label);
        if (found == labels.end()) return false;
        beat = found->second;
        return true;
    }
    bool timer_time(const CadTimer* timer, double& position, double& tempo) const override {
        if (!timer) return false;
        position = timer_position;
        tempo = timer_tempo;
        return true;
    }
    unsigned long ambient_exe(const Action*) const override { return myself; }
    void notify_var_observer(CadTimer* timer, int kind, int event_index, var_management& var) override {
        notifications.push_back({timer, kind, event_index, var.name()});
        if (on_notify) on_notify(timer, kind);
    }
    unsigned long launch_process(ProcDefinition*, const std::vector<Value>& args, float,
                                 const Action*) override {
        launched_args = args;
        return 77;
    }

    // A distinct address standing for timer number `id`; never dereferenced.
    static CadTimer* fake_timer(int id) {
        return reinterpret_cast<CadTimer*>(static_cast<std::uintptr_t>(0x1000 + 16 * id));
    }

    // Moves the clock of the instant.
    void at(double now, double rnow) {
        global.now = now;
        global.rnow = rnow;
        global.rcnow = rnow;
    }

    GlobalEnvironment global;
    std::vector<Environment*> stack;
    std::map<std::string, double> labels;
    std::set<int> running_exes;
    std::set<const CadTimer*> dead_timers;
    CadTimer* current_timer = nullptr;
    double timer_position = 0.0, timer_tempo = 60.0;
    unsigned long myself = 0;
    std::vector<Notification> notifications;
    std::function<void(CadTimer*, int)> on_notify;
    std::vector<Value> launched_args;
};

// A predefined function for calls: the sum of its numeric arguments.
class SumFunction : public PredefinedFunction {
public:
    SumFunction(const std::string& name, int arity, GlobalEnvironment* env)
        : PredefinedFunction(name, arity, env) {}
    Value apply(const std::vector<Value>& args) const override {
        ++calls;
        if (static_cast<int>(args.size()) != arity) return undef_value();
        double sum = 0;
        for (const Value& a : args)
            sum += a->get_double();
        return float_value(sum);
    }
    mutable int calls = 0;
};

// Building blocks for trees.
inline Expression* lit(long v) {
    return new IntValue(v);
}
inline Expression* lit(int v) {
    return new IntValue(v);
}
inline Expression* lit(double v) {
    return new FloatValue(v);
}
inline Expression* lit(bool v) {
    return new BoolValue(v);
}
inline Expression* lit(const char* s) {
    return pstring_value(s);
}
inline Expression* bin(e_binop op, Expression* a, Expression* b) {
    return new BinaryExpression(op, a, b);
}
inline Expression* tab_of(std::initializer_list<Expression*> elements) {
    return new TabDefinition(ExpressionList(elements));
}
inline Value tab_of_ints(std::initializer_list<long> elements) {
    tab_t t;
    for (long e : elements)
        t.push_back(int_value(e));
    return tab_value(std::move(t));
}
inline Value map_of(std::initializer_list<std::pair<Value, Value>> entries) {
    auto m = make_counted<map_t>();
    for (const auto& [k, v] : entries)
        m->emplace(k, v);
    return Value::make<MapValue>(std::move(m));
}
inline Value imap_of(std::initializer_list<std::pair<double, double>> entries) {
    auto m = make_counted<imap_t>();
    for (const auto& [x, y] : entries)
        m->emplace(x, y);
    return Value::make<InterpolatedMapValue>(std::move(m));
}
inline std::string text(const TaggedValue& v) {
    return show_text(v);
}
inline std::string text(const Expression& e) {
    std::ostringstream out;
    e.show(out, 0);
    return out.str();
}
