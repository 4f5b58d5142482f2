#include "Exp/Calls.hpp"

#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/EvalContext.hpp"
#include "Exp/Function.hpp"
#include "Exp/Var.hpp"

#include <algorithm>
#include <cmath>
#include <ostream>

CallExpression::CallExpression(ExpPtr f, ExpressionList arguments, GlobalEnvironment* genv,
                               const yy::location* loc)
    : NonConstantExpression(loc)
    , fct(std::move(f))
    , args(std::move(arguments))
    , env(genv) {}

CallExpression::CallExpression(const CallExpression& other)
    : NonConstantExpression(other)
    , fct(other.fct->clone())
    , args(clone_list(other.args))
    , env(other.env)
    , ambient(other.ambient) {}

Value CallExpression::call(const TaggedValue& f, const std::vector<Value>& values) const {
    if (f.is_fct()) {
        const FunctionDefinition* def = f.get_fct();
        if (!def) return undef_value();
        if (static_cast<int>(values.size()) < def->nb_arg())
            return Value::make<PafValue>(make_counted<PartiallyAppliedFunction>(def, values));
        return def->apply(values);
    }
    if (f.is_paf() || f.is_map() || f.is_nim() || f.is_imap()) return f.apply(values);
    if (f.is_proc()) return launch_process(f, values);
    error("Bad application : '%s' does not refer to a function nor a processus [ap1]", show_text(f).c_str());
    report_location("", location);
    return undef_value();
}

Value CallExpression::launch_process(const TaggedValue& proc, const std::vector<Value>& values) const {
    const unique_identifier uid = value_cast<ProcValue>(proc).val;
    ProcDefinition* definition = env ? env->get_proc(uid) : nullptr;
    if (!definition) {
        error("Bad proc application: %s does not refer to a proc [n1]", show_text(proc).c_str());
        report_location("", location);
        return undef_value();
    }
    const Value& beat = env->get_global_beat_pos();
    const float beat_pos = beat->is_numeric() ? static_cast<float>(beat->get_double()) : 0.0f;
    return env->ctx ? env->ctx->launch_process(definition, values, beat_pos, ambient) : exe_value(0);
}

Value CallExpression::eval() const {
    const Value f = fct->eval();
    if (scratch_busy) return eval_with_fresh_arguments(f);
    struct Release {
        const CallExpression& self;
        ~Release() {
            self.scratch.clear(); // the arguments go now; the room stays
            self.scratch_busy = false;
        }
    } release{*this};
    scratch_busy = true;
    scratch.clear();
    for (const ExpPtr& a : args)
        scratch.push_back(a->eval());
    return call(f, scratch);
}

Value CallExpression::eval_with_fresh_arguments(const Value& f) const {
    std::vector<Value> values;
    values.reserve(args.size());
    for (const ExpPtr& a : args)
        values.push_back(a->eval());
    return call(f, values);
}

ScoreEval CallExpression::eval_in_score() const {
    const TaggedValue* f = fct->is_value();
    const FunctionDefinition* def = f && f->is_fct() ? f->get_fct() : nullptr;
    if (!def || !def->is_pure) return {VARIABILITY_DYNAMIC, undef_value()};
    int variability = VARIABILITY_STATIC;
    std::vector<Value> values;
    for (const ExpPtr& a : args) {
        ScoreEval known = a->eval_in_score();
        if (known.variability == VARIABILITY_DYNAMIC) return known;
        variability = std::min(variability, known.variability);
        values.push_back(std::move(known.value));
    }
    return {variability, call(*f, values)};
}

ExpPtr CallExpression::adjust_parameter(const UserFunction* f, const std::vector<std::string>& params) const {
    ExpressionList adjusted;
    for (const ExpPtr& a : args)
        adjusted.push_back(a->adjust_parameter(f, params));
    auto made = std::make_unique<CallExpression>(fct->adjust_parameter(f, params), std::move(adjusted), env,
                                                 location);
    made->ambient = ambient;
    return made;
}

void CallExpression::for_each_child(ChildVisitor visit) const {
    visit(*fct);
    visit_each(visit, args);
}

void CallExpression::set_ambiant_action(const Action* a) {
    ambient = a;
    Expression::set_ambiant_action(a);
}

