// Commands typed while following live: read line by line from a file
// descriptor, run on the engine, and recorded in the trace.
#include "CommandInput.hpp"
#include "ConsoleCapture.hpp"
#include "FollowReport.hpp"
#include "ScoreFiles.hpp"
#include "StandaloneHost.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <sstream>
#include <thread>
#include <unistd.h>

namespace {

TEST(CommandLine, WordsBecomeNumbersAndTextsAQuotedTextOneWord) {
    std::string name;
    std::vector<Value> args;
    ASSERT_TRUE(read_command_line("  setvar x 3 2.5 \"print hello\"", name, args));
    EXPECT_EQ(name, "setvar");
    ASSERT_EQ(args.size(), 4u);
    EXPECT_TRUE(args[1]->is_int());
    EXPECT_TRUE(args[2]->is_double());
    EXPECT_EQ(args[3]->get_string(), "print hello");
    EXPECT_FALSE(read_command_line("   ", name, args));
    EXPECT_FALSE(read_command_line("42 things", name, args)) << "a command is named by a word";
}

TEST(CommandLine, ACommandRunsAndIsRecordedInTheTrace) {
    ConsoleCapture console;
    TempScore score("bpm 60\nNOTE 60 1 A\nNOTE 62 1 B\nNOTE 64 1 C\n");
    StandaloneHost host;
    ASSERT_TRUE(host.engine().ScoreParsing(score.path));
    host.engine().cadenzium_start("");
    std::ostringstream human, trace;
    FollowReport report(&human, &trace);
    run_command_line(host.engine(), report, "gotolabel C");
    run_command_line(host.engine(), report, "tempo fast");
    EXPECT_EQ(host.engine().Position(), 2);
    EXPECT_TRUE(console.has_error("cadenzium: command 'tempo' expects a float as first argument"));
    EXPECT_EQ(trace.str(), "{\"t\":0.0,\"type\":\"command\",\"name\":\"gotolabel\",\"args\":[\"C\"]}\n"
                           "{\"t\":0.0,\"type\":\"command\",\"name\":\"tempo\",\"args\":[\"fast\"]}\n");
    EXPECT_NE(human.str().find("command gotolabel \"C\""), std::string::npos) << human.str();
}

TEST(CommandInput, EachLineReachesTheSinkUntilTheInputEnds) {
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    std::mutex m;
    std::vector<std::string> lines;
    {
        CommandInput input(fds[0], [&](const std::string& line) {
            const std::lock_guard<std::mutex> hold(m);
            lines.push_back(line);
        });
        const std::string typed = "nextevent\ntempo 7";
        ASSERT_EQ(::write(fds[1], typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
        ASSERT_EQ(::write(fds[1], "2\n", 2), 2);
        for (int i = 0; i < 200; ++i) {
            {
                const std::lock_guard<std::mutex> hold(m);
                if (lines.size() == 2) break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    } // leaves while the input is still open
    ::close(fds[0]);
    ::close(fds[1]);
    EXPECT_EQ(lines, (std::vector<std::string>{"nextevent", "tempo 72"}));
}

} // namespace
