// The run-time objects of compound actions. A group's instance steps
// through the group's children one delay at a time: the children with no
// delay fire at once, in order, and the next delay is scheduled.
#pragma once

#include "RunTime/CadTimer.hpp"

#include <string>
#include <vector>

class Gfwd;
class Environment;

// Restores the engine's context of evaluation (current timer and stack of
// environments) when the scope ends.
class SavedContext {
public:
    explicit SavedContext(Runtime& rt);
    ~SavedContext();
    SavedContext(const SavedContext&) = delete;
    SavedContext& operator=(const SavedContext&) = delete;

private:
    Runtime& rt;
    CadTimer* exe;
    std::vector<Environment*>* envs;
};

class exec_group : public CadTimer {
public:
    // Starts an instance of `group` at beat `date`, `delay` (in `unit`)
    // late, in `mode`; `enabled` selects children (empty: all). Null when
    // the instance ended at once (its life was over, or all its children
    // ran in this instant).
    static exec_group* create(Runtime& rt, Gfwd& group, double date, double delay, duration_type unit,
                              cadTimer_mode mode, const std::vector<bool>& enabled = {});
    ~exec_group() override;

    void callback(var_management* var) override;
    void callback_late(var_management* var) override;
    void cancel_action(const std::string& label) override;

    Gfwd* group;
    // The child due next.
    unsigned step = 0;
    std::vector<bool> enabled;
    bool late_mode = false;

private:
    exec_group(Runtime& rt, Gfwd& group, double date, double delay, duration_type unit, cadTimer_mode mode,
               const std::vector<bool>& enabled);
    // The group's local variables, in an environment of this instance.
    void build_env();
    // Runs the due children from `step` on, firing them late or not.
    void run_steps(bool late);
    // The delay (in `unit`) from the child just fired to the next one;
    // negative when the next one is already past. False when there is no
    // next step (the timer may then be gone).
    bool compute_next_delay(double& d, duration_type& unit);
    // The delay of the child `step` and what remains late, as `v` and `u`.
    void next_child_delay(double& v, duration_type& u);
    // Whether the loop of steps goes on in this instant after a step in
    // time, or after a late one.
    bool step_continues(double d, duration_type unit);
    bool late_step_continues(double d, duration_type unit);

    Environment* own_env = nullptr;
};
