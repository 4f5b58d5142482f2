// `cadenzium info`: the build's version and the sound engines it has.
#include "Commands.hpp"

#include "Dsp/FluidsynthNode.hpp"

#include <ostream>

int run_info(std::ostream& out) {
    out << "cadenzium " << CAD_VERSION << '\n';
    out << "Faust handling: no\n";
    out << "Csound handling: no\n";
    out << "Fluidsynth handling: yes (FluidSynth " << fluidsynth_version_text() << ")\n";
    return 0;
}
