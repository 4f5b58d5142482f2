// The one-word shared pointer behind the structured values: sharing, the
// lifetime of the pointee, and counts kept right by concurrent owners.
#include "Exp/CountedPtr.hpp"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

// Counts its destructions in a counter the test owns.
struct Tracked {
    explicit Tracked(int& destroyed_count, std::string text)
        : destroyed(destroyed_count)
        , label(std::move(text)) {}
    ~Tracked() { ++destroyed; }
    int& destroyed;
    std::string label;
};

} // namespace

TEST(CountedPtr, OwnersShareOneObjectDestroyedByTheLast) {
    static_assert(sizeof(CountedPtr<Tracked>) == sizeof(void*));
    int destroyed = 0;
    CountedPtr<Tracked> a = make_counted<Tracked>(destroyed, "shared");
    EXPECT_EQ(a.use_count(), 1);
    {
        CountedPtr<Tracked> b = a;
        EXPECT_EQ(b.get(), a.get());
        EXPECT_EQ(b->label, "shared");
        EXPECT_EQ(a.use_count(), 2);
        CountedPtr<Tracked> c = std::move(b);
        EXPECT_FALSE(b) << "a move leaves the source empty";
        EXPECT_EQ(a.use_count(), 2) << "and does not touch the count";
    }
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(a.use_count(), 1);

    a = make_counted<Tracked>(destroyed, "other");
    EXPECT_EQ(destroyed, 1) << "assignment releases the previous object";
    const CountedPtr<Tracked>& same = a;
    a = same;
    EXPECT_EQ((*a).label, "other") << "self-assignment keeps the object";
    a = nullptr;
    EXPECT_EQ(destroyed, 2);
    EXPECT_FALSE(a);
    EXPECT_EQ(a.get(), nullptr);
    EXPECT_EQ(a.use_count(), 0);
    EXPECT_TRUE(a == nullptr);
}

// Values cross threads: copies taken and dropped on two threads at once
// must leave the count exact and destroy the object once.
TEST(CountedPtr, ConcurrentCopiesKeepTheCountExact) {
    int destroyed = 0;
    CountedPtr<Tracked> shared = make_counted<Tracked>(destroyed, "x");
    auto churn = [&shared] {
        std::vector<CountedPtr<Tracked>> held;
        for (int round = 0; round < 2000; ++round) {
            for (int i = 0; i < 16; ++i)
                held.push_back(shared);
            held.clear();
        }
    };
    std::thread first(churn), second(churn);
    first.join();
    second.join();
    EXPECT_EQ(shared.use_count(), 1);
    EXPECT_EQ(destroyed, 0);
    shared = nullptr;
    EXPECT_EQ(destroyed, 1);
}
