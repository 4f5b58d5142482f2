#include "Tree/Action.hpp"
#include "Tree/Track.hpp"

#include "Base/Console.hpp"
#include "Exp/Expression.hpp"
#include "Tree/ActionAttributes.hpp"
#include "Tree/BuildContext.hpp"
#include "Tree/Score.hpp"

#include <cassert>

namespace {

CadDuration copy_or_zero(const CadDuration* d) {
    return d ? *d : CadDuration(0.0, DURATION_BEATS);
}

void register_action_label(BuildContext* ctx, const std::string& label, Action* action,
                           const yy::location* loc) {
    if (ctx && ctx->score) {
        ctx->score->register_label(label, action, loc);
        return;
    }
    if (ctx && ctx->verbosity > 3) post("Skip label registering for '%s'", label.c_str());
}

} // namespace

Action::Action(BuildContext* ctx, const std::string& name, const CadDuration* d, AttributeList attl,
               const yy::location* loc, const char* base)
    : tempo_expression(get_tempo(attl))
    , condition(get_cond(attl))
    , delay(copy_or_zero(d))
    , locality(get_locality(attl))
    , label(make_label(ctx, name, attl, base))
    , tight(get_tight(attl))
    , loose(get_loose(attl))
    , ante(get_ante(attl))
    , post(get_post(attl))
    , tight_l(get_tight_l(attl))
    , loose_l(get_loose_l(attl))
    , ante_l(get_ante_l(attl))
    , post_l(get_post_l(attl))
    , location(loc ? make_location(*loc) : nullptr)
    , events_tempo(get_events_tempo(attl))
    , events_list_target(get_events_list_target(attl))
    , duration_target(get_duration_target(attl))
    , logic_target(get_logic_target(attl))
    , phase_target(get_phase_target(attl))
    , period_target(get_period_target(attl))
    , prog(get_prog(attl))
    , immediate(get_immediate(attl)) {
    if (const std::string* b = get_bsym(attl)) {
        bsym = *b;
        bsym_set = true;
    }
    // The views taken above point into the attributes, which the move leaves in place.
    attributes = std::move(attl);
    register_action_label(ctx, label, this, location.get());
}

Action::~Action() = default;

std::vector<Action*> Action::attribute_actions() const {
    std::vector<Action*> held;
    if (Action* a = get_action(attributes)) held.push_back(a);
    if (Action* a = get_action_at_kill(attributes)) held.push_back(a);
    return held;
}

void Action::get_variables(VarSet& out) const {
    for (const Expression* e : own_expressions())
        if (e) e->get_variables(out);
}

// The expressions of the node also learn their ambient action here.
void Action::set_env(Environment* env, const std::list<std::string>& locals, int level) {
    delay.set_ambiant_action(this);
    delay.set_env(env, locals, level);
    for (Expression* e : attribute_expressions(attributes)) {
        e->set_ambiant_action(this);
        e->set_env(env, locals, level);
    }
    for (Expression* e : own_expressions()) {
        if (!e) continue;
        e->set_ambiant_action(this);
        e->set_env(env, locals, level);
    }
    for (Action* held : attribute_actions())
        held->set_env(env, locals, level);
}

int Action::countActions() const {
    int n = hidden ? 0 : 1;
    for (const Action* held : attribute_actions())
        n += held->countActions();
    return n;
}

void Action::compute_and_propage(const std::bitset<32>& context, Score* score) {
    track_mask = context;
    if (score) track_mask |= tracks_of(*score, *this);
    for (Action* held : attribute_actions())
        held->compute_and_propage(track_mask, score);
}

void Action::add_delay(const CadDuration& d) {
    if (d.unit != delay.unit && !is_zero_delay(&d) && !is_zero_delay(&delay)) {
        error("Tight with absolute and relative delays impossible!");
        post_location();
        return;
    }
    if (is_zero_delay(&d)) return;
    if (is_zero_delay(&delay)) {
        delay = d;
        return;
    }
    delay.incr_delay(d);
}

void Action::post_location() const {
    ::post_location("", location.get());
}

bool Action::label_is_shown() const {
    return is_bloc() || !is_an_anonymous_name(label);
}

void Action::show(std::ostream& out) const {
    show_with_delay(out, delay);
}

void Action::show_with_delay(std::ostream& out, const CadDuration& shown_delay) const {
    show_indent(out);
    if (!is_zero_delay(&shown_delay)) out << shown_delay << ' ';
    out << (show_as_score_text(out) ? text_word() : word());
    // Score text leaves an anonymous name out: the reader makes a new one.
    if (is_bloc() && !(show_as_score_text(out) && is_an_anonymous_name(label))) out << ' ' << label;
    show_head(out);
    show_attl(out);
    if (!has_body()) return;
    {
        ShowNesting nested(out);
        show_body(out);
    }
    show_indent(out);
    out << '}';
    show_tail(out);
    out << '\n';
}

void Action::show_attl(std::ostream& out) const {
    for (const AttrPtr& a : attributes) {
        if (dynamic_cast<const LabelAttribute*>(a.get())) continue;
        out << ' ' << *a;
    }
    const bool written = !show_as_score_text(out) || label_is_written();
    if (!is_bloc() && label_is_shown() && written) out << " @label := " << label;
    if (has_body()) out << " {";
    if (location) out << "\t; line " << location->begin.line;
    out << '\n';
}

// ---- printing depth, kept in the stream ----

namespace {

int depth_slot() {
    static const int slot = std::ios_base::xalloc();
    return slot;
}

} // namespace

int show_depth(std::ostream& out) {
    return static_cast<int>(out.iword(depth_slot()));
}

void show_indent(std::ostream& out) {
    out << std::string(static_cast<size_t>(4 * show_depth(out)), ' ');
}

ShowNesting::ShowNesting(std::ostream& o)
    : out(o) {
    ++out.iword(depth_slot());
}

ShowNesting::~ShowNesting() {
    --out.iword(depth_slot());
}

void show_expressions(std::ostream& out, const ExpressionList& list, const char* sep) {
    for (size_t i = 0; i < list.size(); ++i) {
        if (i) out << sep;
        if (list[i]) list[i]->show(out, 0);
    }
}
