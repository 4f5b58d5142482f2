#include "Osc/OscSender.hpp"

#include "Base/Console.hpp"
#include "Osc/OscPacket.hpp"

#include <ip/UdpSocket.h>

#include <exception>

OscSender::OscSender(const std::string& host, int port) {
    try {
        const IpEndpointName peer(host.empty() ? "localhost" : host.c_str(), port);
        socket = std::make_unique<UdpTransmitSocket>(peer);
    } catch (const std::exception& e) {
        error("error openning Osc socket");
        error("Osc socket towards %s:%d: %s", host.c_str(), port, e.what());
    }
}

OscSender::~OscSender() = default;

void OscSender::send(const std::string& address, const MessageLists& lists) const {
    if (!socket) return;
    char buffer[kOscPacketBytes];
    const std::size_t size = write_message(buffer, sizeof buffer, address, lists);
    if (size == 0) return;
    try {
        socket->Send(buffer, size);
    } catch (const std::exception& e) {
        // A peer that went away is not the score's fault: UDP goes on.
        post("Osc send to %s: %s", address.c_str(), e.what());
    }
}
