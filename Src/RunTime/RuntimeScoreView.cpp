// What the function library reads of the score being run: its tempo
// changes and its events.
#include "RunTime/Runtime.hpp"

#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

std::vector<std::pair<double, double>> Runtime::score_tempi() const {
    std::vector<std::pair<double, double>> out;
    if (!score) return out;
    for (const auto& [beat, bpm] : score->tempo_changes)
        out.emplace_back(beat, bpm);
    return out;
}

std::vector<ScoreEventView> Runtime::score_events() const {
    std::vector<ScoreEventView> out;
    if (!score) return out;
    out.reserve(score->events.size());
    for (const auto& e : score->events)
        out.push_back({e->beatcum(), e->beat_duration(), e->pitch_list()});
    return out;
}

std::string Runtime::score_filename() const {
    return score ? score->filename : std::string();
}
