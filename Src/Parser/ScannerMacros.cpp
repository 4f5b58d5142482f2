// The scanner's textual layer: macro definitions and calls, and files
// inserted with @insert. Each expansion or file is a new input on the
// stack, read to its end before the text around it goes on.
#include "Base/Console.hpp"
#include "Parser/Macro.hpp"
#include "Parser/ParseDriver.hpp"
#include "Parser/Scanner.hpp"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

namespace {

std::string trimmed(const std::string& s) {
    const size_t begin = s.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos) return "";
    const size_t end = s.find_last_not_of(" \t\r\n");
    return s.substr(begin, end - begin + 1);
}

// The file an @insert line names: after the keyword, trimmed, unquoted,
// relative to the score's folder unless absolute.
std::string inserted_path(const std::string& line, bool once, const std::string& directory) {
    std::string path = trimmed(line.substr(once ? 12 : 7));
    if (path.size() >= 2 && (path.front() == '"' || path.front() == '\'') && path.back() == path.front())
        path = normalize_string(path.front() == '"' ? path : "\"" + path.substr(1, path.size() - 2) + "\"");
    if (!path.empty() && path.front() != '/') path = directory + path;
    return path;
}

} // namespace

bool Scanner::push_input(Input in) {
    if (input_stack.size() >= kMaxInputs) {
        driver->error(*loc, "Too much inclusion or too much nested macro calls: abort");
        post("current limit is %zu", kMaxInputs);
        ok = false;
        return false;
    }
    in.saved = *loc;
    in.buffer = yy_create_buffer(*in.stream, 16384);
    input_stack.push_front(std::move(in));
    yy_switch_to_buffer(input_stack.front().buffer);
    return true;
}

// ---- definitions ----

void Scanner::start_macro(const char* text, int length) {
    macro_name.assign(text, static_cast<size_t>(length));
    if (macro_name.front() != '@') macro_name.insert(0, "@");
    macro_parameters.clear();
    macro_body.clear();
    macro_depth = 0;
}

void Scanner::end_macro_definition() {
    std::string body = macro_body;
    const size_t end = body.find_last_not_of(" \t\r\n");
    body.erase(end == std::string::npos ? 0 : end + 1);
    driver->macros.define(Macro(macro_name, macro_parameters, body));
}

// ---- calls ----

bool Scanner::begin_macro_call(const std::string& name) {
    const Macro* macro = driver->macros.find(name);
    if (!macro) return false;
    calling = macro;
    call_arguments.clear();
    call_argument.clear();
    call_depth = 0;
    return true;
}

void Scanner::push_macro_argument() {
    call_arguments.push_back(trimmed(call_argument));
    call_argument.clear();
}

bool Scanner::expand_macro_call() {
    const Macro* macro = calling;
    calling = nullptr;
    if (call_arguments.size() != macro->arity()) {
        driver->error(*loc, str_printf("Error: incorrect macro call '%s' line %d: bad argument number (%zu "
                                       "arguments,%zu expected)",
                                       macro->name().c_str(), loc->begin.line, call_arguments.size(),
                                       macro->arity()));
        return true;
    }
    Input in;
    in.file = false;
    in.expansion = true;
    in.name = macro->name();
    in.text = macro->expand(call_arguments);
    in.stream = std::make_unique<std::istringstream>(in.text);
    if (!push_input(std::move(in))) return false;
    loc->begin.line = loc->end.line = 1;
    loc->begin.column = loc->end.column = 1;
    return true;
}

void Scanner::macro_ended_early(const char* what) {
    driver->error(*loc, what);
    ok = false;
    calling = nullptr;
}

// ---- inserted files ----

bool Scanner::insert_file(const char* line, bool once) {
    const std::string path = inserted_path(line, once, driver->directory);
    if (once && driver->macros.already_included(path)) return true;
    errno = 0;
    auto stream = std::make_unique<std::ifstream>(path, std::ios::binary);
    if (!stream->is_open()) {
        driver->error(*loc, str_printf("unable to include file `%s': %s", path.c_str(),
                                       errno ? std::strerror(errno) : "it cannot be opened"));
        return true;
    }
    driver->macros.add_included(path);
    Input in;
    in.name = path;
    in.stream = std::move(stream);
    if (!push_input(std::move(in))) return false;
    loc->initialize(std::make_shared<const std::string>(path));
    return true;
}
