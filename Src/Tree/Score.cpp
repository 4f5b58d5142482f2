#include "Tree/Score.hpp"

#include "Base/Console.hpp"
#include "Exp/Expression.hpp"
#include "Tree/Action.hpp"
#include "Tree/Event.hpp"
#include "Tree/Process.hpp"
#include "Tree/TreeExpressions.hpp"

#include <algorithm>
#include <cmath>

Score::Score(const std::string& file, EvalContext* eval, const InletMap* in, bool no_states, int verbosity)
    : filename(file)
    , without_states(no_states)
    , build{eval, this, verbosity}
    , inlets(in)
    , anchors(std::make_shared<AnchorTable>()) {
    events.reserve(500);
    jump_scratch.reserve(10);
    // events[0] stands for the place before the first event.
    events.push_back(std::make_unique<Silence>(0, variance, AttributeList{}, nullptr, 1.0f, 1, 0));
}

Score::~Score() = default;

const yy::location* Score::keep_location(const yy::location& loc) {
    locations.push_back(loc);
    return &locations.back();
}

// The top action of the current event; a later block replaces (and frees)
// an earlier one.
void Score::attach_top_action(std::unique_ptr<Action> action) {
    const int index = get_cur_index();
    events[static_cast<size_t>(index)]->attach_action(action.get());
    actions_by_event[index] = std::move(action);
}

// The actions of the events and of the processes' bodies.
int Score::CountActions() const {
    int n = 0;
    for (const auto& [index, action] : actions_by_event)
        n += action->countActions();
    for (const auto& d : definitions)
        if (const auto* proc = dynamic_cast<const UserProc*>(d.get()); proc && proc->body)
            n += proc->body->countActions();
    return n;
}

void Score::parsing_bpm(float bpm) {
    bpm_pending = true;
    const float p = 60.0f / bpm;
    if (!std::isfinite(p)) {
        error("Invalid BPM specification '%d'", static_cast<int>(bpm));
        return;
    }
    period = p;
}

void Score::parsing_inlet(const std::string& name) {
    if (!inlets) return;
    auto it = inlets->find(name);
    if (it == inlets->end()) return;
    current_inlet = current_obs_inlet = it->second;
}

// The pitches of the inlet that listens in midicents are converted; the
// "KL" entry, when present, decides alone.
bool Score::listening_inlet() const {
    if (!inlets) return false;
    auto kl = inlets->find("KL");
    if (kl != inlets->end()) return kl->second == current_inlet;
    auto midi = inlets->find("MIDI");
    return midi != inlets->end() && midi->second == current_inlet;
}

void Score::PitchConversion(float& p) const {
    const bool negative = p < 0;
    float a = std::fabs(p);
    if (listening_inlet()) {
        if (a < 128) a *= 100;
        if (a > 0) a += transpose;
    }
    p = negative ? -a : a;
}

void Score::PitchListConversion(std::vector<float>& pitches) const {
    for (float& p : pitches)
        PitchConversion(p);
}

std::vector<float> Score::pitch_values(const PitchList& pitches) const {
    std::vector<float> values;
    values.reserve(pitches.size());
    for (const PitchPtr& p : pitches)
        values.push_back(p->value);
    PitchListConversion(values);
    return values;
}

// ---- events ----

void Score::close_previous_ioi() {
    Event* last = events[static_cast<size_t>(last_note_index)].get();
    last->IOI_beat_duration(ioi_accumulator);
    last->IOI_phi_score(wrap_phi(ioi_accumulator));
}

// Steps shared by every builder once the event exists: label, tempo flag,
// position, registration, and the jump targets.
Event* Score::finish_event(std::unique_ptr<Event> owned, float duration, bool is_note) {
    Event* e = owned.get();
    const AttributeList& attributes = e->get_attl();
    if (get_fermata(attributes)) {
        e->direction(0);
        e->fermata(true);
        e->withdummy(true);
    }
    const std::string* label = get_label(attributes);
    e->beat_duration(duration);
    e->beatcum(beat_position);
    if (label && !label->empty()) e->cuename(*label);
    e->scoretempochange(bpm_pending);
    bpm_pending = false;
    if (label) register_label(*label, e->beatcum(), e);
    events.push_back(std::move(owned));
    e->index(get_cur_index());
    beat_position += duration;
    if (is_note) last_note_index = get_cur_index();
    Expression* jump = get_jump(attributes);
    Expression::finalize(jump, build.eval);
    e->jump(jump);
    return e;
}

