// The order in which the nodes of a graph compute, made from the
// equations of its patches. A node that reads a channel computes after the
// node that writes it: each node gets a rank (0 for a node that reads only
// inlets and controls), and the steps run by rank. A schedule is built off
// the audio thread and then only read there.
#pragma once

#include "Dsp/DspDef.hpp"

#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

// "$$a, $$b := node($$in, $$gain)": what a patch says of one node.
struct DspEquationNames {
    std::vector<std::string> outputs;
    std::string node;
    std::vector<std::string> arguments;
};

// One node's run in a block, its buffers bound.
struct DspStep {
    DspNode* node = nullptr;
    int rank = 0;
    std::vector<sample_t*> inputs, controls, outputs;
};

struct DspSchedule {
    std::vector<DspStep> steps;
    // What a block reads besides its steps, fixed with them: the host's
    // inputs and outputs, the channels it starts silent, and every node by
    // the number that notes give it.
    std::vector<DspVarDef*> inlets, outlets, carried;
    std::vector<DspNode*> nodes;
    // Notes of another generation (given before a score replaced the
    // graph's definitions) are dropped.
    std::uint32_t generation = 0;
    // The score's definitions that the steps point into: they live as long
    // as a schedule that may run them.
    std::shared_ptr<const void> keep;
    // The controls its steps read, which a block fills.
    std::vector<DspVarDef*> controls;
    // Sound nodes no equation uses: they compute on their own buffers,
    // which go to the host's outputs.
    std::vector<DspNode*> unpatched;
    void show(std::ostream& out) const;
};

// What a schedule is built from: the graph's definitions by name.
struct DspDefinitions {
    std::map<std::string, DspVarDef*> vars;
    std::map<std::string, DspNode*> nodes;
};

// Checks each equation against the definitions: one that names what is not
// defined, or connects the wrong number of buffers, is reported and left
// out. False (reported) when the equations make a cycle: no schedule then.
bool build_schedule(const DspDefinitions& defs, const std::vector<DspEquationNames>& equations,
                    DspSchedule& out);
