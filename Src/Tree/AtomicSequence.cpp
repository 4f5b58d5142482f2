// Runs of undelayed atomic actions grouped into one sequence.
#include "Tree/AtomicActions.hpp"

#include <algorithm>
#include <cassert>

bool AtomicAction::weak_ok_action() const {
    return declare_type() == 0 && locality != LOCALITY_LOCAL && !tight && !ante && !post &&
           tempo_expression == nullptr;
}

namespace {

bool joins_a_sequence(const Action* a) {
    const auto* atomic = dynamic_cast<const AtomicAction*>(a);
    return atomic && atomic->weak_ok_action();
}

} // namespace

AtomicSequence::AtomicSequence(BuildContext* ctx, ActionPtr first)
    : AtomicAction(ctx, "", &first->delay, {}, first->location.get(), "aseq") {
    first->delay = CadDuration(0.0, first->delay.unit);
    actions.push_back(std::move(first));
}

void AtomicSequence::add(ActionPtr next) {
    assert(next && "a sequence holds actions");
    actions.push_back(std::move(next));
}

// A run starts at an action that may join a sequence and goes on through
// the undelayed ones that may join it too.
void AtomicSequence::restructure(BuildContext* ctx, ActionList& list) {
    auto joins_here = [](const ActionPtr& a) {
        return joins_a_sequence(a.get()) && is_zero_delay(&a->delay);
    };
    for (auto it = list.begin(); it != list.end(); ++it) {
        if (!joins_a_sequence(it->get())) continue;
        const auto run_end = std::find_if_not(std::next(it), list.end(), joins_here);
        if (run_end == std::next(it)) continue;
        auto sequence = std::make_unique<AtomicSequence>(ctx, std::move(*it));
        for (auto next = std::next(it); next != run_end; ++next)
            sequence->add(std::move(*next));
        *it = std::move(sequence);
        it = list.erase(std::next(it), run_end) - 1;
    }
}

void AtomicSequence::show(std::ostream& out) const {
    if (!show_as_score_text(out) || actions.empty()) {
        Action::show(out);
        return;
    }
    actions.front()->show_with_delay(out, delay);
    for (auto it = std::next(actions.begin()); it != actions.end(); ++it)
        (*it)->show(out);
}

void AtomicSequence::show_body(std::ostream& out) const {
    for (const ActionPtr& a : actions)
        a->show(out);
}

int AtomicSequence::countActions() const {
    int n = 0;
    for (const ActionPtr& a : actions)
        n += a->countActions();
    return n;
}

void AtomicSequence::set_env(Environment* env, const std::list<std::string>& locals, int level) {
    Action::set_env(env, locals, level);
    for (const ActionPtr& a : actions)
        a->set_env(env, locals, level);
}

void AtomicSequence::compute_origin(const Origin& o) {
    Action::compute_origin(o);
    for (const ActionPtr& a : actions)
        a->compute_origin({Origin::ACTION, this, o.score});
}

void Action::restructure_sequence(BuildContext* ctx, ActionList& list) {
    AtomicSequence::restructure(ctx, list);
}

void AtomicSequence::compute_and_propage(const std::bitset<32>& context, Score* score) {
    Action::compute_and_propage(context, score);
    for (const ActionPtr& a : actions)
        a->compute_and_propage(track_mask, score);
}
