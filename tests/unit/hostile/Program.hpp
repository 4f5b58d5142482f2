// Runs the `cadenzium` program on files a test writes into a scratch
// folder, with a time limit, and gives what it printed and how it ended.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

struct Outcome {
    int status = -1;    // exit status; 124 when the time limit killed it
    std::string out;    // standard output
    std::string err;    // standard error
    double seconds = 0; // wall-clock time taken

    bool timed_out() const { return status == 124 || status == 137; }
    // How many times `fragment` appears in the standard error.
    int errors_with(const std::string& fragment) const;
};

class Scratch {
public:
    Scratch();
    ~Scratch();
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    // Writes `bytes` to `name` in the folder; gives its path.
    std::string write(const std::string& name, const std::string& bytes) const;
    std::string path(const std::string& name) const { return (dir / name).string(); }

    // Runs the program with `args` in the folder, killed after `limit` seconds.
    Outcome run(const std::vector<std::string>& args, int limit = 20) const;

private:
    std::filesystem::path dir;
};
