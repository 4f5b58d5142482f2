// What the listening machine keeps in memory depends on the score, not on
// how long the musician plays: the states hold their histories only while
// they are in the decode window, in buffers lent by the chain and given
// back when they leave it.
#include "Listening/StateChain.hpp"
#include "ListeningRig.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#if defined(__SANITIZE_ADDRESS__)
// The live heap as AddressSanitizer's allocator counts it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#else
#include <malloc.h>
#endif

namespace {

std::size_t live_heap_bytes() {
#if defined(__SANITIZE_ADDRESS__)
    return __sanitizer_get_current_allocated_bytes();
#else
    return mallinfo2().uordblks;
#endif
}

// A melody whose notes do not come back in a short cycle.
float pitch_of(int i) {
    return static_cast<float>(48 + (i * 7) % 31);
}

std::string melody(int count) {
    std::string text = "bpm 240\n";
    for (int i = 0; i < count; ++i)
        text += "NOTE " + std::to_string(static_cast<int>(pitch_of(i))) + " 1\n";
    return text;
}

TEST(LongPerformance, MemoryStaysBoundedByTheWindowNotByThePerformance) {
    constexpr int kNotes = 1200;
    constexpr int kWarmUp = 150;
    ParameterGuard guard;
    ListeningRig rig(melody(kNotes));
    ASSERT_TRUE(rig.loaded);
    rig.positions.reserve(2 * kNotes);
    for (int i = 0; i < kWarmUp; ++i)
        rig.play(pitch_of(i), 1.0, 0.25);
    const std::size_t after_warm_up = live_heap_bytes();
    for (int i = kWarmUp; i < kNotes; ++i)
        rig.play(pitch_of(i), 1.0, 0.25);
    const std::size_t at_end = live_heap_bytes();
    EXPECT_GE(rig.position(), kNotes - 2) << "the melody was followed to its end";

    // Each followed event used to keep 16 KB of histories for good.
    const double per_event = (static_cast<double>(at_end) - static_cast<double>(after_warm_up)) /
                             static_cast<double>(kNotes - kWarmUp);
    EXPECT_LT(per_event, 256.0) << after_warm_up << " bytes after " << kWarmUp << " notes, " << at_end
                                << " at the end";
    const BufferPool& pool = rig.chain().stay_buffers;
    EXPECT_EQ(pool.misses(), 0u) << "the window never lacked a buffer";
    EXPECT_LE(pool.lent(), pool.slots());
    EXPECT_LT(pool.slots(), 40u) << "slots for the window, not for the score's " << kNotes << " notes";
}

} // namespace
