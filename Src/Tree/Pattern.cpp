#include "Tree/Pattern.hpp"

#include "Base/Console.hpp"
#include "Exp/Containers.hpp"
#include "Exp/Environment.hpp"
#include "Exp/Operators.hpp"
#include "Exp/ValueKinds.hpp"
#include "Tree/Assignments.hpp"
#include "Tree/Compound.hpp"
#include "Tree/Score.hpp"

#include <algorithm>

// ---- elements ----

APattern::APattern(PatternKind k, std::vector<VarPtr> watched, OptPattern c, const yy::location* loc)
    : kind(k)
    , vars(std::move(watched))
    , clauses(std::move(c))
    , location(loc ? std::make_unique<yy::location>(*loc) : nullptr) {}

namespace {

const char* kind_word(PatternKind k) {
    switch (k) {
    case PatternKind::NOTE:
        return "NOTE";
    case PatternKind::EVENT:
        return "EVENT";
    case PatternKind::STATE:
        return "STATE";
    case PatternKind::NO_EVENT:
        return "NoEvent";
    }
    return "?";
}

void show_vars(std::ostream& out, const std::vector<VarPtr>& vars) {
    for (std::size_t i = 0; i < vars.size(); ++i)
        out << (i ? ", " : "") << vars[i]->name;
}

void show_clause(std::ostream& out, const char* word, const Expression* e) {
    if (e) out << ' ' << word << " (" << *e << ')';
}

void show_clause(std::ostream& out, const char* word, const Var* v) {
    if (v) out << ' ' << word << " (" << v->name << ')';
}

} // namespace

void APattern::show(std::ostream& out) const {
    show_indent(out);
    if (before.count) out << "Before [" << *before.count << "#] ";
    if (before.duration) out << "Before [" << *before.duration << "] ";
    out << kind_word(kind);
    if (kind == PatternKind::NOTE) {
        if (clauses.pitch) out << ' ' << *clauses.pitch;
        if (clauses.pitch_var) out << ' ' << clauses.pitch_var->name;
        if (clauses.note_duration) out << ' ' << *clauses.note_duration;
        if (clauses.duration_var) out << ' ' << clauses.duration_var->name;
    } else {
        out << ' ';
        show_vars(out, vars);
    }
    if (show_as_score_text(out)) {
        show_written_clauses(out);
        return;
    }
    show_clause(out, "value", clauses.value.get());
    show_clause(out, "where", clauses.where.get());
    show_clause(out, "start", clauses.start.get());
    show_clause(out, "stop", clauses.stop.get());
    if (clauses.during) out << " duration (" << *clauses.during << ')';
    out << '\n';
}

// The clauses in the words the score writes them with: "At" binds the date
// of a note or an event, "Start" and "Stop" those of a state.
void APattern::show_written_clauses(std::ostream& out) const {
    const bool state = kind == PatternKind::STATE || kind == PatternKind::NO_EVENT;
    if (clauses.value) out << " Value (" << *clauses.value << ')';
    if (clauses.where) out << " where (" << *clauses.where << ')';
    if (clauses.during) out << " during " << *clauses.during;
    if (clauses.start) out << (state ? " Start " : " At ") << clauses.start->name;
    if (clauses.stop) out << " Stop " << clauses.stop->name;
    out << '\n';
}

// ---- sequences ----

PatSequence::PatSequence(std::string n, std::vector<VarPtr> l, ExpPtr r,
                         std::vector<std::unique_ptr<APattern>> e, const yy::location* loc)
    : name(std::move(n))
    , locals(std::move(l))
    , refractory(std::move(r))
    , elements(std::move(e))
    , location(loc ? std::make_unique<yy::location>(*loc) : nullptr) {}

void PatSequence::show(std::ostream& out) const {
    out << "@pattern_def " << name << " {\n";
    {
        ShowNesting nested(out);
        if (!locals.empty()) {
            show_indent(out);
            out << (show_as_score_text(out) ? "@local " : "@Local ");
            show_vars(out, locals);
            out << '\n';
        }
        if (refractory) {
            show_indent(out);
            out << "@refractory " << *refractory << '\n';
        }
        for (const auto& e : elements)
            e->show(out);
    }
    show_indent(out);
    out << "}\n";
}

bool PatSequence::is_local(const Var& v) const {
    return std::any_of(locals.begin(), locals.end(), [&](const VarPtr& l) { return l->name == v.name; });
}

