// The engine's lifecycle: loading, failing to load, starting, stopping,
// preloading and strings.
#include "TestEngine.hpp"

#include <gtest/gtest.h>

namespace {

const char* kGoodScore = "bpm 90\nNOTE 60 1 first\nNOTE 62 1\nNOTE 64 2 last\n";

TEST(Lifecycle, LoadReportsCountsAndWarnsWithoutActions) {
    ConsoleCapture console;
    TestHost host;
    ASSERT_TRUE(host.load(kGoodScore));
    EXPECT_TRUE(console.has_post("cadenzium - Warning: score with NO ACTION! (and 3 events)"));
    EXPECT_TRUE(console.has_post("cadenzium - Score loaded succesfully with 3 events and 0 actions."));
    EXPECT_EQ(host.score().CountEvents(), 3);
}

TEST(Lifecycle, FailedLoadLeavesNoScore) {
    ConsoleCapture console;
    TestHost host;
    cadenzium_core& engine = host.engine;
    ASSERT_TRUE(host.load(kGoodScore));
    EXPECT_FALSE(host.load("NOTE 60\n"));
    EXPECT_EQ(engine.score(), nullptr) << "the good score is not restored";
    EXPECT_TRUE(console.has_error("Abort loading score file"));

    console.clear();
    engine.cadenzium_start("");
    EXPECT_FALSE(engine.is_running());
    EXPECT_TRUE(
        console.has_error("cadenzium - No score defined or loaded! Do not expect to follow nothing..."));

    // The engine stays usable.
    ASSERT_TRUE(host.load(kGoodScore));
    engine.cadenzium_start("");
    EXPECT_TRUE(engine.is_running());
}

TEST(Lifecycle, MissingFileIsReported) {
    ConsoleCapture console;
    TestHost host;
    cadenzium_core& engine = host.engine;
    EXPECT_FALSE(engine.ScoreParsing("/nonexistent/score.cad"));
    EXPECT_TRUE(console.has_error("Error in opening file /nonexistent/score.cad"));
}

TEST(Lifecycle, StartGoesToTheTopAndStopResets) {
    ConsoleCapture console;
    TestHost host;
    cadenzium_core& engine = host.engine;
    ASSERT_TRUE(host.load(kGoodScore));
    engine.cadenzium_start("");
    EXPECT_TRUE(engine.is_running());
    EXPECT_TRUE(console.has_post("cadenzium - Start follower... ."));
    EXPECT_EQ(engine.Position(), 0);

    engine.updatePosition(2);
    EXPECT_EQ(engine.Position(), 2);
    engine.updatePosition(1);
    EXPECT_EQ(engine.Position(), 2) << "no backward move without a jump";

    engine.cadenzium_stop();
    EXPECT_FALSE(engine.is_running());
    EXPECT_EQ(engine.Position(), 0);
    EXPECT_TRUE(console.has_post("cadenzium - Stopped!"));
}

TEST(Lifecycle, JumpsAllowBackwardMoves) {
    TestHost host;
    cadenzium_core& engine = host.engine;
    ASSERT_TRUE(host.load("NOTE 60 1 a\nNOTE 62 1\nNOTE 64 1 @jump a\n"));
    engine.cadenzium_start("");
    engine.updatePosition(3);
    engine.updatePosition(1);
    EXPECT_EQ(engine.Position(), 1);
    EXPECT_EQ(host.positions, (std::vector<int>{0, 3, 1}));
}

TEST(Lifecycle, ObservationsAreIgnoredWhileStopped) {
    TestHost host;
    cadenzium_core& engine = host.engine;
    ASSERT_TRUE(host.load(kGoodScore));
    const float note[2] = {60, 100};
    engine.cadenzium_doit(2, note);
    EXPECT_TRUE(host.positions.empty());
}

TEST(Lifecycle, PreloadUnderAnExistingNameReplaces) {
    ConsoleCapture console;
    TestHost host;
    cadenzium_core& engine = host.engine;
    TempScore first(kGoodScore), second("NOTE 70 1\n");
    ASSERT_TRUE(engine.preloadScore(first.path, "piece"));
    EXPECT_TRUE(console.has_post("cadenzium - Preloaded score 'piece' with 3 events and 0 actions."));
    ASSERT_TRUE(engine.preloadScore(second.path, "piece"));
    EXPECT_TRUE(console.has_post("Cadenzium warning: Overwriting preloaded score 'piece'."));
    EXPECT_EQ(engine.get_preloaded_names(), std::vector<std::string>{"piece"});
    EXPECT_EQ(engine.get_preloaded_scores().at("piece")->CountEvents(), 1);

    engine.cadenzium_start("piece");
    EXPECT_TRUE(engine.is_running());
    EXPECT_EQ(engine.score()->CountEvents(), 1);
    EXPECT_TRUE(console.has_post("cadenzium - Starting \"piece\"... ."));

    console.clear();
    engine.cadenzium_start("unknown");
    EXPECT_TRUE(console.has_error("cadenzium - No preloaded score for 'unknown'"));

    TempScore bad("NOTE\n");
    EXPECT_FALSE(engine.preloadScore(bad.path, "broken"));
    EXPECT_TRUE(console.has_error("NO SCORE PRELOADED"));
}

TEST(Lifecycle, StringsReadIntoTheRunningSystem) {
    ConsoleCapture console;
    TestHost host;
    cadenzium_core& engine = host.engine;
    ASSERT_TRUE(host.load(kGoodScore));
    Score* before = engine.score();
    EXPECT_TRUE(engine.StringParsing("NOTE 60 1"));
    EXPECT_EQ(engine.score(), before) << "the current score comes back";
    EXPECT_FALSE(engine.StringParsing("NOTE 60"));
    EXPECT_TRUE(console.has_error("cadenzium - Abort loading string 'NOTE 60'"));
}

TEST(Lifecycle, FramesFillTheWindowExactly) {
    TestHost host;
    cadenzium_core& engine = host.engine;
    engine.cadenzium_analysisParameters(1024, 256);
    std::vector<float> block(512, 0.25f);
    // Not running: blocks feed the window but nothing is decoded.
    for (int i = 0; i < 8; ++i)
        engine.cadenzium_next_frame(block.data());
    EXPECT_TRUE(host.positions.empty());
}

} // namespace

