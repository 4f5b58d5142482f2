#include "LiveInput.hpp"

#include "Base/Console.hpp"

#include <alsa/asoundlib.h>
#include <atomic>
#include <cerrno>
#include <jack/jack.h>
#include <rtmidi/RtMidi.h>

// ---- JACK ----

struct JackInput::Impl {
    jack_client_t* client = nullptr;
    jack_port_t* port = nullptr;
    BlockHandler handler;
    std::atomic<bool> alive{false};

    static int process(jack_nframes_t n, void* arg) {
        auto* self = static_cast<Impl*>(arg);
        const auto* block = static_cast<const float*>(jack_port_get_buffer(self->port, n));
        if (self->handler && block) self->handler(block, static_cast<int>(n));
        return 0;
    }
    static void shutdown(void* arg) { static_cast<Impl*>(arg)->alive = false; }
};

namespace {
// The JACK library's own messages go to the console as posts; its chatter
// while looking for a server is dropped, since open() reports the failure.
void jack_message(const char* text) {
    post("JACK: %s", text);
}
void jack_quiet(const char*) {}
} // namespace

JackInput::JackInput()
    : impl(std::make_unique<Impl>()) {
    jack_set_error_function(jack_quiet);
    jack_set_info_function(jack_quiet);
}
JackInput::~JackInput() {
    close();
}

bool JackInput::open(const std::string& client, const std::string& server) {
    close();
    jack_status_t status{};
    const auto options =
        static_cast<jack_options_t>(JackNoStartServer | (server.empty() ? 0 : JackServerName));
    impl->client = jack_client_open(client.c_str(), options, &status, server.c_str());
    if (!impl->client) {
        error("cadenzium - Cannot connect to the JACK server%s%s (status 0x%x).", server.empty() ? "" : " ",
              server.c_str(), static_cast<unsigned>(status));
        return false;
    }
    impl->port = jack_port_register(impl->client, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
    if (!impl->port) {
        error("cadenzium - Cannot register the JACK input port.");
        close();
        return false;
    }
    jack_set_error_function(jack_message);
    jack_set_process_callback(impl->client, &Impl::process, impl.get());
    jack_on_shutdown(impl->client, &Impl::shutdown, impl.get());
    impl->alive = true;
    return true;
}

void JackInput::set_handler(BlockHandler handler) {
    impl->handler = std::move(handler);
}

bool JackInput::activate() {
    if (!impl->client) return false;
    if (jack_activate(impl->client) != 0) {
        error("cadenzium - Cannot activate the JACK client.");
        return false;
    }
    return true;
}

bool JackInput::connect(const std::string& source) {
    if (!impl->client) return false;
    const int r = jack_connect(impl->client, source.c_str(), jack_port_name(impl->port));
    if (r != 0 && r != EEXIST) {
        error("cadenzium - Cannot connect JACK port '%s' to '%s'.", source.c_str(),
              jack_port_name(impl->port));
        return false;
    }
    return true;
}

void JackInput::close() {
    if (!impl->client) return;
    jack_deactivate(impl->client);
    jack_client_close(impl->client);
    impl->client = nullptr;
    impl->port = nullptr;
    impl->alive = false;
}

bool JackInput::is_open() const {
    return impl->client != nullptr;
}
bool JackInput::server_alive() const {
    return impl->alive;
}
int JackInput::sample_rate() const {
    return impl->client ? static_cast<int>(jack_get_sample_rate(impl->client)) : 0;
}
int JackInput::block_size() const {
    return impl->client ? static_cast<int>(jack_get_buffer_size(impl->client)) : 0;
}
std::string JackInput::port_name() const {
    return impl->port ? jack_port_name(impl->port) : "";
}

// ---- MIDI ----

bool decode_note(const unsigned char* bytes, std::size_t n, int& pitch, int& velocity) {
    if (n < 3) return false;
    const unsigned status = bytes[0] & 0xF0u;
    if (status != 0x80 && status != 0x90) return false;
    pitch = bytes[1] & 0x7F;
    velocity = status == 0x80 ? 0 : bytes[2] & 0x7F;
    return true;
}

bool decode_control(const unsigned char* bytes, std::size_t n, int& number, int& value) {
    if (n < 3 || (bytes[0] & 0xF0u) != 0xB0) return false;
    number = bytes[1] & 0x7F;
    value = bytes[2] & 0x7F;
    return true;
}

struct MidiInput::Impl {
    std::unique_ptr<RtMidiIn> in;
    NoteHandler handler;
    ControlHandler controls;

    static void receive(double, std::vector<unsigned char>* message, void* arg) {
        auto* self = static_cast<Impl*>(arg);
        if (!message) return;
        int a = 0;
        int b = 0;
        if (decode_note(message->data(), message->size(), a, b) && self->handler)
            self->handler(a, b);
        else if (decode_control(message->data(), message->size(), a, b) && self->controls)
            self->controls(a, b);
    }
};

namespace {

// ALSA's own complaints (a missing sequencer device) are dropped: the
// failure is reported once, in our words, below.
void alsa_quiet(const char*, int, const char*, int, const char*, ...) {}

std::unique_ptr<RtMidiIn> open_alsa(const std::string& client) {
    snd_lib_error_set_handler(alsa_quiet);
    try {
        return std::make_unique<RtMidiIn>(RtMidi::LINUX_ALSA, client);
    } catch (const RtMidiError& e) {
        error("cadenzium - No ALSA MIDI input: %s", e.getMessage().c_str());
        return nullptr;
    }
}

// The number of the first port whose name contains `part`, or -1.
int find_port(RtMidiIn& in, const std::string& part) {
    const unsigned n = in.getPortCount();
    for (unsigned i = 0; i < n; ++i)
        if (in.getPortName(i).find(part) != std::string::npos) return static_cast<int>(i);
    return -1;
}

} // namespace

MidiInput::MidiInput()
    : impl(std::make_unique<Impl>()) {}
MidiInput::~MidiInput() {
    close();
}

bool MidiInput::open(const std::string& port, NoteHandler handler, const std::string& client,
                     ControlHandler controls) {
    close();
    impl->in = open_alsa(client);
    if (!impl->in) return false;
    impl->handler = std::move(handler);
    impl->controls = std::move(controls);
    impl->in->setCallback(&Impl::receive, impl.get());
    try {
        if (port.empty()) {
            impl->in->openVirtualPort("in");
            return true;
        }
        const int number = find_port(*impl->in, port);
        if (number < 0) {
            error("cadenzium - No MIDI input port matches '%s'.", port.c_str());
            close();
            return false;
        }
        impl->in->openPort(static_cast<unsigned>(number), "in");
        return true;
    } catch (const RtMidiError& e) {
        error("cadenzium - Cannot open MIDI input '%s': %s", port.c_str(), e.getMessage().c_str());
        close();
        return false;
    }
}

void MidiInput::close() {
    if (!impl->in) return;
    impl->in->cancelCallback();
    impl->in->closePort();
    impl->in.reset();
}

bool MidiInput::is_open() const {
    return impl->in != nullptr;
}

std::vector<std::string> MidiInput::ports() {
    std::vector<std::string> names;
    try {
        RtMidiIn in(RtMidi::LINUX_ALSA, "cadenzium-probe");
        for (unsigned i = 0; i < in.getPortCount(); ++i)
            names.push_back(in.getPortName(i));
    } catch (const RtMidiError&) {
    }
    return names;
}
