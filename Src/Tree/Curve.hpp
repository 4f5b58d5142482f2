// Curves: variables moved between breakpoints along easing types, sampled
// at a grain, with an optional action at each step.
#pragma once

#include "Exp/Nim.hpp"
#include "Tree/Bloc.hpp"

class Reference;

// One breakpoint of a curve: the delay from the previous point (0 for the
// first), one value per variable, and the easing towards the next point,
// named statically or computed.
struct CurveBreakpoint {
    CadDuration delay{0.0, DURATION_BEATS};
    ExpressionList values;
    interpolate_type type = INTERPOLATE_LINEAR;
    ExpPtr dynamic_type;
};

using ReferenceList = std::vector<std::unique_ptr<Reference>>;

// The sequence of breakpoints that a curve plays on one list of variables.
class SeqContFunction {
public:
    // Takes the variables and the expressions of the points.
    SeqContFunction(ReferenceList variables, std::vector<CurveBreakpoint> points);

    // Reports a point whose count of values is not the count of variables.
    bool check_sizes() const;
    void show(std::ostream& out) const;
    std::vector<Expression*> expressions() const;

    ReferenceList variables;
    std::vector<CurveBreakpoint> points;
};

class Curve : public Bloc {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    // Takes the attributes, the functions, the end and the timed end.
    Curve(BuildContext* ctx, const std::string& name, const CadDuration* delay, AttributeList attributes,
          std::vector<SeqContFunction> functions, ExpPtr until, TimedEnd timed_end, const yy::location* loc);

    // The simplified form "curve level 0, 1 2.0": a group that first aborts
    // the previous simplified curve on the same receiver, then moves a
    // hidden variable from `from` (or from where the previous one stopped)
    // to `to`, sending the message at each step.
    static ActionPtr make_simple(BuildContext* ctx, ExpressionList message, const CadDuration* delay,
                                 AttributeList attributes, ExpPtr from, ExpPtr to,
                                 const CadDuration& duration, const yy::location* loc);

    std::string word() const override { return "curve"; }
    void show_body(std::ostream& out) const override;
    int countActions() const override;
    void set_env(Environment* env, const std::list<std::string>& locals, int level) override;
    void compute_origin(const Origin& o) override;
    void compute_and_propage(const std::bitset<32>& context, Score* score) override;

    std::vector<SeqContFunction> functions;
    Action* step_action = nullptr; // held by the "@action" attribute
    CadDuration grain{0.2, DURATION_BEATS};

protected:
    std::vector<Expression*> own_expressions() const override;
    // The grain of the attributes, or 0.2 beats with a warning.
    void take_grain();
};

// "curve { $x, $y : nim_expression }": the points come from a NIM at firing time.
class DataCurve : public Curve {
public:
    DataCurve(BuildContext* ctx, const std::string& name, const CadDuration* delay, AttributeList attributes,
              ReferenceList variables, ExpPtr source, ExpPtr until, TimedEnd timed_end,
              const yy::location* loc);

    void show_body(std::ostream& out) const override;

    ReferenceList variables;
    ExpPtr source;

protected:
    std::vector<Expression*> own_expressions() const override;
};

// Writes the group that the reader built for a simplified curve as the
// line that the score wrote ("curve level 0, 1 2"); false when `group` is
// not one.
bool show_simple_curve(std::ostream& out, const Gfwd& group);
