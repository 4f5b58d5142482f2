// The hand-written half of the scanner: the input stack, locations, the
// keyword tables and the value conversions of tokens.
#include "Base/Console.hpp"
#include "Parser/ParseDriver.hpp"
#include "Parser/Scanner.hpp"

#include <cctype>
#include <cerrno>
#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>

using token = yy::Parser::token;

namespace {

struct case_insensitive_less {
    bool operator()(const std::string& a, const std::string& b) const {
        const size_t n = std::min(a.size(), b.size());
        for (size_t i = 0; i < n; ++i) {
            const int ca = std::tolower(static_cast<unsigned char>(a[i]));
            const int cb = std::tolower(static_cast<unsigned char>(b[i]));
            if (ca != cb) return ca < cb;
        }
        return a.size() < b.size();
    }
};

using KeywordTable = std::map<std::string, int, case_insensitive_less>;

KeywordTable& word_keywords() {
    static KeywordTable table;
    return table;
}

KeywordTable& at_keywords() {
    static KeywordTable table;
    return table;
}

void fill_word_keywords(KeywordTable& t) {
    t = {
        {"abort", token::KW_ABORT},
        {"action", token::KW_ACTION},
        {"and", token::KW_AND},
        {"at", token::KW_AT},
        {"before", token::KW_BEFORE},
        {"bind", token::KW_BIND},
        {"bpm", token::KW_BPM},
        {"case", token::KW_CASE},
        {"chord", token::KW_CHORD},
        {"closefile", token::KW_CLOSEFILE},
        {"curve", token::KW_CURVE},
        {"do", token::KW_DO},
        {"during", token::KW_DURING},
        {"pizzsection", token::KW_PIZZSECTION},
        {"dummysilence", token::KW_DUMMYSILENCE},
        {"else", token::KW_ELSE},
        {"event", token::KW_EVENT},
        {"expr", token::KW_EXPR},
        {"false", token::KW_FALSE},
        {"parfor", token::KW_FORALL},
        {"forall", token::KW_FORALL},
        {"gfwd", token::KW_GFWD},
        {"group", token::KW_GROUP},
        {"hook", token::KW_HOOK},
        {"pizz", token::KW_PIZZ},
        {"staccato", token::KW_STACCATO},
        {"fermata", token::KW_FERMATA},
        {"if", token::KW_IF},
        {"imap", token::KW_IMAP},
        {"in", token::KW_IN},
        {"jump", token::KW_JUMP},
        {"kill", token::KW_KILL},
        {"let", token::KW_LET},
        {"lfwd", token::KW_LFWD},
        {"loop", token::KW_LOOP},
        {"map", token::KW_MAP},
        {"tab", token::KW_TAB},
        {"ms", token::KW_MS},
        {"multi", token::KW_MULTI},
        {"napro_trace", token::KW_NAPRO},
        {"nim", token::KW_NIM},
        {"note", token::KW_NOTE},
        {"noevent", token::KW_NOEVENT},
        {"of", token::KW_OF},
        {"off", token::KW_OFF},
        {"on", token::KW_ON},
        {"openoutfile", token::KW_OPENOUTFILE},
        {"oscoff", token::KW_OSCOFF},
        {"oscon", token::KW_OSCON},
        {"oscrecv", token::KW_OSCRECV},
        {"oscsend", token::KW_OSCSEND},
        {"patch", token::KW_PATCH},
        {"port", token::KW_PORT},
        {"rubato", token::KW_RUBATO},
        {"return", token::KW_RETURN},
        {"s", token::KW_SEC},
        {"start", token::KW_START},
        {"state", token::KW_STATE},
        {"stop", token::KW_STOP},
        {"symb", token::KW_SYMB},
        {"switch", token::KW_SWITCH},
        {"transpose", token::KW_TRANSPOSE},
        {"tempo", token::KW_TEMPO},
        {"trill", token::KW_TRILL},
        {"true", token::KW_TRUE},
        {"until", token::KW_UNTIL},
        {"value", token::KW_VALUE},
        {"variance", token::KW_VARIANCE},
        {"whenever", token::KW_WHENEVER},
        {"where", token::KW_WHERE},
        {"while", token::KW_WHILE},
        {"with", token::KW_WITH},
    };
}

void fill_at_keywords(KeywordTable& t) {
    t = {
        {"@abort", token::AT_ABORT},
        {"@kill", token::AT_ABORT},
        {"@action", token::KW_ACTION},
        {"@assert", token::AT_ASSERT},
        {"@coef", token::AT_COEF},
        {"@date", token::AT_DATE},
        {"@plot", token::AT_PLOT},
        {"@rplot", token::AT_RPLOT},
        {"@dump", token::AT_DUMP},
        {"@dsp_inlet", token::AT_DSP_INLET},
        {"@dsp_outlet", token::AT_DSP_OUTLET},
        {"@dsp_channel", token::AT_DSP_CHANNEL},
        {"@dsp_link", token::AT_DSP_CHANNEL},
        {"@dsp_cvar", token::AT_DSP_CVAR},
        {"@fluidsynth_def", token::AT_FLUIDSYNTH_DEF},
        {"@csound_def", token::AT_CSOUND_DEF},
        {"@eval_when_load", token::AT_EVAL_WHEN_LOAD},
        {"@fun_def", token::AT_FUN},
        {"@global", token::AT_GLOBAL},
        {"@grain", token::AT_GRAIN},
        {"@guard", token::AT_GUARD},
        {"@hook", token::KW_HOOK},
        {"@pizz", token::KW_PIZZ},
        {"@staccato", token::KW_STACCATO},
        {"@fermata", token::KW_FERMATA},
        {"@immediate", token::AT_IMMEDIATE},
        {"@inlet", token::AT_INLET},
        {"@is_undef", token::AT_IS_UNDEF},
        {"@jump", token::KW_JUMP},
        {"@label", token::AT_NAME},
        {"@name", token::AT_NAME},
        {"@local", token::AT_LOCAL},
        {"@loose", token::AT_LOOSE},
        {"@map_history", token::AT_MAP_HISTORY},
        {"@map_history_date", token::AT_MAP_HISTORY_DATE},
        {"@map_history_rdate", token::AT_MAP_HISTORY_RDATE},
        {"@tab_history", token::AT_TAB_HISTORY},
        {"@tab_history_date", token::AT_TAB_HISTORY_DATE},
        {"@Tab_history_rdate", token::AT_TAB_HISTORY_RDATE},
        {"@tempovar", token::AT_TEMPOVAR},
        {"@modulate", token::AT_MODULATE},
        {"@norec", token::AT_NOREC},
        {"@proc_def", token::AT_PROC_DEF},
        {"@pattern_def", token::AT_PATTERN_DEF},
        {"@rdate", token::AT_RDATE},
        {"@refractory", token::AT_REFRACTORY},
        {"@tempo", token::KW_TEMPO},
        {"@tight", token::AT_TIGHT},
        {"@ante", token::AT_ANTE},
        {"@post", token::AT_POST},
        {"@target", token::AT_TARGET},
        {"@staticscope", token::AT_STATICSCOPE},
        {"@track_def", token::AT_TRACK_DEF},
        {"@transpose", token::KW_TRANSPOSE},
        {"@type", token::AT_TYPE},
        {"@command", token::AT_COMMAND},
        {"@sync", token::AT_SYNC},
        {"@conservative", token::AT_CONSERVATIVE},
        {"@progressive", token::AT_PROGRESSIVE},
    };
}

} // namespace

