// Tracing of user functions: "@Tracing" and "@UnTracing" switch the trace of
// the functions they name (all user functions without argument); a traced
// function prints each call with its arguments and each result, indented by
// the depth of nested traced calls.
#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/Library.hpp"
#include "Exp/LibraryInstall.hpp"
#include "Exp/Reference.hpp"

#include <string>

namespace {

// The indentation of one level of nested traced calls.
constexpr const char* trace_step = "|  ";

std::string indentation(int depth) {
    std::string out;
    for (int i = 0; i < depth; ++i)
        out += trace_step;
    return out;
}

class Tracing final : public PredefinedFunction {
public:
    Tracing(const std::string& name, bool switch_on, GlobalEnvironment* genv)
        : PredefinedFunction(name, 0, genv)
        , on(switch_on) {}

    int most_args() const override { return -1; }

    Value apply(const std::vector<Value>& args) const override {
        if (args.empty()) {
            for (FunctionDefinition* f : env->registered_functions())
                trace_switch(f);
            return bool_value(true);
        }
        for (const Value& a : args)
            switch_named(*a, false);
        return bool_value(true);
    }

    void trace_switch(FunctionDefinition* f) const {
        auto* user = dynamic_cast<UserFunction*>(f);
        if (!user) return;
        if (on)
            user->switch_to_traced_user_function();
        else
            user->switch_to_user_function();
    }

    bool on;

private:
    UserFunction* named(const TaggedValue& a) const {
        FunctionDefinition* f = nullptr;
        if (a.is_fct()) f = env->get_function(a.get_fct()->uid);
        if (a.is_string_or_symb()) {
            const std::string name = a.get_string();
            f = env->get_function(name.starts_with("@") ? name : "@" + name);
        }
        return dynamic_cast<UserFunction*>(f);
    }

    void switch_named(const TaggedValue& a, bool in_tab) const {
        if (a.is_tab() && !in_tab) {
            for (const Value& e : tab_of(a))
                switch_named(*e, true);
            return;
        }
        if (UserFunction* f = named(a)) return trace_switch(f);
        const char* prefix = on ? "" : "Un";
        if (in_tab)
            post("Warning: ignore element (in tab argument) %s in @%sTracing", show_text(a).c_str(), prefix);
        else
            post("Warning: ignore argument %s in @%sTracing", show_text(a).c_str(), prefix);
    }
};

std::string arguments_text(const std::vector<Value>& args) {
    std::string text;
    for (const Value& a : args)
        text += (text.empty() ? "" : ", ") + show_text(a);
    return text;
}

} // namespace

Value UserFunction::traced_apply(const std::vector<Value>& args) const {
    if (!env) return evaluate(args);
    int& depth = env->library().trace_depth;
    const std::string indent = indentation(depth);
    post("%s+--> %s(%s)", indent.c_str(), name.c_str(), arguments_text(args).c_str());
    ++depth;
    Value result = evaluate(args);
    --depth;
    post("%s+<-- %s", indent.c_str(), show_text(result).c_str());
    return result;
}

void install_tracing_functions(GlobalEnvironment& env) {
    new Tracing("@Tracing", true, &env);
    new Tracing("@UnTracing", false, &env);
}
