// The score played by itself, with no musician: a timer that steps through
// the events at the score's own tempo and hands each one to the engine as
// if the listening machine had heard it. Each event lasts its written
// duration at its written tempo, on the absolute list, so a performance
// replayed with `play` gives the dates a perfect performance gives.
//
// The engine owns the player; the player never frees itself. It runs in the
// instants of the scheduler's clock, the environment lock held.
#pragma once

#include "RunTime/CadTimer.hpp"

#include <functional>

class Event;

class EventPlayer final : public CadTimer {
public:
    // `work` is handed each event in turn (the engine moves its position).
    using Work = std::function<void(const Event&)>;

    EventPlayer(t_scheduler& sched, Score& score, Work work);
    ~EventPlayer() override;

    // Plays event `next_index`, then waits for its duration; stops before
    // the first event beyond `end_beat` (when positive) or at the end.
    void callback(var_management* var) override;
    // Back to the top of `score`, playing at once.
    void Reset(Score& score);

    // The next event to play, and the beat where playing stops (-1.0: the
    // end of the score).
    int next_index = 1;
    double end_beat = -1.0;
    bool started = false;
    // Over: the end, or the stopping beat, was reached.
    bool done() const { return over; }

private:
    void stop();

    Score* score;
    Work work;
    bool over = false;
};
