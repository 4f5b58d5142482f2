// The editor link: liblo's oscsend gives the engine every command of its
// table at /cadenzium/cmd while it follows, and a bad argument of each kind
// is reported in the link's words; the link sends positions back.
#include "Osc/CommandPort.hpp"
#include "OscRig.hpp"

#include <gmock/gmock.h>

#include <cstdlib>
#include <map>
#include <sstream>

namespace {

const char* kScore = "@track_def track::voices { print }\nbpm 60\nNOTE 60 1 A\n  print a\nNOTE 62 1 B\n  "
                     "print b\nNOTE 64 1 C\n  print c\n"
                     "NOTE 65 1 D\n";

class EditorLink : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(engine().ScoreParsing(score.path));
        engine().cadenzium_start("");
        ASSERT_TRUE(link.enable());
    }
    cadenzium_core& engine() { return host.engine; }

    // One command by liblo's oscsend, written as pairs of an OSC type and
    // a value ("s gotolabel s C"): oscsend takes the types first, then the
    // values.
    void oscsend(const std::string& pairs) {
        std::istringstream in(pairs);
        std::string types, values, type, value;
        while (in >> type >> std::ws) {
            if (in.peek() == '"') {
                in.get();
                std::getline(in, value, '"');
                value = "'" + value + "'";
            } else {
                in >> value;
            }
            types += type;
            values += " " + value;
        }
        const std::string line =
            "oscsend localhost " + std::to_string(port) + " /cadenzium/cmd " + types + values;
        ASSERT_EQ(std::system(line.c_str()), 0) << line;
    }
    // Sends a marker and waits until the link has run it: every command
    // sent before it has run too.
    bool all_run() {
        oscsend("s setvar s marker i " + std::to_string(++markers));
        return eventually([&] {
            const std::lock_guard<std::recursive_mutex> hold(engine().env_lock());
            GlobalEnvironment& env = host.env();
            if (!env.is_defined_var("$marker")) return false;
            const Value& v = env.get_vm("$marker")->newest();
            return v->is_numeric() && v->get_int() == markers;
        });
    }

    SharedConsole console;
    TempScore score{kScore};
    OscHost host;
    UdpPeer editor;
    int port = UdpPeer::free_port();
    CommandPort link{host.engine, {"localhost", editor.port(), port}};
    int markers = 0;
};

TEST_F(EditorLink, CommandsMoveTheFollowerAndSetItsVariables) {
    oscsend("s gotolabel s C");
    ASSERT_TRUE(all_run());
    EXPECT_EQ(engine().Position(), 2);
    oscsend("s nextevent");
    oscsend("s setvar s x f 2.5");
    ASSERT_TRUE(all_run());
    EXPECT_EQ(engine().Position(), 3);
    EXPECT_THAT(host.messages(), ::testing::ElementsAre("print c"));
    oscsend("s gotobeat i 1");
    ASSERT_TRUE(all_run());
    EXPECT_EQ(engine().Position(), 1) << "an int serves a beat: waiting before B";
}

TEST_F(EditorLink, ABadArgumentOfEachKindIsReportedInTheLinksWords) {
    const std::map<std::string, std::string> bad = {
        {"s gotobeat s x", "Osc command gotobeat from Lectern expects a float as first argument"},
        {"s pedal s on", "Osc command pedal from Lectern expects ints as arguments"},
        {"s analysis i 1024", "Osc command analysis from Lectern expects ints as arguments"},
        {"s gotolabel i 3", "Osc command gotolabel from Lectern expects strings"},
        {"s preload s one", "Osc command preload from Lectern expects strings"},
        {"s harmlist f 1 s x", "Osc command harmlist from Lectern expects floats"},
        {"s setvar s x", "Problem in arguments of osc command setvar from Lectern"},
        {"i 3", "Osc command message from Lectern is not a string"},
        {"s nosuch", "Invalid osc command message from Lectern : nosuch"},
    };
    for (const auto& [sent, said] : bad)
        oscsend(sent);
    ASSERT_TRUE(all_run());
    for (const auto& [sent, said] : bad)
        EXPECT_EQ(console.errors_with(said), 1) << sent;
    EXPECT_EQ(engine().Position(), 0);
}

