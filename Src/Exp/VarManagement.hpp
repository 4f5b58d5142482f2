// One variable of the language: not a cell but a stream. Every assignment is
// remembered with its dates (seconds and beats) in a ring of fixed size, and
// the observers (running compound actions) are told of each change.
#pragma once

#include "Exp/TempoVar.hpp"
#include "Exp/Values.hpp"

#include <iosfwd>
#include <memory>
#include <set>
#include <utility>
#include <vector>

class CadTimer;
class Environment;

using var_observer = std::pair<CadTimer*, VAR_CALLBACK>;

// Observers in order of kind, then of timer.
struct cllbck_compare {
    bool operator()(const var_observer& a, const var_observer& b) const {
        if (a.second != b.second) return a.second < b.second;
        return std::less<CadTimer*>()(a.first, b.first);
    }
};

class var_management {
public:
    var_management() = default;
    var_management(const var_management& other);
    var_management(var_management&&) noexcept = default;
    var_management& operator=(const var_management& other);
    var_management& operator=(var_management&&) noexcept = default;

    // The initial value goes in slot 0, without a date.
    void create(Environment* owner, std::size_t own_index, unique_identifier id, std::size_t history_size,
                const TaggedValue& initial);
    // Grows the ring to `history_size` slots, filled with `fill`; never shrinks.
    void increase(std::size_t history_size, const TaggedValue& fill);
    // Records an assignment. Allocates nothing for values without payload.
    void h_insert(const TaggedValue& v, double date, double rdate);

    // The value `i` assignments ago (0 is the newest).
    const Value& last(int i) const;
    const Value& newest() const { return values[slot(0)]; }
    // Ring position of the slot `past` assignments ago, for 0 <= past < size.
    std::size_t slot(int past) const;
    std::size_t size() const { return values.size(); }
    bool initialised() const { return last_event_index >= 0; }
    const std::string& name() const;

    void attach(CadTimer* timer, VAR_CALLBACK kind) { observers.emplace(timer, kind); }
    void detach(CadTimer* timer, VAR_CALLBACK kind) { observers.erase({timer, kind}); }
    // Tells the observers (only the TEMPO ones when `only_tempo`). An
    // observer detached by an earlier one during the same call is not told.
    void propagate(bool only_tempo);

    // The position of a tempo variable, extrapolated from its last update:
    // pinned at the next expected position (`rnow`) or not (`rcnow`).
    double rnow() const;
    double rcnow() const;
    Value get_param(PARAM p) const;
    void set_vm_param(PARAM p, const TaggedValue& v);

    void reset();
    void show(std::ostream& out) const;

    int hindex = 0; // the slot the next assignment writes
    std::vector<Value> values;
    std::vector<double> dates;  // seconds, -1.0 when unset
    std::vector<double> rdates; // beats, -1.0 when unset
    int last_event_index = -1;  // -1: never assigned
    std::set<var_observer, cllbck_compare> observers;
    unique_identifier uid = 0;
    std::size_t index = 0;
    Environment* env = nullptr;
    std::unique_ptr<TempoVar> tempo_var; // null for a plain variable

private:
    void fire(const var_observer& observer);
    double global_now() const;
    int current_event_index() const;
};

const char* var_callback_word(VAR_CALLBACK kind);
