// The value model: kinds and their tags, storage and sharing, printing,
// conversions and deep copies.
#include "Exp/Nim.hpp"
#include "ExpTestSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace {

struct KindRow {
    const Kind* kind;
    const char* name;
};

const KindRow kind_table[] = {
    {&UndefValue::KIND, "undef"},   {&BoolValue::KIND, "bool"},
    {&StringValue::KIND, "string"}, {&SymbValue::KIND, "symbol"},
    {&IntValue::KIND, "int"},       {&FloatValue::KIND, "float"},
    {&FctValue::KIND, "funct"},     {&TabValue::KIND, "tab"},
    {&MapValue::KIND, "map"},       {&InterpolatedMapValue::KIND, "imap"},
    {&NimValue::KIND, "nim"},       {&PafValue::KIND, "paf"},
    {&ProcValue::KIND, "proc"},     {&ExeValue::KIND, "exe"},
};

std::uint64_t bits_of(double d) {
    std::uint64_t b;
    std::memcpy(&b, &d, sizeof b);
    return b;
}

} // namespace

TEST(ValueKinds, FourteenKindsWithDistinctTagsAndRanksInTableOrder) {
    EXPECT_EQ(Kind::registry().size(), 14u);
    for (std::size_t i = 0; i < std::size(kind_table); ++i) {
        const Kind& k = *kind_table[i].kind;
        SCOPED_TRACE(kind_table[i].name);
        EXPECT_STREQ(k.name, kind_table[i].name);
        EXPECT_EQ(k.rank, static_cast<int>(i) + 1);
        EXPECT_STREQ(Kind::look(k.tag), kind_table[i].name);
        EXPECT_EQ(Kind::look(std::string(kind_table[i].name)), k.tag);
    }
    EXPECT_EQ(Kind::look(std::string("no such kind")), 0);
    EXPECT_EQ(int_value(3)->rank(), 5);
    EXPECT_EQ(Value()->rank(), 1);
}

TEST(ValueKinds, ListingNamesEveryKind) {
    std::ostringstream out;
    Kind::listing(out);
    EXPECT_NE(out.str().find("Kind List (14 kinds"), std::string::npos);
    EXPECT_NE(out.str().find("Kind  5 is int     class IntValue"), std::string::npos) << out.str();
    EXPECT_NE(out.str().find("Kind 14 is exe "), std::string::npos) << out.str();
    for (const KindRow& row : kind_table)
        EXPECT_NE(out.str().find(row.name), std::string::npos);
}

TEST(ValueKinds, KindTestsReadTheTag) {
    TestContext ctx;
    const auto* f = new SumFunction("@kind_test_sum", 2, &ctx.global); // owned by the environment
    EXPECT_TRUE(float_value(1.0)->is_double());
    EXPECT_TRUE(float_value(1.0)->is_float());
    EXPECT_TRUE(int_value(1)->is_numeric());
    EXPECT_FALSE(bool_value(true)->is_numeric()) << "a bool is not a number";
    EXPECT_TRUE(string_value("a")->is_string_or_symb());
    EXPECT_TRUE(Value::make<SymbValue>(Reference::unique_id("sym"))->is_string_or_symb());
    EXPECT_TRUE(Value::make<FctValue>(f)->is_funct());
    EXPECT_TRUE(map_of({})->is_funct());
    EXPECT_TRUE(imap_of({})->is_funct());
    EXPECT_TRUE(Value::make<NimValue>()->is_funct());
    EXPECT_FALSE(tab_of_ints({1})->is_funct());
    EXPECT_TRUE(tab_of_ints({1})->garbageable());
    EXPECT_TRUE(int_value(1)->atomic());
}