// Every command of the engine's table, with arguments of its kind: none is
// refused by the link, whatever it does to the follower.
TEST_F(EditorLink, EveryCommandOfTheTableIsReachable) {
    const std::string file = "s " + score.path;
    const std::map<std::string, std::string> args = {
        {"actions", "s on"},
        {"add_completion_string", "s reverb"},
        {"lectern_trace", "i 1"},
        {"lecternheight_set", "i 600"},
        {"lecternwidth_set", "i 800"},
        {"lecternxy_set", "i 10 i 20"},
        {"analysis", "i 4096 i 512"},
        {"before_nextlabel", ""},
        {"gotocue", "s B"},
        {"jump", "s C"},
        {"jumptocue", "s B"},
        {"jumptolabel", "s C"},
        {"mute", "s voices"},
        {"nextaction", ""},
        {"nextfwd", ""},
        {"nextlabel", ""},
        {"nextlabeltempo", ""},
        {"previouslabel", ""},
        {"printscore", ""},
        {"scrubtobeat", "f 2"},
        {"scrubtolabel", "s B"},
        {"unmute", "s voices"},
        {"bpmtolerance", "f 5"},
        {"calibrate", "i 0"},
        {"clear", ""},
        {"decodewindow", "i 21"},
        {"gamma", "f -1"},
        {"get_current_score", ""},
        {"getcues", ""},
        {"getlabels", ""},
        {"gotobeat", "f 2"},
        {"gotolabel", "s B"},
        {"harmlist", "f 1 f 2 f 3"},
        {"info", ""},
        {"killall", ""},
        {"livecode", "s \"print live\""},
        {"livecode_add", "s \"print later\""},
        {"mode", "i 0"},
        {"nextevent", ""},
        {"nofharm", "i 8"},
        {"normin", "f 0"},
        {"obsexp", "f 1"},
        {"pedal", "i 0"},
        {"pedalcoeff", "f 0.5"},
        {"pedaltime", "f 500"},
        {"piano", "i 0"},
        {"play", ""},
        {"playfrom", "s B"},
        {"playfrombeat", "f 1"},
        {"playfromlabel", "s C"},
        {"playstring", "s \"print played\""},
        {"playstring_append", "s \"print appended\""},
        {"playto", "s D"},
        {"playtobeat", "f 2"},
        {"playtolabel", "s C"},
        {"preload", "s second " + file},
        {"preventzigzag", "s on"},
        {"previousevent", ""},
        {"read", file},
        {"report", ""},
        {"score", file},
        {"setvar", "s y i 1"},
        {"start", ""},
        {"startfrombeat", "f 1"},
        {"startfromlabel", "s B"},
        {"static_analysis", ""},
        {"stop", ""},
        {"suivi", "i 1"},
        {"tempo", "f 72"},
        {"tempoinit", "i 1"},
        {"temposmoothness", "f 0.5"},
        {"tune", "f 440"},
        {"variance", "f 0.5"},
        {"verbosity", "i 0"},
        {"version", ""},
        {"filewatchset", "s off"},
        {"get_patch_receivers", ""},
        {"printfwd", ""},
    };
    for (const std::string& name : engine().commands().names()) {
        const auto it = args.find(name);
        ASSERT_NE(it, args.end()) << "no arguments given here for the command '" << name << "'";
        oscsend("s " + name + (it->second.empty() ? "" : " " + it->second));
    }
    engine().cadenzium_start("");
    ASSERT_TRUE(all_run());
    EXPECT_EQ(console.errors_with("Lectern"), 0);
}

TEST_F(EditorLink, PositionsGoToTheEditor) {
    link.send_beat_pos(2.0, 60.0);
    const std::string datagram = editor.receive();
    EXPECT_NE(datagram.find("/cadenzium/editor"), std::string::npos);
    EXPECT_NE(datagram.find("event_beatpos"), std::string::npos);
}

TEST(EditorCommand, TheUsersEditorOrTheDesktopsOpensTheScore) {
    EXPECT_EQ(editor_command_line("/tmp/a b.cad", "vim"), "vim '/tmp/a b.cad'");
    EXPECT_EQ(editor_command_line("/tmp/it's.cad", nullptr), "xdg-open '/tmp/it'\\''s.cad'");
    EXPECT_EQ(editor_command_line("x.cad", ""), "xdg-open 'x.cad'");
}

} // namespace
