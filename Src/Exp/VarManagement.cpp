#include "Exp/VarManagement.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Reference.hpp"
#include "Base/Console.hpp"

#include <algorithm>
#include <ostream>

namespace {

const char* param_word(PARAM p) {
    switch (p) {
    case PARAM_TEMPO:
        return "tempo";
    case PARAM_PERIOD:
        return "period";
    case PARAM_POSITION:
        return "position";
    case PARAM_RNOW:
        return "rnow";
    case PARAM_RCNOW:
        return "rcnow";
    }
    return "<unknown parameter>";
}

} // namespace

const char* var_callback_word(VAR_CALLBACK kind) {
    switch (kind) {
    case CLBK:
        return "CLBK";
    case UPDATE_POS:
        return "UPDATE_POS";
    case TEMPO:
        return "TEMPO";
    }
    return "<unknown callback>";
}

var_management::var_management(const var_management& o)
    : hindex(o.hindex)
    , values(o.values)
    , dates(o.dates)
    , rdates(o.rdates)
    , last_event_index(o.last_event_index)
    , observers(o.observers)
    , uid(o.uid)
    , index(o.index)
    , env(o.env)
    , tempo_var(o.tempo_var ? std::make_unique<TempoVar>(*o.tempo_var) : nullptr) {}

var_management& var_management::operator=(const var_management& o) {
    if (this != &o) {
        var_management copy(o);
        *this = std::move(copy);
    }
    return *this;
}

void var_management::create(Environment* owner, std::size_t own_index, unique_identifier id,
                            std::size_t history_size, const TaggedValue& initial) {
    const std::size_t n = std::max<std::size_t>(history_size, 1);
    env = owner;
    index = own_index;
    uid = id;
    values.assign(n, undef_value());
    dates.assign(n, -1.0);
    rdates.assign(n, -1.0);
    hindex = static_cast<int>(1 % n);
    values[0] = initial;
    last_event_index = initial.is_undef() ? -1 : current_event_index();
    observers.clear();
    tempo_var.reset();
}

void var_management::increase(std::size_t history_size, const TaggedValue& fill) {
    if (history_size <= values.size()) return;
    values.resize(history_size, Value(fill));
    dates.resize(history_size, -1.0);
    rdates.resize(history_size, -1.0);
}

void var_management::h_insert(const TaggedValue& v, double date, double rdate) {
    const auto at = static_cast<std::size_t>(hindex);
    values[at] = v;
    dates[at] = date;
    rdates[at] = rdate;
    last_event_index = current_event_index();
    hindex = static_cast<int>((at + 1) % values.size());
    if (tempo_var) tempo_var->feed(date);
}

std::size_t var_management::slot(int past) const {
    const auto n = static_cast<long>(values.size());
    return static_cast<std::size_t>(((hindex - 1 - past) % n + n) % n);
}

const Value& var_management::last(int i) const {
    if (i < 0 || static_cast<std::size_t>(i) >= values.size()) {
        error("Can not access the history of variable %s at past date %d", name().c_str(), i);
        return undef_value();
    }
    return values[slot(i)];
}

const std::string& var_management::name() const {
    return Reference::uid2string(uid);
}

void var_management::attach(VarObserver* observer, VAR_CALLBACK kind, std::uint64_t order) {
    const var_observer o{observer, kind, order};
    if (!is_attached(o)) observers.push_back(o);
}

void var_management::detach(VarObserver* observer, VAR_CALLBACK kind) {
    const var_observer o{observer, kind, 0};
    std::erase_if(observers, [&](const var_observer& x) { return x.same(o); });
}

bool var_management::is_attached(const var_observer& o) const {
    return std::any_of(observers.begin(), observers.end(), [&](const var_observer& x) { return x.same(o); });
}

// The observers are copied before any is called (on the stack when there
// are few): a notification may attach or detach others.
void var_management::propagate(bool only_tempo) {
    constexpr std::size_t on_stack = 32;
    var_observer stack_copy[on_stack];
    std::vector<var_observer> heap_copy;
    var_observer* snapshot = stack_copy;
    if (observers.size() > on_stack) {
        heap_copy.resize(observers.size());
        snapshot = heap_copy.data();
    }
    std::size_t n = 0;
    for (const var_observer& o : observers) {
        if (only_tempo && o.kind != TEMPO) continue;
        if (!o.observer->observing())
            error("### Propagation will fail for exe: %p", static_cast<const void*>(o.observer));
        snapshot[n++] = o;
    }
    for (std::size_t i = 0; i < n; ++i)
        if (is_attached(snapshot[i])) fire(snapshot[i]);
}

void var_management::fire(const var_observer& o) {
    const bool has_position = tempo_var && tempo_var->position >= 0;
    const int event_index = has_position ? static_cast<int>(tempo_var->position) : current_event_index();
    o.observer->var_changed(o.kind, event_index, *this);
}

double var_management::rcnow() const {
    if (!tempo_var || tempo_var->position < 0) return 0.0;
    const double updated = dates[slot(0)];
    if (updated < 0) return tempo_var->position;
    return tempo_var->tempo() * (global_now() - updated) / 60.0 + tempo_var->position;
}

double var_management::rnow() const {
    if (!tempo_var || tempo_var->position < 0) return 0.0;
    return std::min(rcnow(), tempo_var->position + tempo_var->score_step);
}

Value var_management::get_param(PARAM p) const {
    if (!tempo_var) return undef_value();
    switch (p) {
    case PARAM_TEMPO:
        return float_value(tempo_var->tempo());
    case PARAM_PERIOD:
        return float_value(tempo_var->period);
    case PARAM_POSITION:
        return float_value(tempo_var->position);
    case PARAM_RNOW:
        return float_value(rnow());
    case PARAM_RCNOW:
        return float_value(rcnow());
    }
    return undef_value();
}

void var_management::set_vm_param(PARAM p, const TaggedValue& v) {
    if (!tempo_var)
        tempo_var = std::make_unique<TempoVar>(env && env->ctx ? env->ctx->make_tempo_oscillator() : nullptr);
    switch (p) {
    case PARAM_TEMPO:
        tempo_var->set_tempo(v.get_double());
        return;
    case PARAM_POSITION:
        tempo_var->position = v.get_double();
        propagate(true);
        return;
    case PARAM_PERIOD:
        tempo_var->period = v.get_double();
        return;
    default:
        error("Cannot set %s in tempovar", param_word(p));
    }
}

void var_management::reset() {
    hindex = 0;
    last_event_index = -1;
    observers.clear();
    std::fill(values.begin(), values.end(), undef_value());
    std::fill(dates.begin(), dates.end(), 0.0);
    std::fill(rdates.begin(), rdates.end(), 0.0);
    if (tempo_var) tempo_var->init();
}

void var_management::show(std::ostream& out) const {
    out << "var:" << name() << " vals=[";
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i) out << ", ";
        values[i]->show(out);
    }
    out << "] next=" << hindex << " observers=[";
    const char* separator = "";
    for (const var_observer& o : observers) {
        out << separator << static_cast<const void*>(o.observer) << " " << var_callback_word(o.kind);
        separator = ", ";
    }
    out << "]";
}

double var_management::global_now() const {
    return env ? env->get_global_now() : 0.0;
}

int var_management::current_event_index() const {
    return env ? env->get_global_index_event() : -1;
}
