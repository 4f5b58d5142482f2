// The engine: owns the current score, the listening machine, the tempo
// tracker, the reactive runtime and the engine's time, and offers its host
// one flat set of operations. The host plugs in through a `HostPort` given
// at construction; it does not derive from the engine.
//
// The one path of a note: the host hands a frame or a MIDI note to the
// engine; the listening machine runs a decoding step and gives back a
// `Decision`; the engine accepts or refuses it, runs the tempo tracker
// (the one holder of the followed tempo), and has the runtime open the
// instant of the position with those facts; the instant fires the actions
// and queues their messages, which leave through the port, the lock
// released. Nothing flows back up.
#pragma once

#include "Listening/CadAlign.hpp"
#include "Listening/Tempo.hpp"
#include "Listening/TempoTracking.hpp"
#include "Parser/Macro.hpp"
#include "RunTime/CommandTable.hpp"
#include "RunTime/Runtime.hpp"
#include "RunTime/TimeBase.hpp"
#include "Tree/Score.hpp"

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class Event;
class EventPlayer;
class HostPort;
class Score;

// How a command given by name went.
enum class CommandStatus { Done, Unknown, BadArguments };
struct CommandResult {
    CommandStatus status = CommandStatus::Done;
    ArgumentProblem problem = ArgumentProblem::None;
};

class cadenzium_core : private ScoreCommands {
public:
    // The port outlives the engine.
    explicit cadenzium_core(HostPort& port);
    ~cadenzium_core() override;
    cadenzium_core(const cadenzium_core&) = delete;
    cadenzium_core& operator=(const cadenzium_core&) = delete;

    // ---- lifecycle ----
    void cadenzium_init();
    void cadenzium_init_preloaded();
    // Starts following the current score (or the preloaded one named) at
    // its top.
    void cadenzium_start(const std::string& name = "");
    void cadenzium_stop();
    void Killall();

    // ---- loading ----
    // Reads a score file; on failure the engine is left without a score.
    bool ScoreParsing(const std::string& path);
    // Evaluates text as score code in the running system.
    bool StringParsing(const std::string& text);
    bool preloadScore(const std::string& path, const std::string& name);
    void clearScore();
    void playstring(const std::string& text);
    void playstring_append(const std::string& text) { playstring_buffer += text; }

    // ---- frames and observations ----
    void cadenzium_next_frame(const float* block);
    void cadenzium_next_frame_double(const double* block);
    // One observation of n values (pitch and velocity of a MIDI note), or a
    // plain decoding step when n is 0. A note runs its own decoding step
    // unless the host steps the machine once per hop.
    void cadenzium_doit(int n, const float* values);
    // The host runs a plain decoding step every analysis hop (as the
    // standalone program does): notes only feed the observation, and the
    // machine's frames are evenly spaced in time.
    void midi_steps_by_hop(bool on) { hop_clocked_midi = on; }
    // A MIDI controller change (CC 64, the sustain pedal, is heard).
    void cadenzium_midi_control(int number, int value);
    void cadenzium_analysisParameters(int window, int hop);
    void cadenzium_init_dsp();
    // Samples of the frames so far that were not finite numbers (read as
    // silence); the frame path reports nothing itself.
    std::size_t bad_samples() const { return non_finite_samples.load(std::memory_order_relaxed); }

    // ---- settings of the audio observation ----
    void cadenzium_variance(double v);
    void gamma_set(double g);
    void tuning_set(double hz);
    void nofharm_set(int n);
    void harmlist_set(const std::vector<double>& list);
    void KLexp_set(double e);
    // Piano spectra as templates; forces a window of 4096 samples.
    void PianoMode(int on);

    // ---- pedal model and calibration (audio) ----
    // The pedal model on (non-zero) or off; a change posts.
    void pedal_set(int on);
    void pedalcoeff_set(double c);
    // Milliseconds the pedal's history covers, above 1.0; taken at the next
    // analysis settings.
    void pedaltime_set(double ms);
    // Calibration on or off, with an optional MIDI reference pitch (taken
    // when `count` is above 1). Only for audio input.
    void calibrate_set(int count, int on, int pitch);
    void calibrate_set_internal(int on);
    bool is_calibrating() const { return calibrating != 0; }
    // One frame of calibration, reported to the host.
    void cadenzium_doit_calibration();

