// What crosses to the host: the record of a message on its way out, and the
// guard of the environment lock, whose release delivers an instant's
// messages.
#pragma once

#include "Exp/Values.hpp"
#include "RunTime/Runtime.hpp"

#include <string>
#include <vector>

class Action;

// One message of an instant: queued by the action that sends it, delivered
// to the host after the instant, with the environment lock released, then
// freed.
struct message {
    std::string receiver;
    std::vector<Value> values;
    // The action that sent it, for the place of errors.
    const Action* source = nullptr;
    // The logical date (seconds) of the instant that queued it.
    double date = 0.0;
    // A command of the engine ("cadenzium::name"), named by `receiver`, for
    // the engine rather than the host.
    bool command = false;
};

// Holds the environment lock for a scope. Its release is the outermost
// release of an instant: what nested instants queued meanwhile is delivered
// then, with the lock released.
class EnvironmentLock {
public:
    explicit EnvironmentLock(Runtime& rt)
        : rt(rt) {
        rt.lock();
    }
    ~EnvironmentLock() { rt.send_messages(true); }
    EnvironmentLock(const EnvironmentLock&) = delete;
    EnvironmentLock& operator=(const EnvironmentLock&) = delete;

private:
    Runtime& rt;
};
