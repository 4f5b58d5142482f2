#include "Tree/DspActions.hpp"

#include "Exp/Expression.hpp"

#include <ostream>

namespace {

void show_names(std::ostream& out, const std::vector<std::string>& names) {
    for (size_t i = 0; i < names.size(); ++i)
        out << (i ? ", " : "") << names[i];
}

} // namespace

DspEquation::DspEquation(BuildContext* ctx, std::vector<std::string> outs, const std::string& n,
                         std::vector<std::string> args, AttributeList* attl, const yy::location* loc)
    : AtomicAction(ctx, "", nullptr, attl, loc, "equation")
    , outputs(std::move(outs))
    , node(n)
    , arguments(std::move(args)) {}

void DspEquation::show_head(std::ostream& out) const {
    out << ' ';
    show_names(out, outputs);
    out << " := " << node << '(';
    show_names(out, arguments);
    out << ')';
}

DspPatch::DspPatch(BuildContext* ctx, const std::string& name, std::vector<DspEquation*> eqs,
                   AttributeList* attl, const yy::location* loc)
    : AtomicAction(ctx, name, nullptr, attl, loc, "patch")
    , equations(std::move(eqs)) {}

DspPatch::~DspPatch() {
    for (DspEquation* eq : equations)
        delete eq;
}

void DspPatch::show_body(std::ostream& out) const {
    for (const DspEquation* eq : equations)
        eq->show(out);
}

std::string next_patch_label(BuildContext* ctx) {
    return "_patch_" + std::to_string(ctx ? ctx->patch_count++ : 0);
}

DspFluidsynthAction::DspFluidsynthAction(BuildContext* ctx, const std::string& n, ExpressionList a,
                                         AttributeList* attl, const yy::location* loc)
    : AtomicAction(ctx, "", nullptr, attl, loc, "fluidsynth")
    , node(n)
    , args(std::move(a)) {}

DspFluidsynthAction::~DspFluidsynthAction() {
    delete duration;
}

std::vector<Expression*> DspFluidsynthAction::own_expressions() const {
    std::vector<Expression*> all;
    append_views(all, args);
    return all;
}

DspFluidsynthAction* DspFluidsynthAction::make_with_duration(BuildContext* ctx, const std::string& n,
                                                             ExpressionList a, const CadDuration& d,
                                                             AttributeList* attl, const yy::location* loc) {
    auto* action = new DspFluidsynthAction(ctx, n, std::move(a), attl, loc);
    action->duration = new CadDuration(d);
    return action;
}

void DspFluidsynthAction::show_head(std::ostream& out) const {
    out << '(';
    show_expressions(out, args, ", ");
    if (duration) out << ", " << *duration;
    out << ')';
}
