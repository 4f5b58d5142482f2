// The textual layer of the score language: macros, replaced by their text
// before the grammar sees anything, and the names @UID and @LID make.
//
// A `Macro` is its body cut into pieces of literal text and parameter
// places, so that a call only copies pieces and arguments. A `MacroTable`
// holds the macros of a reading, the files it included and the counter of
// fresh names; it lives as long as the reading (or longer, when its owner
// keeps it for texts added to a running score).
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

class Macro {
public:
    // Cuts `body` at each occurrence of a parameter name. Where two names
    // start at the same place (`$a` and `$ab`), the longer one is taken.
    Macro(std::string name, std::vector<std::string> parameters, const std::string& body);

    const std::string& name() const { return name_; }
    size_t arity() const { return parameters_.size(); }
    // The body with each parameter replaced by its argument; `args` holds
    // exactly `arity()` texts.
    std::string expand(const std::vector<std::string>& args) const;
    // As written: "@macro_def @name($a, $b) { body }".
    std::string show() const;

private:
    struct Piece {
        std::string text; // literal text, when `parameter` is negative
        int parameter = -1;
    };
    std::string name_;
    std::vector<std::string> parameters_;
    std::vector<Piece> pieces_;
};

class MacroTable {
public:
    // Replaces any macro of the same name.
    void define(Macro macro);
    const Macro* find(const std::string& name) const;

    // Files met by @insert and @insert_once, by their canonical path.
    bool already_included(const std::string& path) const;
    void add_included(const std::string& path);

    // "x_N": @UID makes a new N each time, @LID repeats the latest.
    std::string unique_name(const std::string& stem);
    std::string latest_name(const std::string& stem) const;

private:
    std::map<std::string, Macro> macros_;
    std::set<std::string> included_;
    int uid_ = 1;
};
