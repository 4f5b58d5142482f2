// The score's OSC channels and output files inside one engine: receivers
// set variables from datagrams on their own thread, senders write packets
// a peer can read, files take lines, and hostile datagrams change nothing.
#include "OscRig.hpp"

#include "Osc/OscPortRecv.hpp"

#include <osc/OscOutboundPacketStream.h>
#include <osc/OscReceivedElements.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

namespace {

std::string packet(const std::function<void(osc::OutboundPacketStream&)>& fill) {
    char buffer[4096];
    osc::OutboundPacketStream p(buffer, sizeof buffer);
    fill(p);
    return std::string(p.Data(), p.Size());
}

std::string set_message(osc::int32 a, float b) {
    return packet(
        [&](osc::OutboundPacketStream& p) { p << osc::BeginMessage("/set") << a << b << osc::EndMessage; });
}

class OscChannels : public ::testing::Test {
protected:
    void start(const std::string& score) {
        ASSERT_TRUE(host.load(score));
        host.engine.cadenzium_start("");
    }
    std::string var(const std::string& name) {
        const std::lock_guard<std::recursive_mutex> hold(host.engine.env_lock());
        return show_text(*host.env().unsafe_get_var(name));
    }
    // A receiver of "/set" into $a and $b on a free port.
    int start_receiver(const std::string& extra = "") {
        const int port = UdpPeer::free_port();
        start("oscrecv inbox " + std::to_string(port) + " \"/set\" $a, $b\n" + extra + "NOTE C4 1\n");
        return port;
    }

