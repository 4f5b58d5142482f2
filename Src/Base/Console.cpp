#include "Base/Console.hpp"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {

void standard_sink(ConsoleLevel level, std::string_view line) {
    const bool news = level == ConsoleLevel::Post || level == ConsoleLevel::Info;
    FILE* out = news ? stdout : stderr;
    std::fwrite(line.data(), 1, line.size(), out);
    std::fputc('\n', out);
    std::fflush(out);
}

std::mutex sink_mutex;
ConsoleSink default_sink = standard_sink;

// The routing and the diagnostic scopes of this thread.
thread_local const ConsoleSink* routed_sink = nullptr;
thread_local DiagnosticScope* innermost_scope = nullptr;

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
    if (routed_sink) {
        (*routed_sink)(level, text);
        return;
    }
    console_default(level, text);
}

} // namespace

ConsoleSink set_console_sink(ConsoleSink sink) {
    std::lock_guard lock(sink_mutex);
    ConsoleSink old = std::move(default_sink);
    default_sink = sink ? std::move(sink) : ConsoleSink(standard_sink);
    return old;
}

void console_default(ConsoleLevel level, std::string_view text) {
    std::lock_guard lock(sink_mutex);
    default_sink(level, text);
}

void inform(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const std::string text = vformat(fmt, args);
    va_end(args);
    emit(ConsoleLevel::Info, text);
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
    for (DiagnosticScope* scope = innermost_scope; scope; scope = scope->outer)
        scope->diagnostics.errors.emplace_back(text);
    emit(ConsoleLevel::Error, text);
}

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
    emit(ConsoleLevel::Fault, text);
}

int scoped_error_count() {
    return innermost_scope ? innermost_scope->diagnostics.error_count() : 0;
}

ConsoleScope::ConsoleScope(const ConsoleSink* sink)
    : previous(routed_sink)
    , active(sink != nullptr) {
    if (active) routed_sink = sink;
}

ConsoleScope::~ConsoleScope() {
    if (active) routed_sink = previous;
}

DiagnosticScope::DiagnosticScope(Diagnostics& into)
    : diagnostics(into)
    , outer(innermost_scope) {
    innermost_scope = this;
}

DiagnosticScope::~DiagnosticScope() {
    innermost_scope = outer;
}
