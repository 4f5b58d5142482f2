// Static dates of actions: an origin and the delays down to the action.
#include "Exp/Expression.hpp"
#include "Base/Console.hpp"
#include "Tree/Action.hpp"
#include "Tree/Duration.hpp"
#include "Tree/Event.hpp"

#include <cmath>

namespace {

bool follows_an_action(int kind) {
    return kind == Origin::ACTION || kind == Origin::FLAGGED_ACTION;
}

double origin_beat(const Origin& o) {
    if (o.kind == Origin::EVENT) return static_cast<const Event*>(o.pointer)->beatcum();
    return 0.0;
}

bool has_beat(const Origin& o) {
    return o.kind == Origin::EVENT || o.kind == Origin::SCORE_START;
}

// The sum of the constant delays of `delays` from `from`, when all are
// constant and of one unit (zeros aside).
bool static_sum(const std::vector<const CadDuration*>& delays, size_t from, double& sum, int& unit) {
    sum = 0;
    unit = -1;
    for (size_t i = from; i < delays.size(); ++i) {
        if (is_zero_delay(delays[i])) continue;
        double d;
        if (!delays[i]->eval_in_score(d)) return false;
        if (unit >= 0 && unit != delays[i]->unit) return false;
        unit = delays[i]->unit;
        sum += d;
    }
    return true;
}

Date::order_t order_of(double a, double b) {
    if (std::fabs(a - b) <= BEAT_EPSILON) return Date::EQUAL;
    return a < b ? Date::BEFORE : Date::AFTER;
}

} // namespace

int Origin::compare(const Origin& o) const {
    if (*this == o) return 1;
    if (has_beat(*this) && has_beat(o)) return order_of(origin_beat(*this), origin_beat(o));
    return 3;
}

Date::Date(const Action& action)
    : origin(action.origin) {
    delays.push_back(&action.delay);
    while (follows_an_action(origin.kind) && origin.pointer) {
        const auto* up = static_cast<const Action*>(origin.pointer);
        delays.insert(delays.begin(), &up->delay);
        origin = up->origin;
    }
}

void Date::resolve() {
    if (beat >= 0) return;
    if (follows_an_action(origin.kind)) {
        CAD_INTERNAL_ERROR("date of an action left unwalked");
        return;
    }
    if (!has_beat(origin)) return;
    double sum = origin_beat(origin);
    for (const CadDuration* d : delays) {
        if (d->unit != DURATION_BEATS || is_zero_delay(d)) continue;
        double value;
        if (!d->eval_in_score(value)) {
            error("Bad delay expression somewhere (not a number)");
            return;
        }
        if (value < 0) {
            error("Bad delay (negative) somewhere");
            return;
        }
        sum += value;
    }
    beat = sum;
}

bool Date::is_static() const {
    for (const CadDuration* d : delays)
        if (!d->is_constant()) return false;
    return true;
}

double Date::to_beat(bool force) {
    if (force) beat = -1.0;
    resolve();
    return beat;
}

Date::order_t Date::compare(order_t, int i, const Date& other, int j) const {
    double a, b;
    int unit_a, unit_b;
    if (!static_sum(delays, static_cast<size_t>(i), a, unit_a)) return NOT_COMPARABLE;
    if (!other.static_sum_from(j, b, unit_b)) return NOT_COMPARABLE;
    if (unit_a >= 0 && unit_b >= 0 && unit_a != unit_b) return NOT_COMPARABLE;
    return order_of(a, b);
}

bool Date::static_sum_from(int j, double& sum, int& unit) const {
    return static_sum(delays, static_cast<size_t>(j), sum, unit);
}

Date::order_t Date::compare_event(const Date& other) const {
    const int by_origin = origin.compare(other.origin);
    if (by_origin != EQUAL) return static_cast<order_t>(by_origin);
    return compare(EQUAL, 0, other, 0);
}

bool Date::before(const Date& other) const {
    return compare_event(other) == BEFORE;
}
bool Date::after(const Date& other) const {
    return compare_event(other) == AFTER;
}

bool Date::is_zero_from(int i) const {
    for (size_t k = static_cast<size_t>(i); k < delays.size(); ++k)
        if (!is_zero_delay(delays[k])) return false;
    return true;
}

Date& Date::operator+=(const CadDuration& d) {
    if (is_zero_delay(&d)) return *this;
    if (d.is_constant()) {
        double value;
        d.eval_in_score(value);
        if (std::isnan(value)) error("Bad duration %s", d.show().c_str());
    }
    delays.push_back(&d);
    beat = -1.0;
    return *this;
}

void Date::show(std::ostream& out) const {
    out << "date(";
    if (origin.kind == Origin::EVENT)
        out << "event " << static_cast<const Event*>(origin.pointer)->index();
    else
        out << "origin " << origin.kind;
    for (const CadDuration* d : delays)
        if (!is_zero_delay(d)) out << " + " << *d;
    out << ')';
}
