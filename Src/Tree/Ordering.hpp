// The static analysis of a score's dates. Each action is dated from the
// event it hangs from: the event's beat, plus the delays on the way to the
// action, summed per unit (beats of the followed tempo, seconds). Two dates
// are ordered only when both sums say so, whatever the tempo; a date that
// depends on run time (a computed delay, a whenever body, an abort
// handler) is not ordered at all. `Ordering` keeps the dates met, with the
// actions at each, closes them under least upper bounds (the first date at
// which two unordered dates have both passed), and shows the order as a
// list or as a graph in the dot language.
#pragma once

#include "Tree/ActionWalk.hpp"

#include <iosfwd>
#include <string>
#include <vector>

class Action;
class CadDuration;
class Event;
class Score;

struct StaticDate {
    double beats = 0;
    double seconds = 0;
    bool known = true;

    // This date moved by a delay; unknown when the delay is.
    StaticDate after(const CadDuration& delay) const;
    // Ordered whatever the tempo: no later in beats and no later in seconds.
    bool at_or_before(const StaticDate& other) const;
    bool same(const StaticDate& other) const;
    // The first date at which both have passed.
    StaticDate lub(const StaticDate& other) const;
    // "beat 1.5", "beat 2 + 0.25s", "at run time".
    std::string text() const;
};

// One action of the score with its date and how it runs.
struct DatedAction {
    const Action* action = nullptr;
    const Event* event = nullptr; // the event it hangs from
    StaticDate date;
    bool repeated = false; // in a loop body or a curve step: the first run is dated
};

// The dated actions of the whole score, in the order they are written.
std::vector<DatedAction> collect_dates(const Score& score);

class Ordering {
public:
    // Adds the date of an action of the score (actions at one date share a node).
    void add(const DatedAction& dated);
    // Adds a date reached by no action, as the bound of two others.
    void add_in_lub(const StaticDate& date);
    // Adds the least upper bound of every pair of unordered known dates,
    // until there is none left to add.
    void completion();

    // "Nodes:" then each date with its actions, in order of beats then
    // seconds; then the edges of the order, from each date to the dates
    // just after it.
    void show(std::ostream& out) const;
    size_t node_count() const { return nodes.size(); }

    struct Node {
        StaticDate date;
        std::vector<DatedAction> actions; // empty for a bound
    };
    const std::vector<Node>& get_nodes() const { return nodes; }
    // The pairs (i, j) of nodes where j comes just after i.
    std::vector<std::pair<size_t, size_t>> covering_edges() const;

private:
    Node& node_at(const StaticDate& date);
    std::vector<Node> nodes;
};

// How the analysis names an action: its word and the label that the score
// wrote ("group chord_halo", "curve level"), then its arguments or
// condition ("print a b", "loop pulse 0.5 during [4#]"), cut at 48 characters.
std::string action_title(const Action& a);
std::string action_text(const Action& a);
std::string shortened(std::string text);

// The analysis as text (the dates and their order) and as a graph in the
// dot language: one box per event on the spine of the score, the actions
// under it, a cluster for each compound action, the delays on the edges.
struct StaticAnalysis {
    std::string text;
    std::string dot;
};
StaticAnalysis static_analysis(const Score& score);

// The graph alone.
void write_dot(std::ostream& out, const Score& score);
