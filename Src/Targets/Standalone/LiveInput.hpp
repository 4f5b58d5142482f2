// Live input for the standalone program: audio from a JACK server (one input
// port; each block goes to a callable, in JACK's process thread, where the
// engine runs) and notes from an ALSA MIDI input (each note-on or note-off
// goes to a callable, in RtMidi's thread).
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class JackInput {
public:
    // Called in the real-time thread with each block of the input port.
    using BlockHandler = std::function<void(const float* samples, int count)>;

    JackInput();
    ~JackInput();
    JackInput(const JackInput&) = delete;
    JackInput& operator=(const JackInput&) = delete;

    // Connects to a running server (`server` empty: the default one; none is
    // started) as `client`, with one input port "in". Reports and gives false
    // when there is no server.
    bool open(const std::string& client, const std::string& server = {});
    // The handler must be set before activate and must not allocate or block.
    void set_handler(BlockHandler handler);
    bool activate();
    // Connects a source port of the server ("system:capture_1") to ours.
    bool connect(const std::string& source);
    void close();

    bool is_open() const;
    // False once the server has shut down under us.
    bool server_alive() const;
    int sample_rate() const;
    int block_size() const;
    // The full name of our port, "client:in".
    std::string port_name() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};

class MidiInput {
public:
    // Called with each note: a velocity of 0 is a note-off.
    using NoteHandler = std::function<void(int pitch, int velocity)>;
    using ControlHandler = std::function<void(int number, int value)>;

    MidiInput();
    ~MidiInput();
    MidiInput(const MidiInput&) = delete;
    MidiInput& operator=(const MidiInput&) = delete;

    // Opens the first ALSA input port whose name contains `port`, or, with an
    // empty `port`, a virtual port that other programs connect to. Reports
    // and gives false when ALSA or the port is not there.
    // Controller changes (the sustain pedal) go to `controls` when given.
    bool open(const std::string& port, NoteHandler handler, const std::string& client = "cadenzium",
              ControlHandler controls = {});
    void close();
    bool is_open() const;

    // The names of the ALSA MIDI inputs; empty without a sequencer.
    static std::vector<std::string> ports();

private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};

// Reads a channel message as a note: note-on gives its velocity, note-off
// (or note-on with velocity 0) gives velocity 0. False for anything else.
bool decode_note(const unsigned char* bytes, std::size_t n, int& pitch, int& velocity);
// Reads a control change: its controller number and value. False for
// anything else.
bool decode_control(const unsigned char* bytes, std::size_t n, int& number, int& value);
