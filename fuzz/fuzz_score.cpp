// Fuzzes the score reader: any text must read or fail with messages, never
// crash, hang or leak. Each text is read as the engine reads a score: into
// a fresh score, with the variables of the previous one cleared.
#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Parser/ParseDriver.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "RunTime/HostPort.hpp"
#include "Tree/Score.hpp"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

namespace {

// An engine that nobody listens to: only its runtime is read against.
class SilentHost : public HostPort {
public:
    void send_message(const message&) override {}
    void report_position(int, const Event*, double, double) override {}
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool quiet = [] {
        set_console_sink([](ConsoleLevel, std::string_view) {});
        return true;
    }();
    (void)quiet;
    static SilentHost host;
    static cadenzium_core core(host);
    core.runtime().env.clear();
    const std::string text(reinterpret_cast<const char*>(data), size);
    const Reading reading = read_score_text(text + "\n", {&core.runtime(), &core.inlets(), 0, false}, "<fuzz>");
    if (reading.score) {
        // What was read prints back: every node of the tree is visited.
        std::ostringstream printed;
        reading.score->show(printed);
    }
    return 0;
}
