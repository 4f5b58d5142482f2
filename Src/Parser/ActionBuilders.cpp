// The actions that grammar rules build.
#include "Base/Console.hpp"
#include "Exp/DotExpression.hpp"
#include "Exp/Expression.hpp"
#include "Parser/GrammarSupport.hpp"
#include "Parser/ParseDriver.hpp"
#include "Tree/ActionAttributes.hpp"
#include "Tree/Assignments.hpp"
#include "Tree/AtomicActions.hpp"
#include "Tree/Compound.hpp"
#include "Tree/Curve.hpp"
#include "Tree/DspActions.hpp"

ActionPtr delayed(ActionPtr action, DurPtr delay) {
    if (action && delay) action->delay = *delay;
    return action;
}

void empty_message(ParseDriver& driver, const yy::location& loc) {
    driver.error(loc, "Empty message");
}

ExpVecList append_part(ParseDriver& driver, ExpVecList parts, ExpVec part, const yy::location& comma) {
    if (parts.empty()) empty_message(driver, comma);
    parts.push_back(std::move(part));
    return parts;
}

ActionPtr make_message(ParseDriver& driver, MaxName receiver, ExpVecList parts, AttrVec attributes,
                       const yy::location& receiver_loc, const yy::location& loc) {
    if (parts.empty()) {
        empty_message(driver, receiver_loc);
        parts.push_back(expression_list(std::make_unique<StringValue>(std::string("Empty Message"))));
    }
    return std::make_unique<Message>(driver.build(), receiver.name, std::move(receiver.computed),
                                     std::move(parts), nullptr, std::move(attributes), &loc);
}

ActionPtr make_kill(ParseDriver& driver, const char* prefix, std::string name, DurPtr delay,
                    AttrVec attributes, const yy::location& loc) {
    return std::make_unique<KillAction>(driver.build(), prefix + name, name, nullptr, delay.get(),
                                        std::move(attributes), &loc);
}

ActionPtr make_kill_of(ParseDriver& driver, const char* prefix, std::string name, std::string of,
                       DurPtr delay, AttrVec attributes, const yy::location& loc) {
    return std::make_unique<KillActionOf>(driver.build(), prefix + name + "_of_" + of, name, of, nullptr,
                                          nullptr, delay.get(), std::move(attributes), &loc);
}

ActionPtr make_group(ParseDriver& driver, const std::string& name, DurPtr delay, AttrVec attributes,
                     ActionVec body, ExpPtr until, TimedEnd timed_end, const yy::location& loc) {
    return Gfwd::make(driver.build(), name, delay.get(), std::move(attributes), std::move(body),
                      std::move(until), std::move(timed_end), &loc);
}

namespace {

CurveBreakpoint breakpoint(BreakPointValue& p) {
    CurveBreakpoint point;
    if (p.delay) point.delay = *p.delay;
    point.values = std::move(p.values);
    point.type = p.interpolation.type;
    point.dynamic_type = std::move(p.interpolation.dynamic);
    return point;
}

} // namespace

ActionPtr make_curve(ParseDriver& driver, const std::string& name, AttrVec attributes, CurveLists lists,
                     ExpPtr until, TimedEnd timed_end, const yy::location& loc) {
    std::vector<SeqContFunction> functions;
    for (CurveListValue& list : lists) {
        std::vector<CurveBreakpoint> points;
        for (BreakPointValue& p : list.points)
            points.push_back(breakpoint(p));
        functions.emplace_back(std::move(list.variables), std::move(points));
    }
    return std::make_unique<Curve>(driver.build(), name, nullptr, std::move(attributes), std::move(functions),
                                   std::move(until), std::move(timed_end), &loc);
}

ActionPtr make_simple_curve(ParseDriver& driver, ExpVec message, ExpPtr from, ExpPtr to, DurPtr duration,
                            AttrVec attributes, const yy::location& loc) {
    return Curve::make_simple(driver.build(), std::move(message), nullptr, std::move(attributes),
                              std::move(from), std::move(to), *duration, &loc);
}

ActionPtr make_declaration(ParseDriver& driver, int kind, Declared vars, const yy::location& loc) {
    std::vector<VarPtr> list;
    std::vector<int> histories;
    for (auto& [var, history] : vars) {
        list.push_back(std::move(var));
        histories.push_back(history);
    }
    if (kind == 1)
        return std::make_unique<LocalDec>(driver.build(), std::move(list), std::move(histories), &loc);
    return std::make_unique<GlobalDec>(driver.build(), std::move(list), std::move(histories), &loc);
}

ActionPtr make_switch(ParseDriver& driver, ExpPtr subject, AttrVec attributes, CaseValues cases,
                      const yy::location& loc) {
    CaseList list;
    for (CaseValue& c : cases)
        list.emplace_back(std::move(c.test), std::move(c.actions));
    return std::make_unique<SwitchAction>(driver.build(), std::move(subject), std::move(attributes),
                                          std::move(list), &loc);
}

ActionPtr make_let(ParseDriver& driver, ExpPtr target, ExpPtr value, AttrVec attributes,
                   const yy::location& loc) {
    return located(driver, loc, [&] {
        return make_let_assignment(driver.build(), std::move(target), std::move(value), std::move(attributes),
                                   &loc);
    });
}

AttrPtr action_attribute(ParseDriver&, ActionPtr action) {
    return std::make_unique<ActionAttribute>(std::move(action));
}

ActionPtr attribute_block(ParseDriver& driver, const char* name, ActionVec body, const yy::location& loc) {
    return Action::make_action_from_actionlist(driver.build(), anonymous_name(driver.build(), name, false),
                                               nullptr, {}, std::move(body), &loc, true);
}

ActionPtr make_patch(ParseDriver& driver, const std::string& name, AttrVec attributes, Equations equations,
                     const yy::location& loc) {
    return std::make_unique<DspPatch>(driver.build(), name, std::move(equations), std::move(attributes),
                                      &loc);
}

EquationPtr equation(ParseDriver& driver, StringList outputs, const std::string& node, StringList arguments,
                     const yy::location& loc) {
    return std::make_unique<DspEquation>(driver.build(), std::move(outputs), node, std::move(arguments),
                                         AttributeList{}, &loc);
}

ActionPtr dsp_assignment(ParseDriver& driver, StringList targets, ExpPtr value, AttrVec attributes,
                         const yy::location& loc) {
    if (targets.size() != 1) {
        driver.error(loc, "A value is assigned to one dsp variable at a time");
        return nullptr;
    }
    auto target = std::make_unique<DspVar>(driver.eval(), targets.front(), driver.keep(loc));
    return std::make_unique<AssignmentAction>(driver.build(), std::move(target), std::move(value), nullptr,
                                              std::move(attributes), &loc);
}

ActionPtr single_equation(ParseDriver& driver, StringList outputs, const std::string& node,
                          StringList arguments, AttrVec attributes, const yy::location& loc) {
    Equations one;
    one.push_back(equation(driver, std::move(outputs), node, std::move(arguments), loc));
    return make_patch(driver, next_patch_label(driver.build()), std::move(attributes), std::move(one), loc);
}
