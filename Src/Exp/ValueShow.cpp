// The printed form of values.
#include "Exp/Function.hpp"
#include "Exp/Nim.hpp"
#include "Exp/Reference.hpp"
#include "Exp/Values.hpp"

#include "Base/ExactNumber.hpp"

#include <cmath>
#include <cstdio>
#include <ostream>

void UndefValue::show(std::ostream& out) const {
    out << "<<undef>>";
}

void BoolValue::show(std::ostream& out) const {
    out << (val ? "true" : "false");
}

// Tab, new line and double quote are escaped; a backslash is written as it is.
void StringValue::show(std::ostream& out) const {
    out << '"';
    if (val)
        for (const char c : *val) {
            if (c == '\t')
                out << "\\t";
            else if (c == '\n')
                out << "\\n";
            else if (c == '"')
                out << "\\\"";
            else
                out << c;
        }
    out << '"';
}

void SymbValue::show(std::ostream& out) const {
    out << Reference::uid2string(val);
}

void IntValue::show(std::ostream& out) const {
    out << val;
}

// A whole number keeps its digits and a ".0" (1000000.0), so that it reads
// back as a float, up to where a double holds every integer. Other numbers
// show fifteen significant digits at most (0.3, 123456789.5, 1e+20, inf).
// Score text needs every digit: the shortest that reads back exactly.
void FloatValue::show(std::ostream& out) const {
    constexpr double exact_integers = 1e15;
    char digits[40];
    const bool whole = std::fabs(val) < exact_integers && val == std::round(val);
    if (!whole && show_as_score_text(out)) {
        out << exact_number(val);
        return;
    }
    std::snprintf(digits, sizeof digits, whole ? "%.0f.0" : "%.15g", val);
    out << digits;
}

void FctValue::show(std::ostream& out) const {
    if (val)
        out << val->name;
    else
        out << "<<undef>>";
}

// A tab, a map and an interpolated map are written as their literals in
// score text ("[1, 2]", "map { (1, 2) }", "imap { (0, 0) }").
void TabValue::show(std::ostream& out) const {
    out << (show_as_score_text(out) ? "[" : "TAB[");
    const char* separator = "";
    if (val)
        for (const Value& element : *val) {
            out << separator;
            element->show(out);
            separator = ", ";
        }
    out << "]";
}

void MapValue::show(std::ostream& out) const {
    out << (show_as_score_text(out) ? "map { " : "MAP{ ");
    const char* separator = "";
    if (val)
        for (const auto& [key, value] : *val) {
            out << separator << "(";
            key->show(out);
            out << ", ";
            value->show(out);
            out << ")";
            separator = ", ";
        }
    out << " }";
}

void InterpolatedMapValue::show(std::ostream& out) const {
    const bool text = show_as_score_text(out);
    out << (text ? "imap {" : "InterpolatedMAP {");
    const char* separator = "";
    if (val)
        for (const auto& [key, value] : *val) {
            out << separator << "(";
            if (text)
                out << exact_number(key) << ", " << exact_number(value);
            else
                out << key << ", " << value;
            out << ")";
            separator = ", ";
        }
    out << "}";
}

void NimValue::show(std::ostream& out) const {
    out << "NIM{ ";
    if (val) val->show_body(out);
    out << " }";
}

void PafValue::show(std::ostream& out) const {
    if (val)
        val->show(out);
    else
        out << "<<undef>>";
}

void ProcValue::show(std::ostream& out) const {
    out << Reference::uid2string(val);
}

void ExeValue::show(std::ostream& out) const {
    out << '`' << number();
}
