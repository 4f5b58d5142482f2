// What a tempo variable keeps beside its values: a tempo that follows the
// dates of the variable's updates, a position and a period. The following
// itself is done by an oscillator; the listening layer installs its own
// (entrained by the updates) through `set_tempo_oscillator_factory`. Until it
// does, the tempo stays where it was set.
#pragma once

#include <memory>

class TempoOscillator {
public:
    virtual ~TempoOscillator() = default;
    virtual std::unique_ptr<TempoOscillator> clone() const = 0;
    virtual void init() = 0;
    // Takes the date (seconds) of an update; gives the tempo in BPM.
    virtual double tempoOsc(double date) = 0;
    virtual void TempoUpdate(double period) = 0;
    virtual double get_tempo() const = 0;
};

using TempoOscillatorFactory = std::unique_ptr<TempoOscillator> (*)();
// Null restores the fixed oscillator.
void set_tempo_oscillator_factory(TempoOscillatorFactory factory);

class TempoVar {
public:
    TempoVar();
    TempoVar(const TempoVar& other);
    TempoVar& operator=(const TempoVar&) = delete;

    void init();
    double tempo() const { return oscillator->get_tempo(); }
    void set_tempo(double bpm);
    // The variable was updated at `date`.
    void feed(double date) { oscillator->tempoOsc(date); }

    double period = 1.0;     // seconds per beat
    double position = -1.0;  // beats; negative until set
    double score_step = 1.0; // beats expected between updates

private:
    std::unique_ptr<TempoOscillator> oscillator;
};
