// The engine: owns the current score, the global environment, the listening
// machine, the tempo tracker and the scheduler, and offers the host one flat
// set of operations. Hosts derive from it and implement the virtual outputs.
#pragma once

#include "RunTime/PreCadenzium.hpp"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

class CadAlign;
class t_tempo;
class TempoTracking;
class Event;
class EventPlayer;
struct message;
struct PositionChange;
class t_scheduler;

class cadenzium_core : public pre_cadenzium {
public:
    cadenzium_core();
    ~cadenzium_core() override;
    cadenzium_core(const cadenzium_core&) = delete;
    cadenzium_core& operator=(const cadenzium_core&) = delete;

    // ---- lifecycle ----
    void cadenzium_init();
    void cadenzium_init_preloaded();
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
    // plain decoding step when n is 0.
    void cadenzium_doit(int n, const float* values);
    void cadenzium_analysisParameters(int window, int hop);
    void cadenzium_init_dsp();

    // ---- settings of the audio observation ----
    void cadenzium_variance(double v);
    void gamma_set(double g);
    void tuning_set(double hz);
    void nofharm_set(int n);
    void harmlist_set(const std::vector<double>& list);
    void KLexp_set(double e);
    // Piano spectra as templates; forces a window of 4096 samples.
    void PianoMode(int on);

    // ---- position ----
    // The decoder's decision: the musician is at event `pos`. The logical
    // instant of the environment does the rest (tempo, variables, actions).
    virtual void updatePosition(int pos);
    // Indexes of the environment's current event, of the one before it, and
    // of the last event whose actions were launched.
    int Position() const;
    int lastPosition() const;
    int lastAction() const;

    // ---- switches ----
    void cadenzium_suivi(bool on);
    void cadenzium_actionsOnOff(bool on);
    void set_verbosity(int v) { verbosity = v; }
    // The verbosity of the engine and of its listening machine, posted.
    void cadenzium_verbosity(int v);
    bool is_running() const { return running == 1; }
    // The tempo the listening machine follows now, in BPM (0 when unknown).
    double current_tempo_bpm();

    // ---- pre_cadenzium ----
    GlobalEnvironment* get_env() override { return global_env; }
    Environment* get_globalenv_as_env() override;
    CadTimer* get_exe() override { return current_exe; }
    std::vector<Environment*>* get_envs() override { return envs; }
    std::vector<Environment*>* get_init_envs() override { return &init_envs; }
    void set_static_context() override;
    void osc_save_send(const std::string& name, OscSend* send) override { osc_send_map[name] = send; }
    OscSend* get_osc_send(const std::string& name) override;
    Score* get_x_netscore() override { return x_netscore; }
    void set_x_netscore(Score* score) override { x_netscore = score; }
    t_scheduler* get_x_sched() override { return scheduler.get(); }
    int verbose() const override { return verbosity; }
    const std::map<std::string, int>* get_obs_iomap() const override { return &obs_iomap; }
    void napro_trace_init(const std::string& host, int port) override;
    std::string cadenzium_version() const override;
    std::string cadenzium_commit_version() const override;
    cadenzium_core* to_cadenzium() override { return this; }
    bool PreloadedMode() const override;
    void compute_and_propage_in_proc(Score*) override {}
    CadTimer* find_exe(int id) override;
    bool active(const CadTimer* timer) override;
    void finalize_action_in_clause(Score*, std::vector<Action*>&) override {}
    bool eval_clause(std::vector<Action*>&) override { return true; }
    int outlet_number(const std::string& name) const override;
    void set_DspToRun(bool) override {}
    double GetTime() const override;

    // ---- host operations (the host class overrides) ----
    virtual const char* thisName() const { return "cadenzium"; }
    virtual void send_one_message(const message&) {}
    virtual void ParsingEndNotification() {}
    // Called after each accepted position change, with the new event.
    virtual void report_position(int, const Event*) {}
    virtual void cadenzium_actions_out() {}

    // ---- accessors ----
    CadAlign& get_align() { return *align; }
    t_tempo& get_tempo() { return *tempo; }
    const std::set<std::string>& get_included_files() const { return included_files; }
    void add_included(const std::string& file) { included_files.insert(file); }
    bool already_included(const std::string& file) const { return included_files.count(file) > 0; }
    const std::map<std::string, Score*>& get_preloaded_scores() const { return preloaded_scores; }
    const std::vector<std::string>& get_preloaded_names() const { return preloaded_names; }
    const std::string& get_score_filename() const { return score_filename; }
    float analysis_sample_rate() const { return sample_rate; }
    float analysis_hop_size() const { return hop_size; }
    float analysis_window_size() const { return window_size; }

