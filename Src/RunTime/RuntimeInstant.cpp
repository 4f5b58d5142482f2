// The logical instant: time stands still inside it, every variable gets one
// date, and messages wait in a queue until the environment lock is
// released. The outermost holder of the lock then takes the queue, releases
// the lock and hands the messages to the host in order: the host is never
// called with the lock held.
#include "RunTime/Environment_RunTime.hpp"

#include "Base/Console.hpp"
#include "RunTime/CadScheduler.hpp"
#include "RunTime/HostPort.hpp"
#include "RunTime/TimeBase.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <limits>

namespace {

// An instant with up to this many messages delivers them from the stack.
constexpr std::size_t batch_on_stack = 256;
constexpr std::size_t positions_on_stack = 8;

// The tempo printed when the tempo is undefined.
constexpr double bad_tempo = -6.66;

struct Positions {
    double rnow;
    double rcnow;
    bool reached = false; // rnow stops at the next event's beat
};

double tempo_or_bad(const GlobalEnvironment& env) {
    const Value& t = env.unsafe_get_var(env.rt_tempo_index);
    return t->is_undef() ? bad_tempo : t->get_double();
}

void deliver_one(HostPort& port, const message& m) {
    if (m.values.empty()) {
        error("WARNING: Empty message... !");
        return;
    }
    try {
        port.send_message(m);
    } catch (const std::exception& e) {
        error("%s - message to '%s' failed: %s", port.name(), m.receiver.c_str(), e.what());
    } catch (...) {
        error("%s - message to '%s' failed", port.name(), m.receiver.c_str());
    }
}

} // namespace

void Runtime::lock() {
    env_mutex.lock();
    ++lock_depth;
}

void Runtime::unlock() {
    --lock_depth;
    env_mutex.unlock();
}

double Runtime::last_tempo() const {
    const Value& tempo = env.unsafe_get_var(env.rt_tempo_index);
    return tempo->is_undef() ? 0.0 : tempo->get_double();
}

void Runtime::begin_clock_instant() {
    lock();
    start_logical_instant(-1);
}

void Runtime::end_clock_instant() {
    end_logical_instant();
    send_messages(true);
}

// Back to the top of the score: the instant restarts at date 0 before the
// first event, with no event heard yet.
void Runtime::reset() {
    EnvironmentLock guard(*this);
    dates.now = dates.rnow = dates.rcnow = 0.0;
    current_event = score && !score->events.empty() ? score->events[0].get() : nullptr;
    inner_event = previous_event = last_action_event = nullptr;
    previous_index = dates.index = dates.next_index = last_position_given = 0;
    last_rnow_sent = -1.0;
    positions_to_report.clear();
    env.set_var(env.now_index, float_value(0.0));
    env.set_var(env.rnow_index, float_value(0.0));
    env.set_var(env.rcnow_index, float_value(0.0));
    env.set_var(env.beat_pos_index, float_value(0.0));
    start_logical_instant(-1);
    end_logical_instant();
}

namespace {

// The new positions of an instant at `time`. An instant of the score's
// position jumps to the event's beat; any other extrapolates at the tempo,
// with rnow pinned at the next event.
Positions advance(const InstantDates& d, const GlobalEnvironment& env, const Score* score, const Event* inner,
                  int pos, double time) {
    Positions p{d.rnow, d.rcnow};
    const Value& tempo = env.vars[env.rt_tempo_index].newest();
    const bool tempo_defined = !tempo->is_undef();
    const double beats = tempo_defined ? tempo->get_double() * (time - d.now) / 60.0 : 0.0;
    if (pos >= 0) {
        const Event* e = score->events[static_cast<std::size_t>(pos)].get();
        const double b = (inner ? inner : e)->beatcum();
        p.rnow = b;
        if (pos == 0 || !e->isSilence())
            p.rcnow = b;
        else if (tempo_defined)
            p.rcnow = d.rcnow + beats;
        return p;
    }
    if (!tempo_defined) return p;
    if (d.next_index == 0 || !score || d.next_index > score->get_cur_index()) {
        p.rnow = p.rcnow = d.rnow + beats;
        return p;
    }
    const double next_beat = score->events[static_cast<std::size_t>(d.next_index)]->beatcum();
    p.rnow = std::min(d.rnow + beats, next_beat);
    p.rcnow = d.rcnow + beats;
    p.reached = p.rnow == next_beat;
    return p;
}

// Events from `index` to the next one that has actions, -1 when none has.
int actions_ahead(const Score& score, int index) {
    const int last = score.get_cur_index();
    for (int i = std::max(index, 0); i <= last; ++i)
        if (score.events[static_cast<std::size_t>(i)]->action()) return i - index;
    return -1;
}

} // namespace

