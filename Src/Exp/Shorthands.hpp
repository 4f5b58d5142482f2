// Calls of library functions that the grammar writes for some forms:
// "(a in b .. c)", "(a ~ b)", "a ^ b", "@plot($x)", "@dump(file, $x)".
#pragma once

#include "Exp/Var.hpp"

// Each takes its operands.
ExpPtr make_between(EvalContext* ctx, ExpPtr a, ExpPtr b, ExpPtr c, const yy::location* loc);
ExpPtr make_approx(EvalContext* ctx, ExpPtr a, ExpPtr b, const yy::location* loc);
ExpPtr make_pow(EvalContext* ctx, ExpPtr a, ExpPtr b, const yy::location* loc);
// "@gnuplot" on a tab of each variable's name and value; `relative` for "@rplot".
ExpPtr make_plot(EvalContext* ctx, std::vector<VarPtr> vars, bool relative, const yy::location* loc);
// "@dumpvar" with the file, the names and the variables.
ExpPtr make_dump(EvalContext* ctx, ExpPtr file, std::vector<VarPtr> vars, const yy::location* loc);
