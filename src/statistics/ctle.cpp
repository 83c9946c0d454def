// One-zero, two-pole equaliser
//   H(s) = wp2 (s + g wz) / ((s + wp1)(s + wp2)),  w = 2 pi f,  g = 10^(gainDb/20)
// discretised with the bilinear transform s = K (z - 1) / (z + 1),
// K = 2 fs, fs = baseRate * rateMultiplier (no prewarping):
//   each analogue root s maps to r = (s/K + 1) / (1 - s/K); the missing
//   finite zero maps to z = -1, so the numerator has the roots {zd, -1};
//   the gain G = (K - sz) / ((K - sp2)(K - sp1)) * sp2 with b = -G * c.
// The gain factor moves the zero (sz = g * -2 pi fz) rather than scaling the
// response, so the DC gain is g fz / fp1.  g comes from the guarded power
// function, which gives 0.0 for an exponent of exactly 0: gainDb = 0 means
// g = 0 (a zero at DC), not g = 1.
//
// The filter runs in transposed direct form II with two states; each sample
// costs one dependent multiply-add chain and nothing is allocated in the loop.
#include "statistics/ctle.h"

#include "numeric/special_functions.h"

namespace zefra {
namespace {

constexpr double kMinusTwoPi = -6.283185307179586;

struct SecondOrderSection {
  double b0, b1, b2;
  double a1, a2;
};

// Bilinear image of an analogue root.
double bilinearRoot(double s, double k) { return (s / k + 1.0) / (1.0 - s / k); }

// Monic polynomial coefficients of the two roots r1, r2 by the recurrence
// c[j+1] = -r_j c[j], c[j] = c[j] - r_j c[j-1]:
//   [1, -r1 - r2, r2 * r1]  (with the grouping of that recurrence).
void monicFromRoots(double r1, double r2, double* c1, double* c2) {
  const double first = -r1 * 1.0;
  *c2 = -r2 * first;
  *c1 = first - r2 * 1.0;
}

SecondOrderSection designCtle(double baseRate, double zeroFreq, double pole1Freq,
                              double pole2Freq, double gainDb, double rateMultiplier) {
  const double g = powGuarded(10.0, gainDb / 20.0);
  const double k = (baseRate + baseRate) * rateMultiplier;
  const double sz = g * (kMinusTwoPi * zeroFreq);
  const double sp1 = kMinusTwoPi * pole1Freq;
  const double sp2 = kMinusTwoPi * pole2Freq;
  const double zd = bilinearRoot(sz, k);
  const double pd1 = bilinearRoot(sp1, k);
  const double pd2 = bilinearRoot(sp2, k);
  double n1;
  double n2;
  monicFromRoots(zd, -1.0, &n1, &n2);
  double a1;
  double a2;
  monicFromRoots(pd1, pd2, &a1, &a2);
  const double gain = (k - sz) / ((k - sp2) * (k - sp1)) * sp2;
  return {-gain * 1.0, -gain * n1, -gain * n2, a1, a2};
}

}  // namespace

void ctleFilter(const DynArray* input, double baseRate, double zeroFreq, double pole1Freq,
                double pole2Freq, double gainDb, double rateMultiplier, DynArray* output) {
  const SecondOrderSection f =
      designCtle(baseRate, zeroFreq, pole1Freq, pole2Freq, gainDb, rateMultiplier);
  const int32_t n = input->size[0];
  reshape<double>(output, n, 1);
  double* y = elementsOf<double>(output);
  const double* x = elementsOf<double>(input);
  double z0 = 0.0;
  double z1 = 0.0;
  for (int32_t k = 0; k < n; ++k) {
    const double xk = x[k];
    const double yk = f.b0 * xk + z0;
    y[k] = yk;
    z0 = f.b1 * xk + z1 - f.a1 * yk;
    z1 = f.b2 * xk + 0.0 - f.a2 * yk;
  }
}

}  // namespace zefra
