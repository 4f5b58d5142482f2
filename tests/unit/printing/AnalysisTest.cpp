// The static analysis of dates: each action dated from its event through
// the delays on its way, ordered only when beats and seconds agree, and the
// graph of the score in the dot language; the program's print and analyse
// commands around them.
#include "Commands.hpp"
#include "ConsoleCapture.hpp"
#include "ScoreFiles.hpp"
#include "TestReading.hpp"
#include "Tree/Action.hpp"
#include "Tree/Ordering.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace fs = std::filesystem;

namespace {

// The dates of a score's actions by their text ("print b" -> "beat 1").
std::map<std::string, std::string> dates_of(const std::string& score) {
    ConsoleCapture console;
    TestReading reading;
    EXPECT_TRUE(reading.load(score));
    std::map<std::string, std::string> dates;
    for (const DatedAction& d : collect_dates(reading.score()))
        dates[action_text(*d.action)] = d.date.text() + (d.repeated ? " (repeated)" : "");
    return dates;
}

TEST(StaticDates, FollowTheDelaysOfEachBlock) {
    const auto dates = dates_of("NOTE 60 1\n"
                                "print a\n"
                                "1 print b\n"
                                "0.5 s print c\n"
                                "group g {\n"
                                "    2 print d\n"
                                "    1 print e\n"
                                "}\n"
                                "NOTE 62 2\n"
                                "1/2 print f\n");
    EXPECT_EQ(dates.at("print a"), "beat 0");
    EXPECT_EQ(dates.at("print b"), "beat 1");
    EXPECT_EQ(dates.at("print c"), "beat 1 + 0.5s");
    // The group starts with c; its children count from there.
    EXPECT_EQ(dates.at("group g"), "beat 1 + 0.5s");
    EXPECT_EQ(dates.at("print d"), "beat 3 + 0.5s");
    EXPECT_EQ(dates.at("print e"), "beat 4 + 0.5s");
    EXPECT_EQ(dates.at("print f"), "beat 1.5");
}

TEST(StaticDates, RunTimeDatesAndRepeatedBodiesAreMarked) {
    const auto dates = dates_of("NOTE 60 1\n"
                                "loop L 1 { 0.5 print tick }\n"
                                "whenever ($x > 1) { print react }\n"
                                "if ($x) { 2 print yes } else { print no }\n"
                                "$d print computed\n"
                                "1 print after_computed\n");
    // A computed delay leaves its action, and those after it, to run time.
    EXPECT_EQ(dates.at("print computed"), "at run time");
    EXPECT_EQ(dates.at("print after_computed"), "at run time");
    EXPECT_EQ(dates.at("print tick"), "beat 0.5 (repeated)");
    EXPECT_EQ(dates.at("print react"), "at run time");
    EXPECT_EQ(dates.at("print yes"), "beat 2");
    EXPECT_EQ(dates.at("print no"), "beat 0");
}

TEST(Ordering, OrdersDatesOnlyWhenBeatsAndSecondsAgree) {
    const StaticDate beat0{0, 0, true}, beat2{2, 0, true}, second1{0, 1, true}, unknown{0, 0, false};
    EXPECT_TRUE(beat0.at_or_before(beat2));
    EXPECT_TRUE(beat0.at_or_before(second1));
    EXPECT_FALSE(beat2.at_or_before(second1));
    EXPECT_FALSE(second1.at_or_before(beat2));
    EXPECT_FALSE(unknown.at_or_before(beat2));
    EXPECT_EQ(beat2.lub(second1).text(), "beat 2 + 1s");
}

TEST(Ordering, CompletionAddsTheBoundOfUnorderedDates) {
    Ordering ordering;
    ordering.add({nullptr, nullptr, {0, 0, true}, false});
    ordering.add({nullptr, nullptr, {2, 0, true}, false});
    ordering.add({nullptr, nullptr, {0, 1, true}, false});
    ordering.add({nullptr, nullptr, {0, 0, false}, false});
    ordering.completion();
    ASSERT_EQ(ordering.node_count(), 5u);
    EXPECT_TRUE(ordering.get_nodes().back().date.same({2, 1, true}));
    // beat 0 -> beat 2 and -> 1s; both -> the bound. The unknown date has no edge.
    EXPECT_EQ(ordering.covering_edges().size(), 4u);
}

// Reads a score and gives its graph.
std::string graph_of(const std::string& score) {
    ConsoleCapture console;
    TestReading reading;
    EXPECT_TRUE(reading.load(score));
    std::ostringstream out;
    write_dot(out, reading.score());
    return out.str();
}

TEST(Graph, ClustersCompoundActionsAndLabelsDelays) {
    const std::string dot = graph_of("NOTE 60 1 intro\n"
                                     "print \"quoted \\\"text\\\"\"\n"
                                     "group halo {\n"
                                     "    spat front\n"
                                     "    1.5 spat left\n"
                                     "}\n"
                                     "NOTE 62 1\n");
    EXPECT_EQ(dot.rfind("// Cadenzium~", 0), 0u) << dot;
    EXPECT_NE(dot.find("digraph score {"), std::string::npos);
    EXPECT_NE(dot.find("subgraph cluster_"), std::string::npos) << dot;
    EXPECT_NE(dot.find("label=\"group halo\""), std::string::npos) << dot;
    EXPECT_NE(dot.find("[label=\"1.5\"]"), std::string::npos) << dot;
    EXPECT_NE(dot.find("e1 -> e2"), std::string::npos) << dot;
    // The message's own quotes and backslashes are escaped for dot.
    EXPECT_NE(dot.find(R"(label="print \"quoted \\\"text\\\"\"\nbeat 0")"), std::string::npos) << dot;
    EXPECT_EQ(std::count(dot.begin(), dot.end(), '{'), std::count(dot.begin(), dot.end(), '}'));
}

class ProgramCommands : public ::testing::Test {
protected:
    TempScore score{"BPM 90\n"
                    "NOTE 60 1 intro\n"
                    "group halo {\n"
                    "    loop pulse 1 { click 1 }\n"
                    "}\n"
                    "NOTE 62 1/3 \"second one\"\n"
                    "0.5 s print late\n"};
    ConsoleCapture console;
};

TEST_F(ProgramCommands, PrintWritesScoreTextThatReadsBack) {
    std::ostringstream out;
    ASSERT_EQ(run_print({score.path}, out), 0);
    TestReading again;
    EXPECT_TRUE(again.load(out.str())) << out.str();
    EXPECT_EQ(again.score().CountEvents(), 2);
    EXPECT_NE(out.str().find("NOTE 6200 0.33333334 \"second one\""), std::string::npos) << out.str();
}

TEST_F(ProgramCommands, StructureAndLabelsListWhatTheScoreNames) {
    PrintOptions options{score.path};
    options.structure = true;
    options.labels = true;
    std::ostringstream out;
    ASSERT_EQ(run_print(options, out), 0);
    const std::string text = out.str();
    EXPECT_EQ(text.rfind("Cadenzium 0.6+ Score Structure:", 0), 0u) << text;
    // The loop nests under the group.
    EXPECT_NE(text.find("    group halo"), std::string::npos) << text;
    EXPECT_NE(text.find("        loop pulse"), std::string::npos) << text;
    EXPECT_NE(text.find("* ------------------------------------------------------------- */"),
              std::string::npos);
    EXPECT_NE(text.find("second one\tevent 2, beat 1"), std::string::npos) << text;
    EXPECT_NE(text.find("halo\tgroup"), std::string::npos) << text;
}

TEST_F(ProgramCommands, PrintOfAScoreThatDoesNotReadFails) {
    TempScore bad("NOTE 60\n");
    std::ostringstream out;
    EXPECT_EQ(run_print({bad.path}, out), 1);
    EXPECT_EQ(out.str(), "");
}

TEST_F(ProgramCommands, AnalyseWritesTheGraphAndSkipsThePngWithoutGraphviz) {
    const fs::path dot =
        fs::temp_directory_path() / ("cadenzium-analyse-" + std::to_string(::getpid()) + ".dot");
    AnalyseOptions options{score.path, dot.string(), ""};
    std::ostringstream out;
    ASSERT_EQ(run_analyse(options, out), 0);
    EXPECT_EQ(out.str().rfind("Nodes:\n", 0), 0u) << out.str();
    EXPECT_NE(out.str().find("beat 1 + 0.5s: print late"), std::string::npos) << out.str();
    std::ifstream written(dot);
    std::string first;
    std::getline(written, first);
    EXPECT_EQ(first.rfind("// Cadenzium~", 0), 0u);
    fs::remove(dot);

    // With no dot on the PATH, the PNG is skipped with a message, not an error.
    const char* path = std::getenv("PATH");
    const std::string saved = path ? path : "";
    ::setenv("PATH", "/nonexistent", 1);
    options.dot.clear();
    options.png = (fs::temp_directory_path() / "cadenzium-analyse-never.png").string();
    std::ostringstream again;
    EXPECT_EQ(run_analyse(options, again), 0);
    ::setenv("PATH", saved.c_str(), 1);
    EXPECT_FALSE(fs::exists(options.png));
    EXPECT_TRUE(console.has_post("graphviz's dot is not installed")) << console.all();
}

} // namespace
