#include "Base/Location.hpp"

#include "Base/Console.hpp"

#include <sstream>

namespace yy {

std::ostream& operator<<(std::ostream& out, const position& pos) {
    if (pos.filename) out << *pos.filename << ':';
    return out << pos.line << '.' << pos.column;
}

std::ostream& operator<<(std::ostream& out, const location& loc) {
    print_location(out, loc, "");
    return out;
}

} // namespace yy

std::unique_ptr<yy::location> make_location(const yy::location& loc) {
    return std::make_unique<yy::location>(loc);
}

namespace {

// The stored end column is one past the last character; 1 stays 1.
int shown_end_column(const yy::position& end) { return end.column > 1 ? end.column - 1 : 1; }

const std::string& file_of(const yy::position& pos) {
    static const std::string none;
    return pos.filename ? *pos.filename : none;
}

} // namespace

void print_location(std::ostream& out, const yy::location& loc, const std::string& ref_file) {
    const int end_col = shown_end_column(loc.end);
    if (file_of(loc.begin) == ref_file && !ref_file.empty()) {
        if (loc.begin.line == loc.end.line)
            out << "l." << loc.begin.line << ':' << loc.begin.column << '-' << end_col;
        else
            out << "l." << loc.begin.line << ':' << loc.begin.column << " - l." << loc.end.line << ':'
                << end_col;
        return;
    }
    out << file_of(loc.begin) << ':' << loc.begin.line << '.' << loc.begin.column;
    if (file_of(loc.end) != file_of(loc.begin))
        out << '-' << file_of(loc.end) << ':' << loc.end.line << '.' << end_col;
    else if (loc.end.line != loc.begin.line)
        out << '-' << loc.end.line << '.' << end_col;
    else
        out << '-' << end_col;
}

std::string location_string(const yy::location& loc, const std::string& ref_file) {
    std::ostringstream out;
    print_location(out, loc, ref_file);
    return out.str();
}

void post_location(const std::string& what, const yy::location* loc) {
    if (!loc) {
        post("%s", what.c_str());
        return;
    }
    post("%s %s", what.c_str(), location_string(*loc).c_str());
}
