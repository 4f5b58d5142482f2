// Muting tracks: a muted track's messages are dropped when they fire.
#include "RunTime/Runtime.hpp"

#include "Base/Console.hpp"
#include "Tree/Score.hpp"
#include "Tree/Track.hpp"

namespace {

const TrackDefinition* track_named(const Score* score, const std::string& name) {
    return score ? string2track(*score, name) : nullptr;
}

} // namespace

bool Runtime::set_mute_track(const std::string& name) {
    const TrackDefinition* track = track_named(score, name);
    if (!track) {
        error("cadenzium::mute: Unknown track '%s'", name.c_str());
        return false;
    }
    track->set_mask(muted_tracks);
    return true;
}

bool Runtime::unset_mute_track(const std::string& name) {
    const TrackDefinition* track = track_named(score, name);
    if (!track) {
        error("cadenzium::unmute: Unknown track '%s'", name.c_str());
        return false;
    }
    track->unset_mask(muted_tracks);
    return true;
}