    // ---- inlets ----
    // Listen to inlet `number` as `kind` ("MIDI" pitches in midicents, "KL"
    // audio spectra). Set them before reading a score: the score converts
    // its pitches for the inlet that listens.
    void set_inlet(const std::string& kind, int number) { inlet_map[kind] = number; }
    void erase_inlet(const std::string& kind) { inlet_map.erase(kind); }
    const InletMap& inlets() const { return inlet_map; }

    // ---- position ----
    // Follows a decision of `machine` (the engine's own, or one driven by
    // hand): a quiet frame publishes its energy, an onset is accepted or
    // refused, and the machine is told where the position stands.
    void follow(CadAlign& machine, const Decision& decision);
    // Accepts the decoder's decision that the musician is at event `pos`
    // (or refuses it, when the score does not allow that move): the tempo
    // tracker hears the onset and the runtime opens the position's instant.
    void updatePosition(int pos);
    // Indexes of the current event, of the one before it, and of the last
    // event whose actions were launched.
    int Position() const;
    int lastPosition() const;
    int lastAction() const;

    // ---- transport: the position moved by command ----
    // The beat of the event labelled `label`, -1.0 (reported) when none.
    double cadenzium_label_to_pos(const std::string& label);
    // Places the position just before the first event at or after `beat`
    // (or the event labelled `label`), its actions not fired: the follower
    // waits for that event.
    void cadenzium_gotobeat(double beat);
    void cadenzium_gotolabel(const std::string& label);
    // One event on or back, its actions fired.
    void cadenzium_nextEvent();
    void cadenzium_previousEvent();
    // Runs the score from its start up to `beat` in virtual time, every
    // action included (its messages dropped when `silent`), and waits just
    // before the event there. Returns that event's index, or -1.
    int cadenzium_fastforward(double beat, bool silent);
    void cadenzium_startfrombeat(double beat);
    void cadenzium_startfromlabel(const std::string& label);
    // The same run with the messages sent on the way, at full speed.
    void cadenzium_scrubtobeat(double beat);
    void cadenzium_scrubtolabel(const std::string& label);
    // Waits before the next label after the last event fired, nothing
    // fired on the way.
    void cadenzium_nextlabel();
    // Stands on the event before the next label, its actions fired.
    void cadenzium_beforenextlabel();
    // The next label heard now, its actions fired, the tempo taking the
    // written change met on the way.
    void next_label_with_tempo_update();
    // Back to the last label before the current event, which fires again
    // when it is reached.
    void cadenzium_previouslabel();
    // Waits before the next event that has actions.
    void cadenzium_nextFWD();
    // The event labelled `cue` heard now: its actions fire, skipped events
    // are missed, and running timers go on.
    void cadenzium_DynamicJumpToCue(const std::string& cue);
    // The transport under the names of its commands.
    void cadenzium_gotocue(const std::string& label) { cadenzium_startfromlabel(label); }
    void cadenzium_jumptolabel(const std::string& label) { cadenzium_scrubtolabel(label); }
    void cadenzium_jumptocue(const std::string& label) { cadenzium_scrubtolabel(label); }
    void cadenzium_jump(const std::string& cue) { cadenzium_DynamicJumpToCue(cue); }
    void cadenzium_nextlabeltempo() { next_label_with_tempo_update(); }
    void cadenzium_before_nextlabel() { cadenzium_beforenextlabel(); }
    void cadenzium_nextaction() { cadenzium_nextFWD(); }
    void cadenzium_nextfwd() { cadenzium_nextFWD(); }
    void cadenzium_actions(bool on) { cadenzium_actionsOnOff(on); }
    // Silences or gives back the messages of a track, by its name.
    void cadenzium_mute(const std::string& track);
    void cadenzium_unmute(const std::string& track);
    void actions_command(const std::string& word);

