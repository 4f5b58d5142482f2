// The Pure Data class `cadenzium~`: the box, its inlets and its methods.
// Each method is a thin call to the object's host (PdObject), which holds
// the engine.
#include "PdObject.hpp"

#include "Base/Console.hpp"
#include "RunTime/ListeningProfile.hpp"

#include "PdApi.hpp"

#include <new>
#include <string>

namespace {

t_class* cadenzium_class = nullptr;
t_class* proxy_class = nullptr;

struct t_cadenzium;

// A non-signal inlet after the first: it tells the object its number.
struct t_proxy {
    t_pd pd;
    t_cadenzium* owner;
    int number;
};

struct t_cadenzium {
    t_object obj;
    t_float f; // the first inlet's signal when nothing is connected
    PdObject* host;
    std::vector<t_proxy*> proxies;
};

std::string symbol_text(int argc, const t_atom* argv) {
    if (argc < 1 || argv[0].a_type != A_SYMBOL) return "";
    return argv[0].a_w.w_symbol->s_name;
}

// ---- inlets ----

void make_inlets(t_cadenzium* x) {
    const std::vector<std::string>& kinds = x->host->inlet_kinds();
    for (std::size_t i = 1; i < kinds.size(); ++i) {
        if (is_audio_inlet(kinds[i])) {
            inlet_new(&x->obj, &x->obj.ob_pd, &s_signal, &s_signal);
            continue;
        }
        auto* p = reinterpret_cast<t_proxy*>(pd_new(proxy_class));
        p->owner = x;
        p->number = static_cast<int>(i);
        inlet_new(&x->obj, &p->pd, nullptr, nullptr);
        x->proxies.push_back(p);
    }
}

void proxy_list(t_proxy* p, t_symbol*, int argc, t_atom* argv) {
    p->owner->host->list_at(p->number, argc, argv);
}

void cadenzium_list(t_cadenzium* x, t_symbol*, int argc, t_atom* argv) {
    x->host->list_at(0, argc, argv);
}

// ---- signal ----

t_int* cadenzium_perform(t_int* w) {
    auto* x = reinterpret_cast<t_cadenzium*>(w[1]);
    x->host->perform(reinterpret_cast<t_sample*>(w[2]), static_cast<int>(w[3]));
    return w + 4;
}

t_int* cadenzium_perform_audio(t_int* w) {
    auto* x = reinterpret_cast<t_cadenzium*>(w[1]);
    x->host->perform_audio(static_cast<int>(w[2]));
    return w + 3;
}

// The signals: the inputs (the first inlet, then the AUDIO inlets), then
// the AUDIO outlets.
void cadenzium_dsp(t_cadenzium* x, t_signal** sp) {
    x->host->dsp(sp[0]->s_sr, sp[0]->s_n);
    if (x->host->listens_by_audio())
        dsp_add(cadenzium_perform, 3, x, sp[0]->s_vec, static_cast<t_int>(sp[0]->s_n));
    const std::vector<std::string>& kinds = x->host->inlet_kinds();
    int inputs = 1;
    for (std::size_t i = 1; i < kinds.size(); ++i)
        inputs += is_audio_inlet(kinds[i]) ? 1 : 0;
    std::vector<t_sample*> outs;
    for (int i = 0; i < x->host->audio_outlets(); ++i)
        outs.push_back(sp[inputs + i]->s_vec);
    x->host->bind_audio_outlets(std::move(outs));
    if (x->host->audio_outlets() > 0) dsp_add(cadenzium_perform_audio, 2, x, static_cast<t_int>(sp[0]->s_n));
}

// ---- messages ----

void cadenzium_load(t_cadenzium* x, t_symbol*, int argc, t_atom* argv) {
    const std::string path = symbol_text(argc, argv);
    if (path.empty()) {
        pd_error(x, "cadenzium~: load needs a score file name");
        return;
    }
    x->host->load(path);
}

void cadenzium_preload(t_cadenzium* x, t_symbol*, int argc, t_atom* argv) {
    if (argc < 2 || argv[0].a_type != A_SYMBOL || argv[1].a_type != A_SYMBOL) {
        pd_error(x, "cadenzium~: preload needs a name and a score file");
        return;
    }
    x->host->engine().preloadScore(argv[1].a_w.w_symbol->s_name, argv[0].a_w.w_symbol->s_name);
}

void cadenzium_start(t_cadenzium* x, t_symbol*, int argc, t_atom* argv) {
    x->host->start(symbol_text(argc, argv));
}

void cadenzium_startfromlabel(t_cadenzium* x, t_symbol* label) {
    x->host->start_from_label(label->s_name);
}

void cadenzium_startfrombeat(t_cadenzium* x, t_floatarg beat) {
    x->host->start_from_beat(beat);
}

void cadenzium_stop(t_cadenzium* x) {
    x->host->stop();
}

void cadenzium_reload(t_cadenzium* x) {
    x->host->reload();
}

void cadenzium_clear(t_cadenzium* x) {
    x->host->engine().clearScore();
}

void cadenzium_killall(t_cadenzium* x) {
    x->host->engine().Killall();
}

void cadenzium_setvar(t_cadenzium* x, t_symbol*, int argc, t_atom* argv) {
    x->host->setvar(argc, argv);
}

void cadenzium_info(t_cadenzium* x) {
    x->host->info();
}

void cadenzium_version(t_cadenzium* x) {
    post("cadenzium~ version %s", CAD_VERSION);
    (void)x;
}

void cadenzium_verbosity(t_cadenzium* x, t_floatarg v) {
    x->host->engine().cadenzium_verbosity(static_cast<int>(v));
}

void cadenzium_actions(t_cadenzium* x, t_symbol* s) {
    x->host->engine().cadenzium_actionsOnOff(std::string(s->s_name) != "off");
}

void cadenzium_playstring(t_cadenzium* x, t_symbol*, int argc, t_atom* argv) {
    char* text = nullptr;
    int length = 0;
    t_binbuf* b = binbuf_new();
    binbuf_add(b, argc, argv);
    binbuf_gettext(b, &text, &length);
    x->host->engine().playstring(std::string(text, static_cast<std::size_t>(length)));
    freebytes(text, static_cast<std::size_t>(length));
    binbuf_free(b);
}

void cadenzium_playstring_append(t_cadenzium* x, t_symbol*, int argc, t_atom* argv) {
    char* text = nullptr;
    int length = 0;
    t_binbuf* b = binbuf_new();
    binbuf_add(b, argc, argv);
    binbuf_gettext(b, &text, &length);
    x->host->engine().playstring_append(std::string(text, static_cast<std::size_t>(length)) + "\n");
    freebytes(text, static_cast<std::size_t>(length));
    binbuf_free(b);
}

// The listening parameters: one number each.
void cadenzium_gamma(t_cadenzium* x, t_floatarg v) {
    x->host->engine().gamma_set(v);
}
void cadenzium_variance(t_cadenzium* x, t_floatarg v) {
    x->host->engine().cadenzium_variance(v);
}
void cadenzium_obsexp(t_cadenzium* x, t_floatarg v) {
    x->host->engine().KLexp_set(v);
}
void cadenzium_nofharm(t_cadenzium* x, t_floatarg v) {
    x->host->engine().nofharm_set(static_cast<int>(v));
}
void cadenzium_piano(t_cadenzium* x, t_floatarg v) {
    x->host->engine().PianoMode(static_cast<int>(v));
}
void cadenzium_occupancy(t_cadenzium* x, t_floatarg v) {
    x->host->engine().get_align().inference_occupancymodel_set(v);
}
// "midienvelope release_ms sustain_level sustain_ms": how long a released
// note fades from the MIDI observation, and how a held one settles.
void cadenzium_midienvelope(t_cadenzium* x, t_floatarg release_ms, t_floatarg level, t_floatarg sustain_ms) {
    x->host->engine().get_align().midi_envelope_set(release_ms, level, sustain_ms);
}
// "profile piano_midi|piano_audio|design": the listening settings the
// program uses for a pianist by MIDI or by audio, or the engine's own.
void cadenzium_profile(t_cadenzium* x, t_symbol* name) {
    const std::string which = name->s_name;
    if (which == "piano_midi")
        apply_listening_profile(x->host->engine(), piano_midi_profile());
    else if (which == "piano_audio")
        apply_listening_profile(x->host->engine(), piano_audio_profile());
    else if (which == "design")
        apply_listening_profile(x->host->engine(), design_profile());
    else
        pd_error(x, "cadenzium~: unknown profile '%s' (piano_midi, piano_audio or design)", which.c_str());
}
void cadenzium_harmlist(t_cadenzium* x, t_symbol*, int argc, t_atom* argv) {
    std::vector<double> list;
    for (int i = 0; i < argc; ++i)
        if (argv[i].a_type == A_FLOAT) list.push_back(argv[i].a_w.w_float);
    x->host->engine().harmlist_set(list);
}

// Attributes as messages: "suivi 1", "analysis 4096 512", ...
void cadenzium_attribute(t_cadenzium* x, t_symbol* s, int argc, t_atom* argv) {
    x->host->set_attribute(s->s_name, argc, argv);
}

// Any other message is a command of the engine's table ("tempo 90",
// "playfrom B", "mode 1", "report").
void cadenzium_anything(t_cadenzium* x, t_symbol* s, int argc, t_atom* argv) {
    std::vector<Value> args;
    args.reserve(static_cast<std::size_t>(argc));
    for (int i = 0; i < argc; ++i) {
        if (argv[i].a_type == A_FLOAT)
            args.push_back(float_value(argv[i].a_w.w_float));
        else if (argv[i].a_type == A_SYMBOL)
            args.push_back(string_value(argv[i].a_w.w_symbol->s_name));
    }
    const CommandResult r = x->host->engine().run_command(s->s_name, args);
    if (r.status == CommandStatus::Unknown)
        pd_error(x, "cadenzium~: unknown command '%s'", s->s_name);
    else if (r.status == CommandStatus::BadArguments)
        pd_error(x, "cadenzium~: command '%s' %s", s->s_name, expected_arguments(r.problem));
}

// ---- the box ----

void* cadenzium_new(t_symbol*, int argc, t_atom* argv) {
    auto* x = reinterpret_cast<t_cadenzium*>(pd_new(cadenzium_class));
    if (!x) {
        error("ERROR: cannot allocate cadenzium~ object");
        return nullptr;
    }
    new (&x->proxies) std::vector<t_proxy*>();
    x->f = 0;
    const BoxArguments box = read_box_arguments(argc, argv);
    x->host = new PdObject(&x->obj, box, canvas_getdir(canvas_getcurrent())->s_name);
    x->host->set_canvas(canvas_getcurrent());
    make_inlets(x);
    return x;
}

void cadenzium_free(t_cadenzium* x) {
    delete x->host;
    for (t_proxy* p : x->proxies)
        pd_free(&p->pd);
    x->proxies.~vector();
}

using t_message = void (*)(t_cadenzium*, t_symbol*, int, t_atom*);

void add_gimme(const char* name, t_message m) {
    class_addmethod(cadenzium_class, reinterpret_cast<t_method>(m), gensym(name), A_GIMME, 0);
}

void add_bare(const char* name, void (*m)(t_cadenzium*)) {
    class_addmethod(cadenzium_class, reinterpret_cast<t_method>(m), gensym(name), A_NULL);
}

void add_float(const char* name, void (*m)(t_cadenzium*, t_floatarg)) {
    class_addmethod(cadenzium_class, reinterpret_cast<t_method>(m), gensym(name), A_FLOAT, 0);
}

void add_methods() {
    class_addmethod(cadenzium_class, reinterpret_cast<t_method>(cadenzium_dsp), gensym("dsp"), A_CANT, 0);
    class_addlist(cadenzium_class, reinterpret_cast<t_method>(cadenzium_list));
    class_addanything(cadenzium_class, reinterpret_cast<t_method>(cadenzium_anything));
    for (const char* word : {"score", "read", "load", "loadscore"})
        add_gimme(word, cadenzium_load);
    add_gimme("preload", cadenzium_preload);
    add_gimme("start", cadenzium_start);
    add_gimme("setvar", cadenzium_setvar);
    add_gimme("harmlist", cadenzium_harmlist);
    add_gimme("playstring", cadenzium_playstring);
    add_gimme("livecode", cadenzium_playstring);
    add_gimme("playstring_append", cadenzium_playstring_append);
    add_gimme("livecode_add", cadenzium_playstring_append);
    for (const char* attribute : {"suivi", "autowatch", "analysis", "tune", "soundfont"})
        add_gimme(attribute, cadenzium_attribute);
    add_bare("stop", cadenzium_stop);
    add_bare("reloadscore", cadenzium_reload);
    add_bare("clear", cadenzium_clear);
    add_bare("killall", cadenzium_killall);
    add_bare("info", cadenzium_info);
    add_bare("version", cadenzium_version);
    add_float("verbosity", cadenzium_verbosity);
    add_float("startfrombeat", cadenzium_startfrombeat);
    add_float("gamma", cadenzium_gamma);
    add_float("variance", cadenzium_variance);
    add_float("obsexp", cadenzium_obsexp);
    add_float("nofharm", cadenzium_nofharm);
    add_float("piano", cadenzium_piano);
    add_float("inference_occupancymodel_set", cadenzium_occupancy);
    class_addmethod(cadenzium_class, reinterpret_cast<t_method>(cadenzium_midienvelope),
                    gensym("midienvelope"), A_FLOAT, A_FLOAT, A_FLOAT, 0);
    class_addmethod(cadenzium_class, reinterpret_cast<t_method>(cadenzium_actions), gensym("actions"),
                    A_SYMBOL, 0);
    class_addmethod(cadenzium_class, reinterpret_cast<t_method>(cadenzium_profile), gensym("profile"),
                    A_SYMBOL, 0);
    class_addmethod(cadenzium_class, reinterpret_cast<t_method>(cadenzium_startfromlabel),
                    gensym("startfromlabel"), A_SYMBOL, 0);
}

} // namespace

