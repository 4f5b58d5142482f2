#include "PdObject.hpp"

#include "Base/Console.hpp"
#include "Dsp/FluidsynthNode.hpp"
#include "PdMessages.hpp"
#include "PdReceivers.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "Tree/Score.hpp"

#include <sys/stat.h>

namespace {

constexpr double kWatchPeriodMs = 500.0;
constexpr double kDrainPeriodMs = 1.0;

std::time_t modification_time(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 ? st.st_mtime : 0;
}

void hop_task(PdObject* x) {
    x->hop_tick();
}

void watch_task(PdObject* x) {
    x->watch_tick();
}

void drain_task(PdObject* x) {
    x->drain_tick();
}

bool has_audio(const std::vector<std::string>& kinds) {
    for (const std::string& k : kinds)
        if (is_audio_inlet(k)) return true;
    return false;
}

bool has_midi(const std::vector<std::string>& kinds) {
    for (const std::string& k : kinds)
        if (k == "MIDI") return true;
    return false;
}

} // namespace

PdObject::PdObject(t_object* owner, const BoxArguments& box, std::string dir)
    : pd_thread(std::this_thread::get_id())
    , owner(owner)
    , inlets(box.inlets)
    , by_audio(has_audio(box.inlets) && !has_midi(box.inlets))
    , dir(std::move(dir))
    , rate(static_cast<float>(sys_getsr()))
    , block(static_cast<float>(sys_getblksize()))
    , core(*this)
    , osc(std::make_unique<OscManager>(core.runtime()))
    , hop_clock(pd::clock_new(this, reinterpret_cast<t_method>(hop_task)))
    , watch_clock(pd::clock_new(this, reinterpret_cast<t_method>(watch_task)))
    , drain_clock(pd::clock_new(this, reinterpret_cast<t_method>(drain_task))) {
    pd::clock_delay(drain_clock, kDrainPeriodMs);
    // The engine listens to one input: MIDI notes when the object has a
    // MIDI inlet, else the spectra of its audio inlet.
    core.set_inlet(by_audio ? "KL" : "MIDI", 0);
    outlets.make(owner, box.outlets, by_audio);
    for (const BoxAttribute& a : box.attributes)
        set_attribute(a.name, static_cast<int>(a.values.size()), a.values.data());
    if (outlets.audio_count() > 0) make_graph();
}

// The sound font loads when the signal chain first starts. A graph made
// again (for another sound font) takes the declarations of the score
// already read.
void PdObject::make_graph() {
    graph = std::make_unique<DspGraph>();
    DspNode* synth = graph->add_node(std::make_unique<FluidsynthNode>("fluidsynth::gm", soundfont));
    graph->set_default_sound(synth);
    if (core.score()) graph->load_score(core.score());
}

PdObject::~PdObject() {
    pd::clock_free(hop_clock);
    pd::clock_free(watch_clock);
    pd::clock_free(drain_clock);
    core.cadenzium_stop();
    osc.reset();
}

// ---- the port ----

// Pd is not thread-safe: what an OSC receiver's thread reports waits in
// `pending` until Pd's thread delivers it, at its next drain.
bool PdObject::on_pd_thread() const {
    return std::this_thread::get_id() == pd_thread;
}

void PdObject::send_message(const message& m) {
    PdMessage plain = plain_message(m);
    if (on_pd_thread()) {
        forward_to_receiver(plain);
        return;
    }
    const std::lock_guard<std::mutex> hold(pending_mutex);
    pending.emplace_back(std::move(plain));
}

void PdObject::report_position(int index, const Event* event, double time, double tempo_bpm) {
    if (!on_pd_thread()) return; // positions come from Pd's thread: notes, frames, clocks
    const Score* s = core.score();
    const bool last = s && index == s->CountEvents();
    outlets.position(index, event, time, tempo_bpm, last);
}

void PdObject::report_details(int, const PositionDetails& details) {
    if (!on_pd_thread()) return;
    outlets.details(details, core.score());
}

bool PdObject::has_outlet(std::string_view name) const {
    return outlets.find(std::string(name).c_str()) != nullptr;
}

