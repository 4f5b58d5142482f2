#include "Commands.hpp"

#include "RunTime/Console.hpp"
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
    host.set_verbosity(options.verbosity);
    ConsoleSink previous;
    if (options.quiet) {
        previous = set_console_sink([](ConsoleLevel level, std::string_view line) {
            if (level == ConsoleLevel::Error) fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
        });
    }
    const bool read = host.ScoreParsing(options.score);
    if (options.quiet) set_console_sink(previous);
    if (!read) return 1;

    const Score& score = *host.get_x_netscore();
    out << options.score << ": " << score.CountEvents() << " events, " << score.CountActions() << " actions, tempo "
        << first_bpm(score) << " bpm\n";
    if (options.list_events) score.print_events(out);
    return 0;
}
