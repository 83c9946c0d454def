// Bulk-delay estimate from the end points of the unwrapped phase.
//
// Only two numbers matter: the wrapped phases of the first and the last
// sample that carry a phase, and the number K of 2 pi wraps between them.
// K is counted sample to sample: with phi_k = atan2(Im, Re) in [-pi, pi],
// a raw step phi_k - phi_{k-1} above pi is read as a step of that minus
// 2 pi (K decreases), one below -pi as that plus 2 pi (K increases).  This
// recovers the true phase as long as the true step between consecutive
// samples is smaller than pi in magnitude (a delay of up to ~180 degrees
// per grid step).  The net change is then
//   (phi_last - phi_first) + 2 pi K,
// formed once at the end: an integer count plus one subtraction, so no
// rounding accumulates over long traces, and a trace whose end phases agree
// with no net wrap gives exactly 0 and hence no delay at all.
//
// Samples that are zero or non-finite have no usable phase; they are
// stepped over (the step is taken between the usable neighbours), so one
// bad sample does not spoil the delay used for the rest of the trace.
//
// The result is the phase slope w = -net / (f_last - f_first) = 2 pi tau:
// the rotations that remove and restore the delay use w * delta_f directly,
// with no round trip through 2 pi.
#include "bulk_delay.h"

#include <cmath>
#include <cstdint>

namespace zefra::interp_sparam {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;

bool carriesPhase(Complex s) {
  return std::isfinite(s.re) && std::isfinite(s.im) && !(s.re == 0.0 && s.im == 0.0);
}

}  // namespace

double bulkPhaseSlope(const Complex* s, const double* f, std::size_t n) {
  std::size_t first = n;
  for (std::size_t i = 0; i < n; ++i) {
    if (carriesPhase(s[i])) {
      first = i;
      break;
    }
  }
  if (first == n) {
    return 0.0;
  }
  const double phiFirst = std::atan2(s[first].im, s[first].re);
  double phiPrev = phiFirst;
  std::size_t last = first;
  std::int64_t wraps = 0;
  for (std::size_t i = first + 1; i < n; ++i) {
    if (!carriesPhase(s[i])) {
      continue;
    }
    const double phi = std::atan2(s[i].im, s[i].re);
    const double step = phi - phiPrev;
    if (step > kPi) {
      --wraps;
    } else if (step < -kPi) {
      ++wraps;
    }
    phiPrev = phi;
    last = i;
  }
  if (last == first) {
    return 0.0;
  }
  const double net = (phiPrev - phiFirst) + kTwoPi * static_cast<double>(wraps);
  if (net == 0.0) {
    return 0.0;
  }
  const double slope = -net / (f[last] - f[first]);
  return std::isfinite(slope) ? slope : 0.0;
}

}  // namespace zefra::interp_sparam
