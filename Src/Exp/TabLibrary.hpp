// Checks shared by the tab functions. Each reports with its code and
// returns false, and the caller gives undef.
#pragma once

#include "Exp/Library.hpp"

// "Bad arguments number in function call %s (%d expected, %d provided) [t3]".
bool arity_is(const LibraryCall& call, int expected);
// The same with a range of counts ("%d or %d expected").
bool arity_between(const LibraryCall& call, int least, int most);
// Argument `i` is a tab ("[t29]" for the first, "[t30]" for another).
bool tab_arg(const LibraryCall& call, std::size_t i);
bool tab_or_string_arg(const LibraryCall& call, std::size_t i);
// Argument `i` is a whole number, positive or (`zero_ok`) null: "[t59]" for
// the second argument, "[t55]" for the third.
bool count_arg(const LibraryCall& call, std::size_t i, long& out, bool zero_ok = true);
// Argument `i` is a number ("[t58]").
bool number_arg(const LibraryCall& call, std::size_t i, double& out);
// `n` elements may be built ("[t57]").
bool length_fits(const LibraryCall& call, long n);
// The elements of a tab argument, to change in place.
tab_t& mutable_tab(const TaggedValue& tab);
