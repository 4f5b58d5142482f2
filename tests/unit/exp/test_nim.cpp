// Interpolated maps extended from either end: segments joined to the map or
// with their own start, every component at once, and from values as the
// library hands them over.
#include "Exp/Nim.hpp"
#include "ExpTestSupport.hpp"

#include <gtest/gtest.h>

namespace {

double at(const NewInterpolatedMap& nim, double x, std::size_t component = 0) {
    return nim.components[component].apply(x);
}

TEST(NimExtension, SegmentsJoinTheMapAtEitherEnd) {
    NewInterpolatedMap nim;
    nim.add_last(INTERPOLATE_LINEAR, 2.0, 0.0, 4.0); // an empty map becomes a scalar one, from x = 0
    nim.add_last(INTERPOLATE_QUAD_IN, 1.0, 0.0);     // from where it ended
    nim.add_first(INTERPOLATE_LINEAR, 1.0, 10.0);    // ends where it started
    ASSERT_EQ(nim.dimension(), 1u);
    EXPECT_DOUBLE_EQ(at(nim, -1.0), 10.0);
    EXPECT_DOUBLE_EQ(at(nim, -0.5), 5.0);
    EXPECT_DOUBLE_EQ(at(nim, 1.0), 2.0);
    EXPECT_DOUBLE_EQ(at(nim, 2.5), 4.0 - 4.0 * 0.25);
    EXPECT_DOUBLE_EQ(at(nim, 9.0), 0.0);
    EXPECT_TRUE(nim.components[0].is_continuous());
}

TEST(NimExtension, SegmentWithItsOwnStartMakesAJump) {
    NewInterpolatedMap nim;
    nim.add_last(INTERPOLATE_LINEAR, 1.0, 0.0, 1.0);
    nim.add_last(INTERPOLATE_LINEAR, 1.0, 5.0, 6.0);
    EXPECT_DOUBLE_EQ(at(nim, 1.5), 5.5);
    EXPECT_FALSE(nim.components[0].is_continuous());
}

TEST(NimExtension, ValuesExtendEachComponent) {
    NewInterpolatedMap nim;
    nim.components.resize(2);
    nim.is_vectorial = true;
    ASSERT_TRUE(
        nim.add_last(*int_value(1), *tab_value({int_value(2), int_value(4)}), *string_value("linear")));
    ASSERT_TRUE(nim.add_last(*int_value(1), *int_value(0),
                             *tab_value({string_value("quad"), string_value("linear")})));
    EXPECT_DOUBLE_EQ(at(nim, 0.5, 0), 1.0);
    EXPECT_DOUBLE_EQ(at(nim, 0.5, 1), 2.0);
    EXPECT_DOUBLE_EQ(at(nim, 1.5, 0), 2.0 - 2.0 * 0.25) << "quad on the first component";
    EXPECT_DOUBLE_EQ(at(nim, 1.5, 1), 2.0) << "linear on the second";
}

TEST(NimExtension, ValuesThatDoNotFitLeaveTheMapWhole) {
    ConsoleCapture console;
    NewInterpolatedMap nim;
    nim.add_last(INTERPOLATE_LINEAR, 1.0, 0.0, 1.0);
    EXPECT_FALSE(
        nim.add_last(*tab_value({int_value(1), int_value(2)}), *int_value(3), *string_value("linear")));
    EXPECT_TRUE(console.contains("[nim9]"));
    EXPECT_FALSE(nim.add_last(*int_value(1), *int_value(3), *int_value(7)));
    EXPECT_TRUE(console.contains("bad interpolation type (recquire string, got 7) [nim6]"));
    EXPECT_FALSE(nim.add_last(*int_value(0), *int_value(3), *string_value("linear")));
    EXPECT_TRUE(console.contains("Nim definition: bad zero duration [nim6b]"));
    EXPECT_EQ(nim.components[0].segments.size(), 1u);
}

} // namespace
