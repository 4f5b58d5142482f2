// Aborting a running compound action: its abort handler fires, then the
// timer stops, and with recursion every timer it started.
#include "RunTime/CadTimer.hpp"

#include "Exp/Environment.hpp"
#include "Base/Console.hpp"
#include "RunTime/Firing.hpp"
#include "RunTime/Runtime.hpp"
#include "RunTime/exec.hpp"
#include "Tree/Bloc.hpp"

#include <cstdio>

void CadTimer::Child_kill(bool rec) {
    if (abort_handler || in_handler) {
        std::fprintf(stderr, "## I cannot kill the handler \n");
        post("Warning: cannot kill an at-kill handler");
        return;
    }
    if (in_kill) {
        post("Warning: a group was aborted while its abort was running: please report the score");
        return;
    }
    if (fire_abort_handler()) return;
    if (!rec) {
        terminate();
        return;
    }
    in_kill = 1;
    Runtime* runtime = rt;
    const std::vector<CadTimer*> children = fill_active_childs();
    terminate(); // this timer may be gone from here
    for (CadTimer* child : children)
        if (runtime->active(child)) child->Child_kill(true);
}

// The handler fires in this timer's context, at the present position. True
// when the timer ended meanwhile (it may then be gone).
bool CadTimer::fire_abort_handler() {
    if (!bloc || !bloc->at_kill || !rt) return false;
    running += 1;
    in_handler = 1;
    {
        SavedContext saved(*rt);
        set_context();
        ++rt->handlers_firing;
        Fire(*rt, *bloc->at_kill, rnow(), 0.0, DURATION_BEATS);
        --rt->handlers_firing;
    }
    in_handler = 0;
    return stop_run();
}
