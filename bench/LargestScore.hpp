// The largest score of the follow data set, for benchmarks that want a
// real score of concert size.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

// The follow data's folder: $CAD_DATA_DIR, or the build's default.
inline std::string bench_data_dir() {
    const char* env = std::getenv("CAD_DATA_DIR");
    return env ? env : CAD_DEFAULT_DATA_DIR;
}

// The largest score.txt under the follow data, or "" when there is none.
inline std::string largest_follow_score() {
    namespace fs = std::filesystem;
    const fs::path root = fs::path(bench_data_dir()) / "follow";
    std::error_code ec;
    std::string best;
    std::uintmax_t best_size = 0;
    for (const auto& entry : fs::recursive_directory_iterator(root, ec)) {
        if (entry.path().filename() != "score.txt") continue;
        if (entry.file_size() > best_size) best_size = entry.file_size(), best = entry.path().string();
    }
    return best;
}
