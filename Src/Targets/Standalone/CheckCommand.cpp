#include "Commands.hpp"

#include "Base/Console.hpp"
#include "StandaloneHost.hpp"
#include "Tree/Score.hpp"

#include <ostream>

namespace {

// The tempo of the score's first event, in BPM (0 when it has none).
double first_bpm(const Score& score) {
    const float period = score.initial_tempo();
    return period > 0 ? 60.0 / period : 0;
}

} // namespace

int run_check(const CheckOptions& options, std::ostream& out) {
    StandaloneHost host;
    cadenzium_core& engine = host.engine();
    engine.set_verbosity(options.verbosity);
    if (!engine.ScoreParsing(options.score)) return 1;

    const Score& score = *engine.score();
    out << options.score << ": " << score.CountEvents() << " events, " << score.CountActions() << " actions, tempo "
        << first_bpm(score) << " bpm\n";
    if (options.list_events) score.print_events(out);
    return 0;
}
