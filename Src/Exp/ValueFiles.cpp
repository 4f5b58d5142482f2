#include "Exp/ValueFiles.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Function.hpp"
#include "Exp/Reference.hpp"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <ostream>
#include <sstream>

namespace {

void write_string(std::ostream& out, const std::string& s) {
    out << '"';
    for (const char c : s) {
        if (c == '"' || c == '\\')
            out << '\\' << c;
        else if (c == '\n')
            out << "\\n";
        else if (c == '\t')
            out << "\\t";
        else
            out << c;
    }
    out << '"';
}

// Infinities and NaN carry a sign, so that they read back as numbers.
void write_float(std::ostream& out, double x) {
    if (std::isnan(x)) {
        out << "+nan";
        return;
    }
    if (std::isinf(x)) {
        out << (x > 0 ? "+inf" : "-inf");
        return;
    }
    char digits[40];
    std::snprintf(digits, sizeof digits, "%.17g", x);
    out << digits;
    const std::string text = digits;
    if (text.find_first_of(".e") == std::string::npos) out << ".0";
}

} // namespace

void write_value(std::ostream& out, const TaggedValue& v) {
    if (v.is_double()) return write_float(out, v.get_double());
    if (v.is_string()) return write_string(out, v.get_string());
    if (v.is_tab()) {
        out << "TAB[";
        const char* separator = "";
        for (const Value& e : *value_cast<TabValue>(v).val) {
            out << separator;
            write_value(out, e);
            separator = ", ";
        }
        out << "]";
        return;
    }
    if (v.is_map() || v.is_imap()) {
        out << (v.is_map() ? "MAP{" : "imap{");
        const char* separator = "";
        auto pair = [&](const auto& key, const auto& value) {
            out << separator << "(";
            write_value(out, key);
            out << ", ";
            write_value(out, value);
            out << ")";
            separator = ", ";
        };
        if (v.is_map())
            for (const auto& [key, value] : *value_cast<MapValue>(v).val)
                pair(*key, *value);
        else
            for (const auto& [x, y] : *value_cast<InterpolatedMapValue>(v).val)
                pair(FloatValue(x), FloatValue(y));
        out << "}";
        return;
    }
    if (v.is_undef() || v.is_bool() || v.is_int() || v.is_symbol() || (v.is_fct() && v.get_fct())) {
        v.show(out);
        return;
    }
    out << "<<undef>>";
}

namespace {

// A recursive descent over the written forms; nesting is bounded so a
// corrupt file cannot exhaust the stack.
class Reader {
public:
    Reader(const std::string& source, GlobalEnvironment* genv)
        : text(source)
        , env(genv) {}

    bool assignments(std::vector<SavedAssignment>& out) {
        skip_blanks(true);
        while (pos < text.size()) {
            SavedAssignment a;
            if (!variable(a.name) || !expect(":=") || !value(a.value, 0)) return false;
            skip_blanks(false);
            if (pos < text.size() && text[pos] != '\n' && text[pos] != ';')
                return fail("end of line expected");
            out.push_back(std::move(a));
            skip_blanks(true);
        }
        return true;
    }

    std::string why;

private:
    static constexpr int max_depth = 256;

    bool fail(const std::string& what) {
        if (why.empty()) why = what + " at offset " + std::to_string(pos);
        return false;
    }

    void skip_blanks(bool lines) {
        while (pos < text.size() && (text[pos] == ' ' || text[pos] == '\t' || text[pos] == '\r' ||
                                     (lines && (text[pos] == '\n' || text[pos] == ';'))))
            ++pos;
    }

    bool expect(const std::string& word) {
        skip_blanks(false);
        if (text.compare(pos, word.size(), word) != 0) return fail("'" + word + "' expected");
        pos += word.size();
        return true;
    }

    bool peek(const std::string& word) {
        skip_blanks(false);
        return text.compare(pos, word.size(), word) == 0;
    }