void CallExpression::show(std::ostream& out, int) const {
    fct->show(out, 1000);
    out << "(";
    const char* separator = "";
    for (const ExpPtr& a : args) {
        out << separator;
        a->show(out, 0);
        separator = ", ";
    }
    out << ")";
}

int CallExpression::etag() const {
    static const int tag = new_etag();
    return tag;
}

int CallExpression::compare_with(const Expression* other) const {
    const auto* o = static_cast<const CallExpression*>(other);
    if (const int c = compare_nodes(fct.get(), o->fct.get())) return c;
    return compare_lists(args, o->args);
}

TabComprehension::TabComprehension(std::unique_ptr<Var> var, ExpPtr set, ExpPtr from, ExpPtr to, ExpPtr by,
                                   ExpPtr element, ExpPtr guard, const yy::location* loc)
    : NonConstantExpression(loc)
    , index_var(std::move(var))
    , iterset(std::move(set))
    , start(std::move(from))
    , stop(std::move(to))
    , step(std::move(by))
    , body(std::move(element))
    , condition(std::move(guard)) {}

TabComprehension::TabComprehension(const TabComprehension& other)
    : NonConstantExpression(other)
    , index_var(clone_or_null(other.index_var))
    , iterset(clone_or_null(other.iterset))
    , start(clone_or_null(other.start))
    , stop(clone_or_null(other.stop))
    , step(clone_or_null(other.step))
    , body(clone_or_null(other.body))
    , condition(clone_or_null(other.condition)) {}

TabComprehension::~TabComprehension() = default;

namespace {

// The variable of a comprehension the score wrote without one; nested
// comprehensions alternate between two names.
std::unique_ptr<Var> private_index(EvalContext* ctx, const yy::location* loc) {
    static bool second = false;
    second = !second;
    return std::make_unique<Var>(ctx, second ? "_comprehension_index_a" : "_comprehension_index_b", loc);
}

Value numeric_value(long v) {
    return int_value(v);
}
Value numeric_value(double v) {
    return float_value(v);
}

} // namespace

std::unique_ptr<TabComprehension> TabComprehension::make_over(EvalContext* ctx, std::unique_ptr<Var> var,
                                                              ExpPtr set, ExpPtr element, ExpPtr guard,
                                                              const yy::location* loc) {
    if (!var) var = private_index(ctx, loc);
    return std::make_unique<TabComprehension>(std::move(var), std::move(set), nullptr, nullptr, nullptr,
                                              std::move(element), std::move(guard), loc);
}

std::unique_ptr<TabComprehension> TabComprehension::make_range(EvalContext* ctx, std::unique_ptr<Var> var,
                                                               ExpPtr from, ExpPtr to, ExpPtr by,
                                                               ExpPtr element, ExpPtr guard,
                                                               const yy::location* loc) {
    if (!var) var = private_index(ctx, loc);
    return std::make_unique<TabComprehension>(std::move(var), nullptr, std::move(from), std::move(to),
                                              std::move(by), std::move(element), std::move(guard), loc);
}

void TabComprehension::round_of(const Value& index, tab_t& out) const {
    if (index_var) index_var->set_var(index);
    if (!condition || eval_bool(condition.get())) out.push_back(body->eval());
}

template <class T>
Value TabComprehension::eval_numeric(T from, T to, T by) const {
    tab_t out;
    const double rounds =
        std::floor((static_cast<double>(to) - static_cast<double>(from)) / static_cast<double>(by)) + 1;
    if (rounds > 0 && rounds < 65536) out.reserve(static_cast<std::size_t>(rounds));
    const bool upward = from <= to;
    for (T v = from; upward ? v < to : v > to;) {
        round_of(numeric_value(v), out);
        const T next = v + by;
        if (next == v) break; // a step too small to move the index any more
        v = next;
    }
    return tab_value(std::move(out));
}

template Value TabComprehension::eval_numeric<long>(long, long, long) const;
template Value TabComprehension::eval_numeric<double>(double, double, double) const;

