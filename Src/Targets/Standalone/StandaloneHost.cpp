#include "StandaloneHost.hpp"

StandaloneHost::StandaloneHost() {
    // The standalone program listens to one input, inlet 0, by MIDI; its
    // pitches are read in midicents.
    obs_iomap["MIDI"] = 0;
}

void StandaloneHost::report_position(int index, const Event* event) {
    if (position_sink) position_sink(index, event);
}
