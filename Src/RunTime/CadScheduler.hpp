// The scheduler: wakes timers at their dates. It keeps three delta lists,
// one per way of counting a delay, and one clock per list armed for the head
// only. A change of the followed tempo re-arms the head of the relative list
// and touches nothing behind it: that list counts beats.
#pragma once

#include "Base/Console.hpp"
#include "Exp/ExpTypes.hpp" // SEC_EPSILON, BEAT_EPSILON: a delay below them counts as zero
#include "RunTime/CadClock.hpp"
#include "RunTime/CadTimer.hpp"

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>

// What the scheduler reads from and asks of the runtime it serves.
class SchedulerEnv {
public:
    virtual ~SchedulerEnv() = default;
    // The source of time of the scheduler's clocks.
    virtual TimeBase& time() = 0;
    // The logical now of the instant, in seconds.
    virtual double now() const = 0;
    // Seconds by which that now lies behind the clocks' present: a clock
    // armed in the instant waits that much less.
    virtual double clock_lag() const { return 0.0; }
    // The followed tempo in BPM; 0 when undefined.
    virtual double last_tempo() const = 0;
    // Where the console lines of a clock's instant go (null: unchanged).
    virtual const ConsoleSink* console_sink() const { return nullptr; }
    // A clock wake-up is one logical instant: the first call takes the
    // environment lock and opens the instant, the second closes it, releases
    // the lock and delivers the queued messages.
    virtual void begin_clock_instant() = 0;
    virtual void end_clock_instant() = 0;
};

class t_scheduler {
public:
    // `pool` list nodes are made in advance; more are made only when more
    // timers wait at once than ever before.
    explicit t_scheduler(SchedulerEnv& env, std::size_t pool = 1024);
    ~t_scheduler();
    t_scheduler(const t_scheduler&) = delete;
    t_scheduler& operator=(const t_scheduler&) = delete;

    // The tempo (seconds per beat) and the reference dates start over now.
    void reset_data(double spb);
    // Empties the three lists and disarms their clocks (engine reset).
    void reset();

    // Wakes `t` after `seconds`, `beats` of the followed tempo, or seconds of
    // the timer's own tempo. A delay below the epsilon wakes it at once,
    // inside the call.
    void insertAbsoluteTimer(CadTimer* t, double seconds);
    void insertRelativeTimer(CadTimer* t, double beats);
    void insertLocalTempoTimer(CadTimer* t, double seconds);
    // Removes `t` from the list `type`. Returns 1.
    int Reset(CadTimer* t, sched_type type);
    // The local tempo of `t` has changed: moves it in the local list.
    void reschedule(CadTimer* t, sched_type type);

    // The followed tempo has changed (within an instant).
    void UpdateTempo();
    // The position waits at the next event: the local and absolute lists
    // follow, the relative list stays frozen.
    void UpdateConservativeTempo();
    // The position moved: the timers of the local list whose tempo depends
    // on it (targets, tempos read at events) are re-armed.
    void UpdateLocalTempo();

    // Clock entries: each wake-up is one logical instant.
    static void callback_abs2(void* s);
    static void callback_rel2(void* s);
    static void callback_loc2(void* s);
    // Wake the due timers of a list and arm its clock for the next head.
    void callback_abs();
    void callback_rel();
    void callback_loc();

    // A dump of the three lists.
    std::string show() const;

    // The environment's logical now.
    double env_now() const { return env.now(); }
    double get_seconds_per_beat() const { return seconds_per_beat; }
    bool is_armed(sched_type type) const;
    std::size_t pending(sched_type type) const;
    // Nodes made so far, waiting or free.
    std::size_t pool_size() const { return nodes_made; }

private:
    struct Node {
        CadTimer* timer = nullptr;
        double delta = 0.0;
    };
    using NodeList = std::list<Node>;
    using Lock = std::unique_lock<std::recursive_mutex>;
    struct Lane;

    Lane lane(sched_type type);
    Lane lane(sched_type type) const;

    double span_of(Lane l, double seconds) const;
    double seconds_of(Lane l, double delta) const;
    void arm(Lane l, double delta);
    void disarm(Lane l);
    void age_head(Lane l, double at);

    NodeList::iterator take_node(NodeList& list, NodeList::iterator before);
    void release(NodeList& list, NodeList::iterator it);
    void release_all(NodeList& list);
    NodeList::iterator find(Lane l, const CadTimer* t);
    void unlink(Lane l, NodeList::iterator it);
    bool link_node(Lane l, CadTimer* t, double d);

    void insert(Lane l, CadTimer* t, double d);
    bool fired_early(Lane l) const;
    void walk(Lane l);
    void reset_head(Lane l, Lock& lock);

    void catch_up(CadTimer& t) const;
    double local_delay_now(CadTimer& t) const;
    void update_local_list(Lock& lock);
    bool update_relative_list(double spb, Lock& rel_lock, Lock& abs_lock);
    void update_absolute_dates();

    SchedulerEnv& env;

public:
    std::recursive_mutex rel_mutex, abs_mutex, loc_mutex;
    std::uint8_t rel_armed = 0, abs_armed = 0, loc_armed = 0;
    NodeList rel_list, abs_list, loc_list;
    // Declared after the lists so that they are destroyed before them: a
    // clock's destruction waits for a callback of its own that is running.
    CadClock abs_clock, rel_clock, loc_clock;
    // Time of the last operation, from the environment.
    double now = 0.0;
    // Reference date (seconds) of each list's first delta.
    double abs_ref = 0.0, rel_ref = 0.0, loc_ref = 0.0;
    double seconds_per_beat = 1.0;

private:
    // Free nodes, moved to and from the lists without allocation.
    mutable std::mutex pool_mutex;
    NodeList free_nodes;
    std::size_t nodes_made = 0;
};