namespace {

// The reasons first, then the verdict at the element's place.
bool refuse(const APattern& e, const std::string& why, const std::string& consequence = {}) {
    error("%s", why.c_str());
    if (!consequence.empty()) error("%s", consequence.c_str());
    error("Bad pattern definition");
    post_location("pattern element", e.location.get());
    return false;
}

bool check_state(const APattern& e) {
    if (e.kind == PatternKind::STATE && !e.clauses.where)
        return refuse(e,
                      "a State pattern must have either a guard or a constraint on the value of its watched "
                      "variable");
    if (e.kind == PatternKind::NO_EVENT && !e.has_before())
        return refuse(e, "No Before clause in a NoEvent pattern");
    if (e.kind == PatternKind::NO_EVENT && e.before.count)
        return refuse(e, "The scope of a NoEvent pattern is a duration, not a count of updates");
    return true;
}

bool watched_by(const APattern& e, const std::string& name) {
    return std::any_of(e.vars.begin(), e.vars.end(), [&](const VarPtr& v) { return v->name == name; });
}

} // namespace

bool PatSequence::finalize() const {
    if (elements.empty()) return false;
    if (elements.front()->has_before())
        return refuse(*elements.front(), "First event in a pattern cannot have a temporal scope");
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const APattern& e = *elements[i];
        if (e.clauses.value && e.vars.size() > 1)
            return refuse(e, "Can watch only one variable in presence of a value clause");
        if (e.clauses.start && !is_local(*e.clauses.start))
            return refuse(
                e,
                "To constraint the start date in a pattern use a local variable and put the condition "
                "in a where clause",
                "Cowardly refuse to compile a fixed start date in a pattern.");
        if (e.clauses.stop && !is_local(*e.clauses.stop))
            return refuse(
                e,
                "To constraint the stop date in a pattern use a local variable and put the condition "
                "in a where clause",
                "Cowardly refuse to compile a fixed stop date in a pattern.");
        if (!check_state(e)) return false;
        if (e.kind == PatternKind::NO_EVENT && i + 1 < elements.size())
            for (const VarPtr& v : e.vars)
                if (watched_by(*elements[i + 1], v->name))
                    return refuse(e,
                                  str_printf("Variable in a NoEvent is also watched by the next pattern '%s'",
                                             v->name.c_str()));
    }
    return true;
}

// ---- compilation ----

namespace {

// Builds the tree of one whenever on one pattern.
class PatternCompiler {
public:
    PatternCompiler(const PatSequence& seq, BuildContext* ctx, const yy::location* loc)
        : seq(seq)
        , ctx(ctx)
        , eval(ctx ? ctx->eval : nullptr)
        , loc(loc)
        , continue_matching(anonymous_name(ctx, "continue_matching", true)) {
        if (seq.refractory) last_matching_time = anonymous_name(ctx, "last_matching_time", true);
    }

    ActionList compile(ActionList body) {
        user_body = std::move(body);
        ActionPtr first = element(0);
        ActionList out;
        out.push_back(declarations());
        out.push_back(assign(continue_matching, constant(false)));
        if (!last_matching_time.empty()) out.push_back(assign(last_matching_time, number(-1.0)));
        for (const std::string& s : started)
            out.push_back(assign(s, constant(false)));
        out.push_back(std::move(first));
        return out;
    }

private:
    // ---- pieces ----
    VarPtr var(const std::string& name) const { return SpecialVariable::make_variable(eval, name, loc); }
    ExpPtr number(double v) const { return std::make_unique<FloatValue>(v); }
    ExpPtr constant(bool v) const { return std::make_unique<BoolValue>(v); }
    ExpPtr binary(e_binop op, ExpPtr a, ExpPtr b) const {
        return std::make_unique<BinaryExpression>(op, std::move(a), std::move(b), loc);
    }
    ExpPtr negation(ExpPtr e) const { return std::make_unique<UnaryExpression>(OP_NOT, std::move(e), loc); }
    // `a && b`, either possibly null.
    ExpPtr conjunction(ExpPtr a, ExpPtr b) const {
        if (!a) return b;
        if (!b) return a;
        return binary(OP_AND, std::move(a), std::move(b));
    }
    ActionPtr assign(const std::string& name, ExpPtr value) const {
        return std::make_unique<AssignmentAction>(ctx, var(name), std::move(value), nullptr, AttributeList{},
                                                  loc);
    }
    ActionPtr when(ExpPtr condition, ActionList body, TimedEnd scope) const {
        return std::make_unique<WhenAction>(ctx, "", std::move(condition), AttributeList{}, std::move(body),
                                            nullptr, std::move(scope), loc);
    }
    ActionPtr if_then(ExpPtr condition, ActionList then,
                      std::optional<ActionList> otherwise = std::nullopt) const {
        return std::make_unique<ConditionalAction>(ctx, std::move(condition), AttributeList{},
                                                   std::move(then), std::move(otherwise), loc);
    }
    ActionPtr group(ActionList body) const {
        return Gfwd::make(ctx, "", nullptr, AttributeList{}, std::move(body), nullptr, TimedEnd{}, loc);
    }
    // Runs `then` when `condition` holds, at once when there is none.
    void guarded(ActionList& out, ExpPtr condition, ActionList then) const {
        if (!condition) {
            for (ActionPtr& a : then)
                out.push_back(std::move(a));
            return;
        }
        out.push_back(if_then(std::move(condition), std::move(then)));
    }

