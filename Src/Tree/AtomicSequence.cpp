// Runs of undelayed atomic actions grouped into one sequence.
#include "Tree/AtomicActions.hpp"

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

AtomicSequence::AtomicSequence(BuildContext* ctx, Action* first)
    : AtomicAction(ctx, "", &first->delay, nullptr, first->location, "aseq") {
    first->delay = CadDuration(0.0, first->delay.unit);
    actions.push_back(first);
}

AtomicSequence::~AtomicSequence() {
    for (Action* a : actions)
        delete a;
}

void AtomicSequence::add(Action* next) {
    assert(next && "a sequence holds actions");
    actions.push_back(next);
}

void AtomicSequence::restructure(BuildContext* ctx, ActionList* list) {
    if (!list) return;
    for (auto it = list->begin(); it != list->end(); ++it) {
        if (!joins_a_sequence(*it)) continue;
        auto next = std::next(it);
        if (next == list->end() || !joins_a_sequence(*next) || !is_zero_delay(&(*next)->delay)) continue;
        auto* sequence = new AtomicSequence(ctx, *it);
        while (next != list->end() && joins_a_sequence(*next) && is_zero_delay(&(*next)->delay)) {
            sequence->add(*next);
            next = list->erase(next);
        }
        *it = sequence;
    }
}

void AtomicSequence::show_body(std::ostream& out) const {
    for (const Action* a : actions)
        a->show(out);
}

int AtomicSequence::countActions() const {
    int n = 0;
    for (const Action* a : actions)
        n += a->countActions();
    return n;
}

void AtomicSequence::set_env(Environment* env, const std::list<std::string>& locals, int level) {
    Action::set_env(env, locals, level);
    for (Action* a : actions)
        a->set_env(env, locals, level);
}

void AtomicSequence::compute_origin(const Origin& o) {
    Action::compute_origin(o);
    for (Action* a : actions)
        a->compute_origin({Origin::ACTION, this, o.score});
}

void Action::restructure_sequence(BuildContext* ctx, ActionList* list) {
    AtomicSequence::restructure(ctx, list);
}
