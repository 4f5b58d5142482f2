// cadenzium: the standalone program.
#include "Base/Console.hpp"
#include "Commands.hpp"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>

namespace {

// The engine's console on the terminal: everything on standard error, so
// that standard output carries only the command's results. The engine's
// account of what it does shows with -v; quiet keeps errors only.
void terminal_console(bool quiet, int verbosity) {
    set_console_sink([quiet, verbosity](ConsoleLevel level, std::string_view line) {
        const bool error = level == ConsoleLevel::Error || level == ConsoleLevel::Fault;
        if (quiet && !error) return;
        if (level == ConsoleLevel::Info && verbosity <= 0) return;
        std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
    });
}

// -v shows what the engine does, -vv more; --verbosity N says how much.
void add_verbosity(CLI::App& cmd, int& verbosity) {
    cmd.add_flag("-v", verbosity, "Show what the engine does (repeat for more detail)");
    cmd.add_option("--verbosity", verbosity, "Engine verbosity (0 to 5)")->check(CLI::Range(0, 5));
}

// The options of `cadenzium follow`. The live inputs take an optional port:
// whether they were given at all is read after parsing (see live_inputs).
void add_follow_options(CLI::App& cmd, FollowOptions& follow) {
    cmd.add_option("score", follow.score, "The score file")->required();
    CLI::Option_group* input =
        cmd.add_option_group("performance", "Where the performance comes from (one of)");
    input->add_option("--midi", follow.midi, "A Standard MIDI File of the performance");
    input->add_option("--audio", follow.audio,
                      "A sound file of the performance (WAV, AIFF, FLAC; first channel)");
    input
        ->add_option(
            "--live-audio", follow.audio_port,
            "Listen live through JACK on cadenzium:in, connected to PORT if given (system:capture_1)")
        ->expected(0, 1);
    input
        ->add_option("--live-midi", follow.midi_port,
                     "Listen live to the ALSA MIDI port whose name contains PORT, or to a virtual port")
        ->expected(0, 1);
    input->require_option(1);
    cmd.add_option("--jack-server", follow.jack_server, "The JACK server to use (default: the default one)");
    // Their ranges are checked with the other options, in the follow command.
    cmd.add_option("--duration", follow.duration,
                   "Seconds a live follow lasts, up to a day (default: until Ctrl-C)");
    cmd.add_flag("--realtime", follow.realtime, "Pace a recorded performance by the wall clock");
    cmd.add_flag("--design-listening", follow.design_listening,
                 "Listen with the engine's default observation instead of the piano profile");
    cmd.add_option("--set", follow.listening,
                   "A listening setting NAME=VALUE over the input's profile (repeatable; see README)");
    cmd.add_option("--trace", follow.trace, "Write a JSON Lines trace to FILE ('-' for standard output)");
    cmd.add_option("--tail", follow.tail,
                   "Seconds the follower and the electronics go on after the last note, up to an hour");
    cmd.add_option("--send-osc", follow.send_osc,
                   "Forward every message of the score to HOST:PORT by OSC, as /receiver values...");
    cmd.add_option("--start", follow.start,
                   "Start from LABEL or BEAT, the score's actions run up to it first (MIDI file, offline)");
    cmd.add_option("--render", follow.render,
                   "Render the score's own sound (its fluidsynth notes) to a WAV FILE (offline only)");
    cmd.add_flag("--sound", follow.sound, "Play the score's own sound through JACK while following");
    cmd.add_option("--soundfont", follow.soundfont, "The sound font of the score's fluidsynth notes")
        ->capture_default_str();
    cmd.add_flag("--practice", follow.practice,
                 "Practice: the score's actions stay silent, onsets are measured, a report comes at the end");
    cmd.add_option("--commands", follow.commands_port, "Take commands by OSC at /cadenzium/cmd on PORT")
        ->check(CLI::Range(1, 65535));
    cmd.add_option("--editor", follow.editor, "Send positions and messages to an editor at HOST:PORT by OSC");
    cmd.add_flag("-q,--quiet", follow.quiet, "Print errors only on the console");
    add_verbosity(cmd, follow.verbosity);
}

void add_play_options(CLI::App& cmd, PlayOptions& play) {
    cmd.add_option("score", play.score, "The score file")->required();
    cmd.add_option("--from", play.from, "Start from LABEL or BEAT, the score's actions run up to it first");
    cmd.add_option("--to", play.to, "Stop before the first event beyond LABEL or BEAT");
    cmd.add_flag("--realtime", play.realtime, "Play by the wall clock instead of offline");
    cmd.add_option("--trace", play.trace, "Write a JSON Lines trace to FILE ('-' for standard output)");
    cmd.add_option("--tail", play.tail, "Seconds the electronics go on after the last event");
    cmd.add_option("--render", play.render,
                   "Render the score's own sound (its fluidsynth notes) to a WAV FILE (offline only)");
    cmd.add_option("--soundfont", play.soundfont, "The sound font of the score's fluidsynth notes")
        ->capture_default_str();
    cmd.add_flag("-q,--quiet", play.quiet, "Print errors only on the console");
    add_verbosity(cmd, play.verbosity);
}

void live_inputs(const CLI::App& cmd, FollowOptions& follow) {
    follow.live_audio = cmd.count("--live-audio") > 0;
    follow.live_midi = cmd.count("--live-midi") > 0;
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
    add_verbosity(*check_cmd, check.verbosity);

    PrintOptions print;
    CLI::App* print_cmd = app.add_subcommand("print", "Read a score and print it back as score text");
    print_cmd->add_option("score", print.score, "The score file")->required();
    print_cmd->add_flag("--structure", print.structure, "Print the outline: events and compound actions");
    print_cmd->add_flag("--labels", print.labels, "Print the labels of events and actions");
    print_cmd->add_flag("-q,--quiet", print.quiet, "Print errors only");
    add_verbosity(*print_cmd, print.verbosity);

    AnalyseOptions analyse;
    CLI::App* analyse_cmd =
        app.add_subcommand("analyse", "Read a score and analyse the dates of its actions");
    analyse_cmd->add_option("score", analyse.score, "The score file")->required();
    analyse_cmd->add_option("--dot", analyse.dot,
                            "Write the graph in the dot language to FILE ('-': standard output)");
    analyse_cmd->add_option("--png", analyse.png, "Draw the graph to FILE with graphviz's dot");
    analyse_cmd->add_flag("-q,--quiet", analyse.quiet, "Print errors only");
    add_verbosity(*analyse_cmd, analyse.verbosity);

    FollowOptions follow;
    CLI::App* follow_cmd = app.add_subcommand("follow", "Follow a performance against a score");
    add_follow_options(*follow_cmd, follow);

    CLI::App* info_cmd = app.add_subcommand("info", "Print the version and the sound engines of this build");

    PlayOptions play;
    CLI::App* play_cmd = app.add_subcommand("play", "Play a score by itself at its own tempo");
    add_play_options(*play_cmd, play);

    CLI11_PARSE(app, argc, argv);
    if (info_cmd->parsed()) return run_info(std::cout);
    if (check_cmd->parsed()) {
        terminal_console(check.quiet, check.verbosity);
        return run_check(check, std::cout);
    }
    if (print_cmd->parsed()) {
        terminal_console(print.quiet, print.verbosity);
        return run_print(print, std::cout);
    }
    if (analyse_cmd->parsed()) {
        terminal_console(analyse.quiet, analyse.verbosity);
        return run_analyse(analyse, std::cout);
    }
    if (follow_cmd->parsed()) {
        terminal_console(follow.quiet, follow.verbosity);
        live_inputs(*follow_cmd, follow);
        return run_follow(follow, std::cout);
    }
    if (play_cmd->parsed()) {
        terminal_console(play.quiet, play.verbosity);
        return run_play(play, std::cout);
    }
    return 1;
}
