#include "FollowScoring.hpp"

#include <cmath>
#include <fstream>
#include <sstream>

std::vector<TruthEvent> read_truth(const std::string& path) {
    std::vector<TruthEvent> truth;
    std::ifstream in(path);
    std::string line;
    std::getline(in, line); // header
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        TruthEvent e;
        std::string onset;
        if (!(fields >> e.index >> e.beat >> onset)) continue;
        e.onset = onset == "-" ? -1 : std::stod(onset);
        truth.push_back(e);
    }
    return truth;
}

void FollowScore::add(const FollowScore& o) {
    evaluated += o.evaluated;
    correct += o.correct;
    missed += o.missed;
    misaligned += o.misaligned;
    error_sum += o.error_sum;
    completion += o.completion;
}

FollowScore score_follow(const std::vector<TruthEvent>& truth, const std::map<int, double>& reports,
                         double tolerance) {
    FollowScore score;
    int last_index = 0, last_correct = 0;
    for (const TruthEvent& e : truth) {
        last_index = std::max(last_index, e.index);
        if (e.onset < 0) continue;
        ++score.evaluated;
        auto it = reports.find(e.index);
        if (it == reports.end()) {
            ++score.missed;
            continue;
        }
        const double err = std::fabs(it->second - e.onset);
        if (err > tolerance) {
            ++score.misaligned;
            continue;
        }
        ++score.correct;
        score.error_sum += err;
        last_correct = std::max(last_correct, e.index);
    }
    score.completion = last_index ? static_cast<double>(last_correct) / last_index : 0;
    return score;
}