void Runtime::start_logical_instant(int pos) {
    start_logical_instant(pos, std::numeric_limits<double>::infinity());
}

void Runtime::start_logical_instant(int pos, double date) {
    const double clock = timebase.GetTime();
    // Nested instants keep the outer one's date; an outer one may be dated
    // back to an onset.
    const double wanted = logical_nesting > 0 ? clock - instant_lag : std::min(date, clock);
    const double time = std::max(dates.now, wanted);
    if (logical_nesting == 0) instant_lag = std::max(0.0, clock - time);
    ++logical_nesting;
    const double utime = GetCurrentUnixTimeMs();
    const bool debug = verbosity_level > 2;
    if (debug) {
        std::fprintf(
            stderr,
            "DEBUG: START logical instant [%d]: lnow=%ld utime=%.3f pos=%d time=%.6f current: now=%.6f "
            "rnow=%.6f rcnow=%.6f tempo=%.3f\n",
            logical_nesting, dates.count, utime, pos, time, dates.now, dates.rnow, dates.rcnow,
            tempo_or_bad(env));
        if (pos >= 0 && pos <= last_position_given)
            std::fprintf(stderr, "DEBUG: position %d at or before the last given %d\n", pos,
                         last_position_given);
    }
    if (pos >= 0 && (!score || pos > score->get_cur_index())) {
        CAD_INTERNAL_ERROR(str_printf("instant at position %d out of the score", pos));
        pos = -1;
    }
    if (pos >= 0) {
        previous_index = dates.index;
        dates.index = pos;
        dates.next_index = score->nextEvent(pos);
    }
    const Positions p = advance(dates, env, score, inner_event, pos, time);
    ++dates.count;
    if (time - dates.now > SEC_EPSILON) {
        stats.update_inter(utime - last_utime);
        last_utime = utime;
        dates.now = time;
        env.vars[env.now_index].h_insert(float_value(time), time, p.rnow);
    } else if (debug) {
        std::fprintf(stderr, "DEBUG: ## time increment < SEC_EPSILON: %g\n", time - dates.now);
    }
    if (pos >= 0 || p.rnow - dates.rnow > BEAT_EPSILON) {
        dates.rnow = p.rnow;
        last_position_given = pos;
        env.set_var(env.rnow_index, float_value(dates.rnow));
        // The report of rnow to the editor goes at most every half second.
        if (last_rnow_sent == -1.0 || time - last_rnow_sent > 0.5) last_rnow_sent = time;
    } else if (debug) {
        std::fprintf(stderr, "DEBUG: ## relative time increment < BEAT_EPSILON: %g\n", p.rnow - dates.rnow);
    }
    if (std::fabs(p.rcnow - dates.rcnow) > 0.0001) {
        dates.rcnow = p.rcnow;
        env.set_var(env.rcnow_index, float_value(dates.rcnow));
    }
    if (p.reached) scheduler.UpdateConservativeTempo();
    if (debug)
        std::fprintf(stderr, "       SET: utime=%.3f now=%.6f rnow=%.6f rcnow=%.6f\n", utime, dates.now,
                     dates.rnow, dates.rcnow);
}