    SharedConsole console;
    OscHost host;
    UdpPeer peer;
};

// ---- receiving ----

TEST_F(OscChannels, AReceivedMessageSetsTheReceiversVariablesInOrder) {
    const int port = start_receiver();
    peer.send_to(port, set_message(3, 2.5f));
    EXPECT_TRUE(eventually([&] { return var("$b") == "2.5"; })) << var("$b");
    EXPECT_EQ(var("$a"), "3");
}

TEST_F(OscChannels, Int64KeepsItsLow32BitsAndStringsArriveAsStrings) {
    const int port = start_receiver();
    peer.send_to(port, packet([](osc::OutboundPacketStream& p) {
                     p << osc::BeginMessage("/set") << static_cast<osc::int64>(0x100000007LL) << "hello"
                       << osc::EndMessage;
                 }));
    EXPECT_TRUE(eventually([&] { return var("$b") == "\"hello\""; })) << var("$b");
    EXPECT_EQ(var("$a"), "7");
}

TEST_F(OscChannels, ArgumentsOfOtherTypesAndSurplusArgumentsAreReportedAndSkipped) {
    const int port = start_receiver();
    peer.send_to(port, packet([](osc::OutboundPacketStream& p) {
                     p << osc::BeginMessage("/set") << 1.5 << 4 << 5.0f << 6 << osc::EndMessage;
                 }));
    EXPECT_TRUE(eventually([&] { return console.errors_with("too many parameters for message /set") == 1; }));
    EXPECT_EQ(console.errors_with("Osc message '/set' argument is not int, float, nor string"), 1);
    EXPECT_EQ(var("$a"), "4");
    EXPECT_EQ(var("$b"), "5.0");
}

TEST_F(OscChannels, EveryMessageOfABundleIsHandledAndUnknownAddressesAreIgnored) {
    const int port = start_receiver();
    peer.send_to(port, packet([](osc::OutboundPacketStream& p) {
                     p << osc::BeginBundleImmediate << osc::BeginMessage("/nobody") << 9 << osc::EndMessage
                       << osc::BeginMessage("/set") << 8 << 1.0f << osc::EndMessage << osc::EndBundle;
                 }));
    EXPECT_TRUE(eventually([&] { return var("$a") == "8"; }));
    EXPECT_EQ(console.errors_with(""), 0);
}

TEST_F(OscChannels, ASecondReceiverOfTheSameAddressIsRefused) {
    const int port = UdpPeer::free_port();
    const std::string p = std::to_string(port);
    start("oscrecv one " + p + " \"/set\" $a\noscrecv two " + p + " \"/set\" $b\nNOTE C4 1\n");
    EXPECT_EQ(console.errors_with("Duplicate OSC command /set"), 1);
}

TEST_F(OscChannels, OscOffMutesAReceiverAndOscOnRestoresIt) {
    const int port = start_receiver("oscoff inbox\n");
    const std::string before = var("$a");
    peer.send_to(port, set_message(1, 1.0f));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(var("$a"), before);
    host.engine.StringParsing("oscon inbox");
    peer.send_to(port, set_message(2, 2.0f));
    EXPECT_TRUE(eventually([&] { return var("$a") == "2"; })) << var("$a");
}

TEST_F(OscChannels, ANewScoreClosesThePortsOfTheLastOne) {
    const int port = start_receiver();
    ASSERT_NE(host.osc.port(port), nullptr);
    ASSERT_TRUE(host.load("NOTE C4 1\n"));
    EXPECT_EQ(host.osc.port(port), nullptr);
}

// A thousand datagrams of every kind of damage, then one good message: the
// engine survives them, reports each malformed one, and handles the good
// one.
std::vector<std::string> damaged_datagrams() {
    std::vector<std::string> all;
    const std::string good = set_message(1, 1.0f);
    std::mt19937 random(1234);
    for (int i = 0; i < 200; ++i) {
        // A blob whose size runs past the end.
        std::string blob = packet([](osc::OutboundPacketStream& p) {
            p << osc::BeginMessage("/set") << osc::Blob("abcd", 4) << osc::EndMessage;
        });
        const uint32_t huge = 0x7ffffff0u - static_cast<uint32_t>(i);
        blob[12] = static_cast<char>(huge >> 24), blob[13] = static_cast<char>(huge >> 16);
        blob[14] = static_cast<char>(huge >> 8), blob[15] = static_cast<char>(huge);
        all.push_back(blob);
        // Type tags that promise arguments the packet does not hold.
        all.push_back(std::string("/set\0\0\0\0,iifs", 13) + std::string(3 + i % 4, '\0'));
        // A string with no terminating zero.
        std::string truncated = good.substr(0, 8) + ",s\0\0" + std::string(4 + 4 * (i % 5), 'x');
        all.push_back(truncated);
        // A bundle whose element claims more bytes than it has, or a
        // negative number of them.
        std::string bundle = std::string("#bundle\0", 8) + std::string(8, '\0');
        const uint32_t claim = i % 2 ? static_cast<uint32_t>(good.size() + 4 + i) : 0xfffffffcu;
        bundle += {static_cast<char>(claim >> 24), static_cast<char>(claim >> 16),
                   static_cast<char>(claim >> 8), static_cast<char>(claim)};
        all.push_back(bundle + good);
        // Random bytes with no zero: an address that never ends. (Random
        // bytes with zeros can make a well-formed message of an unknown
        // address, which is dropped without a word.)
        std::string noise(1 + random() % 256, '\0');
        for (char& c : noise)
            c = static_cast<char>(1 + random() % 255);
        all.push_back(noise);
    }
    return all;
}

TEST_F(OscChannels, AThousandMalformedDatagramsAreDroppedAndTheNextGoodOneIsHandled) {
    const int port = start_receiver();
    const std::vector<std::string> damaged = damaged_datagrams();
    ASSERT_EQ(damaged.size(), 1000u);
    OscPortRecv* receiver = host.osc.port(port);
    ASSERT_NE(receiver, nullptr);
    // In rounds that the socket's buffer holds, so that none is lost.
    for (std::size_t sent = 0; sent < damaged.size();) {
        for (std::size_t end = sent + 50; sent < end; ++sent)
            peer.send_to(port, damaged[sent]);
        ASSERT_TRUE(eventually([&] { return receiver->dropped() == sent; }))
            << receiver->dropped() << " of " << sent;
    }
    peer.send_to(port, set_message(42, 0.5f));
    EXPECT_TRUE(eventually([&] { return var("$a") == "42"; })) << var("$a");
    EXPECT_EQ(receiver->dropped(), 1000u);
    EXPECT_EQ(console.errors_with("malformed packet"), 1000);
}

// ---- sending ----

TEST_F(OscChannels, ASenderWritesIntsFloatsStringsAndTheElementsOfTabs) {
    start("oscsend out : " + std::to_string(peer.port()) + " \"/cad/out\"\n" +
          "NOTE C4 1\n  out 7 2.5 \"word\" ([1, [2.0, \"x\"]])\n");
    host.engine.updatePosition(1);
    const std::string got = peer.receive();
    ASSERT_FALSE(got.empty());
    osc::ReceivedMessage m(
        osc::ReceivedPacket(got.data(), static_cast<osc::osc_bundle_element_size_t>(got.size())));
    EXPECT_STREQ(m.AddressPattern(), "/cad/out");
    EXPECT_STREQ(m.TypeTags(), "ifsifs");
    auto a = m.ArgumentsBegin();
    EXPECT_EQ((a++)->AsInt32(), 7);
    EXPECT_FLOAT_EQ((a++)->AsFloat(), 2.5f);
    EXPECT_STREQ((a++)->AsString(), "word");
    EXPECT_EQ((a++)->AsInt32(), 1);
    EXPECT_FLOAT_EQ((a++)->AsFloat(), 2.0f);
    EXPECT_STREQ(a->AsString(), "x");
    EXPECT_TRUE(host.messages().empty()) << "a sender's message does not reach the host";
}

TEST_F(OscChannels, OscOffMutesASenderAndOscOnOfAnUnknownNameIsReported) {
    start("oscsend out : " + std::to_string(peer.port()) + " \"/o\"\n" +
          "NOTE C4 1\n  oscoff out\n  out 1\n  oscon nobody\nNOTE D4 1\n  oscon out\n  out 2\n");
    host.engine.updatePosition(1);
    host.engine.updatePosition(2);
    const std::string got = peer.receive();
    ASSERT_FALSE(got.empty());
    osc::ReceivedMessage m(
        osc::ReceivedPacket(got.data(), static_cast<osc::osc_bundle_element_size_t>(got.size())));
    EXPECT_EQ(m.ArgumentsBegin()->AsInt32(), 2);
    EXPECT_EQ(console.errors_with("OscOn on non existing id"), 1);
}

TEST_F(OscChannels, AMessageTooBigOrOfAnotherKindIsReported) {
    start("oscsend out : " + std::to_string(peer.port()) + " \"/o\"\n" + "NOTE C4 1\n  out \"" +
          std::string(3000, 'x') + "\"\n  out true 3\n");
    host.engine.updatePosition(1);
    EXPECT_EQ(console.errors_with("Osc message is too big!"), 1);
    EXPECT_EQ(console.errors_with("Type problem in OSC message"), 1);
    const std::string got = peer.receive();
    osc::ReceivedMessage m(
        osc::ReceivedPacket(got.data(), static_cast<osc::osc_bundle_element_size_t>(got.size())));
    EXPECT_STREQ(m.TypeTags(), "i") << "the value of another kind is left out";
}

// ---- files ----

TEST_F(OscChannels, AnOutputFileTakesEachArgumentListAsALineUntilItIsClosed) {
    const std::string path =
        (std::filesystem::temp_directory_path() / ("cadenzium-ofile-" + std::to_string(::getpid()) + ".txt"))
            .string();
    start("NOTE C4 1\n  openoutfile log \"" + path + "\"\n  log 1 2.5 \"text\", 3\n" +
          "NOTE D4 1\n  closefile log\n  log 4\n  closefile log\n");
    host.engine.updatePosition(1);
    host.engine.updatePosition(2);
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    EXPECT_EQ(text.str(), "1 2.5 text\n3\n");
    EXPECT_EQ(host.messages(), std::vector<std::string>{"log 4"})
        << "a closed file's name is the host's again";
    EXPECT_EQ(console.errors_with("Error: close file: symbol 'log' does not refers to an open file"), 1);
    std::filesystem::remove(path);
}

TEST_F(OscChannels, AFileThatCannotBeWrittenIsReported) {
    start("NOTE C4 1\n  openoutfile log \"/nonexistent-dir/x/log.txt\"\n");
    host.engine.updatePosition(1);
    EXPECT_EQ(console.errors_with("Error: unable to open file `/nonexistent-dir/x/log.txt'"), 1);
}

} // namespace
