// The score's channels of one engine: its OSC senders by name, its
// receiving ports by number, and its output files. The host owns it beside
// the engine and hands it over through its port (HostPort::channels); it is
// destroyed before the engine, its listening threads ended.
//
// Lock order: the environment lock, then `mutex`, then a port's table.
// Firing comes with the environment lock held; `reset` comes without it and
// ends the listening threads after letting go of `mutex`.
#pragma once

#include "Osc/OFile.hpp"
#include "RunTime/ChannelPort.hpp"

#include <map>
#include <memory>
#include <mutex>
#include <string>

class OscPortRecv;
class OscSender;
class Runtime;

class OscManager final : public ChannelPort {
public:
    explicit OscManager(Runtime& rt);
    ~OscManager() override;
    OscManager(const OscManager&) = delete;
    OscManager& operator=(const OscManager&) = delete;

    void open_sender(const OscSend& a) override;
    void open_receiver(OscRecv& a) override;
    void enable(const NamedChannelAction& a) override;
    void disable(const NamedChannelAction& a) override;
    void open_file(const OpenFileAction& a) override;
    void close_file(const CloseFileAction& a) override;
    bool takes(const std::string& name) const override;
    void deliver(const std::string& name, const MessageLists& lists, const Action& source) override;
    void reset() override;

    // The port of `number` (null when no receiver opened it).
    OscPortRecv* port(int number);
    // Datagrams dropped as malformed by all ports so far.
    std::size_t dropped() const;

private:
    struct Sender {
        std::unique_ptr<OscSender> channel;
        std::string address;
        bool enabled = true;
    };
    bool set_enabled(const std::string& name, bool on);

    Runtime& rt;
    mutable std::recursive_mutex mutex;
    std::map<std::string, Sender> senders;
    std::map<int, std::unique_ptr<OscPortRecv>> ports;
    OFile files;
};
