// Package path as a chain of two-port sections, joined point by point with
// the cascade (chain first, new section second, so the input capacitance
// faces port 1 and the output capacitance port 2).
//
// Frequencies below 2^-52 Hz (zero and negative ones included) are evaluated
// at 2^-52 Hz; NaN stays NaN.  With w = 2 pi f and the reference Z0:
//   shunt C:   y = j w C Z0,        S11 = S22 = -y / (2 + y), S21 = S12 = 2 / (2 + y)
//   series L:  z = j w L / Z0,      S11 = S22 =  z / (2 + z), S21 = S12 = 2 / (2 + z)
//   line:      G = (Zc - 2 Z0) / (2 Z0 + Zc) (the line is compared with twice
//              Z0; the lumped sections use Z0 itself), P = exp(-len * g),
//              Q = P^2, D = 1 - G^2 Q,
//              S11 = S22 = G (1 - Q) / D,       S21 = S12 = (1 - G^2) P / D,
//              g = a0 + a1 (1 + j) sqrt(fG) + a2 fG (1 - j (2/pi) ln fG)
//                  + j 2 pi tau fG  at fG = f / 1e9 GHz.
// Every section is reciprocal and symmetric.
#include "sparam/package_model.h"

#include <cmath>

#include "frame/constants.h"
#include "sparam/two_port.h"

namespace zefra {
namespace {

constexpr double kFrequencyFloor = 2.220446049250313e-16;  // 2^-52 Hz
constexpr double kHertzPerGigahertz = 1e9;

TwoPort symmetricSection(Complex reflection, Complex transmission) {
  return {reflection, transmission, transmission, reflection};
}

// Shunt capacitance: x = -y = (f * -0 * C * Z0, f * -2pi * C * Z0) and
// 2 + y, each product left to right (the real part of x is a signed zero).
TwoPort shuntCapacitance(double f, double c, double z0) {
  const Complex x = {f * -0.0 * c * z0, f * -kTwoPi * c * z0};
  const Complex y = {f * 0.0 * c * z0 + 2.0, f * kTwoPi * c * z0};
  return symmetricSection(complexDivide(x, y), twoOverComplex(y));
}

// Series inductance: z = j (2 pi f L) / Z0.  Its real part is the product
// f * 0 * L only where the reactance product is exactly zero, and 0
// otherwise (also where f * 0 * L would be NaN, for infinite f or L).
TwoPort seriesInductance(double f, double l, double z0) {
  const double reactance = f * kTwoPi * l;
  const double real = reactance != 0.0 ? 0.0 : f * 0.0 * l / z0;
  const Complex z = {real, reactance / z0};
  const Complex twoPlusZ = {z.re + 2.0, z.im};
  return symmetricSection(complexDivide(z, twoPlusZ), twoOverComplex(twoPlusZ));
}

struct LineModel {
  double a0;
  double a1;
  double a2;
  double tau;
  double length;
  double reflection;   // G
  double reflection2;  // G^2
};

TwoPort lossyLine(double f, const LineModel& line) {
  const double g = f / kHertzPerGigahertz;
  Complex gamma = {line.a0, 0.0};
  if (g != 0.0) {
    const double logG = std::log(g);
    const double rootG = std::sqrt(g);
    gamma = {line.a1 * rootG + line.a0 + line.a2 * g,
             (line.a2 * (logG * -kTwoOverPi) + kTwoPi * line.tau) * g + line.a1 * rootG};
  }
  const double attenuation = std::exp(-(line.length * gamma.re));
  Complex p = {attenuation, 0.0};
  if (gamma.im != 0.0) {
    const double phase = -(line.length * gamma.im);
    p = {attenuation * std::cos(phase), attenuation * std::sin(phase)};
  }
  const Complex q = complexSquare(p);
  const Complex d = {1.0 - line.reflection2 * q.re, -(line.reflection2 * q.im)};
  const Complex reflected =
      complexDivide({(1.0 - q.re) * line.reflection, line.reflection * -q.im}, d);
  const double transmission = 1.0 - line.reflection2;
  const Complex transmitted = complexDivide({transmission * p.re, transmission * p.im}, d);
  return symmetricSection(reflected, transmitted);
}

}  // namespace

void buildPackageModel(const DynArray* freq, double lineLength, double shuntCapIn,
                       double shuntCapOut, double lineImpedance, double phaseDelay,
                       const DynArray* lossCoeffs, double refImpedance, double seriesInd,
                       double shuntCapMid, DynArray* s11, DynArray* s12, DynArray* s21,
                       DynArray* s22) {
  const double z0 = refImpedance;
  const double reflection = (lineImpedance - 2.0 * z0) / (2.0 * z0 + lineImpedance);
  const LineModel line = {storedDoubleOrZero(lossCoeffs, 0),
                          storedDoubleOrZero(lossCoeffs, 1),
                          storedDoubleOrZero(lossCoeffs, 2),
                          phaseDelay,
                          lineLength,
                          reflection,
                          reflection * reflection};
  const bool withInductance = seriesInd > 0.0;
  const bool withMiddleCapacitance = shuntCapMid > 0.0;

  const int32_t n = freq->size[1];
  const TwoPortRows out(s11, s12, s21, s22, n);
  const double* frequencies = elementsOf<double>(freq);
  for (int32_t k = 0; k < n; ++k) {
    const double f = frequencies[k] < kFrequencyFloor ? kFrequencyFloor : frequencies[k];
    TwoPort chain = shuntCapacitance(f, shuntCapIn, z0);
    if (withInductance) {
      chain = cascadePoint(chain, seriesInductance(f, seriesInd, z0));
    }
    if (withMiddleCapacitance) {
      chain = cascadePoint(chain, shuntCapacitance(f, shuntCapMid, z0));
    }
    chain = cascadePoint(chain, lossyLine(f, line));
    chain = cascadePoint(chain, shuntCapacitance(f, shuntCapOut, z0));
    out.store(k, chain);
  }
}

}  // namespace zefra
