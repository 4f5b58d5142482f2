#include "Tree/ActionWalk.hpp"

#include "Tree/AtomicActions.hpp"
#include "Tree/Compound.hpp"
#include "Tree/Curve.hpp"

namespace {

void append_list(std::vector<ActionChild>& out, const ActionList& list, ChildRun run) {
    for (const ActionPtr& a : list)
        out.push_back({a.get(), run});
}

void append(std::vector<ActionChild>& out, const Action* a, ChildRun run) {
    if (a) out.push_back({a, run});
}

// The body of a compound action, as its kind runs it.
void body_children(const Action& a, std::vector<ActionChild>& out) {
    if (const auto* when = dynamic_cast<const WhenOnPattern*>(&a))
        return append_list(out, when->actions, ChildRun::Reactive);
    if (const auto* group = dynamic_cast<const Gfwd*>(&a))
        return append_list(out, group->actions, ChildRun::Sequence);
    if (const auto* seq = dynamic_cast<const AtomicSequence*>(&a))
        return append_list(out, seq->actions, ChildRun::Sequence);
    if (const auto* loop = dynamic_cast<const Lfwd*>(&a))
        return append(out, loop->body.get(), ChildRun::Repeated);
    if (const auto* forall = dynamic_cast<const For*>(&a))
        return append(out, forall->body.get(), ChildRun::Branch);
    if (const auto* when = dynamic_cast<const WhenAction*>(&a))
        return append(out, when->body.get(), ChildRun::Reactive);
    if (const auto* test = dynamic_cast<const ConditionalAction*>(&a)) {
        append(out, test->true_body.get(), ChildRun::Branch);
        return append(out, test->false_body.get(), ChildRun::Branch);
    }
    if (const auto* choice = dynamic_cast<const SwitchAction*>(&a))
        for (const auto& [test, body] : choice->cases)
            append(out, body.get(), ChildRun::Branch);
}

} // namespace

std::vector<ActionChild> children_of(const Action& a) {
    std::vector<ActionChild> out;
    body_children(a, out);
    // "@action" runs at each step of a curve; "@abort" when the action is killed.
    append(out, get_action(a.attributes), ChildRun::Repeated);
    append(out, get_action_at_kill(a.attributes), ChildRun::Reactive);
    return out;
}
