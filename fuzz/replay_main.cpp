// Replays inputs through a fuzz target's entry point: every file of the
// folders given (seeds, crashers kept from fuzzing) must pass without a
// sanitizer report. Folders that do not exist are skipped.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        std::error_code ec;
        if (!fs::is_directory(argv[i], ec)) continue;
        for (const auto& entry : fs::directory_iterator(argv[i])) {
            if (!entry.is_regular_file()) continue;
            std::ifstream in(entry.path(), std::ios::binary);
            const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
            std::printf("%s\n", entry.path().filename().c_str());
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++replayed;
        }
    }
    std::printf("%d inputs replayed\n", replayed);
    return 0;
}
