// The engine's calls into the listening machine, in one place.
#include "RunTime/CadenziumCore.hpp"

#include "Tree/Score.hpp"

#include <atomic>

#if __has_include("Listening/CadAlign.hpp") && __has_include("Listening/Tempo.hpp")
#include "Listening/CadAlign.hpp"
#include "Listening/Tempo.hpp"
#define CAD_LISTENING 1
#else
class CadAlign {};
class t_tempo {};
#define CAD_LISTENING 0
#endif

namespace {
std::atomic<int> instances{0};
} // namespace

int cadenzium_core::instance_count() { return instances; }

// Construction and destruction live here: they need the complete types of
// the listening machine the engine owns.
cadenzium_core::cadenzium_core() {
    x_netscore = new Score(this, "", false);
    init_envs.clear();
    envs = &init_envs;
    construct_listening();
    frame_buffer.assign(static_cast<size_t>(window_size), 0.0f);
    ++instances;
}

cadenzium_core::~cadenzium_core() {
    running = 0;
    Killall();
    for (auto& [name, score] : preloaded_scores) {
        if (score == x_netscore) x_netscore = nullptr;
        delete score;
    }
    delete x_netscore;
    for (Score* s : retired_scores) delete s;
    destroy_listening();
}

void cadenzium_core::construct_listening() {}
void cadenzium_core::destroy_listening() {
    align.reset();
    tempo.reset();
}
void cadenzium_core::reset_listening() {}
void cadenzium_core::listening_set_score() {}
void cadenzium_core::listening_set_position(int) {}
void cadenzium_core::listening_front_end(const float*) {}
void cadenzium_core::listening_step() {}
void cadenzium_core::listening_observe(int, const float*) {}
void cadenzium_core::listening_tempo_update(double) {}
void cadenzium_core::listening_track_tempo(int) {}
double cadenzium_core::current_tempo_bpm() { return 0; }
