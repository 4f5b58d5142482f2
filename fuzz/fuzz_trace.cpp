// Fuzzes the follow report: any receiver, argument or number a score can
// send (texts that are not UTF-8, NaN, nested tabs) is written as one JSON
// line that reads back, and as one human line, without throwing.
#include "Base/Console.hpp"
#include "Exp/Values.hpp"
#include "FollowReport.hpp"
#include "RunTime/Environment_RunTime.hpp"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace {

// Reads the fuzzer's bytes as a sequence of small decisions.
class Bytes {
public:
    Bytes(const uint8_t* data, size_t size)
        : data(data)
        , size(size) {}
    bool empty() const { return at >= size; }
    uint8_t byte() { return at < size ? data[at++] : 0; }
    double number() {
        double d = 0;
        const size_t n = std::min(sizeof d, size - std::min(at, size));
        std::memcpy(&d, data + at, n);
        at += n;
        return d;
    }
    long integer() {
        long v = 0;
        const size_t n = std::min(sizeof v, size - std::min(at, size));
        std::memcpy(&v, data + at, n);
        at += n;
        return v;
    }
    std::string text() {
        const size_t n = std::min<size_t>(byte(), size - std::min(at, size));
        std::string s(reinterpret_cast<const char*>(data + at), n);
        at += n;
        return s;
    }

private:
    const uint8_t* data;
    size_t size;
    size_t at = 0;
};

Value any_value(Bytes& in, int depth) {
    switch (in.byte() % 5) {
    case 0: return string_value(in.text());
    case 1: return float_value(in.number());
    case 2: return int_value(in.integer());
    case 3: return bool_value(in.byte() & 1);
    default: {
        tab_t elements;
        const int n = depth < 4 ? in.byte() % 4 : 0;
        for (int i = 0; i < n; ++i)
            elements.push_back(any_value(in, depth + 1));
        return tab_value(std::move(elements));
    }
    }
}

void check_lines(const std::string& trace) {
    std::istringstream lines(trace);
    for (std::string line; std::getline(lines, line);)
        if (!nlohmann::json::accept(line)) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool quiet = [] {
        set_console_sink([](ConsoleLevel, std::string_view) {});
        return true;
    }();
    (void)quiet;
    Bytes in(data, size);
    std::ostringstream human, trace;
    FollowReport report(&human, &trace, "<fuzz>");
    while (!in.empty()) {
        if (in.byte() & 1) {
            report.position({in.number(), static_cast<int>(in.byte()), nullptr, in.number()});
            continue;
        }
        message m;
        m.receiver = in.text();
        m.date = in.number();
        for (int n = in.byte() % 6; n > 0; --n)
            m.values.push_back(any_value(in, 0));
        report.message(m);
    }
    if (!report.finish_trace()) std::abort();
    check_lines(trace.str());
    return 0;
}
