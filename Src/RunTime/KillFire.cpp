// Stopping running compound actions: "abort g", "abort $exe", and
// "abort a of g", which drops a future child of the running instances.
#include "RunTime/ActionFire.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Values.hpp"
#include "RunTime/CadTimer.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "Base/Console.hpp"
#include "Tree/AtomicActions.hpp"
#include "Tree/Bloc.hpp"
#include "Tree/Score.hpp"

#include <set>

namespace {

// The running instances of the group labelled `name`, copied, or false
// when the score has no such group.
bool instances_of(cadenzium_core& engine, const std::string& name, std::set<CadTimer*>& out) {
    Score* score = engine.get_x_netscore();
    if (!score) return false;
    const auto found = score->label_to_action.find(name);
    if (found == score->label_to_action.end() || !found->second->is_bloc()) return false;
    static_cast<Bloc*>(found->second)->fill_active_instances(out);
    return true;
}

void kill_group_by_name(cadenzium_core& engine, const std::string& name, bool rec, const yy::location* loc) {
    std::set<CadTimer*> instances;
    if (!instances_of(engine, name, instances)) {
        post("abort: unknown group '%s'", name.c_str());
        post_location("abort: bad argument", loc);
        return;
    }
    for (CadTimer* t : instances)
        if (engine.active(t)) t->Child_kill(rec);
}

void cannot_abort(const std::string& what, const yy::location* loc) {
    post("abort: cannot abort '%s'", what.c_str());
    post_location("abort: bad argument", loc);
}

void cancel_in(cadenzium_core& engine, const std::string& what, CadTimer* instance) {
    if (instance && engine.active(instance)) instance->cancel_action(what);
}

} // namespace

void kill_by_name(cadenzium_core& engine, const Value& target, bool rec, const yy::location* loc) {
    if (target->is_string_or_symb()) {
        const std::string name = target->get_string();
        GlobalEnvironment* env = engine.get_env();
        if (env && env->is_defined_proc(name)) {
            cannot_abort(name, loc); // processes are not run by this runtime
            return;
        }
        kill_group_by_name(engine, name, rec, loc);
        return;
    }
    if (target->is_exe()) {
        CadTimer* t = find_exe_static(value_cast<ExeValue>(*target).val);
        if (t && engine.active(t)) t->Child_kill(rec);
        return;
    }
    if (target->is_int() && target->get_int() == 0) return;
    cannot_abort(show_text(*target), loc);
}

void kill_of_by_name(cadenzium_core& engine, const Value& what, const Value& of, const yy::location* loc) {
    if (!what->is_string_or_symb()) {
        error("kill_of_by_name: (abort <string> of <string or exe>)");
        post_location("abort of : bad argument", loc);
        return;
    }
    const std::string action = what->get_string();
    if (of->is_exe()) {
        cancel_in(engine, action, find_exe_static(value_cast<ExeValue>(*of).val));
        return;
    }
    if (!of->is_string_or_symb()) {
        error("abort of : cannot abort '%s'", show_text(*of).c_str());
        post_location("abort of : bad argument", loc);
        return;
    }
    std::set<CadTimer*> instances;
    if (!instances_of(engine, of->get_string(), instances)) {
        post("abort of: unknown group '%s'", of->get_string().c_str());
        return;
    }
    for (CadTimer* t : instances)
        cancel_in(engine, action, t);
}

void KillAction::Fire(double, double, duration_type) {
    if (!condition_holds(*this)) return;
    cadenzium_core* core = engine_of(*this);
    if (!core) return;
    kill_by_name(*core, target ? target->eval() : string_value(target_name), true, location);
}

void KillActionOf::Fire(double, double, duration_type) {
    if (!condition_holds(*this)) return;
    cadenzium_core* core = engine_of(*this);
    if (!core) return;
    const Value what = target ? target->eval() : string_value(target_name);
    const Value of = of_target ? of_target->eval() : string_value(of_name);
    kill_of_by_name(*core, what, of, location);
}