    // ---- running compound actions ----
    // The context of evaluation: the running timer and its environments.
    void set_exe_context(CadTimer* timer, std::vector<Environment*>* stack) {
        current_exe = timer;
        envs = stack;
    }
    // Counts a new timer against the limits of simultaneous timers; false
    // when it may not live (everything is then stopped).
    bool admit_timer(CadTimer* timer);
    void register_timer(CadTimer* timer);
    void unregister_timer(CadTimer* timer);
    std::size_t active_timer_count();
    void notify_var_observer(CadTimer* timer, int kind, int event_index, var_management& var) override;
    bool timer_time(const CadTimer* timer, double& position, double& tempo) const override;
    unsigned long ambient_exe(const Action* ambient) const override;

    static int instance_count();
    // The environment lock: every logical instant runs under it.
    std::recursive_mutex& env_lock();

protected:
    std::set<std::string> included_files;
    std::map<std::string, int> obs_iomap;
    std::map<std::string, int> outlet_map;
    std::set<std::string> bad_receivers;
    std::string score_filename;
    std::uint8_t tempo_update_on = 1;
    std::uint8_t remote_forwarding = 1;
    std::uint8_t silent_forward = 0;
    std::uint8_t calibrating = 0;
    std::atomic<std::uint8_t> follow_on{1};
    std::atomic<int> running{0};
    Score* x_netscore = nullptr;
    GlobalEnvironment* global_env = nullptr;
    std::vector<Environment*>* envs = nullptr;
    std::vector<Environment*> init_envs;
    CadTimer* current_exe = nullptr;
    std::uint32_t muted_tracks = 0;
    std::map<std::string, OscSend*> osc_send_map;
    std::string playstring_buffer;
    std::unique_ptr<CadAlign> align;
    std::map<std::string, Score*> preloaded_scores;
    std::vector<std::string> preloaded_names;
    int verbosity = 0;
    float sample_rate = 44100.0f;
    float hop_size = 512.0f;
    float window_size = 4096.0f;
    int frame_fill = 0;
    std::vector<float> frame_buffer;
    std::unique_ptr<t_tempo> tempo;
    std::unique_ptr<TempoTracking> tracking;
    std::set<CadTimer*> active_timers;
    std::recursive_mutex timers_mutex;
    EventPlayer* player = nullptr;
    std::uint8_t player_running = 0;
    std::atomic<bool> align_busy{false};
    bool frame_busy = false;
    std::recursive_mutex align_mutex;
    std::condition_variable_any align_cond;
    std::recursive_mutex frame_mutex;
    std::condition_variable_any frame_cond;
    int pedal_mode = 0;
    int play_state = 0;
    int play_state_at_end = 0;
    bool practice_on = false;
    float bpm_tolerance = 5.0f;
    std::uint8_t tempo_from_first_event = 1;
    std::uint8_t prevent_zigzag = 1;

    // Practice counters, grown by the position update (missed events).
    struct PracticeCounters {
        float missed_count = 0;
        float missed_duration = 0;
        float timing_misses = 0;
        float jumps = 0;
        float timing_error_sum = 0;
        std::vector<int> missed_events;
    };
    PracticeCounters practice;
    // Built after the global environment, destroyed before it.
    std::unique_ptr<t_scheduler> scheduler;

    // Scores that lost their place after a failed load: the engine has no
    // score then, but keeps them until it dies.
    std::vector<Score*> retired_scores;
    std::string napro_trace_host;
    int napro_trace_port = 0;
    std::uint8_t napro_trace_on = 0;

private:
    // The instant's side of a position change reads and counts here.
    friend class GlobalEnvironment;

    void wait_for_decoder();
    void reset_practice();
    // The actions of event `index`, in an instant of their own nested in the
    // position's; the missed events from `first` up to `last` (excluded),
    // in late mode.
    void launch_event_actions(int index);
    void launch_missed_events(int first, int last);
    void apply_first_event_tempo();
    void start_preloaded(const std::string& name);
    void terminate_timer(CadTimer* timer);
    void report_loaded_score();
    void fire_string_events(Score* small);
    void window_full();
    void apply_analysis(int window, int hop);
    template <class Sample>
    void next_frame(const Sample* block);

    // The listening machine, behind one file so the engine's lifecycle does
    // not depend on its internals.
    void construct_listening();
    void destroy_listening();
    void reset_listening();
    void listening_set_score();
    void listening_set_position(int pos);
    void listening_front_end(const float* window);
    void listening_step();
    void listening_observe(int n, const float* values);
    void listening_tempo_update(double period);
    void listening_track_tempo(const PositionChange& change);
    float listening_energy() const;
};