// The object watches the score's own file, whatever the path given.
bool PdObject::watch_file(const std::string& path) {
    autowatch = !path.empty();
    watch(autowatch);
    return true;
}

std::vector<std::string> PdObject::patch_receivers() const {
    return ::patch_receivers(canvas);
}

void PdObject::console(ConsoleLevel level, std::string_view text) {
    if (!on_pd_thread()) {
        const std::lock_guard<std::mutex> hold(pending_mutex);
        pending.emplace_back(ConsoleLine{level, std::string(text)});
        return;
    }
    const std::string line(text);
    switch (level) {
    case ConsoleLevel::Info:
        logpost(owner, 3, "%s", line.c_str());
        break;
    case ConsoleLevel::Post:
        pd::post("%s", line.c_str());
        break;
    case ConsoleLevel::Error:
    case ConsoleLevel::Fault:
        pd_error(owner, "%s", line.c_str());
        break;
    }
}

void PdObject::drain_tick() {
    std::vector<std::variant<PdMessage, ConsoleLine>> now;
    {
        const std::lock_guard<std::mutex> hold(pending_mutex);
        now.swap(pending);
    }
    for (const auto& p : now) {
        if (const PdMessage* m = std::get_if<PdMessage>(&p))
            forward_to_receiver(*m);
        else
            console(std::get<ConsoleLine>(p).level, std::get<ConsoleLine>(p).text);
    }
    pd::clock_delay(drain_clock, kDrainPeriodMs);
}

void PdObject::score_loaded() {
    outlets.loadbang();
}

// ---- messages ----

std::string PdObject::resolve(const std::string& path) const {
    if (path.empty() || path[0] == '/' || dir.empty()) return path;
    return dir + "/" + path;
}

void PdObject::load(const std::string& path) {
    const std::string full = resolve(path);
    clock_unset(hop_clock);
    if (!core.ScoreParsing(full)) return;
    score_mtime = modification_time(full);
    watch(autowatch);
}

void PdObject::reload() {
    if (core.get_score_filename().empty()) {
        error("%s - No score to reload", name());
        return;
    }
    load(core.get_score_filename());
}

// Logical time 0 of a performance is its start.
void PdObject::start(const std::string& score_name) {
    core.time().init_now();
    core.cadenzium_start(score_name);
    arm_hops();
}

void PdObject::start_from_beat(double beat) {
    clock_unset(hop_clock);
    core.cadenzium_startfrombeat(beat);
    arm_hops();
}

void PdObject::start_from_label(const std::string& label) {
    clock_unset(hop_clock);
    core.cadenzium_startfromlabel(label);
    arm_hops();
}

void PdObject::stop() {
    clock_unset(hop_clock);
    core.cadenzium_stop();
}

void PdObject::setvar(int argc, const t_atom* argv) {
    if (argc < 2 || argv[0].a_type != A_SYMBOL) {
        error("%s - setvar needs a variable name and a value", name());
        return;
    }
    tab_t values;
    for (int i = 1; i < argc; ++i) {
        if (argv[i].a_type == A_FLOAT)
            values.push_back(float_value(argv[i].a_w.w_float));
        else
            values.push_back(string_value(argv[i].a_w.w_symbol->s_name));
    }
    const Value v = values.size() == 1 ? values[0] : tab_value(std::move(values));
    core.runtime().ExternalUpdateVar(argv[0].a_w.w_symbol->s_name, *v);
}

void PdObject::info() const {
    post("%s - version %s", name(), CAD_VERSION);
    post("%s - listening by %s; sample rate %g, block %g", name(), by_audio ? "audio" : "MIDI", rate, block);
    const Score* s = const_cast<cadenzium_core&>(core).score();
    if (s)
        post("%s - score '%s': %d events, %d actions", name(), core.get_score_filename().c_str(),
             s->CountEvents(), s->CountActions());
    else
        post("%s - no score", name());
    post("%sFaust handling: no", "");
    post("%sCsound handling: %s", "", "no");
    post("%sFluidsynth handling: %s", "", graph ? "yes" : "no");
    for (const auto& [outlet, o] : outlets.all())
        post("%s - outlet %s", name(), outlet.c_str());
}

