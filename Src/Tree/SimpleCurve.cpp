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
Message* step_message(BuildContext* ctx, ExpressionList parts, ExpPtr sampled, const yy::location* loc) {
    ExpPtr head = std::move(parts.front());
    parts.erase(parts.begin());
    parts.push_back(std::move(sampled));
    std::vector<ExpressionList> arguments;
    arguments.push_back(std::move(parts));
    const TaggedValue* named = head->is_value();
    Message* m = nullptr;
    if (named && named->is_string_or_symb())
        m = new Message(ctx, named->get_string(), nullptr, std::move(arguments), nullptr, nullptr, loc);
    else
        m = new Message(ctx, "", head.release(), std::move(arguments), nullptr, nullptr, loc);
    m->hidden = true;
    return m;
}

// The step: the message, then the state variable keeps the sampled value.
Action* step_group(BuildContext* ctx, ExpressionList parts, const SimpleCurveNames& names,
                   const yy::location* loc) {
    auto* body = new ActionList;
    body->push_back(
        step_message(ctx, std::move(parts), std::make_unique<Var>(ctx->eval, names.sampled, loc), loc));
    auto* keep = new AssignmentAction(ctx, new Var(ctx->eval, names.state, loc),
                                      new Var(ctx->eval, names.sampled, loc), nullptr, nullptr, loc);
    keep->hidden = true;
    body->push_back(keep);
    auto* group = new Gfwd(ctx, anonymous_name(ctx, names.label + "_step", false), &ZERO, nullptr, body,
                           nullptr, {}, loc);
    group->hidden = true;
    return group;
}

// One list with the sampled variable, from `from` (or the state variable)
// to `to` after `duration`.
std::vector<SeqContFunction> ramp(BuildContext* ctx, const SimpleCurveNames& names, Expression* from,
                                  Expression* to, const CadDuration& duration, const yy::location* loc) {
    std::vector<CurveBreakpoint> points(2);
    points[0].values.push_back(from ? ExpPtr(from) : std::make_unique<Var>(ctx->eval, names.state, loc));
    points[1].delay = duration;
    points[1].values.emplace_back(to);
    std::vector<SeqContFunction> functions;
    functions.emplace_back(std::vector<Reference*>{new Var(ctx->eval, names.sampled, loc)}, std::move(points));
    return functions;
}

} // namespace

Action* Curve::make_simple(BuildContext* ctx, ExpressionList message, const CadDuration* delay,
                           AttributeList* attributes, Expression* from, Expression* to,
                           const CadDuration& duration, const yy::location* loc) {
    if (message.empty()) {
        error("Empty message list in simplified curve");
        message.push_back(std::make_unique<StringValue>(std::string("SyntaxErrorInSimplifiedCurve")));
    }
    const SimpleCurveNames names = names_for(message_name(message.front().get()));

    auto* kill = new KillAction(ctx, "", names.label, nullptr, nullptr, nullptr, loc);
    kill->hidden = true;

    if (!attributes) attributes = new AttributeList;
    const bool seconds = duration.unit == DURATION_SECONDS;
    attributes->push_back(new GrainAttribute(new CadDuration(seconds ? 0.03 : 0.2, duration.unit)));
    attributes->push_back(new ActionAttribute(step_group(ctx, std::move(message), names, loc)));
    auto* curve = new Curve(ctx, names.label, &ZERO, attributes,
                            ramp(ctx, names, from, to, duration, loc), nullptr, {}, loc);

    auto* body = new ActionList{kill, curve};
    auto* group = new Gfwd(ctx, names.label + "_group", delay, nullptr, body, nullptr, {}, loc);
    group->hidden = true;
    return group;
}
