// Terminated transfer of a two-port, from the source EMF to the load
// voltage:
//   Gs = (Zs - Z01)/(Zs + Z01),  GL = (ZL - Z02)/(ZL + Z02),
//   H  = S21 (1 - Gs)(1 + GL) sqrt(Z02/Z01)
//        / (2 [(1 - S11 Gs)(1 - S22 GL) - S12 S21 Gs GL]).
// The terminations are a resistance with a pad capacitance across it,
// Z = R || 1/(j w C).  They are handled as admittances, Y = 1/R + j w C,
// and the reflection written as G = (1 - Z0 Y)/(1 + Z0 Y): the same value,
// but an open load (R = +inf, C = 0) is simply Y = 0, G = 1, and f = 0 needs
// no 1/(j w C) = infinity.  The factor sqrt(Z02/Z01) turns the ratio of
// power waves into a ratio of voltages when the port references differ.
#include "pulse/terminations.h"

#include <cmath>

namespace zefra::tk::pulse {
namespace {

constexpr double kTwoPi = 6.283185307179586;

Cplx reflection(double ohm, double padF, double f, double z0) {
  const double conductance = std::isinf(ohm) ? 0.0 : 1.0 / ohm;
  const Cplx zy(z0 * conductance, z0 * kTwoPi * f * padF);
  return (1.0 - zy) / (1.0 + zy);
}

}  // namespace

Cplx terminatedTransfer(const TwoPortS& s, double f, double z01, double z02,
                        const Terminations& t) {
  const Cplx gs = reflection(t.sourceOhm, t.sourcePadF, f, z01);
  const Cplx gl = reflection(t.loadOhm, t.loadPadF, f, z02);
  const Cplx numerator = s.s21 * (1.0 - gs) * (1.0 + gl) * std::sqrt(z02 / z01);
  const Cplx denominator = 2.0 * ((1.0 - s.s11 * gs) * (1.0 - s.s22 * gl) - s.s12 * s.s21 * gs * gl);
  return numerator / denominator;
}

TwoPortS twoPortAt(const double* s, int64_t k) {
  const double* p = s + 8 * k;
  return {Cplx(p[0], p[1]), Cplx(p[2], p[3]), Cplx(p[4], p[5]), Cplx(p[6], p[7])};
}

std::vector<Cplx> terminatedTransfers(int64_t n, const double* f, const double* s,
                                      const double* z0, const Terminations& t) {
  std::vector<Cplx> h(static_cast<std::size_t>(n));
  for (int64_t k = 0; k < n; ++k) {
    h[static_cast<std::size_t>(k)] = terminatedTransfer(twoPortAt(s, k), f[k], z0[0], z0[1], t);
  }
  return h;
}

}  // namespace zefra::tk::pulse