    // ---- commands by name ----
    // Fills the table; done at construction.
    void init_internal_func_map();
    // The table, where an operation of the engine becomes a command in one
    // line (`commands().add("name", &cadenzium_core::operation)`).
    CommandTable& commands() { return command_table; }
    const CommandTable& commands() const { return command_table; }
    // Runs command `name` with `args` (numbers and texts, as the caller has
    // them). The caller reports an unknown name or bad arguments in its own
    // words. It runs on the caller's thread, as the operation called
    // directly would.
    CommandResult run_command(const std::string& name, const std::vector<Value>& args);

    // ---- settings given as commands ----
    void cadenzium_version();
    void cadenzium_info();
    // Posts the labels of the score with their beats, and gives them.
    std::vector<std::pair<std::string, double>> cadenzium_getcues();
    // Sends the text of the current score to the host as "current_score"
    // messages of one chunk each.
    // The editor's side of the commands: whether the follower's traces go
    // to the editor, its window's size and place, and the words it offers
    // to complete (read by the host that launches and feeds the editor).
    void lectern_trace(int on);
    bool lectern_trace_on() const { return editor.trace_on.load(); }
    void lecternwidth_set(int width) { editor.width = width; }
    void lecternheight_set(int height) { editor.height = height; }
    void lecternxy_set(int x, int y) { editor.x = x, editor.y = y; }
    void cadenzium_add_completion_string(const std::string& word);
    struct EditorSettings {
        std::atomic<bool> trace_on{true};
        int width = 0, height = 0, x = 0, y = 0;
        std::vector<std::string> completions;
    };
    const EditorSettings& editor_settings() const { return editor; }
    void cadenzium_printscore();
    // The action tree of each event that has one.
    void cadenzium_printfwd();
    void cadenzium_static_analysis();
    // "on": the host watches the score's file and reads the score again when
    // it changes; "off" stops.
    void cadenzium_filewatcher_start(const std::string& on_off);
    // The receivers of the host's patch, posted and offered to the editor
    // for completion.
    void cadenzium_get_patch_receivers();
    void get_current_score();
    // Forces the followed tempo (BPM).
    void tempo_inputset(double bpm);
    void tempo_smoothness(double s);
    void practice_tolerance(double bpm);
    // 0 follows, 1 practises (the score's actions silent, the onsets
    // measured).
    void mode_set(int mode);
    void tempoinit_set(int on);
    void Ntmin_set(double floor) { normalisation_floor = floor; }
    // A variable of the score set from outside ("$" added when missing).
    void set_user_variables(const std::string& name, const TaggedValue& value);
    void cadenzium_ForwardOnly(const std::string& on_off);

    // ---- the score played by itself, and practice ----
    void cadenzium_play();
    void cadenzium_playfrombeat(double beat);
    void cadenzium_playfromlabel(const std::string& label);
    // From the current position up to (not including) the first event
    // beyond `beat`, or the label's event.
    void cadenzium_playtobeat(double beat);
    void cadenzium_playtolabel(const std::string& label);
    // The player under way stops before the first event beyond `beat`.
    void play_end_at(double beat);
    // The player's step: the position moves to `e`.
    void cadenzium_playcallback(const Event& e);
    bool is_playing() const;
    // Posts the figures of the practice so far.
    void PracticeReport();

    // ---- switches ----
    void cadenzium_suivi(bool on);
    void cadenzium_actionsOnOff(bool on);
    void set_verbosity(int v);
    // The verbosity of the engine and of its listening machine, posted.
    void cadenzium_verbosity(int v);
    // Following, and not stopped by a fault (too many groups at once).
    bool is_running() const { return running == 1 && !rt.gave_up(); }
    bool stopped_by_fault() const { return rt.gave_up(); }
    // The tempo the listening machine follows now, in BPM (0 when unknown).
    double current_tempo_bpm() const { return tempo.get_tempo(); }
    // The listening machine waits for the next MIDI note: until it comes,
    // decoding steps decide nothing.
    bool waiting_for_notes() const { return align->waiting_for_notes(); }

