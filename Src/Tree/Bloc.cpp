#include "Tree/Bloc.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Expression.hpp"
#include "Base/Console.hpp"
#include "Tree/ActionAttributes.hpp"
#include "Tree/Assignments.hpp"

#include <algorithm>
#include <cassert>

// ---- Bloc ----

Bloc::Bloc(BuildContext* ctx, const std::string& name, const CadDuration* d, AttributeList* attl,
           Expression* end, TimedEnd timed_end, const yy::location* loc, const char* base)
    : Action(ctx, name, d, attl, loc, base)
    , until(end)
    , during(timed_end.duration)
    , during_count(timed_end.count)
    , at_kill(get_action_at_kill(attl)) {
    if (until) until->set_ambiant_action(this);
    if (during) during->set_ambiant_action(this);
    if (during_count) during_count->set_ambiant_action(this);
    if (at_kill) at_kill->set_parent(this);
}

Bloc::~Bloc() {
    delete until;
    delete during;
    delete during_count;
    delete local_vars;
    delete tempo_vars;
}

std::vector<Expression*> Bloc::own_expressions() const {
    return {until, during ? during->expr.get() : nullptr, during_count};
}

void Bloc::adopt(Action* child) {
    if (child) child->set_parent(this);
}

void Bloc::show_tail(std::ostream& out) const {
    if (until) {
        out << " until ";
        until->show(out, 1000);
    }
    if (during) out << " during [" << *during << ']';
    if (during_count) out << " during [" << *during_count << "#]";
}

// ---- Gfwd ----

namespace {

bool no_attributes(const AttributeList* attributes) {
    return !attributes || attributes->empty();
}

bool anonymous(const std::string& name) {
    return name.empty() || is_an_anonymous_name(name);
}

// The single undelayed action of a body, or null.
Action* lone_action(const ActionList* body) {
    if (!body || body->size() != 1) return nullptr;
    Action* only = body->front();
    return is_zero_delay(&only->delay) ? only : nullptr;
}

// Gives `a` the delay `d` (when there is one) and frees the rest of a body
// that stands for it.
Action* stand_alone(Action* a, const CadDuration* d, ActionList* body, AttributeList* attributes) {
    if (d && !is_zero_delay(d)) a->delay = *d;
    delete body;
    delete_attributes(attributes);
    return a;
}

} // namespace

Action* Gfwd::make(BuildContext* ctx, const std::string& name, const CadDuration* d, AttributeList* attl,
                   ActionList* body, Expression* until, TimedEnd timed_end, const yy::location* loc) {
    restructure_sequence(ctx, body);
    Action* only = lone_action(body);
    const bool has_end = until || timed_end.count || timed_end.duration;
    if (only && no_attributes(attl) && anonymous(name) && !has_end && only->declare_type() != 1)
        return stand_alone(only, d, body, attl);
    return new Gfwd(ctx, name, d, attl, body, until, timed_end, loc);
}

Gfwd::Gfwd(BuildContext* ctx, const std::string& name, const CadDuration* d, AttributeList* attl,
           ActionList* body, Expression* end, TimedEnd timed_end, const yy::location* loc)
    : Bloc(ctx, name, d, attl, end, timed_end, loc, "group") {
    if (body) body_list.splice(body_list.end(), *body);
    delete body;
    tightify_children(ctx);
    actions.assign(body_list.begin(), body_list.end());
    for (Action* child : actions)
        adopt(child);
    collect_declarations();
    if (!local_vars || local_vars->empty()) return;
    env = new Environment(ctx ? ctx->eval : nullptr);
    for (const ActionDeclaration* dec : *local_vars)
        for (const Var* v : dec->vars)
            local_names.push_back(v->name);
}

Gfwd::~Gfwd() {
    for (Action* a : actions)
        delete a;
    delete env;
}

