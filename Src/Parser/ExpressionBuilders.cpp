// The expressions that grammar rules build.
#include "Base/Console.hpp"
#include "Exp/DotExpression.hpp"
#include "Exp/EvalContext.hpp"
#include "Exp/Expression.hpp"
#include "Exp/Interpolation.hpp"
#include "Exp/With.hpp"
#include "Parser/GrammarSupport.hpp"
#include "Parser/ParseDriver.hpp"
#include "Parser/Scanner.hpp"
#include "Tree/Bloc.hpp"
#include "Tree/TreeExpressions.hpp"

#include <algorithm>

ExpPtr make_var_expr(ParseDriver& driver, const std::string& name, const yy::location& loc) {
    return SpecialVariable::make_variable(driver.eval(), name, driver.keep(loc));
}

VarPtr make_var(ParseDriver& driver, const std::string& name, const yy::location& loc) {
    return SpecialVariable::make_variable(driver.eval(), name, driver.keep(loc));
}

namespace {

// The reader folds bottom-up, as it builds: a node can be constant only
// when each of its children already is. The test looks one level down, so
// a long chain of operators folds in time proportional to its length.
bool children_constant(const Expression& e) {
    bool all = true;
    e.for_each_child([&](Expression& child) { all = all && child.is_constant(); });
    return all;
}

int height_from_children(const Expression& e) {
    int h = 0;
    e.for_each_child([&](Expression& child) { h = std::max(h, child.height() + 1); });
    return h;
}

} // namespace

// An error while folding (a division by zero of constants) is shown at the
// expression's place. A tree deeper than brackets may nest is refused: it
// would overflow the stack of the walks that evaluate and free it.
ExpPtr fold(ParseDriver& driver, ExpPtr e, const yy::location& loc) {
    if (!e) return located(driver, loc, [&] { return reduce_static(std::move(e)); });
    const int height = height_from_children(*e);
    if (height > static_cast<int>(Scanner::kMaxNesting)) {
        driver.error(loc, str_printf("expression nests deeper than %zu levels", Scanner::kMaxNesting));
        return std::make_unique<UndefValue>();
    }
    e->set_height(height);
    if (!children_constant(*e)) return e;
    return located(driver, loc, [&] { return reduce_static(std::move(e)); });
}

ExpPtr binary(ParseDriver& driver, e_binop op, ExpPtr left, ExpPtr right, const yy::location& loc) {
    return std::make_unique<BinaryExpression>(op, std::move(left), std::move(right), driver.keep(loc));
}

ExpPtr history_by_count(ParseDriver& driver, ExpPtr count, const std::string& var, const yy::location& loc) {
    return std::make_unique<Var>(driver.eval(), var, std::move(count), driver.keep(loc));
}

ExpPtr history_by_date(ParseDriver& driver, ExpPtr date, duration_type unit, const std::string& var,
                       const yy::location& loc) {
    return std::make_unique<Var>(driver.eval(), var, std::move(date), unit, driver.keep(loc));
}

ExpPtr milliseconds(ParseDriver& driver, ExpPtr e, const yy::location& loc) {
    return fold(driver, binary(driver, OP_DIV, std::move(e), std::make_unique<IntValue>(1000), loc), loc);
}

DurPtr make_duration(ParseDriver& driver, ExpPtr e, int unit_token, const yy::location& loc) {
    if (unit_token == 2) e = milliseconds(driver, std::move(e), loc);
    const duration_type unit = unit_token == 0 ? DURATION_BEATS : DURATION_SECONDS;
    return std::make_unique<CadDuration>(std::move(e), unit);
}

ExpPtr symbol(const std::string& name) {
    return std::make_unique<SymbValue>(Reference::unique_id(name));
}

ExpPtr map_definition(ParseDriver& driver, ExpPairs pairs, bool interpolated, const yy::location& loc) {
    if (interpolated) return std::make_unique<InterpolatedMapDefinition>(std::move(pairs), driver.keep(loc));
    return std::make_unique<MapDefinition>(std::move(pairs), driver.keep(loc));
}

