// The closed family of actions, as a visitor sees it. The tree only
// describes actions; whoever runs them (the runtime's firing) implements one
// `visit` per kind, so a new kind of action does not compile until every
// visitor says what it does with it.
#pragma once

class Message;
class KillAction;
class KillActionOf;
class CadAssert;
class ProcCall;
class Internal_comm;
class OscSend;
class OscRecv;
class OscOn;
class OscOff;
class OpenFileAction;
class CloseFileAction;
class AtomicSequence;
class AssignmentAction;
class VarParamAssignmentAction;
class LocalAssignment;
class TabAssignment;
class ActionDeclaration;
class Gfwd;
class Lfwd;
class For;
class ConditionalAction;
class SwitchAction;
class WhenAction;
class WhenOnPattern;
class Curve;
class DspEquation;
class DspPatch;
class DspFluidsynthAction;

class ActionVisitor {
public:
    virtual ~ActionVisitor() = default;

    // Atomic actions.
    virtual void visit(Message& a) = 0;
    virtual void visit(KillAction& a) = 0;
    virtual void visit(KillActionOf& a) = 0;
    virtual void visit(CadAssert& a) = 0;
    virtual void visit(ProcCall& a) = 0;
    virtual void visit(Internal_comm& a) = 0;
    virtual void visit(OscSend& a) = 0;
    virtual void visit(OscRecv& a) = 0;
    virtual void visit(OscOn& a) = 0;
    virtual void visit(OscOff& a) = 0;
    virtual void visit(OpenFileAction& a) = 0;
    virtual void visit(CloseFileAction& a) = 0;
    virtual void visit(AtomicSequence& a) = 0;
    virtual void visit(AssignmentAction& a) = 0;
    virtual void visit(VarParamAssignmentAction& a) = 0;
    virtual void visit(LocalAssignment& a) = 0;
    virtual void visit(TabAssignment& a) = 0;
    // "@local", "@global" and "@tempovar" declarations.
    virtual void visit(ActionDeclaration& a) = 0;
    virtual void visit(DspEquation& a) = 0;
    virtual void visit(DspPatch& a) = 0;
    virtual void visit(DspFluidsynthAction& a) = 0;

    // Compound actions. A data curve is visited as a curve.
    virtual void visit(Gfwd& a) = 0;
    virtual void visit(Lfwd& a) = 0;
    virtual void visit(For& a) = 0;
    virtual void visit(ConditionalAction& a) = 0;
    virtual void visit(SwitchAction& a) = 0;
    virtual void visit(WhenAction& a) = 0;
    virtual void visit(WhenOnPattern& a) = 0;
    virtual void visit(Curve& a) = 0;
};
