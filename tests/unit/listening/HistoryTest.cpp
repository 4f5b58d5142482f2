// The bounded histories of the recursion: the newest entries in order, the
// oldest dropped, read by index or walked by pointer across the ring's end.
#include "Listening/History.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace {

// Pushes 1, 2, ..., n.
void fill(History& h, int n) {
    for (int i = 1; i <= n; ++i)
        h.push_back(i);
}

TEST(History, KeepsTheNewestEntriesWhateverWayTheyAreRead) {
    for (int pushed : {1, 3, 4, 5, 9, 11}) {
        History h(4);
        fill(h, pushed);
        const size_t kept = std::min<size_t>(static_cast<size_t>(pushed), 4);
        ASSERT_EQ(h.size(), kept) << pushed << " pushed";
        const double* p = h.newest();
        const double* run = nullptr;
        ASSERT_EQ(h.newest_run(0, run), kept) << "one run reaches the oldest entry";
        for (size_t u = 0; u < kept; ++u) {
            const double expected = pushed - static_cast<int>(u);
            EXPECT_EQ(h.back(u), expected) << pushed << " pushed, u " << u;
            EXPECT_EQ(p[-static_cast<std::ptrdiff_t>(u)], expected) << pushed << " pushed, u " << u;
            EXPECT_EQ(run[-static_cast<std::ptrdiff_t>(u)], expected);
        }
    }
}

TEST(History, LentStorageIsUsedAndForgottenOnDetach) {
    std::vector<double> storage(History::storage_for(3), -1.0);
    History h(3);
    fill(h, 2);
    h.attach(storage.data());
    EXPECT_TRUE(h.empty()) << "attaching forgets the entries";
    fill(h, 7);
    EXPECT_TRUE(h.attached());
    EXPECT_EQ(h.back(0), 7);
    EXPECT_EQ(h.back(2), 5);
    h.detach();
    EXPECT_FALSE(h.attached());
    EXPECT_TRUE(h.empty());
}

TEST(Normalisers, KeepTheInverseOfEachFrame) {
    Normalisers N(3);
    for (double n : {0.5, 4.0, 0.25, 2.0})
        N.push_back(n);
    ASSERT_EQ(N.size(), 3u);
    EXPECT_EQ(N.back(0), 2.0);
    EXPECT_EQ(N.inverse(0), 0.5);
    EXPECT_EQ(N.newest_inverse()[-1], 4.0);
    EXPECT_EQ(N.inverse(2), 0.25);
}

} // namespace
