#include "Parser/ParseDriver.hpp"
#include "Exp/EvalContext.hpp"
#include "Tree/LoadClause.hpp"
#include "Tree/Process.hpp"

#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/Expression.hpp"
#include "Parser/Scanner.hpp"
#include "Tree/Bloc.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"
#include "Tree/TreeExpressions.hpp"

#include <chrono>
#include <cmath>
#include <functional>
#include <iostream>
#include <sstream>

namespace {

double now_ms() {
    using namespace std::chrono;
    return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

Reading read_into(const std::string& name, const ReadSetup& setup,
                  const std::function<bool(ParseDriver&)>& read) {
    Reading reading;
    auto score =
        std::make_unique<Score>(name, setup.eval, setup.inlets, setup.without_states, setup.verbosity);
    bool read_ok = false;
    {
        DiagnosticScope gathering(reading.diagnostics);
        ParseDriver driver(*score);
        driver.trace_scanning = setup.verbosity > 3;
        driver.trace_parsing = setup.verbosity > 4;
        if (setup.macros) driver.macros = *setup.macros;
        read_ok = read(driver);
        if (setup.macros) *setup.macros = driver.macros;
    }
    if (read_ok && reading.diagnostics.ok()) reading.score = std::move(score);
    return reading;
}

} // namespace

Reading read_score_file(const std::string& path, const ReadSetup& setup) {
    return read_into(path, setup, [&](ParseDriver& d) { return d.read_file(path); });
}

Reading read_score_text(const std::string& text, const ReadSetup& setup, const std::string& name) {
    return read_into(name, setup, [&](ParseDriver& d) { return d.read_text(text, name); });
}

ParseDriver::ParseDriver(Score& s)
    : score(&s)
    , current_event(s.events.back().get()) {}

ParseDriver::~ParseDriver() = default;

void ParseDriver::set_file(const std::string& path) {
    file_name = path;
    const size_t slash = path.rfind('/');
    directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

bool ParseDriver::read_file(const std::string& path) {
    set_file(path);
    Scanner scan(this);
    const std::string why = scan.open_file(path);
    if (!why.empty()) {
        ::error("Error in opening file %s: %s", path.c_str(), why.c_str());
        return false;
    }
    macros.add_included(path);
    return read_with(scan);
}

bool ParseDriver::read_text(const std::string& text, const std::string& name) {
    set_file(name);
    Scanner scan(this);
    scan.open_string(text, name);
    return read_with(scan);
}

// The errors of the reading go to the diagnostics of `read_into`; any
// error, from the grammar or from a builder, fails the reading.
bool ParseDriver::read_with(Scanner& scan) {
    scanner = &scan;
    first_token = true;
    const double start = now_ms();
    ignore_eol = true;
    ignore_keyword = saved_ignore_keyword = false;
    eol_stack.clear();
    error_count = 0;
    Diagnostics reading;
    DiagnosticScope gathering(reading);
    int status = 0;
    {
        yy::Parser parser(*this);
        parser.set_debug_level(trace_parsing ? 1 : 0);
        status = parser.parse();
    }
    const bool parsed_ok = status == 0 && ok() && reading.ok();
    scanner = nullptr;
    if (!parsed_ok) return false;
    const double parsed = now_ms();
    if (!finalize()) {
        ::error("Abort parsing: Error in reference propagation");
        return false;
    }
    if (!reading.ok()) return false;
    trace_score(start, parsed, now_ms());
    return true;
}

void ParseDriver::trace_score(double start, double parsed, double finalized) const {
    if (!trace_parsing && score->build.verbosity <= 0) return;
    std::cerr << *score;
    const double printed = now_ms();
    std::cerr << "// Score parsed in: " << parsed - start << "ms finalized in: " << finalized - parsed
              << "ms printed in: " << printed - finalized << "ms" << std::endl;
}

bool ParseDriver::finalize() {
    Diagnostics finalizing;
    DiagnosticScope gathering(finalizing);
    score->finalizeIOI();
    score->finalize_events();
    for (const auto& e : score->events)
        if (Action* a = e->action()) a->compute_and_propage({}, score);
    for (const auto& d : score->definitions) {
        if (auto* proc = dynamic_cast<UserProc*>(d.get())) proc->compute_and_propage(score);
        if (auto* clause = dynamic_cast<LoadClause*>(d.get()))
            clause->actions->compute_and_propage({}, score);
    }
    if (!finalizing.ok()) return false;
    if (!Anchor::check_all_references(*score, true)) return false;
    run_load_clauses();
    return finalizing.ok();
}

// The "@eval_when_load" clauses run once, in the order written, when the
// score is otherwise complete.
void ParseDriver::run_load_clauses() {
    EvalContext* ctx = eval();
    if (!ctx) return;
    for (const auto& d : score->definitions)
        if (auto* clause = dynamic_cast<LoadClause*>(d.get())) ctx->fire_action(*clause->actions, 0.0);
}

bool ParseDriver::scanner_ok() const {
    return !scanner || scanner->ok;
}

bool ParseDriver::ok() const {
    return scanner && scanner->ok && error_count == 0;
}

// The parser moves the location of each token it shifts, file name
// included; the name is given back to the next token.
int ParseDriver::tokenify(void* value, yy::location* loc) {
    if (first_token) {
        const Scanner::Input* top = scanner->current_input();
        reading_file = std::make_shared<const std::string>(top ? top->name : file_name);
        loc->initialize(reading_file);
        first_token = false;
    }
    if (!loc->end.filename) loc->begin.filename = loc->end.filename = reading_file;
    if (stopped()) return yy::Parser::token::END;
    return scanner->yylex(static_cast<yy::Parser::value_type*>(value), loc);
}

void ParseDriver::error(const yy::location& loc, const std::string& message) {
    ++error_count;
    if (error_count > kErrorLimit) return;
    ::error("%s", message.c_str());
    report_location(loc);
    if (stopped()) ::error("too many errors: reading stops");
}

void ParseDriver::report_location(const yy::location& loc) {
    const Scanner::Input* in = scanner ? scanner->current_input() : nullptr;
    if (!in) {
        report_file_location(loc);
        return;
    }
    const int l1 = loc.begin.line, c1 = loc.begin.column, l2 = loc.end.line;
    const int c2 = loc.end.column > 1 ? loc.end.column - 1 : 1;
    if (!in->expansion) {
        if (l1 == l2)
            ::error("line %d, characters %d-%d", l1, c1, c2);
        else
            ::error("line %d, characters %d -> line %d, characters %d", l1, c1, l2, c2);
        ::error("in file '%s'", in->name.c_str());
    } else {
        if (l1 == l2)
            ::error("in macro '%s' line %d, characters %d-%d", in->name.c_str(), l1, c1, c2);
        else
            ::error("in macro '%s' line %d, characters %d -> line %d, characters %d", in->name.c_str(), l1,
                    c1, l2, c2);
        ::error("expanded as\n'%s'", in->text.c_str());
    }
    // Each input around the current one, with the line where it called or
    // inserted the one inside it.
    const Scanner::Input* inner = nullptr;
    for (const Scanner::Input& outer : scanner->inputs()) {
        if (inner)
            post("%s '%s' line %d", outer.expansion ? "in macro" : "in file", outer.name.c_str(),
                 inner->saved.begin.line);
        inner = &outer;
    }
}

// At the end of the text no input is open: the place is in the file the
// location names.
void ParseDriver::report_file_location(const yy::location& loc) {
    const std::string file = loc.begin.filename ? *loc.begin.filename : file_name;
    ::error("line %d, characters %d-%d", loc.begin.line, loc.begin.column,
            loc.end.column > 1 ? loc.end.column - 1 : 1);
    ::error("in file '%s'", file.c_str());
}

void ParseDriver::error(const std::string& message) {
    ++error_count;
    ::error("Parser error: %s", message.c_str());
}

void ParseDriver::set_static_bpm(ExpPtr e, const yy::location& loc, bool modulate) {
    const std::string text = e ? e->show() : "";
    ScoreEval known = e ? e->eval_in_score() : ScoreEval{VARIABILITY_DYNAMIC, undef_value()};
    if (known.variability != VARIABILITY_STATIC || !known.value->is_numeric()) {
        ::error("BPM syntax: only numeric constant expression are allowed. Got '%s'", text.c_str());
        post_location("bpm specification", &loc);
        return;
    }
    const double value = known.value->get_double();
    // Slower or faster than any music, or negative without @modulate: the
    // follower's tempo model would silently break.
    constexpr double kSlowest = 1, kFastest = 2000;
    const double magnitude = modulate ? std::fabs(value) : value;
    if (!(magnitude >= kSlowest && magnitude <= kFastest)) {
        error(loc, str_printf("Parser: Incorrect BPM specification '%s'", text.c_str()));
        post("a tempo lies between %.0f and %.0f bpm; a modulation is written with @modulate", kSlowest,
             kFastest);
        return;
    }
    const double bpm = modulate ? -std::fabs(value) : value;
    score->parsing_bpm(static_cast<float>(bpm));
}

const yy::location* ParseDriver::keep(const yy::location& loc) {
    return score->keep_location(loc);
}

namespace {

// "event_" and the event's label, or its beat when it has none.
std::string top_group_name(const Event* e) {
    if (!e->cuename().empty() && !is_an_anonymous_name(e->cuename())) return "event_" + e->cuename();
    std::ostringstream beat;
    beat << e->beatcum();
    return "event_" + beat.str();
}

} // namespace

void ParseDriver::set_top_level_group(ActionList list, const yy::location& loc) {
    if (list.empty() || !current_event) return;
    Environment* global = eval() ? eval()->global_env() : nullptr;
    const Origin origin{Origin::EVENT, current_event, score};
    Action::restructure_sequence(build(), list);
    if (list.size() == 1 && is_zero_delay(&list.front()->delay)) {
        Action* only = list.front().get();
        only->set_env(global, {}, GLOBAL_SCOPE_LEVEL);
        score->attach_top_action(std::move(list.front()));
        only->compute_origin(origin);
        return;
    }
    const std::string name = anonymous_name(build(), top_group_name(current_event), false);
    const CadDuration zero(0.0, DURATION_BEATS);
    const yy::location* where = loc.begin.filename ? &loc : current_event->location();
    auto group = std::make_unique<Gfwd>(build(), name, &zero, AttributeList{}, std::move(list), nullptr,
                                        TimedEnd{}, where);
    Gfwd* top = group.get();
    top->hidden = true;
    top->finalize_env(global);
    score->attach_top_action(std::move(group));
    top->compute_origin(origin);
}
