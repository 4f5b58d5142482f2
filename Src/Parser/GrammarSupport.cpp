#include "Parser/GrammarSupport.hpp"

#include "Exp/Expression.hpp"
#include "Parser/ParseDriver.hpp"
#include "Base/Console.hpp"

#include <sstream>

void report_place(ParseDriver& driver, const yy::location& loc) {
    driver.report_location(loc);
}

PitchPtr named_pitch(ParseDriver& driver, const std::string& name, bool tied, const yy::location& loc) {
    return located(driver, loc, [&] { return Pitch::from_name(name, tied, loc); });
}

void end_event(ParseDriver& driver) {
    driver.ignore_eol = true;
}

std::string number_label(double value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

// ---- modes ----

void push_eol(ParseDriver& driver) {
    driver.eol_stack.push_back(driver.ignore_eol);
    driver.ignore_eol = true;
}

void pop_eol(ParseDriver& driver) {
    std::vector<bool>& stack = driver.eol_stack;
    if (stack.empty()) return;
    driver.ignore_eol = stack.back();
    stack.pop_back();
}

void keywords_back(ParseDriver& driver) {
    driver.ignore_keyword = driver.saved_ignore_keyword;
}

void end_attribute_block(ParseDriver& driver, bool ignore_keyword) {
    pop_eol(driver);
    driver.ignore_keyword = ignore_keyword;
}

// ---- lists ----

ExpVec single(ExpPtr e) {
    ExpVec list;
    list.push_back(std::move(e));
    return list;
}

ExpVecList single_part(ExpVec part) {
    ExpVecList parts;
    parts.push_back(std::move(part));
    return parts;
}

ActionVec append_action(ActionVec list, ActionPtr action) {
    if (action) list.push_back(std::move(action));
    return list;
}

ExpressionList three(ExpPtr a, ExpPtr b, ExpPtr c) {
    return expression_list(std::move(a), std::move(b), std::move(c));
}

ExpressionListPtr strategy_list(ExpVec events) {
    if (events.empty()) return nullptr;
    return event_list(std::move(events));
}

ExpressionListPtr event_list(ExpVec events) {
    return std::make_unique<ExpressionList>(std::move(events));
}
