// The engine's side of the pedal model and of calibration: their settings,
// with the console's answers, and the calibration of each analysed frame
// while it is on.
#include "Base/Console.hpp"
#include "Listening/CadAlign.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "RunTime/HostPort.hpp"

void cadenzium_core::pedal_set(int on) {
    const ConsoleScope scope(&rt.console);
    const bool changed = (on != 0) != (pedal_mode != 0);
    pedal_mode = on;
    get_align().pedal = on;
    if (changed) post(on ? "Entering pedal mode." : "Exiting pedal mode.");
}

void cadenzium_core::pedalcoeff_set(double c) {
    get_align().pedalcoeff = static_cast<float>(c);
}

void cadenzium_core::pedaltime_set(double ms) {
    const ConsoleScope scope(&rt.console);
    if (ms <= 1.0) {
        error("Cadenzium~: Pedal time is in MS and should be greater than 1.0! IGNORED!");
        return;
    }
    get_align().pedaltime = static_cast<float>(ms);
}

void cadenzium_core::calibrate_set(int count, int on, int pitch) {
    const ConsoleScope scope(&rt.console);
    if (inlet_map.find("KL") == inlet_map.end()) {
        error("Cadenzium~: Caliberate mode ONLY available for audio observations!");
        return;
    }
    CadAlign& a = get_align();
    if (count > 1) a.calibration_pitch = pitch;
    calibrating = on != 0 ? 1 : 0;
    if (on != 0) post("%s - Entering calibration mode (on MIDI reference %i).", thisName(), a.calibration_pitch);
}

void cadenzium_core::calibrate_set_internal(int on) {
    calibrate_set(1, on, 0);
}

void cadenzium_core::cadenzium_doit_calibration() {
    float energy = 0;
    float likelihood = 0;
    get_align().RawCalibration(energy, likelihood);
    port.calibration(energy, likelihood);
}