    // ---- accessors ----
    const char* thisName() const;
    Score* score() const { return x_netscore; }
    Runtime& runtime() { return rt; }
    CadAlign& get_align() { return *align; }
    t_tempo& get_tempo() { return tempo; }
    TimeBase& time() { return timebase; }
    // The logical clock, in seconds.
    double GetTime() const { return timebase.GetTime(); }
    const std::map<std::string, std::unique_ptr<Score>>& get_preloaded_scores() const { return preloaded; }
    const std::vector<std::string>& get_preloaded_names() const { return preloaded_names; }
    const std::string& get_score_filename() const { return score_filename; }
    float analysis_sample_rate() const { return sample_rate; }
    float analysis_hop_size() const { return hop_size; }
    float analysis_window_size() const { return window_size; }
    // The environment lock: every logical instant runs under it.
    std::recursive_mutex& env_lock() { return rt.mutex(); }

private:
    EditorSettings editor;
    void run_score_command(const message& m) override;
    void report_command_problem(const std::string& name, const CommandResult& result, const message& m);
    void add_setting_commands();
    void add_transport_commands();
    void add_loading_commands();
    void destroy_player();
    void start_player(int from_index, double end_beat);
    void wait_for_decoder();
    // The first event at or after `beat`, the decoder stopped; -1 (reported)
    // when there is none.
    int find_index_and_lock(double beat);
    // The position just before event `index`, with no action fired.
    void finalize_positionning(int index);
    // The events of the score up to `target` heard in turn on the virtual
    // clock, each after its written duration at its tempo.
    bool forward_through(int target);
    // The index of the next label after the last event fired, -1
    // (reported) when none.
    int next_label_index();
    // Stands on `index` as on an event heard again, not fired now.
    void step_back_to(int index);
    void apply_first_event_tempo();
    void start_preloaded(const std::string& name);
    void report_loaded_score();
    void close_channels();
    void fire_string_events(Score& small);
    void window_full();
    void apply_analysis(int window, int hop);
    template <class Sample>
    void next_frame(const Sample* block);
    // `certainty`: the decoder's belief in the position, 1 for a command;
    // `velocity`: the onset's, 0 when unknown.
    void accept(int pos, double onset_time, double certainty = 1.0, double velocity = 0.0);
    void track_tempo(int pos, double onset_time);
    void follow_score(Score* score);
    void drop_score(std::unique_ptr<Score>& score);

    HostPort& port;
    // The port's console, where the engine's lines go while it works.
    ConsoleSink console;
    TimeBase timebase;
    Runtime rt;
    std::unique_ptr<CadAlign> align;
    t_tempo tempo;
    TempoTracking tracking;

    // The score read last (null when none or after a failed reading), the
    // preloaded ones, and the one followed (one of those, or null).
    std::unique_ptr<Score> loaded;
    std::map<std::string, std::unique_ptr<Score>> preloaded;
    std::vector<std::string> preloaded_names;
    Score* x_netscore = nullptr;
    // Scores that lost their place after a failed load, kept until the
    // engine dies.
    std::vector<std::unique_ptr<Score>> retired;
    std::string score_filename;
    std::string playstring_buffer;
    // The macros of the scores read so far: text played into the running
    // score calls them.
    MacroTable macro_table;

    CommandTable command_table;
    std::unique_ptr<EventPlayer> player;
    // "mode 1" asked while playing: practice resumes at the last event.
    bool play_state_at_end = false;
    double normalisation_floor = 0.0;
    // The thread running a decoding step, while it runs: a command that
    // its instant gave does not wait for it.
    std::atomic<std::thread::id> decoding_thread{};

    InletMap inlet_map;
    int verbosity = 0;
    std::atomic<std::uint8_t> follow_on{1};
    bool hop_clocked_midi = false;
    int pedal_mode = 0;
    std::atomic<std::uint8_t> calibrating{0};
    std::atomic<int> running{0};
    bool tempo_from_first_event = true;

    float sample_rate = 44100.0f;
    float hop_size = 512.0f;
    float window_size = 4096.0f;
    int frame_fill = 0;
    std::vector<float> frame_buffer;
    std::atomic<std::size_t> non_finite_samples{0};

    std::atomic<bool> align_busy{false};
    bool frame_busy = false;
    std::recursive_mutex align_mutex;
    std::condition_variable_any align_cond;
    std::recursive_mutex frame_mutex;
    std::condition_variable_any frame_cond;
};
