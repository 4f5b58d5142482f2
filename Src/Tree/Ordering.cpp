#include "Tree/Ordering.hpp"

#include "Base/ExactNumber.hpp"
#include "Tree/Action.hpp"
#include "Tree/Duration.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <ostream>
#include <sstream>

namespace {

constexpr double kEpsilon = 0.0001; // as every date test of the system
// Beyond this many dates, the bounds and the order (cubic in the count)
// are left out of the listing.
constexpr size_t kLargestOrder = 300;

bool close(double a, double b) {
    return std::fabs(a - b) < kEpsilon;
}

// Whether `a` stands in the score as its own action, rather than a
// wrapper that the reader made around actions that were written.
bool written(const Action& a) {
    return !a.hidden && !a.is_atomic_sequence();
}

struct DateCollector {
    std::vector<DatedAction>& out;
    const Event* event;

    void action(const Action& a, const StaticDate& date, bool repeated) {
        if (written(a)) out.push_back({&a, event, date, repeated});
        StaticDate previous = date;
        for (const ActionChild& child : children_of(a)) {
            const Action& c = *child.action;
            switch (child.run) {
            case ChildRun::Sequence:
                previous = previous.after(c.delay);
                action(c, previous, repeated);
                break;
            case ChildRun::Branch:
                action(c, date.after(c.delay), repeated);
                break;
            case ChildRun::Repeated:
                action(c, date.after(c.delay), true);
                break;
            case ChildRun::Reactive:
                action(c, StaticDate{0, 0, false}, repeated);
                break;
            }
        }
    }
};

} // namespace

// ---- names ----

std::string shortened(std::string text) {
    constexpr size_t longest = 48;
    if (text.size() > longest) text = text.substr(0, longest - 3) + "...";
    return text;
}

// The name the score gives: none for a hidden one, the receiver for a
// simplified curve.
std::string written_label(const Action& a) {
    const std::string& label = a.get_label();
    const std::string simple = "__simple_curve__";
    if (is_an_anonymous_name(label)) return "";
    if (label.rfind(simple, 0) == 0) return label.substr(simple.size());
    return label;
}

std::string action_title(const Action& a) {
    const std::string label = a.is_bloc() ? written_label(a) : "";
    return label.empty() ? a.word() : a.word() + " " + label;
}

std::string action_text(const Action& a) {
    std::ostringstream out;
    out << action_title(a);
    a.show_head(out);
    if (a.is_bloc()) a.show_tail(out);
    // One line: an else branch, for one, prints its body.
    std::string text = out.str();
    text = text.substr(0, text.find('\n'));
    const std::string opened_else = " else {";
    if (text.ends_with(opened_else)) text.resize(text.size() - opened_else.size());
    return shortened(text);
}

// ---- dates ----

StaticDate StaticDate::after(const CadDuration& delay) const {
    StaticDate moved = *this;
    if (is_zero_delay(&delay)) return moved;
    double value = 0;
    if (!known || !delay.eval_in_score(value)) return StaticDate{0, 0, false};
    if (delay.unit == DURATION_SECONDS)
        moved.seconds += value;
    else
        moved.beats += value;
    return moved;
}

bool StaticDate::at_or_before(const StaticDate& other) const {
    if (!known || !other.known) return false;
    return beats < other.beats + kEpsilon && seconds < other.seconds + kEpsilon;
}

bool StaticDate::same(const StaticDate& other) const {
    if (!known || !other.known) return !known && !other.known;
    return close(beats, other.beats) && close(seconds, other.seconds);
}

StaticDate StaticDate::lub(const StaticDate& other) const {
    if (!known || !other.known) return StaticDate{0, 0, false};
    return {std::max(beats, other.beats), std::max(seconds, other.seconds), true};
}

std::string StaticDate::text() const {
    if (!known) return "at run time";
    std::string text = "beat " + exact_number(beats);
    if (!close(seconds, 0)) text += " + " + exact_number(seconds) + "s";
    return text;
}

std::vector<DatedAction> collect_dates(const Score& score) {
    std::vector<DatedAction> dated;
    for (const auto& e : score.events) {
        const Action* top = e->action();
        if (!top) continue;
        DateCollector collector{dated, e.get()};
        collector.action(*top, StaticDate{e->beatcum(), 0, true}.after(top->delay), false);
    }
    return dated;
}

// ---- the order ----

Ordering::Node& Ordering::node_at(const StaticDate& date) {
    for (Node& n : nodes)
        if (n.date.same(date)) return n;
    nodes.push_back({date, {}});
    return nodes.back();
}

void Ordering::add(const DatedAction& dated) {
    node_at(dated.date).actions.push_back(dated);
}

void Ordering::add_in_lub(const StaticDate& date) {
    assert(date.known && "a bound is a known date");
    node_at(date);
}

void Ordering::completion() {
    for (bool added = true; added && nodes.size() <= kLargestOrder;) {
        added = false;
        const size_t count = nodes.size();
        for (size_t i = 0; i < count; ++i)
            for (size_t j = i + 1; j < count; ++j) {
                const StaticDate& a = nodes[i].date;
                const StaticDate& b = nodes[j].date;
                if (!a.known || !b.known || a.at_or_before(b) || b.at_or_before(a)) continue;
                const size_t before = nodes.size();
                add_in_lub(a.lub(b));
                added = added || nodes.size() > before;
            }
    }
}

std::vector<std::pair<size_t, size_t>> Ordering::covering_edges() const {
    auto strictly = [&](size_t i, size_t j) {
        return i != j && nodes[i].date.at_or_before(nodes[j].date) && !nodes[i].date.same(nodes[j].date);
    };
    std::vector<std::pair<size_t, size_t>> edges;
    for (size_t i = 0; i < nodes.size(); ++i)
        for (size_t j = 0; j < nodes.size(); ++j) {
            if (!strictly(i, j)) continue;
            bool between = false;
            for (size_t k = 0; k < nodes.size() && !between; ++k)
                between = strictly(i, k) && strictly(k, j);
            if (!between) edges.emplace_back(i, j);
        }
    return edges;
}

namespace {

bool earlier(const Ordering::Node& a, const Ordering::Node& b) {
    if (a.date.known != b.date.known) return a.date.known;
    if (!close(a.date.beats, b.date.beats)) return a.date.beats < b.date.beats;
    return a.date.seconds < b.date.seconds;
}

} // namespace

void Ordering::show(std::ostream& out) const {
    std::vector<size_t> order(nodes.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return earlier(nodes[a], nodes[b]); });
    out << "Nodes:\n";
    for (size_t i : order) {
        const Node& n = nodes[i];
        out << "    " << n.date.text() << ':';
        if (n.actions.empty()) out << " (bound)";
        const char* separator = " ";
        for (const DatedAction& d : n.actions) {
            out << separator << action_text(*d.action) << (d.repeated ? " (first run)" : "");
            separator = ", ";
        }
        out << '\n';
    }
    out << "Order:\n";
    if (nodes.size() > kLargestOrder) {
        out << "    (" << nodes.size() << " dates: too many to order)\n";
        return;
    }
    for (const auto& [from, to] : covering_edges())
        out << "    " << nodes[from].date.text() << " -> " << nodes[to].date.text() << '\n';
}

StaticAnalysis static_analysis(const Score& score) {
    Ordering ordering;
    for (const DatedAction& d : collect_dates(score))
        ordering.add(d);
    ordering.completion();
    std::ostringstream text, dot;
    ordering.show(text);
    write_dot(dot, score);
    return {text.str(), dot.str()};
}
