#include "Tree/DspDefinitions.hpp"

#include "Tree/BuildContext.hpp"
#include "Tree/Score.hpp"

namespace {

std::unique_ptr<yy::location> copy_of(const yy::location* loc) {
    return loc ? std::make_unique<yy::location>(*loc) : nullptr;
}

} // namespace

void DspVarDecl::create(BuildContext* ctx, DspDeclKind kind, const std::string& name,
                        const yy::location* loc) {
    if (!ctx || !ctx->score) return;
    ctx->score->definitions.push_back(std::make_unique<DspVarDecl>(kind, name, loc));
}

DspVarDecl::DspVarDecl(DspDeclKind k, std::string n, const yy::location* loc)
    : kind(k)
    , name(std::move(n))
    , location(copy_of(loc)) {}

const char* DspVarDecl::keyword(DspDeclKind kind) {
    switch (kind) {
    case DspDeclKind::INLET:
        return "@dsp_inlet";
    case DspDeclKind::OUTLET:
        return "@dsp_outlet";
    case DspDeclKind::CVAR:
        return "@dsp_cvar";
    case DspDeclKind::CHANNEL:
        return "@dsp_channel";
    }
    return "?";
}

void DspVarDecl::show(std::ostream& out) const {
    out << keyword(kind) << ' ' << name << '\n';
}

void DspNodeDecl::create(BuildContext* ctx, std::unique_ptr<DspNodeDecl> node) {
    if (!ctx || !ctx->score || !node) return;
    for (auto& d : ctx->score->definitions) {
        if (auto* old = dynamic_cast<DspNodeDecl*>(d.get()); old && old->name == node->name) {
            d = std::move(node);
            return;
        }
    }
    ctx->score->definitions.push_back(std::move(node));
}

DspNodeDecl::DspNodeDecl(DspNodeKind k, std::string n, const yy::location* loc)
    : kind(k)
    , name(std::move(n))
    , location(copy_of(loc)) {}

void DspNodeDecl::show(std::ostream& out) const {
    switch (kind) {
    case DspNodeKind::FAUST:
        out << "@faust_def " << name << '(';
        for (std::size_t i = 0; i < parameters.size(); ++i)
            out << (i ? ", " : "") << parameters[i];
        out << ") {" << program << "}\n";
        return;
    case DspNodeKind::FLUIDSYNTH:
        out << "@fluidsynth_def " << name << "(\"" << file << "\", " << preset << ")\n";
        return;
    case DspNodeKind::CSOUND:
        out << "@csound_def " << name << "(\"" << file << "\")\n";
        return;
    }
}
