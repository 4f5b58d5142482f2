// The numeric functions: the mathematical library, rounding to ints, the
// simple random draws, and the tests that the reader's shorthands call
// ("@pow" for `a ^ b`, "@between" for `(a in b .. c)`, "@approx" for
// `(a ~ b)`). The tests take numbers or tabs of numbers; with tabs the test is
// made element by element and holds when it holds for all.
#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/FunctionHelpers.hpp"
#include "Exp/Library.hpp"
#include "Exp/LibraryInstall.hpp"

#include <cassert>
#include <cmath>
#include <cstdint>
#include <limits>

namespace {

// A double rounded to the language's 32-bit ints, saturating; NaN gives 0.
long saturate(double x) {
    if (std::isnan(x)) return 0;
    if (x >= static_cast<double>(std::numeric_limits<std::int32_t>::max()))
        return std::numeric_limits<std::int32_t>::max();
    if (x <= static_cast<double>(std::numeric_limits<std::int32_t>::min()))
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<long>(x);
}

long my_round(double x) {
    return saturate(std::round(x));
}
long my_floor(double x) {
    return saturate(std::floor(x));
}
long my_ceil(double x) {
    return saturate(std::ceil(x));
}

// "@rand(x)": a float from 0 to x, both ends possible.
class RandFloat final : public DoubleToDouble {
public:
    explicit RandFloat(GlobalEnvironment* genv)
        : DoubleToDouble("@rand", nullptr, genv, false) {}

protected:
    double compute(double x) const override { return env->library().rand15() / 32767.0 * x; }
};

// "@rand_int(n)": an int from 0 to n - 1; 0 when n is not positive.
class RandInt final : public IntToInt {
public:
    explicit RandInt(GlobalEnvironment* genv)
        : IntToInt("@rand_int", nullptr, genv, false) {}

protected:
    long compute(long n) const override { return n > 0 ? env->library().rand15() % n : 0; }
};

// "@random()": a float in [0, 1].
Value simple_random(const LibraryCall& call) {
    if (call.count() != 0) {
        error("Bad arguments number in function call %s (0 expected, %d provided) [baf10]", call.name(),
              call.count());
        return undef_value();
    }
    return float_value(library_of(call.env).rand15() / 32767.0);
}

double pow_of(double x, double y) {
    return std::pow(x, y);
}

// A test over numbers that also takes tabs: one tab gives each of its
// elements in turn to the argument it stands for; several tabs must have
// one size and are walked together; an empty tab makes the test true.
class NumericTest : public PredefinedFunction {
public:
    NumericTest(const std::string& name, int arity, GlobalEnvironment* env)
        : PredefinedFunction(name, arity, env) {}

    Value apply(const std::vector<Value>& args) const override {
        if (static_cast<int>(args.size()) != arity) {
            error("Bad arguments number in %s function call (%d provided)", name.c_str(),
                  static_cast<int>(args.size()));
            return undef_value();
        }
        long length = -1;
        for (const Value& a : args) {
            if (a->is_numeric()) continue;
            if (!a->is_tab()) {
                error("%s: bad argument type: numeric and/or tab (of numeric) is recquired", name.c_str());
                return undef_value();
            }
            const long n = static_cast<long>(value_cast<TabValue>(*a).size());
            if (length >= 0 && n != length) {
                error("%s: vector argument of unequal size", name.c_str());
                return undef_value();
            }
            length = n;
        }
        if (length < 0) return bool_value(holds(args, -1));
        for (long i = 0; i < length; ++i)
            if (!holds(args, i)) return bool_value(false);
        return bool_value(true);
    }

protected:
    static constexpr std::size_t max_arity = 3;
    // The test on numbers.
    virtual bool test(const double* x) const = 0;

private:
    // The test on the arguments, a tab standing for its element `i`; false
    // (reported) when one is not a number. Nothing is allocated.
    bool holds(const std::vector<Value>& args, long i) const {
        assert(args.size() <= max_arity && "numeric tests take at most three arguments");
        double x[max_arity] = {};
        for (std::size_t k = 0; k < args.size(); ++k) {
            const TaggedValue* n = &*args[k];
            if (n->is_tab()) n = &*(*value_cast<TabValue>(*n).val)[static_cast<std::size_t>(i)];
            if (!n->is_numeric()) {
                error("%s: non numeric argument", name.c_str());
                return false;
            }
            x[k] = n->get_double();
        }
        return test(x);
    }
};

// a < b < c, bounds excluded.
class Between final : public NumericTest {
public:
    explicit Between(GlobalEnvironment* env)
        : NumericTest("@between", 3, env) {}

protected:
    bool test(const double* x) const override { return x[0] < x[1] && x[1] < x[2]; }
};

// |x - y| / max(x, y) below the ratio $APPROX_RATIO (0.1 unless set); the
// divisor is the signed maximum, so two negative numbers are always close.
class Approx final : public NumericTest {
public:
    explicit Approx(GlobalEnvironment* env)
        : NumericTest("@approx", 2, env) {}

protected:
    bool test(const double* x) const override {
        if (x[0] == 0 && x[1] == 0) return true;
        const Value& ratio = env->get_global_approx_ratio();
        const double r = ratio->is_numeric() ? std::fabs(ratio->get_double()) : 0.1;
        return std::fabs(x[0] - x[1]) / std::max(x[0], x[1]) < r;
    }
};

struct MathEntry {
    const char* name;
    double (*fct)(double);
};

const MathEntry math_library[] = {
    {"@sin", [](double x) { return std::sin(x); }},   {"@asin", [](double x) { return std::asin(x); }},
    {"@sinh", [](double x) { return std::sinh(x); }}, {"@cos", [](double x) { return std::cos(x); }},
    {"@acos", [](double x) { return std::acos(x); }}, {"@cosh", [](double x) { return std::cosh(x); }},
    {"@tan", [](double x) { return std::tan(x); }},   {"@atan", [](double x) { return std::atan(x); }},
    {"@exp", [](double x) { return std::exp(x); }},   {"@log10", [](double x) { return std::log10(x); }},
    {"@log2", [](double x) { return std::log2(x); }}, {"@log", [](double x) { return std::log(x); }},
    {"@sqrt", [](double x) { return std::sqrt(x); }},
};

} // namespace

void install_scalar_functions(GlobalEnvironment& env) {
    for (const MathEntry& m : math_library)
        new DoubleToDouble(m.name, m.fct, &env);
    new DoubleToInt("@round", my_round, &env);
    new DoubleToInt("@floor", my_floor, &env);
    new DoubleToInt("@ceil", my_ceil, &env);
    new DoubleDoubleToDouble("@pow", pow_of, &env);
    new RandFloat(&env);
    new RandInt(&env);
    new LibraryFunction("@random", 0, simple_random, &env, false);
    new Between(&env);
    new Approx(&env);
}
