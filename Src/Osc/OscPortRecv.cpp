#include "Osc/OscPortRecv.hpp"

#include "Base/Console.hpp"
#include "Exp/Reference.hpp"
#include "Exp/Var.hpp"
#include "Osc/OscPacket.hpp"
#include "RunTime/Runtime.hpp"
#include "Tree/AtomicActions.hpp"

#include <ip/UdpSocket.h>

#include <chrono>
#include <exception>
#include <sstream>

namespace {

std::string shown(const TaggedValue& v) {
    std::ostringstream out;
    v.show(out);
    return out.str();
}

} // namespace

OscPortRecv::OscPortRecv(Runtime& rt, int port)
    : rt(rt)
    , port(port) {}

OscPortRecv::~OscPortRecv() {
    shutdown();
}

bool OscPortRecv::listen() {
    if (socket) return true;
    try {
        socket = std::make_unique<UdpListeningReceiveSocket>(
            IpEndpointName(IpEndpointName::ANY_ADDRESS, port), this);
    } catch (const std::exception& e) {
        error("OSC error on port '%s' %d : %s (%s)", "oscrecv", port, e.what(), "bind");
        return false;
    }
    thread = std::thread([this] { run(); });
    return true;
}

// A fault that escapes a datagram's handling must not end the port: the
// loop resumes until shutdown breaks it.
void OscPortRecv::run() {
    const ConsoleScope scope(&rt.console);
    for (;;) {
        try {
            socket->Run();
            break;
        } catch (const std::exception& e) {
            error("Osc select port %d : %s", port, e.what());
        }
    }
    stopped = true;
}

// The multiplexer forgets a break asked before its loop began, so the break
// is asked again until the thread has ended.
void OscPortRecv::shutdown() {
    if (!socket) return;
    while (!stopped) {
        socket->AsynchronousBreak();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    if (thread.joinable()) thread.join();
    socket.reset();
    stopped = false;
}

void OscPortRecv::addOscRecv(OscRecv& a) {
    Receiver r{a.name, {}, true};
    for (const VarPtr& v : a.variables)
        r.variables.push_back(v->uid);
    const std::lock_guard<std::mutex> hold(table_mutex);
    if (!receivers.emplace(a.address, std::move(r)).second)
        error("Duplicate OSC command %s", a.address.c_str());
}

bool OscPortRecv::set_enabled(const std::string& name, bool on) {
    const std::lock_guard<std::mutex> hold(table_mutex);
    bool found = false;
    for (auto& [address, r] : receivers) {
        if (r.name != name) continue;
        r.enabled = on;
        found = true;
    }
    return found;
}

bool OscPortRecv::find(const char* address, Receiver& out) const {
    const std::lock_guard<std::mutex> hold(table_mutex);
    auto it = receivers.find(address);
    if (it == receivers.end() || !it->second.enabled) return false;
    out = it->second;
    return true;
}

void OscPortRecv::ProcessPacket(const char* data, int size, const IpEndpointName&) {
    std::vector<osc::ReceivedMessage> messages;
    std::string problem;
    if (size < 0 || !read_packet(data, static_cast<std::size_t>(size), messages, problem)) {
        ++malformed;
        error("OSC port %d: malformed packet of %d bytes dropped (%s)", port, size, problem.c_str());
        return;
    }
    for (const osc::ReceivedMessage& m : messages)
        ProcessMessage(m);
}

// The message's arguments, in order, go to the receiver's variables, all at
// the date of one instant; an unknown address is dropped without a word.
void OscPortRecv::ProcessMessage(const osc::ReceivedMessage& m) {
    Receiver r;
    if (!find(m.AddressPattern(), r)) return;
    const std::vector<Value> values = read_arguments(m);
    std::vector<var_management*> changed;
    changed.reserve(10);
    rt.start_multiple_ExternalUpdateVar();
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i >= r.variables.size()) {
            error("Osc error: too many parameters for message %s (%d received > %d expected): received value "
                  "%s",
                  m.AddressPattern(), static_cast<int>(values.size()), static_cast<int>(r.variables.size()),
                  shown(*values[i]).c_str());
            continue;
        }
        rt.set_multiple_var(changed, r.variables[i], *values[i]);
    }
    rt.end_multiple_ExternalUpdateVar(changed);
}
