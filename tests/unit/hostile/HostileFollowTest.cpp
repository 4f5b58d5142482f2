// Hostile performances and options given to `cadenzium follow`: the program
// never throws, hangs or follows silently wrong; it says what is wrong.
#include "MidiFile.hpp"
#include "Program.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>

namespace {

const char* const kTwoNotes = "BPM 60\nNOTE D4 1\n  print one\nNOTE E4 1\n  print two\n";

std::string bytes_of(const std::vector<uint8_t>& v) { return std::string(v.begin(), v.end()); }

// D4 then E4, a second apart, `gap` seconds after the start.
std::string two_note_midi(double gap = 0.0) {
    return bytes_of(write_midi_bytes({{gap, 62, 80}, {gap + 0.9, 62, 0}, {gap + 1.0, 64, 80}, {gap + 1.9, 64, 0}}));
}

void put32(std::string& s, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        s += static_cast<char>(v >> (8 * i) & 0xff);
}
void put16(std::string& s, uint16_t v) {
    s += static_cast<char>(v & 0xff);
    s += static_cast<char>(v >> 8);
}

// A mono WAV of 32-bit floats at `rate` Hz.
std::string float_wav(uint32_t rate, const std::vector<float>& samples) {
    const auto data_bytes = static_cast<uint32_t>(samples.size() * 4);
    std::string s = "RIFF";
    put32(s, 36 + data_bytes);
    s += "WAVEfmt ";
    put32(s, 16);
    put16(s, 3); // IEEE float
    put16(s, 1);
    put32(s, rate);
    put32(s, rate * 4);
    put16(s, 4);
    put16(s, 32);
    s += "data";
    put32(s, data_bytes);
    for (float x : samples) {
        uint32_t bits;
        std::memcpy(&bits, &x, 4);
        put32(s, bits);
    }
    return s;
}

void add_tone(std::vector<float>& s, double hz, double seconds, int rate) {
    const auto n = static_cast<size_t>(seconds * rate);
    for (size_t i = 0; i < n; ++i)
        s.push_back(static_cast<float>(0.3 * std::sin(2 * M_PI * hz * static_cast<double>(i) / rate)));
}

std::vector<nlohmann::json> trace_lines(const std::string& text) {
    std::vector<nlohmann::json> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(nlohmann::json::parse(line));
    return lines;
}

TEST(HostileTrace, BytesThatAreNotUtf8AreReplacedAndTheRunGoesOn) {
    Scratch dir;
    dir.write("s.cad", "BPM 60\nNOTE D4 1 \"\xc3\x28\"\n  print \"\xff\xfe\" one\nNOTE E4 1\n  print two\n");
    dir.write("p.mid", two_note_midi());
    const Outcome o = dir.run({"follow", "s.cad", "--midi", "p.mid", "--trace", "-", "-q"});
    ASSERT_EQ(o.status, 0) << o.err;
    std::vector<nlohmann::json> lines;
    ASSERT_NO_THROW(lines = trace_lines(o.out)) << o.out;
    const std::string replaced = "\xef\xbf\xbd";
    bool label = false, message = false, second = false;
    for (const auto& j : lines) {
        const std::string text = j.dump();
        label |= j["type"] == "position" && text.find(replaced) != std::string::npos;
        message |= j["type"] == "message" && text.find(replaced) != std::string::npos;
        second |= j["type"] == "message" && text.find("two") != std::string::npos;
    }
    EXPECT_TRUE(label) << o.out;
    EXPECT_TRUE(message) << o.out;
    EXPECT_TRUE(second) << o.out;
}

TEST(HostileTrace, AFailedWriteIsReportedOnceAndTheRunFails) {
    Scratch dir;
    dir.write("s.cad", kTwoNotes);
    dir.write("p.mid", two_note_midi());
    const Outcome o = dir.run({"follow", "s.cad", "--midi", "p.mid", "--trace", "/dev/full"});
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.errors_with("cannot write the trace to /dev/full"), 1) << o.err;
}

TEST(HostileTrace, NeverOverwritesTheScoreOrThePerformance) {
    Scratch dir;
    dir.write("s.cad", kTwoNotes);
    dir.write("p.mid", two_note_midi());
    for (const char* target : {"s.cad", "./s.cad", "p.mid"}) {
        const Outcome o = dir.run({"follow", "s.cad", "--midi", "p.mid", "--trace", target});
        EXPECT_EQ(o.status, 1) << target;
        EXPECT_EQ(o.errors_with("would overwrite"), 1) << o.err;
    }
    const Outcome again = dir.run({"follow", "s.cad", "--midi", "p.mid"});
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_NE(again.out.find("print two"), std::string::npos) << again.out;
}

TEST(HostileDurations, AbsurdTailsAndDurationsAreRefused) {
    Scratch dir;
    dir.write("s.cad", kTwoNotes);
    dir.write("p.mid", two_note_midi());
    for (const char* tail : {"1e308", "nan", "inf", "3601"}) {
        const Outcome o = dir.run({"follow", "s.cad", "--midi", "p.mid", "--tail", tail});
        EXPECT_EQ(o.status, 1) << tail;
        EXPECT_EQ(o.errors_with("--tail takes seconds from 0 to 3600"), 1) << o.err;
    }
    const Outcome o = dir.run({"follow", "s.cad", "--midi", "p.mid", "--duration", "1e308"});
    EXPECT_EQ(o.errors_with("--duration takes seconds from 0 to 86400"), 1) << o.err;
}