void InitializeKeyWordTable() {
    static std::once_flag once;
    std::call_once(once, [] {
        std::setlocale(LC_ALL, "");
        std::setlocale(LC_NUMERIC, "C");
        fill_word_keywords(word_keywords());
        fill_at_keywords(at_keywords());
    });
}

std::string normalize_string(const std::string& text) {
    std::string out;
    size_t begin = 0, end = text.size();
    if (end >= 2 && text.front() == '"' && text.back() == '"') ++begin, --end;
    for (size_t i = begin; i < end; ++i) {
        if (text[i] != '\\' || i + 1 >= end) {
            out += text[i];
            continue;
        }
        const char next = text[++i];
        if (next == 'n')
            out += '\n';
        else if (next == 't')
            out += '\t';
        else if (next == '"')
            out += '"';
        else
            out += '\\';
    }
    return out;
}

std::string labelfrom(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\t' || c == '\n' || c == ' ' || c == ';' || c == '\r') break;
        if (c == '/' && i + 1 < text.size() && text[i + 1] == '/') break;
        out += c;
    }
    return out;
}

// ---- Scanner ----

Scanner::Scanner(ParseDriver* d)
    : CadenziumFlexLexer(nullptr, nullptr)
    , driver(d) {
    InitializeKeyWordTable();
}

Scanner::~Scanner() {
    while (!input_stack.empty()) {
        yy_delete_buffer(input_stack.front().buffer);
        input_stack.pop_front();
    }
}

std::string Scanner::open_file(const std::string& path) {
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) return "it is a directory";
    errno = 0;
    auto stream = std::make_unique<std::ifstream>(path, std::ios::binary);
    if (!stream->is_open()) return errno ? std::strerror(errno) : "it cannot be opened";
    Input in;
    in.file = true;
    in.name = path;
    in.buffer = yy_create_buffer(*stream, 16384);
    in.stream = std::move(stream);
    input_stack.push_front(std::move(in));
    yy_switch_to_buffer(input_stack.front().buffer);
    return "";
}

void Scanner::open_string(const std::string& text, const std::string& name) {
    Input in;
    in.file = false;
    in.name = name;
    in.text = text;
    in.stream = std::make_unique<std::istringstream>(text);
    in.buffer = yy_create_buffer(*in.stream, 16384);
    input_stack.push_front(std::move(in));
    yy_switch_to_buffer(input_stack.front().buffer);
}

