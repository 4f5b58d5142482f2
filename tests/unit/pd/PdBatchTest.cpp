// The object cadenzium~ inside Pure Data, run by `pd -nogui -batch`: the
// golden traces of the standalone program, played into the object by MIDI,
// give the same positions and the same messages at the patch's receivers;
// a recording played into its signal inlet gives the positions the program
// finds in it; box flags, messages and reports behave as in a patch.
#include "PdBatch.hpp"
#include "Commands.hpp"
#include "Synth.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

const fs::path kCorpus = fs::path(CAD_TESTS_DIR) / "scores" / "traces";

class Folder {
public:
    Folder() {
        static int counter = 0;
        path = fs::temp_directory_path() /
               ("cadenzium-pd-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
        fs::create_directories(path);
    }
    ~Folder() {
        std::error_code ec;
        fs::remove_all(path, ec);
    }
    void write(const std::string& name, const std::string& text) const { std::ofstream(path / name) << text; }
    fs::path path;
};

std::string number_text(double v) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%g", v);
    return buffer;
}

// A line as both sides can agree on it: Pd's floats are single precision
// and it escapes blanks and commas inside a symbol with a backslash, so
// numbers are compared to five significant digits and escapes dropped.
std::string comparable(const std::string& line) {
    std::string unescaped;
    for (size_t i = 0; i < line.size(); ++i)
        if (line[i] != '\\' || i + 1 == line.size()) unescaped += line[i];
    std::istringstream words(unescaped);
    std::string out;
    for (std::string w; words >> w;) {
        char* end = nullptr;
        const double v = std::strtod(w.c_str(), &end);
        if (!w.empty() && end && *end == '\0') {
            char buffer[32];
            std::snprintf(buffer, sizeof buffer, "%.5g", v);
            w = buffer;
        }
        out += (out.empty() ? "" : " ") + w;
    }
    return out;
}

// What Pd prints: "MAIN: 3" for a position, "message: print one" for a
// receiver's message; the rest of its console is left out. The object
// reports a position each time the engine does (a start from a label
// passes the same event twice); the program's trace, once per change.
std::vector<std::string> positions_and_messages(const PdRun& run) {
    std::vector<std::string> got;
    std::string last_position;
    for (const std::string& line : run.lines) {
        if (line.rfind("MAIN: ", 0) == 0 && line != last_position) {
            got.push_back("position " + line.substr(6));
            last_position = line;
        }
        if (line.rfind("message: ", 0) == 0) got.push_back(comparable("message " + line.substr(9)));
    }
    return got;
}

// The same from a trace of the program.
std::vector<std::string> positions_and_messages(const std::string& jsonl,
                                                std::vector<std::string>* receivers) {
    std::vector<std::string> want;
    std::istringstream in(jsonl);
    for (std::string line; std::getline(in, line);) {
        const nlohmann::json j = nlohmann::json::parse(line);
        if (j["type"] == "position") want.push_back("position " + std::to_string(j["index"].get<int>()));
        if (j["type"] != "message") continue;
        std::string text = "message " + j["receiver"].get<std::string>();
        for (const auto& a : j["args"])
            text += " " + (a.is_number()    ? number_text(a.get<double>())
                           : a.is_boolean() ? a.dump()
                                            : a.get<std::string>());
        want.push_back(comparable(text));
        if (receivers && std::find(receivers->begin(), receivers->end(), j["receiver"]) == receivers->end())
            receivers->push_back(j["receiver"]);
    }
    return want;
}

std::string read_file(const fs::path& p) {
    std::ifstream in(p);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

std::vector<std::string> corpus_cases() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(kCorpus))
        if (fs::exists(entry.path() / "expected.jsonl")) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// A case that starts elsewhere than the top names the place in start.txt:
// a beat or a label, as the object's message to start there.
std::vector<std::string> start_commands(const fs::path& dir) {
    std::istringstream in(fs::exists(dir / "start.txt") ? read_file(dir / "start.txt") : "");
    std::string where;
    if (!(in >> where)) return {};
    char* end = nullptr;
    std::strtod(where.c_str(), &end);
    const bool beat = end != where.c_str() && *end == '\0';
    return {(beat ? "startfrombeat " : "startfromlabel ") + where};
}