// Notes a lifetime apart: one delta of 2^28 - 1 ticks at the slowest tempo.
std::string midi_with_huge_delta() {
    const std::string track = std::string("\x00\xff\x51\x03\xff\xff\xff", 7) + std::string("\x00\x90\x3e\x40", 4) +
                              std::string("\x01\x80\x3e\x00", 4) + std::string("\xff\xff\xff\x7f\x90\x40\x40", 7) +
                              std::string("\x01\x80\x40\x00\x00\xff\x2f\x00", 8);
    std::string s = std::string("MThd\x00\x00\x00\x06\x00\x00\x00\x01\x00\x01", 14) + "MTrk";
    s += static_cast<char>(0);
    s += static_cast<char>(0);
    s += static_cast<char>(0);
    s += static_cast<char>(track.size());
    return s + track;
}

TEST(HostileDurations, APerformanceLongerThanADayIsRefused) {
    Scratch dir;
    dir.write("s.cad", kTwoNotes);
    dir.write("p.mid", midi_with_huge_delta());
    const Outcome o = dir.run({"follow", "s.cad", "--midi", "p.mid"}, 10);
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.errors_with("a performance lasts at most 24 hours"), 1) << o.err;
}

TEST(HostileDurations, HoursOfSilenceCostNothingAndTimedActionsStillFire) {
    Scratch dir;
    dir.write("s.cad", "BPM 60\nNOTE D4 1\n  print one\n  3600s print later\nNOTE E4 1\n  print two\n");
    dir.write("p.mid", bytes_of(write_midi_bytes({{0.0, 62, 80}, {0.9, 62, 0}, {72000.0, 64, 80}, {72000.9, 64, 0}})));
    const Outcome o = dir.run({"follow", "s.cad", "--midi", "p.mid"}, 10);
    ASSERT_EQ(o.status, 0) << o.err;
    // The delay runs from the note, whose instant is dated at its onset.
    EXPECT_NE(o.out.find("3600.0"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("s    -> print later"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("72000.000s  event 2"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("print two"), std::string::npos) << o.out;
}

TEST(HostileAudio, AnAbsurdSampleRateIsRefused) {
    Scratch dir;
    dir.write("s.cad", kTwoNotes);
    dir.write("p.wav", float_wav(2000000000u, std::vector<float>(1024, 0.0f)));
    const Outcome o = dir.run({"follow", "s.cad", "--audio", "p.wav"}, 10);
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.errors_with("declares 2000000000 Hz"), 1) << o.err;
}

TEST(HostileAudio, SamplesThatAreNotNumbersAreSilencedAndReportedOnce) {
    constexpr int rate = 22050;
    std::vector<float> samples;
    add_tone(samples, 0, 0.5, rate);
    samples[100] = std::numeric_limits<float>::quiet_NaN();
    samples[200] = std::numeric_limits<float>::infinity();
    add_tone(samples, 293.66, 1.0, rate);
    add_tone(samples, 329.63, 1.0, rate);
    Scratch dir;
    dir.write("s.cad", kTwoNotes);
    dir.write("p.wav", float_wav(rate, samples));
    const Outcome o = dir.run({"follow", "s.cad", "--audio", "p.wav"});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.errors_with("2 samples that are not numbers"), 1) << o.err;
    EXPECT_NE(o.out.find("print two"), std::string::npos) << "deaf after the bad samples:\n" << o.out;
}

TEST(HostileConsole, EngineChatterOnlyWithVerbosityAndQuietKeepsErrors) {
    Scratch dir;
    dir.write("s.cad", kTwoNotes);
    dir.write("p.mid", two_note_midi());
    const Outcome plain = dir.run({"follow", "s.cad", "--midi", "p.mid"});
    EXPECT_EQ(plain.err, "");
    const Outcome verbose = dir.run({"follow", "s.cad", "--midi", "p.mid", "-v"});
    EXPECT_NE(verbose.err.find("Stopped!"), std::string::npos) << verbose.err;
    dir.write("bad.cad", "BPM 60\nNOTE D4 1\n  print (1 +)\n");
    const Outcome quiet = dir.run({"check", "bad.cad", "-q"});
    EXPECT_NE(quiet.status, 0);
    EXPECT_NE(quiet.err, "");
}

TEST(HostileConsole, HumanNumbersPrintWhole) {
    Scratch dir;
    dir.write("s.cad", "BPM 60\nNOTE D4 1\n  print 1000000000000.0 123456789.5 0.5\nNOTE E4 1\n");
    dir.write("p.mid", two_note_midi());
    const Outcome o = dir.run({"follow", "s.cad", "--midi", "p.mid"});
    EXPECT_NE(o.out.find("print 1000000000000.0 123456789.5 0.5"), std::string::npos) << o.out;
}

} // namespace