// A note, a chord or a pitchless event: a grace event (duration <= 0) adds
// to the onset distance of the last note; a sounding one closes it.
Event* Score::add_basic(int keyword, std::vector<float> values, float duration, AttributeList attributes,
                        const yy::location& loc) {
    const bool is_note = duration > 0;
    if (is_note) ++note_count;
    if (is_note && last_note_index > 0) close_previous_ioi();
    auto e = std::make_unique<BasicEvent>(static_cast<BasicEvent::Keyword>(keyword), std::move(values),
                                          current_obs_inlet, variance, std::move(attributes),
                                          make_location(loc), period, tempo_flag, duration);
    if (is_note)
        ioi_accumulator = duration;
    else
        ioi_accumulator += duration;
    const AttributeList& attl = e->get_attl();
    e->notenum(note_count);
    e->type(is_note ? 0 : 1);
    e->isHook(get_hook(attl));
    e->withdummy((with_dummy || get_pizz(attl) || get_staccato(attl)) && duration != 0);
    return finish_event(std::move(e), duration, is_note);
}

Event* Score::parsing_note(PitchPtr pitch, float duration, AttributeList attributes,
                           const yy::location& loc) {
    float value = pitch ? pitch->value : 0;
    PitchConversion(value);
    if (value != 0) return add_basic(BasicEvent::NOTE, {value}, duration, std::move(attributes), loc);

    // A zero pitch is a silence: it counts into the onset distance.
    auto e = std::make_unique<Silence>(current_obs_inlet, variance, std::move(attributes), make_location(loc),
                                       period, tempo_flag, duration);
    ioi_accumulator += duration;
    const AttributeList& attl = e->get_attl();
    e->notenum(note_count);
    e->type(duration <= 0 ? 1 : 0);
    e->isHook(get_hook(attl));
    e->withdummy((with_dummy || get_pizz(attl) || get_staccato(attl)) && duration != 0);
    return finish_event(std::move(e), duration, false);
}

Event* Score::parsing_event(float duration, AttributeList attributes, const yy::location& loc) {
    return add_basic(BasicEvent::EVENT, {}, duration, std::move(attributes), loc);
}

Event* Score::parsing_chord(PitchList pitches, float duration, AttributeList attributes,
                            const yy::location& loc) {
    return add_basic(BasicEvent::CHORD, pitch_values(pitches), duration, std::move(attributes), loc);
}

Event* Score::parsing_trill(TrillList lists, float duration, AttributeList attributes,
                            const yy::location& loc) {
    if (lists.size() == 1)
        return parsing_chord(std::move(lists.front()), duration, std::move(attributes), loc);
    std::vector<std::vector<float>> elements;
    for (const PitchList& l : lists)
        elements.push_back(pitch_values(l));
    // A trill closes the previous onset distance whatever its duration.
    close_previous_ioi();
    auto e =
        std::make_unique<TrillEvent>(std::move(elements), current_obs_inlet, variance, std::move(attributes),
                                     make_location(loc), period, tempo_flag, duration);
    ++note_count;
    e->type(2);
    e->notenum(note_count);
    e->isHook(get_hook(e->get_attl()));
    e->withdummy(with_dummy && duration != 0);
    ioi_accumulator = duration;
    return finish_event(std::move(e), duration, true);
}

Event* Score::add_multi(std::vector<std::vector<float>> elements, std::vector<bool> marks, float duration,
                        AttributeList attributes, const yy::location& loc) {
    close_previous_ioi();
    const size_t count = elements.size();
    auto e = std::make_unique<MultiEvent>(std::move(elements), std::move(marks), current_obs_inlet, variance,
                                          std::move(attributes), make_location(loc), period, tempo_flag,
                                          duration, note_count);
    note_count += static_cast<int>(count);
    const AttributeList& attl = e->get_attl();
    e->isHook(get_hook(attl));
    e->withdummy((with_dummy || get_pizz(attl) || get_staccato(attl)) && duration != 0);
    ioi_accumulator = duration;
    return finish_event(std::move(e), duration, true);
}

Event* Score::parsing_multi(MultiList list, float duration, AttributeList attributes,
                            const yy::location& loc) {
    std::vector<std::vector<float>> elements;
    std::vector<bool> marks;
    for (const auto& [pitches, mark] : list) {
        elements.push_back(pitch_values(pitches));
        marks.push_back(mark);
    }
    return add_multi(std::move(elements), std::move(marks), duration, std::move(attributes), loc);
}

namespace {

std::vector<float> absolute_midicents(const PitchList& pitches) {
    std::vector<float> out;
    for (const PitchPtr& p : pitches)
        out.push_back(std::fabs(static_cast<float>(p->midicents)));
    return out;
}

} // namespace