class PdCorpus : public ::testing::TestWithParam<std::string> {};

TEST_P(PdCorpus, TheObjectFollowsAsTheProgramDoes) {
    const fs::path dir = kCorpus / GetParam();
    Folder f;
    f.write("score.cad", read_file(dir / "score.cad"));
    PdPatch patch;
    // The program hears MIDI as a pianist plays: the same settings here.
    patch.setup = {"profile piano_midi"};
    patch.commands = start_commands(dir);
    const std::vector<std::string> want =
        positions_and_messages(read_file(dir / "expected.jsonl"), &patch.receivers);
    patch.notes = read_notes(dir / "performance.txt");
    double end = 0;
    for (const PdNote& n : patch.notes)
        end = std::max(end, n.onset + n.duration);
    patch.seconds = end + 2.0;
    const PdRun run = run_pd(f.path, patch);
    ASSERT_EQ(run.status, 0) << run.console;
    const std::vector<std::string> got = positions_and_messages(run);
    const auto differ = std::mismatch(got.begin(), got.end(), want.begin(), want.end());
    EXPECT_EQ(got, want) << "first difference at line " << (differ.first - got.begin()) << ": '"
                         << (differ.first == got.end() ? "(end)" : *differ.first) << "' against '"
                         << (differ.second == want.end() ? "(end)" : *differ.second) << "'\n"
                         << run.console;
    EXPECT_NE(std::find(run.lines.begin(), run.lines.end(), "LOADBANG: bang"), run.lines.end())
        << run.console;
}

