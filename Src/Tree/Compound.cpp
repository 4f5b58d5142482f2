#include "Tree/Compound.hpp"
#include "Tree/Pattern.hpp"

#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/Expression.hpp"
#include "Tree/Assignments.hpp"

#include <ostream>

namespace {

const CadDuration ZERO(0.0, DURATION_BEATS);

// The hidden group of a body, restructured, with a parent.
std::unique_ptr<Gfwd> hidden_body(BuildContext* ctx, const std::string& name, ActionList body,
                                  const yy::location* loc, Bloc* parent) {
    Action::restructure_sequence(ctx, body);
    auto group =
        std::make_unique<Gfwd>(ctx, name, &ZERO, AttributeList{}, std::move(body), nullptr, TimedEnd{}, loc);
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
           AttributeList attl, ActionList body_list, ExpPtr end, TimedEnd timed_end, const yy::location* loc)
    : Bloc(ctx, name, d, std::move(attl), std::move(end), std::move(timed_end), loc, "loop")
    , period(p)
    , body(hidden_body(ctx, anonymous_name(ctx, label) + "_body", std::move(body_list), loc, this)) {
    period.set_ambiant_action(this);
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
    body->compute_and_propage(track_mask, score);
}

// ---- forall ----

For::For(BuildContext* ctx, VarPtr var, VarPtr second, ExpPtr set, AttributeList attl, ActionList body_list,
         const yy::location* loc)
    : Bloc(ctx, "", nullptr, std::move(attl), nullptr, {}, loc, second ? "for2" : "for1")
    , iteration_set(std::move(set))
    , two_vars(second != nullptr) {
    iteration_set->set_ambiant_action(this);
    initialize(ctx, std::move(body_list), std::move(var), std::move(second));
}

void For::initialize(BuildContext* ctx, ActionList body_list, VarPtr var, VarPtr second) {
    restructure_sequence(ctx, body_list);
    var_name = var->name;
    local_vars_list.push_back(var.get());
    std::vector<VarPtr> declared;
    declared.push_back(std::move(var));
    if (second) {
        second_name = second->name;
        local_vars_list.push_back(second.get());
        declared.push_back(std::move(second));
    }
    auto declaration =
        std::make_unique<LocalDec>(ctx, std::move(declared), std::vector<int>{}, location.get());
    declaration->hidden = true;
    body_list.insert(body_list.begin(), std::move(declaration));
    body = std::make_unique<Gfwd>(ctx, label + "_body", &ZERO, AttributeList{}, std::move(body_list), nullptr,
                                  TimedEnd{}, location.get());
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
    body->compute_and_propage(track_mask, score);
}

// ---- if ----

ConditionalAction::ConditionalAction(BuildContext* ctx, ExpPtr c, AttributeList attl, ActionList true_list,
                                     std::optional<ActionList> false_list, const yy::location* loc)
    : Bloc(ctx, "", nullptr, std::move(attl), nullptr, {}, loc, "if")
    , condition(std::move(c))
    , true_body(make_action_from_actionlist(ctx, label + "_true_body", nullptr, {}, std::move(true_list), loc,
                                            true)) {
    condition->set_ambiant_action(this);
    adopt(true_body.get());
    if (!false_list) return;
    false_body = make_action_from_actionlist(ctx, label + "_false_body", nullptr, {}, std::move(*false_list),
                                             loc, true);
    adopt(false_body.get());
}

void ConditionalAction::show_head(std::ostream& out) const {
    out << " (" << *condition << ')';
}

void ConditionalAction::show_body(std::ostream& out) const {
    show_nested(out, true_body.get());
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
    true_body->compute_and_propage(track_mask, score);
    if (false_body) false_body->compute_and_propage(track_mask, score);
}

// ---- switch ----

SwitchAction::SwitchAction(BuildContext* ctx, ExpPtr s, AttributeList attl, CaseList case_list,
                           const yy::location* loc)
    : Bloc(ctx, "", nullptr, std::move(attl), nullptr, {}, loc, "switch")
    , subject(std::move(s)) {
    if (subject) subject->set_ambiant_action(this);
    for (size_t i = 0; i < case_list.size(); ++i) {
        auto& [test, list] = case_list[i];
        std::string name = str_printf("%s_cases_%d", label.c_str(), static_cast<int>(i));
        if (name.size() > 255) name.resize(255);
        ActionPtr action = make_action_from_actionlist(ctx, name, nullptr, {}, std::move(list), loc, true);
        test->set_ambiant_action(this);
        adopt(action.get());
        cases.emplace_back(std::move(test), std::move(action));
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
    std::vector<Expression*> all{subject.get()};
    for (const auto& c : cases)
        all.push_back(c.first.get());
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
        c.second->compute_and_propage(track_mask, score);
}

// ---- whenever ----

WhenAction::WhenAction(BuildContext* ctx, const std::string& name, ExpPtr c, AttributeList attl,
                       ActionList body_list, ExpPtr end, TimedEnd timed_end, const yy::location* loc)
    : Bloc(ctx, name, nullptr, std::move(attl), std::move(end), std::move(timed_end), loc, "when")
    , condition(std::move(c))
    , body(make_action_from_actionlist(ctx, anonymous_name(ctx, label) + "_body", nullptr, {},
                                       std::move(body_list), loc, true))
    , noRec(get_noRec(attributes)) {
    condition->get_variables(watched);
    condition->set_ambiant_action(this);
    adopt(body.get());
}

// The end conditions are bound with the condition.
std::vector<Expression*> WhenAction::own_expressions() const {
    std::vector<Expression*> all = Bloc::own_expressions();
    all.push_back(condition.get());
    return all;
}

void WhenAction::show_head(std::ostream& out) const {
    out << " (" << *condition << ')';
}

void WhenAction::show_body(std::ostream& out) const {
    show_nested(out, body.get());
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
    body->compute_and_propage(track_mask, score);
}

ExpPtr make_event_condition(BuildContext* ctx, const yy::location* loc) {
    return std::make_unique<BinaryExpression>(
        OP_EQ, SpecialVariable::make_variable(ctx->eval, BEAT_POS_VAR, loc),
        SpecialVariable::make_variable(ctx->eval, BEAT_POS_VAR, loc), loc);
}

// ---- whenever on a pattern ----

// The actions that recognise the pattern `name` of the score being read
// around `body`; none when the score has no such pattern.
WhenOnPattern::Compiled WhenOnPattern::compile(BuildContext* ctx, const std::string& name, ActionList body,
                                               const yy::location* loc) {
    Compiled out;
    for (const ActionPtr& a : body) {
        out.written_actions += a->countActions();
        out.written.push_back(a.get());
    }
    const PatSequence* pattern = ctx && ctx->score ? find_pattern(*ctx->score, name) : nullptr;
    if (!pattern) {
        error("Non existent pattern '%s'", name.c_str());
        ::post_location("in whenever", loc);
        out.written.clear();
        return out;
    }
    out.actions = pattern->compile(ctx, std::move(body), loc);
    return out;
}

// The pattern is compiled here: the group holds the reactions that
// recognise it, with the body inside the last one.
WhenOnPattern::WhenOnPattern(BuildContext* ctx, const std::string& p, AttributeList attl,
                             ActionList body_list, ExpPtr end, TimedEnd timed_end, const yy::location* loc)
    : WhenOnPattern(ctx, p, std::move(attl), compile(ctx, p, std::move(body_list), loc), std::move(end),
                    std::move(timed_end), loc) {}

WhenOnPattern::WhenOnPattern(BuildContext* ctx, const std::string& p, AttributeList attl, Compiled compiled,
                             ExpPtr end, TimedEnd timed_end, const yy::location* loc)
    : Gfwd(ctx, "", nullptr, std::move(attl), std::move(compiled.actions), std::move(end),
           std::move(timed_end), loc)
    , pattern(p)
    , written_actions(compiled.written_actions)
    , written(std::move(compiled.written)) {}

void WhenOnPattern::show_body(std::ostream& out) const {
    if (!show_as_score_text(out)) return Gfwd::show_body(out);
    for (const Action* a : written)
        a->show(out);
}