namespace {

int int_at(int argc, const t_atom* argv, int i, int otherwise) {
    return i < argc && argv[i].a_type == A_FLOAT ? static_cast<int>(argv[i].a_w.w_float) : otherwise;
}

double float_at(int argc, const t_atom* argv, int i, double otherwise) {
    return i < argc && argv[i].a_type == A_FLOAT ? argv[i].a_w.w_float : otherwise;
}

} // namespace

void PdObject::set_attribute(const std::string& attribute, int argc, const t_atom* argv) {
    if (attribute == "suivi") {
        core.cadenzium_suivi(int_at(argc, argv, 0, 1) != 0);
    } else if (attribute == "autowatch") {
        autowatch = int_at(argc, argv, 0, 1) != 0;
        watch(autowatch);
    } else if (attribute == "analysis") {
        core.cadenzium_analysisParameters(int_at(argc, argv, 0, -1), int_at(argc, argv, 1, -1));
    } else if (attribute == "tune") {
        core.tuning_set(float_at(argc, argv, 0, 440.0));
    } else if (attribute == "soundfont") {
        if (argc > 0 && argv[0].a_type == A_SYMBOL) soundfont = resolve(argv[0].a_w.w_symbol->s_name);
        if (graph && !graph->started()) make_graph();
    } else if (attribute == "verbosity") {
        core.cadenzium_verbosity(int_at(argc, argv, 0, 0));
    } else {
        error("Cadenzium~: Argument @%s not supported!", attribute.c_str());
    }
}

// ---- inlets ----

void PdObject::list_at(int inlet, int argc, const t_atom* argv) {
    const std::string& kind =
        inlet < static_cast<int>(inlets.size()) ? inlets[static_cast<size_t>(inlet)] : "";
    if (kind != "MIDI" && kind != "HZ") {
        error("%s - inlet %d does not take lists", name(), inlet + 1);
        return;
    }
    const float values[2] = {static_cast<float>(float_at(argc, argv, 0, 0)),
                             static_cast<float>(float_at(argc, argv, 1, 0))};
    core.cadenzium_doit(kind == "MIDI" ? 2 : 1, values);
}

void PdObject::dsp(float sample_rate, int block_samples) {
    if (graph && !graph->started()) graph->start(sample_rate, block_samples, 0, outlets.audio_count());
    if (sample_rate == rate && static_cast<float>(block_samples) == block) return;
    rate = sample_rate;
    block = static_cast<float>(block_samples);
    if (!by_audio) return;
    core.cadenzium_init_dsp();
    core.cadenzium_analysisParameters(-1, -1);
}

void PdObject::perform(const t_sample* in, int n) {
    if (!by_audio || static_cast<float>(n) != block) return;
    core.cadenzium_next_frame(in);
}

void PdObject::bind_audio_outlets(std::vector<t_sample*> vectors) {
    audio_vectors = std::move(vectors);
}

// The notes dated up to the end of the block, on the engine's clock.
void PdObject::perform_audio(int n) {
    if (!graph || audio_vectors.empty()) return;
    const double until = core.GetTime() + static_cast<double>(n) / rate;
    graph->process(nullptr, 0, audio_vectors.data(), static_cast<int>(audio_vectors.size()), n, until);
}

// ---- clocks of the object ----

void PdObject::arm_hops() {
    if (by_audio) return;
    clock_delay(hop_clock, 1000.0 * core.analysis_hop_size() / core.analysis_sample_rate());
}

void PdObject::hop_tick() {
    if (!core.is_running()) return;
    core.cadenzium_doit(0, nullptr);
    arm_hops();
}

void PdObject::watch(bool on) {
    clock_unset(watch_clock);
    if (on && !core.get_score_filename().empty()) clock_delay(watch_clock, kWatchPeriodMs);
}

void PdObject::watch_tick() {
    const std::string& path = core.get_score_filename();
    const std::time_t now = modification_time(path);
    if (now != 0 && now != score_mtime) {
        post("%s - score '%s' changed: reading it again", name(), path.c_str());
        load(path);
        return;
    }
    watch(autowatch);
}