int Scanner::open_bracket(int kind, char text) {
    if (open_brackets.size() >= kMaxNesting) {
        driver->error(*loc, str_printf("brackets nest deeper than %zu levels", kMaxNesting));
        ok = false;
        return token::END;
    }
    open_brackets.push_back({text, *loc});
    return kind;
}

// A closing bracket without an opening one is left to the grammar.
int Scanner::close_bracket(int kind) {
    if (!open_brackets.empty()) open_brackets.pop_back();
    return kind;
}

bool Scanner::brackets_closed() {
    if (open_brackets.empty()) return true;
    const OpenBracket& open = open_brackets.back();
    driver->error(open.place, str_printf("'%c' is never closed", open.text));
    return false;
}

bool Scanner::end_of_input() {
    if (input_stack.empty()) return false;
    yy_buffer_state* done = input_stack.front().buffer;
    const yy::location saved = input_stack.front().saved;
    input_stack.pop_front();
    if (input_stack.empty()) {
        // Keep the last buffer alive: flex still refers to it until the
        // scanner is destroyed.
        yy_switch_to_buffer(done);
        yy_delete_buffer(done);
        return false;
    }
    yy_switch_to_buffer(input_stack.front().buffer);
    yy_delete_buffer(done);
    *loc = saved;
    return true;
}

void Scanner::advance(const char* text, int length) {
    loc->step();
    if (new_line) {
        if (new_line_counts) ++loc->begin.line;
        loc->begin.column = 1;
        loc->end = loc->begin;
        new_line = false;
    }
    for (int i = 0; i < length; ++i) {
        if (text[i] == '\n') {
            ++loc->end.line;
            loc->end.column = 1;
        } else if (text[i] == '\r') {
            loc->end.column = 1;
        } else {
            ++loc->end.column;
        }
    }
}

int Scanner::newline_token() {
    if (driver->ignore_eol) return 0;
    // The line end token belongs to the line it ends; the next token starts
    // the new line (a carriage return does not count as a line).
    new_line = true;
    new_line_counts = yytext[0] == '\n';
    loc->end = loc->begin;
    ++loc->end.column;
    return token::EOL;
}

int Scanner::int_token(const char* digits) {
    const long value = std::strtol(digits, nullptr, 10);
    if (value >= INT_MAX || value <= INT_MIN) {
        driver->error(*loc, "integer is out of range");
        yylval->emplace<int>(0); // harmless: no second error follows from it
        return token::INT;
    }
    yylval->emplace<int>(static_cast<int>(value));
    return token::INT;
}

// Numbers beyond single precision are refused: the engine computes dates,
// durations and curves in floats, where they would become infinite.
int Scanner::float_token(const char* text) {
    const double value = std::strtod(text, nullptr);
    if (!std::isfinite(value) || std::fabs(value) > FLT_MAX) {
        driver->error(*loc, str_printf("number is out of range: '%s'", text));
        yylval->emplace<double>(0.0);
        return token::FLOAT;
    }
    yylval->emplace<double>(value);
    return token::FLOAT;
}

int Scanner::label_align_token(const char* text) {
    std::string word;
    for (const char* p = text; *p && *p != '\t' && *p != '\n' && *p != ' ' && *p != '.'; ++p)
        word += *p;
    if (word.size() >= 511) driver->error(*loc, str_printf("Label too large: '%s'", word.c_str()));
    yylval->emplace<std::string>(word);
    return token::LABEL_ALIGN;
}

int Scanner::word_token(const std::string& word) {
    auto it = word_keywords().find(word);
    if (it != word_keywords().end()) {
        const int kind = it->second;
        const bool always = kind == token::KW_EXPR || kind == token::KW_TRUE || kind == token::KW_FALSE;
        if (!driver->ignore_keyword || always) {
            if (driver->trace_scanning) std::fprintf(stderr, "keyword %s\n", word.c_str());
            return kind;
        }
    }
    yylval->emplace<std::string>(word);
    return token::ID;
}

int Scanner::at_token(const std::string& word) {
    auto it = at_keywords().find(word);
    if (it != at_keywords().end()) return it->second;
    if (begin_macro_call(word)) return kMacroCall;
    yylval->emplace<std::string>(word);
    return token::ATVAR;
}

void Scanner::localisation() {
    std::ostringstream out;
    localisation(out);
    std::istringstream lines(out.str());
    for (std::string line; std::getline(lines, line);)
        post("%s", line.c_str());
}

void Scanner::localisation(std::ostream& out) {
    out << "line: " << (loc ? loc->begin.line : 0) << '\n';
    for (const Input& in : input_stack)
        out << "\t " << (in.expansion ? "from macro" : "in file") << " '" << in.name << "' (line "
            << (loc ? loc->begin.line : 0) << ")\n";
}
