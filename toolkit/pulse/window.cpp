// Spectral windows.  Each is 1 at DC, so the windowed impulse response
// still sums to H(0), and falls to its edge value at fStop (0 above):
//   raised cosine  W(f) = 1/2 (1 + cos(pi f / fStop)), 0 at fStop;
//   Kaiser         W(f) = I0(beta sqrt(1 - (f/fStop)^2)) / I0(beta), the
//                  right half of the symmetric window, 1/I0(beta) at fStop.
// I0 by its power series sum_m ((x/2)^m / m!)^2: every term is positive (no
// cancellation), and for x <= 100 the terms peak near m = x/2 and have
// fallen below 1e-17 of the sum well before m = 200.
#include "pulse/window.h"

#include <cmath>

#include "zefra/toolkit/pulse.h"

namespace zefra::tk::pulse {
namespace {

constexpr double kPi = 3.141592653589793;

double besselI0(double x) {
  const double q = 0.25 * x * x;
  double term = 1.0;
  double sum = 1.0;
  for (int m = 1; m < 500; ++m) {
    term *= q / (static_cast<double>(m) * static_cast<double>(m));
    sum += term;
    if (term < 1e-17 * sum) {
      break;
    }
  }
  return sum;
}

}  // namespace

double windowValue(int32_t kind, double beta, double f, double fStop) {
  if (kind == ZEFRA_TK_WINDOW_NONE) {
    return 1.0;
  }
  if (f > fStop) {
    return 0.0;
  }
  const double r = f / fStop;
  if (kind == ZEFRA_TK_WINDOW_RAISED_COSINE) {
    return 0.5 * (1.0 + std::cos(kPi * r));
  }
  const double root = std::sqrt(std::fmax(0.0, (1.0 - r) * (1.0 + r)));
  return besselI0(beta * root) / besselI0(beta);
}

void applyWindow(int32_t kind, double beta, double fStop, double df, std::vector<Cplx>& x) {
  if (kind == ZEFRA_TK_WINDOW_NONE) {
    return;
  }
  for (std::size_t k = 0; k < x.size(); ++k) {
    x[k] *= windowValue(kind, beta, static_cast<double>(k) * df, fStop);
  }
}

}  // namespace zefra::tk::pulse
