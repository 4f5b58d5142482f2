// Functions called from scores: each case is a score whose first event
// prints one expression; the rig hears that event and gives what was printed
// (values shown as the system shows them) and the console's errors.
#pragma once

#include "RunTime/CadenziumCore.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "TestEngine.hpp"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

// One row of a table: an expression, what it prints, a piece of the error
// it reports ("" for none), and actions run before it in the same instant.
// A call of a pure function on constant arguments is made while the score
// is read, and its error refuses the score: cases of errors at run time take
// their arguments from variables that `setup` assigns.
struct Case {
    const char* expr;
    const char* shown;
    const char* error = "";
    const char* setup = "";
};

inline std::ostream& operator<<(std::ostream& out, const Case& c) {
    return out << c.expr;
}

class PrintingHost : public TestHost {
public:
    void on_message(const message& m) override {
        std::string text;
        for (const Value& v : m.values)
            text += (text.empty() ? "" : " ") + show_text(v);
        printed.push_back(text);
    }
    std::vector<std::string> printed;
};

class FunctionRig {
public:
    // Runs `score` (events and actions) and hears its events 1 .. `events`.
    bool run(const std::string& score, int events = 1) {
        if (!start(score)) return false;
        for (int e = 1; e <= events; ++e)
            hear(e);
        return true;
    }

    // Loads and starts `score`; its events are then heard one by one.
    bool start(const std::string& score) {
        console.clear();
        host.printed.clear();
        if (!host.load(score)) return false;
        host.engine.cadenzium_start("");
        return true;
    }
    void hear(int event) { host.engine.updatePosition(event); }

    // What `expr` prints when the first event of a score fires it, after the
    // definitions of `prelude`.
    std::string eval(const std::string& expr, const std::string& prelude = "",
                     const std::string& setup = "") {
        const std::string actions = setup.empty() ? "" : "  " + setup + "\n";
        if (!run(prelude + "\nNOTE 60 1\n" + actions + "  print (" + expr + ")\n"))
            return "<score does not read>";
        return host.printed.empty() ? "<nothing printed>" : host.printed.front();
    }

    // Checks one row: what it prints and, when it expects one, its error.
    void check(const Case& c, const std::string& prelude = "") {
        const std::string shown = eval(c.expr, prelude, c.setup);
        EXPECT_EQ(shown, c.shown) << c.expr;
        const std::string expected_error = c.error;
        if (expected_error.empty())
            EXPECT_TRUE(console.errors.empty()) << c.expr << ": " << console.errors.front();
        else
            EXPECT_TRUE(console.has_error(expected_error))
                << c.expr << ": expected error " << expected_error << ", got "
                << (console.errors.empty() ? "none" : console.errors.front());
    }

    GlobalEnvironment& env() { return host.env(); }

    ConsoleCapture console;
    PrintingHost host;
};
