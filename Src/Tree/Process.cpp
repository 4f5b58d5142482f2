#include "Tree/Process.hpp"

#include "Exp/Environment.hpp"
#include "Exp/EvalContext.hpp"
#include "Exp/Reference.hpp"
#include "Exp/Var.hpp"
#include "Tree/Assignments.hpp"
#include "Tree/Track.hpp"

#include <cassert>

namespace {

const CadDuration kZeroBeats(0.0, DURATION_BEATS);

GlobalEnvironment* global_of(EvalContext* eval) {
    return eval ? eval->global_env() : nullptr;
}

// "@local $a, $b" for the parameters, hidden: the score did not write it.
ActionPtr parameter_declaration(BuildContext* ctx, const std::vector<std::string>& parameters,
                                const yy::location* loc) {
    std::vector<VarPtr> vars;
    for (const std::string& p : parameters)
        vars.push_back(std::make_unique<Var>(ctx ? ctx->eval : nullptr, p, loc));
    auto declaration =
        std::make_unique<LocalDec>(ctx, std::move(vars), std::vector<int>(parameters.size(), -1), loc);
    declaration->hidden = true;
    return declaration;
}

} // namespace

ProcDefinition::ProcDefinition(BuildContext* ctx, const std::string& n, unsigned count,
                               const yy::location* loc)
    : name(n)
    , uid(Reference::unique_id(n))
    , arity(count)
    , location(loc ? std::make_unique<yy::location>(*loc) : nullptr)
    , eval(ctx ? ctx->eval : nullptr) {
    assert(name.rfind("::", 0) == 0 && "a process name begins with ::");
    if (GlobalEnvironment* env = global_of(eval)) env->set_proc(name, this);
}

ProcDefinition::~ProcDefinition() {
    GlobalEnvironment* env = global_of(eval);
    if (env && env->get_proc(uid) == this) env->set_proc(name, nullptr);
}

UserProc::UserProc(BuildContext* ctx, const std::string& n, std::vector<std::string> params,
                   ActionList actions, AttributeList attributes, const yy::location* loc)
    : ProcDefinition(ctx, n, static_cast<unsigned>(params.size()), loc)
    , parameters(std::move(params)) {
    Action::restructure_sequence(ctx, actions);
    actions.insert(actions.begin(), parameter_declaration(ctx, parameters, loc));
    body = std::make_unique<Gfwd>(ctx, "proc_body_instance__" + name, &kZeroBeats, std::move(attributes),
                                  std::move(actions), nullptr, TimedEnd{}, loc);
    body->hidden = true;
    body->finalize_env(global_of(ctx ? ctx->eval : nullptr));
}

void UserProc::show(std::ostream& out) const {
    out << "@PROC_DEF " << name << '(';
    for (std::size_t i = 0; i < parameters.size(); ++i)
        out << (i ? ", " : "") << parameters[i];
    out << ')';
    if (!body) {
        out << " <Null list>\n";
        return;
    }
    body->show_attl(out);
    {
        ShowNesting nested(out);
        for (std::size_t i = 1; i < body->actions.size(); ++i)
            body->actions[i]->show(out);
    }
    show_indent(out);
    out << "}\n";
}

// A track that names the process ("::p") takes all that its instances do.
void UserProc::compute_and_propage(Score* score) {
    if (!body) return;
    std::bitset<32> tracks;
    if (score)
        for (const TrackDefinition* t : score_tracks(*score))
            if (t->check_track(name)) t->set_mask(tracks);
    body->compute_and_propage(tracks, score);
}
