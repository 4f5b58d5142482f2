// One UDP port on which the score's "oscrecv" receivers listen, with its
// own listening thread.
//
// Each message received is one logical instant of the runtime, run on the
// listening thread: the receiver's variables take the message's arguments
// at one date and their reactions run once. A malformed datagram is
// dropped, reported, and the port listens on.
//
// Locks: the table of receivers has its own mutex, taken after the
// environment lock by firing and alone by the listening thread, which
// never holds it while it runs an instant.
#pragma once

#include <ip/PacketListener.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Exp/ExpTypes.hpp"

class OscRecv;
class Runtime;
class UdpListeningReceiveSocket;

namespace osc {
class ReceivedMessage;
}

class OscPortRecv final : public PacketListener {
public:
    OscPortRecv(Runtime& rt, int port);
    ~OscPortRecv() override;
    OscPortRecv(const OscPortRecv&) = delete;
    OscPortRecv& operator=(const OscPortRecv&) = delete;

    // Binds the port and starts the listening thread; false, reported, when
    // the port cannot be bound.
    bool listen();
    // Stops the thread (after the instant it may be running) and closes the
    // socket. Call it without the environment lock.
    void shutdown();
    bool listening() const { return socket != nullptr; }

    // Handles messages at `a.address` from now on; a second receiver of the
    // same address is refused ("Duplicate OSC command").
    void addOscRecv(OscRecv& a);
    // Mutes or unmutes the receiver named `name`; false when none here.
    bool set_enabled(const std::string& name, bool on);

    // One datagram: each of its messages in turn (also the fuzzer's entry).
    void ProcessPacket(const char* data, int size, const IpEndpointName& from) override;
    // Datagrams dropped as malformed so far.
    std::size_t dropped() const { return malformed.load(); }

private:
    struct Receiver {
        std::string name;
        std::vector<unique_identifier> variables;
        bool enabled = true;
    };
    void ProcessMessage(const osc::ReceivedMessage& m);
    bool find(const char* address, Receiver& out) const;
    void run();

    Runtime& rt;
    const int port;
    std::unique_ptr<UdpListeningReceiveSocket> socket;
    std::thread thread;
    mutable std::mutex table_mutex;
    std::map<std::string, Receiver> receivers; // by address
    std::atomic<std::size_t> malformed{0};
    std::atomic<bool> stopped{false};
};
