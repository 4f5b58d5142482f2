// The semantic values of the grammar and small helpers of its actions, kept
// out of the grammar file. Values own what they hold, so a syntax error in
// the middle of a rule leaks nothing; they are the tree's own owning types,
// moved into the nodes as they are built.
#pragma once

#include "Base/Console.hpp"
#include "Exp/Containers.hpp"
#include "Exp/Nim.hpp"
#include "Exp/NimDefinition.hpp"
#include "Exp/Var.hpp"
#include "Exp/With.hpp"
#include "Tree/Action.hpp"
#include "Tree/ActionAttributes.hpp"
#include "Tree/Attributes.hpp"
#include "Tree/Bloc.hpp"
#include "Tree/Compound.hpp"
#include "Tree/Curve.hpp"
#include "Tree/DspActions.hpp"
#include "Tree/DspDefinitions.hpp"
#include "Tree/Event.hpp"
#include "Tree/Pattern.hpp"
#include "Tree/Score.hpp"
#include "Tree/Track.hpp"

#include <memory>
#include <string>
#include <utility>
#include <vector>

class ParseDriver;

using AttrVec = AttributeList;
using StringList = std::vector<std::string>;
using TrackMatch = std::pair<std::string, bool>;

using ExpVec = ExpressionList;
using ExpVecList = std::vector<ExpVec>;
using VarVec = std::vector<VarPtr>;
using RefPtr = std::unique_ptr<Reference>;
using RefVec = ReferenceList;
using DurPtr = std::unique_ptr<CadDuration>;
using ActionVec = ActionList;
using ExpPair = std::pair<ExpPtr, ExpPtr>;
using ExpPairs = KeyValueList;
using Binding = WithExpression::Binding;
using Bindings = std::vector<Binding>;
using Declared = std::vector<std::pair<VarPtr, int>>;
using NimPointPtr = std::unique_ptr<NimPoint>;
using NimPoints = std::vector<NimPointPtr>;
using NimListPtr = std::unique_ptr<NimList>;
using EquationPtr = std::unique_ptr<DspEquation>;
using Equations = std::vector<EquationPtr>;

// One "case e: actions" of a switch.
struct CaseValue {
    ExpPtr test;
    ActionVec actions;
};
using CaseValues = std::vector<CaseValue>;

// The easing of a curve point: a name, or a computed type.
struct InterpolValue {
    interpolate_type type = INTERPOLATE_LINEAR;
    ExpPtr dynamic;
};

// The receiver of a message: a name, or an expression computing it.
struct MaxName {
    std::string name;
    ExpPtr computed;
};

// A point of a curve as read: delay, values, easing.
struct BreakPointValue {
    DurPtr delay;
    ExpVec values;
    InterpolValue interpolation;
};
using BreakPoints = std::vector<BreakPointValue>;

// One list of variables of a curve with its points.
struct CurveListValue {
    RefVec variables;
    BreakPoints points;
};
using CurveLists = std::vector<CurveListValue>;

// Shows the place `loc` after an error of a builder.
void report_place(ParseDriver& driver, const yy::location& loc);
// Runs `make`; when it reported an error, shows where in the text.
template <class Make>
auto located(ParseDriver& driver, const yy::location& loc, Make make) {
    Diagnostics said;
    DiagnosticScope gathering(said);
    auto made = make();
    if (!said.ok()) report_place(driver, loc);
    return made;
}

// A pitch written as a name; a bad name is reported with its place.
PitchPtr named_pitch(ParseDriver& driver, const std::string& name, bool tied, const yy::location& loc);
// A pitch as a number: MIDI below 128, midicents above; negative when tied.
PitchPtr number_pitch(ParseDriver& driver, double value, const yy::location& loc);

// Numbers that must lie in a range to be followed: an event's duration in
// beats and the score's pitch variance in semitones. Out of range, a
// located error and a harmless value.
double event_duration(ParseDriver& driver, double beats, const yy::location& loc);
double score_variance(ParseDriver& driver, double semitones, const yy::location& loc);

// Closes an event: line ends are white space again.
void end_event(ParseDriver& driver);

// The text of a numeric label, as a stream prints it.
std::string number_label(double value);

