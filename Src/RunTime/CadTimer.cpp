#include "RunTime/CadTimer.hpp"

#include "RunTime/CadScheduler.hpp"

namespace {
double tempo_or(double tempo, double fallback) {
    return tempo > 0.0 ? tempo : fallback;
}
} // namespace

double CadTimer::seconds_in_beats(double seconds, double, double, double tempo) const {
    return seconds * tempo_or(tempo, local_tempo) / 60.0;
}

double CadTimer::beats_in_seconds(double beats, double, double, double tempo) const {
    return beats * 60.0 / tempo_or(tempo, local_tempo);
}

void CadTimer::real_beat_position(double pos) {
    last_pos = pos;
    last_ref_time = now();
}

double CadTimer::get_local_tempo(double, double) {
    return local_tempo;
}

double CadTimer::now() const {
    return sched ? sched->env_now() : 0.0;
}
