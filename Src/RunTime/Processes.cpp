// Process calls: each call runs a new instance of the process's template
// group. The template's local environment receives the arguments just
// before the instance copies it, so every instance starts with its own
// parameters and locals, and none sees another's.
#include "RunTime/Runtime.hpp"

#include "Base/Console.hpp"
#include "Exp/Reference.hpp"
#include "RunTime/exec.hpp"
#include "Tree/Process.hpp"

namespace {

// Calls that start at once inside calls that started at once run on the
// machine stack: a process that calls itself without a delay stops here.
constexpr int kMaxProcessNesting = 200;

class NestingGuard {
public:
    explicit NestingGuard(int& depth)
        : depth(depth) {
        ++depth;
    }
    ~NestingGuard() { --depth; }
    NestingGuard(const NestingGuard&) = delete;
    NestingGuard& operator=(const NestingGuard&) = delete;

private:
    int& depth;
};

bool arity_matches(const UserProc& proc, const std::vector<Value>& args) {
    if (args.size() == proc.arity) return true;
    error("Bad arguments number in process call %s (%d expected and %d provided) [p1]", proc.name.c_str(),
          static_cast<int>(proc.arity), static_cast<int>(args.size()));
    return false;
}

void set_arguments(const UserProc& proc, const std::vector<Value>& args) {
    Environment& locals = *proc.body->env;
    for (std::size_t i = 0; i < args.size(); ++i)
        locals.set_var(Reference::unique_id(proc.parameters[i]), args[i]);
}

} // namespace

Value Runtime::launch_process(ProcDefinition* proc, const std::vector<Value>& args, float beat_pos,
                              const Action*) {
    auto* user = dynamic_cast<UserProc*>(proc);
    if (!user || !user->body || !arity_matches(*user, args)) return exe_value(0);
    if (process_nesting >= kMaxProcessNesting) {
        error("Process %s: more than %d calls nested at one date: call ignored [p2]", user->name.c_str(),
              kMaxProcessNesting);
        return exe_value(0);
    }
    if (!user->body->env) {
        CAD_INTERNAL_ERROR("a process template without its local environment");
        return exe_value(0);
    }
    const NestingGuard nested(process_nesting);
    set_arguments(*user, args);
    // Within a running instance the call starts at that instance's date; at
    // the top level, at the position's beat.
    const double date = current_exe ? current_exe->date : static_cast<double>(beat_pos);
    SavedContext saved(*this);
    const std::uint64_t before = executions_made;
    exec_group::create(*this, *user->body, date, 0.0, DURATION_BEATS, MODE_NORMAL);
    if (executions_made == before) return exe_value(0);
    if (const CadTimer* started = find_exe(before + 1)) return exe_value(started->execution);
    return exe_value(before + 1); // it ended within the call
}

std::vector<CadTimer*> Runtime::process_instances(const ProcDefinition* proc) const {
    const auto* user = dynamic_cast<const UserProc*>(proc);
    if (!user || !user->body) return {};
    return instances_of(user->body.get());
}
