#include "Exp/Shorthands.hpp"

#include "Exp/Expression.hpp"
#include "Exp/Function.hpp"
#include "Exp/EvalContext.hpp"

namespace {

Expression* call(EvalContext* ctx, const char* name, ExpressionList args, const yy::location* loc) {
    Value f = get_functional_value_from_name(ctx, name);
    return new CallExpression(f->clone(), std::move(args), ctx ? ctx->global_env() : nullptr, loc);
}

Expression* names_of(const std::vector<Var*>& vars) {
    ExpressionList names;
    for (const Var* v : vars)
        names.push_back(new StringValue(v->name));
    return new TabDefinition(std::move(names));
}

} // namespace

Expression* make_between(EvalContext* ctx, Expression* a, Expression* b, Expression* c,
                         const yy::location* loc) {
    return call(ctx, "@between", {a, b, c}, loc);
}

Expression* make_approx(EvalContext* ctx, Expression* a, Expression* b, const yy::location* loc) {
    return call(ctx, "@approx", {a, b}, loc);
}

Expression* make_pow(EvalContext* ctx, Expression* a, Expression* b, const yy::location* loc) {
    return call(ctx, "@pow", {a, b}, loc);
}

Expression* make_plot(EvalContext* ctx, std::vector<Var*> vars, bool relative, const yy::location* loc) {
    ExpressionList pairs;
    for (Var* v : vars) {
        pairs.push_back(new StringValue(v->name));
        pairs.push_back(v);
    }
    return call(ctx, "@gnuplot", {new TabDefinition(std::move(pairs), loc), new BoolValue(relative)}, loc);
}

Expression* make_dump(EvalContext* ctx, Expression* file, std::vector<Var*> vars, const yy::location* loc) {
    Expression* names = names_of(vars);
    return call(ctx, "@dumpvar",
                {file, names, new TabDefinition(ExpressionList(vars.begin(), vars.end()), loc)}, loc);
}
