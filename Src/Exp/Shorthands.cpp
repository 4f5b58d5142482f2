#include "Exp/Shorthands.hpp"

#include "Exp/Expression.hpp"
#include "Exp/Function.hpp"
#include "Exp/EvalContext.hpp"

namespace {

ExpPtr call(EvalContext* ctx, const char* name, ExpressionList args, const yy::location* loc) {
    Value f = get_functional_value_from_name(ctx, name);
    return std::make_unique<CallExpression>(f->clone(), std::move(args), ctx ? ctx->global_env() : nullptr,
                                            loc);
}

ExpPtr names_of(const std::vector<VarPtr>& vars) {
    ExpressionList names;
    for (const VarPtr& v : vars)
        names.push_back(std::make_unique<StringValue>(v->name));
    return std::make_unique<TabDefinition>(std::move(names));
}

} // namespace

ExpPtr make_between(EvalContext* ctx, ExpPtr a, ExpPtr b, ExpPtr c, const yy::location* loc) {
    return call(ctx, "@between", expression_list(std::move(a), std::move(b), std::move(c)), loc);
}

ExpPtr make_approx(EvalContext* ctx, ExpPtr a, ExpPtr b, const yy::location* loc) {
    return call(ctx, "@approx", expression_list(std::move(a), std::move(b)), loc);
}

ExpPtr make_pow(EvalContext* ctx, ExpPtr a, ExpPtr b, const yy::location* loc) {
    return call(ctx, "@pow", expression_list(std::move(a), std::move(b)), loc);
}

ExpPtr make_plot(EvalContext* ctx, std::vector<VarPtr> vars, bool relative, const yy::location* loc) {
    ExpressionList pairs;
    for (VarPtr& v : vars) {
        pairs.push_back(std::make_unique<StringValue>(v->name));
        pairs.push_back(std::move(v));
    }
    return call(ctx, "@gnuplot",
                expression_list(std::make_unique<TabDefinition>(std::move(pairs), loc),
                                std::make_unique<BoolValue>(relative)),
                loc);
}

ExpPtr make_dump(EvalContext* ctx, ExpPtr file, std::vector<VarPtr> vars, const yy::location* loc) {
    ExpPtr names = names_of(vars);
    ExpressionList values(std::make_move_iterator(vars.begin()), std::make_move_iterator(vars.end()));
    return call(ctx, "@dumpvar",
                expression_list(std::move(file), std::move(names),
                                std::make_unique<TabDefinition>(std::move(values), loc)),
                loc);
}
