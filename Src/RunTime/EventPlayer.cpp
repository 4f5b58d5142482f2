#include "RunTime/EventPlayer.hpp"

#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <cassert>
#include <cmath>

EventPlayer::EventPlayer(t_scheduler& sched, Score& s, Work w)
    : CadTimer(&sched)
    , score(&s)
    , work(std::move(w)) {
    assert(work && "a player hands its events to someone");
}

EventPlayer::~EventPlayer() = default;

void EventPlayer::stop() {
    over = true;
    stop_waiting();
}

void EventPlayer::callback(var_management*) {
    if (over) return;
    running += 1;
    stop_waiting();
    const int last = score->get_cur_index();
    if (next_index > last) {
        stop();
        running -= 1;
        return;
    }
    const Event& e = *score->events[static_cast<std::size_t>(next_index)];
    if (end_beat > 0 && end_beat < e.beatcum() - 0.0001) {
        stop();
        running -= 1;
        return;
    }
    work(e);
    next_index += 1;
    // The work may have stopped the player (a command of the score).
    if (!over) schedule(e.beat_duration() * std::fabs(e.ScoreTempo()), DURATION_SECONDS);
    running -= 1;
}

void EventPlayer::Reset(Score& s) {
    stop_waiting();
    score = &s;
    end_beat = -1.0;
    next_index = 1;
    started = true;
    over = false;
    callback(nullptr);
}