ExpPtr comprehension_over(ParseDriver& driver, ExpPtr body, VarPtr var, ExpPtr set, ExpPair step_guard,
                          const yy::location& loc) {
    // A step has no meaning over a tab or a count: it is dropped.
    return TabComprehension::make_over(driver.eval(), std::move(var), std::move(set), std::move(body),
                                       std::move(step_guard.second), driver.keep(loc));
}

ExpPtr comprehension_range(ParseDriver& driver, ExpPtr body, VarPtr var, ExpPtr from, ExpPtr to,
                           ExpPair step_guard, const yy::location& loc) {
    return TabComprehension::make_range(driver.eval(), std::move(var), std::move(from), std::move(to),
                                        std::move(step_guard.first), std::move(body),
                                        std::move(step_guard.second), driver.keep(loc));
}

ExpPtr with_expression(ParseDriver& driver, Bindings bindings, ExpPtr body, const yy::location& loc) {
    return std::make_unique<WithExpression>(std::move(bindings), std::move(body), driver.keep(loc));
}

void fun_definition(ParseDriver& driver, const std::string& name, const StringList& parameters, ExpPtr body,
                    const yy::location& loc) {
    GlobalEnvironment* env = driver.eval() ? driver.eval()->global_env() : nullptr;
    if (!env) return;
    new UserFunction(name, parameters, std::move(body), env, driver.keep(loc));
}

ExpPtr action_expression(ParseDriver& driver, ActionVec body, const yy::location& loc) {
    ActionPtr action = Gfwd::make(driver.build(), "", nullptr, {}, std::move(body), nullptr, {}, &loc);
    return std::make_unique<ActionAsExpression>(driver.eval(), std::move(action), driver.keep(loc));
}

ExpPtr dot_variable(ParseDriver& driver, ExpPtr left, const std::string& var, const yy::location& loc) {
    const yy::location* where = driver.keep(loc);
    return std::make_unique<DotExpression>(driver.eval(), std::move(left),
                                           std::make_unique<Var>(driver.eval(), var, where), where);
}

ExpPtr call(ParseDriver& driver, ExpPtr function, ExpVec args, const yy::location& loc) {
    GlobalEnvironment* env = driver.eval() ? driver.eval()->global_env() : nullptr;
    return std::make_unique<CallExpression>(std::move(function), std::move(args), env, driver.keep(loc));
}

ExpPtr history(ParseDriver& driver, VarPtr var, int which, bool as_map, const yy::location& loc) {
    return std::make_unique<VarHistories>(std::move(var), static_cast<VarHistories::Which>(which), as_map,
                                          driver.keep(loc));
}

ExpPtr tab(ParseDriver& driver, ExpVec elements, const yy::location& loc) {
    return std::make_unique<TabDefinition>(std::move(elements), driver.keep(loc));
}

ExpPtr negated(ParseDriver& driver, ExpPtr e, const yy::location& loc) {
    return std::make_unique<UnaryExpression>(OP_NEG, std::move(e), driver.keep(loc));
}

// ---- NIM breakpoints ----

NimPointPtr nim_point(ExpPtr abscissa, ExpPtr start, ExpPtr value, ExpPtr tween) {
    auto p = std::make_unique<NimPoint>();
    p->abscissa = std::move(abscissa);
    p->start = std::move(start);
    p->value = std::move(value);
    p->tween = std::move(tween);
    return p;
}

NimPointPtr nim_shape(NimPoint::Shape shape, int count, ExpPtr a, ExpPtr b, ExpPtr c) {
    auto p = std::make_unique<NimPoint>();
    p->shape = shape;
    p->count = count;
    p->abscissa = std::move(a);
    p->value = std::move(b);
    p->extra = std::move(c);
    return p;
}

NimListPtr nim_list(ExpPtr x0, ExpPtr y0, NimPoints points) {
    auto list = std::make_unique<NimList>();
    list->x0 = std::move(x0);
    list->y0 = std::move(y0);
    list->points = std::move(points);
    return list;
}

interpolate_type static_interpolation(ParseDriver& driver, const std::string& name, const yy::location& loc) {
    return located(driver, loc, [&] { return check_static_interpol_type(&name); });
}

// A named easing is checked at once and kept as its name.
ExpPtr interpolation_type(ParseDriver& driver, const std::string& name, const yy::location& loc) {
    static_interpolation(driver, name, loc);
    return std::make_unique<StringValue>(name);
}
