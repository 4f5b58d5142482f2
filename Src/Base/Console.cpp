#include "Base/Console.hpp"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {

void default_sink(ConsoleLevel level, std::string_view line) {
    FILE* out = level == ConsoleLevel::Error ? stderr : stdout;
    std::fwrite(line.data(), 1, line.size(), out);
    std::fputc('\n', out);
    std::fflush(out);
}

std::mutex sink_mutex;
ConsoleSink current_sink = default_sink;
std::atomic<int> global_error_counter{0};

std::string vformat(const char* fmt, va_list args) {
    va_list copy;
    va_copy(copy, args);
    const int n = std::vsnprintf(nullptr, 0, fmt, copy);
    va_end(copy);
    if (n <= 0) return {};
    std::string out(static_cast<size_t>(n), '\0');
    std::vsnprintf(out.data(), out.size() + 1, fmt, args);
    return out;
}

void emit(ConsoleLevel level, std::string_view text) {
    // Console lines end without a newline: the sink adds its own.
    while (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    std::lock_guard lock(sink_mutex);
    current_sink(level, text);
}

} // namespace

ConsoleSink set_console_sink(ConsoleSink sink) {
    std::lock_guard lock(sink_mutex);
    ConsoleSink old = std::move(current_sink);
    current_sink = sink ? std::move(sink) : ConsoleSink(default_sink);
    return old;
}

void post(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const std::string text = vformat(fmt, args);
    va_end(args);
    emit(ConsoleLevel::Post, text);
}

void error(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const std::string text = vformat(fmt, args);
    va_end(args);
    error_text(text);
}

void post_text(std::string_view text) { emit(ConsoleLevel::Post, text); }

void error_text(std::string_view text) {
    inc_global_error_counter();
    emit(ConsoleLevel::Error, text);
}

void reset_global_error_counter() { global_error_counter = 0; }
void inc_global_error_counter() { ++global_error_counter; }
int get_global_error_counter() { return global_error_counter; }

std::string str_printf(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    std::string text = vformat(fmt, args);
    va_end(args);
    return text;
}

void internal_error(const char* file, int line, const char* func, const std::string& what) {
    std::string text = str_printf("Internal Error (please report): %s %d %s", file, line, func);
    if (!what.empty()) text += " (" + what + ")";
    emit(ConsoleLevel::Error, text);
}
