// Random distributions. A maker ("@rnd_normal(0, 1)") checks the
// parameters and gives a new generator, a function of no argument that
// draws from its own engine. Each generator's engine is seeded from its
// maker's name and its rank among that maker's generators, so a score draws
// the same sequences at each run, and two generators of one maker differ.
#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/Library.hpp"
#include "Exp/LibraryInstall.hpp"

#include <cmath>
#include <random>
#include <type_traits>

namespace {

using MinStd = std::minstd_rand; // 48271, 0, 2147483647
using Mt = std::mt19937;

template <class T>
Value draw_value(T x) {
    if constexpr (std::is_same_v<T, bool>)
        return bool_value(x);
    else if constexpr (std::is_integral_v<T>)
        return int_value(static_cast<long>(x));
    else
        return float_value(static_cast<double>(x));
}

template <class Engine, class Distribution>
class RandomGenerator final : public PredefinedFunction {
public:
    RandomGenerator(const std::string& name, GlobalEnvironment* genv, std::uint32_t seed, Distribution d)
        : PredefinedFunction(name, 0, genv)
        , engine(seed)
        , distribution(d) {}

    Value apply(const std::vector<Value>& args) const override {
        if (!args.empty()) {
            error("Bad arguments number in function call %s (0 expected, %d provided) [baf10]", name.c_str(),
                  static_cast<int>(args.size()));
            return undef_value();
        }
        return draw_value(distribution(engine));
    }

private:
    mutable Engine engine;
    mutable Distribution distribution;
};

// A parameter test: whether a distribution may be made with these values.
using ParamsOk = bool (*)(const double* p);

std::uint32_t name_hash(const std::string& s) {
    std::uint32_t h = 2166136261u; // FNV-1a
    for (const char c : s)
        h = (h ^ static_cast<unsigned char>(c)) * 16777619u;
    return h;
}

template <class Engine, class Distribution, int N>
class RandomFct final : public PredefinedFunction {
public:
    RandomFct(const std::string& name, ParamsOk check, GlobalEnvironment* genv)
        : PredefinedFunction(name, N, genv)
        , ok(check) {}

    Value apply(const std::vector<Value>& args) const override {
        if (static_cast<int>(args.size()) != N) {
            error("Bad arguments number in function call %s (%d expected, %d provided) [rnd1]", name.c_str(),
                  N, static_cast<int>(args.size()));
            return undef_value();
        }
        double p[N > 0 ? N : 1] = {};
        for (int i = 0; i < N; ++i) {
            if (!args[i]->is_numeric()) {
                error("Bad argument %d type in function %s (got %s)", i + 1, name.c_str(),
                      args[i]->kind_name());
                return undef_value();
            }
            p[i] = args[i]->get_double();
        }
        if (!ok(p)) {
            error("Bad arguments in function %s: parameters out of the distribution's range [rnd2]",
                  name.c_str());
            return undef_value();
        }
        const int rank = ++made;
        const std::string generator = str_printf("%s_generator_%d", name.c_str(), rank);
        auto* g = new RandomGenerator<Engine, Distribution>(generator, env, name_hash(name) + rank, make(p));
        return Value::make<FctValue>(g);
    }

private:
    // Integer parameters (counts, bounds) are truncated.
    static Distribution make(const double* p) {
        if constexpr (N == 1)
            return Distribution(p[0]);
        else
            return Distribution(p[0], p[1]);
    }

    ParamsOk ok;
    mutable int made = 0;
};

constexpr double int_max = 2147483647.0;

bool probability(const double* p) {
    return p[0] >= 0 && p[0] <= 1;
}
bool positive(const double* p) {
    return p[0] > 0 && std::isfinite(p[0]);
}
bool open_probability(const double* p) {
    return p[0] > 0 && p[0] < 1;
}
bool count_and_probability(const double* p) {
    return p[0] >= 0 && p[0] <= int_max && p[1] >= 0 && p[1] <= 1;
}
bool location_and_scale(const double* p) {
    return std::isfinite(p[0]) && p[1] > 0 && std::isfinite(p[1]);
}
bool ordered_ints(const double* p) {
    return p[0] >= -int_max && p[1] <= int_max && std::trunc(p[0]) <= std::trunc(p[1]);
}
bool ordered_reals(const double* p) {
    return std::isfinite(p[0]) && std::isfinite(p[1]) && p[0] < p[1];
}
bool two_positive(const double* p) {
    return p[0] > 0 && p[1] > 0 && std::isfinite(p[0]) && std::isfinite(p[1]);
}
bool successes_and_probability(const double* p) {
    return p[0] > 0 && p[0] <= int_max && p[1] > 0 && p[1] <= 1;
}
bool poisson_mean(const double* p) {
    return p[0] > 0 && p[0] < 1e9;
}

} // namespace

void install_predefined_random_function(GlobalEnvironment& env) {
    new RandomFct<MinStd, std::bernoulli_distribution, 1>("@rnd_bernoulli", probability, &env);
    new RandomFct<MinStd, std::binomial_distribution<int>, 2>("@rnd_binomial", count_and_probability, &env);
    new RandomFct<MinStd, std::exponential_distribution<double>, 1>("@rnd_exponential", positive, &env);
    new RandomFct<MinStd, std::gamma_distribution<double>, 1>("@rnd_gamma", positive, &env);
    new RandomFct<MinStd, std::geometric_distribution<int>, 1>("@rnd_geometric", open_probability, &env);
    new RandomFct<MinStd, std::normal_distribution<double>, 2>("@rnd_normal", location_and_scale, &env);
    new RandomFct<MinStd, std::poisson_distribution<int>, 1>("@rnd_poisson", poisson_mean, &env);
    new RandomFct<Mt, std::uniform_int_distribution<int>, 2>("@rnd_uniform_int", ordered_ints, &env);
    new RandomFct<MinStd, std::uniform_real_distribution<double>, 2>("@rnd_uniform_float", ordered_reals,
                                                                     &env);
    new RandomFct<MinStd, std::cauchy_distribution<double>, 2>("@rnd_cauchy", location_and_scale, &env);
    new RandomFct<MinStd, std::chi_squared_distribution<double>, 1>("@rnd_chi_squared", positive, &env);
    new RandomFct<MinStd, std::negative_binomial_distribution<int>, 2>("@rnd_negative_binomial",
                                                                       successes_and_probability, &env);
    new RandomFct<MinStd, std::lognormal_distribution<double>, 2>("@rnd_lognormal_distribution",
                                                                  location_and_scale, &env);
    new RandomFct<MinStd, std::weibull_distribution<double>, 2>("@rnd_weibull", two_positive, &env);
}