    ActionPtr declarations() const {
        std::vector<VarPtr> vars;
        for (const VarPtr& l : seq.locals)
            vars.push_back(var(l->name));
        vars.push_back(var(continue_matching));
        if (!last_matching_time.empty()) vars.push_back(var(last_matching_time));
        for (const std::string& s : hidden)
            vars.push_back(var(s));
        const std::size_t n = vars.size();
        auto dec = std::make_unique<LocalDec>(ctx, std::move(vars), std::vector<int>(n, -1), loc);
        dec->hidden = true;
        return dec;
    }

    std::string hidden_var(const char* base) {
        hidden.push_back(anonymous_name(ctx, base, true));
        return hidden.back();
    }

    bool is_last(std::size_t i) const { return i + 1 == seq.elements.size(); }
    bool is_local(const std::string& name) const {
        return std::any_of(seq.locals.begin(), seq.locals.end(),
                           [&](const VarPtr& l) { return l->name == name; });
    }

    // The scope of element i: its "Before", else the next update.
    TimedEnd scope(std::size_t i) const {
        TimedEnd s;
        if (i == 0) return s;
        const APattern& e = *seq.elements[i];
        if (e.before.count) s.count = e.before.count->clone();
        if (e.before.duration) s.duration = std::make_unique<CadDuration>(*e.before.duration);
        if (!e.has_before()) s.count = std::make_unique<IntValue>(1);
        return s;
    }

    // `v == v` for each watched variable, or-ed: true at every update.
    ExpPtr watched_condition(const APattern& e) const {
        ExpPtr c;
        for (const VarPtr& v : e.vars) {
            ExpPtr one = binary(OP_EQ, var(v->name), var(v->name));
            c = c ? binary(OP_OR, std::move(c), std::move(one)) : std::move(one);
        }
        return c;
    }

    // The last recognition is older than the refractory period.
    ExpPtr refractory_condition() const {
        if (!seq.refractory) return nullptr;
        ExpPtr never = binary(OP_LT, var(last_matching_time), number(0.0));
        ExpPtr since = binary(OP_MINUS, var(NOW_VAR), var(last_matching_time));
        ExpPtr long_enough = binary(OP_GE, std::move(since), seq.refractory->clone());
        return binary(OP_OR, std::move(never), std::move(long_enough));
    }

    // A local of the pattern given for a value binds it the first time, and
    // compares with it afterwards; any other variable is compared.
    void bind_or_compare(const Var* v, const char* source, ActionList& bindings, ExpPtr& condition) {
        if (!v) return;
        if (is_local(v->name) && bound.insert(v->name).second) {
            bindings.push_back(assign(v->name, var(source)));
            return;
        }
        condition = conjunction(std::move(condition), binary(OP_EQ, var(source), var(v->name)));
    }

