#include "CommandInput.hpp"

#include "Base/Console.hpp"
#include "FollowReport.hpp"
#include "RunTime/CadenziumCore.hpp"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace {

Value word_value(const std::string& word) {
    char* end = nullptr;
    const long n = std::strtol(word.c_str(), &end, 10);
    if (end != word.c_str() && *end == '\0') return int_value(n);
    const double d = std::strtod(word.c_str(), &end);
    if (end != word.c_str() && *end == '\0') return float_value(d);
    return string_value(word);
}

// Splits at blanks; a text in double quotes is one word, quotes removed.
std::vector<Value> words_of(const std::string& line) {
    std::vector<Value> words;
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && std::isspace(static_cast<unsigned char>(line[i])))
            ++i;
        if (i >= line.size()) break;
        if (line[i] == '"') {
            const std::size_t close = line.find('"', i + 1);
            const std::size_t stop = close == std::string::npos ? line.size() : close;
            words.push_back(string_value(line.substr(i + 1, stop - i - 1)));
            i = stop + 1;
            continue;
        }
        std::size_t stop = i;
        while (stop < line.size() && !std::isspace(static_cast<unsigned char>(line[stop])))
            ++stop;
        words.push_back(word_value(line.substr(i, stop - i)));
        i = stop;
    }
    return words;
}

// How long the reader waits for a line before looking whether to stop.
constexpr int kPollMs = 50;

} // namespace

bool read_command_line(const std::string& line, std::string& name, std::vector<Value>& args) {
    args = words_of(line);
    if (args.empty() || !args[0]->is_string()) return false;
    name = args[0]->get_string();
    args.erase(args.begin());
    return true;
}

void run_command_line(cadenzium_core& engine, FollowReport& report, const std::string& line) {
    std::string name;
    std::vector<Value> args;
    if (!read_command_line(line, name, args)) return;
    report.command(engine.GetTime(), name, args);
    const CommandResult r = engine.run_command(name, args);
    if (r.status == CommandStatus::Unknown)
        error("cadenzium: unknown command '%s'", name.c_str());
    else if (r.status == CommandStatus::BadArguments)
        error("cadenzium: command '%s' %s", name.c_str(), expected_arguments(r.problem));
}

CommandInput::CommandInput(int input, Sink s)
    : fd(input)
    , sink(std::move(s))
    , thread([this] { run(); }) {}

CommandInput::~CommandInput() {
    stopping = true;
    if (thread.joinable()) thread.join();
}

void CommandInput::run() {
    std::string pending;
    char buffer[512];
    while (!stopping) {
        pollfd p{fd, POLLIN, 0};
        const int ready = ::poll(&p, 1, kPollMs);
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) {
            if (ready < 0) return;
            continue;
        }
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0) return;
        pending.append(buffer, static_cast<std::size_t>(n));
        for (std::size_t eol; (eol = pending.find('\n')) != std::string::npos;) {
            sink(pending.substr(0, eol));
            pending.erase(0, eol + 1);
        }
    }
}
