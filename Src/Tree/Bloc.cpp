#include "Tree/Bloc.hpp"

#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/Expression.hpp"
#include "Tree/ActionAttributes.hpp"
#include "Tree/Assignments.hpp"
#include "Tree/Curve.hpp"

#include <algorithm>
#include <cassert>

// ---- Bloc ----

Bloc::Bloc(BuildContext* ctx, const std::string& name, const CadDuration* d, AttributeList attl, ExpPtr end,
           TimedEnd timed_end, const yy::location* loc, const char* base)
    : Action(ctx, name, d, std::move(attl), loc, base)
    , until(std::move(end))
    , during(std::move(timed_end.duration))
    , during_count(std::move(timed_end.count))
    , at_kill(get_action_at_kill(attributes)) {
    if (until) until->set_ambiant_action(this);
    if (during) during->set_ambiant_action(this);
    if (during_count) during_count->set_ambiant_action(this);
    if (at_kill) at_kill->set_parent(this);
}

Bloc::~Bloc() = default;

std::vector<Expression*> Bloc::own_expressions() const {
    return {until.get(), during ? during->expr.get() : nullptr, during_count.get()};
}

void Bloc::adopt(Action* child) {
    if (child) child->set_parent(this);
}

void Bloc::show_tail(std::ostream& out) const {
    if (until) {
        out << " until (";
        until->show(out, 0);
        out << ')';
    }
    if (during) out << " during [" << *during << ']';
    if (during_count) out << " during [" << *during_count << "#]";
}

// ---- Gfwd ----

namespace {

bool anonymous(const std::string& name) {
    return name.empty() || is_an_anonymous_name(name);
}

// Whether a body is a single undelayed action.
bool is_lone_action(const ActionList& body) {
    return body.size() == 1 && is_zero_delay(&body.front()->delay);
}

// The single action of a body that stands for the whole block, with the
// block's delay `d` when there is one.
ActionPtr stand_alone(ActionList body, const CadDuration* d) {
    ActionPtr a = std::move(body.front());
    if (d && !is_zero_delay(d)) a->delay = *d;
    return a;
}

} // namespace

ActionPtr Gfwd::make(BuildContext* ctx, const std::string& name, const CadDuration* d, AttributeList attl,
                     ActionList body, ExpPtr until, TimedEnd timed_end, const yy::location* loc) {
    restructure_sequence(ctx, body);
    const bool has_end = until || timed_end.count || timed_end.duration;
    if (is_lone_action(body) && attl.empty() && anonymous(name) && !has_end &&
        body.front()->declare_type() != 1)
        return stand_alone(std::move(body), d);
    return std::make_unique<Gfwd>(ctx, name, d, std::move(attl), std::move(body), std::move(until),
                                  std::move(timed_end), loc);
}

Gfwd::Gfwd(BuildContext* ctx, const std::string& name, const CadDuration* d, AttributeList attl,
           ActionList body, ExpPtr end, TimedEnd timed_end, const yy::location* loc)
    : Bloc(ctx, name, d, std::move(attl), std::move(end), std::move(timed_end), loc, "group")
    , actions(std::move(body)) {
    tightify_children(ctx);
    for (const ActionPtr& child : actions)
        adopt(child.get());
    collect_declarations();
    if (local_vars.empty()) return;
    env = std::make_unique<Environment>(ctx ? ctx->eval : nullptr);
    for (const ActionDeclaration* dec : local_vars)
        for (const VarPtr& v : dec->vars)
            local_names.push_back(v->name);
}

Gfwd::~Gfwd() = default;

void Gfwd::collect_declarations() {
    for (const ActionPtr& child : actions) {
        const auto* dec = dynamic_cast<const ActionDeclaration*>(child.get());
        if (!dec) continue;
        if (dec->declare_type() == 1)
            local_vars.push_back(dec);
        else if (dec->declare_type() == 3)
            tempo_vars.push_back(dec);
    }
}

