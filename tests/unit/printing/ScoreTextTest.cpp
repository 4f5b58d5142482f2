// Printing a score back: what the reader turned into state between events
// comes back as statements, numbers keep every digit, and the reader's own
// wrappers are not written.
#include "Base/ExactNumber.hpp"
#include "ConsoleCapture.hpp"
#include "TestReading.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

namespace {

std::string printed(Score& score) {
    std::ostringstream out;
    score.show(out);
    return out.str();
}

// Reads `text`, prints it and reads the print; gives the print.
std::string round_trip(const std::string& text, TestReading& original, TestReading& again) {
    EXPECT_TRUE(original.load(text));
    const std::string print = printed(original.score());
    EXPECT_TRUE(again.load(print)) << print;
    return print;
}

TEST(ExactNumber, WritesTheShortestTextThatReadsBack) {
    EXPECT_EQ(exact_number(0.4f), "0.4");
    EXPECT_EQ(exact_number(1.0f), "1");
    EXPECT_EQ(exact_number(0.1 + 0.2), "0.30000000000000004");
    for (const float f : {1.0f / 3, 58.7f, 1e-7f, 6050.5f, -0.0937f, 3.4e38f}) {
        const std::string text = exact_number(f);
        EXPECT_EQ(static_cast<float>(std::strtod(text.c_str(), nullptr)), f) << text;
    }
}

TEST(ScoreText, EventsKeepTheirStateAcrossStatements) {
    ConsoleCapture console;
    TestReading original, again;
    round_trip("variance 0.25\n"
               "BPM 58.7\n"
               "NOTE 60.5 1/3 first\n"
               "@tempo on\n"
               "dummysilence off\n"
               "CHORD (60 -64 67) 0.0937 \"with \\\"quotes\\\" and spaces\"\n"
               "NOTE 62 0\n"
               "BPM 90 @modulate\n"
               "TRILL (60 (62 65)) 2 12 @hook @jump first, last\n"
               "variance 0.5\n"
               "MULTI ((60 64) (62 65)' 67) 1 @pizz\n"
               "MULTI ((60 64) -> (72 76)) 2\n"
               "EVENT 1 @staccato\n"
               "NOTE 0 1/2\n"
               "NOTE 64 4 @fermata last\n",
               original, again);
    ASSERT_EQ(again.score().CountEvents(), original.score().CountEvents());
    for (int i = 1; i <= original.score().CountEvents(); ++i) {
        const Event& a = original.event(i);
        const Event& b = again.event(i);
        SCOPED_TRACE(a.toString());
        EXPECT_EQ(b.toString(), a.toString());
        EXPECT_EQ(b.beatcum(), a.beatcum());
        EXPECT_EQ(b.ScoreTempo(), a.ScoreTempo());
        EXPECT_EQ(b.variance(), a.variance());
        EXPECT_EQ(b.direction(), a.direction());
        EXPECT_EQ(b.withdummy(), a.withdummy());
        EXPECT_EQ(b.isHook(), a.isHook());
        EXPECT_EQ(b.fermata(), a.fermata());
        EXPECT_EQ(b.pitch_list(), a.pitch_list());
    }
    EXPECT_EQ(again.score().find_jump(5), original.score().find_jump(5));
}

TEST(ScoreText, LeavesTheReadersWrappersOut) {
    ConsoleCapture console;
    TestReading original, again;
    const std::string print = round_trip("NOTE 60 1\n"
                                         "print a\n"
                                         "print b\n"
                                         "1 print c\n"
                                         "group { print d } until ($x)\n"
                                         "kill 2 g\n",
                                         original, again);
    EXPECT_EQ(print.find("aseq"), std::string::npos) << print;
    EXPECT_EQ(print.find("__anonymous"), std::string::npos) << print;
    EXPECT_NE(print.find("kill 2 g"), std::string::npos) << print;
    std::ostringstream first, second;
    original.score().show_actions(first);
    again.score().show_actions(second);
    const std::string a = first.str(), b = second.str();
    EXPECT_EQ(std::count(a.begin(), a.end(), '\n'), std::count(b.begin(), b.end(), '\n'));
}

TEST(ScoreText, ComputedValuesKeepEveryDigit) {
    ConsoleCapture console;
    TestReading original, again;
    const std::string print =
        round_trip("NOTE 60 1\n$x := 0.1 + 0.2\n$t := [1, 2.5]\n$m := [(1, 2)]\n", original, again);
    // Constants are folded when read: the print carries the folded value.
    std::ostringstream first, second;
    original.score().show_actions(first);
    again.score().show_actions(second);
    EXPECT_NE(print.find("map {"), std::string::npos) << print;
    EXPECT_EQ(second.str().substr(second.str().find('\n')).size(),
              first.str().substr(first.str().find('\n')).size());
}

} // namespace