TEST(ValueStorage, ThreeWordsWithSharedPayloads) {
    EXPECT_EQ(sizeof(Value), 3 * sizeof(void*));
    Value a = tab_of_ints({1, 2});
    Value b = a;
    const auto& ta = value_cast<TabValue>(*a);
    const auto& tb = value_cast<TabValue>(*b);
    EXPECT_EQ(ta.val.get(), tb.val.get()) << "a copy shares the tab";
    (*ta.val)[0] = int_value(10);
    EXPECT_EQ(text(*b), "TAB[10, 2]") << "a change through one is seen through the other";

    Value c = a->deep_copy();
    (*value_cast<TabValue>(*c).val)[0] = int_value(99);
    EXPECT_EQ(text(*a), "TAB[10, 2]") << "a deep copy is independent";
}

TEST(ValueStorage, MoveLeavesUndefAndAssignmentSurvivesAliasing) {
    Value a = tab_of_ints({1, 2});
    const long owners = value_cast<TabValue>(*a).val.use_count();
    Value b = std::move(a);
    EXPECT_TRUE(a->is_undef());
    EXPECT_EQ(value_cast<TabValue>(*b).val.use_count(), owners) << "a move does not touch the count";

    b = b;
    EXPECT_EQ(text(*b), "TAB[1, 2]");
    // The target owns the only reference to the source.
    b = (*value_cast<TabValue>(*b).val)[1];
    EXPECT_TRUE(b->is_int());
    EXPECT_EQ(b->get_int(), 2);

    Value m = map_of({{int_value(1), string_value("one")}});
    m = std::move(m);
    EXPECT_EQ(text(*m), "MAP{ (1, \"one\") }");
}

TEST(ValueShow, EachKindPrintsAsTheLanguageWritesIt) {
    TestContext ctx;
    const auto* f = new SumFunction("@show_sum", 2, &ctx.global);
    EXPECT_EQ(text(*Value()), "<<undef>>");
    EXPECT_EQ(text(*bool_value(true)), "true");
    EXPECT_EQ(text(*int_value(-42)), "-42");
    EXPECT_EQ(text(*float_value(3.0)), "3.0");
    EXPECT_EQ(text(*float_value(2.5)), "2.5");
    EXPECT_EQ(text(*float_value(-0.0)), "-0.0");
    EXPECT_EQ(text(*string_value("a\tb\n\"c\\")), "\"a\\tb\\n\\\"c\\\"") << "a backslash is not doubled";
    EXPECT_EQ(text(*Value::make<SymbValue>(Reference::unique_id("violin"))), "violin");
    EXPECT_EQ(text(*Value::make<ProcValue>(Reference::unique_id("::proc"))), "::proc");
    EXPECT_EQ(text(*Value::make<FctValue>(f)), "@show_sum");
    EXPECT_EQ(text(*exe_value(5)), "`5");
    EXPECT_EQ(text(*tab_value({int_value(1), float_value(2.0), string_value("x")})), "TAB[1, 2.0, \"x\"]");
    EXPECT_EQ(text(*map_of({{int_value(3), bool_value(true)}, {int_value(1), string_value("k")}})),
              "MAP{ (1, \"k\"), (3, true) }");
    EXPECT_EQ(text(*map_of({})), "MAP{  }");
    EXPECT_EQ(text(*imap_of({{0, 1}, {2, 3.5}})), "InterpolatedMAP {(0, 1), (2, 3.5)}");
    EXPECT_EQ(text(*Value::make<NimValue>()), "NIM{ << WRONG NIM (no breakpoints) >> }");
    EXPECT_EQ(text(*Value::make<PafValue>()), "<<undef>>");
}

