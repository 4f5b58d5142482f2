#include "Osc/CommandPort.hpp"

#include "Base/Console.hpp"
#include "Osc/OscPacket.hpp"
#include "Osc/OscSender.hpp"
#include "RunTime/CadenziumCore.hpp"

#include <ip/UdpSocket.h>
#include <osc/OscReceivedElements.h>

#include <chrono>
#include <cstdlib>
#include <exception>

CommandPort::CommandPort(cadenzium_core& e, EditorLinkConfig c)
    : engine(e)
    , config(std::move(c)) {}

CommandPort::~CommandPort() {
    disable();
}

// A remote port of 0 sends nothing; an input port of 0 takes nothing.
bool CommandPort::enable() {
    if (socket || sender) return true;
    if (config.remote_port > 0) {
        sender = std::make_unique<OscSender>(config.remote_host, config.remote_port);
        if (!sender->is_open()) {
            sender.reset();
            return false;
        }
    }
    if (config.port_receive <= 0) return true;
    try {
        socket = std::make_unique<UdpListeningReceiveSocket>(
            IpEndpointName(IpEndpointName::ANY_ADDRESS, config.port_receive), this);
    } catch (const std::exception& e) {
        error("OSC error on Lectern communication (remote_host: %s, remote_port: %d, port_input %d): %s (%s)",
              config.remote_host.c_str(), config.remote_port, config.port_receive, e.what(), "bind");
        sender.reset();
        return false;
    }
    thread = std::thread([this] { run(); });
    return true;
}

void CommandPort::run() {
    for (;;) {
        try {
            socket->Run();
            break;
        } catch (const std::exception& e) {
            error("Osc select port %d : %s", config.port_receive, e.what());
        }
    }
    stopped = true;
}

// A break asked before the loop began is forgotten: asked again until the
// thread has ended.
void CommandPort::disable() {
    if (!socket) {
        sender.reset();
        return;
    }
    while (!stopped) {
        socket->AsynchronousBreak();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    if (thread.joinable()) thread.join();
    socket.reset();
    sender.reset();
    stopped = false;
}

// ---- towards the editor ----

void CommandPort::send_mess(const std::string& name) {
    if (sender) sender->send(kEditorAddress, {{string_value(name)}});
}

void CommandPort::send_mess(const std::string& name, const std::string& value) {
    if (sender) sender->send(kEditorAddress, {{string_value(name), string_value(value)}});
}

void CommandPort::send_mess(const std::string& name, double value) {
    if (sender) sender->send(kEditorAddress, {{string_value(name), float_value(value)}});
}

void CommandPort::send_beat_pos(double beat, double tempo_bpm) {
    send_mess("event_beatpos", beat);
    send_mess("tempo", tempo_bpm);
}

void CommandPort::send_lectern_trace_mess(const std::string& kind, const std::string& text, double time) {
    if (sender)
        sender->send(kEditorAddress,
                     {{string_value("trace"), string_value(kind), string_value(text), float_value(time)}});
}

// ---- from the editor ----

void CommandPort::ProcessPacket(const char* data, int size, const IpEndpointName&) {
    std::vector<osc::ReceivedMessage> messages;
    std::string problem;
    if (size < 0 || !read_packet(data, static_cast<std::size_t>(size), messages, problem)) {
        error("OSC port %d: malformed packet of %d bytes dropped (%s)", config.port_receive, size,
              problem.c_str());
        return;
    }
    for (const osc::ReceivedMessage& m : messages)
        ProcessMessage(m);
}

namespace {

void report_bad_arguments(const std::string& name, ArgumentProblem problem) {
    switch (problem) {
    case ArgumentProblem::ExpectsInts:
        error("Osc command %s from Lectern expects ints as arguments", name.c_str());
        return;
    case ArgumentProblem::ExpectsFirstFloat:
        error("Osc command %s from Lectern expects a float as first argument", name.c_str());
        return;
    case ArgumentProblem::ExpectsSecondInt:
        error("Osc command %s from Lectern expects int as second argument", name.c_str());
        return;
    case ArgumentProblem::ExpectsFloats:
        error("Osc command %s from Lectern expects floats", name.c_str());
        return;
    case ArgumentProblem::ExpectsStrings:
        error("Osc command %s from Lectern expects strings", name.c_str());
        return;
    case ArgumentProblem::None:
    case ArgumentProblem::Other:
        error("Problem in arguments of osc command %s from Lectern", name.c_str());
        return;
    }
}

} // namespace

void CommandPort::ProcessMessage(const osc::ReceivedMessage& m) {
    if (std::string(m.AddressPattern()) != kAddress) return;
    std::vector<Value> values = read_arguments(m);
    if (values.empty() || !values[0]->is_string_or_symb()) {
        error("Osc command message from Lectern is not a string");
        return;
    }
    const std::string name = values[0]->get_string();
    values.erase(values.begin());
    const CommandResult result = engine.run_command(name, values);
    if (result.status == CommandStatus::Unknown)
        error("Invalid osc command message from Lectern : %s", name.c_str());
    else if (result.status == CommandStatus::BadArguments)
        report_bad_arguments(name, result.problem);
}

// ---- the editor ----

namespace {

// Single quotes for the shell, a quote inside closed and reopened.
std::string shell_quoted(const std::string& text) {
    std::string out = "'";
    for (char c : text)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

} // namespace

std::string editor_command_line(const std::string& score, const char* editor_env) {
    const std::string program = editor_env && *editor_env ? editor_env : "xdg-open";
    return program + " " + shell_quoted(score);
}

bool launch_editor(const std::string& score) {
    const std::string line = editor_command_line(score, std::getenv("EDITOR")) + " >/dev/null 2>&1 &";
    if (std::system(line.c_str()) != 0) {
        error("cadenzium - cannot open the editor: %s", line.c_str());
        return false;
    }
    return true;
}