    static bool name_char(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

    std::string word() {
        const std::size_t start = pos;
        while (pos < text.size() && name_char(text[pos]))
            ++pos;
        return text.substr(start, pos - start);
    }

    bool variable(std::string& name) {
        skip_blanks(false);
        if (pos >= text.size() || text[pos] != '$') return fail("a variable expected");
        ++pos;
        name = "$" + word();
        return name.size() > 1 || fail("a variable name expected");
    }

    bool value(Value& out, int depth) {
        if (depth > max_depth) return fail("values nested too deep");
        skip_blanks(false);
        if (pos >= text.size()) return fail("a value expected");
        const char c = text[pos];
        if (c == '"') return string(out);
        if (c == '@') return function(out);
        if (c == '-' || c == '+' || c == '.' || std::isdigit(static_cast<unsigned char>(c)))
            return number(out);
        if (peek("<<undef>>")) {
            pos += 9;
            out = undef_value();
            return true;
        }
        if (peek("TAB[")) return tab(out, depth);
        if (peek("MAP{")) return map(out, depth, false);
        if (peek("imap{")) return map(out, depth, true);
        return symbol(out);
    }

    bool number(Value& out) {
        const char* start = text.c_str() + pos;
        char* end = nullptr;
        const bool is_float = [&] {
            std::size_t i = pos + (text[pos] == '-' || text[pos] == '+');
            while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])))
                ++i;
            return i < text.size() &&
                   (text[i] == '.' || text[i] == 'e' || text[i] == 'E' || std::isalpha(text[i]));
        }();
        if (is_float) {
            const double x = std::strtod(start, &end);
            if (end == start) return fail("a number expected");
            out = float_value(x);
        } else {
            const long x = std::strtol(start, &end, 10);
            if (end == start) return fail("a number expected");
            out = int_value(x);
        }
        pos += static_cast<std::size_t>(end - start);
        return true;
    }

    bool string(Value& out) {
        std::string s;
        for (++pos; pos < text.size() && text[pos] != '"'; ++pos) {
            if (text[pos] != '\\') {
                s += text[pos];
                continue;
            }
            if (++pos >= text.size()) break;
            s += text[pos] == 'n' ? '\n' : text[pos] == 't' ? '\t' : text[pos];
        }
        if (pos >= text.size()) return fail("unterminated string");
        ++pos;
        out = string_value(s);
        return true;
    }

    bool function(Value& out) {
        ++pos;
        const std::string name = "@" + word();
        const FunctionDefinition* f = env ? env->get_function(name) : nullptr;
        if (!f) return fail("unknown function " + name);
        out = Value::make<FctValue>(f);
        return true;
    }

    bool symbol(Value& out) {
        const std::string name = word();
        if (name.empty()) return fail("a value expected");
        if (name == "true" || name == "false")
            out = bool_value(name == "true");
        else
            out = Value::make<SymbValue>(Reference::unique_id(name));
        return true;
    }

    bool tab(Value& out, int depth) {
        pos += 4;
        tab_t elements;
        if (!peek("]")) {
            do {
                Value e;
                if (!value(e, depth + 1)) return false;
                elements.push_back(std::move(e));
            } while (peek(",") && ++pos);
        }
        if (!expect("]")) return false;
        out = tab_value(std::move(elements));
        return true;
    }

    bool map(Value& out, int depth, bool interpolated) {
        pos += interpolated ? 5 : 4;
        auto entries = make_counted<map_t>();
        auto points = make_counted<imap_t>();
        if (!peek("}")) {
            do {
                Value key, val;
                if (!expect("(") || !value(key, depth + 1) || !expect(",") || !value(val, depth + 1) ||
                    !expect(")"))
                    return false;
                if (interpolated && !(key->is_numeric() && val->is_numeric()))
                    return fail("imap of numbers expected");
                if (interpolated)
                    (*points)[key->get_double()] = val->get_double();
                else
                    entries->emplace(std::move(key), std::move(val));
            } while (peek(",") && ++pos);
        }
        if (!expect("}")) return false;
        out = interpolated ? Value::make<InterpolatedMapValue>(std::move(points))
                           : Value::make<MapValue>(std::move(entries));
        return true;
    }

    const std::string& text;
    GlobalEnvironment* env;
    std::size_t pos = 0;
};

} // namespace

bool read_assignments(const std::string& text, GlobalEnvironment* env, std::vector<SavedAssignment>& out,
                      std::string& why) {
    Reader reader(text, env);
    if (reader.assignments(out)) return true;
    why = reader.why;
    return false;
}

bool read_file(const std::string& path, std::string& text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream content;
    content << in.rdbuf();
    text = content.str();
    return !in.bad();
}
