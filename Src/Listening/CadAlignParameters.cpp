// Parameters of the listening machine, and the durations of events in
// frames or seconds at the live tempo.
#include "Listening/CadAlign.hpp"

#include "Listening/StateChain.hpp"
#include "Listening/Tempo.hpp"
#include "Base/Console.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <algorithm>
#include <cmath>

// ---- parameters ----

void CadAlign::set_verbosity(int v) {
    verbosity = v;
    StateChain::verbosity = v;
}

void CadAlign::inference_decode_window_length(int n) {
    if (n < 1) return;
    const int old = decode_window_length;
    decode_window_length = n;
    if (chain) chain->set_window_length(n);
    inform("%s - Inference - Decode window length set to %i (was %i).", name(), n, old);
}

void CadAlign::inference_occupancymodel_set(double d) {
    const double old = StateChain::occupancyModel;
    StateChain::occupancyModel = d;
    inform("%s - Inference - Occupancy distribution model parameter set to %f (was %f).", name(), d, old);
}

void CadAlign::inference_rubato(int on) {
    if (on == 1) {
        StateChain::occupancyModel = 0.86;
        StateChain::probaMarkov = 0.9;
        inform("%s - Rubato mode is ON", name());
    } else if (on == 0) {
        StateChain::occupancyModel = 0.5;
        StateChain::probaMarkov = 0.85;
        inform("%s - Rubato mode is OFF", name());
    }
}

void CadAlign::inference_dummysilences_set(double d) {
    if (d < 0.0 || d > 1.0) {
        error("Dummy silence self-transition probability should be between 0.0 and 1.0!");
        return;
    }
    const double old = StateChain::probaMarkov;
    StateChain::probaMarkov = d;
    inform("%s - Inference - Dummy silence self-transition probability set to %f (was %f).", name(), d, old);
}

void CadAlign::inference_version_set(int n) {
    if (n < 0) {
        error("Inference version should be >= 0");
        return;
    }
    const int old = StateChain::INFERENCE_VERSION;
    StateChain::INFERENCE_VERSION = n;
    inform("%s - Inference - Version set to %i (was %i).", name(), n, old);
}

void CadAlign::inference_common_transition(double d) {
    if (d < 0.0 || d > 1.0) {
        error("%s - Inference - The common transition probability should be between 0 and 1.", name());
        return;
    }
    const double old = StateChain::common_transition;
    StateChain::common_transition = d;
    inform("%s - Inference - Common transition probability set to %.2e (was %.2e).", name(), d, old);
}

void CadAlign::inference_dummy_observations(int on) {
    dummy_observations = on;
    inform("%s - Inference - Dummy observations are %s.", name(),
         on ? "ON (following on durations alone)" : "OFF");
}

void CadAlign::inference_print_enable(int on) {
    print_enabled = on != 0;
    if (!print_enabled && trace.is_open()) trace.close();
    inform("%s - Inference - Printing of inference traces %s.", name(), print_enabled ? "ON" : "OFF");
}

void CadAlign::set_nofharm(int n) {
    if (n < 1) {
        error("Number of harmonics must be an integer greater than zero!");
        return;
    }
    harmlist.clear();
    for (int h = n; h >= 1; --h)
        harmlist.push_back(h);
    invalidate_templates();
}

// ---- durations ----

// The tracker's period, or the score's when no tracker is connected.
double CadAlign::beat_period(const Event* e) const {
    if (tempo_source) return tempo_source->period;
    return e ? std::fabs(e->ScoreTempo()) : 1.0;
}

float CadAlign::FrameDurationFloat(const Event* e, double beats) const {
    return static_cast<float>(beats * beat_period(e) / (hop / samplerate));
}

// An event under a modulated tempo change (a negative score period) is
// scaled by the ratio of its score tempo to that of the current position.
double CadAlign::score_tempo_ratio(int i) const {
    const int cur = accepted;
    const int n = score ? static_cast<int>(score->events.size()) : 0;
    if (i == cur || cur < 0 || cur >= n) return 1.0;
    const float ti = score->events[static_cast<size_t>(i)]->ScoreTempo();
    const float tc = score->events[static_cast<size_t>(cur)]->ScoreTempo();
    if (ti == tc || ti >= 0 || tc == 0) return 1.0;
    return std::fabs(ti / tc);
}

float CadAlign::FrameDurationFloat(int i) const {
    const Event* e = score->events.at(static_cast<size_t>(i)).get();
    return FrameDurationFloat(e, e->beat_duration() * score_tempo_ratio(i));
}

int CadAlign::FrameDuration(int i) const {
    return static_cast<int>(std::lround(FrameDurationFloat(i)));
}

float CadAlign::IOIFrameDurationFloat(int i) const {
    const Event* e = score->events.at(static_cast<size_t>(i)).get();
    return FrameDurationFloat(e, e->IOI_beat_duration() * score_tempo_ratio(i));
}

int CadAlign::IOIFrameDuration(int i) const {
    return static_cast<int>(std::lround(IOIFrameDurationFloat(i)));
}

double CadAlign::SecondsDuration(int i) const {
    const Event* e = score->events.at(static_cast<size_t>(i)).get();
    return e->beat_duration() * score_tempo_ratio(i) * beat_period(e);
}

double CadAlign::IOISecondsDuration(int i) const {
    const Event* e = score->events.at(static_cast<size_t>(i)).get();
    return e->IOI_beat_duration() * score_tempo_ratio(i) * beat_period(e);
}

int CadAlign::eventToIndex(const Event* e) const {
    if (!score || !e) return -1;
    const auto it = std::find_if(score->events.begin(), score->events.end(),
                                 [e](const std::unique_ptr<Event>& owned) { return owned.get() == e; });
    return it == score->events.end() ? -1 : static_cast<int>(it - score->events.begin());
}
