// The subcommands of the `cadenzium` program, callable from tests.
#pragma once

#include <iosfwd>
#include <string>

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

struct FollowOptions {
    std::string score;
    std::string midi;
    std::string trace; // a file, "-" for standard output, empty for none
    bool realtime = false;
    bool quiet = false;
    int verbosity = 0;
    // Seconds the follower and the electronics go on after the last note.
    double tail = 2.0;
    // Listen with the engine's defaults rather than the piano profile.
    bool design_listening = false;
};

// Follows a recorded performance against a score and reports each position
// change. Returns the process exit status.
int run_follow(const FollowOptions& options, std::ostream& out);
