// Firing the actions of the tree: what each kind does when it falls due.
// Every firing happens within a logical instant, under the environment
// lock; messages are queued there and leave when the instant ends.
#include "RunTime/ActionFire.hpp"

#include "Exp/Environment.hpp"
#include "Exp/ValueKinds.hpp"
#include "Exp/Values.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "Base/Console.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "RunTime/PreCadenzium.hpp"
#include "Tree/AtomicActions.hpp"

#include <mutex>
#include <set>

bool condition_holds(const Action& a) {
    return !a.condition || eval_bool(a.condition);
}

GlobalEnvironment* global_env_of(const Action& a) {
    return a.engine ? a.engine->get_env() : nullptr;
}

cadenzium_core* engine_of(const Action& a) {
    return a.engine ? a.engine->to_cadenzium() : nullptr;
}

// ---- the three modes of the base ----

// Kinds that this runtime does not run yet say so once each.
void Action::Fire(double, double, duration_type) {
    static std::mutex reported_mutex;
    static std::set<std::string> reported;
    std::lock_guard lock(reported_mutex);
    if (!reported.insert(word()).second) return;
    error("'%s' actions are not run yet: ignored", word().c_str());
    post_location();
}

// A missed action runs late unless it is "@local".
void Action::Fire_late(double date, double delay, duration_type unit) {
    if (locality != LOCALITY_LOCAL) Fire(date, delay, unit);
}

// A simulated atomic action does nothing.
void Action::Fire_sim(double, double, duration_type) {}

// ---- messages ----

void Message::Fire(double, double, duration_type) {
    const std::string name = receiver_expr ? receiver_expr->eval()->get_string() : receiver;
    if (!condition_holds(*this)) return;
    GlobalEnvironment* env = global_env_of(*this);
    if (!env) return;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (i > 0 && receiver_expr) receiver_expr->eval();
        auto* m = new message;
        m->receiver = name;
        m->values.reserve(arguments[i].size());
        for (const Expression* e : arguments[i])
            m->values.push_back(e->eval());
        m->source = this;
        env->queue_message(m);
    }
}

// ---- calls ----

void ProcCall::Fire(double date, double, duration_type) {
    if (!condition_holds(*this)) return;
    const Value callee = process ? process->eval() : Value();
    if (!callee->is_proc()) {
        error("Bad proc application: %s does not refer to a proc [aap1]", name.c_str());
        post_location();
        return;
    }
    std::vector<Value> values;
    values.reserve(args.size());
    for (const Expression* e : args)
        values.push_back(e->eval());
    GlobalEnvironment* env = global_env_of(*this);
    ProcDefinition* proc = env ? env->get_proc(value_cast<ProcValue>(*callee).val) : nullptr;
    if (proc) engine->launch_process(proc, values, static_cast<float>(date), this);
}

// The engine has no table of commands yet: every command is unknown.
void Internal_comm::Fire(double, double, duration_type) {
    if (!condition_holds(*this)) return;
    error("%s - Unknown internal command '%s'", engine_of(*this) ? engine_of(*this)->thisName() : "cadenzium",
          command.c_str());
    post_location();
}

void CadAssert::Fire(double, double, duration_type) {
    if (!condition_holds(*this) || eval_bool(assertion)) return;
    error("%s", message.c_str());
    post_location();
}
