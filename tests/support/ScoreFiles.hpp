// Temporary score files for tests, removed when the object dies.
#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

class TempScore {
public:
    explicit TempScore(const std::string& text, const std::string& suffix = ".cad") {
        static int counter = 0;
        path = (std::filesystem::temp_directory_path() /
                ("cadenzium-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + suffix))
                   .string();
        std::ofstream(path, std::ios::binary) << text;
    }
    ~TempScore() { std::remove(path.c_str()); }
    TempScore(const TempScore&) = delete;
    TempScore& operator=(const TempScore&) = delete;

    std::string path;
};
