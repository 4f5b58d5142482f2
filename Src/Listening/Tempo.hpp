// The tempo tracker: an oscillator entrained by the onsets. Each onset is
// expected at a phase given by the score; the phase error updates the
// coherence of past errors (rbar), hence a coupling strength (kappa), and a
// von Mises-shaped correction moves the beat period.
#pragma once

#include "Exp/TempoVar.hpp"

#include <memory>
#include <vector>


// Brings a phase in periods into [-0.5, 0.5].
double tempo_wrap(double x);

class t_tempo {
public:
    t_tempo();
    t_tempo(const t_tempo&) = default;
    t_tempo& operator=(const t_tempo&) = delete;
    virtual ~t_tempo() = default;

    // Back to the start state of a performance; the period stays.
    virtual void init();
    // Sets the period (seconds per beat).
    virtual void TempoUpdate(double p);

    // One onset. `elapsed` is the real time since the previous onset,
    // `phi_score` the beats the score puts between them, `passed_phase` its
    // wrapped value, `score_tempo` the score's period at the previous event.
    void tempoOsc(float passed_phase, float phi_score, float score_tempo, float elapsed, int verbose);
    // The correction for a phase error `phi` (in periods) at coupling `kappa`.
    static double entrain(float phi, float kappa);

    double get_tempo() const { return 60.0 / period; }
    // After a jump or a forced position: forget the coherence of the errors.
    void Reset();
    // Accepts values of 1.0 and above only.
    void kappamin_set(double k);
    int onsets_since_forced_tempo() const { return onset_count; }

    // The mean resultant length of a von Mises law of concentration
    // 1.0 + 0.001 * i, for i up to 9,000 (five decimals).
    static const std::vector<double>& bessel_ratio_table();
    static double kappa_of(int i) { return 1.0 + 0.001 * i; }

    double kappa = 2.0;
    double rbar = 0.94;
    // Smoothing of rbar: 1 minus the "temposmoothness".
    double eta = 0.9;
    // Beat period in seconds.
    double period = 1.0;
    double period_init = 1.0;
    // The last correction, also the phase carried to the next onset.
    double correction = 0;
    double last_period = 0;
    double kappamin = 1.0;
    const std::vector<double>& A_table;

protected:
    // Steps shared with t_tempo_var: phase error, coherence, coupling and
    // correction. Returns the phase error in periods.
    double phase_step(double phi_score, double elapsed);
    double kappa_from_rbar(double r) const;

    int onset_count = 0;
};

// The same oscillator for a variable's updates: the expected step between
// two updates is fixed, and the result is a tempo in BPM. It is the
// oscillator of the language's tempo variables (make_t_tempo_var).
class t_tempo_var : public t_tempo, public TempoOscillator {
public:
    explicit t_tempo_var(double step = 1.0)
        : score_step(step) {}

    std::unique_ptr<TempoOscillator> clone() const override { return std::make_unique<t_tempo_var>(*this); }
    void init() override;
    // One update at `date` (seconds); returns the tempo in BPM.
    double tempoOsc(double date) override;
    // Only stores the period.
    void TempoUpdate(double p) override { period = p; }
    double get_tempo() const override { return 60.0 / period; }

    double score_step;
    double phase_sum = 0;
    double last_date = -1.0;
    int step_count = 0;
};

// The oscillator of the language's tempo variables: the runtime makes one per
// tempo variable, which follows its updates entrained.
std::unique_ptr<TempoOscillator> make_t_tempo_var();
