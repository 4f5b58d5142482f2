#include "Tree/Event.hpp"

#include "Base/Console.hpp"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <sstream>

namespace {

std::string chord_text(const std::vector<float>& pitches) {
    std::ostringstream out;
    for (size_t i = 0; i < pitches.size(); ++i)
        out << (i ? " " : "") << pitches[i];
    return out.str();
}

// Semitone of a note letter with an accidental: -1 flat, 0 natural, 1 sharp.
int semitone_of(char letter, int accidental) {
    static const int naturals[] = {9, 11, 0, 2, 4, 5, 7}; // A B C D E F G
    return naturals[letter - 'A'] + accidental;
}

} // namespace

// ---- Pitch ----

std::unique_ptr<Pitch> Pitch::from_number(double value, const yy::location& loc) {
    auto p = std::make_unique<Pitch>();
    p->location = make_location(loc);
    p->value = static_cast<float>(value);
    p->tied = value < 0;
    if (std::fabs(value) < 128) {
        p->kind = MIDI;
        p->midicents = static_cast<int>(value * 100);
    } else {
        p->kind = MIDICENT;
        p->midicents = static_cast<int>(value);
    }
    return p;
}

std::unique_ptr<Pitch> Pitch::from_name(const std::string& name, bool tied, const yy::location& loc) {
    auto p = std::make_unique<Pitch>();
    p->location = make_location(loc);
    p->kind = SYMBOLIC;
    p->name = name;
    p->tied = tied;
    const double mc = symb_to_midicent(name);
    p->value = static_cast<float>(tied ? -mc : mc);
    p->midicents = static_cast<int>(p->value);
    return p;
}

void Pitch::show(std::ostream& out) const {
    if (kind == SYMBOLIC) {
        out << (tied ? "-" : "") << name;
        return;
    }
    out << value;
}

double symb_to_midicent(const std::string& name) {
    if (name.empty()) {
        error("error note %s", name.c_str());
        return -999;
    }
    const char letter = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
    if (letter < 'A' || letter > 'G') {
        error("error note %s", name.c_str());
        return -999;
    }
    size_t pos = 1;
    int accidental = 0;
    if (pos < name.size() && name[pos] == '#')
        accidental = 1, ++pos;
    else if (pos < name.size() && name[pos] == 'b')
        accidental = -1, ++pos;
    const int octave = std::atoi(name.c_str() + pos);
    if (octave < 0 || octave > 20) {
        error("octave error in note %s", name.c_str());
        return -999;
    }
    return 100.0 * ((octave + 1) * 12 + semitone_of(letter, accidental));
}

float wrap_phi(double x) {
    const double s = x <= 0 ? -1.0 : 1.0;
    const double a = std::fabs(2 * x);
    return static_cast<float>(s * (a - 2 * std::ceil((a - 1) / 2)) / 2);
}

// ---- Event ----

Event::Event(int obs_inlet, float variance, AttributeList attributes, std::unique_ptr<yy::location> location,
             float period, int direction, double beat_duration)
    : beat_duration_(beat_duration)
    , obs_inlet_(obs_inlet)
    , direction_(direction)
    , variance_(variance)
    , attributes_(std::move(attributes))
    , ScoreTempo_(period)
    , location_(std::move(location)) {}

Event::~Event() = default;

std::string Event::pitch_list_string() const {
    return chord_text(pitch_list());
}

std::string Event::toString() const {
    std::ostringstream out;
    show(out, true);
    return out.str();
}

void Event::show(std::ostream& out, bool with_position) const {
    if (with_position) out << '[' << index_ << "] beat " << beatcum_ << ": ";
    out << type_string();
    const std::string pitches = pitch_list_string();
    if (!pitches.empty()) out << ' ' << pitches;
    out << ' ' << beat_duration_;
    if (!cuename_.empty()) out << " \"" << cuename_ << '"';
}

void Event::reset(int obs_inlet, float variance) {
    beat_duration_ = beatcum_ = IOI_beat_duration_ = 0;
    IOI_phi_score_ = 0;
    obs_inlet_ = obs_inlet;
    variance_ = variance;
    action_ = nullptr;
}

// ---- BasicEvent, Silence ----

BasicEvent::BasicEvent(Keyword kw, std::vector<float> p, int obs_inlet, float variance,
                       AttributeList attributes, std::unique_ptr<yy::location> location, float period,
                       int direction, double beat_duration)
    : Event(obs_inlet, variance, std::move(attributes), std::move(location), period, direction, beat_duration)
    , keyword(kw)
    , pitches(std::move(p)) {}

std::string BasicEvent::type_string() const {
    switch (keyword) {
    case NOTE:
        return "NOTE";
    case CHORD:
        return "CHORD";
    case EVENT:
        return "EVENT";
    }
    return "EVENT";
}

