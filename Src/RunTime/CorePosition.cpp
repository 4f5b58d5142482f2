// The engine's side of a decoded position: accept or refuse the move, let
// the tempo tracker see it, and report it to the host.
#include "RunTime/CadenziumCore.hpp"

#include "RunTime/Console.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <cmath>

void cadenzium_core::updatePosition(int pos) {
    if (!x_netscore) return;
    if (pos < 0 || pos > x_netscore->get_cur_index()) {
        CAD_INTERNAL_ERROR(str_printf("position %d out of the score", pos));
        return;
    }
    std::lock_guard lock(env_lock());
    // A backward move is a jump only the score may allow.
    if (pos < position && prevent_zigzag && !backward_allowed(pos)) return;
    listening_track_tempo(pos);
    last_position = position;
    position = pos;
    if (remote_forwarding) last_action = pos;
    report_position(pos, x_netscore->events[static_cast<size_t>(pos)]);
}

bool cadenzium_core::backward_allowed(int pos) {
    for (int target : x_netscore->find_jump(position))
        if (target == pos) return true;
    return false;
}

// At the top of a score the tempo starts from the first event's.
void cadenzium_core::apply_first_event_tempo() {
    if (!x_netscore || x_netscore->CountEvents() == 0) return;
    const float t = x_netscore->events[1]->ScoreTempo();
    if (tempo_from_first_event && t > 0) listening_tempo_update(std::fabs(t));
}
