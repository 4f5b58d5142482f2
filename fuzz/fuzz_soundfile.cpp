// Fuzzes the sound file input: any bytes given as a performance (through a
// file, as the program reads them) open or are refused with a message, and
// stream to their end without crashing, hanging or taking memory beyond
// their size.
#include "AudioFile.hpp"
#include "Base/Console.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool quiet = [] {
        set_console_sink([](ConsoleLevel, std::string_view) {});
        return true;
    }();
    (void)quiet;
    const int fd = memfd_create("performance", 0);
    if (fd < 0) return 0;
    if (size > 0 && write(fd, data, size) != static_cast<ssize_t>(size)) {
        close(fd);
        return 0;
    }
    if (auto sound = SoundFile::open("/proc/self/fd/" + std::to_string(fd))) {
        std::vector<float> block(512);
        while (sound->read(block.data(), block.size()) == block.size()) {
        }
        sound->report_reading();
        (void)sound->describe();
    }
    close(fd);
    return 0;
}