INSTANTIATE_TEST_SUITE_P(Traces, PdCorpus, ::testing::ValuesIn(corpus_cases()), [](const auto& info) {
    std::string name = info.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

const char* const kThreeNotes =
    "BPM 60\nNOTE C4 1 first\n  print one\nNOTE D4 1\n  nobody 1\nNOTE E4 1 last\n"
    "  print $x\n";

std::vector<PdNote> three_notes() {
    return {{0.5, 60, 0.8, 80}, {1.5, 62, 0.8, 80}, {2.5, 64, 0.8, 80}};
}

TEST(PdObject, OutletsReportEachPositionAndAMissingReceiverIsNamedWithItsPlace) {
    Folder f;
    f.write("score.cad", kThreeNotes);
    PdPatch patch;
    patch.box = "cadenzium~ @INLET MIDI @OUTLET MAIN TEMPO LABEL LOADBANG ENDBANG BEATNUM NOTENUM";
    patch.receivers = {"print"};
    patch.notes = three_notes();
    patch.commands = {"setvar $x 7"};
    patch.seconds = 4;
    const PdRun run = run_pd(f.path, patch);
    ASSERT_EQ(run.status, 0) << run.console;
    const std::vector<std::string> want{"position 0", "position 1", "message print one",
                                        "position 2", "position 3", "message print 7"};
    EXPECT_EQ(positions_and_messages(run), want) << run.console;
    const std::string& c = run.console;
    EXPECT_NE(c.find("LABEL: symbol first"), std::string::npos) << c;
    EXPECT_NE(c.find("LABEL: symbol last"), std::string::npos) << c;
    EXPECT_NE(c.find("NOTENUM: 62"), std::string::npos) << c;
    EXPECT_NE(c.find("BEATNUM: 2"), std::string::npos) << c;
    EXPECT_NE(c.find("ENDBANG: bang"), std::string::npos) << c;
    EXPECT_NE(c.find("Cadenzium~ - Unable to forward to non-existing \"nobody\" on line 5, chars"),
              std::string::npos)
        << c;
}

// Practice in the patch: the third note comes 1.3 s after the second, whose
// written time is a second at 60 BPM: 300 ms late, a timing miss of one
// event in three. Reaching the last event, the object bangs its end outlet
// and posts the report: -300 ms over three events is -100 on average.
TEST(PdObject, PracticeReportsAtTheEndOfTheScore) {
    Folder f;
    f.write("score.cad", kThreeNotes);
    PdPatch patch;
    patch.receivers = {"print"};
    patch.setup = {"mode 1"};
    patch.notes = {{0.5, 60, 0.8, 80}, {1.5, 62, 0.8, 80}, {2.8, 64, 0.8, 80}};
    patch.seconds = 4;
    const PdRun run = run_pd(f.path, patch);
    ASSERT_EQ(run.status, 0) << run.console;
    const std::string& c = run.console;
    EXPECT_EQ(c.find("message print"), std::string::npos) << "practice keeps the actions silent: " << c;
    EXPECT_NE(c.find("Cadenzium -     LATE  event 3, NOTE 6400 1 \"last\" by 300 milli-seconds"),
              std::string::npos)
        << c;
    EXPECT_NE(c.find("ENDBANG: bang"), std::string::npos) << c;
    for (const char* line :
         {"CADENZIUM PRACTICE REPORT:", "     Total Missed=1 (over 3 events), Total duration missed=1.00",
          "           Including 1 Timing misses and 0 jumps.",
          "Event precision: 66.7 percent - Weighted precision: 66.7 percent",
          "Timing precision: -100 milli-seconds (average over score)"})
        EXPECT_NE(c.find(line), std::string::npos) << line << "\n" << c;
}

// The numbers that outlet `name` printed, in order ("CERTAINTY: 0.9").
std::vector<double> printed_numbers(const PdRun& run, const std::string& name) {
    std::vector<double> values;
    for (const std::string& line : run.lines)
        if (line.rfind(name + ": ", 0) == 0)
            values.push_back(std::strtod(line.c_str() + name.size() + 2, nullptr));
    return values;
}

std::vector<std::string> printed_lines(const PdRun& run, const std::string& name) {
    std::vector<std::string> lines;
    for (const std::string& line : run.lines)
        if (line.rfind(name + ": ", 0) == 0) lines.push_back(line.substr(name.size() + 2));
    return lines;
}

// The second event is never played: the third is heard in its place.
TEST(PdObject, DecisionOutletsReportCertaintyMissedEventsAndDistanceToActions) {
    const fs::path dir = kCorpus / "missed-event";
    Folder f;
    f.write("score.cad", read_file(dir / "score.cad"));
    PdPatch patch;
    patch.box = "cadenzium~ @INLET MIDI @OUTLET MAIN CERTAINTY TDIST MISSED";
    patch.setup = {"profile piano_midi"};
    patch.receivers = {"print"};
    patch.notes = read_notes(dir / "performance.txt");
    patch.seconds = 4;
    const PdRun run = run_pd(f.path, patch);
    ASSERT_EQ(run.status, 0) << run.console;
    const std::vector<double> positions = printed_numbers(run, "MAIN");
    ASSERT_EQ(positions, (std::vector<double>{0, 1, 3, 4})) << run.console;

    EXPECT_EQ(printed_lines(run, "MISSED"), std::vector<std::string>{"2 79"})
        << "the skipped G5, once, with its index" << run.console;
    // From the top and from the opening the next actions are one event
    // ahead; "heard" has its own; after "last" there are none.
    EXPECT_EQ(printed_numbers(run, "TDIST"), (std::vector<double>{2, 1, 0})) << run.console;
    const std::vector<double> certainty = printed_numbers(run, "CERTAINTY");
    ASSERT_EQ(certainty.size(), positions.size()) << run.console;
    for (double c : certainty) {
        EXPECT_GE(c, 0.0);
        EXPECT_LE(c, 1.0);
    }
    EXPECT_GT(certainty[1], 0.0) << "a decided note has some belief" << run.console;
}

// The patch rewrites its own score while it plays: the object reads the
// new text without being asked.
TEST(PdObject, AutowatchReadsTheScoreAgainWhenItsFileChanges) {
    Folder f;
    f.write("score.cad", kThreeNotes);
    // Older than anything the patch writes, whatever the file system's
    // resolution of modification times.
    fs::last_write_time(f.path / "score.cad", fs::file_time_type::clock::now() - std::chrono::hours(1));
    PdPatch patch;
    patch.setup = {"autowatch 1"};
    patch.rewrite = {"BPM 90", "NOTE C4 1 rewritten"};
    patch.rewrite_at = 1.0;
    patch.seconds = 3;
    patch.commands = {};
    const PdRun run = run_pd(f.path, patch);
    ASSERT_EQ(run.status, 0) << run.console;
    EXPECT_EQ(std::count(run.lines.begin(), run.lines.end(), "LOADBANG: bang"), 2) << run.console;
    EXPECT_NE(run.console.find("changed: reading it again"), std::string::npos) << run.console;

    Folder still;
    still.write("score.cad", kThreeNotes);
    patch.setup = {};
    const PdRun unwatched = run_pd(still.path, patch);
    ASSERT_EQ(unwatched.status, 0) << unwatched.console;
    EXPECT_EQ(std::count(unwatched.lines.begin(), unwatched.lines.end(), "LOADBANG: bang"), 1)
        << "without autowatch the change is not read" << unwatched.console;
}

// The commands that the host answers: the names the patch receives on, and
// the score's file watched from the command as from the attribute.
TEST(PdObject, TheObjectNamesItsPatchsReceiversAndWatchesItsScoreOnCommand) {
    Folder f;
    f.write("score.cad", kThreeNotes);
    fs::last_write_time(f.path / "score.cad", fs::file_time_type::clock::now() - std::chrono::hours(1));
    PdPatch patch;
    patch.receivers = {"print", "level"};
    patch.commands = {"get_patch_receivers", "filewatchset on"};
    patch.rewrite = {"BPM 90", "NOTE C4 1 rewritten"};
    patch.rewrite_at = 1.0;
    patch.seconds = 3;
    const PdRun run = run_pd(f.path, patch);
    ASSERT_EQ(run.status, 0) << run.console;
    EXPECT_NE(run.console.find("receive: print"), std::string::npos) << run.console;
    EXPECT_NE(run.console.find("receive: level"), std::string::npos) << run.console;
    EXPECT_NE(run.console.find("changed: reading it again"), std::string::npos) << run.console;
}

// The score's note sounds on the object's AUDIO outlet from the moment its
// event is heard.
TEST(PdObject, TheScoresSoundPlaysOnTheAudioOutlet) {
    if (!fs::exists("/usr/share/sounds/sf2/FluidR3_GM.sf2")) GTEST_SKIP() << "no General MIDI sound font";
    Folder f;
    f.write("score.cad", "BPM 60\nNOTE C4 1\n  fluidsynth::piano(0, 72, 110, 0.5)\nNOTE D4 1\n");
    PdPatch patch;
    patch.box = "cadenzium~ @INLET MIDI @OUTLET MAIN AUDIO";
    patch.dsp = true;
    patch.notes = {{1.0, 60, 0.8, 80}};
    patch.seconds = 2;
    patch.commands = {"info"};
    const PdRun run = run_pd(f.path, patch);
    ASSERT_EQ(run.status, 0) << run.console;
    EXPECT_NE(run.console.find("Fluidsynth handling: yes"), std::string::npos) << run.console;
    // env~ prints a level about every 12 ms: none before the note, loud
    // ones after it.
    const std::vector<double> levels = printed_numbers(run, "AUDIO");
    ASSERT_GT(levels.size(), 100u) << run.console;
    const std::size_t note = levels.size() / 2; // the note comes at 1 s of 2
    EXPECT_LT(*std::max_element(levels.begin(), levels.begin() + static_cast<long>(note) - 5), 1.0);
    EXPECT_GT(*std::max_element(levels.begin() + static_cast<long>(note), levels.end()), 40.0) << run.console;
}

TEST(PdObject, BoxFlagsSetAttributesAndUnknownWordsAreReported) {
    Folder f;
    f.write("score.cad", kThreeNotes);
    PdPatch patch;
    patch.box = "cadenzium~ @INLET MIDI @OUTLET MAIN NOWHERE @suivi 0 @colour 3";
    patch.notes = three_notes();
    patch.seconds = 4;
    const PdRun run = run_pd(f.path, patch);
    ASSERT_EQ(run.status, 0) << run.console;
    EXPECT_EQ(positions_and_messages(run), std::vector<std::string>{"position 0"}) << "the follower is off";
    EXPECT_NE(run.console.find("Cadenzium~: Outlet NOWHERE not supported!"), std::string::npos)
        << run.console;
    EXPECT_NE(run.console.find("Cadenzium~: Argument @colour not supported!"), std::string::npos)
        << run.console;
}

// Every command of the engine's table is a message of the object: "play"
// plays the score by itself on Pd's clock; a bad argument or an unknown
// word is reported.
TEST(PdObject, TheEnginesCommandsAreMessagesOfTheObject) {
    Folder f;
    f.write("score.cad", kThreeNotes);
    PdPatch patch;
    patch.receivers = {"print"};
    patch.commands = {"setvar $x 5", "tempo fast", "fly away", "play"};
    patch.seconds = 4;
    const PdRun run = run_pd(f.path, patch);
    ASSERT_EQ(run.status, 0) << run.console;
    const std::vector<std::string> want{"position 0", "position 1", "message print one",
                                        "position 2", "position 3", "message print 5"};
    EXPECT_EQ(positions_and_messages(run), want) << run.console;
    EXPECT_NE(run.console.find("cadenzium~: command 'tempo' expects a float as first argument"),
              std::string::npos)
        << run.console;
    EXPECT_NE(run.console.find("cadenzium~: unknown command 'fly'"), std::string::npos) << run.console;
}

// A recording of the three notes, played into the signal inlet, and the
// same recording followed by the program.
TEST(PdObject, AudioThroughTheSignalInletGivesThePositionsTheProgramFinds) {
    Folder f;
    f.write("score.cad", kThreeNotes);
    std::vector<SynthNote> notes;
    for (const PdNote& n : three_notes())
        notes.push_back({n.onset, {static_cast<float>(n.pitch)}, n.duration, static_cast<float>(n.velocity)});
    ASSERT_TRUE(write_sound_file((f.path / "perf.wav").string(), synthesize(notes, 44100), 44100));

    FollowOptions o;
    o.score = (f.path / "score.cad").string();
    o.audio = (f.path / "perf.wav").string();
    o.trace = (f.path / "trace.jsonl").string();
    o.quiet = true;
    std::ostringstream out;
    ASSERT_EQ(run_follow(o, out), 0);
    std::vector<std::string> want;
    for (const std::string& line : positions_and_messages(read_file(f.path / "trace.jsonl"), nullptr))
        if (line.rfind("position", 0) == 0) want.push_back(line);
    ASSERT_GE(want.size(), 3u);

    PdPatch patch;
    patch.box = "cadenzium~ @OUTLET MAIN LOADBANG VELOCITY CERTAINTY";
    // The program listens to a sound file with its piano audio profile.
    patch.setup = {"profile piano_audio"};
    patch.sound = "perf.wav";
    patch.seconds = 5;
    const PdRun run = run_pd(f.path, patch);
    ASSERT_EQ(run.status, 0) << run.console;
    std::vector<std::string> got;
    for (const std::string& line : positions_and_messages(run))
        if (line.rfind("position", 0) == 0) got.push_back(line);
    EXPECT_EQ(got, want) << run.console;
    // Each heard onset has a velocity from its loudness, a MIDI velocity.
    const std::vector<double> velocities = printed_numbers(run, "VELOCITY");
    EXPECT_EQ(velocities.size(), got.size() - 1) << "every onset but the start" << run.console;
    for (double v : velocities) {
        EXPECT_GE(v, 1.0);
        EXPECT_LE(v, 127.0);
    }
    EXPECT_EQ(printed_numbers(run, "CERTAINTY").size(), got.size()) << run.console;
}

} // namespace
