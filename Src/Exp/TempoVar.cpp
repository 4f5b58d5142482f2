#include "Exp/TempoVar.hpp"


namespace {

// Keeps the period it is given; updates do not move it.
class FixedTempoOscillator final : public TempoOscillator {
public:
    std::unique_ptr<TempoOscillator> clone() const override {
        return std::make_unique<FixedTempoOscillator>(*this);
    }
    void init() override { period = 1.0; }
    double tempoOsc(double) override { return get_tempo(); }
    void TempoUpdate(double p) override { period = p; }
    double get_tempo() const override { return 60.0 / period; }

private:
    double period = 1.0;
};

} // namespace

std::unique_ptr<TempoOscillator> make_fixed_oscillator() {
    return std::make_unique<FixedTempoOscillator>();
}

TempoVar::TempoVar(std::unique_ptr<TempoOscillator> o)
    : oscillator(o ? std::move(o) : make_fixed_oscillator()) {}

TempoVar::TempoVar(const TempoVar& other)
    : period(other.period)
    , position(other.position)
    , score_step(other.score_step)
    , oscillator(other.oscillator->clone()) {}

void TempoVar::init() {
    period = 1.0;
    position = -1.0;
    oscillator->init();
}

void TempoVar::set_tempo(double bpm) {
    period = 60.0 / bpm;
    oscillator->TempoUpdate(period);
}
