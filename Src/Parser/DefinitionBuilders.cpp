// The builders of the definitions that the grammar reads: processes,
// tracks and patterns. The score keeps what they build.
#include "Exp/Environment.hpp"
#include "Exp/EvalContext.hpp"
#include "Parser/GrammarSupport.hpp"
#include "Parser/ParseDriver.hpp"
#include "Tree/LoadClause.hpp"
#include "Tree/Process.hpp"

void proc_definition(ParseDriver& driver, const std::string& name, const StringList& parameters,
                     AttrVec attributes, ActionVec body, const yy::location& loc) {
    driver.score->definitions.push_back(std::make_unique<UserProc>(
        driver.build(), name, parameters, std::move(body), std::move(attributes), driver.keep(loc)));
}

// ---- patterns ----

PatternPtr pattern_element(PatternKind kind, VarVec vars, OptPattern clauses, const yy::location& loc) {
    return std::make_unique<APattern>(kind, std::move(vars), std::move(clauses), &loc);
}

PatternPtr pattern_note(ParseDriver& driver, OptPattern clauses, const yy::location& loc) {
    VarVec watched;
    watched.push_back(make_var(driver, PITCH_VAR, loc));
    return pattern_element(PatternKind::NOTE, std::move(watched), std::move(clauses), loc);
}

ExpPtr pattern_pitch(ParseDriver&, PitchPtr pitch) {
    return std::make_unique<FloatValue>(static_cast<double>(pitch->midicents));
}

void set_pattern_pitch(OptPattern& clauses, OptPattern from) {
    clauses.pitch = std::move(from.pitch);
    clauses.pitch_var = std::move(from.pitch_var);
}

void set_pattern_duration(OptPattern& clauses, OptPattern from) {
    clauses.note_duration = std::move(from.note_duration);
    clauses.duration_var = std::move(from.duration_var);
}

void pattern_definition(ParseDriver& driver, const std::string& name, PatternParts parts,
                        const yy::location& loc) {
    define_pattern(driver.build(),
                   std::make_unique<PatSequence>(name, std::move(parts.locals), std::move(parts.refractory),
                                                 std::move(parts.elements), driver.keep(loc)));
}

// ---- load clauses ----

void load_clause(ParseDriver& driver, ActionVec body, const yy::location& loc) {
    if (body.empty()) return;
    const yy::location* where = driver.keep(loc);
    const std::string name = anonymous_name(driver.build(), "eval_when_load");
    auto group = std::make_unique<Gfwd>(driver.build(), name, nullptr, AttrVec{}, std::move(body), nullptr,
                                        TimedEnd{}, where);
    group->hidden = true;
    group->finalize_env(driver.eval() ? driver.eval()->global_env() : nullptr);
    driver.score->definitions.push_back(std::make_unique<LoadClause>(std::move(group)));
}

// ---- audio graph ----

void dsp_variables(ParseDriver& driver, DspDeclKind kind, const StringList& names, const yy::location& loc) {
    for (const std::string& name : names)
        DspVarDecl::create(driver.build(), kind, name, &loc);
}

void faust_definition(ParseDriver& driver, const std::string& name, StringList parameters,
                      std::string program, const yy::location& loc) {
    auto node = std::make_unique<DspNodeDecl>(DspNodeKind::FAUST, name, &loc);
    node->parameters = std::move(parameters);
    node->program = std::move(program);
    DspNodeDecl::create(driver.build(), std::move(node));
}

void fluidsynth_definition(ParseDriver& driver, const std::string& name, std::string file, int preset,
                           const yy::location& loc) {
    auto node = std::make_unique<DspNodeDecl>(DspNodeKind::FLUIDSYNTH, name, &loc);
    node->file = std::move(file);
    node->preset = preset;
    DspNodeDecl::create(driver.build(), std::move(node));
}

void csound_definition(ParseDriver& driver, const std::string& name, std::string file,
                       const yy::location& loc) {
    auto node = std::make_unique<DspNodeDecl>(DspNodeKind::CSOUND, name, &loc);
    node->file = std::move(file);
    DspNodeDecl::create(driver.build(), std::move(node));
}
