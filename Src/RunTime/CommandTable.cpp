#include "RunTime/CommandTable.hpp"

#include "Exp/ValueKinds.hpp"

#include <cassert>

namespace {

bool is_number(const Value& v) {
    return v->is_numeric();
}

bool is_text(const Value& v) {
    return v->is_string_or_symb();
}

// Reads `count` ints from the front of `values`.
bool take_ints(const std::vector<Value>& values, std::size_t count, CommandArgs& out) {
    if (values.size() < count) return false;
    for (std::size_t i = 0; i < count; ++i) {
        if (!is_number(values[i])) return false;
        out.ints.push_back(values[i]->is_int() ? values[i]->get_int()
                                               : static_cast<long>(values[i]->get_double()));
    }
    return true;
}

bool take_strings(const std::vector<Value>& values, std::size_t count, CommandArgs& out) {
    if (values.size() < count) return false;
    for (std::size_t i = 0; i < count; ++i) {
        if (!is_text(values[i])) return false;
        out.strings.push_back(values[i]->get_string());
    }
    return true;
}

// Numbers, and the elements of tabs of numbers.
bool take_doubles(const Value& v, std::vector<double>& out) {
    if (is_number(v)) {
        out.push_back(v->get_double());
        return true;
    }
    if (!v->is_tab()) return false;
    for (const Value& e : *value_cast<TabValue>(*v).val)
        if (!take_doubles(e, out)) return false;
    return true;
}

ArgumentProblem read_double_int(const std::vector<Value>& values, CommandArgs& out) {
    if (values.empty() || !is_number(values[0])) return ArgumentProblem::ExpectsFirstFloat;
    out.doubles.push_back(values[0]->get_double());
    if (values.size() < 2 || !is_number(values[1])) return ArgumentProblem::ExpectsSecondInt;
    out.ints.push_back(static_cast<long>(values[1]->get_double()));
    return ArgumentProblem::None;
}

// A name, then one value, or a tab of the values when there are several.
ArgumentProblem read_string_value(const std::vector<Value>& values, CommandArgs& out) {
    if (values.size() < 2 || !is_text(values[0])) return ArgumentProblem::Other;
    out.strings.push_back(values[0]->get_string());
    if (values.size() == 2) {
        out.value = values[1];
        return ArgumentProblem::None;
    }
    out.value = tab_value(tab_t(values.begin() + 1, values.end()));
    return ArgumentProblem::None;
}

} // namespace

ArgumentProblem read_command_args(command_kind kind, bool optional_string, const std::vector<Value>& values,
                                  CommandArgs& out) {
    switch (kind) {
    case CMD_NONE:
        return ArgumentProblem::None;
    case CMD_INT:
        return take_ints(values, 1, out) ? ArgumentProblem::None : ArgumentProblem::ExpectsInts;
    case CMD_DOUBLE:
        if (values.empty() || !is_number(values[0])) return ArgumentProblem::ExpectsFirstFloat;
        out.doubles.push_back(values[0]->get_double());
        return ArgumentProblem::None;
    case CMD_STRING:
        if (values.empty() && optional_string) {
            out.strings.emplace_back();
            return ArgumentProblem::None;
        }
        return take_strings(values, 1, out) ? ArgumentProblem::None : ArgumentProblem::ExpectsStrings;
    case CMD_TWO_STRINGS:
        return take_strings(values, 2, out) ? ArgumentProblem::None : ArgumentProblem::ExpectsStrings;
    case CMD_DOUBLE_INT:
        return read_double_int(values, out);
    case CMD_THREE_INTS:
        return take_ints(values, 3, out) ? ArgumentProblem::None : ArgumentProblem::ExpectsInts;
    case CMD_DOUBLES:
        for (const Value& v : values)
            if (!take_doubles(v, out.doubles)) return ArgumentProblem::ExpectsFloats;
        return ArgumentProblem::None;
    case CMD_TWO_INTS:
        return take_ints(values, 2, out) ? ArgumentProblem::None : ArgumentProblem::ExpectsInts;
    case CMD_STRING_VALUE:
        return read_string_value(values, out);
    }
    return ArgumentProblem::Other;
}

void CommandTable::add(const std::string& name, command_kind kind, Method method, bool optional_string) {
    assert(method && "a command runs an operation");
    table[name] = internal_function{kind, std::move(method), optional_string};
}

const internal_function* CommandTable::find(const std::string& name) const {
    auto it = table.find(name);
    return it == table.end() ? nullptr : &it->second;
}

std::vector<std::string> CommandTable::names() const {
    std::vector<std::string> out;
    out.reserve(table.size());
    for (const auto& [name, entry] : table)
        out.push_back(name);
    return out;
}

const char* expected_arguments(ArgumentProblem problem) {
    switch (problem) {
    case ArgumentProblem::None:
        return "takes these arguments";
    case ArgumentProblem::ExpectsInts:
        return "expects ints as arguments";
    case ArgumentProblem::ExpectsFirstFloat:
        return "expects a float as first argument";
    case ArgumentProblem::ExpectsSecondInt:
        return "expects int as second argument";
    case ArgumentProblem::ExpectsFloats:
        return "expects floats";
    case ArgumentProblem::ExpectsStrings:
        return "expects strings";
    case ArgumentProblem::Other:
        return "expects a name and a value";
    }
    return "";
}
