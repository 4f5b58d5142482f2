// The scheduler of an engine: its time, tempo and instants are those of the
// engine's global environment.
#include "RunTime/CadScheduler.hpp"

#include "Exp/Environment.hpp"
#include "RunTime/PreCadenzium.hpp"

#include <cassert>

namespace {

class EngineSchedulerEnv final : public SchedulerEnv {
public:
    explicit EngineSchedulerEnv(pre_cadenzium& engine)
        : engine(engine) {}

    double now() const override { return global().now; }

    double last_tempo() const override {
        const Value& tempo = global().get_global_rt_tempo();
        return tempo->is_undef() ? 0.0 : tempo->get_double();
    }

    void begin_clock_instant() override {
        global().env_lock();
        global().start_logical_instant(-1);
    }

    void end_clock_instant() override {
        global().end_logical_instant();
        global().send_messages(true);
    }

private:
    GlobalEnvironment& global() const {
        GlobalEnvironment* env = engine.get_env();
        assert(env && "the engine builds its environment before its scheduler runs");
        return *env;
    }

    pre_cadenzium& engine;
};

} // namespace

t_scheduler::t_scheduler(pre_cadenzium& engine)
    : t_scheduler(std::make_unique<EngineSchedulerEnv>(engine), 1024) {}