// A glide from one chord to another: at most one step per 50 cents of the
// largest interval and one per 100 ms at the current period, each step a
// multiple of 25 cents.
Event* Score::parsing_multi_arrow(MultiElement from, MultiElement to, float duration,
                                  AttributeList attributes, const yy::location& loc) {
    std::vector<float> chord = absolute_midicents(from.first);
    const std::vector<float> target = absolute_midicents(to.first);
    const bool mark = from.second;
    const size_t pairs = std::min(chord.size(), target.size());
    std::vector<float> slope(pairs);
    float largest = 0;
    for (size_t i = 0; i < pairs; ++i) {
        slope[i] = target[i] - chord[i];
        if (std::fabs(slope[i]) > std::fabs(largest)) largest = slope[i];
    }
    const double by_interval = std::fabs(2.0 * largest / 100.0);
    const double by_time = std::ceil(std::fabs(period) * duration * 1000.0 / 100.0);
    const int steps = static_cast<int>(std::min(by_interval, by_time));

    std::vector<std::vector<float>> elements{chord};
    for (float& s : slope) {
        if (steps > 0) s /= static_cast<float>(steps);
        if (std::fmod(s, 25.0f) != 0) s = std::roundf(s / 25) * 25;
    }
    for (int step = 1; step < steps; ++step) {
        for (size_t i = 0; i < pairs; ++i)
            chord[i] += slope[i];
        elements.push_back(chord);
    }
    for (auto& element : elements)
        PitchListConversion(element);
    std::vector<bool> marks(elements.size(), mark);
    return add_multi(std::move(elements), std::move(marks), duration, std::move(attributes), loc);
}

// ---- labels ----

void Score::register_label(const std::string& name, double beat, Event* event) {
    if (name.empty()) return;
    auto old = label_to_event.find(name);
    if (old != label_to_event.end() && build.verbosity)
        post("Warning: redefining label %s at event beat %f (%s) previously defined at beat %f (%s)",
             name.c_str(), beat,
             event && event->location() ? location_string(*event->location()).c_str() : "",
             old->second->beatcum(),
             old->second->location() ? location_string(*old->second->location()).c_str() : "");
    label_to_beat[name] = beat;
    beat_to_label[beat] = name;
    label_to_event[name] = event;
}

void Score::register_label(const std::string& name, Action* action, const yy::location* loc) {
    if (name.empty()) return;
    auto old = label_to_action.find(name);
    if (old != label_to_action.end() && build.verbosity) {
        const yy::location* before = old->second ? old->second->location.get() : nullptr;
        post("Warning: redefining label  %s  at location %s previously defined at %s)", name.c_str(),
             loc ? location_string(*loc).c_str() : "", before ? location_string(*before).c_str() : "");
    }
    label_to_action[name] = action;
}

// ---- end of reading ----

void Score::finalizeIOI() {
    Event* last = events[static_cast<size_t>(last_note_index)].get();
    last->IOI_beat_duration(ioi_accumulator);
    last->IOI_phi_score(wrap_phi(ioi_accumulator));
}

void Score::finalize_events() {
    float prev = 0;
    for (size_t i = 0; i < events.size(); ++i) {
        Event* e = events[i].get();
        e->index(static_cast<int>(i));
        const float p = e->ScoreTempo();
        if (p != 0 && p != prev) {
            tempo_changes.emplace_back(e->beatcum(), 60.0f / p);
            prev = p;
        }
    }
}

// ---- navigation ----

bool Score::isEvent(int i) const {
    return i >= 0 && i < static_cast<int>(events.size()) && events[static_cast<size_t>(i)]->isEvent();
}

bool Score::isSilence(int i) const {
    return i >= 0 && i < static_cast<int>(events.size()) && events[static_cast<size_t>(i)]->isSilence();
}

int Score::nextEvent(int i) const {
    for (int j = std::max(i + 1, 0); j < static_cast<int>(events.size()); ++j)
        if (isEvent(j)) return j;
    return 0;
}

int Score::nextEvent_with_silence(int i) const {
    for (int j = std::max(i + 1, 0); j < static_cast<int>(events.size()); ++j) {
        const Event* e = events[static_cast<size_t>(j)].get();
        if (e->isEvent() || (e->isSilence() && e->beat_duration() > 0)) return j;
    }
    return 0;
}

int Score::previousEvent(int i) const {
    for (int j = std::min(i, static_cast<int>(events.size())) - 1; j > 0; --j)
        if (isEvent(j)) return j;
    return 0;
}

