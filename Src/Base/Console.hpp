// The console of the whole system: information (`post`), user errors
// (`error`), internal faults, and the process-wide error counter that decides
// whether a reading succeeded.
#pragma once

#include <functional>
#include <string>
#include <string_view>

enum class ConsoleLevel { Post, Error };

// Where console lines go. The host installs its own; the default writes
// posts to standard output and errors to standard error. A line has no
// trailing newline.
using ConsoleSink = std::function<void(ConsoleLevel, std::string_view)>;

// Replaces the sink; returns the previous one so a caller can restore it.
ConsoleSink set_console_sink(ConsoleSink sink);

// printf-style console output. `error` also counts one error.
void post(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
void error(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
void post_text(std::string_view text);
void error_text(std::string_view text);

// The process-wide count of user-visible errors.
void reset_global_error_counter();
void inc_global_error_counter();
int get_global_error_counter();
inline void reset_error_count() { reset_global_error_counter(); }

// printf into a std::string.
std::string str_printf(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

// An internal fault: reported, counted nowhere, and the operation goes on.
void internal_error(const char* file, int line, const char* func, const std::string& what = {});
#define CAD_INTERNAL_ERROR(what) internal_error(__FILE__, __LINE__, __func__, (what))
