// Actions of the audio graph: patches that connect processing nodes through
// channels. This build has no effect ctx, so these actions only hold
// what the score says.
#pragma once

#include "Tree/Action.hpp"

// "$$out := faust::f($$in, $x)": the outputs of a node of some kind.
class DspEquation : public AtomicAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    DspEquation(BuildContext* ctx, std::vector<std::string> outputs, const std::string& node,
                std::vector<std::string> arguments, AttributeList attributes, const yy::location* loc);
    std::string word() const override { return "dsp"; }
    void show_head(std::ostream& out) const override;
    // As score text, the equation alone.
    using Action::show;
    void show(std::ostream& out) const override;

    std::vector<std::string> outputs;
    std::string node;
    std::vector<std::string> arguments;
};

// A patch: a set of equations installed together, with the label "_patch_<n>"
// when the score gives none.
class DspPatch : public AtomicAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    DspPatch(BuildContext* ctx, const std::string& name, std::vector<std::unique_ptr<DspEquation>> equations,
             AttributeList attributes, const yy::location* loc);
    std::string word() const override { return "patch"; }
    bool has_body() const override { return true; }
    void show_body(std::ostream& out) const override;
    // As score text, "PATCH name { equations }", or the lone equation of a
    // patch that the score wrote as one.
    using Action::show;
    void show(std::ostream& out) const override;

    std::vector<std::unique_ptr<DspEquation>> equations;
};

// The label of a patch written as a single equation.
std::string next_patch_label(BuildContext* ctx);

// "fluidsynth::f(channel, key, velocity [, duration])".
class DspFluidsynthAction : public AtomicAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    DspFluidsynthAction(BuildContext* ctx, const std::string& node, ExpressionList args,
                        AttributeList attributes, const yy::location* loc);
    static std::unique_ptr<DspFluidsynthAction>
    make_with_duration(BuildContext* ctx, const std::string& node, ExpressionList args,
                       const CadDuration& duration, AttributeList attributes, const yy::location* loc);
    std::string word() const override { return node; }
    void show_head(std::ostream& out) const override;

    std::string node;
    ExpressionList args;
    std::unique_ptr<CadDuration> duration;

protected:
    std::vector<Expression*> own_expressions() const override;
};
