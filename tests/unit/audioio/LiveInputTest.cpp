// Live input: a JACK client against a private dummy server, and the reading
// of MIDI note messages.
#include "LiveInput.hpp"
#include "ConsoleCapture.hpp"
#include "DummyJack.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace {

// Opens `client` on the server, trying while the server starts.
bool open_on(DummyJackServer& server, JackInput& client) {
    return server.wait_for([&] {
        ConsoleCapture quiet;
        return client.open("cadenzium-test", server.name);
    });
}

} // namespace

TEST(JackInput, BlocksOfTheDummyServerReachTheHandler) {
    if (!jackd_installed())
        GTEST_SKIP() << "jackd is not installed (Debian package jackd2): JACK input not tested";
    DummyJackServer server(256);
    ASSERT_GT(server.pid, 0);
    JackInput input;
    ASSERT_TRUE(open_on(server, input)) << "the dummy server did not come up";
    EXPECT_EQ(input.sample_rate(), 44100);
    EXPECT_EQ(input.block_size(), 256);
    EXPECT_NE(input.port_name().find(":in"), std::string::npos);

    std::atomic<int> blocks{0};
    std::atomic<int> wrong_size{0};
    input.set_handler([&](const float* samples, int n) {
        if (n != 256 || !samples) ++wrong_size;
        ++blocks;
    });
    ASSERT_TRUE(input.activate());
    EXPECT_TRUE(input.connect("system:capture_1"));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (blocks < 20 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    input.close();
    EXPECT_GE(blocks.load(), 20);
    EXPECT_EQ(wrong_size.load(), 0);
    EXPECT_FALSE(input.is_open());
}

TEST(JackInput, NoServerIsReported) {
    ConsoleCapture console;
    JackInput input;
    EXPECT_FALSE(input.open("cadenzium-test", "cadenzium-no-such-server"));
    EXPECT_TRUE(console.has_error("Cannot connect to the JACK server cadenzium-no-such-server"));
    EXPECT_FALSE(input.activate());
}

TEST(MidiNotes, NoteOnAndNoteOffOnAnyChannel) {
    int pitch = -1, velocity = -1;
    const unsigned char on[] = {0x93, 60, 100};
    ASSERT_TRUE(decode_note(on, 3, pitch, velocity));
    EXPECT_EQ(pitch, 60);
    EXPECT_EQ(velocity, 100);
    const unsigned char off[] = {0x80, 61, 64};
    ASSERT_TRUE(decode_note(off, 3, pitch, velocity));
    EXPECT_EQ(pitch, 61);
    EXPECT_EQ(velocity, 0) << "a note-off's release velocity is not a note-on";
    const unsigned char silent_on[] = {0x90, 62, 0};
    ASSERT_TRUE(decode_note(silent_on, 3, pitch, velocity));
    EXPECT_EQ(velocity, 0);
}

TEST(MidiNotes, OtherMessagesAreNotNotes) {
    int pitch = 0, velocity = 0;
    const unsigned char control[] = {0xB0, 64, 127};
    const unsigned char clock[] = {0xF8};
    const unsigned char short_on[] = {0x90, 60};
    EXPECT_FALSE(decode_note(control, 3, pitch, velocity));
    EXPECT_FALSE(decode_note(clock, 1, pitch, velocity));
    EXPECT_FALSE(decode_note(short_on, 2, pitch, velocity));
}

// The sustain pedal reaches the follower as a controller change.
TEST(MidiControls, ControllerChangesOnAnyChannelAndNothingElse) {
    int number = -1, value = -1;
    const unsigned char pedal[] = {0xB5, 64, 127};
    ASSERT_TRUE(decode_control(pedal, 3, number, value));
    EXPECT_EQ(number, 64);
    EXPECT_EQ(value, 127);
    const unsigned char note[] = {0x90, 64, 127};
    const unsigned char short_control[] = {0xB0, 64};
    EXPECT_FALSE(decode_control(note, 3, number, value));
    EXPECT_FALSE(decode_control(short_control, 2, number, value));
}

TEST(MidiInput, MissingPortOrSequencerIsReported) {
    ConsoleCapture console;
    MidiInput input;
    EXPECT_FALSE(input.open("no such port anywhere", [](int, int) {}));
    EXPECT_FALSE(input.is_open());
    EXPECT_TRUE(console.has_error("No ALSA MIDI input") || console.has_error("No MIDI input port matches"));
}
