// The predefined functions that the reader's shorthands call: "@pow" for
// `a ^ b`, "@between" for `(a in b .. c)`, "@approx" for `(a ~ b)`. Each
// takes numbers or tabs of numbers; with tabs the test is made element by
// element and holds when it holds for all.
#include "Exp/ScalarFunctions.hpp"

#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/Function.hpp"
#include "Exp/ValueKinds.hpp"

#include <cmath>

namespace {

class Pow final : public PredefinedFunction {
public:
    explicit Pow(GlobalEnvironment* env)
        : PredefinedFunction("@pow", 2, env) {
        is_pure = true;
    }

    Value apply(const std::vector<Value>& args) const override {
        if (args.size() != 2) {
            error("Bad arguments number in function call %s (2 expected, %d provided) [baf13]", name.c_str(),
                  static_cast<int>(args.size()));
            return undef_value();
        }
        for (std::size_t i = 0; i < 2; ++i) {
            if (args[i]->is_numeric()) continue;
            error("Bad argument %d type in function %s (got %s)", static_cast<int>(i + 1), name.c_str(),
                  args[i]->kind_name());
            return undef_value();
        }
        return float_value(std::pow(args[0]->get_double(), args[1]->get_double()));
    }
};

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
        if (length < 0) return bool_value(holds(args));
        for (long i = 0; i < length; ++i)
            if (!holds(element(args, i))) return bool_value(false);
        return bool_value(true);
    }

protected:
    // The test on numbers; false (reported) when one is not a number.
    virtual bool test(const std::vector<double>& x) const = 0;

private:
    bool holds(const std::vector<Value>& numbers) const {
        std::vector<double> x;
        x.reserve(numbers.size());
        for (const Value& n : numbers) {
            if (!n->is_numeric()) {
                error("%s: non numeric argument", name.c_str());
                return false;
            }
            x.push_back(n->get_double());
        }
        return test(x);
    }

    static std::vector<Value> element(const std::vector<Value>& args, long i) {
        std::vector<Value> out;
        out.reserve(args.size());
        for (const Value& a : args)
            out.push_back(a->is_tab() ? (*value_cast<TabValue>(*a).val)[static_cast<std::size_t>(i)] : a);
        return out;
    }
};

// a < b < c, bounds excluded.
class Between final : public NumericTest {
public:
    explicit Between(GlobalEnvironment* env)
        : NumericTest("@between", 3, env) {}

protected:
    bool test(const std::vector<double>& x) const override { return x[0] < x[1] && x[1] < x[2]; }
};

// |x - y| / max(x, y) below the ratio $APPROX_RATIO (0.1 unless set); the
// divisor is the signed maximum, so two negative numbers are always close.
class Approx final : public NumericTest {
public:
    explicit Approx(GlobalEnvironment* env)
        : NumericTest("@approx", 2, env) {}

protected:
    bool test(const std::vector<double>& x) const override {
        if (x[0] == 0 && x[1] == 0) return true;
        const Value& ratio = env->get_global_approx_ratio();
        const double r = ratio->is_numeric() ? std::fabs(ratio->get_double()) : 0.1;
        return std::fabs(x[0] - x[1]) / std::max(x[0], x[1]) < r;
    }
};

} // namespace

void install_scalar_functions(GlobalEnvironment& env) {
    new Pow(&env);
    new Between(&env);
    new Approx(&env);
}
