// The score printed back as score text. What the reader turned into state
// (tempo, variance, inlet, tempo following, dummy silences) is written again
// as the statements that set it, just before the first event that differs;
// numbers are written with the fewest digits that read back to the same
// value, so the text reads back to the same tree.
#include "Tree/Score.hpp"

#include "Base/ExactNumber.hpp"
#include "Exp/Expression.hpp"
#include "Tree/Action.hpp"
#include "Tree/ActionWalk.hpp"
#include "Tree/Event.hpp"

#include <cmath>
#include <ostream>

namespace {

// The state that statements between events set, as the reader keeps it.
struct ReadingState {
    float variance = 0.3f;
    int inlet = 0;
    int tempo_flag = 0;
    bool with_dummy = false;
};

// A string as the scanner reads it back.
void quoted(std::ostream& out, const std::string& text) {
    out << '"';
    for (const char c : text) {
        if (c == '"' || c == '\\') out << '\\';
        out << c;
    }
    out << '"';
}

void show_pitches(std::ostream& out, const std::vector<float>& pitches) {
    for (size_t i = 0; i < pitches.size(); ++i)
        out << (i ? " " : "") << exact_number(pitches[i]);
}

// An element of a trill or a multi-event: a lone pitch, or a chord in
// parentheses.
void show_element(std::ostream& out, const std::vector<float>& element) {
    if (element.size() == 1) {
        out << exact_number(element.front());
        return;
    }
    out << '(';
    show_pitches(out, element);
    out << ')';
}

void show_pitch_part(std::ostream& out, const Event& e) {
    if (const auto* basic = dynamic_cast<const BasicEvent*>(&e)) {
        if (basic->keyword == BasicEvent::NOTE) out << "NOTE " << exact_number(basic->pitches.front());
        if (basic->keyword == BasicEvent::EVENT) out << "EVENT";
        if (basic->keyword != BasicEvent::CHORD) return;
        out << "CHORD (";
        show_pitches(out, basic->pitches);
        out << ')';
        return;
    }
    if (const auto* trill = dynamic_cast<const TrillEvent*>(&e)) {
        out << "TRILL (";
        for (size_t i = 0; i < trill->elements.size(); ++i) {
            if (i) out << ' ';
            show_element(out, trill->elements[i]);
        }
        out << ')';
        return;
    }
    if (const auto* multi = dynamic_cast<const MultiEvent*>(&e)) {
        out << "MULTI (";
        for (size_t i = 0; i < multi->elements.size(); ++i) {
            if (i) out << ' ';
            // A marked element is a trill: it needs its parentheses.
            const bool marked = multi->marks[i];
            if (marked || multi->elements[i].size() > 1) {
                out << '(';
                show_pitches(out, multi->elements[i]);
                out << ')' << (marked ? "'" : "");
            } else {
                show_element(out, multi->elements[i]);
            }
        }
        out << ')';
        return;
    }
    out << "NOTE 0"; // a silence
}

// "@jump" with its labels (a constant tab) or its variable.
void show_jump(std::ostream& out, const JumpAttribute& jump) {
    out << " @jump ";
    if (!jump.jump) return;
    const ScoreEval known = jump.jump->eval_in_score();
    if (known.variability != VARIABILITY_STATIC || !known.value->is_tab()) {
        jump.jump->show(out, 0);
        return;
    }
    const char* separator = "";
    for (const Value& label : *value_cast<TabValue>(*known.value).val) {
        out << separator;
        quoted(out, label->is_string_or_symb() ? label->get_string() : show_text(label));
        separator = ", ";
    }
}

void show_event_attribute(std::ostream& out, const Attribute& a) {
    if (const auto* label = dynamic_cast<const LabelAttribute*>(&a)) {
        out << ' ';
        quoted(out, label->label);
    } else if (const auto* jump = dynamic_cast<const JumpAttribute*>(&a)) {
        show_jump(out, *jump);
    } else if (dynamic_cast<const HookAttribute*>(&a)) {
        out << " @hook";
    } else if (dynamic_cast<const PizzAttribute*>(&a)) {
        out << " @pizz";
    } else if (dynamic_cast<const StaccatoAttribute*>(&a)) {
        out << " @staccato";
    } else if (dynamic_cast<const FermataAttribute*>(&a)) {
        out << " @fermata";
    }
}

// The tempo that "BPM" must give for the reader to compute `period` again
// (it divides 60 by the tempo in single precision): the nearest float to
// 60 / period, or one of its neighbours.
std::string bpm_for_period(float period) {
    const float magnitude = std::fabs(period);
    float candidate = 60.0f / magnitude;
    for (int step = 0; step < 8 && 60.0f / candidate != magnitude; ++step)
        candidate = std::nextafter(candidate, 60.0f / candidate < magnitude ? 0.0f : 1e30f);
    return exact_number(candidate);
}

// Whether the event's dummy-silence flag tells the state it was read in: a
// fermata, "@pizz", "@staccato" or a grace duration decide it alone.
bool dummy_tells_state(const Event& e) {
    const AttributeList& attributes = e.get_attl();
    if (e.beat_duration() == 0 || e.fermata()) return false;
    return !get_pizz(attributes) && !get_staccato(attributes);
}

const std::string* inlet_name(const InletMap* inlets, int number) {
    if (!inlets) return nullptr;
    for (const auto& [name, n] : *inlets)
        if (n == number) return &name;
    return nullptr;
}

// The statements that bring the reading's state to what event `e` was read in.
void show_state_changes(std::ostream& out, const Event& e, const InletMap* inlets, ReadingState& state) {
    if (e.obs_inlet() != state.inlet) {
        if (const std::string* name = inlet_name(inlets, e.obs_inlet())) out << "inlet " << *name << '\n';
        state.inlet = e.obs_inlet();
    }
    if (e.variance() != state.variance) {
        out << "variance " << exact_number(e.variance()) << '\n';
        state.variance = e.variance();
    }
    if (!e.fermata() && e.direction() != state.tempo_flag) {
        out << "@tempo " << (e.direction() ? "on" : "off") << '\n';
        state.tempo_flag = e.direction();
    }
    if (dummy_tells_state(e) && e.withdummy() != state.with_dummy) {
        // "dummysilence off" is what asks for dummy silences.
        out << "dummysilence " << (e.withdummy() ? "off" : "on") << '\n';
        state.with_dummy = e.withdummy();
    }
    if (e.scoretempochange()) {
        out << "BPM " << bpm_for_period(e.ScoreTempo()) << (e.ScoreTempo() < 0 ? " @modulate" : "") << '\n';
    }
}

} // namespace

