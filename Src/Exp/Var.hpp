// Variables in expressions: `$x`, `[n#]:$x` (n assignments ago), `[d]:$x`
// and `[d s]:$x` (d beats or seconds ago), and their relatives.
#pragma once

#include "Exp/Reference.hpp"

#include <string>
#include <vector>

class var_management;
class Var;

using VarPtr = std::unique_ptr<Var>;

class Var : public Reference {
public:
    static constexpr std::size_t NO_INDEX = ~std::size_t(0);

    Var(EvalContext* ctx, const std::string& name, const yy::location* loc = nullptr);
    // `[n#]:$x`
    Var(EvalContext* ctx, const std::string& name, ExpPtr history_index, const yy::location* loc);
    // `[d]:$x` in beats, `[d s]:$x` in seconds.
    Var(EvalContext* ctx, const std::string& name, ExpPtr history_date, duration_type unit,
        const yy::location* loc);
    Var(const Var& other);
    Var& operator=(const Var&) = delete;

    // Placement in an environment, filled by `set_env`.
    mutable std::size_t vm_index = NO_INDEX; // NO_INDEX: not placed, or a special variable
    mutable int depth = -1;                  // levels down the environment stack; negative: global
    bool dynamic = false;                    // resolve by name through the whole stack
    bool is_resolved = true;
    mutable ExpPtr history_index; // dropped by set_env on a clock variable
    ExpPtr history_date;
    duration_type history_unit = DURATION_BEATS;

    // The stream this variable reads, or null.
    var_management* thisVM() const;
    Environment* my_env() const;
    virtual void set_var(const TaggedValue& v) const;
    void set_reference(const TaggedValue& v) const override { set_var(v); }

    Value eval() const override;
    ScoreEval eval_in_score() const override;
    ExpPtr clone() const override { return std::make_unique<Var>(*this); }
    ExpPtr adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) const override;
    // The delay or count of a history read.
    void for_each_child(ChildVisitor visit) const override;
    // The variable itself, then those of its history expressions.
    void get_variables(VarSet& out) const override;
    // Renames in the history expressions, then the variable if it has the name.
    void change_var_name(const std::string& from, const std::string& to) override;
    const Var* is_a_variable() const override { return this; }
    // Binds the history expressions, then the variable itself: globally at the
    // outermost scope, at `level` when it is one of `locals`.
    void set_env(Environment* env, const std::list<std::string>& locals, int level) const override;
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;

    // The delay of `[d]:$x`, as a number (NaN when it is not one).
    double history_delay() const;
};

// `$x.tempo`, `$x.position`...: a parameter of a tempo variable.
class VarParameter : public Var {
public:
    VarParameter(const Var& var, PARAM param);
    PARAM param;

    Value eval() const override;
    void set_var(const TaggedValue& v) const override;
    bool is_a_var_param() const override { return true; }
    ExpPtr clone() const override { return std::make_unique<VarParameter>(*this); }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
};

// `expression . name`: a tempo parameter read, or undef after a message.
ExpPtr MakeVarParameter(EvalContext* ctx, ExpPtr expression, const std::string& name,
                        const yy::location* loc);

// Argument `position` of the call of `function` under evaluation.
class Parameter : public Var {
public:
    Parameter(const Var& var, const UserFunction* function, std::size_t position);
    const UserFunction* function;
    std::size_t position;

    // Beyond the frame, throws std::out_of_range as a vector does.
    Value eval() const override;
    ExpPtr clone() const override { return std::make_unique<Parameter>(*this); }
    ExpPtr adjust_parameter(const UserFunction*, const std::vector<std::string>&) const override {
        return clone();
    }
    // A parameter reads the frame of the call, never an environment.
    void set_env(Environment*, const std::list<std::string>&, int) const override {}
    int etag() const override;
};

// `@is_undef($x)`: true before the first assignment and when the newest
// value is undef.
class TestVariableUnitialized : public Var {
public:
    explicit TestVariableUnitialized(const Var& var)
        : Var(var) {}
    Value eval() const override;
    ScoreEval eval_in_score() const override;
    ExpPtr clone() const override { return std::make_unique<TestVariableUnitialized>(*this); }
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
};

// A predefined variable computed at each read ("$MYSELF", the execution of
// the enclosing instance). It cannot be assigned.
class SpecialVariable : public Var {
public:
    using Compute = Value (*)(const SpecialVariable&);
    SpecialVariable(EvalContext* ctx, const std::string& name, Compute compute, const yy::location* loc);

    // A special variable for the predefined names, a plain `Var` otherwise.
    static std::unique_ptr<Var> make_variable(EvalContext* ctx, const std::string& name,
                                              const yy::location* loc = nullptr);

    Value eval() const override { return compute(*this); }
    ScoreEval eval_in_score() const override;
    // Computed, never stored: nothing to bind.
    void set_env(Environment*, const std::list<std::string>&, int) const override {}
    void set_ambiant_action(const Action* action) override { ambient = action; }
    ExpPtr clone() const override { return std::make_unique<SpecialVariable>(*this); }
    int etag() const override;

    Compute compute;
    const Action* ambient = nullptr; // the action the variable is read in
};

// `@date($x)`, `@rdate($x)`: the date of an assignment, chosen by count or by delay.
class DateVar : public NonConstantExpression {
public:
    DateVar(std::unique_ptr<Var> var, duration_type unit, const yy::location* loc = nullptr);
    DateVar(const DateVar& other);
    DateVar& operator=(const DateVar&) = delete;

    std::unique_ptr<Var> var;
    duration_type unit; // of the date given back

    Value eval() const override;
    ExpPtr clone() const override { return std::make_unique<DateVar>(*this); }
    void for_each_child(ChildVisitor visit) const override { visit(*var); }
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;
};

// `@tab_history($x)` and relatives: the history of a variable as a tab or a map.
class VarHistories : public NonConstantExpression {
public:
    enum Which { VALUES = 0, DATES = 1, RDATES = 2 };
    VarHistories(std::unique_ptr<Var> var, Which which, bool as_map, const yy::location* loc = nullptr);
    VarHistories(const VarHistories& other);
    VarHistories& operator=(const VarHistories&) = delete;

    std::unique_ptr<Var> var;
    Which which;
    bool as_map;

    Value eval() const override;
    ExpPtr clone() const override { return std::make_unique<VarHistories>(*this); }
    void for_each_child(ChildVisitor visit) const override { visit(*var); }
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;
};

// Histories oldest first; the maps are keyed by count back from the newest
// (values), by date in seconds or by date in beats.
Value make_history_val_tab(const var_management& vm);
Value make_history_date_tab(const var_management& vm);
Value make_history_rdate_tab(const var_management& vm);
Value make_history_val_map(const var_management& vm);
Value make_history_date_map(const var_management& vm);
Value make_history_rdate_map(const var_management& vm);
