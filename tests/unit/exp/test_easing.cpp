// The easing types: their names, their ends, a few values worked by hand,
// and the symmetries that tie each family's in, out and in-out forms.
#include "Exp/Interpolation.hpp"
#include "Exp/Nim.hpp"
#include "ExpTestSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

const char* const kFamilies[] = {"back", "bounce", "cubic", "circ",  "elastic",
                                 "exp",  "quad",   "quart", "quint", "sine"};

double unit_ease(const std::string& name, double u) {
    return ease<double>(to_interpol(name), u, 0.0, 1.0, 1.0);
}

TEST(Easing, NamesOfAFamilyAloneMeanItsInVariant) {
    EXPECT_EQ(to_interpol(std::string("sine")), to_interpol(std::string("sine_in")));
    for (const char* linear : {"linear", "linear_in", "linear_out", "linear_in_out"})
        EXPECT_EQ(to_interpol(std::string(linear)), INTERPOLATE_LINEAR) << linear;
    EXPECT_EQ(to_interpol(std::string("poly")), INTERPOLATE_POLY);
    EXPECT_EQ(interpol_to_str(to_interpol(std::string("bounce_in"))), "bounce");
}

TEST(Easing, EverySegmentStartsAtItsStartAndEndsAtItsEnd) {
    for (int type = INTERPOLATE_LINEAR; type <= INTERPOLATE_LAST; ++type) {
        const auto t = static_cast<interpolate_type>(type);
        EXPECT_EQ(ease<double>(t, 0.0, 3.0, -2.0, 4.0), 3.0) << interpol_to_str(t);
        EXPECT_EQ(ease<double>(t, 4.0, 3.0, -2.0, 4.0), 1.0) << interpol_to_str(t);
        EXPECT_EQ(ease<double>(t, -1.0, 3.0, -2.0, 4.0), 3.0) << "before the segment";
        EXPECT_EQ(ease<double>(t, 9.0, 3.0, -2.0, 4.0), 1.0) << "after the segment";
        EXPECT_EQ(ease<float>(t, 0.5f, 3.0f, -2.0f, 0.0f), 1.0f) << "a segment of no length is its end";
    }
}

TEST(Easing, ValuesWorkedByHand) {
    EXPECT_DOUBLE_EQ(unit_ease("linear", 0.25), 0.25);
    EXPECT_DOUBLE_EQ(unit_ease("quad", 0.5), 0.25);
    EXPECT_DOUBLE_EQ(unit_ease("cubic_out", 0.5), 0.875);
    EXPECT_DOUBLE_EQ(unit_ease("sine_out", 0.5), std::sqrt(0.5));
    EXPECT_DOUBLE_EQ(unit_ease("bounce_out", 0.5), 0.765625);
    EXPECT_DOUBLE_EQ(unit_ease("exp_out", 0.5), 0.96875);
    EXPECT_DOUBLE_EQ(unit_ease("circ_in", 0.6), 0.2);
    EXPECT_NEAR(unit_ease("back", 0.5), -0.0876975, 1e-9);
    EXPECT_DOUBLE_EQ(ease<double>(INTERPOLATE_LINEAR, 1.0, 10.0, 10.0, 4.0), 12.5);
}

TEST(Easing, BackUndershootsTheStartAndElasticOvershootsTheEnd) {
    double lowest = 1.0, highest = 0.0;
    for (int i = 1; i < 100; ++i) {
        lowest = std::min(lowest, unit_ease("back", i / 100.0));
        highest = std::max(highest, unit_ease("elastic_out", i / 100.0));
    }
    EXPECT_LT(lowest, 0.0);
    EXPECT_GT(highest, 1.0);
}

TEST(Easing, OutIsTheInVariantTurnedAround) {
    for (const char* family : kFamilies) {
        if (std::string(family) == "elastic") continue; // its wave is not symmetric
        const std::string in = family, out = in + "_out";
        for (double u : {0.1, 0.25, 0.5, 0.75, 0.9})
            EXPECT_NEAR(unit_ease(out, u), 1.0 - unit_ease(in, 1.0 - u), 1e-12) << out << " at " << u;
    }
}

TEST(Easing, InOutIsTheInVariantOnItsFirstHalfAndMeetsHalfWay) {
    for (const char* family : kFamilies) {
        const std::string in = family, in_out = in + "_in_out";
        EXPECT_NEAR(unit_ease(in_out, 0.5), 0.5, 1e-12) << in_out;
        if (in == "back" || in == "elastic") continue; // their in-out forms have their own constants
        for (double u : {0.1, 0.2, 0.4})
            EXPECT_NEAR(unit_ease(in_out, u), unit_ease(in, 2 * u) / 2, 1e-12) << in_out << " at " << u;
    }
}

TEST(Easing, SinglePrecisionAgreesWithDouble) {
    for (int type = INTERPOLATE_LINEAR; type < INTERPOLATE_POLY; ++type) {
        const auto t = static_cast<interpolate_type>(type);
        for (double u : {0.13, 0.5, 0.77})
            EXPECT_NEAR(ease<float>(t, static_cast<float>(u * 2), 1.0f, 3.0f, 2.0f),
                        ease<double>(t, u * 2, 1.0, 3.0, 2.0), 1e-5)
                << interpol_to_str(t);
    }
}

TEST(Easing, UnknownNamesAreReported) {
    ConsoleCapture console;
    EXPECT_EQ(to_interpol(std::string("wobble")), INTERPOLATE_NONE);
    EXPECT_TRUE(console.contains("Bad interpolation type 'wobble' [it2]"));
    EXPECT_EQ(to_interpol(*int_value(3)), INTERPOLATE_NONE);
    EXPECT_TRUE(console.contains("Bad interpolation type '3' [it1]"));
}

} // namespace
