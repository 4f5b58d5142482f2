// One entry of the followed line of a score: a note, a chord, a silence, a
// trill, a multi-event, or an event without pitch. The listening machine
// makes its states from events afterwards, and keeps them. An event owns
// its attributes, its place in the text and its sub-events; the score owns
// the events and their actions.
#pragma once

#include "Base/ASTNode.hpp"
#include "Base/Location.hpp"
#include "Tree/Attributes.hpp"

#include <memory>
#include <string>
#include <vector>

class Action;
class Event;
class Score;

using EventList = std::vector<std::unique_ptr<Event>>;

// A pitch as written: a MIDI number, a midicent value or a symbolic name.
// A negative value marks a tied pitch.
class Pitch : public ASTNode {
public:
    enum Kind { MIDI = 0, MIDICENT = 1, SYMBOLIC = 2 };

    // A number, possibly negated (tied): below 128 in absolute value it is a
    // MIDI number, otherwise midicents.
    static std::unique_ptr<Pitch> from_number(double value, const yy::location& loc);
    // A symbolic name such as "C#4" or "Bb3", tied when `tied`.
    static std::unique_ptr<Pitch> from_name(const std::string& name, bool tied, const yy::location& loc);

    void show(std::ostream& out) const override;

    int kind = MIDI;
    std::unique_ptr<yy::location> location;
    std::string name;
    bool tied = false;
    float value = 0;
    int midicents = 0;
};

using PitchPtr = std::unique_ptr<Pitch>;
using PitchList = std::vector<PitchPtr>;

// Reads "C4", "c#4", "Bb3": 100 x ((octave + 1) x 12 + semitone).
// A bad name reports, counts an error and gives -999.
double symb_to_midicent(const std::string& name);

// The signed fraction of x in (-0.5, 0.5].
float wrap_phi(double x);

class Event : public ASTNode {
public:
    Event(int obs_inlet, float variance, AttributeList attributes, std::unique_ptr<yy::location> location,
          float period, int direction, double beat_duration);
    ~Event() override;

    double beat_duration() const { return beat_duration_; }
    void beat_duration(double d) { beat_duration_ = d; }
    double IOI_beat_duration() const { return IOI_beat_duration_; }
    void IOI_beat_duration(double d) { IOI_beat_duration_ = d; }
    float IOI_phi_score() const { return IOI_phi_score_; }
    void IOI_phi_score(float p) { IOI_phi_score_ = p; }
    double beatcum() const { return beatcum_; }
    virtual void beatcum(double b) { beatcum_ = b; }
    int notenum() const { return notenum_; }
    virtual void notenum(int n) { notenum_ = n; }
    int obs_inlet() const { return obs_inlet_; }
    void obs_inlet(int i) { obs_inlet_ = i; }
    const std::string& cuename() const { return cuename_; }
    void cuename(const std::string& c) { cuename_ = c; }
    int type() const { return type_; }
    void type(int t) { type_ = t; }
    int ismarkov() const { return type_; }
    bool isHook() const { return isHook_; }
    void isHook(bool h) { isHook_ = h; }
    float ScoreTempo() const { return ScoreTempo_; }
    void ScoreTempo(float p) { ScoreTempo_ = p; }
    float variance() const { return variance_; }
    void variance(float v) { variance_ = v; }
    int index() const { return index_; }
    virtual void index(int i) { index_ = i; }
    bool scoretempochange() const { return scoretempochange_; }
    void scoretempochange(bool c) { scoretempochange_ = c; }
    bool fermata() const { return fermata_; }
    virtual void fermata(bool f) { fermata_ = f; }
    bool withdummy() const { return withdummy_; }
    void withdummy(bool w) { withdummy_ = w; }
    int direction() const { return direction_; }
    virtual void direction(int d) { direction_ = d; }

    // Midicent pitches, negative when tied; empty for silences and events.
    virtual std::vector<float> pitch_list() const = 0;
    // The first of them, 0 when there is none; copies nothing, for the
    // position change of a performance.
    virtual float first_pitch() const { return 0; }
    virtual const EventList* get_sub_events() const { return nullptr; }
    const AttributeList& get_attl() const { return attributes_; }
    const yy::location* location() const { return location_.get(); }

    virtual bool isEvent() const = 0;
    virtual bool isSilence() const = 0;
    // The score keyword of the event: NOTE, CHORD, TRILL, MULTI, EVENT.
    virtual std::string type_string() const = 0;
    virtual std::string pitch_list_string() const;
    // One line in score syntax, with beat position and label.
    std::string toString() const;

