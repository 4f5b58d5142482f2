#include "FollowReport.hpp"

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

} // namespace

void FollowReport::position(const PositionReport& r) {
    const double beat = r.event ? r.event->beatcum() : 0.0;
    static const std::string no_label;
    const std::string& label = r.event ? r.event->cuename() : no_label;
    std::lock_guard lock(lines);
    if (human) {
        char line[256];
        std::snprintf(line, sizeof line, "%10.3fs  event %-5d beat %-9.3f tempo %6.1f", r.time, r.index, beat,
                      r.tempo);
        *human << line;
        if (!label.empty()) *human << "  \"" << label << '"';
        *human << '\n';
    }
    if (trace) {
        nlohmann::ordered_json j = {{"t", trace_time(r.time)}, {"type", "position"},
                                    {"index", r.index},        {"beat", beat},
                                    {"tempo", r.tempo},        {"label", label}};
        *trace << j.dump() << '\n';
    }
}

void FollowReport::message(const ::message& m) {
    std::lock_guard lock(lines);
    if (human) {
        char head[64];
        std::snprintf(head, sizeof head, "%10.3fs    -> ", m.date);
        *human << head << m.receiver << show_args(m.values) << '\n';
    }
    if (trace) {
        nlohmann::ordered_json args = nlohmann::ordered_json::array();
        for (const Value& v : m.values)
            args.push_back(to_json(v));
        nlohmann::ordered_json j = {
            {"t", trace_time(m.date)}, {"type", "message"}, {"receiver", m.receiver}, {"args", args}};
        *trace << j.dump() << '\n';
    }
}

void FollowReport::progress(double done, double total) {
    if (!progress_on || total <= 0) return;
    const int percent = static_cast<int>(std::floor(100.0 * std::min(1.0, done / total)));
    if (percent == last_percent) return;
    last_percent = percent;
    const int width = 40;
    const int filled = percent * width / 100;
    std::fprintf(stderr, "\r[%.*s%*s] %3d%%", filled,
                 "========================================", width - filled, "", percent);
    std::fflush(stderr);
}

void FollowReport::end_progress() {
    if (progress_on && last_percent >= 0) std::fprintf(stderr, "\n");
    last_percent = -1;
}
