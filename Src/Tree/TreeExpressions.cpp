#include "Tree/TreeExpressions.hpp"

#include "Exp/Environment.hpp"
#include "Base/Console.hpp"
#include "Tree/Action.hpp"
#include "Tree/Duration.hpp"
#include "Tree/Score.hpp"

#include <ostream>
#include <set>

// ---- ActionAsExpression ----

ActionAsExpression::ActionAsExpression(EvalContext* c, std::unique_ptr<Action> a, const yy::location* loc)
    : NonConstantExpression(loc)
    , ctx(c)
    , action(std::move(a)) {}

Value ActionAsExpression::eval() const {
    const GlobalEnvironment* global = ctx ? ctx->global_env() : nullptr;
    const Value& beat = global ? global->get_global_beat_pos() : undef_value();
    return eval_with_current_pos(beat->is_numeric() ? beat->get_double() : 0.0);
}

Value ActionAsExpression::eval_with_current_pos(double position) const {
    if (!ctx || !action) return exe_value(0);
    return ctx->fire_action(*action, position);
}

void ActionAsExpression::get_variables(VarSet& out) const {
    if (action) action->get_variables(out);
}

void ActionAsExpression::set_env(Environment* env, const std::list<std::string>& locals, int level) const {
    if (action) action->set_env(env, locals, level);
}

// In a message or another closed place (a high precedence), in parentheses.
void ActionAsExpression::show(std::ostream& out, int precedence) const {
    const bool closed = precedence >= 1000;
    if (closed) out << '(';
    out << "EXPR {\n";
    if (action) {
        ShowNesting nested(out);
        action->show(out);
    }
    show_indent(out);
    out << '}';
    if (closed) out << ')';
}

int ActionAsExpression::etag() const {
    static const int tag = new_etag();
    return tag;
}

int ActionAsExpression::compare_with(const Expression* other) const {
    const auto* o = static_cast<const ActionAsExpression*>(other);
    return (action.get() > o->action.get()) - (action.get() < o->action.get());
}

// ---- Anchor ----

Anchor::Anchor(BuildContext* ctx, const std::string& l, const yy::location* loc)
    : Reference(ctx ? ctx->eval : nullptr, l, loc)
    , label(l)
    , score(ctx ? ctx->score : nullptr)
    , table(score ? score->anchors : nullptr) {
    enter();
}

Anchor::Anchor(const Anchor& other)
    : Reference(other)
    , label(other.label)
    , ambient(other.ambient)
    , score(other.score)
    , beat(other.beat)
    , table(other.table) {
    enter();
}

Anchor::~Anchor() {
    if (!table) return;
    std::lock_guard lock(table->mutex);
    std::erase(table->anchors, this);
}

void Anchor::enter() {
    if (!table) return;
    std::lock_guard lock(table->mutex);
    table->anchors.push_back(this);
}

Value Anchor::eval() const {
    if (beat < 0) return undef_value();
    return float_value(beat);
}

void Anchor::show(std::ostream& out, int) const {
    out << label << ".align";
}

int Anchor::etag() const {
    static const int tag = new_etag();
    return tag;
}

bool Anchor::resolve(bool verbose) {
    if (!ambient) {
        if (verbose) error("Cannot resolve anchor: %s (missing ambiant action)", label.c_str());
        return false;
    }
    if (auto it = score->label_to_beat.find(label); it != score->label_to_beat.end()) {
        beat = it->second;
        return true;
    }
    if (auto it = score->label_to_action.find(label); it != score->label_to_action.end()) {
        Date date(*it->second);
        beat = date.to_beat(true);
        if (beat >= 0) return true;
    }
    if (verbose) error("Cannot resolve anchor: %s", label.c_str());
    return false;
}

bool Anchor::check_all_references(const Score& score, bool verbose) {
    AnchorTable& table = *score.anchors;
    std::lock_guard lock(table.mutex);
    bool all = true;
    for (Anchor* a : table.anchors) {
        if (a->beat >= 0) continue;
        if (!a->resolve(verbose)) all = false;
    }
    return all;
}

// ---- DotBloc ----

DotBloc::DotBloc(BuildContext* ctx, const std::string& l, VarPtr var, const yy::location* loc)
    : Var(ctx ? ctx->eval : nullptr, var->name, loc)
    , label(l) {
    dynamic = true;
}

void DotBloc::show(std::ostream& out, int) const {
    out << label << "::" << name;
}

int DotBloc::etag() const {
    static const int tag = new_etag();
    return tag;
}

int DotBloc::compare_with(const Expression* other) const {
    const auto* o = static_cast<const DotBloc*>(other);
    if (label != o->label) return label < o->label ? -1 : 1;
    return name < o->name ? -1 : name > o->name;
}