    void show(std::ostream& out) const override { show(out, false); }
    virtual void show(std::ostream& out, bool with_position) const;

    Action* action() const { return action_; }
    // Stores the top action of the event (which the score owns), overwriting
    // any previous one.
    void attach_action(Action* a) { action_ = a; }
    // The "@jump" targets (held by the attribute list), or null.
    const Expression* jump() const { return jump_; }
    void jump(const Expression* j) { jump_ = j; }

    // Forgets the label.
    void clear() { cuename_.clear(); }
    // Restores the timing fields; drops the action without deleting it.
    void reset(int obs_inlet, float variance);

private:
    double beat_duration_ = 0;
    double beatcum_ = 0;
    int obs_inlet_ = 0;
    int type_ = 1;
    double IOI_beat_duration_ = 0;
    float IOI_phi_score_ = 0;
    int notenum_ = 0;
    int direction_ = 0;
    float variance_ = 0;
    bool isHook_ = false;
    AttributeList attributes_;
    float ScoreTempo_ = 1.0f;
    bool scoretempochange_ = false;
    bool fermata_ = false;
    bool withdummy_ = false;
    const Expression* jump_ = nullptr; // held by the attributes
    std::string cuename_;
    Action* action_ = nullptr; // the score owns the actions
    int index_ = 0;
    std::unique_ptr<yy::location> location_;
};

// A note, a chord, or a pitchless event: one or more midicent pitches.
class BasicEvent : public Event {
public:
    enum Keyword { NOTE, CHORD, EVENT };
    BasicEvent(Keyword keyword, std::vector<float> pitches, int obs_inlet, float variance,
               AttributeList attributes, std::unique_ptr<yy::location> location, float period, int direction,
               double beat_duration);

    std::vector<float> pitch_list() const override { return pitches; }
    float first_pitch() const override { return pitches.empty() ? 0 : pitches.front(); }
    bool isEvent() const override { return true; }
    bool isSilence() const override { return false; }
    std::string type_string() const override;

    Keyword keyword;
    std::vector<float> pitches;
};

class Silence : public Event {
public:
    Silence(int obs_inlet, float variance, AttributeList attributes, std::unique_ptr<yy::location> location,
            float period, int direction, double beat_duration);

    std::vector<float> pitch_list() const override { return {}; }
    bool isEvent() const override { return false; }
    bool isSilence() const override { return true; }
    std::string type_string() const override { return "NOTE"; }
    std::string pitch_list_string() const override { return "0"; }
};

// A trill: elements (single pitches or chords) alternating freely. Its
// sub-events follow the parent's position, index and number.
class TrillEvent : public Event {
public:
    TrillEvent(std::vector<std::vector<float>> elements, int obs_inlet, float variance,
               AttributeList attributes, std::unique_ptr<yy::location> location, float period, int direction,
               double beat_duration, int sub_type = 1);

    std::vector<float> pitch_list() const override;
    float first_pitch() const override;
    const EventList* get_sub_events() const override { return &sub_events; }
    bool isEvent() const override { return true; }
    bool isSilence() const override { return false; }
    std::string type_string() const override { return "TRILL"; }
    std::string pitch_list_string() const override;

    void beatcum(double b) override;
    void index(int i) override;
    void notenum(int n) override;
    using Event::beatcum;
    using Event::index;
    using Event::notenum;

    std::vector<std::vector<float>> elements;
    EventList sub_events;
};

// A multi-event: a succession of chords or trills (elements marked with ')
// played freely within one duration, as in a glissando.
class MultiEvent : public Event {
public:
    MultiEvent(std::vector<std::vector<float>> elements, std::vector<bool> marks, int obs_inlet,
               float variance, AttributeList attributes, std::unique_ptr<yy::location> location, float period,
               int direction, double beat_duration, int notenum);

    std::vector<float> pitch_list() const override;
    float first_pitch() const override;
    const EventList* get_sub_events() const override { return &sub_events; }
    bool isEvent() const override { return true; }
    bool isSilence() const override { return false; }
    std::string type_string() const override { return "MULTI"; }
    std::string pitch_list_string() const override;

    void beatcum(double b) override;
    void index(int i) override;
    void notenum(int n) override;
    void fermata(bool f) override;
    void direction(int d) override;
    using Event::beatcum;
    using Event::direction;
    using Event::fermata;
    using Event::index;
    using Event::notenum;

    std::vector<std::vector<float>> elements;
    std::vector<bool> marks;
    EventList sub_events;
};