TEST(ValueConversion, GettersFollowTheKindTable) {
    TestContext ctx;
    EXPECT_EQ(int_value(7)->get_double(), 7.0);
    EXPECT_EQ(float_value(1.9)->get_int(), 1);
    EXPECT_EQ(float_value(-1.9)->get_int(), -1) << "truncation toward zero";
    EXPECT_EQ(float_value(1e12)->get_int(), 2147483647) << "beyond 32 bits, the bound";

    EXPECT_FALSE(Value()->get_bool());
    EXPECT_FALSE(int_value(0)->get_bool());
    EXPECT_TRUE(float_value(std::nan(""))->get_bool()) << "NaN is true";
    EXPECT_FALSE(float_value(0.0)->get_bool());
    EXPECT_FALSE(string_value("")->get_bool());
    EXPECT_FALSE(Value::make<StringValue>()->get_bool()) << "no string at all";
    EXPECT_TRUE(string_value("a")->get_bool());
    EXPECT_FALSE(tab_of_ints({})->get_bool());
    EXPECT_TRUE(map_of({{int_value(1), int_value(1)}})->get_bool());
    EXPECT_TRUE(Value::make<ProcValue>(Reference::unique_id("::p"))->get_bool());

    const CountedPtr<Execution> running = make_counted<Execution>(3u, true);
    const Value exe = exe_value(running);
    const Value copy = exe;
    EXPECT_TRUE(copy->get_bool()) << "an execution is true while it runs";
    running->end();
    EXPECT_FALSE(copy->get_bool()) << "every value naming it sees its end";
    EXPECT_EQ(vcompare(*copy, *exe_value(3)), 0) << "executions compare by number";
    EXPECT_FALSE(exe_value(4)->get_bool()) << "a number alone names nothing running";

    const auto* predefined = new SumFunction("@conv_sum", 1, &ctx.global);
    EXPECT_FALSE(Value::make<FctValue>(predefined)->get_bool()) << "a predefined function is false";
    const auto* user = new UserFunction("@conv_user", {"$a"}, std::make_unique<Var>(&ctx, "$a"), &ctx.global);
    EXPECT_TRUE(Value::make<FctValue>(user)->get_bool());

    EXPECT_EQ(string_value("raw \"text\"")->get_string(), "raw \"text\"");
    EXPECT_EQ(Value::make<SymbValue>(Reference::unique_id("sym"))->get_string(), "sym");
    EXPECT_EQ(tab_of_ints({1})->get_string(), "TAB[1]");
}

TEST(ValueConversion, BadConversionsReportAndGiveNeutralResults) {
    ConsoleCapture console;
    const double nan = Value()->get_double();
    EXPECT_EQ(bits_of(nan), 0x7FF800000000029AULL) << "the failed-conversion NaN";
    EXPECT_TRUE(is_failed_conversion_nan(nan));
    EXPECT_TRUE(console.contains("Internal error: Bad type in get_double requested on undef"));
    EXPECT_TRUE(console.contains("Did you forget a 'forget'?"));
    EXPECT_EQ(console.errors(), 1);

    console.clear();
    EXPECT_EQ(string_value("12")->get_int(), 0);
    EXPECT_EQ(bool_value(true)->get_fct(), nullptr);
    EXPECT_EQ(int_value(1)->get_symb(), 0u);
    EXPECT_TRUE(console.contains("get_int requested on string"));
    EXPECT_TRUE(console.contains("get_function requested on bool"));
    EXPECT_TRUE(console.contains("get_symbol requested on int"));
    EXPECT_FALSE(console.contains("forget")) << "the hint is for undef only";
    EXPECT_EQ(console.errors(), 3);
}

TEST(ValueCopy, DeepCopyDuplicatesNestedPayloads) {
    Value inner = tab_of_ints({1});
    Value outer = tab_value({inner, string_value("s")});
    Value copy = outer->deep_copy();
    (*value_cast<TabValue>(*inner).val)[0] = int_value(5);
    EXPECT_EQ(text(*outer), "TAB[TAB[5], \"s\"]");
    EXPECT_EQ(text(*copy), "TAB[TAB[1], \"s\"]");

    Value m = map_of({{int_value(1), inner}});
    Value mcopy = m->deep_copy();
    (*value_cast<TabValue>(*inner).val)[0] = int_value(6);
    EXPECT_EQ(text(*mcopy), "MAP{ (1, TAB[5]) }");

    Value im = imap_of({{0, 1}});
    Value imcopy = im->deep_copy();
    EXPECT_NE(value_cast<InterpolatedMapValue>(*im).val.get(),
              value_cast<InterpolatedMapValue>(*imcopy).val.get());
}
