// How long actions live: copies of an action used as a value share it and
// keep it alive, and a score frees the top action that a later one replaces.
#include "Exp/Expression.hpp"
#include "Tree/AtomicActions.hpp"
#include "Tree/Score.hpp"
#include "Tree/TreeExpressions.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace {

std::unique_ptr<Message> message(const char* receiver, long value) {
    std::vector<ExpressionList> arguments;
    arguments.push_back(expression_list(std::make_unique<IntValue>(value)));
    return std::make_unique<Message>(nullptr, receiver, nullptr, std::move(arguments), nullptr,
                                     AttributeList{}, nullptr);
}

std::string shown(const Expression& e) {
    std::ostringstream out;
    e.show(out, 0);
    return out.str();
}

std::string shown(const Score& score) {
    std::ostringstream out;
    score.show_actions(out);
    return out.str();
}

TEST(ActionLifetime, CopiesOfAnActionValueShareTheActionAndKeepItAlive) {
    auto original = std::make_unique<ActionAsExpression>(nullptr, message("print", 1));
    const Action* action = original->action.get();
    const std::string written = shown(*original);
    ASSERT_NE(written.find("print 1"), std::string::npos) << written;

    const ExpPtr copy = original->clone();
    const ExpPtr second = copy->clone();
    original.reset();
    EXPECT_EQ(static_cast<const ActionAsExpression&>(*copy).action.get(), action)
        << "a copy shares the action";
    EXPECT_EQ(shown(*copy), written);
    EXPECT_EQ(shown(*second), written);
    EXPECT_TRUE(copy->eval()->is_exe()) << "without a runtime, firing gives no execution";
}

TEST(ActionLifetime, ALaterTopActionReplacesTheEarlierOne) {
    Score score("", nullptr, nullptr, true);
    score.attach_top_action(message("first", 1));
    score.attach_top_action(message("second", 2));
    EXPECT_EQ(score.CountActions(), 1);
    const std::string actions = shown(score);
    EXPECT_EQ(actions.find("first"), std::string::npos) << actions;
    EXPECT_NE(actions.find("second 2"), std::string::npos) << actions;
    ASSERT_NE(score.events.front()->action(), nullptr);
    EXPECT_EQ(score.events.front()->action()->msg_name(), "second") << "the event points at the action kept";
}

} // namespace
