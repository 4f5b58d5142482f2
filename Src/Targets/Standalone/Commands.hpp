// The subcommands of the `cadenzium` program, callable from tests.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

// The General MIDI sound font of Debian's fluid-soundfont-gm.
constexpr const char* kScoreSoundFont = "/usr/share/sounds/sf2/FluidR3_GM.sf2";

struct CheckOptions {
    std::string score;
    bool list_events = false;
    bool quiet = false;
    int verbosity = 0;
};

// Reads a score and prints its event and action counts and its tempo (and
// its events when asked). Returns the process exit status: 0 when the score
// reads, 1 when it does not.
int run_check(const CheckOptions& options, std::ostream& out);

// Where the performance comes from: exactly one of `midi`, `audio`,
// `live_audio` and `live_midi`.
struct FollowOptions {
    std::string score;
    std::string midi;  // a Standard MIDI File
    std::string trace; // a file, "-" for standard output, empty for none
    bool realtime = false;
    bool quiet = false;
    int verbosity = 0;
    // Seconds the follower and the electronics go on after the last note.
    double tail = 2.0;
    // Listen with the engine's defaults rather than the piano profile.
    bool design_listening = false;
    // Listening settings by name ("hold=0.9"), over the input's profile.
    std::vector<std::string> listening;
    // A label, or a beat: the follow starts there, the score's actions run
    // up to it first (a MIDI file followed offline only).
    std::string start;

    std::string audio; // a sound file (WAV, AIFF, FLAC...), first channel
    // Live audio through JACK: the engine runs in the process callback of
    // the client "cadenzium" (input port "cadenzium:in"), to which
    // `audio_port` is connected when given ("system:capture_1").
    bool live_audio = false;
    std::string audio_port;
    std::string jack_server; // empty: the default server
    // Live MIDI through ALSA: the first input port whose name contains
    // `midi_port`, or, when empty, a virtual port "cadenzium" to connect to.
    bool live_midi = false;
    std::string midi_port;
    // Seconds a live follow lasts; 0 listens until interrupted.
    double duration = 0;

    // HOST:PORT to which every message of the score that no OSC sender of
    // the score takes is forwarded as "/receiver values..."; empty: none.
    std::string send_osc;

    // The score's own sound (its fluidsynth notes): rendered offline to
    // the WAV file `render`, or with `sound` played through JACK while it
    // follows, on the sound font `soundfont`.
    std::string render;
    bool sound = false;
    std::string soundfont = kScoreSoundFont;
    // Practice: the score's actions stay silent, each onset is measured
    // against the score, and the report is printed at the end.
    bool practice = false;
    // The OSC command port (0: none), and HOST:PORT of an editor that is
    // sent the positions and the messages (empty: none).
    int commands_port = 0;
    std::string editor;

    bool live() const { return live_audio || live_midi; }
};

// Follows a recorded performance against a score and reports each position
// change. Returns the process exit status.
int run_follow(const FollowOptions& options, std::ostream& out);

// What this build handles: its version and its sound engines. Returns 0.
int run_info(std::ostream& out);

// How `cadenzium play` plays a score by itself.
struct PlayOptions {
    std::string score;
    // A label or a beat to start from (the score run up to it first), and
    // one to stop at (the first event beyond it does not play).
    std::string from;
    std::string to;
    bool realtime = false;
    std::string trace; // a file, "-" for standard output, empty for none
    // Seconds the electronics go on after the last event.
    double tail = 2.0;
    // The score's own sound rendered offline to this WAV file, on the sound
    // font `soundfont`; empty for none.
    std::string render;
    std::string soundfont = kScoreSoundFont;
    bool quiet = false;
    int verbosity = 0;
};

struct PrintOptions {
    std::string score;
    bool structure = false; // the outline of events and compound actions
    bool labels = false;    // the labels of events and actions
    bool quiet = false;
    int verbosity = 0;
};

// Plays the score at its own tempo, reporting positions and messages as
// `follow` does: offline on the virtual clock, or paced by the wall clock.
// Returns the process exit status.
int run_play(const PlayOptions& options, std::ostream& out);

// Reads a score and prints it back as score text (or its outline, or its
// labels). Returns the process exit status: 0 when the score reads.
int run_print(const PrintOptions& options, std::ostream& out);

struct AnalyseOptions {
    std::string score;
    std::string dot; // a file for the graph in the dot language, "-" for `out`
    std::string png; // a file for the graph drawn by graphviz's `dot`
    bool quiet = false;
    int verbosity = 0;
};

// Reads a score and prints the static analysis of its dates; writes the
// graph when asked. Returns the process exit status: 0 when the score reads
// and the files asked for are written (a PNG is skipped, with a message,
// when graphviz is not installed).
int run_analyse(const AnalyseOptions& options, std::ostream& out);
