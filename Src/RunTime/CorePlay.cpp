// The score played by itself: `play` from the top, from a label or a beat
// (the score run up to there in virtual time first), or from the present
// position up to a place. And the practice report.
#include "RunTime/CadenziumCore.hpp"

#include "Base/Console.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "RunTime/EventPlayer.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <cmath>
#include <string>

// Under the environment lock, so that no clock instant runs the player
// while it goes.
void cadenzium_core::destroy_player() {
    if (!player) return;
    EnvironmentLock lock(rt);
    player.reset();
    rt.switches.player_running = false;
}

bool cadenzium_core::is_playing() const {
    return player && !player->done();
}

// The player starts at once with event `from_index`; the decoder stays off
// while it plays. Its first step runs under the lock held here, so what it
// sends, and any command of the score, comes once the step is over.
void cadenzium_core::start_player(int from_index, double end_beat) {
    running = 0;
    EnvironmentLock lock(rt);
    rt.set_static_context();
    rt.switches.player_running = true;
    player = std::make_unique<EventPlayer>(rt.scheduler, *x_netscore,
                                           [this](const Event& e) { cadenzium_playcallback(e); });
    player->next_index = from_index;
    player->end_beat = end_beat;
    player->started = true;
    player->callback(nullptr);
}

void cadenzium_core::play_end_at(double beat) {
    EnvironmentLock lock(rt);
    if (player) player->end_beat = beat;
}

void cadenzium_core::cadenzium_playcallback(const Event& e) {
    updatePosition(e.index());
    if (play_state_at_end && Position() == x_netscore->get_cur_index()) {
        rt.switches.play_state = 1;
        play_state_at_end = false;
    }
}

void cadenzium_core::cadenzium_play() {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore || x_netscore->CountEvents() == 0) {
        error("No score to play! Load a score first... .");
        return;
    }
    wait_for_decoder();
    if (rt.switches.play_state == 1) {
        play_state_at_end = true;
        rt.switches.play_state = 0;
    }
    cadenzium_init();
    inform("%s - Sequence playback... .", thisName());
    updatePosition(0);
    start_player(1, -1.0);
}

void cadenzium_core::cadenzium_playfrombeat(double beat) {
    const ConsoleScope scope(&rt.console);
    const int index = cadenzium_fastforward(beat, true);
    if (index < 0) return;
    start_player(index, -1.0);
}

void cadenzium_core::cadenzium_playfromlabel(const std::string& label) {
    const double beat = cadenzium_label_to_pos(label);
    if (beat < 0.0) return;
    cadenzium_playfrombeat(beat);
}

void cadenzium_core::cadenzium_playtobeat(double beat) {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore) {
        error("%s - Before asking for a cue, you must define a score!", thisName());
        return;
    }
    wait_for_decoder();
    destroy_player();
    const int current = Position();
    inform("%s - Sequence playback from current position (%i) to beat \"%f\".", thisName(), current, beat);
    start_player(current + 1, beat);
}

void cadenzium_core::cadenzium_playtolabel(const std::string& label) {
    const double beat = cadenzium_label_to_pos(label);
    if (beat < 0.0) return;
    cadenzium_playtobeat(beat);
}

// The counts of the performance so far against the score: the events
// missed and their share of the score's events and of its written
// duration, and the signed timing errors beyond the limit averaged over the
// score's events.
void cadenzium_core::PracticeReport() {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore || x_netscore->CountEvents() == 0) {
        error("%s - No score to report on!", thisName());
        return;
    }
    const PracticeCounters& p = rt.practice;
    const Score& s = *x_netscore;
    const int last = s.get_cur_index();
    double total = 0;
    for (int i = 1; i <= last; ++i)
        total += s.events[static_cast<std::size_t>(i)]->beat_duration();
    const double n = s.CountEvents();
    post("CADENZIUM PRACTICE REPORT:");
    post("     Total Missed=%.0f (over %i events), Total duration missed=%.2f", p.missed_count,
         s.events[static_cast<std::size_t>(last)]->notenum(), p.missed_duration);
    post("           Including %.0f Timing misses and %.0f jumps.", p.timing_misses, p.jumps);
    post("Event precision: %.1f percent - Weighted precision: %.1f percent", (n - p.missed_count) / n * 100.0,
         total > 0 ? (total - p.missed_duration) / total * 100.0 : 100.0);
    post("Timing precision: %.0f milli-seconds (average over score)", p.timing_error_sum / n);
}
