// Source places: a file name shared by every position of a reading, a line
// and a column (columns count from 1). Used by the generated parser as its
// location type and kept by every tree node.
#pragma once

#include <memory>
#include <ostream>
#include <string>

namespace yy {

struct position {
    std::shared_ptr<const std::string> filename;
    int line = 1;
    int column = 1;

    void lines(int count = 1) {
        if (count == 0) return;
        column = 1;
        line += count;
    }
    void columns(int count = 1) { column = std::max(1, column + count); }
};

struct location {
    position begin;
    position end;

    location() = default;
    explicit location(const position& p) : begin(p), end(p) {}
    location(const position& b, const position& e) : begin(b), end(e) {}

    void step() { begin = end; }
    void columns(int count = 1) { end.columns(count); }
    void lines(int count = 1) { end.lines(count); }
    void initialize(std::shared_ptr<const std::string> file, int line = 1, int column = 1) {
        begin.filename = end.filename = std::move(file);
        begin.line = end.line = line;
        begin.column = end.column = column;
    }
};

std::ostream& operator<<(std::ostream& out, const position& pos);
std::ostream& operator<<(std::ostream& out, const location& loc);

} // namespace yy

// A heap copy of a location, as tree nodes keep them.
std::unique_ptr<yy::location> make_location(const yy::location& loc);

// Prints a location relative to a reference file: "l.<line>:<col>-<col>"
// inside that file, "<file>:<line>.<col>-..." otherwise.
void print_location(std::ostream& out, const yy::location& loc, const std::string& ref_file);
std::string location_string(const yy::location& loc, const std::string& ref_file = "");

// Posts "<what> <location>" on the console.
void post_location(const std::string& what, const yy::location* loc);
