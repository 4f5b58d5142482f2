#include "Dsp/DspGraph.hpp"

#include "Base/Console.hpp"
#include "Tree/DspActions.hpp"

#include <algorithm>
#include <cassert>
#include <set>
#include <sstream>

// The audio side has stopped: the graph owns the last two published.
DspGraph::~DspGraph() {
    pending.store(nullptr);
    delete taken;
    delete published;
}

// ---- definitions ----

DspVarDef* DspGraph::declare(const std::string& name, DspVarKind kind) {
    assert(!running && "declarations come before the graph starts");
    if (DspVarDef* v = var(name)) return v;
    vars.push_back(std::make_unique<DspVarDef>(name, kind));
    DspVarDef* v = vars.back().get();
    if (kind == DspVarKind::Channel || kind == DspVarKind::Outlet) carried.push_back(v);
    if (kind == DspVarKind::Inlet) inlets.push_back(v);
    if (kind == DspVarKind::Outlet) outlets.push_back(v);
    return v;
}

DspNode* DspGraph::add_node(std::unique_ptr<DspNode> n) {
    assert(!running && "nodes come before the graph starts");
    nodes.push_back(std::move(n));
    return nodes.back().get();
}

DspVarDef* DspGraph::var(const std::string& name) const {
    for (const auto& v : vars)
        if (v->name() == name) return v.get();
    return nullptr;
}

DspNode* DspGraph::node(const std::string& name) const {
    for (const auto& n : nodes)
        if (n->name() == name) return n.get();
    return nullptr;
}

bool DspGraph::start(float sample_rate, int block, int, int) {
    bool ok = sample_rate > 0 && block > 0;
    for (const auto& v : vars)
        ok = ok && v->start_dsp(sample_rate, block);
    for (const auto& n : nodes)
        ok = ok && n->start_dsp(sample_rate, block);
    if (!ok) {
        error("Error in DSP chain: cannot start");
        return false;
    }
    rate = sample_rate;
    max_block = block;
    running = true;
    // The sound nodes play before any patch.
    return install({});
}

// ---- the control side ----

namespace {

DspEquationNames names_of(const DspEquation& eq) {
    return {eq.outputs, eq.node, eq.arguments};
}

// A channel has one writer: a new equation that writes it disconnects the
// other nodes that did.
void take_over_outputs(std::map<std::string, DspEquationNames>& equations, const DspEquationNames& eq) {
    for (auto it = equations.begin(); it != equations.end();) {
        const std::vector<std::string>& outs = it->second.outputs;
        const bool shares =
            it->first != eq.node && std::any_of(outs.begin(), outs.end(), [&](const std::string& o) {
                return std::find(eq.outputs.begin(), eq.outputs.end(), o) != eq.outputs.end();
            });
        it = shares ? equations.erase(it) : std::next(it);
    }
}

} // namespace

void DspGraph::patch(const DspPatch& a) {
    std::vector<DspEquationNames> equations;
    for (const auto& eq : a.equations)
        equations.push_back(names_of(*eq));
    install(equations);
}

void DspGraph::equation(const DspEquation& a) {
    install({names_of(a)});
}

bool DspGraph::install(const std::vector<DspEquationNames>& equations) {
    if (!running) {
        error("Warning: dsp buffer not already allocated");
        return false;
    }
    std::map<std::string, DspEquationNames> next = equations_by_node;
    for (const DspEquationNames& eq : equations) {
        take_over_outputs(next, eq);
        next[eq.node] = eq;
    }
    std::vector<DspEquationNames> all;
    for (const auto& [name, eq] : next)
        all.push_back(eq);
    DspDefinitions defs;
    for (const auto& v : vars)
        defs.vars[v->name()] = v.get();
    for (const auto& n : nodes)
        defs.nodes[n->name()] = n.get();
    auto schedule = std::make_unique<DspSchedule>();
    if (!build_schedule(defs, all, *schedule)) return false;
    // What was left out is not kept, so that it is said once.
    const std::map<std::string, DspEquationNames> before = std::move(equations_by_node);
    equations_by_node.clear();
    for (const DspStep& step : schedule->steps)
        equations_by_node[step.node->name()] = next[step.node->name()];
    report_dropped_channels(before);
    if (verbosity > 0) {
        std::ostringstream text;
        schedule->show(text);
        post("%s", text.str().c_str());
    }
    publish(std::move(schedule));
    return true;
}

namespace {

std::set<std::string> channels_of(const std::map<std::string, DspEquationNames>& equations, bool outputs) {
    std::set<std::string> names;
    for (const auto& [node, eq] : equations)
        for (const std::string& name : outputs ? eq.outputs : eq.arguments)
            names.insert(name);
    return names;
}

} // namespace

// A channel that the graph read or wrote before a patch and no longer does.
void DspGraph::report_dropped_channels(const std::map<std::string, DspEquationNames>& before) const {
    const std::set<std::string> read = channels_of(equations_by_node, false);
    const std::set<std::string> written = channels_of(equations_by_node, true);
    for (const std::string& name : channels_of(before, false))
        if (!read.count(name)) post("Dsp: input channel '%s' no longer used", name.c_str());
    for (const std::string& name : channels_of(before, true))
        if (!written.count(name)) post("Dsp: output channel '%s' no longer feeded.", name.c_str());
}

// When the last one published is still pending the audio side never saw
// it; else it took it at a block's start and no longer runs the one before.
void DspGraph::publish(std::unique_ptr<DspSchedule> s) {
    collect();
    DspSchedule* next = s.release();
    if (DspSchedule* untaken = pending.exchange(next, std::memory_order_acq_rel)) {
        delete untaken;
    } else if (published) {
        delete taken;
        taken = published;
    }
    published = next;
}

