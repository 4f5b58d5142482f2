// Runs one reading of a score text: owns the scanner and the parser for the
// time of the reading, keeps the line-end and keyword modes the grammar
// drives, reports errors with their place, and finalises the score.
#pragma once

#include "Parser/Location.hpp"

#include <memory>
#include <string>
#include <vector>

class Score;
class Event;
class Scanner;
class pre_cadenzium;
class Action;

namespace yy {
class Parser;
}

class ParseDriver {
public:
    ParseDriver(pre_cadenzium* core, Score* score);
    ~ParseDriver();

    void setVerbosity(int level);

    // Reads a file into a new score; null on failure.
    Score* parseFile(const std::string& path);
    // Reads a file into the given score; null on failure (the score stays
    // the caller's).
    Score* parseFile(const std::string& path, Score* score);
    // Reads a text (which must end its own last line) into a new score;
    // null on failure.
    Score* parseString(const std::string& text);

    Score* launch_parser();
    bool ok() const;

    // Reports a reading error at a place, with the input stack.
    void error(const yy::location& loc, const std::string& message);
    void error(const std::string& message);
    // Reports where an error happened (the line, columns and file of the
    // current input, then the inputs around it).
    void report_location(const yy::location& loc);

    // The parser's token source.
    int tokenify(void* value, yy::location* loc);

    // `bpm` statement: a numeric constant, negative for a modulation.
    void set_static_bpm(double value, const yy::location& loc, bool modulate);

    bool trace_scanning = false;
    bool trace_parsing = false;
    bool ignore_eol = true;
    bool ignore_keyword = false;
    bool saved_ignore_keyword = false;
    Score* score = nullptr;
    pre_cadenzium* core = nullptr;
    Event* current_event = nullptr;
    std::string file_name;
    std::string directory;
    std::vector<Action*> load_clauses;
    Scanner* scanner = nullptr;
    short error_count = 0;

private:
    bool first_token = true;
    void set_file(const std::string& path);
    Score* read_with(Scanner& scanner, Score* target);
};

// The process-wide stack of saved line-end modes (brackets, blocks).
std::vector<bool>& ignore_eol_stack();
