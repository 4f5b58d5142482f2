// Fuzzes the OSC receive path: any datagram is read whole or dropped as
// malformed, never read beyond its end; the values of a message read are
// written back into a packet that reads again to as many values.
#include "Base/Console.hpp"
#include "Osc/OscPacket.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

void quiet_console() {
    static const bool done = [] {
        set_console_sink([](ConsoleLevel, std::string_view) {});
        return true;
    }();
    (void)done;
}

void round_trip(const osc::ReceivedMessage& m) {
    const std::vector<Value> values = read_arguments(m);
    char buffer[kOscPacketBytes];
    const std::size_t size = write_message(buffer, sizeof buffer, "/echo", {values});
    if (size == 0) return; // too big for a packet of ours: refused
    std::vector<osc::ReceivedMessage> again;
    std::string problem;
    if (!read_packet(buffer, size, again, problem) || again.size() != 1) std::abort();
    if (read_arguments(again[0]).size() != values.size()) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    quiet_console();
    std::vector<osc::ReceivedMessage> messages;
    std::string problem;
    if (!read_packet(reinterpret_cast<const char*>(data), size, messages, problem)) return 0;
    for (const osc::ReceivedMessage& m : messages)
        round_trip(m);
    return 0;
}
