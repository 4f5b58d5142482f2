%{
/* The scanner of score texts. Longest match wins; at equal length the
   earlier rule wins, so the order of the rules below matters. */
#include "Parser/Scanner.hpp"

#include "Parser/ParseDriver.hpp"
#include "Base/Console.hpp"

#include <cstdlib>
#include <cstring>

using token = yy::Parser::token;

#undef YY_DECL
#define YY_DECL int Scanner::yylex(yy::Parser::value_type* lval, yy::location* lloc)
#define YY_USER_ACTION advance(yytext, yyleng);

/* Returns a token with a text value. */
#define TEXT_TOKEN(kind, text) do { yylval->emplace<std::string>(text); return token::kind; } while (0)
%}

%option c++ prefix="Cadenzium" yyclass="Scanner"
%option noyywrap nodefault 8bit never-interactive
%option warn

%x COMMENT MACRO_CALL_OPEN MACRO_ARGS MACRO_NAME MACRO_PARAMS MACRO_BODY MACRO_BODY_OPEN FAUST_HEAD FAUST_BODY

NAME      [A-Za-z_][0-9A-Za-z_]*
HIGH      [\x80-\xBF\xC3\xE2]
WCHAR     ([!#'+\-./0-9<>?A-Za-z_~]|{HIGH})
WSTART    ([A-Za-z#'~_!]|{HIGH})
WORD      {WSTART}{WCHAR}*
LCHAR     ({WCHAR}|&)
BLANK     [ \t]
EOLCHARS  (\r\n|\n|\r)
TAIL      ({BLANK}*("//"[^\r\n]*|;[^\r\n]*)?{EOLCHARS})
FLOATNUM  ([0-9]+\.[0-9]*|\.[0-9]+)([eE][+-]?[0-9]+)?|[0-9]+[eE][+-]?[0-9]+

%%

%{
    yylval = lval;
    loc = lloc;
%}

<INITIAL,COMMENT>\xEF\xBB\xBF   { /* byte order mark */ }

"$"{NAME}                       { TEXT_TOKEN(VAR, yytext); }

<INITIAL,COMMENT>"//"[^\r\n]*   { }
<INITIAL,COMMENT>;[^\r\n]*      { }

<INITIAL,COMMENT>"/*"           { comment_return_state = YY_START; BEGIN(COMMENT); }
<COMMENT>"*/"                   { BEGIN(comment_return_state); }
<COMMENT>\"([^\\\"]|\\(.|\n|\r))*\"  { }
<COMMENT>[^*/;"@\r\n\xEF]+      { }
<COMMENT>.                      { }
<COMMENT>\n|\r                  { }
<COMMENT><<EOF>>                {
                                    driver->error(*loc, "Unterminated comment");
                                    localisation();
                                    ok = false;
                                    return token::END;
                                }

<INITIAL,COMMENT>"@insert_once"{BLANK}+[^\r\n]* |
<INITIAL,COMMENT>"@insert"{BLANK}+[^\r\n]* {
                                    driver->error(*loc, "@insert is not supported yet");
                                    ok = false;
                                }
"@UID("{WORD}")" |
"@LID("{WORD}")"                { driver->error(*loc, "@UID and @LID are not supported yet"); ok = false; }
"@macro_def"{BLANK}+            { driver->error(*loc, "@macro_def is not supported yet"); ok = false; }

"@faust_def"                    { BEGIN(FAUST_HEAD); return token::AT_FAUST_DEF; }
<FAUST_HEAD>[fF][aA][uU][sS][tT]"::"{NAME} { TEXT_TOKEN(FAUST_NAME, yytext); }
<FAUST_HEAD>"("                 { return token::LPAREN; }
<FAUST_HEAD>")"                 { return token::RPAREN; }
<FAUST_HEAD>","                 { return token::COMMA; }
<FAUST_HEAD>"$$"{NAME}          { TEXT_TOKEN(DSPVAR, yytext); }
<FAUST_HEAD>"$"{NAME}           { TEXT_TOKEN(VAR, yytext); }
<FAUST_HEAD>[ \t\r\n]+          { }
<FAUST_HEAD>"{"                 { faust_text.clear(); faust_depth = 0; BEGIN(FAUST_BODY); }
<FAUST_HEAD>.                   {
                                    driver->error(*loc, str_printf("Invalid char '%s' in Faust parameter list. Abort Parsing. ", yytext));
                                    ok = false;
                                    return token::END;
                                }
<FAUST_BODY>"{"                 { ++faust_depth; faust_text += yytext; }
<FAUST_BODY>"}"                 {
                                    if (faust_depth == 0) {
                                        BEGIN(INITIAL);
                                        TEXT_TOKEN(FAUST_PROGRAM, faust_text);
                                    }
                                    --faust_depth;
                                    faust_text += yytext;
                                }
<FAUST_BODY>[^{}]+              { faust_text += yytext; }
<FAUST_HEAD,FAUST_BODY><<EOF>>  {
                                    driver->error(*loc, "Unterminated faust clause. Abort parsing. ");
                                    localisation();
                                    ok = false;
                                    return token::END;
                                }

"cadenzium::"[!A-Za-z_][!.0-9?A-Za-z_]* { TEXT_TOKEN(INTERNAL_CMD, yytext); }
"::"{NAME}                      { TEXT_TOKEN(PROCVAR, yytext); }
"@"{NAME}                       { return at_token(yytext); }

"]"{BLANK}*":"{BLANK}*/"$"      { return close_bracket(token::RBRACKET_COLON); }

"&&"                            { return token::AND_OP; }
"||"                            { return token::OR_OP; }
"+"                             { return token::PLUS; }
"-"                             { return token::MINUS; }
"*"                             { return token::STAR; }
"/"                             { return token::SLASH; }
"%"                             { return token::PERCENT; }
":="                            { return token::ASSIGN; }
"->"|"-->"                      { return token::ARROW; }
"'"                             { return token::QUOTE; }
","                             { return token::COMMA; }
":"                             { return token::COLON; }
"^"                             { return token::CARET; }
"!"                             { return token::NOT; }
"|"                             { return token::BAR; }
"#"                             { return token::SHARP; }
"?"                             { return token::QMARK; }
"."                             { return token::DOT; }
"~"                             { return token::TILDE; }
".."                            { return token::DOTDOT; }
"%%"                            { return token::PERCENT2; }
"::"                            { return token::COLONCOLON; }
"\\"                            { return token::BACKSLASH; }
"<"                             { return token::LT; }
"<="                            { return token::LE; }
">"                             { return token::GT; }
">="                            { return token::GE; }
"="|"=="                        { return token::EQ; }
"!="|"<>"                       { return token::NE; }
"@"("=="|"!="|"%"|"*"|"+"|","|"-"|"."|"/"|"&&"|"<"|"<="|">"|">="|"||") { TEXT_TOKEN(ATVAR, yytext); }

"("                             { return open_bracket(token::LPAREN, '('); }
")"                             { return close_bracket(token::RPAREN); }
"["                             { return open_bracket(token::LBRACKET, '['); }
"]"                             { return close_bracket(token::RBRACKET); }
"{"                             { return open_bracket(token::LBRACE, '{'); }
"}"                             {
                                    if (driver->ignore_eol) return close_bracket(token::RBRACE);
                                    /* The last line of a block needs no line end. */
                                    yyless(0);
                                    relocate();
                                    return token::EOL;
                                }
"_"                             { return token::UNDERSCORE; }

[0-9]+"."[0-9]+"."[0-9]+"."[0-9]+ { TEXT_TOKEN(IPADDR, yytext); }
{FLOATNUM}                      { return float_token(yytext); }
[0-9]+                          { return int_token(yytext); }

\"([^\\\"]|\\(.|\n|\r))*\"      { TEXT_TOKEN(STRING, normalize_string(yytext)); }

{WORD}{BLANK}*"."{BLANK}*[aA][lL][iI][gG][nN] { return label_align_token(yytext); }
{WORD}                          { return word_token(yytext); }

"$$"{NAME}                      { TEXT_TOKEN(DSPVAR, yytext); }
[fF][aA][uU][sS][tT]"::"{NAME}  { TEXT_TOKEN(FAUST_NAME, yytext); }
[tT][rR][aA][cC][kK]"::"{NAME}  { TEXT_TOKEN(TRACK_NAME, yytext); }
[pP][aA][tT][tT][eE][rR][nN]"::"{NAME} { TEXT_TOKEN(PATTERN_NAME, yytext); }

[0-9]+/"s"[ \t(\[\]{\n\r]      {
                                    /* A whole number before a unit of seconds. What follows the
                                       unit is one character: a wider context would make the
                                       scanner back up by REJECT, whose buffer cannot grow, and
                                       long tokens would no longer read. */
                                    yylval->emplace<double>(std::strtod(yytext, nullptr));
                                    return token::FLOAT;
                                }
[0-9]+/"ms"[ \t(\[\]{\n\r]     { yylval->emplace<double>(std::strtod(yytext, nullptr)); return token::FLOAT; }

[0-9]+([A-RT-Za-rt-z]|([A-Za-z'\-_]|{HIGH}){2})({WCHAR}|"*")* { TEXT_TOKEN(ID, yytext); }

{WSTART}{LCHAR}*[!&+/<>]{LCHAR}*{TAIL} { return label_token(token::ADD_LABEL); }
[:dgit]+['?_~]{LCHAR}*{TAIL}    { return label_token(token::EXT_LABEL); }

[0-9]+"s"                       { std::string digits(yytext, yyleng - 1); return int_token(digits.c_str()); }

"\\"{EOLCHARS}{BLANK}*          { /* the line goes on */ }

\n|\r                           { int t = newline_token(); if (t) return t; }
{BLANK}+                        { }

.                               {
                                    driver->error(*loc, str_printf("invalid character (%d):  '%c' ",
                                                                   static_cast<unsigned char>(yytext[0]), yytext[0]));
                                    if (driver->stopped()) return token::END;
                                }

<MACRO_CALL_OPEN,MACRO_ARGS,MACRO_NAME,MACRO_PARAMS,MACRO_BODY,MACRO_BODY_OPEN>.|\n {
                                    BEGIN(INITIAL);
                                }

<<EOF>>                         {
                                    const Input* in = current_input();
                                    if (in && in->file && !driver->ignore_eol) {
                                        /* The last line of a file needs no line end. */
                                        return token::EOL;
                                    }
                                    if (!end_of_input()) {
                                        if (!brackets_closed()) ok = false;
                                        return token::END;
                                    }
                                }

%%

/* Members that push text back need the generated yyless. */

void Scanner::relocate() {
    loc->end = loc->begin;
    const int n = static_cast<int>(yyleng);
    for (int i = 0; i < n; ++i) ++loc->end.column;
}

int Scanner::label_token(int kind) {
    // The line end matched at the tail goes back to the input.
    int keep = static_cast<int>(yyleng);
    while (keep > 0 && (yytext[keep - 1] == '\n' || yytext[keep - 1] == '\r')) --keep;
    const std::string label = labelfrom(std::string(yytext, static_cast<size_t>(keep)));
    yyless(keep);
    relocate();
    yylval->emplace<std::string>(label);
    return kind;
}

