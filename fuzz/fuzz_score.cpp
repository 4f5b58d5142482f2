// Fuzzes the score reader: any text must read or fail with messages, never
// crash, hang or leak.
#include "Parser/ParseDriver.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "RunTime/Console.hpp"
#include "Tree/Score.hpp"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool quiet = [] {
        set_console_sink([](ConsoleLevel, std::string_view) {});
        return true;
    }();
    (void)quiet;
    static cadenzium_core core;
    const std::string text(reinterpret_cast<const char*>(data), size);
    Score host(&core, "<fuzz>", false);
    Score* read = host.driver->parseString(text + "\n");
    delete read;
    return 0;
}
