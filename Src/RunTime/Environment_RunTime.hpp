// What the runtime adds to the global environment: the record of a message
// on its way to the host, and the guard of the environment lock.
#pragma once

#include "Exp/Environment.hpp"
#include "Exp/Values.hpp"

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
};

// Holds the environment lock for a scope. Its release is the outermost
// release of an instant: what nested instants queued meanwhile is delivered
// then, with the lock released.
class EnvironmentLock {
public:
    explicit EnvironmentLock(GlobalEnvironment& env)
        : env(env) {
        env.env_lock();
    }
    ~EnvironmentLock() { env.send_messages(true); }
    EnvironmentLock(const EnvironmentLock&) = delete;
    EnvironmentLock& operator=(const EnvironmentLock&) = delete;

private:
    GlobalEnvironment& env;
};
