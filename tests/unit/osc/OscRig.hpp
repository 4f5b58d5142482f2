// An engine with the score's OSC channels, on its virtual clock, and a UDP
// socket of the test's own to talk to it and to hear it.
#pragma once

#include "Osc/OscManager.hpp"
#include "TestEngine.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

// The console, kept from any thread: the receivers report from theirs.
class SharedConsole {
public:
    SharedConsole() {
        previous = set_console_sink([this](ConsoleLevel level, std::string_view line) {
            const std::lock_guard<std::mutex> hold(mutex);
            (level == ConsoleLevel::Error ? errors : posts).emplace_back(line);
        });
    }
    ~SharedConsole() { set_console_sink(previous); }
    int errors_with(const std::string& text) {
        const std::lock_guard<std::mutex> hold(mutex);
        int n = 0;
        for (const std::string& e : errors)
            n += e.find(text) != std::string::npos;
        return n;
    }

private:
    std::mutex mutex;
    std::vector<std::string> errors;
    std::vector<std::string> posts;
    ConsoleSink previous;
};

// A UDP socket on a free port of this machine.
class UdpPeer {
public:
    UdpPeer() {
        fd = ::socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
        socklen_t len = sizeof a;
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
        bound = ntohs(a.sin_port);
        timeval wait{2, 0};
        ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    }
    ~UdpPeer() { ::close(fd); }
    UdpPeer(const UdpPeer&) = delete;
    UdpPeer& operator=(const UdpPeer&) = delete;

    int port() const { return bound; }
    // A port free now (for the engine to bind).
    static int free_port() { return UdpPeer().port(); }

    void send_to(int to, const std::string& bytes) const {
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        a.sin_port = htons(static_cast<uint16_t>(to));
        ::sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&a), sizeof a);
    }
    // The next datagram, empty after two seconds without one.
    std::string receive() const {
        char buffer[4096];
        const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
        return n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
    }

private:
    int fd;
    int bound = 0;
};

class OscHost : public TestHost {
public:
    ChannelPort* channels() override { return &osc; }
    void on_message(const message& m) override {
        const std::lock_guard<std::mutex> hold(mutex);
        std::string line = m.receiver;
        for (const Value& v : m.values)
            line += " " + show_text(*v);
        heard.push_back(line);
    }
    std::vector<std::string> messages() {
        const std::lock_guard<std::mutex> hold(mutex);
        return heard;
    }

    OscManager osc{runtime()};

private:
    std::mutex mutex;
    std::vector<std::string> heard;
};

// Waits up to five seconds for `done`.
inline bool eventually(const std::function<bool()>& done) {
    for (int i = 0; i < 500; ++i) {
        if (done()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return done();
}
