// Patterns: named temporal shapes in the updates of variables, such as "a
// C4, then within two beats a D4 whose duration is longer than the C4's":
//
//     @pattern_def pattern::rise {
//         @local $d
//         NOTE C4 $d
//         Before [2] NOTE D4 where ($DURATION > $d)
//     }
//     whenever pattern::rise { print rise }
//
// A pattern is not interpreted when it runs: `PatSequence::compile` turns it,
// for each whenever that names it, into ordinary actions (reactions,
// conditionals and assignments over hidden local variables) around the
// whenever's body. Nothing of the pattern is left at run time but that tree.
//
// The elements of a sequence are recognised one after the other: each
// element's reaction is started by the recognition of the previous one, and
// lives for its temporal scope ("Before [d]", "Before [n#]"; by default the
// next update of its variables). A recognition of the whole sequence clears
// the hidden `continue_matching`, which the pending partial recognitions
// test before going on.
#pragma once

#include "Base/ASTNode.hpp"
#include "Base/Location.hpp"
#include "Exp/Var.hpp"
#include "Tree/Bloc.hpp"
#include "Tree/Duration.hpp"

#include <memory>
#include <set>
#include <string>
#include <vector>

class Score;

enum class PatternKind { NOTE, EVENT, STATE, NO_EVENT };

// The clauses of one element, as the grammar gathers them.
struct OptPattern {
    ExpPtr value;                        // "Value e"
    ExpPtr where;                        // "where e"
    VarPtr start;                        // "At $v", "Start $v"
    VarPtr stop;                         // "Stop $v"
    std::unique_ptr<CadDuration> during; // "during d" of a State
    ExpPtr pitch;                        // of a NOTE: a constant (midicents) ...
    VarPtr pitch_var;                    // ... or a variable
    ExpPtr note_duration;                // of a NOTE: a constant (beats) ...
    VarPtr duration_var;                 // ... or a variable
};

// One element of a sequence.
class APattern final : public ASTNode {
public:
    APattern(PatternKind kind, std::vector<VarPtr> vars, OptPattern clauses, const yy::location* loc);

    // "NOTE 60 where ...", "EVENT $x ...", "STATE $x ...", "NoEvent $x ...".
    void show(std::ostream& out) const override;
    void show_written_clauses(std::ostream& out) const;
    bool has_before() const { return before.count || before.duration; }

    PatternKind kind;
    std::vector<VarPtr> vars; // the watched variables ($PITCH for a NOTE)
    OptPattern clauses;
    TimedEnd before; // the temporal scope, from the previous element
    std::unique_ptr<yy::location> location;
};

class PatSequence final : public ASTNode {
public:
    PatSequence(std::string name, std::vector<VarPtr> locals, ExpPtr refractory,
                std::vector<std::unique_ptr<APattern>> elements, const yy::location* loc);

    // "@pattern_def pattern::name { ... }".
    void show(std::ostream& out) const override;
    // Checks the pieces fit; each fault is reported with "Bad pattern
    // definition" at its place. False when one does not.
    bool finalize() const;
    // The actions that recognise the pattern and run `body` at each
    // recognition, with the hidden locals they need declared first.
    ActionList compile(BuildContext* ctx, ActionList body, const yy::location* loc) const;

    std::string name; // "pattern::name"
    std::vector<VarPtr> locals;
    ExpPtr refractory; // seconds between two recognitions; null: none
    std::vector<std::unique_ptr<APattern>> elements;
    std::unique_ptr<yy::location> location;

private:
    bool is_local(const Var& v) const;
};

// "@pattern_def": checks `pattern` and keeps it in the score of `ctx`; a
// later definition of the name replaces an earlier one.
void define_pattern(BuildContext* ctx, std::unique_ptr<PatSequence> pattern);
// The pattern called `name` in `score`, or null.
const PatSequence* find_pattern(const Score& score, const std::string& name);
