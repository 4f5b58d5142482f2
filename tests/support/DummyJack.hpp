// A private JACK server for tests: jackd with the dummy driver (no sound
// card) under a name of its own, stopped when the object dies.
#pragma once

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

inline bool jackd_installed() {
    return std::system("command -v jackd > /dev/null 2>&1") == 0;
}

class DummyJackServer {
public:
    explicit DummyJackServer(int block, const std::string& tag = "test")
        : name("cadenzium-" + tag + "-" + std::to_string(::getpid())) {
        pid = ::fork();
        if (pid == 0) {
            ::setenv("JACK_NO_AUDIO_RESERVATION", "1", 1);
            const std::string period = std::to_string(block);
            std::freopen("/dev/null", "w", stdout);
            std::freopen("/dev/null", "w", stderr);
            ::execlp("jackd", "jackd", "--no-realtime", "-n", name.c_str(), "-d", "dummy", "-r", "44100",
                     "-p", period.c_str(), "-C", "2", "-P", "2", static_cast<char*>(nullptr));
            ::_exit(127);
        }
    }
    ~DummyJackServer() {
        if (pid <= 0) return;
        ::kill(pid, SIGTERM);
        ::waitpid(pid, nullptr, 0);
    }
    DummyJackServer(const DummyJackServer&) = delete;
    DummyJackServer& operator=(const DummyJackServer&) = delete;

    // Calls `try_open` until it succeeds while the server starts (5 s).
    template <class Open>
    bool wait_for(Open try_open) {
        for (int i = 0; i < 50; ++i) {
            if (try_open()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    }

    std::string name;
    pid_t pid = -1;
};
