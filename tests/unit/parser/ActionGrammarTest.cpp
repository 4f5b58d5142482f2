// The grammar of actions and expressions: precedence, closed message
// arguments, delays and their units, and what ends at a line end.
#include "Exp/Expression.hpp"
#include "ConsoleCapture.hpp"
#include "TestReading.hpp"
#include "Tree/Assignments.hpp"
#include "Tree/AtomicActions.hpp"
#include "Tree/Bloc.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace {

class ActionGrammar : public ::testing::Test {
protected:
    bool reads(const std::string& text) { return reader.load(text); }

    // The actions of the first event, as a flat list (sequences opened).
    std::vector<Action*> actions(const std::string& text) {
        std::vector<Action*> out;
        EXPECT_TRUE(reads(text)) << text;
        if (!reader.read) return out;
        flatten(reader.event(1).action(), out);
        return out;
    }

    // The value assigned by the only action of "NOTE 60 1\n$x := <expression>".
    const Expression* assigned(const std::string& expression) {
        const std::vector<Action*> list = actions("NOTE 60 1\n$x := " + expression + "\n");
        auto* a = list.size() == 1 ? dynamic_cast<AssignmentAction*>(list[0]) : nullptr;
        EXPECT_NE(a, nullptr) << expression;
        return a ? a->value.get() : nullptr;
    }

    // The arguments of the only message of the first event.
    const ExpressionList& arguments(const std::string& line) {
        static const ExpressionList none;
        const std::vector<Action*> list = actions("NOTE 60 1\n" + line + "\n");
        auto* m = list.size() == 1 ? dynamic_cast<Message*>(list[0]) : nullptr;
        EXPECT_NE(m, nullptr) << line;
        if (!m || m->arguments.empty()) return none;
        return m->arguments[0];
    }

    static void flatten(Action* a, std::vector<Action*>& out) {
        if (!a) return;
        if (auto* seq = dynamic_cast<AtomicSequence*>(a)) {
            for (const ActionPtr& b : seq->actions)
                out.push_back(b.get());
            return;
        }
        auto* g = dynamic_cast<Gfwd*>(a);
        if (g && g->hidden) {
            for (const ActionPtr& b : g->actions)
                flatten(b.get(), out);
            return;
        }
        out.push_back(a);
    }

    ConsoleCapture console;
    TestReading reader;
};

const BinaryExpression* binary(const Expression* e, e_binop op) {
    auto* b = dynamic_cast<const BinaryExpression*>(e);
    EXPECT_NE(b, nullptr);
    if (b) {
        EXPECT_EQ(b->op, op);
    }
    return b;
}

const BinaryExpression* binary(const ExpPtr& e, e_binop op) {
    return binary(e.get(), op);
}

double number(const Expression* e) {
    const TaggedValue* v = e ? e->is_value() : nullptr;
    EXPECT_TRUE(v && v->is_numeric());
    return v && v->is_numeric() ? v->get_double() : std::nan("");
}

double number(const ExpPtr& e) {
    return number(e.get());
}

TEST_F(ActionGrammar, OperatorLevelsAreTheLanguagesOwn) {
    // "-" binds looser than "+": 1 - 2 + 3 is 1 - (2 + 3).
    const auto* minus = binary(assigned("$a - $b + $c"), OP_MINUS);
    ASSERT_NE(minus, nullptr);
    binary(minus->right, OP_PLUS);
    EXPECT_DOUBLE_EQ(number(assigned("1 - 2 + 3")), -4);

    // "/" binds tighter than "*": a * b / c is a * (b / c), a / b * c is (a / b) * c.
    binary(binary(assigned("$a * $b / $c"), OP_TIMES)->right, OP_DIV);
    binary(binary(assigned("$a / $b * $c"), OP_TIMES)->left, OP_DIV);
    binary(binary(assigned("$a % $b * $c"), OP_MOD)->right, OP_TIMES);

    // "=" is looser than "!=": a = b != c is a = (b != c).
    binary(binary(assigned("$a = $b != $c"), OP_EQ)->right, OP_NE);
    binary(binary(assigned("$a || $b && $c"), OP_OR)->right, OP_AND);

    // A prefix binds tighter than every infix operator.
    auto* conj = binary(assigned("!$a && $b"), OP_AND);
    ASSERT_NE(conj, nullptr);
    EXPECT_NE(dynamic_cast<const UnaryExpression*>(conj->left.get()), nullptr);
}

