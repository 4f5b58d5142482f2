#include "Dsp/DspDef.hpp"

#include <algorithm>
#include <ostream>

bool DspDefinition::start_dsp(float r, int) {
    rate = r;
    return r > 0;
}

const char* dsp_kind_word(DspVarKind kind) {
    switch (kind) {
    case DspVarKind::Channel:
        return "@dsp_channel";
    case DspVarKind::Control:
        return "@dsp_cvar";
    case DspVarKind::Inlet:
        return "audio_inlet";
    case DspVarKind::Outlet:
        return "audio_outlet";
    }
    return "?";
}

void DspVarDef::show(std::ostream& out) const {
    out << dsp_kind() << ' ' << name();
}

bool DspVarDef::start_dsp(float r, int max_block) {
    if (!DspDefinition::start_dsp(r, max_block) || max_block <= 0) return false;
    buffer.assign(static_cast<std::size_t>(max_block), 0.0f);
    return true;
}

void DspVarDef::fill_control(int n) {
    std::fill_n(buffer.begin(), std::min<std::size_t>(static_cast<std::size_t>(n), buffer.size()),
                get_control());
}

void DspVarDef::clear(int n) {
    std::fill_n(buffer.begin(), std::min<std::size_t>(static_cast<std::size_t>(n), buffer.size()), 0.0f);
}

void DspNode::show(std::ostream& out) const {
    out << "Dsp Node state: " << name() << " <- [" << audio_inputs() << " audio, " << control_inputs()
        << " control] <- (" << audio_outputs() << " outputs) <- link";
}

void DspNode::bind(const std::vector<sample_t*>& in, const std::vector<sample_t*>& control,
                   const std::vector<sample_t*>& out) {
    std::fill(ins.begin(), ins.end(), nullptr);
    std::fill(ctls.begin(), ctls.end(), nullptr);
    std::fill(outs.begin(), outs.end(), nullptr);
    std::copy_n(in.begin(), std::min(in.size(), ins.size()), ins.begin());
    std::copy_n(control.begin(), std::min(control.size(), ctls.size()), ctls.begin());
    std::copy_n(out.begin(), std::min(out.size(), outs.size()), outs.begin());
}

void DummyDspNode::compute(int n) {
    const auto count = static_cast<std::size_t>(n);
    for (sample_t* out : outs) {
        if (!out) continue;
        if (!ins.empty() && ins[0])
            std::copy_n(ins[0], count, out);
        else
            std::fill_n(out, count, 0.0f);
    }
}
