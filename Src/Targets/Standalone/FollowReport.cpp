#include "FollowReport.hpp"

#include "Base/Console.hpp"
#include "Exp/ValueKinds.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "Tree/Event.hpp"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdio>

namespace {

// A value of the language in JSON: numbers, booleans, texts, tabs as
// arrays; any other kind as its printed form.
nlohmann::ordered_json to_json(const TaggedValue& v) {
    if (v.is_int()) return v.get_int();
    if (v.is_double()) return v.get_double();
    if (v.is_bool()) return v.get_bool();
    if (v.is_string_or_symb()) return v.get_string();
    if (v.is_tab()) {
        nlohmann::ordered_json array = nlohmann::ordered_json::array();
        for (const Value& element : *static_cast<const TabValue&>(v).val)
            array.push_back(to_json(element));
        return array;
    }
    return show_text(v);
}

// Arguments as the score would write them: texts in quotes.
std::string show_args(const std::vector<Value>& values) {
    std::string text;
    for (const Value& v : values) {
        text += ' ';
        text += v->is_string() ? '"' + v->get_string() + '"' : show_text(v);
    }
    return text;
}

// Dates to the microsecond: enough for any clock here, and readable.
double trace_time(double t) {
    return std::round(t * 1e6) / 1e6;
}

// One JSON line. Bytes that are not UTF-8 (a label, a message argument) are
// written as U+FFFD: writing never throws.
std::string json_line(const nlohmann::ordered_json& j) {
    return j.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

constexpr int kBarWidth = 40;

} // namespace

void FollowReport::say(const std::string& line) {
    const bool bar = progress_on && last_percent >= 0;
    if (bar) std::fprintf(stderr, "\r%*s\r", kBarWidth + 8, "");
    *human << line << '\n';
    human->flush();
    if (bar) draw_progress();
}

void FollowReport::trace_line(const std::string& json) {
    if (trace_failed) return;
    *trace << json << '\n';
    check_trace();
}

void FollowReport::check_trace() {
    if (trace_failed || *trace) return;
    trace_failed = true;
    error("cadenzium: cannot write the trace%s%s: the rest of the trace is lost",
          trace_name.empty() ? "" : " to ", trace_name.c_str());
}

bool FollowReport::finish_trace() {
    std::lock_guard lock(lines);
    if (!trace) return true;
    trace->flush();
    check_trace();
    return !trace_failed;
}

void FollowReport::position(const PositionReport& r) {
    const double beat = r.event ? r.event->beatcum() : 0.0;
    static const std::string no_label;
    const std::string& label = r.event ? r.event->cuename() : no_label;
    std::lock_guard lock(lines);
    if (human) {
        char head[256];
        std::snprintf(head, sizeof head, "%10.3fs  event %-5d beat %-9.3f tempo %6.1f", r.time, r.index, beat,
                      r.tempo);
        say(label.empty() ? std::string(head) : std::string(head) + "  \"" + label + '"');
    }
    if (trace) {
        nlohmann::ordered_json j = {{"t", trace_time(r.time)}, {"type", "position"},
                                    {"index", r.index},        {"beat", beat},
                                    {"tempo", r.tempo},        {"label", label}};
        trace_line(json_line(j));
    }
}

void FollowReport::message(const ::message& m) {
    std::lock_guard lock(lines);
    if (human) {
        char head[64];
        std::snprintf(head, sizeof head, "%10.3fs    -> ", m.date);
        say(head + m.receiver + show_args(m.values));
    }
    if (trace) {
        nlohmann::ordered_json args = nlohmann::ordered_json::array();
        for (const Value& v : m.values)
            args.push_back(to_json(v));
        nlohmann::ordered_json j = {
            {"t", trace_time(m.date)}, {"type", "message"}, {"receiver", m.receiver}, {"args", args}};
        trace_line(json_line(j));
    }
}

void FollowReport::command(double time, const std::string& name, const std::vector<Value>& args) {
    std::lock_guard lock(lines);
    if (human) {
        char head[64];
        std::snprintf(head, sizeof head, "%10.3fs  command ", time);
        say(head + name + show_args(args));
    }
    if (trace) {
        nlohmann::ordered_json array = nlohmann::ordered_json::array();
        for (const Value& v : args)
            array.push_back(to_json(v));
        nlohmann::ordered_json j = {
            {"t", trace_time(time)}, {"type", "command"}, {"name", name}, {"args", array}};
        trace_line(json_line(j));
    }
}

void FollowReport::progress(double done, double total) {
    if (!progress_on || total <= 0) return;
    const int percent = static_cast<int>(std::floor(100.0 * std::min(1.0, done / total)));
    std::lock_guard lock(lines);
    if (percent == last_percent) return;
    last_percent = percent;
    draw_progress();
}

void FollowReport::draw_progress() {
    const int filled = last_percent * kBarWidth / 100;
    std::fprintf(stderr, "\r[%.*s%*s] %3d%%", filled,
                 "========================================", kBarWidth - filled, "", last_percent);
    std::fflush(stderr);
}

void FollowReport::end_progress() {
    if (progress_on && last_percent >= 0) std::fprintf(stderr, "\n");
    last_percent = -1;
}
