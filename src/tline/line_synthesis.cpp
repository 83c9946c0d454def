// Uniform line of transfer factor P between two impedance steps of real
// reflection G, all multiple reflections summed:
//   S11 = S22 = G (1 - P^2) / (1 - G^2 P^2)
//   S21 = S12 = (1 - G^2) P / (1 - G^2 P^2)
// with G = (zA - 2 zB) / (2 zB + zA), P = exp(-len * g) and, per unit
// length, at fG = f / 1e9 GHz,
//   g = p0 + p1 (1 + j) sqrt(fG) + p2 fG (1 - j (2/pi) ln fG) + j 2 pi tau fG.
// The p1 term is skin effect (equal real and imaginary parts), the p2 term
// dielectric loss with the phase term that makes it causal.  At fG = 0 the
// logarithm is replaced: g = p0.
//
// Each point is computed independently, in one pass, with the grouping of
// every sum and product fixed.  The products with zero (L * 0, tau * 0) are
// kept: they only matter for non-finite inputs, where they make NaN.
#include "tline/line_synthesis.h"

#include <cmath>

#include "frame/constants.h"
#include "sparam/two_port.h"

namespace zefra {
namespace {

constexpr double kHertzPerGigahertz = 1e9;

// exp(x + j y).  The general form takes exp(x / 2) twice, so that exp(x)
// itself need not be representable where (cos y) exp(x) still is.
Complex lineExponential(Complex w) {
  const double x = w.re;
  const double y = w.im;
  if (y == 0.0) {
    return {std::exp(x), 0.0};
  }
  // Infinite parts take this general form too and give NaN parts.
  const double h = std::exp(x * 0.5);
  return {(std::cos(y) * h) * h, (std::sin(y) * h) * h};
}

// Propagation exponent per unit length at fG GHz.
Complex propagationPerLength(double fG, double p0, double p1, double p2, double tau) {
  if (fG == 0.0) {
    return {p0, 0.0};
  }
  const double logF = std::log(fG);
  const double rootF = std::sqrt(fG);
  return {((1.0 - logF * 0.0) * p2 + tau * 0.0) * fG + (p1 * rootF + p0),
          ((0.0 - logF * kTwoOverPi) * p2 + kTwoPi * tau) * fG + p1 * rootF};
}

}  // namespace

void synthesizeLineSParams(const DynArray* freq, double zA, double zB, const DynArray* coeffs,
                           double tau, double len, DynArray* s11, DynArray* s12, DynArray* s21,
                           DynArray* s22) {
  const int32_t n = freq->size[1];
  const TwoPortRows out(s11, s12, s21, s22, n);
  const double p0 = storedDoubleOrZero(coeffs, 0);
  const double p1 = storedDoubleOrZero(coeffs, 1);
  const double p2 = storedDoubleOrZero(coeffs, 2);
  const double reflection = (zA - (zB + zB)) / (zB + zB + zA);
  const double reflection2 = reflection * reflection;
  const double transmission = 1.0 - reflection2;

  const double* f = elementsOf<double>(freq);
  for (int32_t k = 0; k < n; ++k) {
    const Complex g = propagationPerLength(f[k] / kHertzPerGigahertz, p0, p1, p2, tau);
    const Complex p = lineExponential({-(len * g.re), -(len * g.im)});
    const Complex p2x = complexSquare(p);
    const Complex denominator = {1.0 - reflection2 * p2x.re, 0.0 - reflection2 * p2x.im};
    const Complex reflected = complexDivide(
        {(1.0 - p2x.re) * reflection, (0.0 - p2x.im) * reflection}, denominator);
    const Complex transmitted =
        complexDivide({transmission * p.re, transmission * p.im}, denominator);
    out.store(k, {reflected, transmitted, transmitted, reflected});
  }
}

}  // namespace zefra
