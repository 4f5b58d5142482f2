// The console of the whole system: information (`post`), user errors
// (`error`) and internal faults, from any layer.
//
// Lines go to a sink. The process has a default one (standard output and
// error, or what the program installs); an engine routes the lines reported
// on a thread while it works for its host to that host's console
// (`ConsoleScope`), so two engines in one process each talk to their own.
// The errors of one piece of work, a reading for instance, are gathered by a
// `DiagnosticScope`: the work returns them instead of anybody counting
// errors process-wide.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

// `Info` is the engine's account of what it does (a score loaded, a setting
// changed, a start and a stop): a host may keep it for a verbose console.
// `Post` is what a user needs to read (warnings among them), `Error` a
// user's error, `Fault` an internal error: reported like an error, counted
// as none.
enum class ConsoleLevel { Info, Post, Error, Fault };

// Where console lines go. A line has no trailing newline.
using ConsoleSink = std::function<void(ConsoleLevel, std::string_view)>;

// Replaces the process's default sink (null restores standard output and
// error); returns the previous one so a caller can restore it.
ConsoleSink set_console_sink(ConsoleSink sink);
// Writes a line to the process's default sink, whatever scope is open.
void console_default(ConsoleLevel level, std::string_view text);

// printf-style console output. `error` also counts one error in the open
// diagnostic scopes of this thread.
void inform(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
void post(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
void error(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
void post_text(std::string_view text);
void error_text(std::string_view text);

// printf into a std::string.
std::string str_printf(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

// An internal fault: reported, counted nowhere, and the operation goes on.
void internal_error(const char* file, int line, const char* func, const std::string& what = {});
#define CAD_INTERNAL_ERROR(what) internal_error(__FILE__, __LINE__, __func__, (what))

// Sends the lines reported on this thread to `sink` while the scope lives
// (scopes nest; the innermost wins). A null sink leaves the routing as it is.
class ConsoleScope {
public:
    explicit ConsoleScope(const ConsoleSink* sink);
    ~ConsoleScope();
    ConsoleScope(const ConsoleScope&) = delete;
    ConsoleScope& operator=(const ConsoleScope&) = delete;

private:
    const ConsoleSink* previous;
    bool active;
};

// The errors reported during one piece of work, in order.
struct Diagnostics {
    std::vector<std::string> errors;
    int error_count() const { return static_cast<int>(errors.size()); }
    bool ok() const { return errors.empty(); }
};

// The errors gathered so far by the innermost diagnostic scope of this
// thread (0 outside any).
int scoped_error_count();

// Gathers into `into` every error reported on this thread while the scope
// lives, in this scope and in the scopes around it.
class DiagnosticScope {
public:
    explicit DiagnosticScope(Diagnostics& into);
    ~DiagnosticScope();
    DiagnosticScope(const DiagnosticScope&) = delete;
    DiagnosticScope& operator=(const DiagnosticScope&) = delete;

private:
    Diagnostics& diagnostics;
    DiagnosticScope* outer;
    friend void error_text(std::string_view text);
    friend int scoped_error_count();
};
