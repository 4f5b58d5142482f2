// What the firing of actions shares: the test of an action's condition,
// the engine it runs in, and the stopping of running groups.
#pragma once

#include "Exp/Values.hpp"
#include "Base/Location.hpp"
#include "Tree/Action.hpp"

class cadenzium_core;
class GlobalEnvironment;

// False when the action has a condition ("@guard") that does not hold now.
bool condition_holds(const Action& a);
cadenzium_core* engine_of(const Action& a);
GlobalEnvironment* global_env_of(const Action& a);

// "abort": `target` names a group (a text), or is an execution (exe value).
// With `rec` the instances started by it stop too.
void kill_by_name(cadenzium_core& engine, const Value& target, bool rec, const yy::location* loc);
// "abort what of": the child labelled `what` of the running instances of
// `of` (a group's name, or an execution) will not fire.
void kill_of_by_name(cadenzium_core& engine, const Value& what, const Value& of, const yy::location* loc);
