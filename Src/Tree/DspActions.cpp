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
                         std::vector<std::string> args, AttributeList attl, const yy::location* loc)
    : AtomicAction(ctx, "", nullptr, std::move(attl), loc, "equation")
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

void DspEquation::show(std::ostream& out) const {
    if (!show_as_score_text(out)) {
        Action::show(out);
        return;
    }
    show_indent(out);
    if (!is_zero_delay(&delay)) out << delay << ' ';
    show_names(out, outputs);
    out << " := " << node << '(';
    show_names(out, arguments);
    out << ")\n";
}

DspPatch::DspPatch(BuildContext* ctx, const std::string& name, std::vector<std::unique_ptr<DspEquation>> eqs,
                   AttributeList attl, const yy::location* loc)
    : AtomicAction(ctx, name, nullptr, std::move(attl), loc, "patch")
    , equations(std::move(eqs)) {}

void DspPatch::show_body(std::ostream& out) const {
    for (const auto& eq : equations)
        eq->show(out);
}

void DspPatch::show(std::ostream& out) const {
    if (!show_as_score_text(out)) {
        Action::show(out);
        return;
    }
    const bool lone = label.rfind("_patch_", 0) == 0 && equations.size() == 1;
    if (lone && is_zero_delay(&delay)) {
        equations.front()->show(out);
        return;
    }
    show_indent(out);
    if (!is_zero_delay(&delay)) out << delay << ' ';
    out << "PATCH " << label << " {\n";
    {
        ShowNesting nested(out);
        show_body(out);
    }
    show_indent(out);
    out << "}\n";
}

std::string next_patch_label(BuildContext* ctx) {
    return "_patch_" + std::to_string(ctx ? ctx->patch_count++ : 0);
}

DspFluidsynthAction::DspFluidsynthAction(BuildContext* ctx, const std::string& n, ExpressionList a,
                                         AttributeList attl, const yy::location* loc)
    : AtomicAction(ctx, "", nullptr, std::move(attl), loc, "fluidsynth")
    , node(n)
    , args(std::move(a)) {}

std::unique_ptr<DspFluidsynthAction>
DspFluidsynthAction::make_with_duration(BuildContext* ctx, const std::string& n, ExpressionList a,
                                        const CadDuration& d, AttributeList attl, const yy::location* loc) {
    auto action = std::make_unique<DspFluidsynthAction>(ctx, n, std::move(a), std::move(attl), loc);
    action->duration = std::make_unique<CadDuration>(d);
    return action;
}

std::vector<Expression*> DspFluidsynthAction::own_expressions() const {
    std::vector<Expression*> all;
    append_views(all, args);
    return all;
}

void DspFluidsynthAction::show_head(std::ostream& out) const {
    out << '(';
    show_expressions(out, args, ", ");
    if (duration) out << ", " << *duration;
    out << ')';
}