    // What element i tests once one of its variables is updated.
    ExpPtr internal_condition(std::size_t i, const APattern& e, ActionList& bindings) {
        ExpPtr c;
        if (i > 0) c = var(continue_matching);
        if (e.clauses.value)
            c = conjunction(std::move(c), binary(OP_EQ, var(e.vars.front()->name), e.clauses.value->clone()));
        if (e.clauses.pitch)
            c = conjunction(std::move(c), binary(OP_EQ, var(PITCH_VAR), e.clauses.pitch->clone()));
        if (e.clauses.note_duration)
            c = conjunction(std::move(c), binary(OP_EQ, var(DUR_VAR), e.clauses.note_duration->clone()));
        bind_or_compare(e.clauses.pitch_var.get(), PITCH_VAR, bindings, c);
        bind_or_compare(e.clauses.duration_var.get(), DUR_VAR, bindings, c);
        if (e.clauses.start) {
            bound.insert(e.clauses.start->name);
            bindings.push_back(assign(e.clauses.start->name, var(NOW_VAR)));
        }
        if (e.clauses.where) c = conjunction(std::move(c), e.clauses.where->clone());
        if (is_last(i)) c = conjunction(std::move(c), refractory_condition());
        return c;
    }

    // What runs when element i is recognised: the next element, or, after
    // the last, the whenever's body.
    ActionList on_match(std::size_t i) {
        ActionList out;
        if (!is_last(i)) {
            if (i == 0) out.push_back(assign(continue_matching, constant(true)));
            if (seq.locals.empty()) {
                out.push_back(element(i + 1));
                return out;
            }
            out.push_back(assign(snapshot_var(), snapshot()));
            out.push_back(with_own_locals(element(i + 1)));
            return out;
        }
        out.push_back(assign(continue_matching, constant(false)));
        if (!last_matching_time.empty()) out.push_back(assign(last_matching_time, var(NOW_VAR)));
        for (ActionPtr& a : user_body)
            out.push_back(std::move(a));
        user_body.clear();
        return out;
    }

    // A partial recognition goes on with its own copy of the pattern's
    // locals: a new recognition of an earlier element, which binds them
    // again, leaves it alone. The values cross into the copy through a tab.
    const std::string& snapshot_var() {
        if (snapshot_name.empty()) snapshot_name = hidden_var("locals");
        return snapshot_name;
    }
    ExpPtr snapshot() const {
        ExpressionList values;
        for (const VarPtr& l : seq.locals)
            values.push_back(var(l->name));
        return std::make_unique<TabDefinition>(std::move(values), loc);
    }
    ActionPtr with_own_locals(ActionPtr next) {
        ActionList body;
        std::vector<VarPtr> copies;
        for (const VarPtr& l : seq.locals)
            copies.push_back(var(l->name));
        const std::size_t n = copies.size();
        auto dec = std::make_unique<LocalDec>(ctx, std::move(copies), std::vector<int>(n, -1), loc);
        dec->hidden = true;
        body.push_back(std::move(dec));
        for (std::size_t k = 0; k < n; ++k) {
            ExpressionList index;
            index.push_back(std::make_unique<IntValue>(static_cast<int>(k)));
            body.push_back(assign(seq.locals[k]->name,
                                  std::make_unique<TabAccess>(var(snapshot_name), std::move(index), loc)));
        }
        body.push_back(std::move(next));
        return std::make_unique<Gfwd>(ctx, "", nullptr, AttributeList{}, std::move(body), nullptr, TimedEnd{},
                                      loc);
    }

    ActionPtr element(std::size_t i) {
        const APattern& e = *seq.elements[i];
        switch (e.kind) {
        case PatternKind::NOTE:
        case PatternKind::EVENT:
            return event_element(i, e);
        case PatternKind::STATE:
            return state_element(i, e);
        case PatternKind::NO_EVENT:
            return no_event_element(i, e);
        }
        return nullptr;
    }

    // NOTE and EVENT: at an update of a watched variable, the clauses hold.
    ActionPtr event_element(std::size_t i, const APattern& e) {
        ActionList body;
        ExpPtr c = internal_condition(i, e, body);
        guarded(body, std::move(c), on_match(i));
        return when(watched_condition(e), std::move(body), scope(i));
    }

    // STATE: the guard becomes true at an update and, with a duration,
    // stays so for that long (no update in between makes it false).
    ActionPtr state_element(std::size_t i, const APattern& e) {
        const std::string on = hidden_var("started");
        started.push_back(on);
        const std::string since = e.clauses.start ? e.clauses.start->name : hidden_var("start");
        bound.insert(since);
        ExpPtr c = e.clauses.where->clone();
        if (i > 0) c = conjunction(var(continue_matching), std::move(c));

        ActionList entering;
        entering.push_back(assign(on, constant(true)));
        entering.push_back(assign(since, var(NOW_VAR)));
        if (e.clauses.during)
            entering.push_back(held_for(*e.clauses.during, on, since, i));
        else
            guarded(entering, refractory_if_last(i), on_match(i));
        ActionList then;
        then.push_back(if_then(negation(var(on)), std::move(entering)));

        ActionList leaving;
        leaving.push_back(assign(on, constant(false)));
        if (e.clauses.stop) leaving.push_back(assign(e.clauses.stop->name, var(NOW_VAR)));
        ActionList body;
        body.push_back(if_then(std::move(c), std::move(then), std::move(leaving)));
        return when(watched_condition(e), std::move(body), scope(i));
    }

