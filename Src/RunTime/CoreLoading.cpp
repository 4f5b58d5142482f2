// Reading scores into the engine: files, strings, preloaded scores.
#include "Exp/Environment.hpp"
#include "Parser/ParseDriver.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "Base/Console.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "Tree/Action.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

namespace {

void delete_macros(std::map<std::string, Macro*>& macros) {
    // Macros are read by a later version of the reader; the table is kept
    // as the place they live in.
    macros.clear();
}

} // namespace

bool cadenzium_core::ScoreParsing(const std::string& path) {
    cadenzium_stop();
    Score* old = x_netscore;
    Score* fresh = nullptr;
    bool read = false;
    {
        EnvironmentLock lock(*global_env);
        global_env->clear();
        delete_macros(macro_table);
        fresh = new Score(this, path, false);
        read = fresh->ParseFile(path);
    }
    if (!read) {
        error("%s - Abort loading score file '%s'.\n", thisName(), path.c_str());
        delete fresh;
        x_netscore = nullptr;
        // After a failed load the engine has no score; the old one is not
        // put back (keeping it would follow a score the user replaced).
        if (old && !old->preloaded) retired_scores.push_back(old);
        return false;
    }
    if (old && !old->preloaded) delete old;
    x_netscore = fresh;
    listening_set_score();
    report_loaded_score();
    cadenzium_init();
    score_filename = path;
    post("%s - Score loaded succesfully with %i events and %i actions.", thisName(), fresh->CountEvents(),
         fresh->CountActions());
    listening_tempo_update(fresh->initial_tempo());
    ParsingEndNotification();
    return true;
}

void cadenzium_core::report_loaded_score() {
    const int events = x_netscore->CountEvents();
    const int actions = x_netscore->CountActions();
    if (events == 0)
        post("%s - Warning: score with NO EVENT! (and %d actions)", thisName(), actions);
    else if (actions == 0)
        post("%s - Warning: score with NO ACTION! (and %d events)", thisName(), events);
}

bool cadenzium_core::StringParsing(const std::string& text) {
    const std::string code = text + "\n";
    Score* previous = x_netscore;
    Score* host = previous ? previous : new Score(this, "<dummy score>", false);
    Score* small = nullptr;
    {
        EnvironmentLock lock(*global_env);
        small = host->driver->parseString(code);
    }
    if (!small) {
        if (!previous) delete host;
        error("%s - Abort loading string '%s'\n", thisName(), text.c_str());
        return false;
    }
    set_x_netscore(small);
    fire_string_events(small);
    set_x_netscore(previous);
    delete small;
    if (!previous) delete host;
    return true;
}

// Actions read from a string run at once, event by event, each in its own
// logical instant.
void cadenzium_core::fire_string_events(Score* small) {
    for (size_t i = 0; i < small->events.size(); ++i) {
        Event& e = *small->events[i];
        if (!e.action()) continue;
        EnvironmentLock lock(*global_env);
        set_static_context();
        global_env->start_logical_instant(static_cast<int>(i));
        e.action()->Fire(e.beatcum(), 0.0, DURATION_BEATS);
        global_env->end_logical_instant();
    }
}

void cadenzium_core::playstring(const std::string& text) {
    playstring_buffer += text;
    StringParsing(playstring_buffer);
    playstring_buffer.clear();
}

bool cadenzium_core::preloadScore(const std::string& path, const std::string& name) {
    Score* current = x_netscore;
    auto* fresh = new Score(this, path, true);
    fresh->preloaded = true;
    const bool read = fresh->ParseFile(path);
    x_netscore = current;
    if (!read) {
        error("Cadenzium Preload Parse error: Check path and syntax");
        error("NO SCORE PRELOADED");
        delete fresh;
        return false;
    }
    auto old = preloaded_scores.find(name);
    if (old != preloaded_scores.end()) {
        post("Cadenzium warning: Overwriting preloaded score '%s'.", name.c_str());
        if (old->second == x_netscore) x_netscore = nullptr;
        delete old->second;
        preloaded_scores.erase(old);
        std::erase(preloaded_names, name);
    }
    preloaded_scores[name] = fresh;
    preloaded_names.push_back(name);
    post("%s - Preloaded score '%s' with %i events and %i actions.", thisName(), name.c_str(),
         fresh->CountEvents(), fresh->CountActions());
    if (x_netscore) {
        if (!x_netscore->filename.empty())
            post("%s - Proceed with current score '%s'", thisName(), x_netscore->filename.c_str());
        else
            post("%s - Proceed with no score", thisName());
    }
    return true;
}

void cadenzium_core::clearScore() {
    if (!preloaded_scores.empty()) {
        for (auto& [name, score] : preloaded_scores) {
            if (score == x_netscore) x_netscore = nullptr;
            delete score;
        }
        preloaded_scores.clear();
        preloaded_names.clear();
        post("%s - Preloaded scores cleared.", thisName());
    }
    global_env->reset();
    macro_table.clear();
}
