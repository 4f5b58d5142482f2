// Expression trees of the language: values, operators, tabs and maps,
// indexing, calls, comprehensions and variables.
#pragma once

#include "Exp/Calls.hpp"
#include "Exp/Containers.hpp"
#include "Exp/Operators.hpp"
#include "Exp/Values.hpp"
#include "Exp/Var.hpp"

// The folded form of `e` when it is constant (and `e` is dropped), else `e`
// itself. A null `e` is a syntax error the reader could not place.
ExpPtr reduce_static(ExpPtr e);

// `-e`, folded at once on a number.
ExpPtr make_neg(ExpPtr e);
