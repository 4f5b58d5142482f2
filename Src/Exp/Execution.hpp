// The life of one execution (a running instance of a group, and later of a
// loop, a reaction, a process), shared by the runtime object that runs it
// and the exe values that name it: a value can tell whether its execution
// still runs without asking any engine. The runtime ends it when the
// instance leaves its register.
#pragma once

#include <atomic>
#include <cstdint>

class Execution {
public:
    Execution(std::uint32_t number, bool running)
        : id(number)
        , alive(running) {}
    Execution(const Execution&) = delete;
    Execution& operator=(const Execution&) = delete;

    std::uint32_t number() const { return id; }
    bool running() const { return alive.load(std::memory_order_acquire); }
    void end() { alive.store(false, std::memory_order_release); }

private:
    std::uint32_t id;
    std::atomic<bool> alive;
};
