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
    std::lock_guard lock(control_mutex);
    assert(!running && "declarations come before the graph starts");
    for (const auto& v : own.vars)
        if (v->name() == name) return v.get();
    own.vars.push_back(std::make_unique<DspVarDef>(name, kind));
    return own.vars.back().get();
}

DspNode* DspGraph::add_node(std::unique_ptr<DspNode> n) {
    std::lock_guard lock(control_mutex);
    assert(!running && "nodes come before the graph starts");
    own.nodes.push_back(std::move(n));
    return own.nodes.back().get();
}

namespace {

template <class T>
T* find_named(const std::vector<std::unique_ptr<T>>& list, const std::string& name) {
    for (const auto& d : list)
        if (d->name() == name) return d.get();
    return nullptr;
}

} // namespace

DspVarDef* DspGraph::var(const std::string& name) const {
    std::lock_guard lock(control_mutex);
    if (DspVarDef* v = find_named(declared->vars, name)) return v;
    return find_named(own.vars, name);
}

DspNode* DspGraph::node(const std::string& name) const {
    std::lock_guard lock(control_mutex);
    if (DspNode* n = find_named(declared->nodes, name)) return n;
    return find_named(own.nodes, name);
}

std::vector<DspNode*> DspGraph::all_nodes() const {
    std::lock_guard lock(control_mutex);
    std::vector<DspNode*> all;
    for (const DspDefinitionSet* set : std::array<const DspDefinitionSet*, 2>{&own, declared.get()})
        for (const auto& n : set->nodes)
            all.push_back(n.get());
    return all;
}

std::vector<DspVarDef*> DspGraph::all_vars() const {
    std::vector<DspVarDef*> all;
    for (const DspDefinitionSet* set : std::array<const DspDefinitionSet*, 2>{&own, declared.get()})
        for (const auto& v : set->vars)
            all.push_back(v.get());
    return all;
}

bool DspGraph::start(float sample_rate, int block, int, int) {
    std::lock_guard lock(control_mutex);
    bool ok = sample_rate > 0 && block > 0;
    for (const auto& v : own.vars)
        ok = ok && v->start_dsp(sample_rate, block);
    for (const auto& n : own.nodes)
        ok = ok && n->start_dsp(sample_rate, block);
    if (!ok) {
        error("Error in DSP chain: cannot start");
        return false;
    }
    rate = sample_rate;
    max_block = block;
    running = true;
    start_declared(*declared);
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
    std::lock_guard lock(control_mutex);
    std::vector<DspEquationNames> equations;
    for (const auto& eq : a.equations)
        equations.push_back(names_of(*eq));
    install(equations);
}

void DspGraph::equation(const DspEquation& a) {
    std::lock_guard lock(control_mutex);
    install({names_of(a)});
}

bool DspGraph::install(const std::vector<DspEquationNames>& equations) {
    std::lock_guard lock(control_mutex);
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
    // The score's definitions hide the host's of the same name.
    for (DspVarDef* v : all_vars())
        defs.vars[v->name()] = v;
    for (DspNode* n : all_nodes())
        defs.nodes[n->name()] = n;
    auto schedule = std::make_unique<DspSchedule>();
    if (!build_schedule(defs, all, *schedule)) return false;
    fill_frame_lists(*schedule);
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

// What the audio side reads besides the steps, fixed with the schedule so
// that a new score's definitions reach it with the schedule that uses them.
void DspGraph::fill_frame_lists(DspSchedule& s) const {
    for (DspVarDef* v : all_vars()) {
        if (v->kind() == DspVarKind::Channel || v->kind() == DspVarKind::Outlet) s.carried.push_back(v);
        if (v->kind() == DspVarKind::Inlet) s.inlets.push_back(v);
        if (v->kind() == DspVarKind::Outlet) s.outlets.push_back(v);
    }
    s.nodes = all_nodes();
    s.generation = generation;
    s.keep = declared;
}

void DspGraph::collect() {
    std::lock_guard lock(control_mutex);
    if (const std::uint32_t lost = ring.take_dropped() + overflow.exchange(0))
        error("Dsp: %u notes dropped: too many at once", lost);
}

void DspGraph::note(const std::string& name, const DspNote& n, const Action* source) {
    std::lock_guard lock(control_mutex);
    DspNode* target = node(name);
    if (!target) target = default_sound;
    if (!target) {
        error("Undefined dsp definition '%s' called", name.c_str());
        if (source) source->post_location();
        return;
    }
    collect();
    const std::vector<DspNode*> numbered = all_nodes();
    const int index =
        static_cast<int>(std::find(numbered.begin(), numbered.end(), target) - numbered.begin());
    ring.push({index, generation, n.channel, n.key, n.velocity, n.date});
    if (n.velocity > 0 && n.duration > 0)
        ring.push({index, generation, n.channel, n.key, 0, n.date + n.duration});
}

void DspGraph::reset() {
    std::lock_guard lock(control_mutex);
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
        if (current)
            for (DspNode* n : current->nodes)
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
        const auto index = static_cast<std::size_t>(c.node);
        if (!current || c.generation != current->generation || index >= current->nodes.size()) continue;
        DspNode& target = *current->nodes[index];
        if (c.velocity > 0)
            target.note_on(c.channel, c.key, c.velocity);
        else
            target.note_off(c.channel, c.key);
    }
}

void DspGraph::process_part(const float* const* inputs, int input_count, float* const* outputs,
                            int output_count, int offset, int n) {
    if (!current) {
        for (int c = 0; c < output_count; ++c)
            std::fill_n(outputs[c] + offset, n, 0.0f);
        return;
    }
    const std::vector<DspVarDef*>& inlets = current->inlets;
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
    for (DspVarDef* v : current->carried)
        v->clear(n);
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
    const std::vector<DspVarDef*>& outlets = current->outlets;
    for (std::size_t i = 0; i < outlets.size() && static_cast<int>(i) < output_count; ++i)
        std::copy_n(outlets[i]->get_buffer(), n, outputs[i] + offset);
    for (DspNode* node : current->unpatched) {
        for (int k = 0; k < node->audio_outputs(); ++k) {
            const sample_t* own = node->own_output(k);
            float* out = outputs[k % output_count] + offset;
            for (int s = 0; own && s < n; ++s)
                out[s] += own[s];
        }
    }
}
