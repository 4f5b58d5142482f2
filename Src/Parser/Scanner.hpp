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

    // One entry of the input stack: a file or a text (a string to read, or
    // later a macro expansion).
    struct Input {
        bool file = true;
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
    int at_token(const std::string& word);
    int newline_token();
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
