// The simplified curve "curve receiver [from,] to duration": a message sent
// at each step of a hidden curve on the receiver's own variables.
#include "Base/Console.hpp"
#include "Exp/Expression.hpp"
#include "Tree/ActionAttributes.hpp"
#include "Tree/Assignments.hpp"
#include "Tree/AtomicActions.hpp"
#include "Tree/Curve.hpp"

namespace {

const CadDuration ZERO(0.0, DURATION_BEATS);

struct SimpleCurveNames {
    std::string state, sampled, label;
};

SimpleCurveNames names_for(const std::string& n) {
    return {"$__state_simple_curve__" + n, "$__var_simple_curve__" + n, "__simple_curve__" + n};
}

// The message of each step: the receiver and the leading arguments as
// written, then the sampled value.
ActionPtr step_message(BuildContext* ctx, ExpressionList parts, ExpPtr sampled, const yy::location* loc) {
    ExpPtr head = std::move(parts.front());
    parts.erase(parts.begin());
    parts.push_back(std::move(sampled));
    std::vector<ExpressionList> arguments;
    arguments.push_back(std::move(parts));
    const TaggedValue* named = head->is_value();
    std::unique_ptr<Message> m;
    if (named && named->is_string_or_symb())
        m = std::make_unique<Message>(ctx, named->get_string(), nullptr, std::move(arguments), nullptr,
                                      AttributeList{}, loc);
    else
        m = std::make_unique<Message>(ctx, "", std::move(head), std::move(arguments), nullptr,
                                      AttributeList{}, loc);
    m->hidden = true;
    return m;
}

// The step: the message, then the state variable keeps the sampled value.
ActionPtr step_group(BuildContext* ctx, ExpressionList parts, const SimpleCurveNames& names,
                     const yy::location* loc) {
    ActionList body;
    body.push_back(
        step_message(ctx, std::move(parts), std::make_unique<Var>(ctx->eval, names.sampled, loc), loc));
    auto keep = std::make_unique<AssignmentAction>(ctx, std::make_unique<Var>(ctx->eval, names.state, loc),
                                                   std::make_unique<Var>(ctx->eval, names.sampled, loc),
                                                   nullptr, AttributeList{}, loc);
    keep->hidden = true;
    body.push_back(std::move(keep));
    auto group = std::make_unique<Gfwd>(ctx, anonymous_name(ctx, names.label + "_step", false), &ZERO,
                                        AttributeList{}, std::move(body), nullptr, TimedEnd{}, loc);
    group->hidden = true;
    return group;
}

// One list with the sampled variable, from `from` (or the state variable)
// to `to` after `duration`.
std::vector<SeqContFunction> ramp(BuildContext* ctx, const SimpleCurveNames& names, ExpPtr from, ExpPtr to,
                                  const CadDuration& duration, const yy::location* loc) {
    std::vector<CurveBreakpoint> points(2);
    points[0].values.push_back(from ? std::move(from) : std::make_unique<Var>(ctx->eval, names.state, loc));
    points[1].delay = duration;
    points[1].values.push_back(std::move(to));
    ReferenceList sampled;
    sampled.push_back(std::make_unique<Var>(ctx->eval, names.sampled, loc));
    std::vector<SeqContFunction> functions;
    functions.emplace_back(std::move(sampled), std::move(points));
    return functions;
}

} // namespace

ActionPtr Curve::make_simple(BuildContext* ctx, ExpressionList message, const CadDuration* delay,
                             AttributeList attributes, ExpPtr from, ExpPtr to, const CadDuration& duration,
                             const yy::location* loc) {
    if (message.empty()) {
        error("Empty message list in simplified curve");
        message.push_back(std::make_unique<StringValue>(std::string("SyntaxErrorInSimplifiedCurve")));
    }
    const SimpleCurveNames names = names_for(message_name(message.front().get()));

    auto kill = std::make_unique<KillAction>(ctx, "", names.label, nullptr, nullptr, AttributeList{}, loc);
    kill->hidden = true;

    const bool seconds = duration.unit == DURATION_SECONDS;
    attributes.push_back(
        std::make_unique<GrainAttribute>(std::make_unique<CadDuration>(seconds ? 0.03 : 0.2, duration.unit)));
    attributes.push_back(std::make_unique<ActionAttribute>(step_group(ctx, std::move(message), names, loc)));
    auto curve = std::make_unique<Curve>(ctx, names.label, &ZERO, std::move(attributes),
                                         ramp(ctx, names, std::move(from), std::move(to), duration, loc),
                                         nullptr, TimedEnd{}, loc);

    ActionList body;
    body.push_back(std::move(kill));
    body.push_back(std::move(curve));
    auto group = std::make_unique<Gfwd>(ctx, names.label + "_group", delay, AttributeList{}, std::move(body),
                                        nullptr, TimedEnd{}, loc);
    group->hidden = true;
    return group;
}

// ---- printing back ----

namespace {

// The parts of a simplified curve as the reader built them, or nulls.
struct SimpleCurveParts {
    const Curve* curve = nullptr;
    const Message* step = nullptr;
};

SimpleCurveParts simple_curve_parts(const Gfwd& group) {
    const std::string& label = group.get_label();
    const std::string prefix = "__simple_curve__", suffix = "_group";
    if (!group.hidden || group.actions.size() != 2 || label.rfind(prefix, 0) != 0) return {};
    const auto* curve = dynamic_cast<const Curve*>(group.actions[1].get());
    if (!curve || curve->functions.size() != 1 || curve->functions[0].points.size() != 2) return {};
    if (curve->get_label() + suffix != label || curve->attributes.size() < 2) return {};
    const auto* step = dynamic_cast<const Gfwd*>(get_action(curve->attributes));
    if (!step || step->actions.empty()) return {};
    const auto* message = dynamic_cast<const Message*>(step->actions.front().get());
    if (!message || message->arguments.size() != 1 || message->arguments[0].empty()) return {};
    return {curve, message};
}

// "level", "\"a b\"", or "@command { pan 1 }" when the message has
// arguments before the sampled value or a computed receiver.
void show_simple_receiver(std::ostream& out, const Message& step) {
    const ExpressionList& parts = step.arguments[0];
    if (parts.size() == 1 && !step.receiver_expr) {
        out << step.word();
        return;
    }
    out << "@command { ";
    if (step.receiver_expr)
        step.receiver_expr->show(out, 1000);
    else
        out << step.word();
    for (size_t i = 0; i + 1 < parts.size(); ++i) {
        out << ' ';
        parts[i]->show(out, 1000);
    }
    out << " }";
}

} // namespace

bool show_simple_curve(std::ostream& out, const Gfwd& group) {
    const SimpleCurveParts parts = simple_curve_parts(group);
    if (!parts.curve) return false;
    const std::vector<CurveBreakpoint>& points = parts.curve->functions[0].points;
    const std::string state = names_for(parts.curve->get_label().substr(16)).state;
    show_indent(out);
    if (!is_zero_delay(&group.delay)) out << group.delay << ' ';
    out << "curve ";
    show_simple_receiver(out, *parts.step);
    out << ' ';
    const Expression* from = points[0].values.empty() ? nullptr : points[0].values[0].get();
    if (from && from->show() != state) {
        from->show(out, 1000);
        out << ", ";
    }
    if (!points[1].values.empty()) points[1].values[0]->show(out, 1000);
    out << ' ' << points[1].delay;
    // The reader adds the grain and the step to what the score wrote.
    const AttributeList& attributes = parts.curve->attributes;
    for (size_t i = 0; i + 2 < attributes.size(); ++i)
        out << ' ' << *attributes[i];
    out << '\n';
    return true;
}