Silence::Silence(int obs_inlet, float variance, AttributeList attributes,
                 std::unique_ptr<yy::location> location, float period, int direction, double beat_duration)
    : Event(obs_inlet, variance, std::move(attributes), std::move(location), period, direction,
            beat_duration) {}

// ---- TrillEvent ----

namespace {

// One sub-event per element of a trill or a multi-event, without attributes
// or location of its own.
std::unique_ptr<Event> make_sub_event(const std::vector<float>& pitches, int obs_inlet, float variance,
                                      float period, int direction, int type) {
    auto e =
        std::make_unique<BasicEvent>(pitches.size() == 1 ? BasicEvent::NOTE : BasicEvent::CHORD, pitches,
                                     obs_inlet, variance, AttributeList{}, nullptr, period, direction, 0);
    e->type(type);
    return e;
}

std::vector<float> flatten(const std::vector<std::vector<float>>& elements) {
    std::vector<float> all;
    for (const auto& e : elements)
        all.insert(all.end(), e.begin(), e.end());
    return all;
}

float first_of(const std::vector<std::vector<float>>& elements) {
    for (const auto& e : elements)
        if (!e.empty()) return e.front();
    return 0;
}

std::string elements_text(const std::vector<std::vector<float>>& elements, const std::vector<bool>* marks) {
    std::string text = "(";
    for (size_t i = 0; i < elements.size(); ++i) {
        if (i) text += ' ';
        const bool mark = marks && i < marks->size() && (*marks)[i];
        const bool bare = elements[i].size() == 1 && !mark;
        if (!bare) text += '(';
        text += chord_text(elements[i]);
        if (!bare) text += ')';
        if (mark) text += '\'';
    }
    return text + ")";
}

} // namespace

TrillEvent::TrillEvent(std::vector<std::vector<float>> e, int obs_inlet, float variance,
                       AttributeList attributes, std::unique_ptr<yy::location> location, float period,
                       int direction, double beat_duration, int sub_type)
    : Event(obs_inlet, variance, std::move(attributes), std::move(location), period, direction, beat_duration)
    , elements(std::move(e)) {
    for (const auto& element : elements)
        sub_events.push_back(make_sub_event(element, obs_inlet, variance, period, direction, sub_type));
}

std::vector<float> TrillEvent::pitch_list() const {
    return flatten(elements);
}
float TrillEvent::first_pitch() const {
    return first_of(elements);
}
std::string TrillEvent::pitch_list_string() const {
    return elements_text(elements, nullptr);
}

void TrillEvent::beatcum(double b) {
    Event::beatcum(b);
    for (const auto& e : sub_events)
        e->beatcum(b);
}
void TrillEvent::index(int i) {
    Event::index(i);
    for (const auto& e : sub_events)
        e->index(i);
}
void TrillEvent::notenum(int n) {
    Event::notenum(n);
    for (const auto& e : sub_events)
        e->notenum(n);
}

// ---- MultiEvent ----

MultiEvent::MultiEvent(std::vector<std::vector<float>> e, std::vector<bool> m, int obs_inlet, float variance,
                       AttributeList attributes, std::unique_ptr<yy::location> location, float period,
                       int direction, double beat_duration, int number)
    : Event(obs_inlet, variance, std::move(attributes), std::move(location), period, direction, beat_duration)
    , elements(std::move(e))
    , marks(std::move(m)) {
    type(4);
    Event::notenum(number);
    marks.resize(elements.size(), false);
    for (size_t i = 0; i < elements.size(); ++i) {
        std::unique_ptr<Event> sub;
        if (marks[i]) {
            std::vector<std::vector<float>> trill;
            for (float p : elements[i])
                trill.push_back({p});
            sub = std::make_unique<TrillEvent>(std::move(trill), obs_inlet, variance, AttributeList{},
                                               nullptr, period, direction, 0, 1);
            sub->type(2);
        } else {
            sub = make_sub_event(elements[i], obs_inlet, variance, period, direction, 0);
        }
        sub->notenum(number);
        sub_events.push_back(std::move(sub));
    }
}

std::vector<float> MultiEvent::pitch_list() const {
    return flatten(elements);
}
float MultiEvent::first_pitch() const {
    return first_of(elements);
}
std::string MultiEvent::pitch_list_string() const {
    return elements_text(elements, &marks);
}

void MultiEvent::beatcum(double b) {
    Event::beatcum(b);
    for (const auto& e : sub_events)
        e->beatcum(b);
}
void MultiEvent::index(int i) {
    Event::index(i);
    for (const auto& e : sub_events)
        e->index(i);
}
void MultiEvent::notenum(int n) {
    Event::notenum(n);
    for (const auto& e : sub_events)
        e->notenum(n);
}
void MultiEvent::fermata(bool f) {
    Event::fermata(f);
    for (const auto& e : sub_events)
        e->fermata(f);
}
void MultiEvent::direction(int d) {
    Event::direction(d);
    for (const auto& e : sub_events)
        e->direction(d);
}
