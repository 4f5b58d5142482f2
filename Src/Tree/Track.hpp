// Tracks: named sets of actions that can be muted and unmuted as a whole
// ("@track_def track::strings { violin, \"cello\", ::arco }"). Each track is
// one bit of a 32-bit mask that every action carries (`Action::track_mask`);
// an action belongs to the tracks whose filter it matches, and the actions
// inside a compound action belong to the tracks of that action too.
//
// A filter entry is a name and whether it is a prefix: a bare word matches
// every name that begins with it, a quoted string, a process ("::p") or an
// internal command matches that name only. The name an action shows to the
// filters is the receiver of a message, the process of a call, the word of
// an internal command ("cadenzium::cmd"), and for any action its label.
#pragma once

#include "Base/ASTNode.hpp"
#include "Base/Location.hpp"

#include <bitset>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class Action;
class Score;
struct BuildContext;

// The filter of a track: names, each with whether it is a prefix.
using TrackMatchList = std::vector<std::pair<std::string, bool>>;

class TrackDefinition final : public ASTNode {
public:
    static constexpr unsigned kMaxTracks = 32;

    // Adds the track `name` to the score of `ctx`. A second definition of a
    // name replaces the first and keeps its bit (with a warning); beyond
    // kMaxTracks tracks the definition is refused (an error of the reading).
    static void make(BuildContext* ctx, const std::string& name, TrackMatchList matchlist,
                     const yy::location* loc);

    TrackDefinition(std::string name, unsigned flagindex, TrackMatchList matchlist);

    // "@Track_def track::name { ... }".
    void show(std::ostream& out) const override;
    // Whether the filter takes `name`.
    bool check_track(const std::string& name) const;
    bool check_track(const char* name) const { return name && check_track(std::string(name)); }
    // Whether `action` is one of the track's own (not through its parents).
    bool matches(const Action& action) const;
    void set_mask(std::bitset<32>& mask) const { mask.set(flagindex); }
    void unset_mask(std::bitset<32>& mask) const { mask.reset(flagindex); }

    std::string name;
    unsigned flagindex;
    TrackMatchList matchlist;
};

// "track::Name" and "Name" both name the track "Name".
std::string track_base_name(const std::string& name);
// The tracks of `score`, in the order of their bits.
std::vector<const TrackDefinition*> score_tracks(const Score& score);
// The track of `score` called `name` ("track::" optional), or null.
const TrackDefinition* string2track(const Score& score, const std::string& name);
// The tracks that `action` itself belongs to.
std::bitset<32> tracks_of(const Score& score, const Action& action);
