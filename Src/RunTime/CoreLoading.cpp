// Reading scores into the engine: files, strings, preloaded scores, and the
// one score the engine follows.
#include "RunTime/CadenziumCore.hpp"

#include "Base/Console.hpp"
#include "Parser/ParseDriver.hpp"
#include "RunTime/ChannelPort.hpp"
#include "RunTime/DspPort.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "RunTime/Firing.hpp"
#include "RunTime/HostPort.hpp"
#include "Tree/Action.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

// The runtime, the listening machine and the engine follow `score` (null:
// none). Tracks are numbered per score: no mute carries over to another.
// The host's audio graph takes the score's declarations of its variables
// and nodes.
void cadenzium_core::follow_score(Score* score) {
    if (rt.score != score) rt.muted_tracks.reset();
    if (DspPort* dsp = port.dsp(); dsp && x_netscore != score) dsp->load_score(score);
    x_netscore = score;
    rt.score = score;
    if (score) align->setScore(score);
}

// What the listening machine keeps for the score goes with it.
void cadenzium_core::drop_score(std::unique_ptr<Score>& score) {
    if (!score) return;
    if (x_netscore == score.get()) follow_score(nullptr);
    align->forget(score.get());
    score.reset();
}

bool cadenzium_core::ScoreParsing(const std::string& path) {
    const ConsoleScope scope(&rt.console);
    cadenzium_stop();
    close_channels();
    Reading reading;
    {
        EnvironmentLock lock(rt);
        rt.env.clear();
        reading = read_score_file(path, {&rt, &inlet_map, verbosity, false, &macro_table});
    }
    if (!reading.score) {
        error("%s - Abort loading score file '%s'.\n", thisName(), path.c_str());
        // After a failed load the engine has no score; the old one is not
        // put back (keeping it would follow a score the user replaced).
        follow_score(nullptr);
        if (loaded) retired.push_back(std::move(loaded));
        return false;
    }
    drop_score(loaded);
    loaded = std::move(reading.score);
    follow_score(loaded.get());
    report_loaded_score();
    cadenzium_init();
    score_filename = path;
    inform("%s - Score loaded succesfully with %i events and %i actions.", thisName(), loaded->CountEvents(),
           loaded->CountActions());
    tempo.TempoUpdate(loaded->initial_tempo());
    port.score_loaded();
    return true;
}

// Before the environment lock: the receivers' threads take it, and closing
// them waits for their end.
void cadenzium_core::close_channels() {
    if (ChannelPort* channels = port.channels()) channels->reset();
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
    const ConsoleScope scope(&rt.console);
    Reading reading;
    {
        EnvironmentLock lock(rt);
        reading = read_score_text(text + "\n", {&rt, &inlet_map, verbosity, false, &macro_table},
                                  "<parse from string>");
    }
    if (!reading.score) {
        error("%s - Abort loading string '%s'\n", thisName(), text.c_str());
        return false;
    }
    fire_string_events(*reading.score);
    return true;
}

// Actions read from a string run at once, event by event, each in its own
// logical instant, with the string's events as the runtime's score: for
// that while, under the environment lock, since instants on other threads
// read the runtime's score.
void cadenzium_core::fire_string_events(Score& small) {
    EnvironmentLock lock(rt);
    Score* previous = rt.score;
    rt.score = &small;
    for (size_t i = 0; i < small.events.size(); ++i) {
        Event& e = *small.events[i];
        if (!e.action()) continue;
        rt.set_static_context();
        rt.start_logical_instant(static_cast<int>(i));
        Fire(rt, *e.action(), e.beatcum(), 0.0, DURATION_BEATS);
        rt.end_logical_instant();
    }
    rt.score = previous;
}

void cadenzium_core::playstring(const std::string& text) {
    playstring_buffer += text;
    StringParsing(playstring_buffer);
    playstring_buffer.clear();
}

bool cadenzium_core::preloadScore(const std::string& path, const std::string& name) {
    const ConsoleScope scope(&rt.console);
    Reading reading = read_score_file(path, {&rt, &inlet_map, verbosity, true, &macro_table});
    if (!reading.score) {
        error("Cadenzium Preload Parse error: Check path and syntax");
        error("NO SCORE PRELOADED");
        return false;
    }
    reading.score->preloaded = true;
    auto old = preloaded.find(name);
    if (old != preloaded.end()) {
        post("Cadenzium warning: Overwriting preloaded score '%s'.", name.c_str());
        drop_score(old->second);
        preloaded.erase(old);
        std::erase(preloaded_names, name);
    }
    Score& fresh = *(preloaded[name] = std::move(reading.score));
    preloaded_names.push_back(name);
    inform("%s - Preloaded score '%s' with %i events and %i actions.", thisName(), name.c_str(),
           fresh.CountEvents(), fresh.CountActions());
    if (x_netscore) {
        if (!x_netscore->filename.empty())
            inform("%s - Proceed with current score '%s'", thisName(), x_netscore->filename.c_str());
        else
            inform("%s - Proceed with no score", thisName());
    }
    return true;
}

void cadenzium_core::clearScore() {
    const ConsoleScope scope(&rt.console);
    if (!preloaded.empty()) {
        for (auto& [name, score] : preloaded)
            drop_score(score);
        preloaded.clear();
        preloaded_names.clear();
        inform("%s - Preloaded scores cleared.", thisName());
    }
    rt.reset();
}
