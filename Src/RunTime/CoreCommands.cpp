// The engine's commands by name, and the settings that exist only as
// commands. The same table serves the score ("cadenzium::name args"), the
// hosts' messages, the editor's command port and the program's input.
#include "RunTime/CadenziumCore.hpp"

#include "Base/Console.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "Tree/Action.hpp"

#include <algorithm>
#include <cmath>

void cadenzium_core::init_internal_func_map() {
    add_loading_commands();
    add_transport_commands();
    add_setting_commands();
}

void cadenzium_core::add_loading_commands() {
    CommandTable& t = command_table;
    t.add("version", &cadenzium_core::cadenzium_version);
    t.add("info", &cadenzium_core::cadenzium_info);
    t.add("score", &cadenzium_core::ScoreParsing);
    t.add("read", &cadenzium_core::ScoreParsing);
    t.add("preload", CMD_TWO_STRINGS,
          [](cadenzium_core& c, const CommandArgs& a) { c.preloadScore(a.strings[1], a.strings[0]); });
    t.add("clear", &cadenzium_core::clearScore);
    t.add(
        "start", CMD_STRING, [](cadenzium_core& c, const CommandArgs& a) { c.cadenzium_start(a.strings[0]); },
        true);
    t.add("stop", &cadenzium_core::cadenzium_stop);
    t.add("killall", &cadenzium_core::Killall);
    t.add("getlabels", &cadenzium_core::cadenzium_getcues);
    t.add("getcues", &cadenzium_core::cadenzium_getcues);
    t.add("get_current_score", &cadenzium_core::get_current_score);
    t.add("printscore", &cadenzium_core::cadenzium_printscore);
    t.add("printfwd", &cadenzium_core::cadenzium_printfwd);
    t.add("filewatchset", &cadenzium_core::cadenzium_filewatcher_start);
    t.add("get_patch_receivers", &cadenzium_core::cadenzium_get_patch_receivers);
    t.add("static_analysis", &cadenzium_core::cadenzium_static_analysis);
    t.add("lectern_trace", &cadenzium_core::lectern_trace);
    t.add("lecternwidth_set", &cadenzium_core::lecternwidth_set);
    t.add("lecternheight_set", &cadenzium_core::lecternheight_set);
    t.add("lecternxy_set", &cadenzium_core::lecternxy_set);
    t.add("add_completion_string", &cadenzium_core::cadenzium_add_completion_string);
    for (const char* name : {"playstring", "livecode"})
        t.add(name, &cadenzium_core::playstring);
    for (const char* name : {"playstring_append", "livecode_add"})
        t.add(name, CMD_STRING,
              [](cadenzium_core& c, const CommandArgs& a) { c.playstring_append(a.strings[0] + "\n"); });
    t.add("setvar", &cadenzium_core::set_user_variables);
}

// The moves of the position, playing the score by itself, and practice.
void cadenzium_core::add_transport_commands() {
    CommandTable& t = command_table;
    t.add("gotocue", &cadenzium_core::cadenzium_gotocue);
    for (const char* name : {"scrubtolabel", "jumptocue", "jumptolabel"})
        t.add(name, &cadenzium_core::cadenzium_scrubtolabel);
    t.add("scrubtobeat", &cadenzium_core::cadenzium_scrubtobeat);
    t.add("jump", &cadenzium_core::cadenzium_jump);
    for (const char* name : {"nextfwd", "nextaction"})
        t.add(name, &cadenzium_core::cadenzium_nextFWD);
    t.add("nextlabel", &cadenzium_core::cadenzium_nextlabel);
    t.add("nextlabeltempo", &cadenzium_core::next_label_with_tempo_update);
    t.add("before_nextlabel", &cadenzium_core::cadenzium_beforenextlabel);
    t.add("previouslabel", &cadenzium_core::cadenzium_previouslabel);
    t.add("actions", CMD_STRING,
          [](cadenzium_core& c, const CommandArgs& a) { c.actions_command(a.strings[0]); });
    t.add("mute", &cadenzium_core::cadenzium_mute);
    t.add("unmute", &cadenzium_core::cadenzium_unmute);
    t.add("gotolabel", &cadenzium_core::cadenzium_gotolabel);
    t.add("gotobeat", &cadenzium_core::cadenzium_gotobeat);
    t.add("startfromlabel", &cadenzium_core::cadenzium_startfromlabel);
    t.add("startfrombeat", &cadenzium_core::cadenzium_startfrombeat);
    t.add("nextevent", &cadenzium_core::cadenzium_nextEvent);
    t.add("previousevent", &cadenzium_core::cadenzium_previousEvent);
    t.add("play", &cadenzium_core::cadenzium_play);
    t.add("playfrom", &cadenzium_core::cadenzium_playfromlabel);
    t.add("playfromlabel", &cadenzium_core::cadenzium_playfromlabel);
    t.add("playfrombeat", &cadenzium_core::cadenzium_playfrombeat);
    t.add("playto", &cadenzium_core::cadenzium_playtolabel);
    t.add("playtolabel", &cadenzium_core::cadenzium_playtolabel);
    t.add("playtobeat", &cadenzium_core::cadenzium_playtobeat);
    t.add("mode", &cadenzium_core::mode_set);
    t.add("report", &cadenzium_core::PracticeReport);
    t.add("bpmtolerance", &cadenzium_core::practice_tolerance);
}