    ExpPtr refractory_if_last(std::size_t i) const { return is_last(i) ? refractory_condition() : nullptr; }

    // After `d`, the state entered at `since` still holds: recognised.
    ActionPtr held_for(const CadDuration& d, const std::string& on, const std::string& since, std::size_t i) {
        const std::string mine = anonymous_name(ctx, "entered", true);
        ExpPtr still = binary(OP_AND, var(on), binary(OP_EQ, var(since), var(mine)));
        ActionList check;
        guarded(check, conjunction(std::move(still), refractory_if_last(i)), on_match(i));
        ActionPtr later = group(std::move(check));
        later->delay = d;
        ActionList body;
        std::vector<VarPtr> dec;
        dec.push_back(var(mine));
        auto local = std::make_unique<LocalDec>(ctx, std::move(dec), std::vector<int>{-1}, loc);
        local->hidden = true;
        body.push_back(std::move(local));
        body.push_back(assign(mine, var(since)));
        body.push_back(std::move(later));
        return std::make_unique<Gfwd>(ctx, "", nullptr, AttributeList{}, std::move(body), nullptr, TimedEnd{},
                                      loc);
    }

    // NoEvent: none of its variables is updated within its scope.
    ActionPtr no_event_element(std::size_t i, const APattern& e) {
        const std::string seen = anonymous_name(ctx, "seen", true);
        ActionList watch;
        watch.push_back(assign(seen, constant(true)));
        ActionList check;
        ExpPtr c = conjunction(negation(var(seen)), var(continue_matching));
        c = conjunction(std::move(c), e.clauses.where ? e.clauses.where->clone() : nullptr);
        guarded(check, conjunction(std::move(c), refractory_if_last(i)), on_match(i));
        ActionPtr later = group(std::move(check));
        later->delay = *e.before.duration;

        ActionList body;
        std::vector<VarPtr> dec;
        dec.push_back(var(seen));
        auto local = std::make_unique<LocalDec>(ctx, std::move(dec), std::vector<int>{-1}, loc);
        local->hidden = true;
        body.push_back(std::move(local));
        body.push_back(assign(seen, constant(false)));
        body.push_back(when(watched_condition(e), std::move(watch), scope(i)));
        body.push_back(std::move(later));
        return std::make_unique<Gfwd>(ctx, "", nullptr, AttributeList{}, std::move(body), nullptr, TimedEnd{},
                                      loc);
    }

    const PatSequence& seq;
    BuildContext* ctx;
    EvalContext* eval;
    const yy::location* loc;
    std::string continue_matching;
    std::string last_matching_time;
    std::vector<std::string> hidden;  // further hidden locals of the whole tree
    std::vector<std::string> started; // of the STATE elements, false at first
    std::set<std::string> bound;      // locals given a value by an earlier element
    std::string snapshot_name;        // the tab that carries the locals into a copy
    ActionList user_body;
};

} // namespace

ActionList PatSequence::compile(BuildContext* ctx, ActionList body, const yy::location* loc) const {
    return PatternCompiler(*this, ctx, loc).compile(std::move(body));
}

// ---- the score's patterns ----

void define_pattern(BuildContext* ctx, std::unique_ptr<PatSequence> pattern) {
    if (!ctx || !ctx->score || !pattern || !pattern->finalize()) return;
    for (auto& d : ctx->score->definitions) {
        if (auto* old = dynamic_cast<PatSequence*>(d.get()); old && old->name == pattern->name) {
            d = std::move(pattern);
            return;
        }
    }
    ctx->score->definitions.push_back(std::move(pattern));
}

const PatSequence* find_pattern(const Score& score, const std::string& name) {
    for (const auto& d : score.definitions)
        if (const auto* p = dynamic_cast<const PatSequence*>(d.get()); p && p->name == name) return p;
    return nullptr;
}
