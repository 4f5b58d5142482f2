// Hostile score texts given to `cadenzium check` and `follow`: huge, deep,
// binary or missing. The reader says what is wrong, at one place, and stops
// in time; it never crashes or runs on for ever.
#include "MidiFile.hpp"
#include "Program.hpp"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string repeat(const std::string& s, int n) {
    std::string out;
    out.reserve(s.size() * static_cast<size_t>(n));
    for (int i = 0; i < n; ++i)
        out += s;
    return out;
}

std::string one_note_midi() {
    const std::vector<uint8_t> bytes = write_midi_bytes({{0.0, 60, 80}, {0.5, 60, 0}});
    return std::string(bytes.begin(), bytes.end());
}

// A score with one event whose action is `action`.
std::string score_with(const std::string& action) {
    return "BPM 60\nNOTE C4 1\n" + action + "\n";
}

TEST(HostileScore, DeepNestingIsRefusedWithItsPlace) {
    Scratch dir;
    dir.write("groups.cad", score_with(repeat("group {", 100000) + "print 1" + repeat("}", 100000)));
    dir.write("tabs.cad", score_with("let $x := " + repeat("[", 20000) + repeat("]", 20000)));
    dir.write("chain.cad", score_with("let $x := $y" + repeat(" + $y", 100000)));
    for (const char* name : {"groups.cad", "tabs.cad", "chain.cad"}) {
        const Outcome o = dir.run({"check", name});
        EXPECT_EQ(o.status, 1) << name << '\n' << o.err;
        EXPECT_LT(o.seconds, 10) << name;
        EXPECT_NE(o.err.find("levels"), std::string::npos) << name << '\n' << o.err;
        EXPECT_NE(o.err.find("line 3, characters"), std::string::npos) << name;
    }
}

TEST(HostileScore, NestingWithinTheLimitRuns) {
    Scratch dir;
    dir.write("groups.cad", score_with(repeat("group {", 255) + "print deep" + repeat("}", 255)));
    dir.write("chain.cad", score_with("$y := 1\nprint ($y" + repeat(" + $y", 250) + ")"));
    dir.write("p.mid", one_note_midi());
    const Outcome groups = dir.run({"follow", "groups.cad", "--midi", "p.mid"});
    EXPECT_EQ(groups.status, 0) << groups.err;
    EXPECT_NE(groups.out.find("print deep"), std::string::npos) << groups.out;
    const Outcome chain = dir.run({"follow", "chain.cad", "--midi", "p.mid"});
    EXPECT_EQ(chain.status, 0) << chain.err;
    EXPECT_NE(chain.out.find("print 251"), std::string::npos) << chain.out;
}

TEST(HostileScore, BinaryTextStopsAfterABoundedNumberOfErrors) {
    Scratch dir;
    dir.write("nul.cad", std::string(1 << 20, '\0'));
    const Outcome nul = dir.run({"check", "nul.cad"});
    EXPECT_EQ(nul.status, 1);
    EXPECT_EQ(nul.errors_with("invalid character"), 20);
    EXPECT_EQ(nul.errors_with("too many errors: reading stops"), 1);
    EXPECT_LT(nul.err.size(), 4000u);

    const Outcome endless = dir.run({"check", "/dev/zero"}, 10);
    EXPECT_FALSE(endless.timed_out()) << "an endless device is read until the error limit";
    EXPECT_EQ(endless.errors_with("too many errors: reading stops"), 1);
}

TEST(HostileScore, LongTokensAndLinesRead) {
    Scratch dir;
    const std::string long_text(100000, 'a');
    dir.write("long.cad", "BPM 60\nNOTE C4 1 " + long_text + "\n  print \"" + long_text + "\"\n// " +
                              long_text + "\nNOTE D4 1\n");
    const Outcome o = dir.run({"check", "long.cad"});
    EXPECT_EQ(o.status, 0) << o.err.substr(0, 500);
    EXPECT_NE(o.out.find("2 events"), std::string::npos) << o.out.substr(0, 500);
}

TEST(HostileScore, ScoresThatCannotBeReadSayWhy) {
    Scratch dir;
    const Outcome missing = dir.run({"check", "absent.cad"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("Error in opening file absent.cad: No such file or directory"),
              std::string::npos)
        << missing.err;
    const Outcome folder = dir.run({"check", "."});
    EXPECT_EQ(folder.status, 1);
    EXPECT_NE(folder.err.find("it is a directory"), std::string::npos) << folder.err;
    EXPECT_EQ(folder.err.find("flex"), std::string::npos) << folder.err;
}

// Each error names its place once: the message, its line and columns, its
// file; no internal error for a user's mistake.
TEST(HostileScore, EachErrorHasOnePlace) {
    Scratch dir;
    dir.write("note.cad", "BPM 60\nNOTE H4 1\n");
    dir.write("syntax.cad", "BPM 60\nNOTE 60 1\nlet $x := (1 + 2\n");
    dir.write("block.cad", "BPM 60\nNOTE 60 1\ngroup {\n  print 1\n");
    for (const char* name : {"note.cad", "syntax.cad", "block.cad"}) {
        const Outcome o = dir.run({"check", name});
        EXPECT_EQ(o.status, 1) << name;
        EXPECT_EQ(o.errors_with("line "), 1) << name << '\n' << o.err;
        EXPECT_EQ(o.errors_with("in file '"), 1) << name << '\n' << o.err;
        EXPECT_EQ(o.errors_with("Internal Error"), 0) << name << '\n' << o.err;
    }
    const Outcome block = dir.run({"check", "block.cad"});
    EXPECT_NE(block.err.find("'{' is never closed\nline 3, characters 7-7"), std::string::npos) << block.err;
}

} // namespace