int Score::previous_non_grace_Event(int i) const {
    for (int j = std::min(i, static_cast<int>(events.size())) - 1; j > 0; --j)
        if (isEvent(j) && events[static_cast<size_t>(j)]->beat_duration() > 0) return j;
    return 0;
}

int Score::previous_non_grace_Event_with_silence(int i) const {
    for (int j = std::min(i, static_cast<int>(events.size())) - 1; j > 0; --j)
        if (events[static_cast<size_t>(j)]->beat_duration() > 0) return j;
    return 0;
}

Event* Score::prev_relevant_evt(int i) const {
    for (int j = std::min(i, static_cast<int>(events.size())) - 1; j > 0; --j) {
        Event* e = events[static_cast<size_t>(j)].get();
        if (e->beat_duration() > 0 && (e->isEvent() || e->scoretempochange())) return e;
    }
    return events[0].get();
}

int Score::FirstEvent() const {
    return nextEvent(0);
}

int Score::LastEvent() const {
    for (int j = static_cast<int>(events.size()) - 1; j > 0; --j)
        if (isEvent(j)) return j;
    return 0;
}

float Score::GetTempoChange(int from, int to) const {
    to = std::min(to, get_cur_index());
    for (int j = to; j > from && j > 0; --j)
        if (events[static_cast<size_t>(j)]->scoretempochange())
            return events[static_cast<size_t>(j)]->ScoreTempo();
    return 0;
}

float Score::initial_tempo() const {
    const int first = events.size() > 1 ? 1 : 0;
    return std::fabs(events[static_cast<size_t>(first)]->ScoreTempo());
}

void Score::search_event(double beat, double* rest, int* index) const {
    int start = std::clamp(*index, 0, get_cur_index());
    if (beat < events[static_cast<size_t>(start)]->beatcum()) start = 0;
    for (int j = start; j < static_cast<int>(events.size()); ++j) {
        const Event* e = events[static_cast<size_t>(j)].get();
        if (!e->isEvent()) continue;
        if (e->beatcum() - 0.0001 > beat) break;
        *rest = beat - e->beatcum();
        *index = j;
        if (std::fabs(beat - e->beatcum()) < 0.0001) break;
    }
    if (*index == 0) *index = 1;
}

int Score::labelPosition(const std::string& label) const {
    for (const auto& e : events)
        if (e->cuename() == label) return e->index();
    return -1;
}

double Score::get_label_rdate(const std::string& label) const {
    auto it = label_to_beat.find(label);
    if (it != label_to_beat.end()) return it->second;
    error("Unknow anchor %s", label.c_str());
    return 0;
}

// ---- jumps ----

int Score::scalar_value_as_jump(const Value& v) const {
    if (v->is_tab()) return -1;
    if (v->is_undef()) return -2; // a variable not set yet: no target
    if (v->is_string_or_symb()) {
        auto it = label_to_event.find(v->get_string());
        return it == label_to_event.end() ? -2 : it->second->index();
    }
    if (v->is_int()) {
        const long target = v->get_int();
        return target > 0 && target <= get_cur_index() ? static_cast<int>(target) : -2;
    }
    error("Dynamic @JUMP: expression has type %s", v->kind_name());
    return -3;
}

// A constant target is read statically, anything else in the current state
// of the variables.
const std::vector<int>& Score::find_jump(int i) {
    jump_scratch.clear();
    if (i < 0 || i > get_cur_index()) return jump_scratch;
    const Expression* jump = events[static_cast<size_t>(i)]->jump();
    if (!jump) return jump_scratch;
    ScoreEval known = jump->eval_in_score();
    const Value targets = known.variability == VARIABILITY_STATIC ? known.value : jump->eval();
    const int single = scalar_value_as_jump(targets);
    if (single > 0) jump_scratch.push_back(single);
    if (single == -1) {
        for (const Value& element : *value_cast<TabValue>(*targets).val) {
            const int target = scalar_value_as_jump(element);
            if (target > 0) jump_scratch.push_back(target);
        }
    }
    jump_table[i] = jump_scratch;
    return jump_scratch;
}

// ---- printing (the score text is in ScoreText.cpp) ----

void Score::show_actions(std::ostream& out) const {
    for (const auto& d : definitions)
        d->show(out);
    for (const auto& [index, action] : actions_by_event) {
        const Event* e = events[static_cast<size_t>(index)].get();
        out << "// event " << index;
        if (!e->cuename().empty()) out << ' ' << e->cuename();
        out << " (beat " << e->beatcum() << ")\n";
        action->show(out);
    }
}