namespace {

// A host that keeps what it is sent.
class KeepingHost : public TestHost {
public:
    void on_message(const message& m) override {
        sent.push_back(m.receiver + "@" + str_printf("%g", m.date));
    }
    std::vector<std::string> sent;
};

} // namespace

// Nothing of an engine is shared with another: each has its own runtime,
// its own time and its own executions, and an execution value asks its own.
TEST(Lifecycle, TwoEnginesInOneProcessRunApart) {
    ConsoleCapture console;
    KeepingHost a, b;
    const char* score = "bpm 60\nNOTE 60 1\n  group g {\n    $me := $MYSELF\n    2 print done\n  }\n"
                        "  1 if ($me) { print running }\nNOTE 62 1\n";
    ASSERT_TRUE(a.load(score));
    ASSERT_TRUE(b.load(score));
    a.engine.cadenzium_start();
    b.engine.cadenzium_start();
    a.engine.updatePosition(1);
    a.engine.time().advance_to(5.0);
    b.engine.time().advance_to(0.5);
    b.engine.updatePosition(1);
    EXPECT_EQ(a.sent, (std::vector<std::string>{"print@1", "print@2"})) << "running, then done";
    EXPECT_TRUE(b.sent.empty()) << "b stands at 0.5 on its own clock";
    b.engine.time().advance_to(1.5);
    EXPECT_EQ(b.sent, (std::vector<std::string>{"print@1.5"}));
    EXPECT_DOUBLE_EQ(a.engine.GetTime(), 5.0);
}
