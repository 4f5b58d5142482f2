// `cadenzium print` and `cadenzium analyse`: the score read, then printed
// back, outlined, or analysed.
#include "Commands.hpp"

#include "Base/Console.hpp"
#include "StandaloneHost.hpp"
#include "Tree/Ordering.hpp"
#include "Tree/Score.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

bool write_file(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (file.good()) return true;
    error("cadenzium: cannot write '%s'", path.c_str());
    return false;
}

// Whether a program is found on the PATH.
bool on_path(const std::string& program) {
    const char* path = std::getenv("PATH");
    if (!path) return false;
    std::string dirs = path;
    for (size_t start = 0; start <= dirs.size();) {
        const size_t end = std::min(dirs.find(':', start), dirs.size());
        const std::filesystem::path candidate =
            std::filesystem::path(dirs.substr(start, end - start)) / program;
        if (::access(candidate.c_str(), X_OK) == 0) return true;
        start = end + 1;
    }
    return false;
}

// Runs "dot -Tpng -o PNG DOT" and waits for it; false when it fails.
bool run_dot(const std::string& dot_file, const std::string& png) {
    std::string arguments[] = {"dot", "-Tpng", "-o", png, dot_file};
    char* argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(),
                    arguments[3].data(), arguments[4].data(), nullptr};
    pid_t child = 0;
    const int spawned = ::posix_spawnp(&child, "dot", nullptr, nullptr, argv, environ);
    if (spawned != 0) {
        error("cadenzium: cannot run dot: %s", std::strerror(spawned));
        return false;
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
    error("cadenzium: dot could not draw '%s'", png.c_str());
    return false;
}

bool draw_png(const std::string& dot_text, const std::string& png) {
    if (!on_path("dot")) {
        post("cadenzium: graphviz's dot is not installed: no PNG written to '%s'", png.c_str());
        return true;
    }
    const std::string dot_file = png + ".dot";
    if (!write_file(dot_file, dot_text)) return false;
    const bool drawn = run_dot(dot_file, png);
    std::remove(dot_file.c_str());
    return drawn;
}

} // namespace

int run_print(const PrintOptions& options, std::ostream& out) {
    StandaloneHost host;
    cadenzium_core& engine = host.engine();
    engine.set_verbosity(options.verbosity);
    if (!engine.ScoreParsing(options.score)) return 1;
    const Score& score = *engine.score();
    if (options.structure) score.print_score2(out);
    if (options.labels) score.print_labels(out);
    if (!options.structure && !options.labels) score.show(out);
    return 0;
}

int run_analyse(const AnalyseOptions& options, std::ostream& out) {
    StandaloneHost host;
    cadenzium_core& engine = host.engine();
    engine.set_verbosity(options.verbosity);
    if (!engine.ScoreParsing(options.score)) return 1;
    const StaticAnalysis analysis = static_analysis(*engine.score());
    out << analysis.text;
    bool written = true;
    if (options.dot == "-")
        out << analysis.dot;
    else if (!options.dot.empty())
        written = write_file(options.dot, analysis.dot);
    if (!options.png.empty()) written = draw_png(analysis.dot, options.png) && written;
    return written ? 0 : 1;
}