TEST_F(ActionGrammar, PowerAssociatesToTheLeftAndTakesTheSign) {
    auto* outer = dynamic_cast<const CallExpression*>(assigned("$a ^ $b ^ $c"));
    ASSERT_NE(outer, nullptr);
    ASSERT_EQ(outer->args.size(), 2u);
    EXPECT_NE(dynamic_cast<const CallExpression*>(outer->args[0].get()), nullptr) << "(a ^ b) ^ c";

    auto* squared = dynamic_cast<const CallExpression*>(assigned("- $a ^ 2"));
    ASSERT_NE(squared, nullptr);
    EXPECT_NE(dynamic_cast<const UnaryExpression*>(squared->args.at(0).get()), nullptr) << "(-a) ^ 2";
}

TEST_F(ActionGrammar, OperatorsThatDoNotAssociateAreSyntaxErrors) {
    for (const char* chain : {"1 - 2 - 3", "8 / 2 / 2", "1 < 2 < 3", "$a = $b = $c", "$a != $b != $c"}) {
        console.clear();
        EXPECT_FALSE(reads(std::string("NOTE 60 1\n$x := ") + chain + "\n")) << chain;
        EXPECT_TRUE(console.has_error("syntax error")) << chain;
    }
    EXPECT_DOUBLE_EQ(number(assigned("(1 - 2) - 3")), -4) << "a parenthesis settles it";
}

TEST_F(ActionGrammar, ConstantsFoldAsTheyAreRead) {
    EXPECT_DOUBLE_EQ(number(assigned("2 * (3 + 4)")), 14);
    EXPECT_DOUBLE_EQ(number(assigned("[1, 2, 3][1]")), 2) << "an index needs no tab keyword";
    EXPECT_EQ(assigned("$y + 1")->is_value(), nullptr);
    ASSERT_TRUE(reads("bpm (60 * 2)\nNOTE 60 1\n"));
    EXPECT_FLOAT_EQ(reader.score().period, 0.5f) << "bpm takes a folded closed expression";
}

TEST_F(ActionGrammar, MessageArgumentsAreClosed) {
    const ExpressionList& args = arguments("f -1 a \"s\" (1 + 2) $x-1");
    ASSERT_EQ(args.size(), 6u);
    EXPECT_DOUBLE_EQ(number(args[0]), -1) << "a sign right on a number";
    EXPECT_TRUE(args[1]->eval()->is_symbol()) << "a bare word is a symbol";
    EXPECT_TRUE(args[2]->eval()->is_string()) << "a string folds into a constant";
    EXPECT_DOUBLE_EQ(number(args[3]), 3) << "an operator needs parentheses";
    ASSERT_NE(args[4]->is_a_variable(), nullptr);
    EXPECT_DOUBLE_EQ(number(args[5]), -1) << "$x-1 is two arguments";

    EXPECT_TRUE(arguments("print loop group")[0]->eval()->is_symbol()) << "keywords are words in a message";
    EXPECT_NE(arguments("print ([2#]:$x)")[0]->is_a_variable(), nullptr)
        << "keywords work again in parentheses";
    EXPECT_NE(arguments("print [2#]:$x")[0]->is_a_variable(), nullptr) << "a history read is closed";
    EXPECT_FALSE(reads("NOTE 60 1\nprint (a)\n")) << "a word in parentheses is no expression";
}

TEST_F(ActionGrammar, CommasSeparateMessagesToOneReceiver) {
    const std::vector<Action*> list = actions("NOTE 60 1\nprint a b, c\n");
    ASSERT_EQ(list.size(), 1u);
    auto* m = dynamic_cast<Message*>(list[0]);
    ASSERT_NE(m, nullptr);
    ASSERT_EQ(m->arguments.size(), 2u);
    EXPECT_EQ(m->arguments[0].size(), 2u);
    EXPECT_EQ(m->arguments[1].size(), 1u);

    EXPECT_FALSE(reads("NOTE 60 1\nprint\n"));
    EXPECT_TRUE(console.has_error("Empty message"));
    console.clear();
    EXPECT_FALSE(reads("NOTE 60 1\nprint , a\n"));
    EXPECT_TRUE(console.has_error("Empty message"));
}

