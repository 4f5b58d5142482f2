// Predefined functions of one or two numbers. The one-argument form is
// listable: given a tab it gives the tab of its elements' images, and an
// element of the wrong kind becomes undef (reported) while the others go on.
// Scalars are neither copied nor allocated.
#pragma once

#include "Base/Console.hpp"
#include "Exp/Function.hpp"
#include "Exp/ValueKinds.hpp"

#include <vector>

template <class R, class V, class A, A (TaggedValue::*getter)() const, bool (TaggedValue::*test)() const>
class PredefinedFunctionHelper1 : public PredefinedFunction {
public:
    using Fct = R (*)(A);

    PredefinedFunctionHelper1(const std::string& name, Fct f, GlobalEnvironment* env, bool pure = true)
        : PredefinedFunction(name, 1, env)
        , fct(f) {
        is_pure = pure;
    }

    Value apply(const std::vector<Value>& args) const override {
        if (args.size() != 1) {
            error("Bad arguments number in function call %s (1 expected, %d provided) [baf14]", name.c_str(),
                  static_cast<int>(args.size()));
            return undef_value();
        }
        const TaggedValue& x = *args[0];
        if (x.is_tab()) return apply_each(value_cast<TabValue>(x));
        return image(x);
    }

    Fct fct;

protected:
    virtual R compute(A x) const { return fct(x); }

private:
    Value image(const TaggedValue& x) const {
        if (!(x.*test)()) {
            error("Bad argument 1 type in function %s (got %s)", name.c_str(), x.kind_name());
            return undef_value();
        }
        return Value::make<V>(compute((x.*getter)()));
    }

    Value apply_each(const TabValue& t) const {
        tab_t out;
        out.reserve(t.size());
        if (t.val)
            for (const Value& element : *t.val)
                out.push_back(image(*element));
        return tab_value(std::move(out));
    }
};

template <class R, class V, class A, A (TaggedValue::*getA)() const, bool (TaggedValue::*testA)() const,
          class B, B (TaggedValue::*getB)() const, bool (TaggedValue::*testB)() const>
class PredefinedFunctionHelper2 : public PredefinedFunction {
public:
    using Fct = R (*)(A, B);

    PredefinedFunctionHelper2(const std::string& name, Fct f, GlobalEnvironment* env, bool pure = true)
        : PredefinedFunction(name, 2, env)
        , fct(f) {
        is_pure = pure;
    }

    Value apply(const std::vector<Value>& args) const override {
        if (args.size() != 2) {
            error("Bad arguments number in function call %s (2 expected, %d provided) [baf13]", name.c_str(),
                  static_cast<int>(args.size()));
            return undef_value();
        }
        if (!((*args[0]).*testA)()) return bad(1, *args[0]);
        if (!((*args[1]).*testB)()) return bad(2, *args[1]);
        return Value::make<V>(fct(((*args[0]).*getA)(), ((*args[1]).*getB)()));
    }

    Fct fct;

private:
    Value bad(int which, const TaggedValue& x) const {
        error("Bad argument %d type in function %s (got %s)", which, name.c_str(), x.kind_name());
        return undef_value();
    }
};

using DoubleToDouble =
    PredefinedFunctionHelper1<double, FloatValue, double, &TaggedValue::get_double, &TaggedValue::is_numeric>;
using DoubleToInt =
    PredefinedFunctionHelper1<long, IntValue, double, &TaggedValue::get_double, &TaggedValue::is_numeric>;
using IntToInt =
    PredefinedFunctionHelper1<long, IntValue, long, &TaggedValue::get_int, &TaggedValue::is_numeric>;
using DoubleDoubleToDouble =
    PredefinedFunctionHelper2<double, FloatValue, double, &TaggedValue::get_double, &TaggedValue::is_numeric,
                              double, &TaggedValue::get_double, &TaggedValue::is_numeric>;

// A kind test: one argument, never listed over a tab.
class NonListablePredicate : public PredefinedFunction {
public:
    using Fct = bool (*)(const TaggedValue&);

    NonListablePredicate(const std::string& name, Fct f, GlobalEnvironment* env)
        : PredefinedFunction(name, 1, env)
        , fct(f) {
        is_pure = true;
    }

    Value apply(const std::vector<Value>& args) const override {
        if (args.size() != 1) {
            error("Bad arguments number in predicate call %s (1 expected, %d provided) [baf5]", name.c_str(),
                  static_cast<int>(args.size()));
            return undef_value();
        }
        return bool_value(fct(*args[0]));
    }

    Fct fct;
};

// A test of a map.
class PredefinedFct_Map__Bool : public PredefinedFunction {
public:
    using Fct = bool (*)(const map_t&);

    PredefinedFct_Map__Bool(const std::string& name, Fct f, GlobalEnvironment* env)
        : PredefinedFunction(name, 1, env)
        , fct(f) {
        is_pure = true;
    }

    Value apply(const std::vector<Value>& args) const override {
        if (args.size() != 1) {
            error("Bad arguments number in function call %s (1 expected, %d provided) [baf7]", name.c_str(),
                  static_cast<int>(args.size()));
            return undef_value();
        }
        if (!args[0]->is_map()) {
            error("Bad argument 1 type in function %s (got %s)", name.c_str(), args[0]->kind_name());
            return undef_value();
        }
        const auto& m = value_cast<MapValue>(*args[0]);
        return bool_value(m.val && fct(*m.val));
    }

    Fct fct;
};

// One name, two functions chosen by the kind of the one argument: `First`
// (a map) or `Second` (a tab for `OverloadMapTab`, a nim for `OverloadMapNim`).
template <class Second>
class OverloadMap : public PredefinedFunction {
public:
    using OnMap = Value (*)(const MapValue&);
    using OnSecond = Value (*)(const Second&);

    OverloadMap(const std::string& name, OnMap m, OnSecond s, GlobalEnvironment* env, bool pure = true)
        : PredefinedFunction(name, 1, env)
        , on_map(m)
        , on_second(s) {
        is_pure = pure;
    }

    Value apply(const std::vector<Value>& args) const override {
        if (args.size() != 1) {
            error("Bad arguments number in function call %s (1 expected, %d provided) [baf14]", name.c_str(),
                  static_cast<int>(args.size()));
            return undef_value();
        }
        const TaggedValue& x = *args[0];
        if (x.is_map()) return on_map(value_cast<MapValue>(x));
        if (x.tag() == Second::KIND.tag) return on_second(value_cast<Second>(x));
        error("Bad argument in function %s (got %s): a map or a %s is expected [baf15]", name.c_str(),
              x.kind_name(), Second::KIND.name);
        return undef_value();
    }

    OnMap on_map;
    OnSecond on_second;
};

using OverloadMapTab = OverloadMap<TabValue>;
using OverloadMapNim = OverloadMap<NimValue>;