void Gfwd::collect_declarations() {
    for (const Action* child : actions) {
        const auto* dec = dynamic_cast<const ActionDeclaration*>(child);
        if (!dec) continue;
        if (dec->declare_type() == 1) {
            if (!local_vars) local_vars = new std::vector<const ActionDeclaration*>;
            local_vars->push_back(dec);
        } else if (dec->declare_type() == 3) {
            if (!tempo_vars) tempo_vars = new std::vector<const ActionDeclaration*>;
            tempo_vars->push_back(dec);
        }
    }
}

// A tight child without locality becomes a group of its own; the next child
// takes its delay, so that every child keeps its date.
void Gfwd::tightify_children(BuildContext* ctx) {
    for (auto it = body_list.begin(); it != body_list.end(); ++it) {
        Action* child = *it;
        if (child->locality != LOCALITY_UNSET || child->is_bloc()) continue;
        if (!child->tight && !child->ante && !child->post) continue;
        *it = child->groupify(ctx);
        if (auto next = std::next(it); next != body_list.end()) (*next)->add_delay(child->delay);
    }
}

void Gfwd::show_body(std::ostream& out) const {
    for (const Action* a : actions)
        a->show(out);
}

int Gfwd::countActions() const {
    int n = Action::countActions();
    for (const Action* a : actions)
        n += a->countActions();
    return n;
}

void Gfwd::set_env(Environment* outer, const std::list<std::string>& locals, int level) {
    Action::set_env(outer, locals, level);
    if (env) {
        for (const ActionDeclaration* dec : *local_vars)
            for (size_t i = 0; i < dec->vars.size(); ++i)
                env->define_var(dec->vars[i]->name, dec->histories[i], undef_value());
        for (Action* child : actions)
            child->set_env(env, local_names, 0);
    }
    const int outer_level = env && level >= 0 ? level + 1 : level;
    for (Action* child : actions)
        child->set_env(outer, locals, outer_level);
}

void Gfwd::finalize_env(Environment* global) {
    set_env(global, {}, GLOBAL_SCOPE_LEVEL);
}

void Gfwd::compute_origin(const Origin& o) {
    Action::compute_origin(o);
    Origin previous{Origin::ACTION, this, o.score};
    for (Action* child : actions) {
        child->compute_origin(previous);
        previous = {Origin::ACTION, child, o.score};
    }
}

void Gfwd::compute_and_propage(const std::bitset<32>& context, Score* score) {
    Action::compute_and_propage(context, score);
    for (Action* child : actions)
        child->compute_and_propage(context, score);
}

// ---- bodies ----

Action* Action::make_action_from_actionlist(BuildContext* ctx, const std::string& name, const CadDuration* d,
                                            AttributeList* attl, ActionList* list, const yy::location* loc,
                                            bool simplify) {
    if (simplify) {
        restructure_sequence(ctx, list);
        if (Action* only = lone_action(list); only && no_attributes(attl))
            return stand_alone(only, d, list, attl);
    }
    auto* group = new Gfwd(ctx, name, d, attl, list, nullptr, {}, loc);
    group->hidden = true;
    return group;
}

// A tight atomic action becomes a group that carries its locality and
// strategies; the action keeps its other attributes and its delay.
Action* Action::groupify(BuildContext* ctx) {
    auto* strategies = new AttributeList;
    if (attributes) {
        for (auto it = attributes->begin(); it != attributes->end();) {
            const bool moves = dynamic_cast<LocalAttribute*>(*it) || dynamic_cast<StrategyAttribute*>(*it);
            if (!moves) {
                ++it;
                continue;
            }
            strategies->push_back(*it);
            it = attributes->erase(it);
        }
    }
    tight = loose = ante = post = false;
    tight_l = loose_l = ante_l = post_l = nullptr;
    locality = LOCALITY_UNSET;
    auto* body = new ActionList{this};
    const CadDuration zero(0.0, DURATION_BEATS);
    auto* group =
        new Gfwd(ctx, "_tightification_of_" + label, &zero, strategies, body, nullptr, {}, location);
    group->hidden = true;
    return group;
}
