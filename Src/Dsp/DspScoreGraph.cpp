// The part of the audio graph that the followed score declares: its
// variables ("@dsp_channel", "@dsp_cvar", "@dsp_inlet", "@dsp_outlet") and
// its nodes ("@fluidsynth_def"), replaced as a whole when the engine follows
// another score, and the values that actions give its control variables.
#include "Dsp/DspGraph.hpp"

#include "Base/Console.hpp"
#include "Base/Location.hpp"
#include "Dsp/FluidsynthNode.hpp"
#include "Exp/ValueKinds.hpp"
#include "Tree/DspDefinitions.hpp"
#include "Tree/Score.hpp"

#include <cassert>
#include <cmath>
#include <filesystem>

namespace {

DspVarKind kind_of(DspDeclKind kind) {
    switch (kind) {
    case DspDeclKind::INLET:
        return DspVarKind::Inlet;
    case DspDeclKind::OUTLET:
        return DspVarKind::Outlet;
    case DspDeclKind::CVAR:
        return DspVarKind::Control;
    case DspDeclKind::CHANNEL:
        return DspVarKind::Channel;
    }
    assert(false && "a kind of dsp variable without its graph kind");
    return DspVarKind::Channel;
}

// A relative sound font is looked for beside the score.
std::string beside_score(const std::string& file, const std::string& score_file) {
    const std::filesystem::path path(file);
    if (path.is_absolute() || score_file.empty()) return file;
    return (std::filesystem::path(score_file).parent_path() / path).string();
}

bool named_in(const DspDefinitionSet& set, const std::string& name) {
    for (const auto& v : set.vars)
        if (v->name() == name) return true;
    for (const auto& n : set.nodes)
        if (n->name() == name) return true;
    return false;
}

} // namespace

void DspGraph::load_score(const Score* score) {
    std::lock_guard lock(control_mutex);
    auto next = std::make_shared<DspDefinitionSet>();
    if (score) declare_from(*score, *next);
    if (running) start_declared(*next);
    declared = std::move(next);
    // The previous score's patches and notes go with its definitions.
    ++generation;
    equations_by_node.clear();
    release_all.store(true, std::memory_order_release);
    if (running) install({});
}

void DspGraph::declare_from(const Score& score, DspDefinitionSet& into) const {
    for (const auto& definition : score.definitions) {
        if (const auto* v = dynamic_cast<const DspVarDecl*>(definition.get())) {
            if (!named_in(into, v->name))
                into.vars.push_back(std::make_unique<DspVarDef>(v->name, kind_of(v->kind)));
        } else if (const auto* n = dynamic_cast<const DspNodeDecl*>(definition.get())) {
            add_declared_node(*n, score.filename, into);
        }
    }
}

// This build computes FluidSynth nodes only: a Faust or Csound node is
// refused where it is declared, and the score runs without it.
void DspGraph::add_declared_node(const DspNodeDecl& decl, const std::string& score_file,
                                 DspDefinitionSet& into) const {
    if (decl.kind != DspNodeKind::FLUIDSYNTH) {
        error("This version of cadenzium does not handle DSP");
        post_location("Dsp: node '" + decl.name + "' left out, declared", decl.location.get());
        return;
    }
    if (named_in(into, decl.name)) return;
    into.nodes.push_back(
        std::make_unique<FluidsynthNode>(decl.name, beside_score(decl.file, score_file), decl.preset));
}

// Off the audio thread. A node that cannot start (its sound font missing)
// is reported and left out; the rest of the graph runs.
void DspGraph::start_declared(DspDefinitionSet& set) const {
    for (const auto& v : set.vars)
        v->start_dsp(rate, max_block);
    std::erase_if(set.nodes, [&](const std::unique_ptr<DspNode>& n) {
        if (n->start_dsp(rate, max_block)) return false;
        error("Error in DSP chain: cannot start");
        return true;
    });
}

// ---- control variables ----

namespace {

// The number a control takes from `v`, or false after a report. A tab
// gives its first element.
bool control_number(const std::string& name, const TaggedValue& v, float& out) {
    const TaggedValue* number = &v;
    if (v.is_tab()) {
        const auto& elements = *value_cast<TabValue>(v).val;
        if (elements.empty()) {
            error("Warning: empty tab to fill dsp cvar %s", name.c_str());
            return false;
        }
        if (!elements.front()->is_numeric()) {
            error("Non numeric value in dsp cvar %s non scalar assignment", name.c_str());
            return false;
        }
        number = &*elements.front();
    }
    const double value = number->is_numeric() ? number->get_double() : std::nan("");
    if (!std::isfinite(value)) {
        error("Bad value in dsp cvar %s assignment", name.c_str());
        return false;
    }
    out = static_cast<float>(value);
    return true;
}

} // namespace

void DspGraph::control(const std::string& name, const TaggedValue& v, const yy::location* where) {
    std::lock_guard lock(control_mutex);
    DspVarDef* target = var(name);
    if (!target) {
        error("Undefined dsp definition '%s' called", name.c_str());
        post_location("at", where);
        return;
    }
    if (target->kind() != DspVarKind::Control) {
        error("Cannot assign dsp var %s of kind %s", name.c_str(), target->dsp_kind());
        post_location("at", where);
        return;
    }
    float value = 0;
    if (!control_number(name, v, value)) {
        post_location("at", where);
        return;
    }
    // An atomic store: the audio side fills the control's buffer with it
    // at the start of its next block.
    target->set_control(value);
}

bool DspGraph::curve_target(const std::string& name, const yy::location* where) {
    std::lock_guard lock(control_mutex);
    DspVarDef* target = var(name);
    if (!target) {
        error("Undefined dsp definition '%s' called", name.c_str());
        post_location("at", where);
        return false;
    }
    if (target->kind() == DspVarKind::Control) return true;
    error("Dsp variable %s is a %s: cannot be used as a curve variable (try to declare a @dsp_cvar)",
          name.c_str(), target->dsp_kind());
    post_location("at", where);
    return false;
}

Value DspGraph::control_value(const std::string& name, const yy::location* where) const {
    std::lock_guard lock(control_mutex);
    DspVarDef* target = var(name);
    if (!target || target->kind() != DspVarKind::Control) {
        error("Warning: dsp buffer not already allocated");
        post_location("at", where);
        return undef_value();
    }
    return float_value(target->get_control());
}