void cadenzium_core::add_setting_commands() {
    CommandTable& t = command_table;
    t.add("verbosity", &cadenzium_core::cadenzium_verbosity);
    t.add("suivi", CMD_INT,
          [](cadenzium_core& c, const CommandArgs& a) { c.cadenzium_suivi(a.ints[0] != 0); });
    t.add("preventzigzag", &cadenzium_core::cadenzium_ForwardOnly);
    t.add("tempo", &cadenzium_core::tempo_inputset);
    t.add("temposmoothness", &cadenzium_core::tempo_smoothness);
    t.add("tempoinit", &cadenzium_core::tempoinit_set);
    t.add("variance", &cadenzium_core::cadenzium_variance);
    t.add("analysis", &cadenzium_core::cadenzium_analysisParameters);
    t.add("gamma", &cadenzium_core::gamma_set);
    t.add("tune", &cadenzium_core::tuning_set);
    t.add("nofharm", &cadenzium_core::nofharm_set);
    t.add("harmlist", &cadenzium_core::harmlist_set);
    t.add("obsexp", &cadenzium_core::KLexp_set);
    t.add("normin", &cadenzium_core::Ntmin_set);
    t.add("piano", &cadenzium_core::PianoMode);
    t.add("pedal", &cadenzium_core::pedal_set);
    t.add("pedalcoeff", &cadenzium_core::pedalcoeff_set);
    t.add("pedaltime", &cadenzium_core::pedaltime_set);
    t.add("calibrate", &cadenzium_core::calibrate_set_internal);
    t.add("decodewindow", CMD_INT, [](cadenzium_core& c, const CommandArgs& a) {
        c.get_align().inference_decode_window_length(static_cast<int>(a.ints[0]));
    });
}

CommandResult cadenzium_core::run_command(const std::string& name, const std::vector<Value>& args) {
    const internal_function* entry = command_table.find(name);
    if (!entry) return {CommandStatus::Unknown, ArgumentProblem::None};
    CommandArgs read;
    const ArgumentProblem problem = read_command_args(entry->kind, entry->optional_string, args, read);
    if (problem != ArgumentProblem::None) return {CommandStatus::BadArguments, problem};
    entry->method(*this, read);
    return {};
}

// A command of the score, once its instant is over. While the score runs
// in virtual time to reach a place, its commands are not run: they would
// move the place being reached.
void cadenzium_core::run_score_command(const message& m) {
    const ConsoleScope scope(&rt.console);
    if (timebase.fastforward.load()) return;
    const CommandResult result = run_command(m.receiver, m.values);
    if (result.status != CommandStatus::Done) report_command_problem(m.receiver, result, m);
}

void cadenzium_core::report_command_problem(const std::string& name, const CommandResult& result,
                                            const message& m) {
    if (result.status == CommandStatus::Unknown)
        error("%s - Unknown internal command '%s'", thisName(), name.c_str());
    else if (result.problem == ArgumentProblem::ExpectsFloats)
        error("Bad type in internal command. Vector of float expected.");
    else
        error("Bad type in internal command '%s'", name.c_str());
    if (m.source) m.source->post_location();
}

// ---- settings ----

void cadenzium_core::cadenzium_version() {
    const ConsoleScope scope(&rt.console);
    post("%s - version %s", thisName(), CAD_VERSION);
}

