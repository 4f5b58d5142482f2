// The engine's calls into the listening machine, in one place.
#include "RunTime/CadenziumCore.hpp"

#include "Exp/Environment.hpp"
#include "Exp/TempoVar.hpp"
#include "Listening/CadAlign.hpp"
#include "Listening/Tempo.hpp"
#include "Listening/TempoTracking.hpp"
#include "RunTime/CadScheduler.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <atomic>

namespace {
std::atomic<int> instances{0};
} // namespace

int cadenzium_core::instance_count() { return instances; }

// Construction and destruction live here: they need the complete types of
// the listening machine the engine owns.
cadenzium_core::cadenzium_core() {
    x_netscore = new Score(this, "", false);
    global_env = new GlobalEnvironment(this, this);
    init_envs.assign(1, global_env);
    envs = &init_envs;
    scheduler = std::make_unique<t_scheduler>(*this);
    construct_listening();
    frame_buffer.assign(static_cast<size_t>(window_size), 0.0f);
    ++instances;
}

cadenzium_core::~cadenzium_core() {
    running = 0;
    Killall();
    scheduler.reset(); // its clocks call into the environment
    destroy_listening();
    for (auto& [name, score] : preloaded_scores) {
        if (score == x_netscore) x_netscore = nullptr;
        delete score;
    }
    delete x_netscore;
    for (Score* s : retired_scores) delete s;
    delete global_env;
}

void cadenzium_core::construct_listening() {
    align = std::make_unique<CadAlign>(this);
    tempo = std::make_unique<t_tempo>(this);
    tracking = std::make_unique<TempoTracking>();
    set_tempo_oscillator_factory(make_t_tempo_var);
    align->set_verbosity(verbosity);
}

void cadenzium_core::destroy_listening() {
    align.reset();
    tempo.reset();
    tracking.reset();
}

// Back to the top of the score: the observations, the oscillator and the
// onset bookkeeping start again.
void cadenzium_core::reset_listening() {
    if (!x_netscore || x_netscore->CountEvents() == 0) return;
    align->setPointers(&obs_iomap, tempo.get());
    tempo->init();
    tracking->reset();
}

void cadenzium_core::listening_set_score() {
    if (x_netscore) align->setScore(x_netscore);
}

void cadenzium_core::listening_set_position(int pos) { align->set_Position(pos); }

void cadenzium_core::listening_front_end(const float* window) { align->SigProc_frontend(window); }

void cadenzium_core::listening_step() {
    align->tempo_update_on = tempo_update_on;
    align->Align();
}

void cadenzium_core::listening_observe(int n, const float* values) {
    align->set_observation(0, values, n);
    align->MIDI_prepareObs();
}

void cadenzium_core::listening_tempo_update(double period) { tempo->TempoUpdate(period); }

void cadenzium_core::listening_track_tempo(const PositionChange& change) {
    tracking->track_tempo_from_position_update(*x_netscore, *tempo, change);
}

float cadenzium_core::listening_energy() const { return align->energy; }

double cadenzium_core::current_tempo_bpm() { return tempo ? tempo->get_tempo() : 0; }
