// Stopping running compound actions: "abort g", "abort $exe", and
// "abort a of g", which drops a future child of the running instances.
#include "RunTime/Firing.hpp"

#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/ValueKinds.hpp"
#include "Exp/Values.hpp"
#include "RunTime/CadTimer.hpp"
#include "RunTime/Runtime.hpp"
#include "Tree/AtomicActions.hpp"
#include "Tree/Bloc.hpp"
#include "Tree/Score.hpp"

#include <vector>

namespace {

// The running instances of the groups labelled `name`, in the order they
// started, or false when the score has no such group. Several actions may
// bear one label: a simplified curve on a receiver aborts every earlier one.
bool instances_of(Runtime& rt, const std::string& name, std::vector<CadTimer*>& out) {
    Score* score = rt.score;
    if (!score) return false;
    const auto found = score->label_to_action.find(name);
    if (found == score->label_to_action.end() || !found->second->is_bloc()) return false;
    out = rt.instances_labelled(name);
    return true;
}

void kill_group_by_name(Runtime& rt, const std::string& name, bool rec, const yy::location* loc) {
    std::vector<CadTimer*> instances;
    if (!instances_of(rt, name, instances)) {
        post("abort: unknown group '%s'", name.c_str());
        post_location("abort: bad argument", loc);
        return;
    }
    for (CadTimer* t : instances)
        if (rt.active(t)) t->Child_kill(rec);
}

// The process a name stands for: "::p", or "p" when no group bears it.
ProcDefinition* process_named(Runtime& rt, const std::string& name) {
    if (name.rfind("::", 0) == 0) return rt.env.get_proc(name);
    if (rt.score && rt.score->label_to_action.count(name)) return nullptr;
    return rt.env.get_proc("::" + name);
}

// "abort ::p": every running instance of the process.
void kill_process(Runtime& rt, ProcDefinition* proc, bool rec) {
    for (CadTimer* t : rt.process_instances(proc))
        if (rt.active(t)) t->Child_kill(rec);
}

void cannot_abort(const std::string& what, const yy::location* loc) {
    post("abort: cannot abort '%s'", what.c_str());
    post_location("abort: bad argument", loc);
}

void cancel_in(Runtime& rt, const std::string& what, CadTimer* instance) {
    if (instance && rt.active(instance)) instance->cancel_action(what);
}

} // namespace

void kill_by_name(Runtime& rt, const Value& target, bool rec, const yy::location* loc) {
    if (target->is_string_or_symb()) {
        const std::string name = target->get_string();
        if (ProcDefinition* proc = process_named(rt, name)) {
            kill_process(rt, proc, rec);
            return;
        }
        kill_group_by_name(rt, name, rec, loc);
        return;
    }
    if (target->is_proc()) {
        if (ProcDefinition* proc = rt.env.get_proc(value_cast<ProcValue>(*target).val))
            kill_process(rt, proc, rec);
        else
            cannot_abort(show_text(*target), loc);
        return;
    }
    if (target->is_exe()) {
        CadTimer* t = rt.find_exe(value_cast<ExeValue>(*target).number());
        if (t) t->Child_kill(rec);
        return;
    }
    if (target->is_int() && target->get_int() == 0) return;
    cannot_abort(show_text(*target), loc);
}

void kill_of_by_name(Runtime& rt, const Value& what, const Value& of, const yy::location* loc) {
    if (!what->is_string_or_symb()) {
        error("kill_of_by_name: (abort <string> of <string or exe>)");
        post_location("abort of : bad argument", loc);
        return;
    }
    const std::string action = what->get_string();
    if (of->is_exe()) {
        cancel_in(rt, action, rt.find_exe(value_cast<ExeValue>(*of).number()));
        return;
    }
    if (!of->is_string_or_symb()) {
        error("abort of : cannot abort '%s'", show_text(*of).c_str());
        post_location("abort of : bad argument", loc);
        return;
    }
    std::vector<CadTimer*> instances;
    if (!instances_of(rt, of->get_string(), instances)) {
        post("abort of: unknown group '%s'", of->get_string().c_str());
        return;
    }
    for (CadTimer* t : instances)
        cancel_in(rt, action, t);
}

void Firing::visit(KillAction& a) {
    if (!runs(a) || !condition_holds(a)) return;
    kill_by_name(rt, a.target ? a.target->eval() : string_value(a.target_name), true, a.location.get());
}

void Firing::visit(KillActionOf& a) {
    if (!runs(a) || !condition_holds(a)) return;
    const Value what = a.target ? a.target->eval() : string_value(a.target_name);
    const Value of = a.of_target ? a.of_target->eval() : string_value(a.of_name);
    kill_of_by_name(rt, what, of, a.location.get());
}
