// Captures the console for the life of the object, so tests can read the
// system's messages.
#pragma once

#include "Base/Console.hpp"

#include <algorithm>
#include <string>
#include <vector>

class ConsoleCapture {
public:
    ConsoleCapture() {
        previous = set_console_sink([this](ConsoleLevel level, std::string_view line) {
            const bool news = level == ConsoleLevel::Post || level == ConsoleLevel::Info;
            (news ? posts : errors).emplace_back(line);
        });
    }
    ~ConsoleCapture() { set_console_sink(previous); }
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;

    bool has_error(const std::string& text) const { return contains(errors, text); }
    bool has_post(const std::string& text) const { return contains(posts, text); }
    // Every line, errors first, one per line: for messages that span lines.
    std::string all() const {
        std::string text;
        for (const auto* lines : {&errors, &posts})
            for (const std::string& l : *lines) text += l + '\n';
        return text;
    }
    void clear() {
        errors.clear();
        posts.clear();
    }

    std::vector<std::string> errors;
    std::vector<std::string> posts;

private:
    static bool contains(const std::vector<std::string>& lines, const std::string& text) {
        return std::any_of(lines.begin(), lines.end(),
                           [&](const std::string& l) { return l.find(text) != std::string::npos; });
    }
    ConsoleSink previous;
};
