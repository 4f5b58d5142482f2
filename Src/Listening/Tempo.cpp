#include "Listening/Tempo.hpp"

#include "Base/Console.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr int TABLE_SIZE = 9001;
constexpr double TWO_PI = 2.0 * std::numbers::pi;

std::vector<double> make_bessel_ratio_table() {
    std::vector<double> table(TABLE_SIZE);
    for (int i = 0; i < TABLE_SIZE; ++i) {
        const double k = t_tempo::kappa_of(i);
        const double ratio = std::cyl_bessel_i(1.0, k) / std::cyl_bessel_i(0.0, k);
        table[static_cast<size_t>(i)] = std::round(ratio * 1e5) / 1e5;
    }
    return table;
}

} // namespace

double tempo_wrap(double x) {
    const double a = std::fabs(2.0 * x);
    const double sign = x > 0 ? 1.0 : -1.0;
    return sign * (a - 2.0 * std::ceil((a - 1.0) / 2.0)) / 2.0;
}

const std::vector<double>& t_tempo::bessel_ratio_table() {
    static const std::vector<double> table = make_bessel_ratio_table();
    return table;
}

t_tempo::t_tempo()
    : A_table(bessel_ratio_table()) {}

void t_tempo::init() {
    Reset();
    onset_count = 0;
}

void t_tempo::Reset() {
    correction = 0;
    kappa = 2.0;
    rbar = 0.94;
}

void t_tempo::kappamin_set(double k) {
    if (k >= 1.0) kappamin = k;
}

void t_tempo::TempoUpdate(double p) {
    if (p == period) return;
    period = period_init = p;
    onset_count = 0;
}

double t_tempo::entrain(float phi, float k) {
    const double angle = TWO_PI * phi;
    return std::sin(angle) * std::exp(k * std::cos(angle)) / (TWO_PI * std::exp(k));
}

// The inverse of the Bessel ratio: the grid value one place before the
// first entry not below r.
double t_tempo::kappa_from_rbar(double r) const {
    if (r < A_table.front()) return 1.0;
    if (r >= A_table.back()) return 10.0;
    const auto it = std::lower_bound(A_table.begin(), A_table.end(), r);
    const long i = std::max<long>(static_cast<long>(it - A_table.begin()) - 1, 0);
    return kappa_of(static_cast<int>(i));
}

double t_tempo::phase_step(double phi_score, double elapsed) {
    const double phi = elapsed / period - correction;
    const double error_phase = phi - phi_score;
    double delta = tempo_wrap(error_phase);
    delta = error_phase > 0 ? std::fabs(delta) : -std::fabs(delta);
    rbar = rbar - (rbar - std::cos(TWO_PI * delta)) * eta;
    kappa = std::max(kappa_from_rbar(std::fabs(rbar)), kappamin);
    correction = static_cast<float>(entrain(static_cast<float>(delta), static_cast<float>(kappa)));
    return delta;
}

void t_tempo::tempoOsc(float passed_phase, float phi_score, float score_tempo, float elapsed, int verbose) {
    if (period == 0) period = score_tempo;
    const double phi = elapsed / period - correction;
    const double delta = phase_step(phi_score, elapsed);
    onset_count = 0;
    const double new_period = (correction + 1.0) * period;
    if (verbose > 0)
        post("        RT phi %.3f, passed phase %.3f, delta %.3f, tempo correction %.4e, TEMPO=%.4e (%.2f "
             "BPM), "
             "Kappa=%.4f",
             tempo_wrap(phi), passed_phase, delta, correction, period, 60.0 / period, kappa);
    if (new_period != last_period) TempoUpdate(new_period);
}

void t_tempo_var::init() {
    t_tempo::init();
    phase_sum = 0;
    last_date = -1.0;
    step_count = 0;
}

std::unique_ptr<TempoOscillator> make_t_tempo_var() {
    return std::make_unique<t_tempo_var>();
}

double t_tempo_var::tempoOsc(double date) {
    if (last_date == -1.0) {
        phase_sum = 0;
        step_count = 1;
        last_date = date;
        return 60.0 / period;
    }
    const double elapsed = date - last_date;
    phase_sum += score_step;
    if (elapsed > 0) {
        phase_step(score_step, elapsed);
        const double new_period = (1.0 + correction) * period;
        if (new_period != last_period) TempoUpdate(new_period);
    }
    step_count = 1 + static_cast<int>(std::floor(phase_sum / score_step));
    last_date = date;
    return 60.0 / period;
}
