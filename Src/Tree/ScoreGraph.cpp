// The score as a graph in the dot language: the events on a spine, each
// action a node with its static date, each compound action a cluster, and
// an edge from an action to the next one of its block carrying the delay.
// Edges are written after every node, at the top level, so that naming a
// node in an edge never moves it into another cluster.
#include "Tree/Ordering.hpp"

#include "Base/ExactNumber.hpp"
#include "Tree/Action.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <ostream>
#include <sstream>

namespace {

// Text inside a double-quoted dot string.
std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        if (c == '\n' || c == '\t') {
            out += ' ';
            continue;
        }
        out += c;
    }
    return out;
}

std::string delay_text(const CadDuration& d) {
    if (is_zero_delay(&d)) return "";
    std::ostringstream out;
    out << d;
    return out.str();
}

bool transparent(const Action& a) {
    return a.hidden || a.is_atomic_sequence();
}

// Whether the graph shows anything that `a` holds (the reader's own
// actions, as the step of a simplified curve, are not shown).
bool holds_shown_actions(const Action& a) {
    for (const ActionChild& child : children_of(a))
        if (!transparent(*child.action) || holds_shown_actions(*child.action)) return true;
    return false;
}

struct Edge {
    std::string from, to, label, style;
};

class DotWriter {
public:
    explicit DotWriter(std::ostream& o)
        : out(o) {}

    void score(const Score& s);

private:
    std::ostream& out;
    std::vector<Edge> edges;
    int next_id = 0;
    int depth = 1;

    std::string indent() const { return std::string(static_cast<size_t>(4 * depth), ' '); }
    void event(const Event& e);
    std::string node(const Action& a, const StaticDate& date, const char* shape);
    std::string action(const Action& a, const std::string& from, const Edge& style, const StaticDate& date);
    std::string body(const Action& a, const std::string& from, std::string first_label,
                     const StaticDate& date);
};

std::string event_id(const Event& e) {
    return "e" + std::to_string(e.index());
}

void DotWriter::event(const Event& e) {
    std::ostringstream line;
    e.show(line, false);
    out << indent() << event_id(e) << " [shape=box, style=filled, fillcolor=\"#dce6f2\", label=\""
        << e.index() << ": " << escaped(shortened(line.str())) << "\\nbeat " << exact_number(e.beatcum())
        << "\"];\n";
}

std::string DotWriter::node(const Action& a, const StaticDate& date, const char* shape) {
    const std::string id = "a" + std::to_string(next_id++);
    out << indent() << id << " [shape=" << shape << ", label=\"" << escaped(action_text(a)) << "\\n"
        << date.text() << "\"];\n";
    return id;
}

// The actions that `a` holds, from its node `from`. A block's actions are
// chained, each from the one before; the others start from the holder.
std::string DotWriter::body(const Action& a, const std::string& from, std::string first_label,
                            const StaticDate& date) {
    std::string previous = from, first;
    StaticDate previous_date = date;
    for (const ActionChild& child : children_of(a)) {
        const Action& c = *child.action;
        std::string label = delay_text(c.delay);
        if (!first_label.empty()) label = first_label, first_label.clear();
        std::string id;
        switch (child.run) {
        case ChildRun::Sequence:
            previous_date = previous_date.after(c.delay);
            id = action(c, previous, {"", "", label, ""}, previous_date);
            previous = id;
            break;
        case ChildRun::Branch:
            id = action(c, from, {"", "", label, "style=solid"}, date.after(c.delay));
            break;
        case ChildRun::Repeated:
            id = action(c, from, {"", "", label.empty() ? "repeats" : label, "style=dashed"},
                        date.after(c.delay));
            break;
        case ChildRun::Reactive:
            id = action(c, from, {"", "", "on change", "style=dotted"}, StaticDate{0, 0, false});
            break;
        }
        if (first.empty()) first = id;
    }
    return first.empty() ? from : first;
}

// Writes `a` under `from` and gives the node that the next action of the
// block is chained from.
std::string DotWriter::action(const Action& a, const std::string& from, const Edge& style,
                              const StaticDate& date) {
    if (transparent(a)) return body(a, from, style.label.empty() ? delay_text(a.delay) : style.label, date);
    std::string id;
    if (!holds_shown_actions(a)) {
        id = node(a, date, a.is_bloc() ? "box, style=rounded" : "ellipse");
    } else {
        const int cluster = next_id;
        out << indent() << "subgraph cluster_" << cluster << " {\n";
        ++depth;
        out << indent() << "label=\"" << escaped(action_title(a))
            << "\"; style=rounded; color=\"#8899aa\";\n";
        id = node(a, date, "box, style=rounded");
        body(a, id, "", date);
        --depth;
        out << indent() << "}\n";
    }
    edges.push_back({from, id, style.label, style.style});
    return id;
}

void DotWriter::score(const Score& s) {
    out << "// Cadenzium~ static analysis of " << s.filename << "\n";
    out << "digraph score {\n";
    out << "    graph [rankdir=TB, compound=true, fontname=\"Helvetica\", fontsize=10, nodesep=0.25, "
           "ranksep=0.3];\n";
    out << "    node [fontname=\"Helvetica\", fontsize=10];\n";
    out << "    edge [fontname=\"Helvetica\", fontsize=9];\n";
    for (size_t i = 1; i < s.events.size(); ++i)
        event(*s.events[i]);
    for (size_t i = 1; i + 1 < s.events.size(); ++i) {
        const Event& e = *s.events[i];
        edges.push_back({event_id(e), event_id(*s.events[i + 1]), exact_number(e.beat_duration()),
                         "style=bold, weight=10, color=\"#4a6a8a\""});
    }
    for (const auto& e : s.events) {
        const Action* top = e->action();
        if (!top) continue;
        std::string from = event_id(*e);
        if (e->index() == 0) {
            out << "    e0 [shape=box, style=filled, fillcolor=\"#dce6f2\", label=\"before the first "
                   "event\"];\n";
        }
        action(*top, from, {"", "", delay_text(top->delay), "color=\"#888888\""},
               StaticDate{e->beatcum(), 0, true}.after(top->delay));
    }
    for (const Edge& edge : edges) {
        out << "    " << edge.from << " -> " << edge.to << " [";
        const char* separator = "";
        if (!edge.label.empty()) {
            out << "label=\"" << escaped(edge.label) << '"';
            separator = ", ";
        }
        if (!edge.style.empty()) out << separator << edge.style;
        out << "];\n";
    }
    out << "}\n";
}

} // namespace

void write_dot(std::ostream& out, const Score& score) {
    DotWriter(out).score(score);
}
