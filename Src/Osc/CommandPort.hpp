// The link with a score editor by OSC over UDP. Commands come in on one
// port at the address "/cadenzium/cmd", the command's name as the first
// argument and its arguments after it: every command of the engine's table
// (cadenzium_core::run_command), its arguments read for the command's kind.
// The follower's positions and traces go out to the editor's host and port,
// at the address "/cadenzium/editor", a name first:
//
//   event_beatpos BEAT            each position the follower takes
//   tempo BPM                     with it, the tempo it hears
//   trace KIND TEXT TIME          each message of the score (KIND "message")
//
// Each command runs on the port's listening thread, as a command from the
// host would.
#pragma once

#include <ip/PacketListener.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>

class cadenzium_core;
class OscSender;
class UdpListeningReceiveSocket;

namespace osc {
class ReceivedMessage;
}

// Where the link listens and where it sends.
struct EditorLinkConfig {
    std::string remote_host = "localhost";
    int remote_port = 5678;
    int port_receive = 5678;
};

class CommandPort final : public PacketListener {
public:
    static constexpr const char* kAddress = "/cadenzium/cmd";
    static constexpr const char* kEditorAddress = "/cadenzium/editor";

    CommandPort(cadenzium_core& engine, EditorLinkConfig config);
    ~CommandPort() override;
    CommandPort(const CommandPort&) = delete;
    CommandPort& operator=(const CommandPort&) = delete;

    // Opens the sending socket and starts listening; false, reported, when
    // either fails. A remote port of 0 sends nothing, an input port of 0
    // listens to nothing.
    bool enable();
    // Stops listening (after the command it may be running).
    void disable();
    bool listening() const { return socket != nullptr; }
    bool sending() const { return sender != nullptr; }

    // ---- towards the editor ----
    void send_mess(const std::string& name);
    void send_mess(const std::string& name, const std::string& value);
    void send_mess(const std::string& name, double value);
    void send_beat_pos(double beat, double tempo_bpm);
    void send_lectern_trace_mess(const std::string& kind, const std::string& text, double time);

    // One datagram: each of its messages in turn.
    void ProcessPacket(const char* data, int size, const IpEndpointName& from) override;

private:
    void ProcessMessage(const osc::ReceivedMessage& m);
    void run();

    cadenzium_core& engine;
    EditorLinkConfig config;
    std::unique_ptr<OscSender> sender;
    std::unique_ptr<UdpListeningReceiveSocket> socket;
    std::thread thread;
    std::atomic<bool> stopped{false};
};

// The line that opens `score` in the user's editor: $EDITOR when set
// (`editor_env`, null or empty when not), else xdg-open; the path quoted
// for the shell.
std::string editor_command_line(const std::string& score, const char* editor_env);
// Opens the score in the editor, without waiting for it. False when the
// shell could not be run.
bool launch_editor(const std::string& score);