extern "C" __attribute__((visibility("default"))) void cadenzium_tilde_setup() {
    cadenzium_class = class_new(
        gensym("cadenzium~"), reinterpret_cast<t_newmethod>(reinterpret_cast<void (*)()>(cadenzium_new)),
        reinterpret_cast<t_method>(cadenzium_free), sizeof(t_cadenzium), CLASS_DEFAULT, A_GIMME, 0);
    CLASS_MAINSIGNALIN(cadenzium_class, t_cadenzium, f);
    proxy_class = class_new(gensym("cadenzium~ inlet"), nullptr, nullptr, sizeof(t_proxy), CLASS_PD, A_NULL);
    class_addlist(proxy_class, reinterpret_cast<t_method>(proxy_list));
    add_methods();
    // The engine's lines outside any object's work go to Pd's console.
    set_console_sink([](ConsoleLevel level, std::string_view line) {
        const std::string text(line);
        if (level == ConsoleLevel::Error || level == ConsoleLevel::Fault)
            pd_error(nullptr, "%s", text.c_str());
        else if (level == ConsoleLevel::Post)
            pd::post("%s", text.c_str());
        else
            logpost(nullptr, 3, "%s", text.c_str());
    });
    post("cadenzium~ %s: a score follower and its reactive language", CAD_VERSION);
}
