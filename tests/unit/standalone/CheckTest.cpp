// `cadenzium check`: the summary of a score and its event listing.
#include "Commands.hpp"
#include "ConsoleCapture.hpp"
#include "ScoreFiles.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace {

std::string check(const std::string& text, bool events, int* status = nullptr) {
    TempScore score(text);
    ConsoleCapture console;
    CheckOptions options;
    options.score = score.path;
    options.list_events = events;
    std::ostringstream out;
    const int s = run_check(options, out);
    if (status) *status = s;
    return out.str();
}

TEST(Check, ListsEventsWithAttributesJumpsAndTempoChanges) {
    const std::string listing = check("BPM 60\n"
                                      "NOTE C4 1 a @hook\n"
                                      "NOTE D4 1 @pizz @fermata\n"
                                      "BPM 90\n"
                                      "NOTE E4 1 @staccato @jump a, b\n"
                                      "NOTE F4 1 b\n"
                                      "BPM 90\n"
                                      "CHORD (C4 E4) 2\n",
                                      true);
    EXPECT_NE(listing.find("5 events, 0 actions, tempo 60 bpm\n"), std::string::npos) << listing;
    EXPECT_NE(listing.find("[1] beat 0: NOTE 6000 1 \"a\" @hook  [tempo 60 bpm]\n"), std::string::npos) << listing;
    EXPECT_NE(listing.find("[2] beat 1: NOTE 6200 1 @pizz @fermata\n"), std::string::npos) << listing;
    EXPECT_NE(listing.find("[3] beat 2: NOTE 6400 1 @staccato @jump a, b  [tempo 90 bpm]\n"), std::string::npos)
        << listing;
    // A tempo statement that repeats the tempo changes nothing.
    EXPECT_NE(listing.find("[5] beat 4: CHORD 6000 6400 2\n"), std::string::npos) << listing;
}

TEST(Check, ABadScoreFailsWithoutListing) {
    int status = 0;
    EXPECT_EQ(check("BPM 60\nNOTE C4\n", true, &status), "");
    EXPECT_EQ(status, 1);
}

} // namespace