// ---- expressions ----
// A variable by name (the predefined ones get their own class).
ExpPtr make_var_expr(ParseDriver& driver, const std::string& name, const yy::location& loc);
VarPtr make_var(ParseDriver& driver, const std::string& name, const yy::location& loc);
// `e` folded when constant; a null `e` is reported.
ExpPtr fold(ParseDriver& driver, ExpPtr e, const yy::location& loc);
ExpPtr binary(ParseDriver& driver, e_binop op, ExpPtr left, ExpPtr right, const yy::location& loc);
// `[n#]:$x`, `[d]:$x`, `[d s]:$x` (`ms` divides by 1000 first).
ExpPtr history_by_count(ParseDriver& driver, ExpPtr count, const std::string& var, const yy::location& loc);
ExpPtr history_by_date(ParseDriver& driver, ExpPtr date, duration_type unit, const std::string& var,
                       const yy::location& loc);
ExpPtr milliseconds(ParseDriver& driver, ExpPtr e, const yy::location& loc);
// A duration in beats or seconds; "ms" divides by 1000.
DurPtr make_duration(ParseDriver& driver, ExpPtr e, int unit_token, const yy::location& loc);
ExpPtr symbol(const std::string& name);
ExpPtr map_definition(ParseDriver& driver, ExpPairs pairs, bool interpolated, const yy::location& loc);
ExpPtr comprehension_over(ParseDriver& driver, ExpPtr body, VarPtr var, ExpPtr set, ExpPair step_guard,
                          const yy::location& loc);
ExpPtr comprehension_range(ParseDriver& driver, ExpPtr body, VarPtr var, ExpPtr from, ExpPtr to,
                           ExpPair step_guard, const yy::location& loc);
ExpPtr with_expression(ParseDriver& driver, Bindings bindings, ExpPtr body, const yy::location& loc);
// "@fun_def @name($x, $y) { body }": a user function registered in the
// global environment (a later definition of the name replaces it).
void fun_definition(ParseDriver& driver, const std::string& name, const StringList& parameters, ExpPtr body,
                    const yy::location& loc);
ExpPtr action_expression(ParseDriver& driver, ActionVec body, const yy::location& loc);
// ---- patterns ----
using PatternPtr = std::unique_ptr<APattern>;
// A pattern as the grammar gathers it.
struct PatternParts {
    VarVec locals;
    ExpPtr refractory;
    std::vector<PatternPtr> elements;
};
PatternPtr pattern_element(PatternKind kind, VarVec vars, OptPattern clauses, const yy::location& loc);
// A NOTE element watches $PITCH.
PatternPtr pattern_note(ParseDriver& driver, OptPattern clauses, const yy::location& loc);
// The pitch of a NOTE element in midicents, as $PITCH gives it.
ExpPtr pattern_pitch(ParseDriver& driver, PitchPtr pitch);
// Moves the pitch, or the duration, read as `from` into `clauses`.
void set_pattern_pitch(OptPattern& clauses, OptPattern from);
void set_pattern_duration(OptPattern& clauses, OptPattern from);
// "@pattern_def pattern::name { ... }": checked and kept by the score.
void pattern_definition(ParseDriver& driver, const std::string& name, PatternParts parts,
                        const yy::location& loc);

// "@eval_when_load { actions }": kept by the score, run at the end of the reading.
void load_clause(ParseDriver& driver, ActionVec body, const yy::location& loc);

// ---- declarations of the audio graph ----
void dsp_variables(ParseDriver& driver, DspDeclKind kind, const StringList& names, const yy::location& loc);
void faust_definition(ParseDriver& driver, const std::string& name, StringList parameters,
                      std::string program, const yy::location& loc);
void fluidsynth_definition(ParseDriver& driver, const std::string& name, std::string file, int preset,
                           const yy::location& loc);
void csound_definition(ParseDriver& driver, const std::string& name, std::string file,
                       const yy::location& loc);

// "@proc_def ::p($a) @attributes { body }": a process kept by the score and
// registered in the global environment (a later one of that name replaces it).
void proc_definition(ParseDriver& driver, const std::string& name, const StringList& parameters,
                     AttrVec attributes, ActionVec body, const yy::location& loc);
ExpPtr dot_variable(ParseDriver& driver, ExpPtr left, const std::string& var, const yy::location& loc);

// ---- line-end and keyword modes ----
// Saves the line-end mode and ignores line ends (brackets, braces).
void push_eol(ParseDriver& driver);
// Restores the saved line-end mode.
void pop_eol(ParseDriver& driver);
// Restores the keyword mode saved by the rule keywords_on.
void keywords_back(ParseDriver& driver);
// Back to the modes of the line around an attribute block.
void end_attribute_block(ParseDriver& driver, bool ignore_keyword);

