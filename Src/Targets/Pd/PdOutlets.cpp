#include "PdOutlets.hpp"

#include "Base/Console.hpp"
#include "RunTime/HostPort.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <algorithm>
#include <map>

namespace {

const std::map<std::string, const char*>& assists() {
    static const std::map<std::string, const char*> table{
        {"MAIN", "Main outlet (position:Int, and other dispatches)"},
        {"TEMPO", "Realtime Tempo (float: BPM)"},
        {"LABEL", "Score label (symbol)"},
        {"LOADBANG", "Bang when score loaded succesfully"},
        {"NOTENUM", "Detected Event(s) (MIDI Pitch: Float)"},
        {"BEATNUM", "Cumulative Score Beat Position (float)"},
        {"CADIOI", "Anticipated IOI Duration (float: ms)"},
        {"SCORETEMPO", "Score Tempo (float: BPM)"},
        {"CERTAINTY", "Alignment Certainty (float: [0.0 1.0])"},
        {"ENDBANG", "Bang on last event in score"},
        {"VELOCITY", "Event MIDI Velocity Estimation"},
        {"TDIST", "Current distance (int) to next coming actions!"},
        {"MISSED", "Report missed events (list of index and pitches)"},
        {"TRACE", "Trace cadenzium events/actions: [name, event_pos/action_father_name, time_stamps(sec), "
                  "relative_time_stamps(beats)]"},
        {"MIDIOUT", "Event Recognition MIDI message Output: [pitch velocity]"},
        {"AUDIO", ": Audio Output (for DSP)"},
    };
    return table;
}

// The first pitch of an event as a MIDI number (pitches are kept in
// midicents); 0 for an event without pitch.
float first_midi_pitch(const Event& e) {
    const std::vector<float> pitches = e.pitch_list();
    if (pitches.empty()) return 0;
    const float p = pitches.front() < 0 ? -pitches.front() : pitches.front();
    return p / 100.0f;
}

} // namespace

const char* outlet_assist(const std::string& name) {
    auto it = assists().find(name);
    return it == assists().end() ? nullptr : it->second;
}

void PdOutlets::make(t_object* owner, const std::vector<std::string>& names, bool audio_input) {
    for (const std::string& name : names) {
        if (!outlet_assist(name)) {
            error("Cadenzium~: Outlet %s not supported!", name.c_str());
            continue;
        }
        if (name == "VELOCITY" && !audio_input) {
            error("Cadenzium - Velocity estimation output ONLY for audio input. Ignored!");
            continue;
        }
        if (name == "AUDIO") {
            outlet_new(owner, &s_signal);
            ++audio;
            continue;
        }
        const bool list = name == "MAIN" || name == "TRACE" || name == "MISSED" || name == "MIDIOUT";
        outlets.emplace_back(name, outlet_new(owner, list ? &s_list : &s_float));
    }
}

t_outlet* PdOutlets::find(const char* name) const {
    for (const auto& [n, o] : outlets)
        if (n == name) return o;
    return nullptr;
}

void PdOutlets::out_float(const char* name, double v) const {
    if (t_outlet* o = find(name)) outlet_float(o, static_cast<t_float>(v));
}

void PdOutlets::position(int index, const Event* e, double time, double tempo_bpm, bool last_event) {
    if (e) {
        if (t_outlet* o = find("TRACE")) {
            t_atom list[4];
            SETSYMBOL(&list[0], gensym("EVENT"));
            SETFLOAT(&list[1], static_cast<t_float>(index));
            SETFLOAT(&list[2], static_cast<t_float>(time));
            SETFLOAT(&list[3], static_cast<t_float>(e->beatcum()));
            outlet_list(o, &s_list, 4, list);
        }
        if (t_outlet* o = find("MIDIOUT")) {
            t_atom note[2];
            SETFLOAT(&note[0], first_midi_pitch(*e));
            SETFLOAT(&note[1], 100);
            outlet_list(o, &s_list, 2, note);
        }
        if (last_event)
            if (t_outlet* o = find("ENDBANG")) outlet_bang(o);
        if (tempo_bpm > 0) out_float("CADIOI", e->beat_duration() * 60000.0 / tempo_bpm);
        out_float("SCORETEMPO", e->ScoreTempo());
        out_float("BEATNUM", e->beatcum());
        out_float("NOTENUM", first_midi_pitch(*e));
        if (t_outlet* o = find("LABEL"); o && !e->cuename().empty())
            outlet_symbol(o, gensym(e->cuename().c_str()));
    }
    if (tempo_bpm > 0) out_float("TEMPO", tempo_bpm);
    out_float("MAIN", index);
}

void PdOutlets::details(const PositionDetails& d, const Score* score) const {
    if (d.actions_ahead >= 0) out_float("TDIST", d.actions_ahead);
    if (d.velocity > 0) out_float("VELOCITY", d.velocity);
    out_float("CERTAINTY", d.certainty);
    t_outlet* missed = find("MISSED");
    if (!missed || !score) return;
    const int end = std::min(d.missed_end, score->get_cur_index() + 1);
    for (int i = std::max(d.missed_first, 0); i < end; ++i)
        missed_event(missed, i, *score->events[static_cast<std::size_t>(i)]);
}

void PdOutlets::missed_event(t_outlet* o, int index, const Event& e) const {
    std::vector<t_atom> list(1);
    SETFLOAT(&list[0], static_cast<t_float>(index));
    for (float p : e.pitch_list()) {
        list.emplace_back();
        SETFLOAT(&list.back(), (p < 0 ? -p : p) / 100.0f);
    }
    outlet_list(o, &s_list, static_cast<int>(list.size()), list.data());
}

void PdOutlets::loadbang() const {
    if (t_outlet* o = find("LOADBANG")) outlet_bang(o);
}
