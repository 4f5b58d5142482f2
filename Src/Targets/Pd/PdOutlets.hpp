// The object's named outlets, made from the box's "@OUTLET" names from left
// to right, and what the engine reports through them at each position.
#pragma once

#include "PdApi.hpp"

#include <string>
#include <utility>
#include <vector>

class Event;
class Score;
struct PositionDetails;

// The outlets this object knows, with their help text.
const char* outlet_assist(const std::string& name);

class PdOutlets {
public:
    // Makes the outlets named in `names` on `owner`, left to right; a name
    // the object does not know is reported and skipped.
    void make(t_object* owner, const std::vector<std::string>& names, bool audio_input);

    // Null when the object has no outlet of that name.
    t_outlet* find(const char* name) const;
    const std::vector<std::pair<std::string, t_outlet*>>& all() const { return outlets; }
    // Signal outlets ("AUDIO"), where the score's audio graph plays.
    int audio_count() const { return audio; }

    // A position accepted: its outlets, right to left as Pd's order wants,
    // with MAIN (the event's index) last.
    void position(int index, const Event* event, double time, double tempo_bpm, bool last_event);
    // What the engine decided with the position, before its outlets:
    // TDIST, VELOCITY, CERTAINTY, and one MISSED list per skipped event
    // ("index pitches...", MIDI numbers).
    void details(const PositionDetails& d, const Score* score) const;
    void loadbang() const;

private:
    void out_float(const char* name, double v) const;
    void missed_event(t_outlet* o, int index, const Event& e) const;
    std::vector<std::pair<std::string, t_outlet*>> outlets;
    int audio = 0;
};