// A tight child without locality becomes a group of its own; the next child
// takes its delay, so that every child keeps its date.
void Gfwd::tightify_children(BuildContext* ctx) {
    for (auto it = actions.begin(); it != actions.end(); ++it) {
        Action* child = it->get();
        if (child->locality != LOCALITY_UNSET || child->is_bloc()) continue;
        if (!child->tight && !child->ante && !child->post) continue;
        *it = groupify(ctx, std::move(*it));
        if (auto next = std::next(it); next != actions.end()) (*next)->add_delay(child->delay);
    }
}

void Gfwd::show(std::ostream& out) const {
    if (!show_as_score_text(out)) return Action::show(out);
    if (show_simple_curve(out, *this)) return;
    const bool reader_made = hidden && is_an_anonymous_name(label) && attributes.empty();
    if (!reader_made || !is_zero_delay(&delay) || until || during || during_count) return Action::show(out);
    show_body(out);
}

void Gfwd::show_body(std::ostream& out) const {
    for (const ActionPtr& a : actions)
        a->show(out);
}

int Gfwd::countActions() const {
    int n = Action::countActions();
    for (const ActionPtr& a : actions)
        n += a->countActions();
    return n;
}

void Gfwd::set_env(Environment* outer, const std::list<std::string>& locals, int level) {
    Action::set_env(outer, locals, level);
    if (env) {
        for (const ActionDeclaration* dec : local_vars)
            for (size_t i = 0; i < dec->vars.size(); ++i)
                env->define_var(dec->vars[i]->name, dec->histories[i], undef_value());
        for (const ActionPtr& child : actions)
            child->set_env(env.get(), local_names, 0);
    }
    const int outer_level = env && level >= 0 ? level + 1 : level;
    for (const ActionPtr& child : actions)
        child->set_env(outer, locals, outer_level);
}

void Gfwd::finalize_env(Environment* global) {
    set_env(global, {}, GLOBAL_SCOPE_LEVEL);
}

void Gfwd::compute_origin(const Origin& o) {
    Action::compute_origin(o);
    Origin previous{Origin::ACTION, this, o.score};
    for (const ActionPtr& child : actions) {
        child->compute_origin(previous);
        previous = {Origin::ACTION, child.get(), o.score};
    }
}

void Gfwd::compute_and_propage(const std::bitset<32>& context, Score* score) {
    Action::compute_and_propage(context, score);
    for (const ActionPtr& child : actions)
        child->compute_and_propage(track_mask, score);
}

// ---- bodies ----

ActionPtr Action::make_action_from_actionlist(BuildContext* ctx, const std::string& name,
                                              const CadDuration* d, AttributeList attl, ActionList list,
                                              const yy::location* loc, bool simplify) {
    if (simplify) {
        restructure_sequence(ctx, list);
        if (is_lone_action(list) && attl.empty()) return stand_alone(std::move(list), d);
    }
    auto group =
        std::make_unique<Gfwd>(ctx, name, d, std::move(attl), std::move(list), nullptr, TimedEnd{}, loc);
    group->hidden = true;
    return group;
}

// A tight atomic action becomes a group that carries its locality and
// strategies; the action keeps its other attributes and its delay.
ActionPtr Action::groupify(BuildContext* ctx, ActionPtr action) {
    if (action->is_bloc()) return action;
    AttributeList strategies;
    AttributeList& attributes = action->attributes;
    for (auto it = attributes.begin(); it != attributes.end();) {
        const bool moves =
            dynamic_cast<LocalAttribute*>(it->get()) || dynamic_cast<StrategyAttribute*>(it->get());
        if (!moves) {
            ++it;
            continue;
        }
        strategies.push_back(std::move(*it));
        it = attributes.erase(it);
    }
    action->tight = action->loose = action->ante = action->post = false;
    action->tight_l = action->loose_l = action->ante_l = action->post_l = nullptr;
    action->locality = LOCALITY_UNSET;
    const std::string name = "_tightification_of_" + action->label;
    const yy::location* where = action->location.get(); // the action lives on in the group's body
    ActionList body;
    body.push_back(std::move(action));
    const CadDuration zero(0.0, DURATION_BEATS);
    auto group = std::make_unique<Gfwd>(ctx, name, &zero, std::move(strategies), std::move(body), nullptr,
                                        TimedEnd{}, where);
    group->hidden = true;
    return group;
}
