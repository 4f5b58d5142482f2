// The actions that an action holds, with how each one is dated from the
// start of its holder: what the outline of a score and the analysis of its
// dates walk. Kinds that hold nothing (messages, assignments...) have no
// children here.
#pragma once

#include <vector>

class Action;

enum class ChildRun {
    Sequence, // one after the other from the holder's start, each after its delay
    Branch,   // alternatives or parallel copies, each from the holder's start
    Repeated, // the first run from the holder's start, then again (loop bodies, curve steps)
    Reactive, // at a date known only at run time (whenever bodies, abort handlers)
};

struct ActionChild {
    const Action* action;
    ChildRun run;
};

std::vector<ActionChild> children_of(const Action& a);
