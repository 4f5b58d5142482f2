// Lengths of time of the language (the delay of an action, a loop's period,
// a curve's grain) and the static dates of actions.
#pragma once

#include "Base/ASTNode.hpp"
#include "Exp/ExpTypes.hpp"
#include "Exp/ExpressionBase.hpp"

#include <list>
#include <set>
#include <string>
#include <vector>

class Expression;
class Environment;
class Action;
class Event;
class Score;
class Value;
class UserFunction;
class Var;
struct CompareVarPtr;

// A value and its unit. A literal is kept as a number (`expr` null); any
// other expression is kept as a tree, owned here.
class CadDuration {
public:
    // Folds a constant number into a literal; takes `e`.
    CadDuration(ExpPtr e, duration_type unit);
    CadDuration(double value, duration_type unit);
    CadDuration(const CadDuration& other);
    CadDuration& operator=(const CadDuration& other);
    CadDuration(CadDuration&&) noexcept = default;
    CadDuration& operator=(CadDuration&&) noexcept = default;
    ~CadDuration();

    // A new expression for the duration: a copy of `expr` or a float literal.
    ExpPtr value() const;
    // The duration as a number; "Bad duration %s" and NaN when it is none.
    double eval() const;
    // The evaluated value, not forced to a number (a loop's period may be a tab).
    Value extended_eval() const;
    // The value as known at score time: (variability, number).
    bool eval_in_score(double& out) const;

    bool is_less_than_epsilon() const;
    bool is_constant() const;
    // True only when the duration is known now and at most the epsilon.
    bool is_statically_less_than_epsilon() const;

    void set_ambiant_action(const Action* action);
    void set_env(Environment* env, const std::list<std::string>& locals, int level) const;
    void adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters);
    void get_variables(std::set<const Var*, CompareVarPtr>& out) const;

    // Both known statically, with the same unit (or both zero).
    bool comparable(const CadDuration& o) const;
    bool operator<(const CadDuration& o) const;
    bool operator<=(const CadDuration& o) const;
    bool operator>(const CadDuration& o) const;
    bool operator>=(const CadDuration& o) const;
    bool operator==(const CadDuration& o) const;
    bool operator!=(const CadDuration& o) const;

    // Adds `o` to this delay (the static delay of a group); units must agree.
    void incr_delay(const CadDuration& o);

    // "2" in beats, "2s" in seconds; an expression is printed with " s".
    void show(std::ostream& out) const;
    std::string show() const;

    ExpPtr expr;
    duration_type unit = DURATION_BEATS;
    double value_ = 0.0;

private:
    template <class Cmp>
    bool compare_with(const CadDuration& o, Cmp cmp) const;
};

std::ostream& operator<<(std::ostream& out, const CadDuration& d);

// Where the date of an action starts from.
struct Origin {
    enum Kind {
        NONE = 0,
        EVENT = 1,
        SCORE_START = 2,
        ACTION = 3,
        LOOP = 5,
        FLAGGED_ACTION = 8,
        CURVE = 9,
        WHENEVER = 10,
        PROCESS = 11
    };
    int kind = NONE;
    const void* pointer = nullptr;
    const Score* score = nullptr;

    // 0 before, 1 equal, 2 after, 3 not comparable.
    int compare(const Origin& o) const;
    bool operator==(const Origin& o) const { return kind == o.kind && pointer == o.pointer; }
};

// The static position of an action: an origin plus a sum of delays, read
// from the root down.
class Date : public ASTNode {
public:
    enum order_t { BEFORE = 0, EQUAL = 1, AFTER = 2, NOT_COMPARABLE = 3 };

    Date() = default;
    explicit Date(const Action& action);

    // Fills `beat` (once) from an event origin and the constant beat delays.
    void resolve();
    // Every delay is constant.
    bool is_static() const;
    double to_beat(bool force);
    // Compares the delays of this date from `i` with those of `other` from `j`.
    order_t compare(order_t expected, int i, const Date& other, int j) const;
    order_t compare_event(const Date& other) const;
    bool before(const Date& other) const;
    bool after(const Date& other) const;
    // All delays from `i` on are zero.
    bool is_zero_from(int i) const;
    Date& operator+=(const CadDuration& d);
    using ASTNode::show;
    void show(std::ostream& out) const override;

    Origin origin;
    std::vector<const CadDuration*> delays;
    double beat = -1.0;

private:
    bool static_sum_from(int j, double& sum, int& unit) const;
};

// A zero delay: a literal at or below the epsilon, or a constant folding so.
bool is_zero_delay(const CadDuration* d);