void Runtime::end_logical_instant() {
    const double utime = GetCurrentUnixTimeMs();
    if (verbosity_level > 2)
        std::fprintf(stderr,
                     "DEBUG: END logical instant [%d] utime=%.3f now=%.6f rnow=%.6f rcnow=%.6f tempo=%.3f\n",
                     logical_nesting, utime, dates.now, dates.rnow, dates.rcnow, tempo_or_bad(env));
    if (logical_nesting <= 0) {
        CAD_INTERNAL_ERROR("an instant closed that was not open");
        logical_nesting = 0;
        return;
    }
    if (--logical_nesting == 0) {
        instant_lag = 0.0;
        stats.update_duration_and_messages(utime - last_utime, static_cast<int>(pending.size()));
    }
}

void Runtime::queue_message(message* m) {
    m->date = dates.now;
    pending.push_back(m);
}

void Runtime::clear_messages() {
    for (message* m : pending)
        recycle(m);
    pending.clear();
}

message* Runtime::new_message() {
    {
        std::lock_guard lock(spare_mutex);
        if (!spare.empty()) {
            message* m = spare.back();
            spare.pop_back();
            return m;
        }
    }
    return new message;
}

// A message keeps the room of its receiver and values for its next use.
void Runtime::recycle(message* m) {
    m->values.clear();
    m->source = nullptr;
    m->command = false;
    std::lock_guard lock(spare_mutex);
    if (spare.size() < spare.capacity()) {
        spare.push_back(m);
        return;
    }
    delete m;
}

void Runtime::send_messages(bool release) {
    // Without the lock in hand: take it if nobody holds it, else leave the
    // queue to its holder.
    if (!release) {
        if (!env_mutex.try_lock()) return;
        ++lock_depth;
    }
    if (lock_depth >= 2) {
        unlock(); // a nested holder: the outermost one delivers
        return;
    }
    message* stack_batch[batch_on_stack];
    std::vector<message*> heap_batch;
    message** batch = stack_batch;
    const std::size_t n = pending.size();
    if (n > batch_on_stack) {
        heap_batch.assign(pending.begin(), pending.end());
        batch = heap_batch.data();
    } else {
        std::copy(pending.begin(), pending.end(), stack_batch);
    }
    pending.clear();
    QueuedPosition stack_positions[positions_on_stack];
    std::vector<QueuedPosition> heap_positions;
    const std::size_t np = positions_to_report.size();
    QueuedPosition* positions = np > positions_on_stack ? nullptr : stack_positions;
    take_positions(positions, heap_positions);
    unlock();

    std::size_t reported = 0;
    const auto report_due = [&](std::size_t message_index) {
        std::size_t due = reported;
        while (due < np && positions[due].first_message <= message_index)
            ++due;
        report_positions(positions + reported, due - reported);
        reported = due;
    };
    for (std::size_t i = 0; i < n; ++i) {
        report_due(i);
        if (switches.silent) {
            // dropped, commands too: a silent run only sets the stage
        } else if (batch[i]->command) {
            if (commands) commands->run_score_command(*batch[i]);
        } else {
            deliver_one(port, *batch[i]);
        }
        recycle(batch[i]);
    }
    report_due(n);
}

// Moves the queued positions out, into `out` when given, else into `heap`,
// each with how far the next actions are.
void Runtime::take_positions(QueuedPosition*& out, std::vector<QueuedPosition>& heap) {
    if (!out) {
        heap.assign(positions_to_report.begin(), positions_to_report.end());
        out = heap.data();
    } else {
        std::copy(positions_to_report.begin(), positions_to_report.end(), out);
    }
    const std::size_t n = positions_to_report.size();
    positions_to_report.clear();
    for (std::size_t k = 0; k < n; ++k)
        if (score && out[k].index >= 0 && out[k].index <= score->get_cur_index())
            out[k].details.actions_ahead = actions_ahead(*score, out[k].index);
}

// Positions whose index is still in the score: a new score may have come
// between the instant and its delivery.
void Runtime::report_positions(const QueuedPosition* queued, std::size_t count) {
    for (std::size_t k = 0; k < count; ++k) {
        const QueuedPosition& q = queued[k];
        if (!score || q.index < 0 || q.index > score->get_cur_index()) continue;
        port.report_details(q.index, q.details);
        port.report_position(q.index, score->events[static_cast<std::size_t>(q.index)].get(), q.time,
                             q.tempo_bpm);
    }
}