// ---- lists ----
ExpVec single(ExpPtr e);
ExpVecList single_part(ExpVec part);
ActionVec append_action(ActionVec list, ActionPtr action);
ExpressionList three(ExpPtr a, ExpPtr b, ExpPtr c);
// The events of "@tight := {...}"; null when none is given.
ExpressionListPtr strategy_list(ExpVec events);
// The events of "@target {...}" and "@tempo := {...}".
ExpressionListPtr event_list(ExpVec events);

// ---- more expressions ----
ExpPtr call(ParseDriver& driver, ExpPtr function, ExpVec args, const yy::location& loc);
ExpPtr history(ParseDriver& driver, VarPtr var, int which, bool as_map, const yy::location& loc);
ExpPtr tab(ParseDriver& driver, ExpVec elements, const yy::location& loc);
ExpPtr negated(ParseDriver& driver, ExpPtr e, const yy::location& loc);

// ---- actions ----
// `action` with the delay; a null action stays null.
ActionPtr delayed(ActionPtr action, DurPtr delay);
// A message to a receiver; an empty message (no argument list) is reported
// at the receiver's place.
ActionPtr make_message(ParseDriver& driver, MaxName receiver, ExpVecList parts, AttrVec attributes,
                       const yy::location& receiver_loc, const yy::location& loc);
// Reports "Empty message" for an empty part of a message.
void empty_message(ParseDriver& driver, const yy::location& loc);
// Adds a part behind a comma; an empty part before it is reported.
ExpVecList append_part(ParseDriver& driver, ExpVecList parts, ExpVec part, const yy::location& comma);
// "kill name" and "abort name": the label is the prefix and the name.
ActionPtr make_kill(ParseDriver& driver, const char* prefix, std::string name, DurPtr delay,
                    AttrVec attributes, const yy::location& loc);
ActionPtr make_kill_of(ParseDriver& driver, const char* prefix, std::string name, std::string of,
                       DurPtr delay, AttrVec attributes, const yy::location& loc);
ActionPtr make_group(ParseDriver& driver, const std::string& name, DurPtr delay, AttrVec attributes,
                     ActionVec body, ExpPtr until, TimedEnd timed_end, const yy::location& loc);
ActionPtr make_curve(ParseDriver& driver, const std::string& name, AttrVec attributes, CurveLists lists,
                     ExpPtr until, TimedEnd timed_end, const yy::location& loc);
ActionPtr make_simple_curve(ParseDriver& driver, ExpVec message, ExpPtr from, ExpPtr to, DurPtr duration,
                            AttrVec attributes, const yy::location& loc);
ActionPtr make_declaration(ParseDriver& driver, int kind, Declared vars, const yy::location& loc);
ActionPtr make_switch(ParseDriver& driver, ExpPtr subject, AttrVec attributes, CaseValues cases,
                      const yy::location& loc);
ActionPtr make_let(ParseDriver& driver, ExpPtr target, ExpPtr value, AttrVec attributes,
                   const yy::location& loc);
// "@action := receiver args" or "@action := { ... }".
AttrPtr action_attribute(ParseDriver& driver, ActionPtr action);
ActionPtr attribute_block(ParseDriver& driver, const char* name, ActionVec body, const yy::location& loc);
ActionPtr make_patch(ParseDriver& driver, const std::string& name, AttrVec attributes, Equations equations,
                     const yy::location& loc);
EquationPtr equation(ParseDriver& driver, StringList outputs, const std::string& node, StringList arguments,
                     const yy::location& loc);
// A patch of a single equation, labelled "_patch_<n>".
ActionPtr single_equation(ParseDriver& driver, StringList outputs, const std::string& node,
                          StringList arguments, AttrVec attributes, const yy::location& loc);
// "$$gain := expr": the value of a control variable of the audio graph.
ActionPtr dsp_assignment(ParseDriver& driver, StringList targets, ExpPtr value, AttrVec attributes,
                         const yy::location& loc);

// ---- NIM breakpoints ----
NimPointPtr nim_point(ExpPtr abscissa, ExpPtr start, ExpPtr value, ExpPtr tween);
NimPointPtr nim_shape(NimPoint::Shape shape, int count, ExpPtr a, ExpPtr b, ExpPtr c);
NimListPtr nim_list(ExpPtr x0, ExpPtr y0, NimPoints points);
// A named easing, checked at once ("linear" after a bad name).
interpolate_type static_interpolation(ParseDriver& driver, const std::string& name, const yy::location& loc);
ExpPtr interpolation_type(ParseDriver& driver, const std::string& name, const yy::location& loc);
