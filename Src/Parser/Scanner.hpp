// The scanner of score texts: a flex-generated lexer with an input stack
// (files, strings) and the line-end and keyword modes that the parser drives.
#pragma once

#if !defined(yyFlexLexerOnce)
#undef yyFlexLexer
#define yyFlexLexer CadenziumFlexLexer
#include <FlexLexer.h>
#endif

#include "Base/Location.hpp"
#include "Parser.hpp"

#include <iosfwd>
#include <list>
#include <memory>
#include <string>
#include <vector>

class ParseDriver;
class Macro;

class Scanner : public CadenziumFlexLexer {
public:
    // Brackets (parentheses, square brackets, braces) nest at most this
    // deep: the tree and its execution walk nested constructs recursively.
    static constexpr size_t kMaxNesting = 256;

    // Files and macro calls nest at most this deep: a recursive macro or a
    // circular @insert stops there.
    static constexpr size_t kMaxInputs = 32;

    // One entry of the input stack: a file (the score or one it inserts),
    // a text given to read, or a macro's expansion. `file` is true for the
    // first two, whose errors are told by line in that file.
    struct Input {
        bool file = true;
        bool expansion = false;
        std::string name;
        yy::location saved;
        std::unique_ptr<std::istream> stream;
        std::string text;
        struct yy_buffer_state* buffer = nullptr;
    };

    explicit Scanner(ParseDriver* driver);
    ~Scanner() override;

    // Opens a file as the first input; gives why it cannot be read, or
    // nothing.
    std::string open_file(const std::string& path);
    // Pushes a text as the first input, named `name`.
    void open_string(const std::string& text, const std::string& name);

    int yylex(yy::Parser::value_type* lval, yy::location* lloc);

    // Posts where the scanner is: the line, then each input of the stack.
    void localisation();
    void localisation(std::ostream& out);

    bool ok = true;
    const std::list<Input>& inputs() const { return input_stack; }
    const Input* current_input() const { return input_stack.empty() ? nullptr : &input_stack.front(); }

private:
    int yylex() override { return 0; }
    // Pops the current input; false when none remains.
    bool end_of_input();
    // Moves the location over the matched text (the token's place).
    void advance(const char* text, int length);
    // Recomputes the token's place after part of the match was pushed back.
    void relocate();
    int int_token(const char* digits);
    int float_token(const char* text);
    int label_token(int kind);
    int label_align_token(const char* text);
    int word_token(const std::string& word);
    // The token of an "@name": a keyword, "@var", or kMacroCall when the
    // name is a macro (then `calling` is set).
    int at_token(const std::string& word);
    static constexpr int kMacroCall = -1;
    int newline_token();

    // Macros. A definition is gathered in parts (name, parameters, body);
    // a call in arguments; the expansion is read as a new input.
    void start_macro(const char* text, int length);
    void end_macro_definition();
    // At an "@name" that is no keyword: a macro without parameters expands
    // at once, one with parameters waits for its arguments. False when the
    // name is no macro.
    bool begin_macro_call(const std::string& name);
    void push_macro_argument();
    // False when the expansion cannot be read (inputs nest too deep).
    bool expand_macro_call();
    void macro_ended_early(const char* what);
    // @insert and @insert_once: the rest of the line names the file. False
    // when the reading must stop.
    bool insert_file(const char* line, bool once);
    bool push_input(Input in);
    std::string macro_name;
    std::vector<std::string> macro_parameters;
    std::string macro_body;
    int macro_depth = 0;
    const Macro* calling = nullptr;
    std::vector<std::string> call_arguments;
    std::string call_argument;
    int call_depth = 0;
    // Brackets: each opening one is kept with its place until it closes, so
    // that an unclosed one is reported where it opened and nesting stays
    // within what the reader and the runtime can walk.
    int open_bracket(int kind, char text);
    int close_bracket(int kind);
    // At the end of the text: reports the innermost unclosed bracket.
    bool brackets_closed();

    std::list<Input> input_stack;
    struct OpenBracket {
        char text;
        yy::location place;
    };
    std::vector<OpenBracket> open_brackets;
    int comment_return_state = -3345267;
    bool new_line = false;
    bool new_line_counts = false;
    std::string faust_text;
    int faust_depth = 0;
    yy::Parser::value_type* yylval = nullptr;
    yy::location* loc = nullptr;
    ParseDriver* driver;
};

// Reads a double-quoted literal: drops the quotes, reads escapes in pairs.
std::string normalize_string(const std::string& text);
// The label of an "Additional-Label" or "Extended-Event-Label" token: the
// text up to the first tab, line feed, blank, ';' or "//".
std::string labelfrom(const std::string& text);
// Fills the keyword tables once (and fixes the numeric locale to "C").
void InitializeKeyWordTable();
