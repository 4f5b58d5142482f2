// The simplified curve "curve receiver [from,] to duration": a message sent
// at each step of a hidden curve on the receiver's own variables.
#include "Exp/Expression.hpp"
#include "Base/Console.hpp"
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