std::vector<std::pair<std::string, double>> cadenzium_core::cadenzium_getcues() {
    const ConsoleScope scope(&rt.console);
    std::vector<std::pair<std::string, double>> cues;
    if (!x_netscore) {
        error("%s - Before asking for a cue, you must define a score!", thisName());
        return cues;
    }
    for (const auto& e : x_netscore->events)
        if (e && !e->cuename().empty()) cues.emplace_back(e->cuename(), e->beatcum());
    for (const auto& [label, beat] : cues)
        post("%s - label \"%s\" at beat %g", thisName(), label.c_str(), beat);
    return cues;
}

void cadenzium_core::tempo_inputset(double bpm) {
    const ConsoleScope scope(&rt.console);
    if (!(bpm > 0) || !std::isfinite(bpm)) {
        error("%s - A tempo is a positive number of beats per minute (got %g)", thisName(), bpm);
        return;
    }
    if (std::fabs(tempo.get_tempo() - bpm) < 1e-9) return;
    tempo.TempoUpdate(60.0 / bpm);
    tempo.period_init = tempo.period;
}

void cadenzium_core::tempo_smoothness(double s) {
    const ConsoleScope scope(&rt.console);
    if (s > 1.0 || s < 0.0) {
        error("Tempo smoothness parameter should be between 0.0 and 1.0!");
        return;
    }
    tempo.eta = 1.0 - s;
    inform("%s - Tempo smoothness set to %f.", thisName(), s);
}

void cadenzium_core::practice_tolerance(double bpm) {
    const ConsoleScope scope(&rt.console);
    if (!(bpm >= 0.0 && bpm <= 20.0)) {
        error("Cadenzium - BPM Tolerance should be between 0.0 and 20.0. Ignored!");
        return;
    }
    rt.switches.bpm_tolerance = static_cast<float>(bpm);
}

void cadenzium_core::mode_set(int mode) {
    const ConsoleScope scope(&rt.console);
    rt.switches.play_state = mode == 1 ? 1 : 0;
    inform(mode == 1 ? "%s - Practice mode." : "%s - Follower mode.", thisName());
}

void cadenzium_core::tempoinit_set(int on) {
    tempo_from_first_event = on > 0;
}

void cadenzium_core::set_user_variables(const std::string& name, const TaggedValue& value) {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore) {
        error("Ignore message 'set_user_variable' on '%s' until a partition is loaded", name.c_str());
        return;
    }
    rt.ExternalUpdateVar(name.empty() || name[0] != '$' ? "$" + name : name, value);
}

namespace {

// "on" and "off" in the three spellings a user types; -1 for anything else.
int switch_word(const std::string& s) {
    if (s == "on" || s == "ON" || s == "On") return 1;
    if (s == "off" || s == "OFF" || s == "Off") return 0;
    return -1;
}

} // namespace

void cadenzium_core::cadenzium_ForwardOnly(const std::string& on_off) {
    const ConsoleScope scope(&rt.console);
    const int on = switch_word(on_off);
    if (on < 0) {
        error("%s - Audio can be turned On or Off! Command not known.", thisName());
        return;
    }
    rt.switches.prevent_zigzag = on == 1;
    inform(on ? "%s - Preventing zigzags (Forward only)." : "%s - Enabling zigzags (can go backwards).",
           thisName());
}

// "actions on" or "actions off": whether the score's actions fire.
void cadenzium_core::actions_command(const std::string& word) {
    if (word != "on" && word != "off") {
        error("%s - actions: 'on' or 'off' expected, not '%s'", thisName(), word.c_str());
        return;
    }
    cadenzium_actionsOnOff(word == "on");
}

void cadenzium_core::cadenzium_mute(const std::string& track) {
    const std::lock_guard<std::recursive_mutex> hold(env_lock());
    rt.set_mute_track(track);
}

void cadenzium_core::cadenzium_unmute(const std::string& track) {
    const std::lock_guard<std::recursive_mutex> hold(env_lock());
    rt.unset_mute_track(track);
}

void cadenzium_core::lectern_trace(int on) {
    const ConsoleScope scope(&rt.console);
    editor.trace_on = on != 0;
    if (on)
        post("%s -  Lectern traces ON.", thisName());
    else
        post("%s - Lectern traces OFF.", thisName());
}

// A word the editor offers to complete; each once.
void cadenzium_core::cadenzium_add_completion_string(const std::string& word) {
    std::vector<std::string>& words = editor.completions;
    if (word.empty() || std::find(words.begin(), words.end(), word) != words.end()) return;
    words.push_back(word);
}
