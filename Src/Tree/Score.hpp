// The parsed score: the followed events in order, the actions attached to
// them, the labels, and the tempo and jump information that listening and
// the runtime need. The reader fills it through the parsing_* builders. The
// score owns its events and their top actions; the label maps are views.
#pragma once

#include "Base/ASTNode.hpp"
#include "Base/Location.hpp"
#include "Tree/Attributes.hpp"
#include "Tree/BuildContext.hpp"
#include "Tree/Event.hpp"

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class Value;
class Action;
struct AnchorTable;

// The engine's inlets by kind ("MIDI", "KL"...) and number.
using InletMap = std::map<std::string, int>;

// The pitches of events as written: a chord's, a trill's elements, the
// elements of a multi-event with their trill mark.
using MultiElement = std::pair<PitchList, bool>;
using MultiList = std::vector<MultiElement>;
using TrillList = std::vector<PitchList>;

class Score : public ASTNode {
public:
    // A score whose expressions will run in `eval`, read for an engine
    // listening on `inlets` (either may be null). `without_states`: the
    // listening machine builds no states for it.
    Score(const std::string& filename, EvalContext* eval, const InletMap* inlets, bool without_states,
          int verbosity = 0);
    ~Score() override;
    Score(const Score&) = delete;
    Score& operator=(const Score&) = delete;

    // ---- builders called by the grammar ----
    void parsing_bpm(float bpm);
    void parsing_variance(float v) { variance = v; }
    void parsing_tempo(int flag) { tempo_flag = flag; }
    void parsing_dummysilence(int on) { with_dummy = on == 0 ? 1 : 0; }
    void parsing_rubato(int on) { no_rubato = on == 0; }
    void parsing_inlet(const std::string& name);
    void set_transpose(float midicents) { transpose = midicents; }
    // "NAPro_trace host port": where the editor wants the positions traced.
    void parsing_trace(const std::string& host, int port) {
        trace_host = host;
        trace_port = port;
    }

    // Each takes the pitches and the attributes, and gives the event added.
    Event* parsing_note(PitchPtr pitch, float duration, AttributeList attributes, const yy::location& loc);
    Event* parsing_event(float duration, AttributeList attributes, const yy::location& loc);
    Event* parsing_chord(PitchList pitches, float duration, AttributeList attributes,
                         const yy::location& loc);
    Event* parsing_trill(TrillList lists, float duration, AttributeList attributes, const yy::location& loc);
    Event* parsing_multi(MultiList elements, float duration, AttributeList attributes,
                         const yy::location& loc);
    Event* parsing_multi_arrow(MultiElement from, MultiElement to, float duration, AttributeList attributes,
                               const yy::location& loc);

    void PitchConversion(float& p) const;
    void PitchListConversion(std::vector<float>& pitches) const;

    void register_label(const std::string& name, double beat, Event* event);
    void register_label(const std::string& name, Action* action, const yy::location* loc = nullptr);

    // Closes the onset distance of the last note at the end of reading.
    void finalizeIOI();
    // Numbers the events and records the tempo map (after a successful parse).
    void finalize_events();

    // ---- navigation ----
    int get_cur_index() const { return static_cast<int>(events.size()) - 1; }
    int nextEvent(int i) const;
    int nextEvent_with_silence(int i) const;
    int previousEvent(int i) const;
    int previous_non_grace_Event(int i) const;
    int previous_non_grace_Event_with_silence(int i) const;
    Event* prev_relevant_evt(int i) const;
    bool isEvent(int i) const;
    bool isSilence(int i) const;
    int FirstEvent() const;
    int LastEvent() const;
    float GetTempoChange(int from, int to) const;
    // The tempo (BPM) of the first event.
    float initial_tempo() const;
    void search_event(double beat, double* rest, int* index) const;
    int labelPosition(const std::string& label) const;
    double get_label_rdate(const std::string& label) const;

    // ---- jumps ----
    // Fills and returns the jump targets of event i (empty when none).
    const std::vector<int>& find_jump(int i);
    // The event a jump value names (a label or an event number), -1 for a
    // tab (each element is then converted), below -1 when it names none.
    int scalar_value_as_jump(const Value& v) const;

    // ---- actions ----
    // Makes `action` the top action of the current event (replacing, and
    // freeing, an earlier one).
    void attach_top_action(std::unique_ptr<Action> action);
    // The count of actions that the score writes.
    int CountActions() const;
    int CountEvents() const { return static_cast<int>(events.size()) - 1; }

    // A place in the text that lives as long as the score, for the
    // expressions read from it.
    const yy::location* keep_location(const yy::location& loc);

    // The whole score as text that reads back to the same tree: a comment
    // line "// SCORE:", the statements that set the reading's state (tempo,
    // variance, inlet...) where it changes, each event and its actions.
    void show(std::ostream& out) const override;
    // Event i as the line of score text that writes it.
    void print_event(std::ostream& out, int i) const;
    // The outline of the score: events, their labels and tempo, and the
    // nesting of the compound actions under each.
    void print_score2(std::ostream& out) const;
    // The labels of events and of actions, where they are.
    void print_labels(std::ostream& out) const;
    // Prints the action tree of each event that has one.
    void show_actions(std::ostream& out) const;

    // ---- state (names as the reader and listening use them) ----
    float period = 1.0f;
    float variance = 0.3f;
    float transpose = 0;
    double beat_position = 0;
    int current_obs_inlet = 0;
    int note_count = 0;
    int tempo_flag = 0;
    int last_note_index = 0;
    int with_dummy = 0;
    bool no_rubato = false;
    float ioi_accumulator = 0;
    std::string filename;
    std::string trace_host; // empty: no trace asked
    int trace_port = 0;
    bool without_states = false;
    bool preloaded = false;
    std::map<int, std::vector<int>> jump_table;
    std::map<int, std::unique_ptr<Action>> actions_by_event;
    int cur_position = -1;
    std::map<double, std::string> beat_to_label;
    std::map<std::string, double> label_to_beat;
    std::map<std::string, Event*> label_to_event;   // views into `events`
    std::map<std::string, Action*> label_to_action; // views into the actions' trees
    std::vector<std::pair<double, float>> tempo_changes;
    EventList events;
    int current_inlet = 0;
    // What the nodes read into this score are built with.
    BuildContext build;
    const InletMap* inlets = nullptr;
    // The anchors ("label.align") read into this score, resolved at the end
    // of the reading.
    std::shared_ptr<AnchorTable> anchors;
    bool bpm_pending = false;
    std::vector<int> jump_scratch;
    std::deque<yy::location> locations;
    // The definitions read into this score (processes, tracks, patterns),
    // in the order written; they live as long as the score.
    std::vector<std::unique_ptr<ASTNode>> definitions;

private:
    // Common tail of every event builder: flags, label, push, IOI bookkeeping.
    void close_previous_ioi();
    // Reads the event's attributes, then adds it.
    Event* finish_event(std::unique_ptr<Event> e, float duration, bool is_note);
    bool listening_inlet() const;
    std::vector<float> pitch_values(const PitchList& pitches) const;
    Event* add_basic(int keyword, std::vector<float> values, float duration, AttributeList attributes,
                     const yy::location& loc);
    Event* add_multi(std::vector<std::vector<float>> elements, std::vector<bool> marks, float duration,
                     AttributeList attributes, const yy::location& loc);
};
