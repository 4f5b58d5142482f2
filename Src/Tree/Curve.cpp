#include "Tree/Curve.hpp"

#include "Exp/Expression.hpp"
#include "Exp/Interpolation.hpp"
#include "Base/Console.hpp"

#include <ostream>

// ---- SeqContFunction ----

SeqContFunction::SeqContFunction(ReferenceList vars, std::vector<CurveBreakpoint> pts)
    : variables(std::move(vars))
    , points(std::move(pts)) {}

bool SeqContFunction::check_sizes() const {
    bool ok = true;
    for (const CurveBreakpoint& p : points) {
        if (p.values.size() == variables.size()) continue;
        error("Bad curve : the number of values (%d) do not corresponds to the number of variables (%d)",
              static_cast<int>(p.values.size()), static_cast<int>(variables.size()));
        ok = false;
    }
    return ok;
}

std::vector<Expression*> SeqContFunction::expressions() const {
    std::vector<Expression*> all;
    append_views(all, variables);
    for (const CurveBreakpoint& p : points) {
        append_views(all, p.values);
        all.push_back(p.delay.expr.get());
        all.push_back(p.dynamic_type.get());
    }
    return all;
}

// "$x, $y { {0 1} 2 {1 0} "cubic" ... }", one point per line.
void SeqContFunction::show(std::ostream& out) const {
    show_indent(out);
    for (size_t i = 0; i < variables.size(); ++i)
        out << (i ? ", " : "") << *variables[i];
    out << " {\n";
    {
        ShowNesting nested(out);
        for (size_t i = 0; i < points.size(); ++i) {
            const CurveBreakpoint& p = points[i];
            show_indent(out);
            if (i) out << p.delay << ' ';
            out << '{';
            for (size_t v = 0; v < p.values.size(); ++v) {
                out << (v ? ", " : "");
                if (p.values[v]) p.values[v]->show(out, 1000); // closed, as the reader takes them
            }
            out << "} ";
            if (p.dynamic_type)
                out << "@type := " << *p.dynamic_type;
            else
                out << interpol_to_pr_str(p.type);
            out << '\n';
        }
    }
    show_indent(out);
    out << "}\n";
}

// ---- Curve ----

Curve::Curve(BuildContext* ctx, const std::string& name, const CadDuration* d, AttributeList attl,
             std::vector<SeqContFunction> fns, ExpPtr end, TimedEnd timed_end, const yy::location* loc)
    : Bloc(ctx, name, d, std::move(attl), std::move(end), std::move(timed_end), loc, "curve")
    , functions(std::move(fns))
    , step_action(get_action(attributes)) {
    if (step_action) step_action->set_parent(this);
    for (const SeqContFunction& f : functions)
        f.check_sizes();
    take_grain();
}

void Curve::take_grain() {
    const CadDuration* given = get_grain(attributes);
    if (given && !given->is_statically_less_than_epsilon()) {
        grain = *given;
        grain.set_ambiant_action(this);
        return;
    }
    ::post("Warning: Curve %s: Sampling-rate is not specified, use 0.2 beat.", label.c_str());
    grain = CadDuration(0.2, DURATION_BEATS);
}

std::vector<Expression*> Curve::own_expressions() const {
    std::vector<Expression*> all = Bloc::own_expressions();
    for (const SeqContFunction& f : functions) {
        std::vector<Expression*> more = f.expressions();
        all.insert(all.end(), more.begin(), more.end());
    }
    return all;
}

void Curve::show_body(std::ostream& out) const {
    for (const SeqContFunction& f : functions)
        f.show(out);
}

int Curve::countActions() const {
    return Action::countActions();
}

void Curve::set_env(Environment* env, const std::list<std::string>& locals, int level) {
    Action::set_env(env, locals, level);
    grain.set_env(env, locals, level);
}

void Curve::compute_origin(const Origin& o) {
    Action::compute_origin(o);
    if (step_action) step_action->compute_origin({Origin::CURVE, this, o.score});
}

void Curve::compute_and_propage(const std::bitset<32>& context, Score* score) {
    Action::compute_and_propage(context, score);
}

// ---- DataCurve ----

DataCurve::DataCurve(BuildContext* ctx, const std::string& name, const CadDuration* d, AttributeList attl,
                     ReferenceList vars, ExpPtr src, ExpPtr end, TimedEnd timed_end, const yy::location* loc)
    : Curve(ctx, name, d, std::move(attl), {}, std::move(end), std::move(timed_end), loc)
    , variables(std::move(vars))
    , source(std::move(src)) {
    source->set_ambiant_action(this);
}

void DataCurve::show_body(std::ostream& out) const {
    show_indent(out);
    for (size_t i = 0; i < variables.size(); ++i)
        out << (i ? ", " : "") << *variables[i];
    out << " : " << *source << '\n';
}

std::vector<Expression*> DataCurve::own_expressions() const {
    std::vector<Expression*> all = Curve::own_expressions();
    append_views(all, variables);
    all.push_back(source.get());
    return all;
}
