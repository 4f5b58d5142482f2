// The run-time objects of compound actions. A group's instance steps
// through the group's children one delay at a time: the children with no
// delay fire at once, in order, and the next delay is scheduled. A loop
// fires its body every period, a reaction fires its body when a variable it
// watches changes, a curve moves variables every grain.
#pragma once

#include "RunTime/CadTimer.hpp"
#include "RunTime/CurveFunction.hpp"

#include <string>
#include <vector>

class Action;
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

// A hidden group of undelayed actions with nothing of its own (no local
// variables, end or handler): the step action of a curve, the body of a loop.
// Its actions run in the instance that fires it, with no group instance made
// (CadTimer::fire_inline). Null for any other action.
const Gfwd* runs_inline(const Action& a);

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
    // Tight when the group is, or the child due next is.
    bool tight_step() const override;
    const Action* anchoring_action() const override;

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

class Lfwd;
class WhenAction;
class Curve;
class Value;

// A running loop: its body again every period. The first iteration runs at
// once; the period is read again before each next one (a number, or a tab
// of numbers read in turn). Each iteration is an instance of the body, a
// child of the loop.
class exec_loop : public CadTimer {
public:
    // Starts `loop` at beat `date`: its first iteration runs now.
    static void start(Runtime& rt, Lfwd& loop, double date, cadTimer_mode mode);

    void callback(var_management* var) override;
    void callback_late(var_management* var) override;
    // The child labelled `label` fires in no running nor later iteration.
    void cancel_action(const std::string& label) override;

    Lfwd* lfwd;
    // One per action of the body: false once canceled.
    std::vector<bool> enabled;
    std::uint32_t iteration = 0;

private:
    exec_loop(Runtime& rt, Lfwd& loop, double date);
    // Iterations from now on; `late` ones fire the body late and follow one
    // another until one lies in the future.
    void run_iterations(bool late);
    void fire_body(bool late);
    // The period after this iteration, in the period's unit; moves `date`.
    // False when the loop stops here (the timer may then be gone).
    bool compute_next_delay(double& d);
    bool period_value(const Value& v, double& d) const;
    // Schedules the next iteration `d` after this one; true when it is due
    // at once (the caller goes on in this instant).
    bool next_now(double d, bool late);
};

// A running reaction: attached to the variables its condition reads, it
// fires its body within the instant that assigns one of them, when the
// condition holds, at most once per instant and position.
class exec_when : public CadTimer {
public:
    // Starts `when` at beat `date`; `immediate` runs the test at once.
    static void start(Runtime& rt, WhenAction& when, double date, bool immediate);

    void callback(var_management* var) override;
    void UpdatePosition(int pos) override;

    WhenAction* when;
    double last_now = -1.0;
    double last_rnow = -1.0;
    long last_instant = -666;
    int last_index = -1;

private:
    exec_when(Runtime& rt, WhenAction& when, double date);
    void attach_condition_vars();
    // True when this instant and position already fired the body.
    bool refractory();
    void remember_firing();
};

// A running curve: every grain, its variables take their values along the
// breakpoints, and its step action fires. The curve's time runs in the unit
// of its breakpoints' delays (beats follow the tempo, seconds do not); the
// last step lands exactly on the end.
class exec_curve : public CadTimer {
public:
    // Starts `curve` at beat `date`. Late, it starts where it must be by now.
    static void start(Runtime& rt, Curve& curve, double date, cadTimer_mode mode);

    void callback(var_management* var) override;
    void callback_late(var_management* var) override;

    Curve* curve;
    std::vector<CurveFunction> curves;
    std::vector<curve_state> states;
    // The unit of the curve's time, its length and the time sampled last.
    duration_type unit = DURATION_BEATS;
    double duration = 0.0;
    double elapsed = 0.0;

private:
    exec_curve(Runtime& rt, Curve& curve, double date);
    // Evaluates the breakpoints; false when the curve cannot run.
    bool build();
    bool build_from_nim();
    // One step at `elapsed`: the variables, then (in time) the step action;
    // then the wake-up of the next step.
    void step(bool in_time);
    void sample();
    void fire_step_action();
    void schedule_next_step();
    // The next step, in the curve's unit: the grain, raised to its floor,
    // and no further than the end.
    double next_step(double remaining);
    double grain_in_seconds(double g);
    double grain_in_beats(double g);
};
