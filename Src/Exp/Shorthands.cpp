#include "Exp/Shorthands.hpp"

#include "Exp/Expression.hpp"
#include "Exp/Function.hpp"
#include "RunTime/PreCadenzium.hpp"

namespace {

Expression* call(pre_cadenzium* pre, const char* name, ExpressionList args, const yy::location* loc) {
    Value f = get_functional_value_from_name(pre, name);
    return new CallExpression(f->clone(), std::move(args), pre ? pre->get_env() : nullptr, loc);
}

Expression* names_of(const std::vector<Var*>& vars) {
    ExpressionList names;
    for (const Var* v : vars)
        names.push_back(new StringValue(v->name));
    return new TabDefinition(std::move(names));
}

} // namespace

Expression* make_between(pre_cadenzium* pre, Expression* a, Expression* b, Expression* c,
                         const yy::location* loc) {
    return call(pre, "@between", {a, b, c}, loc);
}

Expression* make_approx(pre_cadenzium* pre, Expression* a, Expression* b, const yy::location* loc) {
    return call(pre, "@approx", {a, b}, loc);
}

Expression* make_pow(pre_cadenzium* pre, Expression* a, Expression* b, const yy::location* loc) {
    return call(pre, "@pow", {a, b}, loc);
}

Expression* make_plot(pre_cadenzium* pre, std::vector<Var*> vars, bool relative, const yy::location* loc) {
    ExpressionList pairs;
    for (Var* v : vars) {
        pairs.push_back(new StringValue(v->name));
        pairs.push_back(v);
    }
    return call(pre, "@gnuplot", {new TabDefinition(std::move(pairs), loc), new BoolValue(relative)}, loc);
}

Expression* make_dump(pre_cadenzium* pre, Expression* file, std::vector<Var*> vars, const yy::location* loc) {
    Expression* names = names_of(vars);
    return call(pre, "@dumpvar",
                {file, names, new TabDefinition(ExpressionList(vars.begin(), vars.end()), loc)}, loc);
}
