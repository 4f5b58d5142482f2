// Functions that reach outside the engine: the system test, shell commands,
// and values and variables saved to and loaded from files. Writing and
// running commands happen on helper threads, each with its own deep copy of
// the values, so the thread of the logical instants never waits for a disk.
// Loading gives its value at once, so it reads on the calling thread: it is
// meant for the start of a piece, not for the middle of a phrase.
#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/Library.hpp"
#include "Exp/LibraryInstall.hpp"
#include "Exp/Reference.hpp"
#include "Exp/ValueFiles.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace {

// The name under which a value file holds its one value.
constexpr const char* saved_value_name = "$___save_then_load_value____system_dummy_variable___";

Value arch(const LibraryCall& call, bool is_this_system) {
    if (call.count() != 0) {
        error("Bad arguments number in function call %s (0 expected, %d provided) [baf10]", call.name(),
              call.count());
        return undef_value();
    }
    return bool_value(is_this_system);
}

#if defined(__APPLE__)
constexpr bool on_darwin = true, on_linux = false, on_windows = false;
#elif defined(_WIN32)
constexpr bool on_darwin = false, on_linux = false, on_windows = true;
#else
constexpr bool on_darwin = false, on_linux = true, on_windows = false;
#endif

Value darwin_arch(const LibraryCall& call) {
    return arch(call, on_darwin);
}
Value linux_arch(const LibraryCall& call) {
    return arch(call, on_linux);
}
Value windows_arch(const LibraryCall& call) {
    return arch(call, on_windows);
}

// @sys(command): the command runs on a helper thread; a failure is reported
// from there. The call itself gives true once the command is started.
Value system_call(const LibraryCall& call) {
    if (call.count() != 1) {
        error("Bad arguments number in %s call (1 expected, %d provided) [sys1]", call.name(), call.count());
        return undef_value();
    }
    if (!call[0].is_string()) {
        error("Bad argument type in function call %s: the command must be a string, got a %s [sys2]",
              call.name(), call[0].kind_name());
        return undef_value();
    }
    library_of(call.env).jobs.run([command = call[0].get_string()] {
        const int status = std::system(command.c_str());
        if (status != 0) error("@sys: command '%s' returned %d [sys3]", command.c_str(), status);
    });
    return bool_value(true);
}

// ---- saving ----

struct Line {
    std::string name;
    Value value; // a deep copy, the helper's own
};

// Writes "name := value" lines; runs on a helper thread.
void make_save(const std::string& function, const std::string& path, const std::vector<Line>& lines,
               const char* code) {
    char buffer[5120];
    std::ofstream out;
    out.rdbuf()->pubsetbuf(buffer, sizeof buffer);
    out.open(path, std::ios::trunc);
    if (!out) {
        error("%s: unable to open file `%s' : %s [%s]", function.c_str(), path.c_str(), std::strerror(errno),
              code);
        return;
    }
    for (const Line& l : lines) {
        out << l.name << " := ";
        write_value(out, l.value);
        out << '\n';
    }
    out.flush();
    if (!out)
        error("%s: unable to open file `%s' : %s [%s]", function.c_str(), path.c_str(), std::strerror(errno),
              code);
}

Value save_value(const LibraryCall& call) {
    if (call.count() != 2) {
        error("Bad arguments number in %s call (2 expected, %d provided) [lsv1]", call.name(), call.count());
        return undef_value();
    }
    if (!call[0].is_string()) {
        error("Bad argument type in function call %s: first argument must be a string, got a %s [lsv2]",
              call.name(), call[0].kind_name());
        return undef_value();
    }
    std::vector<Line> lines{{saved_value_name, call[1].deep_copy()}};
    library_of(call.env).jobs.run([name = call.fn.name, path = call[0].get_string(),
                                   lines = std::move(lines)] { make_save(name, path, lines, "lsv7"); });
    return bool_value(true);
}