TEST_F(ActionGrammar, DelaysAndTheirUnits) {
    const std::vector<Action*> list =
        actions("NOTE 60 1\n5s print a\n(5s) print b\n250 ms print c\n1/2 print d\n2 s print e\n");
    ASSERT_EQ(list.size(), 5u);
    EXPECT_EQ(list[0]->delay.unit, DURATION_SECONDS) << "\"5s \" is five seconds";
    EXPECT_DOUBLE_EQ(list[0]->delay.eval(), 5);
    EXPECT_EQ(list[1]->delay.unit, DURATION_BEATS) << "\"5s)\" is the number 5 alone";
    EXPECT_DOUBLE_EQ(list[1]->delay.eval(), 5);
    EXPECT_EQ(list[2]->delay.unit, DURATION_SECONDS);
    EXPECT_DOUBLE_EQ(list[2]->delay.eval(), 0.25);
    EXPECT_DOUBLE_EQ(list[3]->delay.eval(), 0.5);
    EXPECT_EQ(list[4]->delay.unit, DURATION_SECONDS);
    EXPECT_EQ(list[0]->delay.expr, nullptr) << "a constant delay is kept as a number";

    EXPECT_FALSE(reads("NOTE 60 1\n1 (print)\n")) << "a parenthesis after a delay starts no action";
}

TEST_F(ActionGrammar, AbortByNameOrByExpression) {
    const std::vector<Action*> list = actions("NOTE 60 1\nabort foo\nabort $x\nabort g::$v\n");
    ASSERT_EQ(list.size(), 3u);
    auto* named = dynamic_cast<KillAction*>(list[0]);
    ASSERT_NE(named, nullptr);
    EXPECT_EQ(named->target_name, "foo");
    EXPECT_EQ(named->label, "abort_foo");
    auto* computed = dynamic_cast<KillAction*>(list[1]);
    ASSERT_NE(computed, nullptr);
    EXPECT_NE(computed->target, nullptr);
    auto* dotted = dynamic_cast<KillAction*>(list[2]);
    ASSERT_NE(dotted, nullptr);
    EXPECT_NE(dotted->target, nullptr) << "a name followed by :: reads on as an expression";
}

TEST_F(ActionGrammar, OneAtomicActionPerLineCompoundActionsAcrossLines) {
    EXPECT_FALSE(reads("NOTE 60 1\nprint a $x := 1\n"));
    EXPECT_TRUE(reads("NOTE 60 1\ngroup g\n{\n print a\n\n 1 print b }\n"));
    EXPECT_TRUE(reads("NOTE 60 1\ngroup g { print a } { print b } loop 1 { print c }\n"))
        << "compound actions share a line, and } ends the line of the last message";
    EXPECT_TRUE(reads("NOTE 60 1\nprint ([1,\n 2]) (map { (1,\n 2) })\n"))
        << "brackets and braces run over lines";
    EXPECT_FALSE(reads("NOTE 60 1\nprint tab [1, 2]\n")) << "in a message, a tab needs a parenthesis";
    EXPECT_TRUE(reads("NOTE 60 1\nprint a \\\n b\n")) << "a backslash continues the line";
    EXPECT_TRUE(reads("NOTE 60 1\nprint a ; a comment cuts the line\n"));
    EXPECT_TRUE(reads("NOTE 60 1\nprint x @action := {\n loop 1 { print y }\n} @local\nprint z\n"))
        << "an attribute block spans lines and reads keywords, then the message line goes on";
}

TEST_F(ActionGrammar, ExpressionsInTheirForms) {
    EXPECT_NE(dynamic_cast<const TabComprehension*>(assigned("[$i * 2 | $i in 0 .. 10 : 2, $i != 4]")),
              nullptr);
    EXPECT_NE(dynamic_cast<const IfExpression*>(assigned("if ($c) { 1 } else { $y := 2 return $y }")),
              nullptr);
    EXPECT_NE(dynamic_cast<const MapDefinition*>(assigned("map { ($k, 1) }")), nullptr);
    EXPECT_NE(dynamic_cast<const CallExpression*>(assigned("@f(, $y)")), nullptr) << "f(,x) reads as f(x)";
    const Expression* with = assigned("with $u := 1 and $v = $u + 1 in $u * $v");
    ASSERT_NE(with, nullptr);
    EXPECT_EQ(with->show(), "with $u := 1 and $v := $u + 1 in $u * $v");
    EXPECT_TRUE(reads("NOTE 60 1 intro\n$x := [intro.align]:$y + (with $z := intro.align in $z)\n"))
        << "anchors deep in expressions are resolved";
    EXPECT_FALSE(reads("NOTE 60 1\n$x := nowhere.align\n"));
    EXPECT_TRUE(console.has_error("Cannot resolve anchor: nowhere"));
    const Var* history = assigned("[3 s]:$y")->is_a_variable();
    ASSERT_NE(history, nullptr);
    EXPECT_EQ(history->history_unit, DURATION_SECONDS);
}

} // namespace
