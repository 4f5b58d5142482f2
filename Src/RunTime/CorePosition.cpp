// The engine's side of a decoded position: the environment's instant does
// the work; the engine answers where the performance stands.
#include "RunTime/CadenziumCore.hpp"

#include "Exp/Environment.hpp"
#include "Listening/CadAlign.hpp"
#include "RunTime/CadScheduler.hpp"
#include "Base/Console.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <cmath>

namespace {
int index_of(const Event* e) {
    return e ? e->index() : 0;
}
} // namespace

void cadenzium_core::updatePosition(int pos) {
    if (!x_netscore) return;
    if (pos > x_netscore->get_cur_index()) {
        CAD_INTERNAL_ERROR(str_printf("position %d out of the score", pos));
        return;
    }
    // The sub-event of a trill or multi-event that the decoder heard.
    global_env->inner_event = align->sub_position();
    global_env->updatePosition(pos);
}

int cadenzium_core::Position() const {
    return index_of(global_env->current_event);
}
int cadenzium_core::lastPosition() const {
    return index_of(global_env->previous_event);
}
int cadenzium_core::lastAction() const {
    return index_of(global_env->last_action_event);
}

// At the top of a score the tempo starts from the first event's: the
// listening machine, the scheduler and the environment take its period.
void cadenzium_core::apply_first_event_tempo() {
    if (!x_netscore || x_netscore->CountEvents() == 0) return;
    const float t = x_netscore->events[1]->ScoreTempo();
    if (!tempo_from_first_event || !(t > 0)) return;
    const double period = std::fabs(t);
    listening_tempo_update(period);
    scheduler->reset_data(period);
    global_env->last_tempo = static_cast<float>(period);
}
