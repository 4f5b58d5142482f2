#include "Osc/OscManager.hpp"

#include "Base/Console.hpp"
#include "Osc/OscPortRecv.hpp"
#include "Osc/OscSender.hpp"
#include "Tree/AtomicActions.hpp"

#include <vector>

OscManager::OscManager(Runtime& rt)
    : rt(rt) {}

OscManager::~OscManager() {
    reset();
}

void OscManager::open_sender(const OscSend& a) {
    auto channel = std::make_unique<OscSender>(a.host, a.port);
    const std::lock_guard<std::recursive_mutex> hold(mutex);
    senders[a.name] = Sender{std::move(channel), a.address, true};
}

void OscManager::open_receiver(OscRecv& a) {
    const std::lock_guard<std::recursive_mutex> hold(mutex);
    std::unique_ptr<OscPortRecv>& p = ports[a.port];
    if (!p) p = std::make_unique<OscPortRecv>(rt, a.port);
    p->addOscRecv(a);
    p->listen();
}

bool OscManager::set_enabled(const std::string& name, bool on) {
    const std::lock_guard<std::recursive_mutex> hold(mutex);
    bool found = false;
    if (auto s = senders.find(name); s != senders.end()) {
        s->second.enabled = on;
        found = true;
    }
    for (auto& [number, p] : ports)
        found = p->set_enabled(name, on) || found;
    return found;
}

void OscManager::enable(const NamedChannelAction& a) {
    if (!set_enabled(a.name, true)) error("OscOn on non existing id");
}

void OscManager::disable(const NamedChannelAction& a) {
    if (!set_enabled(a.name, false)) error("OscOff on non existing id");
}

void OscManager::open_file(const OpenFileAction& a) {
    const std::lock_guard<std::recursive_mutex> hold(mutex);
    files.open(a.name, a.file, a.mode);
}

void OscManager::close_file(const CloseFileAction& a) {
    const std::lock_guard<std::recursive_mutex> hold(mutex);
    if (!files.close(a.name))
        error("Error: close file: symbol '%s' does not refers to an open file", a.name.c_str());
}

bool OscManager::takes(const std::string& name) const {
    const std::lock_guard<std::recursive_mutex> hold(mutex);
    return senders.count(name) > 0 || files.has(name);
}

// A name that is both a sender and a file goes to OSC only. A muted sender
// swallows the message.
void OscManager::deliver(const std::string& name, const MessageLists& lists, const Action&) {
    const std::lock_guard<std::recursive_mutex> hold(mutex);
    if (auto s = senders.find(name); s != senders.end()) {
        if (s->second.enabled) s->second.channel->send(s->second.address, lists);
        return;
    }
    files.write(name, lists);
}

void OscManager::reset() {
    std::map<int, std::unique_ptr<OscPortRecv>> closing;
    {
        const std::lock_guard<std::recursive_mutex> hold(mutex);
        closing.swap(ports);
        senders.clear();
        files.close_all();
    }
    for (auto& [number, p] : closing)
        p->shutdown();
}

OscPortRecv* OscManager::port(int number) {
    const std::lock_guard<std::recursive_mutex> hold(mutex);
    auto it = ports.find(number);
    return it == ports.end() ? nullptr : it->second.get();
}

std::size_t OscManager::dropped() const {
    const std::lock_guard<std::recursive_mutex> hold(mutex);
    std::size_t n = 0;
    for (const auto& [number, p] : ports)
        n += p->dropped();
    return n;
}
