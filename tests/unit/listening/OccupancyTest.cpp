// The laws of the stay in a state against their closed forms, and their
// sharing between states of equal expected stay.
#include "Listening/Occupancy.hpp"
#include "Listening/CadAlign.hpp"
#include "Listening/StateChain.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <vector>

namespace {

std::vector<double> law(double mean, int u_max, double model, bool log = false) {
    std::vector<double> out;
    DiscreteOccupancies(out, mean, u_max, model, log);
    return out;
}

double binomial(double n, double k) {
    return std::exp(std::lgamma(n + 1) - std::lgamma(k + 1) - std::lgamma(n - k + 1));
}

TEST(Occupancy, NegativeBinomialMatchesItsClosedForm) {
    for (double p : {0.5, 0.86}) {
        const double mean = 12.0;
        const double q = 1 - p;
        const double r = (mean - 1) * q / p;
        const std::vector<double> out = law(mean, 400, p);
        for (int k = 0; k < 30; ++k)
            EXPECT_NEAR(out[k], binomial(k + r - 1, k) * std::pow(p, k) * std::pow(q, r), 1e-12)
                << p << " " << k;
        EXPECT_NEAR(std::accumulate(out.begin(), out.end(), 0.0), 1.0, 1e-9);
        double expected_stay = 0;
        for (size_t k = 0; k < out.size(); ++k)
            expected_stay += (k + 1) * out[k];
        EXPECT_NEAR(expected_stay, mean, 1e-6) << "the mean stay is the frame duration";
    }
}

TEST(Occupancy, ShortMeanTakesTheFloorOfR) {
    const std::vector<double> out = law(0.1, 3, 0.5);
    EXPECT_NEAR(out[0], std::pow(0.5, 0.1), 1e-15);
    EXPECT_NEAR(out[1], out[0] * 0.5 * (0.1 - 1 + 1), 1e-15);
}

TEST(Occupancy, PoissonAndGeometricLaws) {
    const std::vector<double> poisson = law(3.0, 10, 1.0);
    for (int k = 0; k < 10; ++k)
        EXPECT_NEAR(poisson[k], std::exp(-3.0) * std::pow(3.0, k) / std::tgamma(k + 1), 1e-15);

    const double q3 = std::exp(-1 / 4.0);
    const double q2 = std::pow(0.5, 1 / 4.0);
    const double q1 = 1 - 1 / 4.0;
    const std::vector<double> g3 = law(4.0, 6, -3.0), g2 = law(4.0, 6, -2.0), g1 = law(4.0, 6, 2.0);
    for (int k = 0; k < 6; ++k) {
        EXPECT_NEAR(g3[k], (1 - q3) * std::pow(q3, k), 1e-15);
        EXPECT_NEAR(g2[k], (1 - q2) * std::pow(q2, k), 1e-15);
        EXPECT_NEAR(g1[k], (1 - q1) * std::pow(q1, k), 1e-15);
    }
    EXPECT_NEAR(law(0.5, 2, 7.0)[1], (1 / 1.001) * (1 - 1 / 1.001), 1e-15)
        << "a mean below 1.001 is held there";
    EXPECT_EQ(law(0.00001, 2, -3.0)[0], 1.0) << "a vanishing mean stays one frame";
}

TEST(Occupancy, NoMeanIsAStayOfOneFrame) {
    EXPECT_EQ(law(0.0, 4, 0.5), (std::vector<double>{1, 0, 0, 0}));
    EXPECT_EQ(law(-2.0, 2, 1.0), (std::vector<double>{1, 0}));
    EXPECT_TRUE(law(5.0, 0, 0.5).empty());
}

TEST(Occupancy, LogarithmsOfTheSameLaws) {
    for (double model : {0.5, 1.0, -3.0, -2.0, 3.0}) {
        const std::vector<double> plain = law(6.0, 20, model), logs = law(6.0, 20, model, true);
        for (int k = 0; k < 20; ++k)
            EXPECT_NEAR(logs[k], std::log(plain[k]), 1e-9) << model << " " << k;
    }
}

TEST(Occupancy, SurvivorIsOneMinusTheMassAlreadySpent) {
    const std::vector<double> occ = law(5.0, 40, 0.5);
    std::vector<double> survivor;
    survivor_from_occupancy(occ, survivor);
    ASSERT_EQ(survivor.size(), occ.size());
    double spent = 0;
    for (size_t u = 0; u < occ.size(); ++u) {
        EXPECT_NEAR(survivor[u], 1 - spent, 1e-12);
        spent += occ[u];
    }
    survivor_from_occupancy({0.7, 0.6}, survivor);
    EXPECT_EQ(survivor, (std::vector<double>{1.0, 0.30000000000000004}));
    survivor_from_occupancy({1.2, 0.0}, survivor);
    EXPECT_EQ(survivor[1], 0.0) << "never below 0";
}

TEST(Occupancy, EqualDurationsShareOneLawThatLivesWhileAsked) {
    CadAlign align;
    const std::vector<double>*occ_a, *surv_a, *occ_b, *surv_b;
    align.computeDurationDistributions(occ_a, surv_a, 8.5, 10);
    align.computeDurationDistributions(occ_b, surv_b, 8.5, 10);
    EXPECT_EQ(occ_a, occ_b);
    EXPECT_EQ(align.occupancy_count(), 1);

    align.computeDurationDistributions(occ_b, surv_b, 8.5, 30);
    EXPECT_EQ(occ_b->size(), 30u) << "a longer look-back refills the law";
    EXPECT_EQ(align.insert_occupancy(8.5, 12).occupancy.size(), 30u) << "a shorter one uses it as it is";

    align.computeDurationDistributions(occ_a, surv_a, 4.0, 10);
    EXPECT_EQ(align.occupancy_count(), 2);
    align.Inference(); // a new frame: both were asked for
    align.computeDurationDistributions(occ_a, surv_a, 4.0, 10);
    align.Inference(); // 8.5 was not asked for in the last frame
    EXPECT_EQ(align.occupancy_count(), 1);
    const std::vector<double> fresh = law(6.0, 10, StateChain::occupancyModel);
    align.computeDurationDistributions(occ_b, surv_b, 6.0, 10);
    EXPECT_EQ(*occ_b, fresh) << "a reused record gets the law of its new key";
}

} // namespace