void DspGraph::collect() {
    if (const std::uint32_t lost = ring.take_dropped() + overflow.exchange(0))
        error("Dsp: %u notes dropped: too many at once", lost);
}

void DspGraph::note(const std::string& name, const DspNote& n, const Action* source) {
    DspNode* target = node(name);
    if (!target) target = default_sound;
    if (!target) {
        error("Undefined dsp definition '%s' called", name.c_str());
        if (source) source->post_location();
        return;
    }
    collect();
    const int index = static_cast<int>(
        std::find_if(nodes.begin(), nodes.end(), [&](const auto& p) { return p.get() == target; }) -
        nodes.begin());
    ring.push({index, n.channel, n.key, n.velocity, n.date});
    if (n.velocity > 0 && n.duration > 0) ring.push({index, n.channel, n.key, 0, n.date + n.duration});
}

void DspGraph::reset() {
    equations_by_node.clear();
    if (running) install({});
    release_all.store(true, std::memory_order_release);
}

// ---- the audio side ----

void DspGraph::process(const float* const* inputs, int input_count, float* const* outputs, int output_count,
                       int n, double until) {
    if (!running) {
        for (int c = 0; c < output_count; ++c)
            std::fill_n(outputs[c], n, 0.0f);
        return;
    }
    take_schedule();
    take_notes();
    for (int offset = 0; offset < n; offset += max_block) {
        const int part = std::min(max_block, n - offset);
        // Notes fall due by part: those dated before its end.
        apply_due_notes(until - static_cast<double>(n - offset - part) / rate);
        process_part(inputs, input_count, outputs, output_count, offset, part);
    }
}

void DspGraph::take_schedule() {
    if (DspSchedule* next = pending.exchange(nullptr, std::memory_order_acq_rel)) current = next;
}

void DspGraph::take_notes() {
    if (release_all.exchange(false, std::memory_order_acq_rel)) {
        for (const auto& n : nodes)
            n->all_notes_off();
        waiting_count = 0;
    }
    NoteCommand c;
    while (ring.pop(c)) {
        if (waiting_count == waiting.size()) {
            overflow.fetch_add(1, std::memory_order_relaxed);
            continue;
        }
        waiting[waiting_count++] = c;
    }
}

namespace {

// Dates this close are one: a sum of a date and a length may miss by a
// rounding the date of a note written to start there.
constexpr double kSameDate = 1e-4;

// In date order; at one date releases come first, so that a key struck
// again as its last note ends sounds, and otherwise the order of arrival.
bool comes_before(const NoteCommand& a, const NoteCommand& b) {
    if (a.date < b.date - kSameDate) return true;
    if (b.date < a.date - kSameDate) return false;
    return a.velocity == 0 && b.velocity > 0;
}

} // namespace

void DspGraph::apply_due_notes(double until) {
    for (;;) {
        std::size_t first = waiting_count;
        for (std::size_t i = 0; i < waiting_count; ++i)
            if (waiting[i].date < until &&
                (first == waiting_count || comes_before(waiting[i], waiting[first])))
                first = i;
        if (first == waiting_count) return;
        const NoteCommand c = waiting[first];
        std::copy(waiting.begin() + static_cast<std::ptrdiff_t>(first + 1),
                  waiting.begin() + static_cast<std::ptrdiff_t>(waiting_count),
                  waiting.begin() + static_cast<std::ptrdiff_t>(first));
        --waiting_count;
        DspNode& target = *nodes[static_cast<std::size_t>(c.node)];
        if (c.velocity > 0)
            target.note_on(c.channel, c.key, c.velocity);
        else
            target.note_off(c.channel, c.key);
    }
}

void DspGraph::process_part(const float* const* inputs, int input_count, float* const* outputs,
                            int output_count, int offset, int n) {
    for (std::size_t i = 0; i < inlets.size(); ++i) {
        sample_t* buffer = inlets[i]->get_buffer();
        if (static_cast<int>(i) < input_count && inputs[i])
            std::copy_n(inputs[i] + offset, n, buffer);
        else
            std::fill_n(buffer, n, 0.0f);
    }
    run_schedule(n);
    mix_outputs(outputs, output_count, offset, n);
}

// Every channel and outlet starts the block silent: one that no node
// writes any more must not hold its last samples.
void DspGraph::run_schedule(int n) {
    for (DspVarDef* v : carried)
        v->clear(n);
    if (!current) return;
    for (DspVarDef* v : current->controls)
        v->fill_control(n);
    for (DspStep& step : current->steps) {
        step.node->bind(step.inputs, step.controls, step.outputs);
        step.node->compute(n);
    }
    for (DspNode* node : current->unpatched) {
        node->bind(unbound, unbound, unbound);
        node->compute(n);
    }
}

void DspGraph::mix_outputs(float* const* outputs, int output_count, int offset, int n) {
    for (int c = 0; c < output_count; ++c)
        std::fill_n(outputs[c] + offset, n, 0.0f);
    if (output_count <= 0) return;
    for (std::size_t i = 0; i < outlets.size() && static_cast<int>(i) < output_count; ++i)
        std::copy_n(outlets[i]->get_buffer(), n, outputs[i] + offset);
    if (!current) return;
    for (DspNode* node : current->unpatched) {
        for (int k = 0; k < node->audio_outputs(); ++k) {
            const sample_t* own = node->own_output(k);
            float* out = outputs[k % output_count] + offset;
            for (int s = 0; own && s < n; ++s)
                out[s] += own[s];
        }
    }
}
