// What a tempo variable keeps beside its values: a tempo that follows the
// dates of the variable's updates, a position and a period. The following
// itself is done by an oscillator, which the runtime makes (see
// EvalContext::make_tempo_oscillator): the listening layer's, entrained by
// the updates. The fixed one keeps the tempo where it was set.
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

// An oscillator that keeps the period it is given.
std::unique_ptr<TempoOscillator> make_fixed_oscillator();

class TempoVar {
public:
    explicit TempoVar(std::unique_ptr<TempoOscillator> oscillator);
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
