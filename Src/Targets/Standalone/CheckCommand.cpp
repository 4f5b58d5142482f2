#include "Commands.hpp"

#include "Base/Console.hpp"
#include "StandaloneHost.hpp"
#include "Tree/Attributes.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <cmath>

#include <ostream>

namespace {

// The tempo of the score's first event, in BPM (0 when it has none).
double first_bpm(const Score& score) {
    const float period = score.initial_tempo();
    return period > 0 ? 60.0 / period : 0;
}

// One event as `check --events` lists it: index, beat, the event in score
// syntax, its attributes, and the tempo when the score changes it there.
// Jump targets by label, or by index when they have none.
void list_jumps(Score& score, const Event& e, std::ostream& out) {
    const char* sep = " @jump ";
    for (int target : score.find_jump(e.index())) {
        const std::string& label = score.events[static_cast<size_t>(target)]->cuename();
        out << sep;
        if (label.empty())
            out << target;
        else
            out << label;
        sep = ", ";
    }
}

void list_event(Score& score, const Event& e, float& period, std::ostream& out) {
    out << e.toString();
    const AttributeList& attributes = e.get_attl();
    if (e.isHook()) out << " @hook";
    if (get_pizz(attributes)) out << " @pizz";
    if (get_staccato(attributes)) out << " @staccato";
    if (e.fermata()) out << " @fermata";
    if (e.jump()) list_jumps(score, e, out);
    const float p = std::fabs(e.ScoreTempo());
    if (p > 0 && p != period) out << "  [tempo " << 60.0 / p << " bpm]";
    if (p > 0) period = p;
    out << '\n';
}

void list_events(Score& score, std::ostream& out) {
    float period = 0;
    for (int i = 1; i <= score.CountEvents(); ++i)
        list_event(score, *score.events[static_cast<size_t>(i)], period, out);
}

} // namespace

int run_check(const CheckOptions& options, std::ostream& out) {
    StandaloneHost host;
    cadenzium_core& engine = host.engine();
    engine.set_verbosity(options.verbosity);
    if (!engine.ScoreParsing(options.score)) return 1;

    Score& score = *engine.score();
    out << options.score << ": " << score.CountEvents() << " events, " << score.CountActions() << " actions, tempo "
        << first_bpm(score) << " bpm\n";
    if (options.list_events) list_events(score, out);
    return 0;
}
