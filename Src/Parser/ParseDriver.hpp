// Reading score texts. `read_score_file` and `read_score_text` are the
// reader's entry points: a reading is done against a setup (the runtime the
// score will run in, the engine's inlets) and gives back the score, or none,
// with every error reported while reading it.
//
// `ParseDriver` is one reading in progress: it owns the scanner and the
// parser for the time of the reading, keeps the line-end and keyword modes
// the grammar drives, reports errors with their place, and finalises the
// score.
#pragma once

#include "Base/Console.hpp"
#include "Base/Location.hpp"
#include "Parser/Macro.hpp"
#include "Tree/Action.hpp"
#include "Tree/Score.hpp"

#include <list>
#include <memory>
#include <string>
#include <vector>

class Event;
class Scanner;
class Action;
class Expression;
class EvalContext;
struct BuildContext;

namespace yy {
class Parser;
}

// What a reading is done against.
struct ReadSetup {
    EvalContext* eval = nullptr;      // the runtime the score's expressions will run in
    const InletMap* inlets = nullptr; // the engine's inlets
    int verbosity = 0;
    bool without_states = false; // the score is not to be followed
    // Macros known before the reading, and given back with those it
    // defined (null: the reading's own only).
    MacroTable* macros = nullptr;
};

// What a reading gives: the score (null when it does not read) and the
// errors reported while reading it.
struct Reading {
    std::unique_ptr<Score> score;
    Diagnostics diagnostics;
};

Reading read_score_file(const std::string& path, const ReadSetup& setup);
// `text` must end its own last line.
Reading read_score_text(const std::string& text, const ReadSetup& setup, const std::string& name);

class ParseDriver {
public:
    explicit ParseDriver(Score& score);
    ~ParseDriver();
    ParseDriver(const ParseDriver&) = delete;
    ParseDriver& operator=(const ParseDriver&) = delete;

    // Reads the file or the text into the score; false on failure.
    bool read_file(const std::string& path);
    bool read_text(const std::string& text, const std::string& name);

    // Reports a reading error at a place, with the input stack.
    void error(const yy::location& loc, const std::string& message);
    void error(const std::string& message);
    // Reports where an error happened (the line, columns and file of the
    // current input, then the inputs around it).
    void report_location(const yy::location& loc);
    void report_file_location(const yy::location& loc);

    // The parser's token source.
    int tokenify(void* value, yy::location* loc);

    // `bpm` statement: the expression must fold to a number; negative for a
    // modulation. Takes `e`.
    void set_static_bpm(ExpPtr e, const yy::location& loc, bool modulate);

    // The actions of one block of the top level go to the current event: a
    // single undelayed action as it is, several (or a delayed one) in a
    // hidden group. Takes the list.
    void set_top_level_group(ActionList list, const yy::location& loc);

    // A place of the text kept as long as the score (for expressions).
    const yy::location* keep(const yy::location& loc);

    // What the nodes of this reading are built with.
    BuildContext* build() { return &score->build; }
    EvalContext* eval() { return score->build.eval; }

    bool trace_scanning = false;
    bool trace_parsing = false;
    bool ignore_eol = true;
    bool ignore_keyword = false;
    bool saved_ignore_keyword = false;
    // The saved line-end modes (brackets, blocks), innermost last.
    std::vector<bool> eol_stack;
    Score* score = nullptr;
    Event* current_event = nullptr;
    std::string file_name;
    std::string directory;
    Scanner* scanner = nullptr;
    // The reading's macros, the files it inserted and its fresh names.
    MacroTable macros;
    int error_count = 0;
    // Reading stops after this many errors, as a compiler's does: a binary
    // file or an endless device read as a score gives a screenful, not
    // millions of lines.
    static constexpr int kErrorLimit = 20;
    bool stopped() const { return error_count >= kErrorLimit; }
    bool scanner_ok() const;

private:
    bool first_token = true;
    std::shared_ptr<const std::string> reading_file;
    void set_file(const std::string& path);
    bool read_with(Scanner& scanner);
    bool ok() const;
    // What the tree needs to know of itself once the text is read: numbers,
    // tempo map, propagation, references. False on a failure.
    bool finalize();
    void run_load_clauses();
    void trace_score(double start, double parsed, double finalized) const;
};
