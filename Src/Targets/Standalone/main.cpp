// cadenzium: the standalone program.
#include "Commands.hpp"
#include "RunTime/Console.hpp"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>

namespace {

// The engine's console on the terminal: everything on standard error, so
// that standard output carries only the command's results; posts are
// dropped when quiet.
void terminal_console(bool quiet) {
    set_console_sink([quiet](ConsoleLevel level, std::string_view line) {
        if (quiet && level == ConsoleLevel::Post) return;
        std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
    });
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Cadenzium: a score follower joined to a reactive language for live electronic music"};
    app.require_subcommand(1);

    CheckOptions check;
    CLI::App* check_cmd =
        app.add_subcommand("check", "Read a score and report its events, actions and tempo");
    check_cmd->add_option("score", check.score, "The score file")->required();
    check_cmd->add_flag("--events", check.list_events, "Print every event of the score");
    check_cmd->add_flag("-q,--quiet", check.quiet, "Print errors only");
    check_cmd->add_option("-v,--verbosity", check.verbosity, "Engine verbosity (0 to 5)");

    FollowOptions follow;
    CLI::App* follow_cmd = app.add_subcommand("follow", "Follow a performance against a score");
    follow_cmd->add_option("score", follow.score, "The score file")->required();
    follow_cmd->add_option("--midi", follow.midi, "A Standard MIDI File of the performance")->required();
    follow_cmd->add_flag("--realtime", follow.realtime, "Pace the performance by the wall clock");
    follow_cmd->add_flag("--design-listening", follow.design_listening,
                         "Listen with the engine's default observation instead of the piano profile");
    follow_cmd->add_option("--trace", follow.trace,
                           "Write a JSON Lines trace to FILE ('-' for standard output)");
    follow_cmd
        ->add_option("--tail", follow.tail,
                     "Seconds the follower and the electronics go on after the last note")
        ->check(CLI::NonNegativeNumber);
    follow_cmd->add_flag("-q,--quiet", follow.quiet, "Print errors only on the console");
    follow_cmd->add_option("-v,--verbosity", follow.verbosity, "Engine verbosity (0 to 5)");

    CLI11_PARSE(app, argc, argv);
    if (check_cmd->parsed()) {
        terminal_console(check.quiet);
        return run_check(check, std::cout);
    }
    if (follow_cmd->parsed()) {
        terminal_console(follow.quiet);
        return run_follow(follow, std::cout);
    }
    return 1;
}
