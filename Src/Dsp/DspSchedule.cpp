#include "Dsp/DspSchedule.hpp"

#include "Base/Console.hpp"

#include <algorithm>
#include <ostream>
#include <set>

namespace {

// An equation whose names all resolve, with its buffers.
struct Resolved {
    DspNode* node = nullptr;
    std::vector<DspVarDef*> audio, controls, outputs;
};

DspVarDef* find_var(const DspDefinitions& defs, const std::string& name) {
    auto it = defs.vars.find(name);
    return it == defs.vars.end() ? nullptr : it->second;
}

bool resolve_names(const DspDefinitions& defs, const DspEquationNames& eq, Resolved& r) {
    auto node = defs.nodes.find(eq.node);
    if (node == defs.nodes.end()) {
        error("Undefined dsp definition '%s' called", eq.node.c_str());
        return false;
    }
    r.node = node->second;
    for (const std::string& name : eq.arguments) {
        DspVarDef* v = find_var(defs, name);
        if (!v || v->kind() == DspVarKind::Outlet) {
            error("Undefined dsp definition '%s' called", name.c_str());
            return false;
        }
        (v->kind() == DspVarKind::Control ? r.controls : r.audio).push_back(v);
    }
    for (const std::string& name : eq.outputs) {
        DspVarDef* v = find_var(defs, name);
        if (!v || v->kind() == DspVarKind::Inlet || v->kind() == DspVarKind::Control) {
            error("Undefined DSP out channel '%s'", name.c_str());
            return false;
        }
        r.outputs.push_back(v);
    }
    return true;
}

bool counts_agree(const Resolved& r) {
    const char* name = r.node->name().c_str();
    const int audio = static_cast<int>(r.audio.size());
    const int controls = static_cast<int>(r.controls.size());
    const int outputs = static_cast<int>(r.outputs.size());
    if (audio != r.node->audio_inputs()) {
        error("Warning: DspNode: disconnect '%s' because %d audio args are expected and got %d", name,
              r.node->audio_inputs(), audio);
        return false;
    }
    if (controls < r.node->required_controls() || controls > r.node->control_inputs()) {
        error("Warning: DspNode: disconnect '%s', because %d control are expected and got %d", name,
              r.node->control_inputs(), controls);
        return false;
    }
    if (outputs != r.node->audio_outputs()) {
        error("Warning: DspNode: disconnect '%s', because %d outputs are expected and got %d", name,
              r.node->audio_outputs(), outputs);
        return false;
    }
    return true;
}

std::vector<sample_t*> buffers_of(const std::vector<DspVarDef*>& vars) {
    std::vector<sample_t*> out;
    for (DspVarDef* v : vars)
        out.push_back(v->get_buffer());
    return out;
}

// Ranks by longest path from the nodes that read no channel written by
// another: a pass per rank, at most one per equation. Whatever is left
// unranked after that sits on a cycle.
bool rank_equations(const std::vector<Resolved>& eqs, std::vector<int>& rank) {
    std::map<const DspVarDef*, std::size_t> writer;
    for (std::size_t i = 0; i < eqs.size(); ++i)
        for (const DspVarDef* v : eqs[i].outputs)
            writer[v] = i;
    rank.assign(eqs.size(), -1);
    for (std::size_t pass = 0; pass <= eqs.size(); ++pass) {
        bool changed = false;
        for (std::size_t i = 0; i < eqs.size(); ++i) {
            int r = 0;
            bool ready = true;
            for (const DspVarDef* v : eqs[i].audio) {
                auto w = writer.find(v);
                if (w == writer.end()) continue;
                if (rank[w->second] < 0 || w->second == i) {
                    ready = false;
                    break;
                }
                r = std::max(r, rank[w->second] + 1);
            }
            if (ready && rank[i] != r) {
                rank[i] = r;
                changed = true;
            }
        }
        if (!changed) break;
    }
    std::string cycle;
    for (std::size_t i = 0; i < eqs.size(); ++i)
        if (rank[i] < 0) cycle += (cycle.empty() ? "" : " ") + eqs[i].node->name();
    if (cycle.empty()) return true;
    error("DSP Cycle detected: %s", cycle.c_str());
    return false;
}

void add_unique(std::vector<DspVarDef*>& list, DspVarDef* v) {
    if (std::find(list.begin(), list.end(), v) == list.end()) list.push_back(v);
}

} // namespace

bool build_schedule(const DspDefinitions& defs, const std::vector<DspEquationNames>& equations,
                    DspSchedule& out) {
    std::vector<Resolved> eqs;
    for (const DspEquationNames& eq : equations) {
        Resolved r;
        if (resolve_names(defs, eq, r) && counts_agree(r)) eqs.push_back(std::move(r));
    }
    std::vector<int> rank;
    if (!rank_equations(eqs, rank)) return false;
    out = DspSchedule{};
    std::set<const DspNode*> patched;
    for (std::size_t i = 0; i < eqs.size(); ++i) {
        const Resolved& r = eqs[i];
        out.steps.push_back(
            {r.node, rank[i], buffers_of(r.audio), buffers_of(r.controls), buffers_of(r.outputs)});
        patched.insert(r.node);
        for (DspVarDef* v : r.controls)
            add_unique(out.controls, v);
    }
    std::stable_sort(out.steps.begin(), out.steps.end(),
                     [](const DspStep& a, const DspStep& b) { return a.rank < b.rank; });
    for (const auto& [name, node] : defs.nodes)
        if (node->plays_unpatched() && !patched.count(node)) out.unpatched.push_back(node);
    return true;
}

void DspSchedule::show(std::ostream& out) const {
    out << "Schedule dsp:\n";
    for (const DspStep& s : steps)
        out << "  Schedule rank " << s.rank << ": " << s.node->name() << '\n';
    out << "Schedule results:";
    for (const DspStep& s : steps)
        out << ' ' << s.node->name();
    for (const DspNode* n : unpatched)
        out << ' ' << n->name() << " (unpatched)";
    out << '\n';
}
