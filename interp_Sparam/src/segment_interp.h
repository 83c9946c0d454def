// Delay-aware interpolation between two samples.
#ifndef ZEFRA_INTERP_SPARAM_SEGMENT_INTERP_H
#define ZEFRA_INTERP_SPARAM_SEGMENT_INTERP_H

#include "complex_ops.h"

namespace zefra::interp_sparam {

// One grid interval [fa, fb] with its samples a = S(fa), b = S(fb), and
// the rotation exp(+j w (fb - fa)) that carries the delay across it (w is
// the phase slope 2 pi tau).  When w == 0 the step is not used.
struct Segment {
  double fa;
  double fb;
  Complex a;
  Complex b;
  Complex step;
};

// Builds the segment; the step rotation is computed only when w != 0.
Segment makeSegment(double fa, Complex a, double fb, Complex b, double w);

// S(f) for fa < f < fb: the delay exp(-j w f) is removed from both
// samples, their real and imaginary parts are interpolated linearly in f,
// and the delay is restored at f.  With w == 0 this is exactly
// (1 - r) a + r b, r = (f - fa) / (fb - fa), each part as in lerp().
Complex interpolateSegment(const Segment& seg, double f, double w);

}  // namespace zefra::interp_sparam

#endif  // ZEFRA_INTERP_SPARAM_SEGMENT_INTERP_H
