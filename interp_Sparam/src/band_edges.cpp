// Extrapolation policy.
//
// Below the band.  A physical S-parameter is real at DC, and the natural
// phase reference there is the trace with its bulk delay removed.  The
// first sample, de-embedded, is turned onto the real axis with its modulus
// kept; the sign is the one of its real part, which is the real value it is
// closer to in angle (at most 90 degrees away), so the chord from the DC
// point to the first sample never passes near the origin.  The queries
// between DC and the first sample are then interpolated like an interior
// interval between the points (0, dc) and (f0, s0), delay included: the
// modulus stays between |dc| = |s0| and the chord's, no wrap appears, and
// the phase runs smoothly into the measured data.  The DC value is returned
// as (dc, +0.0) at f = 0 and for every negative frequency.
//
// Above the band.  Nothing is known about the trace there; a passive
// channel's |S| must not grow with frequency and an extrapolated slope
// of the modulus would be invented data, so the modulus of the last sample
// is held.  The phase keeps turning at the bulk-delay rate, which keeps the
// group delay continuous across the band edge (a held phase would look like
// the delay dropping to zero at f_last, a step in the time domain).
#include "band_edges.h"

#include <cmath>
#include <limits>

namespace zefra::interp_sparam {

double dcValue(Complex s0, double f0, double w) {
  const Complex deembedded = (w == 0.0) ? s0 : complexMultiply(s0, rotor(w * f0));
  if (std::isnan(deembedded.re) || std::isnan(deembedded.im)) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  const double modulus = std::hypot(deembedded.re, deembedded.im);
  return (deembedded.re < 0.0) ? -modulus : modulus;
}

Complex aboveBand(Complex sLast, double fLast, double f, double w) {
  if (w == 0.0) {
    return sLast;
  }
  return complexMultiply(sLast, rotor(-(w * (f - fLast))));
}

}  // namespace zefra::interp_sparam
