// Firing the compound actions that run at once or start a timer: sequences,
// conditionals, switches, groups, loops, reactions, curves and iterations.
#include "RunTime/Firing.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Reference.hpp"
#include "Exp/ValueKinds.hpp"
#include "RunTime/Runtime.hpp"
#include "Base/Console.hpp"
#include "RunTime/exec.hpp"
#include "Tree/AtomicActions.hpp"
#include "Tree/Bloc.hpp"
#include "Tree/Compound.hpp"
#include "Tree/Curve.hpp"

// Each action of a sequence fires in the mode and the context the sequence
// began in.
void Firing::visit(AtomicSequence& seq) {
    if (mode == MODE_SIMULATION) return;
    CadTimer* exe = rt.get_exe();
    std::vector<Environment*>* envs = rt.get_envs();
    for (const ActionPtr& a : seq.actions) {
        fire_again(*a);
        rt.set_exe_context(exe, envs);
    }
}

void Firing::fire_again(Action& child) const {
    Firing same(rt, mode, date, delay, unit);
    child.accept(same);
}

// Late, a conditional runs unless "@local", its branch late too.
void Firing::visit(ConditionalAction& a) {
    if (!runs(a) || !condition_holds(a)) return;
    Action* branch = (eval_bool(a.ConditionalAction::condition.get()) ? a.true_body : a.false_body).get();
    if (branch) fire_again(*branch);
}

namespace {

// A case matches the subject when it is a function true of it, or a value
// equal to it.
bool case_matches(const TaggedValue& subject, const Value& test) {
    if (test->is_funct()) return test->apply(subject)->get_bool();
    return vcompare(subject, test) == 0;
}

} // namespace

// A switch fires its matching case in time; late, it runs unless "@local",
// the case in time.
void Firing::visit(SwitchAction& a) {
    if (!runs(a) || !condition_holds(a)) return;
    const Value s = a.subject ? a.subject->eval() : Value();
    for (const auto& [test, action] : a.cases) {
        const Value t = test->eval();
        const bool match = a.subject ? case_matches(s, t) : t->get_bool();
        if (!match) continue;
        if (action) Fire(rt, *action, date, delay, unit);
        return;
    }
}

// In time a group starts an instance; a missed group runs late when a
// strategy asks for it or it is not local.
void Firing::visit(Gfwd& a) {
    if (mode == MODE_NORMAL) {
        if (!condition_holds(a) || a.actions.empty()) return;
        start_group(a, MODE_NORMAL);
        return;
    }
    if (mode != MODE_LATE || a.actions.empty()) return;
    if (!(a.tight || a.ante || a.post || a.locality != LOCALITY_LOCAL)) return;
    if (!condition_holds(a)) return;
    start_group(a, MODE_LATE);
}

void Firing::start_group(Gfwd& a, cadTimer_mode how) {
    exec_group::create(rt, a, date, delay, unit, how);
}

// Loops, reactions and curves start an instance in time, and late unless
// "@local"; a simulation runs none of them.
void Firing::visit(Lfwd& a) {
    if (!runs(a) || !condition_holds(a)) return;
    exec_loop::start(rt, a, date, mode);
}

void Firing::visit(WhenAction& a) {
    if (!runs(a) || !condition_holds(a)) return;
    exec_when::start(rt, a, date, get_immediate(a.attributes));
}

void Firing::visit(Curve& a) {
    if (!runs(a) || !condition_holds(a)) return;
    exec_curve::start(rt, a, date, mode);
}

namespace {

// One instance of the body per element, the loop variables set in the
// body's environment before the instance copies it.
void run_body(Runtime& rt, For& f, double date, double delay, duration_type unit, const Value& first,
              const Value* second) {
    if (!f.body->env) {
        CAD_INTERNAL_ERROR("an iteration body without its environment");
        return;
    }
    f.body->env->set_var(Reference::unique_id(f.var_name), first);
    if (second) f.body->env->set_var(Reference::unique_id(f.second_name), *second);
    Fire(rt, *f.body, date, delay, unit);
}

} // namespace

// An iteration runs in time, and late unless "@local"; its bodies start in
// time.
void Firing::visit(For& a) {
    if (!runs(a) || !condition_holds(a) || !a.body) return;
    const Value set = a.iteration_set->eval()->deep_copy();
    if (set->is_tab()) {
        if (a.two_vars) {
            error("Bad iteration 'for %s, %s in ...' : iteration set '%s' requires only one var",
                  a.var_name.c_str(), a.second_name.c_str(), show_text(set).c_str());
            return;
        }
        for (const Value& element : *value_cast<TabValue>(*set).val)
            run_body(rt, a, date, delay, unit, element, nullptr);
        return;
    }
    if (set->is_map()) {
        if (!a.two_vars) {
            error("Bad argument in iteration 'for %s in ...' : iteration set '%s' requires two vars",
                  a.var_name.c_str(), show_text(set).c_str());
            return;
        }
        for (const auto& [key, value] : *value_cast<MapValue>(*set).val)
            run_body(rt, a, date, delay, unit, key, &value);
        return;
    }
    error("Bad argument in iteration 'for %s in ...' : iteration set is '%s'", a.var_name.c_str(),
          show_text(set).c_str());
}
