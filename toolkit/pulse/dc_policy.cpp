// H(0) must be real: the impulse response is real, so its spectrum is
// Hermitian and the DC bin is its own conjugate.  The policies:
//   DATA         Re H at a measured 0 Hz point (the imaginary part, which
//                a measurement leaves there, is discarded and its angle
//                reported);
//   EXTRAPOLATE  |H| and the phase continued linearly to 0 Hz from the
//                first two points, H(0) = |H|(0) cos(phase(0)).  The phase
//                of the second point is the first one's plus the wrapped
//                step between them, so a delay that turns less than pi
//                between the two points is followed; the 2 pi ambiguity of
//                the first point itself drops out in the cosine.  A
//                negative |H|(0) (a magnitude falling steeply towards DC,
//                as an AC-coupled channel's) is taken as 0;
//   GIVEN        the caller's value;
//   RESISTANCE   the DC circuit: source Rs, a series Rdc, load RL (pads are
//                open at DC), H(0) = RL / (Rs + Rdc + RL), 1 for an open load;
//   AC_COUPLED   0.
#include "pulse/dc_policy.h"

#include <cmath>

#include "zefra/toolkit/pulse.h"

namespace zefra::tk::pulse {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;

DcChoice extrapolate(const double* f, const Cplx* h) {
  const double m1 = std::abs(h[0]);
  const double m2 = std::abs(h[1]);
  const double p1 = std::arg(h[0]);
  const double p2 = p1 + reducePhase(std::arg(h[1]) - p1);
  // Linear through (f1, y1), (f2, y2), evaluated at 0:
  // y(0) = y1 - f1 (y2 - y1)/(f2 - f1).
  const double r = f[0] / (f[1] - f[0]);
  const double magnitude = std::fmax(0.0, m1 - r * (m2 - m1));
  const double phase = reducePhase(p1 - r * (p2 - p1));
  return {magnitude * std::cos(phase), ZEFRA_TK_DC_EXTRAPOLATE, phase};
}

}  // namespace

double reducePhase(double phase) {
  double reduced = std::remainder(phase, kTwoPi);  // in [-pi, pi]
  if (reduced <= -kPi) {
    reduced += kTwoPi;
  }
  return reduced;
}

DcChoice chooseDc(int32_t policy, double dcValue, const Terminations& t, const double* f,
                  const Cplx* h) {
  if (policy == ZEFRA_TK_DC_AUTO) {
    policy = (f[0] == 0.0) ? ZEFRA_TK_DC_DATA : ZEFRA_TK_DC_EXTRAPOLATE;
  }
  switch (policy) {
    case ZEFRA_TK_DC_DATA:
      return {h[0].real(), ZEFRA_TK_DC_DATA, std::atan2(h[0].imag(), h[0].real())};
    case ZEFRA_TK_DC_EXTRAPOLATE:
      return extrapolate(f, h);
    case ZEFRA_TK_DC_GIVEN:
      return {dcValue, ZEFRA_TK_DC_GIVEN, 0.0};
    case ZEFRA_TK_DC_RESISTANCE: {
      const double value = std::isinf(t.loadOhm) ? 1.0
                                                 : t.loadOhm / (t.sourceOhm + dcValue + t.loadOhm);
      return {value, ZEFRA_TK_DC_RESISTANCE, 0.0};
    }
    default:
      return {0.0, ZEFRA_TK_DC_AC_COUPLED, 0.0};
  }
}

}  // namespace zefra::tk::pulse
