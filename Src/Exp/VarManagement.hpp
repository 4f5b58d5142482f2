// One variable of the language: not a cell but a stream. Every assignment is
// remembered with its dates (seconds and beats) in a ring of fixed size, and
// the observers (running compound actions) are told of each change.
#pragma once

#include "Exp/TempoVar.hpp"
#include "Exp/Values.hpp"

#include <iosfwd>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

class Environment;
class var_management;

// What waits on variables (a running compound action of the runtime): told
// of an assignment (CLBK), of a move of a tempo variable's position
// (UPDATE_POS), of a change of the tempo it counts with (TEMPO).
class VarObserver {
public:
    virtual void var_changed(VAR_CALLBACK kind, int event_index, var_management& var) = 0;
    // False once the observer has ended: telling it then is a fault.
    virtual bool observing() const = 0;

protected:
    ~VarObserver() = default;
};

// One observer of a variable. `order` numbers the attachments of an
// environment, so reactions run in the order they were attached, the same
// on every run and every machine.
struct var_observer {
    VarObserver* observer = nullptr;
    VAR_CALLBACK kind = CLBK;
    std::uint64_t order = 0;

    bool same(const var_observer& o) const { return observer == o.observer && kind == o.kind; }
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

    // Attaching twice keeps the first place; `order` comes from the
    // environment's count of attachments.
    void attach(VarObserver* observer, VAR_CALLBACK kind, std::uint64_t order);
    void detach(VarObserver* observer, VAR_CALLBACK kind);
    bool is_attached(const var_observer& o) const;
    // Tells the observers, in attachment order (only the TEMPO ones when
    // `only_tempo`). An observer detached by an earlier one during the same
    // call is not told.
    void propagate(bool only_tempo);
    // Tells one observer, with the event index this variable dates from.
    void fire(const var_observer& observer);

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
    std::vector<var_observer> observers; // in attachment order
    unique_identifier uid = 0;
    std::size_t index = 0;
    Environment* env = nullptr;
    std::unique_ptr<TempoVar> tempo_var; // null for a plain variable

private:
    double global_now() const;
    int current_event_index() const;
};

const char* var_callback_word(VAR_CALLBACK kind);