// The pairs of names and values of "@dumpvar": (name, value)... or, as
// "@dump" writes them, one tab of names and one tab of values.
bool dump_lines(const LibraryCall& call, std::vector<Line>& lines) {
    for (std::size_t i = 1; i + 1 < call.args.size(); i += 2) {
        const TaggedValue& name = call[i];
        if (name.is_tab() && call[i + 1].is_tab()) {
            const tab_t& names = tab_of(name);
            const tab_t& values = tab_of(call[i + 1]);
            for (std::size_t k = 0; k < names.size() && k < values.size(); ++k)
                lines.push_back({names[k]->get_string(), values[k]->deep_copy()});
            continue;
        }
        if (!name.is_string()) {
            error("%s: bad argument %d: expect a string, got a %s [lsv18]", call.name(),
                  static_cast<int>(i + 1), name.kind_name());
            return false;
        }
        const std::string n = name.get_string();
        lines.push_back({n.starts_with("$") ? n : "$" + n, call[i + 1].deep_copy()});
    }
    return true;
}

Value dump_variable(const LibraryCall& call) {
    if (call.count() % 2 != 1) {
        error("Bad arguments number in %s call (odd number expected, %d provided) [lsv15]", call.name(),
              call.count());
        return undef_value();
    }
    if (!call[0].is_string()) {
        error("Bad first argument in function call %s: must be a string, got a %s [lsv16]", call.name(),
              call[0].kind_name());
        return undef_value();
    }
    std::vector<Line> lines;
    if (!dump_lines(call, lines)) return undef_value();
    library_of(call.env).jobs.run([name = call.fn.name, path = call[0].get_string(),
                                   lines = std::move(lines)] { make_save(name, path, lines, "lsv17"); });
    return bool_value(true);
}

// ---- loading ----

// The assignments of the file named by the one string argument; false when
// reported.
bool load_file(const LibraryCall& call, const char* count_code, const char* kind_code, const char* parse_code,
               std::vector<SavedAssignment>& out) {
    if (call.count() != 1) {
        error("Bad arguments number in %s call (1 expected, %d provided) [%s]", call.name(), call.count(),
              count_code);
        return false;
    }
    if (!call[0].is_string()) {
        error("Bad argument type in function call %s: first argument must be a string, got a %s [%s]",
              call.name(), call[0].kind_name(), kind_code);
        return false;
    }
    const std::string path = call[0].get_string();
    std::string text, why;
    if (read_file(path, text) && read_assignments(text, &call.env, out, why)) return true;
    error("%s: unable to parse file '%s' [%s]", call.name(), path.c_str(), parse_code);
    if (!why.empty()) post("%s: %s", call.name(), why.c_str());
    return false;
}

Value load_value(const LibraryCall& call) {
    std::vector<SavedAssignment> read;
    if (!load_file(call, "lsv5", "lsv6", "lsv3", read)) return undef_value();
    if (read.size() != 1 || read.front().name != saved_value_name) {
        error("%s: the file does not appear to containe one value [lsv4]", call.name());
        return undef_value();
    }
    return read.front().value;
}

Value load_variable(const LibraryCall& call) {
    std::vector<SavedAssignment> read;
    if (!load_file(call, "lsv8", "lsv9", "lsv10", read)) return undef_value();
    const std::string path = call[0].get_string();
    if (read.empty()) {
        error("%s: file '%s' is not a dump file [lsv11]", call.name(), path.c_str());
        return undef_value();
    }
    for (const SavedAssignment& a : read) {
        if (a.name == saved_value_name) {
            error("%s: file '%s' is not a dump file [lsv12]", call.name(), path.c_str());
            return undef_value();
        }
    }
    for (const SavedAssignment& a : read) {
        if (!call.env.is_defined_var(a.name)) {
            post("%s(%s): create global variable %s", call.name(), path.c_str(), a.name.c_str());
            call.env.define_var(a.name, -1, undef_value());
        }
        call.env.set_var(call.env.index_of.at(Reference::unique_id(a.name)), a.value);
    }
    return int_value(static_cast<long>(read.size()));
}

} // namespace

void install_system_function(GlobalEnvironment& env) {
    new LibraryFunction("@arch_darwin", 0, darwin_arch, &env);
    new LibraryFunction("@arch_linux", 0, linux_arch, &env);
    new LibraryFunction("@arch_windows", 0, windows_arch, &env);
    new LibraryFunction("@sys", 1, system_call, &env, false);
    new LibraryFunction("@saveval", 2, save_value, &env, false);
    new LibraryFunction("@loadval", 1, load_value, &env, false);
    (new LibraryFunction("@dumpvar", 1, dump_variable, &env, false))->up_to(-1);
    new LibraryFunction("@loadvar", 1, load_variable, &env, false);
    install_gnuplot(env);
}
