// The random distributions: the statistics of many draws against their
// formulas, reproducible sequences, independent generators, and the
// parameters each maker refuses.
#include "Exp/Function.hpp"
#include "FunctionRig.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

struct Law {
    const char* maker;
    std::vector<double> params;
    double mean;
    double variance;
};

// A new generator from `maker` with `params`, as a score's call gives it.
Value generator(GlobalEnvironment& env, const std::string& maker, const std::vector<double>& params) {
    std::vector<Value> args;
    for (const double p : params)
        args.push_back(float_value(p));
    return env.get_function(maker)->apply(args);
}

std::vector<double> draws(const Value& g, int n) {
    std::vector<double> out;
    out.reserve(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
        const Value x = g->apply(std::vector<Value>{});
        out.push_back(x->is_bool() ? x->get_bool() : x->get_double());
    }
    return out;
}

TEST(RandomFunctions, MeanAndVarianceOfManyDrawsFollowTheirFormulas) {
    const double g15 = std::tgamma(1.5);
    const std::vector<Law> laws = {
        {"@rnd_bernoulli", {0.3}, 0.3, 0.21},
        {"@rnd_binomial", {10, 0.4}, 4.0, 2.4},
        {"@rnd_exponential", {2}, 0.5, 0.25},
        {"@rnd_gamma", {3}, 3.0, 3.0},
        {"@rnd_geometric", {0.25}, 3.0, 12.0},
        {"@rnd_normal", {5, 2}, 5.0, 4.0},
        {"@rnd_poisson", {4}, 4.0, 4.0},
        {"@rnd_uniform_int", {1, 6}, 3.5, 35.0 / 12.0},
        {"@rnd_uniform_float", {2, 4}, 3.0, 4.0 / 12.0},
        {"@rnd_chi_squared", {4}, 4.0, 8.0},
        {"@rnd_negative_binomial", {3, 0.5}, 3.0, 6.0},
        {"@rnd_lognormal_distribution", {0, 0.5}, std::exp(0.125), (std::exp(0.25) - 1) * std::exp(0.25)},
        {"@rnd_weibull", {2, 1}, g15, 1.0 - g15 * g15},
    };
    FunctionRig rig;
    constexpr int n = 100000;
    for (const Law& law : laws) {
        SCOPED_TRACE(law.maker);
        const Value g = generator(rig.env(), law.maker, law.params);
        ASSERT_TRUE(g->is_fct());
        const std::vector<double> x = draws(g, n);
        double mean = 0, square = 0;
        for (const double v : x)
            mean += v / n;
        for (const double v : x)
            square += (v - mean) * (v - mean) / (n - 1);
        EXPECT_NEAR(mean, law.mean, 5 * std::sqrt(law.variance / n));
        EXPECT_NEAR(square, law.variance, 0.05 * law.variance);
    }
}

// The Cauchy law has no mean: its median is its location and its quartiles
// lie one scale away.
TEST(RandomFunctions, CauchyQuartilesAreOneScaleAroundTheLocation) {
    FunctionRig rig;
    std::vector<double> x = draws(generator(rig.env(), "@rnd_cauchy", {10, 2}), 100000);
    std::sort(x.begin(), x.end());
    EXPECT_NEAR(x[x.size() / 2], 10.0, 0.05);
    EXPECT_NEAR(x[x.size() / 4], 8.0, 0.1);
    EXPECT_NEAR(x[3 * x.size() / 4], 12.0, 0.1);
}

TEST(RandomFunctions, SameMakerSameSequenceInEveryEngineDifferentGenerators) {
    FunctionRig a, b;
    const Value first_a = generator(a.env(), "@rnd_normal", {0, 1});
    const Value first_b = generator(b.env(), "@rnd_normal", {0, 1});
    const Value second_a = generator(a.env(), "@rnd_normal", {0, 1});
    EXPECT_EQ(draws(first_a, 20), draws(first_b, 20));
    EXPECT_NE(draws(first_a, 20), draws(second_a, 20));
    EXPECT_EQ(first_a->get_fct()->name, "@rnd_normal_generator_1");
    EXPECT_EQ(second_a->get_fct()->name, "@rnd_normal_generator_2");
}

TEST(RandomFunctions, GeneratorsFromScoresAndRefusedParameters) {
    FunctionRig rig;
    ASSERT_TRUE(rig.run("NOTE 60 1\n  $dice := @rnd_uniform_int(1, 6)\n"
                        "  print (@is_fct($dice)) (@between(0, $dice(), 7)) ($dice)\n"));
    EXPECT_EQ(rig.host.printed, (std::vector<std::string>{"true true @rnd_uniform_int_generator_1"}));
    const std::vector<Case> cases = {
        {"$g(1)", "<<undef>>", "(0 expected, 1 provided) [baf10]", "$g := @rnd_normal(0, 1)"},
        {"@rnd_normal($x, -1)", "<<undef>>", "parameters out of the distribution's range [rnd2]", "$x := 0"},
        {"@rnd_bernoulli($x)", "<<undef>>", "[rnd2]", "$x := 1.5"},
        {"@rnd_uniform_int($x, 1)", "<<undef>>", "[rnd2]", "$x := 6"},
        {"@rnd_poisson($x)", "<<undef>>", "Bad argument 1 type in function @rnd_poisson (got string)",
         "$x := \"a\""},
        {"@rnd_gamma($x, 2)", "<<undef>>", "(1 expected, 2 provided) [rnd1]", "$x := 1"},
    };
    for (const Case& c : cases)
        rig.check(c);
}

} // namespace
