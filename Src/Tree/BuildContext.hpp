// What building the nodes of a score needs, handed down by the reader for
// the time of one reading: the runtime the score's expressions will run in
// (variables and local environments are bound to it), the score being read
// (actions register their labels there) and how much to say.
#pragma once

class EvalContext;
class Score;

struct BuildContext {
    EvalContext* eval = nullptr;
    Score* score = nullptr;
    int verbosity = 0;
    // Numbers of the hidden names made so far in this reading (anonymous
    // actions, patches): the same text always gives the same names.
    int anonymous_count = 0;
    int patch_count = 0;
};
