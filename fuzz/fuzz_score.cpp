// Fuzzes the score reader: any text must read or fail with messages, never
// crash, hang or leak. Each text is read as the engine reads a score: into
// a fresh score, with the variables of the previous one cleared.
#include "Exp/Environment.hpp"
#include "Parser/ParseDriver.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "Base/Console.hpp"
#include "Tree/Score.hpp"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool quiet = [] {
        set_console_sink([](ConsoleLevel, std::string_view) {});
        return true;
    }();
    (void)quiet;
    static cadenzium_core core;
    core.get_env()->clear();
    const std::string text(reinterpret_cast<const char*>(data), size);
    Score host(&core, "<fuzz>", false);
    Score* read = host.driver->parseString(text + "\n");
    if (read) {
        // What was read prints back: every node of the tree is visited.
        std::ostringstream printed;
        read->show(printed);
    }
    delete read;
    return 0;
}
