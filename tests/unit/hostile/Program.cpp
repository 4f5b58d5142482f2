#include "Program.hpp"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::string quoted(const std::string& arg) {
    std::string q = "'";
    for (char c : arg) {
        if (c == '\'')
            q.append("'\\''");
        else
            q.push_back(c);
    }
    q.push_back('\'');
    return q;
}

std::string slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

} // namespace

int Outcome::errors_with(const std::string& fragment) const {
    int n = 0;
    for (size_t at = err.find(fragment); at != std::string::npos; at = err.find(fragment, at + 1))
        ++n;
    return n;
}

Scratch::Scratch() {
    static int counter = 0;
    dir = fs::temp_directory_path() /
          ("cadenzium-hostile-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
    fs::create_directories(dir);
}

Scratch::~Scratch() {
    std::error_code ec;
    fs::remove_all(dir, ec);
}

std::string Scratch::write(const std::string& name, const std::string& bytes) const {
    std::ofstream(dir / name, std::ios::binary) << bytes;
    return path(name);
}

Outcome Scratch::run(const std::vector<std::string>& args, int limit) const {
    std::ostringstream command;
    command << "cd " << quoted(dir.string()) << " && timeout -k 2 " << limit << ' ' << quoted(CAD_PROGRAM);
    for (const std::string& a : args)
        command << ' ' << quoted(a);
    command << " >" << quoted((dir / "stdout").string()) << " 2>" << quoted((dir / "stderr").string())
            << " </dev/null";
    const auto start = std::chrono::steady_clock::now();
    const int raw = std::system(command.str().c_str());
    Outcome o;
    o.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    o.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    o.out = slurp(dir / "stdout");
    o.err = slurp(dir / "stderr");
    return o;
}
