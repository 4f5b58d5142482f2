// The program against real OSC peers: liblo's oscdump hears what a score
// sends (its "oscsend" channels and, with --send-osc, everything else), and
// liblo's oscsend sets the variables of its "oscrecv" receivers while it
// follows.
#include "MidiFile.hpp"
#include "OscRig.hpp"
#include "Program.hpp"

#include <fstream>
#include <sstream>

namespace {

std::string bytes_of(const std::vector<uint8_t>& v) {
    return std::string(v.begin(), v.end());
}

// D4 at `first`, E4 at `second` (seconds).
std::string two_notes(double first, double second) {
    return bytes_of(
        write_midi_bytes({{first, 62, 80}, {first + 0.5, 62, 0}, {second, 64, 80}, {second + 0.5, 64, 0}}));
}

// liblo's oscdump on a port of its own, for the life of the object: the
// messages it printed, without their time tags.
class Oscdump {
public:
    explicit Oscdump(const Scratch& dir)
        : port(UdpPeer::free_port())
        , out(dir.path("oscdump-" + std::to_string(port) + ".txt")) {
        const std::string pid = out + ".pid";
        std::system(("oscdump -L " + std::to_string(port) + " >" + out + " 2>&1 & echo $! >" + pid).c_str());
        std::ifstream(pid) >> process;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
    ~Oscdump() { stop(); }

    std::vector<std::string> lines() {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        stop();
        std::vector<std::string> got;
        std::ifstream in(out);
        for (std::string line; std::getline(in, line);) {
            const auto space = line.find(' ');
            got.push_back(space == std::string::npos ? line : line.substr(space + 1));
        }
        return got;
    }

    const int port;

private:
    void stop() {
        if (process > 0) ::kill(process, SIGTERM);
        process = 0;
    }
    std::string out;
    pid_t process = 0;
};

// liblo's oscsend, `after` seconds from now, in the background.
void oscsend_later(double after, int port, const std::string& what) {
    std::ostringstream command;
    command << "(sleep " << after << "; oscsend localhost " << port << ' ' << what << ") >/dev/null 2>&1 &";
    std::system(command.str().c_str());
}

TEST(OscPeers, OscdumpHearsTheScoresSendersAndTheForwardedMessages) {
    Scratch dir;
    Oscdump channel(dir), forwarded(dir);
    dir.write("s.cad", "oscsend out : " + std::to_string(channel.port) + " \"/cad/out\"\nBPM 60\n" +
                           "NOTE D4 1\n  out 1 2.5 \"one\"\n  print one\n" +
                           "NOTE E4 1\n  out 2\n  level 0.25 ([3, \"x\"])\n");
    dir.write("p.mid", two_notes(0.0, 1.0));
    const Outcome o = dir.run({"follow", "s.cad", "--midi", "p.mid", "-q", "--send-osc",
                               "127.0.0.1:" + std::to_string(forwarded.port)});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(channel.lines(), (std::vector<std::string>{"/cad/out ifs 1 2.500000 \"one\"", "/cad/out i 2"}));
    EXPECT_EQ(forwarded.lines(),
              (std::vector<std::string>{"/print s \"one\"", "/level fis 0.250000 3 \"x\""}));
}

TEST(OscPeers, SendOscRefusesAPeerItCannotName) {
    Scratch dir;
    dir.write("s.cad", "NOTE D4 1\n");
    dir.write("p.mid", two_notes(0.0, 1.0));
    for (const char* bad : {"localhost:", "localhost:70000", "localhost:x1"}) {
        const Outcome o = dir.run({"follow", "s.cad", "--midi", "p.mid", "-q", "--send-osc", bad});
        EXPECT_EQ(o.status, 1) << bad;
        EXPECT_EQ(o.errors_with("--send-osc takes HOST:PORT"), 1) << bad << o.err;
    }
}

// The receiver opens with the score's top; the musician's second note, four
// seconds in, sends what the peer set meanwhile.
TEST(OscPeers, OscsendSetsAReceiversVariableWhileTheProgramFollows) {
    Scratch dir;
    Oscdump peer(dir);
    const int port = UdpPeer::free_port();
    dir.write("s.cad", "oscrecv inbox " + std::to_string(port) + " \"/level\" $level\n" +
                           "oscsend out : " + std::to_string(peer.port) +
                           " \"/got\"\nBPM 60\nNOTE D4 1\nNOTE E4 1\n  out $level\n");
    dir.write("p.mid", two_notes(0.0, 4.0));
    for (double at : {1.5, 2.0, 2.5})
        oscsend_later(at, port, "/level i 5");
    const Outcome o = dir.run({"follow", "s.cad", "--midi", "p.mid", "-q", "--realtime", "--tail", "0.5"});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(peer.lines(), std::vector<std::string>{"/got i 5"});
}

// A reaction to a received variable runs in the receiver's instant and its
// message reaches the peer at once. This needs the runtime's "whenever":
// until it runs, the program says so and the test stops there.
TEST(OscPeers, AReceivedVariableWakesAWhenever) {
    Scratch dir;
    Oscdump peer(dir);
    const int port = UdpPeer::free_port();
    dir.write("s.cad", "oscrecv inbox " + std::to_string(port) + " \"/level\" $level\n" +
                           "oscsend out : " + std::to_string(peer.port) + " \"/woke\"\n" +
                           "whenever ($level > 3) {\n  out $level\n}\nBPM 60\nNOTE D4 1\nNOTE E4 1\n");
    dir.write("p.mid", two_notes(0.0, 3.0));
    oscsend_later(1.5, port, "/level i 2");
    oscsend_later(2.0, port, "/level i 7");
    const Outcome o = dir.run({"follow", "s.cad", "--midi", "p.mid", "-q", "--realtime", "--tail", "0.5"});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(peer.lines(), std::vector<std::string>{"/woke i 7"});
}

} // namespace
