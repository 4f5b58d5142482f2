// The actions on the score's channels: OSC senders and receivers, output
// files. They hand their work to the host's channels (ChannelPort.hpp).
#include "RunTime/ChannelPort.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "RunTime/Firing.hpp"
#include "RunTime/HostPort.hpp"
#include "Tree/AtomicActions.hpp"

ChannelPort* Firing::channels_for(Action& a) {
    if (!runs(a)) return nullptr;
    ChannelPort* channels = rt.port.channels();
    if (!channels) not_run_yet(a);
    return channels;
}

void Firing::visit(OscSend& a) {
    if (ChannelPort* c = channels_for(a)) c->open_sender(a);
}

void Firing::visit(OscRecv& a) {
    if (ChannelPort* c = channels_for(a)) c->open_receiver(a);
}

void Firing::visit(OscOn& a) {
    if (ChannelPort* c = channels_for(a)) c->enable(a);
}

void Firing::visit(OscOff& a) {
    if (ChannelPort* c = channels_for(a)) c->disable(a);
}

void Firing::visit(OpenFileAction& a) {
    if (ChannelPort* c = channels_for(a)) c->open_file(a);
}

void Firing::visit(CloseFileAction& a) {
    if (ChannelPort* c = channels_for(a)) c->close_file(a);
}
