#include "Parser/ParseDriver.hpp"

#include "Parser/Scanner.hpp"
#include "RunTime/Console.hpp"
#include "RunTime/PreCadenzium.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <chrono>
#include <cmath>
#include <iostream>

std::vector<bool>& ignore_eol_stack() {
    static std::vector<bool> stack;
    return stack;
}

namespace {

double now_ms() {
    using namespace std::chrono;
    return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

ParseDriver::ParseDriver(pre_cadenzium* c, Score* s)
    : score(s)
    , core(c) {}

ParseDriver::~ParseDriver() = default;

void ParseDriver::setVerbosity(int level) {
    trace_scanning = level > 3;
    trace_parsing = level > 4;
}

void ParseDriver::set_file(const std::string& path) {
    file_name = path;
    const size_t slash = path.rfind('/');
    directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

Score* ParseDriver::parseFile(const std::string& path) {
    auto* fresh = new Score(core, path, false);
    if (fresh->driver->parseFile(path, fresh)) return fresh;
    delete fresh;
    return nullptr;
}

Score* ParseDriver::parseFile(const std::string& path, Score* target) {
    set_file(path);
    score = target;
    if (core) core->set_x_netscore(target);
    ignore_eol = true;
    current_event = target->events.back();
    Scanner scan(this);
    if (!scan.open_file(path)) {
        std::cerr << "Error in opening '" << path << "'" << std::endl;
        ::error("Error in opening file %s", path.c_str());
        return nullptr;
    }
    return read_with(scan, target);
}

Score* ParseDriver::parseString(const std::string& text) {
    auto* fresh = new Score(core, "<parse from string>", false);
    ParseDriver& d = *fresh->driver;
    d.set_file("<parse from string>");
    d.ignore_eol = true;
    d.current_event = fresh->events.back();
    d.trace_parsing = trace_parsing;
    d.trace_scanning = trace_scanning;
    Scanner scan(&d);
    scan.open_string(text, "<parse from string>");
    if (d.read_with(scan, fresh)) return fresh;
    delete fresh;
    return nullptr;
}

Score* ParseDriver::read_with(Scanner& scan, Score* target) {
    score = target;
    scanner = &scan;
    first_token = true;
    Score* result = launch_parser();
    scanner = nullptr;
    return result;
}

Score* ParseDriver::launch_parser() {
    yy::Parser parser(*this);
    parser.set_debug_level(trace_parsing ? 1 : 0);
    const double start = now_ms();
    ignore_eol = true;
    ignore_keyword = saved_ignore_keyword = false;
    ignore_eol_stack().clear();
    reset_global_error_counter();
    error_count = 0;

    const int status = parser.parse();
    if (status != 0 || !ok() || get_global_error_counter() > 0) return nullptr;

    const double parsed = now_ms();
    score->finalizeIOI();
    score->finalize_events();
    const double finalized = now_ms();
    if (trace_parsing || (core && core->verbose() > 0)) {
        std::cerr << *score;
        const double printed = now_ms();
        std::cerr << "// Score parsed in: " << parsed - start << "ms finalized in: " << finalized - parsed
                  << "ms printed in: " << printed - finalized << "ms" << std::endl;
    }
    return score;
}

bool ParseDriver::ok() const { return scanner && scanner->ok && error_count == 0; }

int ParseDriver::tokenify(void* value, yy::location* loc) {
    if (first_token) {
        const Scanner::Input* top = scanner->current_input();
        loc->initialize(std::make_shared<const std::string>(top ? top->name : file_name));
        first_token = false;
    }
    return scanner->yylex(static_cast<yy::Parser::value_type*>(value), loc);
}

void ParseDriver::error(const yy::location& loc, const std::string& message) {
    ++error_count;
    if (scanner) scanner->localisation();
    ::error("%s", message.c_str());
    report_location(loc);
}

void ParseDriver::report_location(const yy::location& loc) {
    const Scanner::Input* in = scanner ? scanner->current_input() : nullptr;
    if (!in) return;
    const int l1 = loc.begin.line, c1 = loc.begin.column, l2 = loc.end.line;
    const int c2 = loc.end.column > 1 ? loc.end.column - 1 : 1;
    if (in->file) {
        if (l1 == l2)
            ::error("line %d, characters %d-%d", l1, c1, c2);
        else
            ::error("line %d, characters %d -> line %d, characters %d", l1, c1, l2, c2);
        ::error("in file '%s'", in->name.c_str());
    } else {
        if (l1 == l2)
            ::error("in macro '%s' line %d, characters %d-%d", in->name.c_str(), l1, c1, c2);
        else
            ::error("in macro '%s' line %d, characters %d -> line %d, characters %d", in->name.c_str(), l1, c1,
                    l2, c2);
        ::error("expanded as\n'%s'", in->text.c_str());
    }
    bool first = true;
    for (const Scanner::Input& outer : scanner->inputs()) {
        if (first) {
            first = false;
            continue;
        }
        post("%s '%s' line %d", outer.file ? "in file" : "in macro", outer.name.c_str(), outer.saved.begin.line);
    }
}

void ParseDriver::error(const std::string& message) {
    ++error_count;
    ::error("Parser error: %s", message.c_str());
}

void ParseDriver::set_static_bpm(double value, const yy::location& loc, bool modulate) {
    if (!std::isfinite(value) || value == 0) {
        error(loc, str_printf("Parser: Incorrect BPM specification '%g'", value));
    }
    const double bpm = modulate ? -std::fabs(value) : value;
    score->parsing_bpm(static_cast<float>(bpm));
}
