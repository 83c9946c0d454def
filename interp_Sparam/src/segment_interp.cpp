// Delay-aware linear interpolation.
//
// Let w = 2 pi tau be the bulk phase slope.  Removing the delay from a
// sample means a' = a exp(+j w fa); linear interpolation of the de-embedded
// trace and restoring the delay at f give
//   S(f) = [(1 - r) a' + r b'] exp(-j w f)
//        = (1 - r) a exp(-j w (f - fa)) + r b exp(-j w (f - fb)).
// The second form is the one evaluated.  It is the same quantity, but each
// rotation angle is a local one (w times a distance inside the interval,
// at most about pi for a grid that resolves the delay) instead of
// w f_a, w f, which grow with frequency: the absolute rounding of a large
// angle would otherwise show up as phase error, and removing then restoring
// the delay through two large angles would not cancel exactly.
//
// The two rotations are related by
//   exp(-j w (f - fb)) = exp(-j w (f - fa)) exp(+j w (fb - fa)),
// so per query only Ra = exp(-j w (f - fa)) needs a sine and cosine; the
// interval's step exp(+j w (fb - fa)) is computed once per interval.  All
// quantities depend only on the interval and f, so the bits of a result do
// not depend on the order of the queries.
//
// Magnitude: the rotations have unit modulus (to a few ulps) and r is in
// [0, 1] (rounding of (f - fa) and (fb - fa) is monotone, so f - fa never
// exceeds fb - fa), so |S(f)| <= (1 - r)|a| + r|b| <= max(|a|, |b|) up to a
// few ulps.  For a pure delay, a Ra and b Rb are both exp(-j w f), and
// their convex combination has unit modulus: no dip between sparse points.
#include "segment_interp.h"

namespace zefra::interp_sparam {

Segment makeSegment(double fa, Complex a, double fb, Complex b, double w) {
  Segment seg{fa, fb, a, b, {1.0, 0.0}};
  if (w != 0.0) {
    seg.step = rotor(w * (fb - fa));
  }
  return seg;
}

Complex interpolateSegment(const Segment& seg, double f, double w) {
  const double r = (f - seg.fa) / (seg.fb - seg.fa);
  if (w == 0.0) {
    return lerp(seg.a, seg.b, r);
  }
  const Complex ra = rotor(-(w * (f - seg.fa)));
  const Complex rb = complexMultiply(ra, seg.step);
  return lerp(complexMultiply(seg.a, ra), complexMultiply(seg.b, rb), r);
}

}  // namespace zefra::interp_sparam
