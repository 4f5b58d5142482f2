// The engine's commands that shape the audio observation; the listening
// driver keeps the values.
#include "Listening/CadAlign.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "Base/Console.hpp"

void cadenzium_core::cadenzium_variance(double v) {
    get_align().cadenzium_variance(v);
}

void cadenzium_core::gamma_set(double g) {
    get_align().gamma_set(g);
}

void cadenzium_core::tuning_set(double hz) {
    get_align().tuning_set(hz);
}

void cadenzium_core::nofharm_set(int n) {
    if (n < 1) {
        error("Number of harmonics must be an integer greater than zero! (received %d)", n);
        return;
    }
    CadAlign& a = get_align();
    const int old = static_cast<int>(a.harmlist.size());
    a.set_nofharm(n);
    inform("%s - Number of harmonics set to %d (was %d)", thisName(), n, old);
}

void cadenzium_core::harmlist_set(const std::vector<double>& list) {
    get_align().set_harmlist(list);
}

void cadenzium_core::KLexp_set(double e) {
    get_align().KLexp_set(e);
}

// The stored piano spectra are those of a 4096-sample window.
void cadenzium_core::PianoMode(int on) {
    CadAlign& a = get_align();
    const ConsoleScope scope(&rt.console);
    const char* was = a.PianoMode ? "ON" : "OFF";
    if (on < 1) {
        a.set_piano_mode(false);
        inform("Cadenzium~ - Follower Mode is OFF (was %s).", was);
        return;
    }
    a.set_piano_mode(true);
    inform("Cadenzium~ - Follower Mode is ON (was %s).", was);
    if (static_cast<int>(window_size) == 4096) return;
    inform("Cadenzium~ - Setting analysis window size to 4096 for Piano Mode.");
    cadenzium_analysisParameters(4096, static_cast<int>(hop_size));
}