void Score::print_event(std::ostream& out, int i) const {
    if (i < 1 || i > CountEvents()) return;
    const Event& e = *events[static_cast<size_t>(i)];
    show_pitch_part(out, e);
    out << ' ' << exact_number(static_cast<float>(e.beat_duration()));
    for (const AttrPtr& a : e.get_attl())
        show_event_attribute(out, *a);
}

void Score::show(std::ostream& out) const {
    ShowAsScoreText as_text(out);
    out << "// SCORE: " << filename << ": " << CountEvents() << " events, " << CountActions() << " actions\n";
    if (no_rubato) out << "Rubato off\n";
    for (const auto& d : definitions)
        d->show(out);
    if (const Action* before = events.front()->action()) before->show(out);
    ReadingState state;
    for (int i = 1; i <= CountEvents(); ++i) {
        const Event& e = *events[static_cast<size_t>(i)];
        show_state_changes(out, e, inlets, state);
        print_event(out, i);
        out << '\n';
        if (const Action* a = e.action()) {
            ShowNesting nested(out);
            a->show(out);
        }
    }
}

// ---- outline and labels ----

namespace {

void outline_action(std::ostream& out, const Action& a, int depth) {
    if (!a.is_bloc() || a.hidden) {
        for (const ActionChild& child : children_of(a))
            outline_action(out, *child.action, depth);
        return;
    }
    out << std::string(static_cast<size_t>(4 * depth), ' ') << a.word() << ' ' << a.get_label();
    if (!is_zero_delay(&a.delay)) out << " after " << a.delay;
    out << " (" << a.countActions() << " actions)\n";
    for (const ActionChild& child : children_of(a))
        outline_action(out, *child.action, depth + 1);
}

} // namespace

void Score::print_score2(std::ostream& out) const {
    out << "Cadenzium 0.6+ Score Structure:\n";
    out << filename << ": " << CountEvents() << " events, " << CountActions() << " actions\n";
    float period = 0;
    for (size_t i = 0; i < events.size(); ++i) {
        const Event& e = *events[i];
        if (i > 0) {
            out << '[' << i << "] beat " << e.beatcum() << ": ";
            print_event(out, static_cast<int>(i));
            if (e.ScoreTempo() != period) out << "  (" << 60.0 / std::fabs(e.ScoreTempo()) << " bpm)";
            period = e.ScoreTempo();
            out << '\n';
        }
        if (const Action* a = e.action()) outline_action(out, *a, 1);
    }
}

void Score::print_labels(std::ostream& out) const {
    const char* frame = "/* ------------------------------------------------------------- */\n";
    out << frame << "Event labels:\n";
    for (const auto& [label, event] : label_to_event)
        out << "    " << label << "\tevent " << event->index() << ", beat " << event->beatcum() << '\n';
    out << "Action labels:\n";
    for (const auto& [label, action] : label_to_action) {
        if (!action || action->hidden || is_an_anonymous_name(label)) continue;
        out << "    " << label << '\t' << action->word();
        if (action->location) out << ", line " << action->location->begin.line;
        out << '\n';
    }
    out << frame;
}
