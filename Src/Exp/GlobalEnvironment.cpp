#include "Exp/Environment.hpp"
#include "Exp/Function.hpp"
#include "Exp/Library.hpp"
#include "Exp/LibraryInstall.hpp"
#include "Exp/Reference.hpp"

namespace {

// Room for the score's globals, so that pointers to variables stay valid
// while a score defines them.
constexpr std::size_t reserved_variables = 120;

} // namespace

GlobalEnvironment::GlobalEnvironment(EvalContext* engine)
    : Environment(engine)
    , library_state(std::make_unique<LibraryState>()) {
    reset_cached_variables();
    install_predefined_function(this);
}

GlobalEnvironment::~GlobalEnvironment() {
    library_state.reset(); // waits for the helper threads still writing
    for (auto& [uid, f] : functions)
        delete f;
}

void GlobalEnvironment::reset_cached_variables() {
    vars.reserve(reserved_variables);
    jump_updated_index = define_var(JUMP_UPDATED_VAR, 0, bool_value(false));
    energy_index = define_var(ENERGY_VAR, 0, float_value(0.0));
    now_index = define_var(NOW_VAR, 10, float_value(0.0));
    rnow_index = define_var(RNOW_VAR, 10, float_value(0.0));
    rcnow_index = define_var(RCNOW_VAR, 10, float_value(0.0));
    rt_tempo_index = define_var(RT_TEMPO_VAR, 30, float_value(60.0));
    score_tempo_index = define_var(SCORE_TEMPO_VAR, 30, float_value(60.0));
    pitch_index = define_var(PITCH_VAR, 10, undef_value());
    dur_index = define_var(DUR_VAR, 10, undef_value());
    beat_pos_index = define_var(BEAT_POS_VAR, 10, float_value(0.0));
    last_label_index = define_var(LAST_LABEL_VAR, 10, string_value(""));
    approx_ratio_index = define_var(APPROX_RATIO_VAR, 10, float_value(0.1));
}

void GlobalEnvironment::clear() {
    vars.clear();
    index_of.clear();
    for (auto it = functions.begin(); it != functions.end();) {
        if (!it->second->is_user_defined()) {
            ++it;
            continue;
        }
        it->second->location = nullptr; // the place was in the score that goes
        retired.emplace_back(it->second);
        it = functions.erase(it);
    }
    for (auto it = procs.begin(); it != procs.end();)
        it = it->second.second ? procs.erase(it) : std::next(it);
    reset_cached_variables();
}

bool GlobalEnvironment::set_function(FunctionDefinition* f) {
    if (!f) return false;
    FunctionDefinition*& slot = functions[f->uid];
    if (slot && slot != f) retired.emplace_back(slot);
    slot = f;
    return true;
}

FunctionDefinition* GlobalEnvironment::get_function(const std::string& name) const {
    return get_function(Reference::unique_id(name));
}

FunctionDefinition* GlobalEnvironment::get_function(unique_identifier uid) const {
    const auto found = functions.find(uid);
    return found == functions.end() ? nullptr : found->second;
}

bool GlobalEnvironment::is_defined_function(const std::string& name) const {
    return get_function(name) != nullptr;
}

int GlobalEnvironment::count_user_defined_functions() const {
    int count = 0;
    for (const auto& [uid, f] : functions)
        count += f->is_user_defined();
    return count;
}

std::vector<FunctionDefinition*> GlobalEnvironment::registered_functions() const {
    std::vector<FunctionDefinition*> out;
    out.reserve(functions.size());
    for (const auto& [uid, f] : functions)
        out.push_back(f);
    return out;
}

// One forward reference per name: a score that calls an undefined function
// a thousand times keeps one. A forward outlives the reading that made it,
// so it keeps no place in the text.
FunctionDefinition* GlobalEnvironment::adopt_forward(FunctionDefinition* f) {
    auto [it, fresh] = forwards.emplace(f->uid, f);
    if (!fresh) {
        delete f;
        return it->second;
    }
    f->location = nullptr;
    retired.emplace_back(f);
    return f;
}

void GlobalEnvironment::set_proc(const std::string& name, ProcDefinition* proc, bool user_defined) {
    procs[Reference::unique_id(name)] = {proc, user_defined};
}

ProcDefinition* GlobalEnvironment::get_proc(const std::string& name) const {
    return get_proc(Reference::unique_id(name));
}

ProcDefinition* GlobalEnvironment::get_proc(unique_identifier uid) const {
    const auto found = procs.find(uid);
    return found == procs.end() ? nullptr : found->second.first;
}

bool GlobalEnvironment::is_defined_proc(const std::string& name) const {
    return get_proc(name) != nullptr;
}

int GlobalEnvironment::count_user_defined_proc() const {
    int count = 0;
    for (const auto& [uid, entry] : procs)
        count += entry.second;
    return count;
}
