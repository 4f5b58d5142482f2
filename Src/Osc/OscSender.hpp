// A UDP channel towards one OSC peer: the "oscsend" of a score, or the
// standalone program's forwarding of the host's messages.
#pragma once

#include "RunTime/ChannelPort.hpp"

#include <memory>
#include <string>

class UdpTransmitSocket;

class OscSender {
public:
    // Opens a socket towards `host` ("localhost" when empty) and `port`;
    // a sender whose socket could not open reports it and sends nothing.
    OscSender(const std::string& host, int port);
    ~OscSender();
    OscSender(const OscSender&) = delete;
    OscSender& operator=(const OscSender&) = delete;

    bool is_open() const { return socket != nullptr; }
    // One message at `address` with the values of all `lists`. Safe from
    // any thread: each send writes its own packet.
    void send(const std::string& address, const MessageLists& lists) const;

private:
    std::unique_ptr<UdpTransmitSocket> socket;
};
