// OSC packets as the score's channels read and write them (oscpack).
//
// Reading never trusts a datagram: every message of a packet, bundles
// opened, is checked before any of it is handled, so a malformed packet is
// dropped whole. Writing puts a message with its address and arguments,
// bundle-free, into a caller's buffer.
#pragma once

#include "RunTime/ChannelPort.hpp"

#include <osc/OscReceivedElements.h>

#include <cstddef>
#include <string>
#include <vector>

// The largest packet written: a message that does not fit is refused.
inline constexpr std::size_t kOscPacketBytes = 2048;

// The messages of a datagram, in order. False, with the reason in
// `problem`, when any part of it is malformed; `out` is then empty.
bool read_packet(const char* data, std::size_t size, std::vector<osc::ReceivedMessage>& out,
                 std::string& problem);

// The arguments of a message as the language's values: int32 and int64
// (its low 32 bits) as ints, float as float, string as string. Another type
// is reported and skipped.
std::vector<Value> read_arguments(const osc::ReceivedMessage& m);

// Writes `address` and the values of all `lists` into `buffer` (ints as
// int32, floats as float32, strings and symbols as strings, tabs by their
// elements). Values of another kind are reported and left out. Returns the
// size of the packet, 0 (reported) when it does not fit.
std::size_t write_message(char* buffer, std::size_t capacity, const std::string& address,
                          const MessageLists& lists);
