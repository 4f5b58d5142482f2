#include "Parser/Macro.hpp"

#include <filesystem>
#include <sstream>
#include <utility>

namespace {

// The parameter whose name starts at `at` in `body`, the longest one when
// several do; -1 when none.
int parameter_at(const std::string& body, size_t at, const std::vector<std::string>& parameters) {
    int found = -1;
    size_t longest = 0;
    for (size_t i = 0; i < parameters.size(); ++i) {
        const std::string& p = parameters[i];
        if (p.size() > longest && body.compare(at, p.size(), p) == 0) {
            found = static_cast<int>(i);
            longest = p.size();
        }
    }
    return found;
}

// A backslash before a line end continues the line: it becomes a blank.
std::string join_continued_lines(const std::string& body) {
    std::string out;
    out.reserve(body.size());
    for (size_t i = 0; i < body.size(); ++i) {
        if (body[i] == '\\' && i + 1 < body.size() && body[i + 1] == '\n') {
            out += ' ';
            continue;
        }
        out += body[i];
    }
    return out;
}

std::string canonical(const std::string& path) {
    std::error_code ec;
    const std::filesystem::path p = std::filesystem::weakly_canonical(path, ec);
    return ec ? path : p.string();
}

} // namespace

Macro::Macro(std::string name, std::vector<std::string> parameters, const std::string& body)
    : name_(std::move(name))
    , parameters_(std::move(parameters)) {
    const std::string text = join_continued_lines(body);
    std::string literal;
    for (size_t at = 0; at < text.size();) {
        const int p = parameter_at(text, at, parameters_);
        if (p < 0) {
            literal += text[at++];
            continue;
        }
        if (!literal.empty()) pieces_.push_back({std::move(literal), -1});
        literal.clear();
        pieces_.push_back({"", p});
        at += parameters_[static_cast<size_t>(p)].size();
    }
    if (!literal.empty()) pieces_.push_back({std::move(literal), -1});
}

std::string Macro::expand(const std::vector<std::string>& args) const {
    std::string out;
    for (const Piece& piece : pieces_)
        out += piece.parameter < 0 ? piece.text : args[static_cast<size_t>(piece.parameter)];
    return out;
}

std::string Macro::show() const {
    std::ostringstream out;
    out << "@macro_def " << name_;
    if (!parameters_.empty()) {
        out << '(';
        for (size_t i = 0; i < parameters_.size(); ++i) out << (i ? ", " : "") << parameters_[i];
        out << ')';
    }
    out << " { ";
    for (const Piece& piece : pieces_)
        out << (piece.parameter < 0 ? piece.text : parameters_[static_cast<size_t>(piece.parameter)]);
    out << " }";
    return out.str();
}

void MacroTable::define(Macro macro) {
    const std::string name = macro.name();
    macros_.insert_or_assign(name, std::move(macro));
}

const Macro* MacroTable::find(const std::string& name) const {
    auto it = macros_.find(name);
    return it == macros_.end() ? nullptr : &it->second;
}

bool MacroTable::already_included(const std::string& path) const {
    return included_.count(canonical(path)) > 0;
}

void MacroTable::add_included(const std::string& path) {
    included_.insert(canonical(path));
}

std::string MacroTable::unique_name(const std::string& stem) {
    ++uid_;
    return latest_name(stem);
}

std::string MacroTable::latest_name(const std::string& stem) const {
    return stem + "_" + std::to_string(uid_);
}
