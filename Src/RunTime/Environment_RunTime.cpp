// The global environment's side of the runtime: the instant and its reset.
#include "Exp/Environment.hpp"

#include "RunTime/PreCadenzium.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

// Back to the top of the score: the instant restarts at date 0 before the
// first event, with no event heard yet.
void GlobalEnvironment::reset() {
    now = rnow = rcnow = 0.0;
    current_timer = nullptr;
    Score* score = pre ? pre->get_x_netscore() : nullptr;
    current_event = score && !score->events.empty() ? score->events[0] : nullptr;
    inner_event = previous_event = last_action_event = nullptr;
    last_onset_time = 0.0;
    onset_count = 0;
    timing_error_ms = 0.0;
    previous_index = index = next_index = last_position_given = 0;
    last_rnow_sent = -1.0;
    set_var(now_index, float_value(0.0));
    set_var(rnow_index, float_value(0.0));
    set_var(rcnow_index, float_value(0.0));
    set_var(beat_pos_index, float_value(0.0));
}
