// Firing the compound actions that run at once or start a timer: sequences,
// conditionals, switches, groups and iterations.
#include "RunTime/ActionFire.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Reference.hpp"
#include "Exp/ValueKinds.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "Base/Console.hpp"
#include "RunTime/exec.hpp"
#include "Tree/AtomicActions.hpp"
#include "Tree/Bloc.hpp"
#include "Tree/Compound.hpp"

namespace {

// Each action of a sequence fires in the context the sequence began in.
template <class FireOne>
void fire_in_sequence(const AtomicSequence& seq, FireOne fire) {
    cadenzium_core* core = engine_of(seq);
    if (!core) return;
    CadTimer* exe = core->get_exe();
    std::vector<Environment*>* envs = core->get_envs();
    for (Action* a : seq.actions) {
        fire(*a);
        core->set_exe_context(exe, envs);
    }
}

} // namespace

void AtomicSequence::Fire(double date, double delay, duration_type unit) {
    fire_in_sequence(*this, [&](Action& a) { a.Fire(date, delay, unit); });
}

// Late, each action follows its own rule: the "@local" ones are dropped.
void AtomicSequence::Fire_late(double date, double delay, duration_type unit) {
    fire_in_sequence(*this, [&](Action& a) { a.Fire_late(date, delay, unit); });
}

void ConditionalAction::Fire(double date, double delay, duration_type unit) {
    if (!condition_holds(*this)) return;
    Action* branch = eval_bool(ConditionalAction::condition) ? true_body : false_body;
    if (branch) branch->Fire(date, delay, unit);
}

void ConditionalAction::Fire_late(double date, double delay, duration_type unit) {
    if (locality == LOCALITY_LOCAL || !condition_holds(*this)) return;
    Action* branch = eval_bool(ConditionalAction::condition) ? true_body : false_body;
    if (branch) branch->Fire_late(date, delay, unit);
}

namespace {

// A case matches the subject when it is a function true of it, or a value
// equal to it.
bool case_matches(const TaggedValue& subject, const Value& test) {
    if (test->is_funct()) return test->apply(subject)->get_bool();
    return vcompare(subject, test) == 0;
}

} // namespace

void SwitchAction::Fire(double date, double delay, duration_type unit) {
    if (!condition_holds(*this)) return;
    const Value s = subject ? subject->eval() : Value();
    for (const auto& [test, action] : cases) {
        const Value t = test->eval();
        const bool match = subject ? case_matches(s, t) : t->get_bool();
        if (!match) continue;
        if (action) action->Fire(date, delay, unit);
        return;
    }
}

void Gfwd::Fire(double date, double delay, duration_type unit) {
    if (!condition_holds(*this) || actions.empty()) return;
    exec_group::create(engine_of(*this), *this, date, delay, unit, MODE_NORMAL);
}

// A missed group runs late when a strategy asks for it or it is not local.
void Gfwd::Fire_late(double date, double delay, duration_type unit) {
    if (actions.empty()) return;
    if (!(tight || ante || post || locality != LOCALITY_LOCAL)) return;
    if (!condition_holds(*this)) return;
    exec_group::create(engine_of(*this), *this, date, delay, unit, MODE_LATE);
}

// Reactions to patterns are not run by this runtime.
void WhenOnPattern::Fire(double date, double delay, duration_type unit) {
    Action::Fire(date, delay, unit);
}
void WhenOnPattern::Fire_late(double date, double delay, duration_type unit) {
    Action::Fire(date, delay, unit);
}

namespace {

// One instance of the body per element, the loop variables set in the
// body's environment before the instance copies it.
void run_body(For& f, double date, double delay, duration_type unit, const Value& first,
              const Value* second) {
    if (!f.body->env) {
        CAD_INTERNAL_ERROR("an iteration body without its environment");
        return;
    }
    f.body->env->set_var(Reference::unique_id(f.var_name), first);
    if (second) f.body->env->set_var(Reference::unique_id(f.second_name), *second);
    f.body->Fire(date, delay, unit);
}

} // namespace

void For::Fire(double date, double delay, duration_type unit) {
    if (!condition_holds(*this) || !body) return;
    const Value set = iteration_set->eval()->deep_copy();
    if (set->is_tab()) {
        if (two_vars) {
            error("Bad iteration 'for %s, %s in ...' : iteration set '%s' requires only one var",
                  var_name.c_str(), second_name.c_str(), show_text(set).c_str());
            return;
        }
        for (const Value& element : *value_cast<TabValue>(*set).val)
            run_body(*this, date, delay, unit, element, nullptr);
        return;
    }
    if (set->is_map()) {
        if (!two_vars) {
            error("Bad argument in iteration 'for %s in ...' : iteration set '%s' requires two vars",
                  var_name.c_str(), show_text(set).c_str());
            return;
        }
        for (const auto& [key, value] : *value_cast<MapValue>(*set).val)
            run_body(*this, date, delay, unit, key, &value);
        return;
    }
    error("Bad argument in iteration 'for %s in ...' : iteration set is '%s'", var_name.c_str(),
          show_text(set).c_str());
}