Value TabComprehension::eval_over(const Value& set) const {
    if (set->is_tab()) {
        const Value elements = set; // keeps the payload alive if the body reassigns the source
        const tab_t& tab = *value_cast<TabValue>(*elements).val;
        tab_t out;
        for (std::size_t i = 0; i < tab.size(); ++i)
            round_of(tab[i], out);
        return tab_value(std::move(out));
    }
    if (set->is_int()) {
        const long n = set->get_int();
        return eval_numeric<long>(0, n, n >= 0 ? 1 : -1);
    }
    if (set->is_double()) {
        const double x = set->get_double();
        return eval_numeric<double>(0.0, x, x >= 0 ? 1.0 : -1.0);
    }
    error("Tab Comprehension: iterset is not a tab nor a numeric");
    report_location("Tab comprehension", location);
    return undef_value();
}

Value TabComprehension::eval_range() const {
    if (!start && !stop) {
        error("Tab Comprehension: no iterset, no index boundary ???");
        CAD_INTERNAL_ERROR("tab comprehension without bounds");
        return undef_value();
    }
    const Value from = start ? start->eval() : int_value(0);
    const Value to = stop ? stop->eval() : undef_value();
    if (!from->is_numeric()) {
        error("Tag Comprehension: start index must be numeric");
        return undef_value();
    }
    if (!to->is_numeric()) {
        error("Tag Comprehension: stop index must be numeric");
        return undef_value();
    }
    const double a = from->get_double(), b = to->get_double();
    bool integral = from->is_int() && to->is_int();
    if (!step) {
        if (integral) return eval_numeric<long>(from->get_int(), to->get_int(), a <= b ? 1 : -1);
        return eval_numeric<double>(a, b, a <= b ? 1.0 : -1.0);
    }
    const Value by = step->eval();
    if (!by->is_numeric()) {
        error("Tag Comprehension: step index must be numeric");
        return undef_value();
    }
    const double s = by->get_double();
    if (s == 0 || (a < b && s < 0) || (a > b && s > 0)) {
        error("Tag Comprehension: step has not the right sign");
        return undef_value();
    }
    integral = integral && by->is_int();
    if (integral) return eval_numeric<long>(from->get_int(), to->get_int(), by->get_int());
    return eval_numeric<double>(a, b, s);
}

Value TabComprehension::eval() const {
    if (iterset) return eval_over(iterset->eval());
    return eval_range();
}

std::vector<Expression*> TabComprehension::parts() const {
    return {iterset.get(), start.get(), stop.get(), step.get(), body.get(), condition.get()};
}

ExpPtr TabComprehension::adjust_parameter(const UserFunction* f,
                                          const std::vector<std::string>& params) const {
    auto adjust = [&](const ExpPtr& e) { return e ? e->adjust_parameter(f, params) : nullptr; };
    return std::make_unique<TabComprehension>(clone_or_null(index_var), adjust(iterset), adjust(start),
                                              adjust(stop), adjust(step), adjust(body), adjust(condition),
                                              location);
}

void TabComprehension::for_each_child(ChildVisitor visit) const {
    visit_if_any(visit, index_var.get());
    for (Expression* e : parts())
        visit_if_any(visit, e);
}

void TabComprehension::show(std::ostream& out, int) const {
    const bool private_var = !index_var || index_var->name.rfind("_comprehension_index_", 0) == 0;
    out << "[";
    body->show(out, 0);
    out << " | ";
    if (iterset && private_var) {
        out << "(";
        iterset->show(out, 0);
        out << ")";
    } else {
        out << index_var->name << " in ";
        if (iterset) {
            iterset->show(out, 0);
        } else {
            if (start) start->show(out, 0);
            out << " .. ";
            if (stop) stop->show(out, 0);
        }
    }
    if (step) {
        out << " : ";
        step->show(out, 0);
    }
    if (condition) {
        out << ", ";
        condition->show(out, 0);
    }
    out << "]";
}

int TabComprehension::etag() const {
    static const int tag = new_etag();
    return tag;
}

int TabComprehension::compare_with(const Expression* other) const {
    const auto* o = static_cast<const TabComprehension*>(other);
    if (const int c = compare_nodes(index_var.get(), o->index_var.get())) return c;
    const std::vector<Expression*> mine = parts(), theirs = o->parts();
    for (std::size_t i = 0; i < mine.size(); ++i)
        if (const int c = compare_nodes(mine[i], theirs[i])) return c;
    return 0;
}
