#include "Osc/OscPacket.hpp"

#include "Base/Console.hpp"
#include "Exp/ValueKinds.hpp"

#include <osc/OscException.h>
#include <osc/OscOutboundPacketStream.h>

namespace {

// Bundles inside bundles: a datagram of a few kilobytes cannot nest deeper
// than this anyway, but the walk must not trust it.
constexpr int kDeepestBundle = 64;

void collect(const osc::ReceivedPacket& packet, std::vector<osc::ReceivedMessage>& out, int depth);

[[noreturn]] void malformed(const char* why) {
    throw osc::MalformedMessageException(why);
}

std::size_t padded(std::size_t n) {
    return (n + 3) & ~std::size_t{3};
}

// The end of the zero-terminated, padded string at `at`.
std::size_t string_end(const char* data, std::size_t size, std::size_t at) {
    std::size_t i = at;
    while (i < size && data[i] != '\0')
        ++i;
    const std::size_t end = padded(i + 1);
    if (i >= size || end > size) malformed("unterminated string");
    // oscpack finds the end of a string by its padding: padding that is
    // not zero makes it read beyond the packet.
    for (std::size_t p = i + 1; p < end; ++p)
        if (data[p] != '\0') malformed("string padding not zero");
    return end;
}

std::size_t argument_size(char tag, const char* data, std::size_t size, std::size_t at) {
    switch (tag) {
    case 'i':
    case 'f':
    case 'c':
    case 'r':
    case 'm':
        return 4;
    case 'h':
    case 't':
    case 'd':
        return 8;
    case 's':
    case 'S':
        return string_end(data, size, at) - at;
    case 'b': {
        if (at + 4 > size) malformed("blob size beyond the message");
        const auto* b = reinterpret_cast<const unsigned char*>(data + at);
        const std::size_t n =
            std::size_t{b[0]} << 24 | std::size_t{b[1]} << 16 | std::size_t{b[2]} << 8 | b[3];
        return 4 + padded(n);
    }
    case 'T':
    case 'F':
    case 'N':
    case 'I':
    case '[':
    case ']':
        return 0;
    }
    malformed("unknown type tag");
}

// Every argument the type tags promise lies inside the message. oscpack's
// own check lets a blob claim more bytes than the packet holds, and its
// iterators would then read beyond it.
void check_layout(const char* data, std::size_t size) {
    std::size_t at = string_end(data, size, 0);
    if (at >= size) return;
    if (data[at] != ',') malformed("type tags missing");
    const std::size_t tags = at + 1;
    at = string_end(data, size, at);
    for (std::size_t t = tags; data[t] != '\0'; ++t) {
        const std::size_t n = argument_size(data[t], data, size, at);
        if (n > size - at) malformed("arguments exceed message size");
        at += n;
    }
}

std::int32_t int32_at(const char* data, std::size_t at) {
    const auto* b = reinterpret_cast<const unsigned char*>(data + at);
    return static_cast<std::int32_t>(std::uint32_t{b[0]} << 24 | std::uint32_t{b[1]} << 16 |
                                     std::uint32_t{b[2]} << 8 | b[3]);
}

// Each element of a bundle has a size of its own that fits in what is
// left. oscpack walks the elements by their sizes and loops forever on a
// negative one.
void check_bundle(const char* data, std::size_t size) {
    constexpr std::size_t kHeader = 16; // "#bundle\0" and the time tag
    if (size < kHeader) throw osc::MalformedBundleException("bundle too short");
    for (std::size_t at = kHeader; at < size;) {
        if (size - at < 4) throw osc::MalformedBundleException("bundle element size beyond the bundle");
        const std::int32_t n = int32_at(data, at);
        if (n < 0 || n % 4 != 0 || static_cast<std::size_t>(n) > size - at - 4)
            throw osc::MalformedBundleException("bad bundle element size");
        at += 4 + static_cast<std::size_t>(n);
    }
}

void collect_bundle(const osc::ReceivedBundle& bundle, std::vector<osc::ReceivedMessage>& out, int depth) {
    if (depth > kDeepestBundle) throw osc::MalformedBundleException("bundles nest too deep");
    for (auto e = bundle.ElementsBegin(); e != bundle.ElementsEnd(); ++e)
        collect(osc::ReceivedPacket(e->Contents(), e->Size()), out, depth + 1);
}

void collect(const osc::ReceivedPacket& packet, std::vector<osc::ReceivedMessage>& out, int depth) {
    if (packet.IsBundle()) {
        check_bundle(packet.Contents(), static_cast<std::size_t>(packet.Size()));
        collect_bundle(osc::ReceivedBundle(packet), out, depth);
    } else {
        check_layout(packet.Contents(), static_cast<std::size_t>(packet.Size()));
        out.emplace_back(packet);
    }
}

// An int64 goes to the language's 32-bit ints by its low 32 bits.
long low_bits(osc::int64 v) {
    return static_cast<long>(static_cast<std::int32_t>(static_cast<std::uint32_t>(v & 0xffffffffu)));
}

bool write_value(osc::OutboundPacketStream& out, const TaggedValue& v) {
    if (v.is_int()) {
        out << static_cast<osc::int32>(v.get_int());
    } else if (v.is_float()) {
        out << static_cast<float>(v.get_double());
    } else if (v.is_string_or_symb()) {
        out << v.get_string().c_str();
    } else if (v.is_tab()) {
        bool ok = true;
        for (const Value& e : *value_cast<TabValue>(v).val)
            ok = write_value(out, *e) && ok;
        return ok;
    } else {
        return false;
    }
    return true;
}

} // namespace

bool read_packet(const char* data, std::size_t size, std::vector<osc::ReceivedMessage>& out,
                 std::string& problem) {
    out.clear();
    if (size == 0 || size > 0x7fffffff) {
        problem = "empty or oversized packet";
        return false;
    }
    try {
        collect(osc::ReceivedPacket(data, static_cast<osc::osc_bundle_element_size_t>(size)), out, 0);
        return true;
    } catch (const osc::Exception& e) {
        problem = e.what();
    }
    out.clear();
    return false;
}

std::vector<Value> read_arguments(const osc::ReceivedMessage& m) {
    std::vector<Value> values;
    values.reserve(m.ArgumentCount());
    for (auto a = m.ArgumentsBegin(); a != m.ArgumentsEnd(); ++a) {
        switch (a->TypeTag()) {
        case osc::INT32_TYPE_TAG:
            values.push_back(int_value(a->AsInt32Unchecked()));
            break;
        case osc::INT64_TYPE_TAG:
            values.push_back(int_value(low_bits(a->AsInt64Unchecked())));
            break;
        case osc::FLOAT_TYPE_TAG:
            values.push_back(float_value(a->AsFloatUnchecked()));
            break;
        case osc::STRING_TYPE_TAG:
            values.push_back(string_value(a->AsStringUnchecked()));
            break;
        default:
            error("Osc message '%s' argument is not int, float, nor string", m.AddressPattern());
        }
    }
    return values;
}

std::size_t write_message(char* buffer, std::size_t capacity, const std::string& address,
                          const MessageLists& lists) {
    bool typed = true;
    try {
        osc::OutboundPacketStream out(buffer, capacity);
        out << osc::BeginMessage(address.c_str());
        for (const std::vector<Value>& list : lists)
            for (const Value& v : list)
                typed = write_value(out, *v) && typed;
        out << osc::EndMessage;
        if (!typed)
            error("Type problem in OSC message: arguments must be float, int, string, symb or tab thereof");
        return out.Size();
    } catch (const osc::OutOfBufferMemoryException&) {
        error("Osc message is too big!");
    }
    return 0;
}
