#include "Tree/Compound.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Expression.hpp"
#include "Base/Console.hpp"
#include "Tree/Assignments.hpp"

#include <ostream>

namespace {

const CadDuration ZERO(0.0, DURATION_BEATS);

// The hidden group of a body, restructured, with a parent.
Gfwd* hidden_body(BuildContext* ctx, const std::string& name, ActionList* body, const yy::location* loc,
                  Bloc* parent) {
    Action::restructure_sequence(ctx, body);
    auto* group = new Gfwd(ctx, name, &ZERO, nullptr, body, nullptr, {}, loc);
    group->hidden = true;
    group->set_parent(parent);
    return group;
}

void show_nested(std::ostream& out, const Action* a) {
    if (a) a->show(out);
}

} // namespace

// ---- loop ----

Lfwd::Lfwd(BuildContext* ctx, const std::string& name, const CadDuration* d, const CadDuration& p,
           AttributeList* attl, ActionList* body_list, Expression* end, TimedEnd timed_end,
           const yy::location* loc)
    : Bloc(ctx, name, d, attl, end, timed_end, loc, "loop")
    , period(p)
    , body(hidden_body(ctx, anonymous_name(ctx, label) + "_body", body_list, loc, this)) {
    period.set_ambiant_action(this);
}

Lfwd::~Lfwd() {
    delete body;
}

void Lfwd::show_head(std::ostream& out) const {
    out << ' ' << period;
}

void Lfwd::show_body(std::ostream& out) const {
    body->show_body(out);
}

int Lfwd::countActions() const {
    return Action::countActions() + body->countActions();
}

std::vector<Expression*> Lfwd::own_expressions() const {
    std::vector<Expression*> all = Bloc::own_expressions();
    all.push_back(period.expr.get());
    return all;
}

void Lfwd::set_env(Environment* env, const std::list<std::string>& locals, int level) {
    Action::set_env(env, locals, level);
    body->set_env(env, locals, level);
}

void Lfwd::compute_origin(const Origin& o) {
    Action::compute_origin(o);
    body->compute_origin({Origin::LOOP, this, o.score});
}

void Lfwd::compute_and_propage(const std::bitset<32>& context, Score* score) {
    Action::compute_and_propage(context, score);
    body->compute_and_propage(context, score);
}

// ---- forall ----

For::For(BuildContext* ctx, Var* var, Var* second, Expression* set, AttributeList* attl, ActionList* body_list,
         const yy::location* loc)
    : Bloc(ctx, "", nullptr, attl, nullptr, {}, loc, second ? "for2" : "for1")
    , iteration_set(set)
    , two_vars(second != nullptr) {
    iteration_set->set_ambiant_action(this);
    initialize(ctx, body_list, var, second);
}

For::~For() {
    delete iteration_set;
    delete body;
}

void For::initialize(BuildContext* ctx, ActionList* body_list, Var* var, Var* second) {
    if (!body_list) body_list = new ActionList;
    restructure_sequence(ctx, body_list);
    var_name = var->name;
    local_vars_list.push_back(var);
    if (second) {
        second_name = second->name;
        local_vars_list.push_back(second);
    }
    auto* declaration = new LocalDec(ctx, local_vars_list, {}, location);
    declaration->hidden = true;
    body_list->push_front(declaration);
    body = new Gfwd(ctx, label + "_body", &ZERO, nullptr, body_list, nullptr, {}, location);
    body->hidden = true;
    body->set_parent(this);
}

void For::show_head(std::ostream& out) const {
    out << ' ' << var_name;
    if (two_vars) out << ", " << second_name;
    out << " in " << *iteration_set;
}

// The body's first action is the declaration of the loop variables.
void For::show_body(std::ostream& out) const {
    for (size_t i = 1; i < body->actions.size(); ++i)
        body->actions[i]->show(out);
}

int For::countActions() const {
    return Action::countActions() + body->countActions();
}

void For::set_env(Environment* env, const std::list<std::string>& locals, int level) {
    Action::set_env(env, locals, level);
    body->set_env(env, locals, level);
}

void For::compute_origin(const Origin& o) {
    Action::compute_origin(o);
    body->compute_origin({Origin::LOOP, this, o.score});
}

void For::compute_and_propage(const std::bitset<32>& context, Score* score) {
    Action::compute_and_propage(context, score);
    body->compute_and_propage(context, score);
}

// ---- if ----

ConditionalAction::ConditionalAction(BuildContext* ctx, Expression* c, AttributeList* attl,
                                     ActionList* true_list, ActionList* false_list, const yy::location* loc)
    : Bloc(ctx, "", nullptr, attl, nullptr, {}, loc, "if")
    , condition(c)
    , true_body(
          make_action_from_actionlist(ctx, label + "_true_body", nullptr, nullptr, true_list, loc, true)) {
    condition->set_ambiant_action(this);
    adopt(true_body);
    if (!false_list) return;
    false_body =
        make_action_from_actionlist(ctx, label + "_false_body", nullptr, nullptr, false_list, loc, true);
    adopt(false_body);
}

ConditionalAction::~ConditionalAction() {
    delete condition;
    delete true_body;
    delete false_body;
}

void ConditionalAction::show_head(std::ostream& out) const {
    out << " (" << *condition << ')';
}

void ConditionalAction::show_body(std::ostream& out) const {
    show_nested(out, true_body);
}

void ConditionalAction::show_tail(std::ostream& out) const {
    if (!false_body) return;
    out << " else {\n";
    {
        ShowNesting nested(out);
        false_body->show(out);
    }
    show_indent(out);
    out << '}';
}

