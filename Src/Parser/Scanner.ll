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

"@insert_once"{BLANK}+[^\r\n]*  { if (!insert_file(yytext, true)) return token::END; }
"@insert"{BLANK}+[^\r\n]*       { if (!insert_file(yytext, false)) return token::END; }

"$"?"@"[UL]"ID("{WORD}")"       {
                                    /* A fresh name (@UID) or the latest one (@LID), read again as
                                       if written here: "$@UID(x)" becomes the variable "$x_3". */
                                    const bool dollar = yytext[0] == '$';
                                    const std::string text(yytext + (dollar ? 1 : 0));
                                    const std::string stem = text.substr(5, text.size() - 6);
                                    const std::string name = (dollar ? "$" : "") +
                                        (text[1] == 'U' ? driver->macros.unique_name(stem)
                                                        : driver->macros.latest_name(stem));
                                    for (auto c = name.rbegin(); c != name.rend(); ++c) unput(*c);
                                }

"@macro_def"{BLANK}+            { BEGIN(MACRO_NAME); }
<MACRO_NAME>"@"?{NAME}/"("      { start_macro(yytext, yyleng); BEGIN(MACRO_PARAMS); }
<MACRO_NAME>"@"?{NAME}          { start_macro(yytext, yyleng); BEGIN(MACRO_BODY_OPEN); }
<MACRO_PARAMS>"$"{NAME}         { macro_parameters.push_back(yytext); }
<MACRO_PARAMS>")"               { BEGIN(MACRO_BODY_OPEN); }
<MACRO_PARAMS,MACRO_BODY_OPEN>[,( \t\r\n]+ { }
<MACRO_PARAMS,MACRO_BODY_OPEN,MACRO_BODY>"//"[^\r\n]*|;[^\r\n]* { }
<MACRO_PARAMS,MACRO_BODY_OPEN,MACRO_BODY>"/*"([^*]|"*"+[^*/])*"*"+"/" { }
<MACRO_BODY_OPEN>"{"            { macro_body.clear(); macro_depth = 0; BEGIN(MACRO_BODY); }
<MACRO_NAME,MACRO_PARAMS,MACRO_BODY_OPEN>.|\n {
                                    driver->error(*loc, "invalid macro");
                                    ok = false;
                                    BEGIN(INITIAL);
                                }
<MACRO_BODY>\"([^\\\"]|\\(.|\n|\r))*\"  { macro_body += yytext; }
<MACRO_BODY>"{"                 { ++macro_depth; macro_body += '{'; }
<MACRO_BODY>"}"                 {
                                    if (macro_depth == 0) {
                                        end_macro_definition();
                                        BEGIN(INITIAL);
                                    } else {
                                        --macro_depth;
                                        macro_body += '}';
                                    }
                                }
<MACRO_BODY>[^{}/;"]+|.         { macro_body += yytext; }

<MACRO_CALL_OPEN>{BLANK}*"("    { BEGIN(MACRO_ARGS); }
<MACRO_CALL_OPEN>.|\n           {
                                    driver->error(*loc, str_printf("Error: macro call '%s' expects arguments",
                                                                   calling->name().c_str()));
                                    calling = nullptr;
                                    yyless(0);
                                    BEGIN(INITIAL);
                                }
<MACRO_ARGS>"("{BLANK}*         { ++call_depth; call_argument += '('; }
<MACRO_ARGS>{BLANK}*")"         {
                                    if (call_depth > 0) {
                                        --call_depth;
                                        call_argument += ')';
                                    } else {
                                        push_macro_argument();
                                        BEGIN(INITIAL);
                                        if (!expand_macro_call()) return token::END;
                                    }
                                }
<MACRO_ARGS>{BLANK}*","{BLANK}* {
                                    if (call_depth > 0)
                                        call_argument += ',';
                                    else
                                        push_macro_argument();
                                }
<MACRO_ARGS>\"([^\\\"]|\\(.|\n|\r))*\"  { call_argument += yytext; }
<MACRO_ARGS>[^(),"]+|.          { call_argument += yytext; }
<MACRO_ARGS,MACRO_CALL_OPEN><<EOF>> {
                                    BEGIN(INITIAL);
                                    macro_ended_early("Unterminated macro call ");
                                    return token::END;
                                }
<MACRO_NAME,MACRO_PARAMS,MACRO_BODY_OPEN><<EOF>> {
                                    BEGIN(INITIAL);
                                    macro_ended_early("Unterminated macro definition (name and parameter definition) ");
                                    return token::END;
                                }
<MACRO_BODY><<EOF>>             {
                                    BEGIN(INITIAL);
                                    macro_ended_early("Unterminated macro definition (body definition) ");
                                    return token::END;
                                }

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
"@"{NAME}                       {
                                    const int kind = at_token(yytext);
                                    if (kind != kMacroCall) return kind;
                                    if (calling->arity() > 0) {
                                        BEGIN(MACRO_CALL_OPEN);
                                    } else if (!expand_macro_call()) {
                                        return token::END;
                                    }
                                }

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
[cC][sS][oO][uU][nN][dD]"::"{NAME} { TEXT_TOKEN(CSOUND_NAME, yytext); }
[fF][lL][uU][iI][dD][sS][yY][nN][tT][hH]"::"{NAME} { TEXT_TOKEN(FLUID_NAME, yytext); }
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

