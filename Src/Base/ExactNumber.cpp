#include "Base/ExactNumber.hpp"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

template <class T>
std::string shortest(T value) {
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return std::string(text, result.ptr);
}

bool reads_back(const std::string& text, float value) {
    return static_cast<float>(std::strtod(text.c_str(), nullptr)) == value;
}

} // namespace

// The reader takes a number as a double and narrows it: the shortest text
// for a float could, in rare cases, round twice to a neighbour, so it is
// checked, and nine significant digits always do.
std::string exact_number(float value) {
    if (!std::isfinite(value)) return shortest(value);
    std::string text = shortest(value);
    if (reads_back(text, value)) return text;
    char digits[32];
    std::snprintf(digits, sizeof digits, "%.9g", static_cast<double>(value));
    return digits;
}

std::string exact_number(double value) {
    return shortest(value);
}