int ConditionalAction::countActions() const {
    return Action::countActions() + true_body->countActions() + (false_body ? false_body->countActions() : 0);
}

void ConditionalAction::set_env(Environment* env, const std::list<std::string>& locals, int level) {
    Action::set_env(env, locals, level);
    true_body->set_env(env, locals, level);
    if (false_body) false_body->set_env(env, locals, level);
}

void ConditionalAction::compute_origin(const Origin& o) {
    Action::compute_origin(o);
    true_body->compute_origin({Origin::ACTION, this, o.score});
    if (false_body) false_body->compute_origin({Origin::ACTION, this, o.score});
}

void ConditionalAction::compute_and_propage(const std::bitset<32>& context, Score* score) {
    Action::compute_and_propage(context, score);
    true_body->compute_and_propage(context, score);
    if (false_body) false_body->compute_and_propage(context, score);
}

// ---- switch ----

SwitchAction::SwitchAction(BuildContext* ctx, Expression* s, AttributeList* attl, CaseList case_list,
                           const yy::location* loc)
    : Bloc(ctx, "", nullptr, attl, nullptr, {}, loc, "switch")
    , subject(s) {
    if (subject) subject->set_ambiant_action(this);
    for (size_t i = 0; i < case_list.size(); ++i) {
        auto [test, list] = case_list[i];
        std::string name = str_printf("%s_cases_%d", label.c_str(), static_cast<int>(i));
        if (name.size() > 255) name.resize(255);
        Action* action = make_action_from_actionlist(ctx, name, nullptr, nullptr, list, loc, true);
        test->set_ambiant_action(this);
        adopt(action);
        cases.emplace_back(test, action);
    }
}

SwitchAction::~SwitchAction() {
    delete subject;
    for (auto& [test, action] : cases) {
        delete test;
        delete action;
    }
}

void SwitchAction::show_head(std::ostream& out) const {
    if (subject) out << " (" << *subject << ')';
}

void SwitchAction::show_body(std::ostream& out) const {
    for (const auto& [test, action] : cases) {
        show_indent(out);
        out << "case " << *test << ":\n";
        ShowNesting nested(out);
        action->show(out);
    }
}

int SwitchAction::countActions() const {
    int n = Action::countActions();
    for (const auto& c : cases)
        n += c.second->countActions();
    return n;
}

std::vector<Expression*> SwitchAction::own_expressions() const {
    std::vector<Expression*> all{subject};
    for (const auto& c : cases)
        all.push_back(c.first);
    return all;
}

void SwitchAction::set_env(Environment* env, const std::list<std::string>& locals, int level) {
    Action::set_env(env, locals, level);
    for (auto& c : cases)
        c.second->set_env(env, locals, level);
}

void SwitchAction::compute_origin(const Origin& o) {
    Action::compute_origin(o);
    for (auto& c : cases)
        c.second->compute_origin({Origin::ACTION, this, o.score});
}

void SwitchAction::compute_and_propage(const std::bitset<32>& context, Score* score) {
    Action::compute_and_propage(context, score);
    for (auto& c : cases)
        c.second->compute_and_propage(context, score);
}

// ---- whenever ----

WhenAction::WhenAction(BuildContext* ctx, const std::string& name, Expression* c, AttributeList* attl,
                       ActionList* body_list, Expression* end, TimedEnd timed_end, const yy::location* loc)
    : Bloc(ctx, name, nullptr, attl, end, timed_end, loc, "when")
    , condition(c)
    , body(make_action_from_actionlist(ctx, anonymous_name(ctx, label) + "_body", nullptr, nullptr, body_list, loc,
                                       true))
    , noRec(get_noRec(attl)) {
    condition->get_variables(watched);
    condition->set_ambiant_action(this);
    adopt(body);
}

WhenAction::~WhenAction() {
    delete condition;
    delete body;
}

void WhenAction::show_head(std::ostream& out) const {
    out << " (" << *condition << ')';
}

void WhenAction::show_body(std::ostream& out) const {
    show_nested(out, body);
}

int WhenAction::countActions() const {
    return Action::countActions() + body->countActions();
}

void WhenAction::set_env(Environment* env, const std::list<std::string>& locals, int level) {
    Action::set_env(env, locals, level);
    body->set_env(env, locals, level);
}

void WhenAction::compute_origin(const Origin& o) {
    Action::compute_origin(o);
    body->compute_origin({Origin::WHENEVER, this, o.score});
}

void WhenAction::compute_and_propage(const std::bitset<32>& context, Score* score) {
    Action::compute_and_propage(context, score);
    body->compute_and_propage(context, score);
}

ExpPtr make_event_condition(BuildContext* ctx, const yy::location* loc) {
    return std::make_unique<BinaryExpression>(
        OP_EQ, SpecialVariable::make_variable(ctx->eval, BEAT_POS_VAR, loc),
        SpecialVariable::make_variable(ctx->eval, BEAT_POS_VAR, loc), loc);
}

// ---- whenever on a pattern ----

// Patterns are defined by "@pattern_def"; none is known to this reader, so
// every reference is reported.
WhenOnPattern::WhenOnPattern(BuildContext* ctx, const std::string& p, AttributeList* attl,
                             ActionList* body_list, Expression* end, TimedEnd timed_end,
                             const yy::location* loc)
    : Gfwd(ctx, "", nullptr, attl, body_list, end, timed_end, loc)
    , pattern(p) {
    error("Unknown pattern in whenever");
    post_location();
}
