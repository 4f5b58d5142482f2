// The easing types of curves and interpolated maps, by their names in the
// language. Every family name alone means its "in" variant, and the four
// forms of "linear" are one type.
#pragma once

#include "Exp/Nim.hpp"

#include <string>

class TaggedValue;

// The type of a name; 0 with "Bad interpolation type '%s' [it2]" for an unknown one.
interpolate_type to_interpol(const std::string& name);
// The same from a string or symbol value; "[it1]" for any other kind.
interpolate_type to_interpol(const TaggedValue& v);
// The type a score writes: null is "linear"; an unknown name reports
// "Bad interpolation type '%s' [it4]" and gives "linear".
interpolate_type check_static_interpol_type(const std::string* name);
// The first name of a type, and the same quoted for printing.
std::string interpol_to_str(interpolate_type type);
std::string interpol_to_pr_str(interpolate_type type);
