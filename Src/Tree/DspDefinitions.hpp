// Declarations of the audio graph, as the score writes them: its signal
// and control variables ("@dsp_inlet $$in", "@dsp_cvar $$gain") and the
// processing nodes that equations name ("@faust_def faust::f($x) { ... }").
// The tree only keeps what they say; the audio graph builds on them.
#pragma once

#include "Base/ASTNode.hpp"
#include "Base/Location.hpp"

#include <memory>
#include <string>
#include <vector>

struct BuildContext;

// "@dsp_inlet", "@dsp_outlet", "@dsp_cvar", "@dsp_channel" (or "@dsp_link").
enum class DspDeclKind { INLET, OUTLET, CVAR, CHANNEL };

// One variable of the audio graph ("$$name").
class DspVarDecl final : public ASTNode {
public:
    // Adds the definition of `name` to the score of `ctx`.
    static void create(BuildContext* ctx, DspDeclKind kind, const std::string& name, const yy::location* loc);
    DspVarDecl(DspDeclKind kind, std::string name, const yy::location* loc);

    void show(std::ostream& out) const override;
    static const char* keyword(DspDeclKind kind);

    DspDeclKind kind;
    std::string name;
    std::unique_ptr<yy::location> location;
};

enum class DspNodeKind { FAUST, FLUIDSYNTH, CSOUND };

// A processing node: a Faust program with its parameters (variables "$x" or
// graph variables "$$x"), a FluidSynth sound font with the program its
// channels play, or a Csound file.
class DspNodeDecl final : public ASTNode {
public:
    // Adds the node to the score of `ctx`; a second node of a name replaces
    // the first.
    static void create(BuildContext* ctx, std::unique_ptr<DspNodeDecl> node);
    DspNodeDecl(DspNodeKind kind, std::string name, const yy::location* loc);

    void show(std::ostream& out) const override;

    DspNodeKind kind;
    std::string name;                    // "faust::f", "fluidsynth::f", "csound::f"
    std::vector<std::string> parameters; // of a Faust node
    std::string program;                 // the Faust text, without its braces
    std::string file;                    // of a FluidSynth or Csound node
    int preset = 0;                      // of a FluidSynth node: its General MIDI program
    std::unique_ptr<yy::location> location;
};
