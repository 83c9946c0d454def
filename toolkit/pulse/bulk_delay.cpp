// Bulk delay as the least-squares slope of the unwrapped phase.
//
// The phase is unwrapped sample to sample (a step beyond +-pi is read as
// that step -+ 2 pi), which follows the true phase while the delay turns it
// by less than pi per measured step.  A 0 Hz point is never part of the
// fit: its phase is 0 or pi by symmetry, not a continuation of the measured
// curve, and unwrapping across it is the classic way to put a spurious
// 2 pi (a delay error of 1/f_first) into everything after it.  Points with
// H = 0 carry no phase and are stepped over.
//
// The fit uses the centred sums
//   slope = sum (f - fm)(phi - pm) / sum (f - fm)^2,
// whose terms are small near the centre of the band, so the slope of an
// exactly linear phase is recovered to a few ulps however large f and
// phi are.  tau = -slope / (2 pi).
#include "pulse/bulk_delay.h"

#include <cmath>
#include <vector>

namespace zefra::tk::pulse {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;

}  // namespace

double bulkDelay(const double* f, const Cplx* h, int64_t n) {
  std::vector<double> fx;
  std::vector<double> phi;
  double previous = 0.0;
  double unwrapped = 0.0;
  for (int64_t k = 0; k < n; ++k) {
    const Cplx v = h[k];
    if (!(f[k] > 0.0) || (v.real() == 0.0 && v.imag() == 0.0)) {
      continue;
    }
    const double wrapped = std::arg(v);
    if (phi.empty()) {
      unwrapped = wrapped;
    } else {
      double step = wrapped - previous;
      if (step > kPi) {
        step -= kTwoPi;
      } else if (step < -kPi) {
        step += kTwoPi;
      }
      unwrapped += step;
    }
    previous = wrapped;
    fx.push_back(f[k]);
    phi.push_back(unwrapped);
  }
  if (fx.size() < 2) {
    return 0.0;
  }
  const auto count = static_cast<double>(fx.size());
  double fSum = 0.0;
  double pSum = 0.0;
  for (std::size_t i = 0; i < fx.size(); ++i) {
    fSum += fx[i];
    pSum += phi[i];
  }
  const double fMean = fSum / count;
  const double pMean = pSum / count;
  double sfp = 0.0;
  double sff = 0.0;
  for (std::size_t i = 0; i < fx.size(); ++i) {
    const double df = fx[i] - fMean;
    sfp += df * (phi[i] - pMean);
    sff += df * df;
  }
  const double slope = sfp / sff;
  const double tau = -slope / kTwoPi;
  return std::isfinite(tau) ? tau : 0.0;
}

}  // namespace zefra::tk::pulse
