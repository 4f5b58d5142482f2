// The score's channels beyond the host: the OSC senders and receivers it
// names and the files it writes. A host that has them hands them to the
// engine through its port (HostPort::channels); without them the score's
// OSC and file actions say they do not run.
//
// Firing calls them under the environment lock. `reset` is called without
// it: a receiver's listening thread runs its instants under that lock, and
// reset waits for those threads to end.
#pragma once

#include "Exp/Values.hpp"

#include <string>
#include <vector>

class Action;
class CloseFileAction;
class NamedChannelAction;
class OpenFileAction;
class OscRecv;
class OscSend;

// The argument lists of one message, evaluated.
using MessageLists = std::vector<std::vector<Value>>;

class ChannelPort {
public:
    virtual ~ChannelPort() = default;

    // "oscsend": a sender under its name. "oscrecv": a receiver of its
    // address on its port, listening from now on.
    virtual void open_sender(const OscSend& a) = 0;
    virtual void open_receiver(OscRecv& a) = 0;
    // "oscon", "oscoff": a sender or a receiver, by the action's name.
    virtual void enable(const NamedChannelAction& a) = 0;
    virtual void disable(const NamedChannelAction& a) = 0;
    // "openoutfile", "closefile".
    virtual void open_file(const OpenFileAction& a) = 0;
    virtual void close_file(const CloseFileAction& a) = 0;

    // Whether a message to `name` goes to a channel (a sender or an output
    // file) rather than to the host, and its delivery there.
    virtual bool takes(const std::string& name) const = 0;
    virtual void deliver(const std::string& name, const MessageLists& lists, const Action& source) = 0;

    // A new score: what the last one opened is closed.
    virtual void reset() = 0;
};
