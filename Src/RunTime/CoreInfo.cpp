// What the engine says about itself: its settings, its score, and the text
// of the score for an editor that shows it.
#include "RunTime/CadenziumCore.hpp"

#include "Base/Console.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "Tree/Ordering.hpp"
#include "Tree/Score.hpp"

#include <fstream>
#include <sstream>

void cadenzium_core::cadenzium_info() {
    const ConsoleScope scope(&rt.console);
    const char* p = "cadenzium - ";
    post("%sversion %s", p, CAD_VERSION);
    post("%sFollower is %s", p, follow_on ? "ON" : "OFF");
    post("%sAnalysis Parameters: nfft=%i, hop=%i (resolution %.1fHz)", p, static_cast<int>(window_size),
         static_cast<int>(hop_size), sample_rate / window_size);
    post("%sGamma (Energy Correction): %.3f", p, align->gamma);
    post("%sPedal %i", p, pedal_mode);
    post("%sTemposmoothness %.3f", p, 1.0 - tempo.eta);
    post("%sPrevent zigzag %s", p,
         rt.switches.prevent_zigzag ? "ON (forward only)" : "OFF (can go backwards)");
    if (rt.switches.play_state == 1)
        post("%sPractice mode with bpm tolerance %.1f", p, static_cast<double>(rt.switches.bpm_tolerance));
    if (x_netscore)
        post("%sCurrent score: \"%s\" with %i events and %i actions", p, score_filename.c_str(),
             x_netscore->CountEvents(), x_netscore->CountActions());
    else
        post("%sNo score currently loaded!", p);
    if (preloaded.empty()) post("%sNo preloaded scores.", p);
    for (const auto& [name, s] : preloaded)
        post("%s%sName:\"%s\" File:\"%s\" Events: %i, Actions: %i", p, "  ", name.c_str(),
             s->filename.c_str(), s->CountEvents(), s->CountActions());
    post("%sVerbosity: %d", p, verbosity);
    post("%sArchitecture: %s", p, sizeof(void*) == 8 ? "64 bits" : "32 bits");
    post("%sFaust handling: no", p);
    post("%sCsound handling: %s", p, "no");
    post("%sFluidsynth handling: %s", p, rt.port.dsp() ? "yes" : "no");
}

namespace {

// Posts a text line by line: the consoles take one line at a time.
void post_lines(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        post("%s", line.c_str());
}

} // namespace

// The score as score text, which reads back to the same score.
void cadenzium_core::cadenzium_printscore() {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore) {
        error("%s - No score currently loaded!", thisName());
        return;
    }
    std::ostringstream text;
    x_netscore->show(text);
    post_lines(text.str());
}

void cadenzium_core::cadenzium_printfwd() {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore) {
        error("%s - No score currently loaded!", thisName());
        return;
    }
    std::ostringstream text;
    x_netscore->show_actions(text);
    post_lines(text.str());
}

void cadenzium_core::cadenzium_filewatcher_start(const std::string& on_off) {
    const ConsoleScope scope(&rt.console);
    const bool off = on_off == "off" || on_off == "OFF" || on_off == "Off";
    const bool on = on_off == "on" || on_off == "ON" || on_off == "On";
    if (!on && !off) {
        error("%s - The score's file can be watched On or Off! Command not known.", thisName());
        return;
    }
    if (on && score_filename.empty()) {
        error("%s - No score file to watch!", thisName());
        return;
    }
    if (!rt.port.watch_file(on ? score_filename : std::string())) {
        error("%s - This host does not watch files", thisName());
        return;
    }
    if (on)
        inform("%s - Watching \"%s\".", thisName(), score_filename.c_str());
    else
        inform("%s - Not watching the score's file any more.", thisName());
}

void cadenzium_core::cadenzium_get_patch_receivers() {
    const ConsoleScope scope(&rt.console);
    const std::vector<std::string> names = rt.port.patch_receivers();
    if (names.empty()) post("%s - No patch receivers", thisName());
    for (const std::string& name : names) {
        post("receive: %s", name.c_str());
        cadenzium_add_completion_string(name);
    }
}

// The dates of the score's actions and their order.
void cadenzium_core::cadenzium_static_analysis() {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore) {
        error("%s - No score currently loaded!", thisName());
        return;
    }
    post_lines(static_analysis(*x_netscore).text);
}

// Chunks small enough for one OSC datagram each.
constexpr std::size_t kScoreChunk = 4096;

void cadenzium_core::get_current_score() {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore || score_filename.empty()) {
        error("%s - No score currently loaded!", thisName());
        return;
    }
    std::ifstream in(score_filename, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    const std::string all = text.str();
    EnvironmentLock lock(rt);
    for (std::size_t at = 0; at < all.size() || at == 0; at += kScoreChunk) {
        message* m = rt.new_message();
        m->receiver = "current_score";
        m->values.push_back(string_value(all.substr(at, kScoreChunk)));
        rt.queue_message(m);
        if (all.empty()) break;
    }
}
