// A score played on the virtual clock: its first event is heard when the
// test says, and the messages it sends are read back as "arguments@date".
#pragma once

#include "RunTime/CadenziumCore.hpp"
#include "RuntimeRig.hpp"

#include <string>
#include <vector>

class PlayRig : public RuntimeRig {
protected:
    // Starts `score` and hears event 1 at `t`.
    void play(const std::string& score, double t = 0.0) {
        start(score);
        at(t);
        engine.updatePosition(1);
    }
    // The messages delivered by date `t`.
    std::vector<std::string> run_until(double t) {
        at(t);
        return lines();
    }
    std::vector<std::string> lines() const {
        std::vector<std::string> out;
        for (const Delivered& d : host.delivered)
            out.push_back(d.args + "@" + str_printf("%g", d.date));
        return out;
    }
    // How many console errors contain `text`.
    long errors_with(const std::string& text) const {
        long n = 0;
        for (const std::string& line : console.errors)
            n += line.find(text) != std::string::npos;
        return n;
    }
};
