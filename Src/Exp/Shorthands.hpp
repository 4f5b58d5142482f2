// Calls of library functions that the grammar writes for some forms:
// "(a in b .. c)", "(a ~ b)", "a ^ b", "@plot($x)", "@dump(file, $x)".
#pragma once

#include "Exp/Values.hpp"

// Each takes its operands.
Expression* make_between(EvalContext* ctx, Expression* a, Expression* b, Expression* c,
                         const yy::location* loc);
Expression* make_approx(EvalContext* ctx, Expression* a, Expression* b, const yy::location* loc);
Expression* make_pow(EvalContext* ctx, Expression* a, Expression* b, const yy::location* loc);
// "@gnuplot" on a tab of each variable's name and value; `relative` for "@rplot".
Expression* make_plot(EvalContext* ctx, std::vector<Var*> vars, bool relative, const yy::location* loc);
// "@dumpvar" with the file, the names and the variables.
Expression* make_dump(EvalContext* ctx, Expression* file, std::vector<Var*> vars, const yy::location* loc);
