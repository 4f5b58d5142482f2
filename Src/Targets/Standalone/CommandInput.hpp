// Commands typed on standard input while the program follows live, one per
// line: a command's name and its arguments, as a patch would send them
// ("gotolabel B", "tempo 72", "setvar x 3", "playstring \"print hello\"").
// Each runs on the reader's thread, is reported when it is unknown or its
// arguments do not fit, and is recorded in the trace.
#pragma once

#include "Exp/Values.hpp"

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

class cadenzium_core;
class FollowReport;

// A typed line as a command: its name, and its words as values (a number
// as an int or a float, a word or a quoted text as a string). False for a
// line with no name (blank).
bool read_command_line(const std::string& line, std::string& name, std::vector<Value>& args);

// Runs `line` on `engine`, recording it in `report` first.
void run_command_line(cadenzium_core& engine, FollowReport& report, const std::string& line);

class CommandInput {
public:
    using Sink = std::function<void(const std::string& line)>;

    // Reads lines from file descriptor `fd` on a thread of its own and hands
    // each to `sink`, until the end of the input or destruction.
    CommandInput(int fd, Sink sink);
    ~CommandInput();
    CommandInput(const CommandInput&) = delete;
    CommandInput& operator=(const CommandInput&) = delete;

private:
    void run();

    int fd;
    Sink sink;
    std::atomic<bool> stopping{false};
    std::thread thread;
};
