// Runs one reading of a score text: owns the scanner and the parser for the
// time of the reading, keeps the line-end and keyword modes the grammar
// drives, reports errors with their place, and finalises the score.
#pragma once

#include "Base/Location.hpp"

#include <list>
#include <memory>
#include <string>
#include <vector>

class Score;
class Event;
class Scanner;
class pre_cadenzium;
class Action;
class Expression;

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

    // `bpm` statement: the expression must fold to a number; negative for a
    // modulation. Takes `e`.
    void set_static_bpm(Expression* e, const yy::location& loc, bool modulate);

    // The actions of one block of the top level go to the current event: a
    // single undelayed action as it is, several (or a delayed one) in a
    // hidden group. Takes the list.
    void set_top_level_group(std::list<Action*>* list, const yy::location& loc);

    // A place of the text kept as long as the score (for expressions).
    const yy::location* keep(const yy::location& loc);

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
    std::shared_ptr<const std::string> reading_file;
    void set_file(const std::string& path);
    Score* read_with(Scanner& scanner, Score* target);
    // What the tree needs to know of itself once the text is read: numbers,
    // tempo map, propagation, references. False on a failure.
    bool finalize();
};

// The process-wide stack of saved line-end modes (brackets, blocks).
std::vector<bool>& ignore_eol_stack();
