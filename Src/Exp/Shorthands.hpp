// Calls of library functions that the grammar writes for some forms:
// "(a in b .. c)", "(a ~ b)", "a ^ b", "@plot($x)", "@dump(file, $x)".
#pragma once

#include "Exp/Values.hpp"

// Each takes its operands.
Expression* make_between(pre_cadenzium* pre, Expression* a, Expression* b, Expression* c,
                         const yy::location* loc);
Expression* make_approx(pre_cadenzium* pre, Expression* a, Expression* b, const yy::location* loc);
Expression* make_pow(pre_cadenzium* pre, Expression* a, Expression* b, const yy::location* loc);
// "@gnuplot" on a tab of each variable's name and value; `relative` for "@rplot".
Expression* make_plot(pre_cadenzium* pre, std::vector<Var*> vars, bool relative, const yy::location* loc);
// "@dumpvar" with the file, the names and the variables.
Expression* make_dump(pre_cadenzium* pre, Expression* file, std::vector<Var*> vars, const yy::location* loc);
