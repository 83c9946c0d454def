// What the resampler returns outside the measured band.
#ifndef ZEFRA_INTERP_SPARAM_BAND_EDGES_H
#define ZEFRA_INTERP_SPARAM_BAND_EDGES_H

#include "complex_ops.h"

namespace zefra::interp_sparam {

// The real value used at DC when the band starts above DC: the first sample
// s0 (at f0 > 0) with the bulk delay removed, s0' = s0 exp(+j w f0),
// projected onto the real axis keeping its modulus: +|s0'| when
// Re(s0') >= 0 (this includes Re = 0 and -0.0), -|s0'| when Re(s0') < 0.
// NaN when either part of s0' is NaN.
double dcValue(Complex s0, double f0, double w);

// Above the band (f > fLast): the last sample with its modulus held and the
// bulk-delay rotation continued, sLast exp(-j w (f - fLast)); with w == 0,
// sLast itself.
Complex aboveBand(Complex sLast, double fLast, double f, double w);

}  // namespace zefra::interp_sparam

#endif  // ZEFRA_INTERP_SPARAM_BAND_EDGES_H
