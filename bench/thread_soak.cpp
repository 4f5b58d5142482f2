// Every thread of the engine at once, for minutes: OSC messages arriving on
// a receiver's port, MIDI notes and decoding steps from their own thread,
// timers on the scheduler thread, and on the main thread commands,
// variables set from outside and a new score read now and then. Built with ThreadSanitizer (make tsan)
// it must run to the end without a report; it prints what it did.
#include "Osc/OscManager.hpp"
#include "SchedulerThread.hpp"
#include "StandaloneHost.hpp"

#include <CLI/CLI.hpp>
#include <osc/OscOutboundPacketStream.h>

#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

// A loop of twelve notes with groups, delays and a reaction to the OSC
// variable; it ends by jumping back to its top.
std::string soak_score(int port) {
    std::string s = "oscrecv knob " + std::to_string(port) + " \"/knob\" $knob, $name\nBPM 120\n";
    const char* pitches[] = {"C4", "D4", "E4", "F4", "G4", "A4", "B4", "C5", "B4", "A4", "G4", "F4"};
    for (int i = 0; i < 12; ++i) {
        s += std::string("NOTE ") + pitches[i] + " 1\n";
        s += "  group g" + std::to_string(i) + " {\n    0.25 out $knob\n    0.25 out $name " +
             std::to_string(i) + "\n  }\n";
        s += "  $count := $count + 1\n";
    }
    return s;
}

void send_knobs(int port, const std::atomic<bool>& stop, std::atomic<long>& sent) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    to.sin_port = htons(static_cast<uint16_t>(port));
    char buffer[256];
    for (long i = 0; !stop; ++i) {
        osc::OutboundPacketStream p(buffer, sizeof buffer);
        p << osc::BeginMessage("/knob") << static_cast<osc::int32>(i) << (i % 2 ? "odd" : "even")
          << osc::EndMessage;
        ::sendto(fd, p.Data(), p.Size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
        ++sent;
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
    ::close(fd);
}

void play_notes(StandaloneHost& host, const std::atomic<bool>& stop, std::atomic<long>& notes) {
    const int pitches[] = {60, 62, 64, 65, 67, 69, 71, 72, 71, 69, 67, 65};
    for (long i = 0; !stop; ++i) {
        const int p = pitches[i % 12];
        host.deliver_note(p, 80);
        for (int hop = 0; hop < 20 && !stop; ++hop) {
            host.decoding_step();
            std::this_thread::sleep_for(std::chrono::microseconds(11600));
        }
        host.deliver_note(p, 0);
        ++notes;
    }
}

// The main thread's share: a variable and a line of score every few
// milliseconds, back to the top of the score every 12 notes or so, and a
// new reading of the score (which closes the receiver's port and opens it
// again) every 20 seconds.
void run_commands(StandaloneHost& host, const std::string& path, Clock::time_point end,
                  const std::atomic<long>& notes, std::atomic<long>& commands, long& readings) {
    long rewound_at = 0;
    auto next_reading = Clock::now() + std::chrono::seconds(20);
    for (long i = 0; Clock::now() < end; ++i) {
        host.engine().runtime().ExternalUpdateVar("$knob", *int_value(-i));
        host.engine().StringParsing("out \"command\" " + std::to_string(i));
        ++commands;
        if (notes - rewound_at >= 12) {
            rewound_at = notes;
            host.engine().cadenzium_start("");
        }
        if (Clock::now() >= next_reading) {
            next_reading += std::chrono::seconds(20);
            host.engine().ScoreParsing(path);
            host.engine().cadenzium_start("");
            ++readings;
            std::printf("commands %ld, readings %ld\n", commands.load(), readings);
            std::fflush(stdout);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(7));
    }
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Runs OSC input, MIDI notes, timers and commands together"};
    double minutes = 10;
    int port = 47123;
    app.add_option("--minutes", minutes, "How long to run");
    app.add_option("--port", port, "The receiver's UDP port");
    CLI11_PARSE(app, argc, argv);

    const std::string path = "/tmp/cadenzium-thread-soak-" + std::to_string(::getpid()) + ".cad";
    std::ofstream(path) << soak_score(port);
    SchedulerThread clocks;
    StandaloneHost host(&clocks);
    OscManager channels(host.engine().runtime());
    host.set_channels(&channels);
    std::atomic<long> delivered{0};
    host.on_message([&](const message&) { ++delivered; });
    host.start_wall_clock();

    std::atomic<bool> stop{false};
    std::atomic<long> sent{0}, notes{0}, commands{0};
    long readings = 0;
    const auto end = Clock::now() +
                     std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(minutes * 60));
    if (!host.engine().ScoreParsing(path)) return 1;
    host.engine().cadenzium_start("");
    std::thread osc([&] { send_knobs(port, stop, sent); });
    std::thread midi([&] { play_notes(host, stop, notes); });
    run_commands(host, path, end, notes, commands, readings);
    stop = true;
    osc.join();
    midi.join();
    std::printf("osc %ld, notes %ld, commands %ld, messages %ld, readings %ld\n", sent.load(), notes.load(),
                commands.load(), delivered.load(), readings);
    host.engine().cadenzium_stop();
    std::remove(path.c_str());
    return 0;
}
