#include "Tree/Attributes.hpp"

#include "Exp/Expression.hpp"
#include "Tree/Action.hpp"
#include "Tree/ActionAttributes.hpp"

#include <algorithm>
#include <cctype>
#include <ostream>

namespace {

template <class T>
const T* first_of(const AttributeList& attributes) {
    for (const AttrPtr& a : attributes)
        if (auto* found = dynamic_cast<const T*>(a.get())) return found;
    return nullptr;
}

template <class T>
const ExpressionList* strategy_list(const AttributeList& attributes) {
    const T* a = first_of<T>(attributes);
    return a ? a->events.get() : nullptr;
}

template <class T>
Expression* expression_of(const AttributeList& attributes) {
    const T* a = first_of<T>(attributes);
    return a ? a->expression.get() : nullptr;
}

const TargetAttribute* target_of(const AttributeList& attributes) {
    return first_of<TargetAttribute>(attributes);
}

} // namespace

// ---- event attributes ----

// A label that is not a plain word is quoted, as the reader takes it back.
void LabelAttribute::show(std::ostream& out) const {
    out << keyword() << ' ';
    const bool word = !label.empty() && std::all_of(label.begin(), label.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
    });
    if (word) {
        out << label;
        return;
    }
    out << '"';
    for (const char c : label) {
        if (c == '"' || c == '\\') out << '\\';
        out << c;
    }
    out << '"';
}

void JumpAttribute::show(std::ostream& out) const {
    out << keyword() << ' ';
    if (jump) jump->show(out, 0);
}

const std::string* get_label(const AttributeList& attributes) {
    const LabelAttribute* a = first_of<LabelAttribute>(attributes);
    return a ? &a->label : nullptr;
}

bool get_hook(const AttributeList& attributes) {
    return first_of<HookAttribute>(attributes);
}
bool get_pizz(const AttributeList& attributes) {
    return first_of<PizzAttribute>(attributes);
}
bool get_staccato(const AttributeList& attributes) {
    return first_of<StaccatoAttribute>(attributes);
}
bool get_fermata(const AttributeList& attributes) {
    return first_of<FermataAttribute>(attributes);
}

Expression* get_jump(const AttributeList& attributes) {
    const JumpAttribute* a = first_of<JumpAttribute>(attributes);
    return a ? a->jump.get() : nullptr;
}

ExpPtr from_ident_list_to_tab(const std::vector<std::string>& labels) {
    tab_t elements;
    elements.reserve(labels.size());
    for (const std::string& label : labels)
        elements.push_back(string_value(label));
    return std::make_unique<ScoreConstant>(tab_value(std::move(elements)));
}

// ---- action attributes ----

int get_locality(const AttributeList& attributes) {
    const LocalAttribute* a = first_of<LocalAttribute>(attributes);
    return a ? a->locality : LOCALITY_UNSET;
}

bool get_tight(const AttributeList& attributes) {
    return first_of<TightAttribute>(attributes);
}
bool get_loose(const AttributeList& attributes) {
    return first_of<LooseAttribute>(attributes);
}
bool get_ante(const AttributeList& attributes) {
    return first_of<AnteAttribute>(attributes);
}
bool get_post(const AttributeList& attributes) {
    return first_of<PostAttribute>(attributes);
}

const ExpressionList* get_tight_l(const AttributeList& a) {
    return strategy_list<TightAttribute>(a);
}
const ExpressionList* get_loose_l(const AttributeList& a) {
    return strategy_list<LooseAttribute>(a);
}
const ExpressionList* get_ante_l(const AttributeList& a) {
    return strategy_list<AnteAttribute>(a);
}
const ExpressionList* get_post_l(const AttributeList& a) {
    return strategy_list<PostAttribute>(a);
}

int get_prog(const AttributeList& attributes) {
    const ConservativeAttribute* a = first_of<ConservativeAttribute>(attributes);
    return a ? a->mode : 2;
}

Expression* get_tempo(const AttributeList& a) {
    return expression_of<TempoAttribute>(a);
}
Expression* get_cond(const AttributeList& a) {
    return expression_of<CondAttribute>(a);
}

const ExpressionList* get_events_tempo(const AttributeList& attributes) {
    const EventsTempo* a = first_of<EventsTempo>(attributes);
    return a ? a->events.get() : nullptr;
}

const Var* get_sync_var(const AttributeList& attributes) {
    const SyncVarAttribute* a = first_of<SyncVarAttribute>(attributes);
    return a ? a->var.get() : nullptr;
}

const std::string* get_bsym(const AttributeList& attributes) {
    const BsymAttribute* a = first_of<BsymAttribute>(attributes);
    return a ? &a->symbol : nullptr;
}

Action* get_action(const AttributeList& attributes) {
    const ActionAttribute* a = first_of<ActionAttribute>(attributes);
    return a ? a->action.get() : nullptr;
}

Action* get_action_at_kill(const AttributeList& attributes) {
    const AtKillAttribute* a = first_of<AtKillAttribute>(attributes);
    return a ? a->action.get() : nullptr;
}

double get_beta(const AttributeList& attributes) {
    const Expression* e = expression_of<BetaAttribute>(attributes);
    if (!e) return 0.0;
    Value v = e->eval();
    return v->is_numeric() ? v->get_double() : 0.0;
}

const CadDuration* get_grain(const AttributeList& attributes) {
    const GrainAttribute* a = first_of<GrainAttribute>(attributes);
    return a ? a->grain.get() : nullptr;
}

bool get_noRec(const AttributeList& attributes) {
    return first_of<NoRecAttribute>(attributes);
}
bool get_immediate(const AttributeList& attributes) {
    return first_of<ImmediateAttribute>(attributes);
}
bool get_static_scope(const AttributeList& attributes) {
    return first_of<StaticScopeAttribute>(attributes);
}

const ExpressionList* get_events_list_target(const AttributeList& attributes) {
    const TargetAttribute* t = target_of(attributes);
    return t ? t->events.get() : nullptr;
}

const CadDuration* get_duration_target(const AttributeList& attributes) {
    const TargetAttribute* t = target_of(attributes);
    return t ? t->duration.get() : nullptr;
}

const Expression* get_logic_target(const AttributeList& attributes) {
    const TargetAttribute* t = target_of(attributes);
    return t ? t->logic.get() : nullptr;
}

const Expression* get_phase_target(const AttributeList& attributes) {
    const TargetAttribute* t = target_of(attributes);
    return t ? t->phase.get() : nullptr;
}

const Expression* get_period_target(const AttributeList& attributes) {
    const TargetAttribute* t = target_of(attributes);
    return t ? t->period.get() : nullptr;
}
