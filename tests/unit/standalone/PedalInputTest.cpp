// The sustain pedal of a recorded performance reaches the listening machine
// at its time, among the notes: a note released under the pedal goes on
// sounding in what the machine hears until the pedal is lifted.
#include "ConsoleCapture.hpp"
#include "MidiFile.hpp"
#include "MidiFollower.hpp"
#include "ScoreFiles.hpp"
#include "StandaloneHost.hpp"

#include "Listening/CadAlign.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace {

// Plays C4 from 0.1 s to 0.3 s with the pedal pressed at 0.2 s and, when
// `lift` is positive, lifted then; gives the level of C4 heard at the end.
class PedalRun {
public:
    explicit PedalRun(double lift) {
        TempScore score("BPM 60\nNOTE 60 4\nNOTE 62 1\n");
        EXPECT_TRUE(host.engine().ScoreParsing(score.path));
        host.engine().cadenzium_start("");
        std::vector<MidiNote> notes = {{0.1, 60, 90, 0, 0}, {0.3, 60, 0, 0, 0}};
        std::vector<MidiControl> pedal = {{0.2, kSustainPedal, 127, 0}};
        if (lift > 0) pedal.push_back({lift, kSustainPedal, 0, 0});
        MidiFollower follower(host, std::move(notes), 1.0, std::move(pedal));
        follower.run(false, 0.2);
    }

    float c4() { return host.engine().get_align().heard.levels()[120]; }
    bool pedal_down() { return host.engine().get_align().heard.pedal_down(); }

private:
    ConsoleCapture console;
    StandaloneHost host;
};

TEST(PedalFromAFile, HeldPedalKeepsAReleasedNoteSounding) {
    PedalRun held(-1);
    EXPECT_TRUE(held.pedal_down());
    EXPECT_GT(held.c4(), 0.01f) << "released at 0.3 s under the pedal";

    PedalRun lifted(0.5);
    EXPECT_FALSE(lifted.pedal_down());
    EXPECT_LT(lifted.c4(), 1e-3f) << "the pedal lifted at 0.5 s let it go";
}

} // namespace
