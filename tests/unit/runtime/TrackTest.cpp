// Tracks: the messages of a muted track's actions are dropped until it is
// unmuted; an action belongs to a track by its receiver, process, command
// or label, or by an enclosing action that does.
#include "PlayRig.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;

class Track : public PlayRig {};

TEST_F(Track, MutedTrackDropsItsMessagesUntilUnmuted) {
    play("bpm 60\n@track_def track::strings { violin, \"cello\" }\nNOTE 60 8\n"
         "  violin1 a\n  cello b\n  flute c\n"
         "  cadenzium::mute strings\n"
         "  1 violin2 d\n  cello e\n  cellos f\n  flute g\n"
         "  1 cadenzium::unmute track::strings\n  violin1 h\n");
    EXPECT_THAT(run_until(5.0), ElementsAre("a@0", "b@0", "c@0", "f@1", "g@1", "h@2"))
        << "a bare word is a prefix, a quoted name a whole one";
}

TEST_F(Track, ActionsInsideAMemberBelongToIt) {
    play("bpm 60\n@track_def track::fx { fx, ::echo }\n"
         "@proc_def ::echo() { print echo }\n"
         "NOTE 60 8\n  cadenzium::mute fx\n"
         "  group fx_group { print grouped }\n  ::echo()\n  print free\n");
    EXPECT_THAT(run_until(2.0), ElementsAre("free@0"));
}

TEST_F(Track, MutingIsByTrackNotByReceiver) {
    play("@track_def track::a { left }\n@track_def track::b { right }\nNOTE 60 1\n"
         "  cadenzium::mute track::b\n  left 1\n  right 2\n");
    EXPECT_THAT(lines(), ElementsAre("1@0"));
    EXPECT_TRUE(rt().unset_mute_track("b"));
    EXPECT_TRUE(rt().muted_tracks.none());
}

TEST_F(Track, UnknownTrackIsReportedAndChangesNothing) {
    play("@track_def track::a { left }\nNOTE 60 1\n  cadenzium::mute nowhere\n  left 1\n");
    EXPECT_THAT(lines(), ElementsAre("1@0"));
    EXPECT_EQ(errors_with("cadenzium::mute: Unknown track 'nowhere'"), 1);
    EXPECT_FALSE(rt().unset_mute_track("nowhere"));
    EXPECT_EQ(errors_with("cadenzium::unmute: Unknown track 'nowhere'"), 1);
}

} // namespace
