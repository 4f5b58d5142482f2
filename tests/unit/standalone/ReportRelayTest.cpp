// The relay between the audio thread and the program's output: reports come
// out whole and in order, through many turns of the ring, and a full ring
// drops and counts rather than blocks.
#include "ReportRelay.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <sstream>
#include <thread>

namespace {

::message make_message(const std::string& receiver, int value, double date) {
    ::message m;
    m.receiver = receiver;
    m.values.push_back(int_value(value));
    m.values.push_back(string_value("a text long enough to live on the heap, not in place"));
    m.date = date;
    return m;
}

std::string drained(ReportRelay& relay) {
    std::ostringstream out;
    FollowReport report(&out, nullptr);
    relay.drain(report);
    return out.str();
}

TEST(ReportRelay, ReportsComeOutWholeAndInOrderThroughManyTurns) {
    ReportRelay relay(3);
    for (int round = 0; round < 50; ++round) {
        relay.position({1.0 * round, round, nullptr, 90});
        relay.message(make_message("synth" + std::to_string(round), round, 1.0 * round + 0.5));
        const std::string out = drained(relay);
        const size_t at = out.find("event " + std::to_string(round));
        const size_t sent =
            out.find("-> synth" + std::to_string(round) + " " + std::to_string(round) + " \"a text");
        ASSERT_NE(at, std::string::npos) << out;
        ASSERT_NE(sent, std::string::npos) << out;
        EXPECT_LT(at, sent) << "the position came first";
    }
    EXPECT_EQ(relay.dropped(), 0u);
    EXPECT_EQ(drained(relay), "") << "nothing is written twice";
}

TEST(ReportRelay, AFullRingDropsAndCounts) {
    ReportRelay relay(4);
    for (int i = 1; i <= 6; ++i)
        relay.position({0.1 * i, i, nullptr, 60});
    EXPECT_EQ(relay.dropped(), 2u);
    const std::string out = drained(relay);
    EXPECT_NE(out.find("event 4"), std::string::npos);
    EXPECT_EQ(out.find("event 5"), std::string::npos) << "the newest reports are the ones lost";
}

TEST(ReportRelay, AProducerInAnotherThreadLosesNothingUncounted) {
    ReportRelay relay(64);
    std::ostringstream out;
    FollowReport report(&out, nullptr);
    std::atomic<bool> done{false};
    std::thread audio([&] {
        for (int i = 0; i < 2000; ++i)
            relay.message(make_message("s", i, i));
        done = true;
    });
    while (!done)
        relay.drain(report);
    audio.join();
    relay.drain(report);
    const std::string text = out.str();
    const auto lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    EXPECT_EQ(lines + relay.dropped(), 2000u) << "every report is either written or counted";
}

} // namespace
