#include "statistics/ctle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "frame/call_frame.h"
#include "support/bits.h"

namespace zefra {
namespace {

struct Ctle {
  double baseRate = 10e9;
  double zeroFreq = 1e9;
  double pole1Freq = 2e9;
  double pole2Freq = 15e9;
  double gainDb = 3.5;
  double rateMultiplier = 4.0;

  std::vector<double> run(const std::vector<double>& x) const {
    CallFrame frame;
    DynArray* in = frame.column(x.data(), static_cast<int32_t>(x.size()));
    DynArray* out = frame.doubleOutput(0, 1);
    ctleFilter(in, baseRate, zeroFreq, pole1Freq, pole2Freq, gainDb, rateMultiplier, out);
    EXPECT_EQ(out->size[0], static_cast<int32_t>(x.size()));
    const double* y = elementsOf<double>(out);
    return std::vector<double>(y, y + x.size());
  }
};

TEST(CtleFilter, ConstantInputSettlesToDcGain) {
  const Ctle ctle;
  const std::vector<double> y = ctle.run(std::vector<double>(20000, 0.8));
  const double g = std::pow(10.0, ctle.gainDb / 20.0);
  EXPECT_NEAR(y.back() / (0.8 * g * ctle.zeroFreq / ctle.pole1Freq), 1.0, 1e-9);
}

TEST(CtleFilter, ZeroDecibelsMeansZeroGainFactor) {
  // The guarded power gives 10^0 = 0.0, which puts the zero at DC: a
  // constant input is blocked completely after the transient.
  Ctle ctle;
  ctle.gainDb = 0.0;
  const std::vector<double> y = ctle.run(std::vector<double>(20000, 1.0));
  EXPECT_NEAR(y.back(), 0.0, 1e-12);
  EXPECT_NE(y.front(), 0.0);
}

TEST(CtleFilter, NyquistToneIsRemoved) {
  const Ctle ctle;
  std::vector<double> x(4000);
  for (size_t k = 0; k < x.size(); ++k) x[k] = k % 2 == 0 ? 1.0 : -1.0;
  const std::vector<double> y = ctle.run(x);
  EXPECT_LT(std::fabs(y.back()), 1e-12);
  EXPECT_LT(std::fabs(y[y.size() - 2]), 1e-12);
}

TEST(CtleFilter, EmptyInputGivesEmptyOutput) {
  const Ctle ctle;
  EXPECT_TRUE(ctle.run({}).empty());
}

// The prototype H(s) = wp2 (s + g wz) / ((s + wp1)(s + wp2)) with
// s = K (1 - 1/z) / (1 + 1/z), K = 2 fs, multiplied out by hand: each factor
// s + c becomes ((K + c) + (c - K)/z) / (1 + 1/z), so
//   b = wp2 (K + g wz) [1, 1 + r, r] / d0,   r = (g wz - K) / (K + g wz),
//   a = [1, ((K + wp1)(wp2 - K) + (wp1 - K)(K + wp2)) / d0, (wp1 - K)(wp2 - K) / d0],
//   d0 = (K + wp1)(K + wp2),
// and h[n] = b[n] - a1 h[n-1] - a2 h[n-2], in long double.  Tolerance: 1e-13
// of the peak.  The filter's coefficients are each within a few double
// roundings (~1e-16) of these, and the poles (at most 0.91 in magnitude in
// these designs) amplify the accumulated difference about tenfold.
TEST(CtleFilter, ImpulseResponseMatchesBilinearDifferenceEquation) {
  const Ctle designs[] = {{10e9, 1e9, 2e9, 15e9, 3.5, 4.0},
                          {28e9, 3e9, 7e9, 28e9, 6.0, 4.0},
                          {56e9, 5e9, 14e9, 40e9, -3.0, 16.0},
                          {112e9, 8e9, 30e9, 112e9, 12.0, 2.0}};
  for (const Ctle& c : designs) {
    using Real = long double;
    const Real pi = 3.141592653589793238462643383279502884L;
    const Real k = 2.0L * static_cast<Real>(c.baseRate) * static_cast<Real>(c.rateMultiplier);
    const Real g = std::pow(10.0L, static_cast<Real>(c.gainDb) / 20.0L);
    const Real gwz = g * 2.0L * pi * static_cast<Real>(c.zeroFreq);
    const Real wp1 = 2.0L * pi * static_cast<Real>(c.pole1Freq);
    const Real wp2 = 2.0L * pi * static_cast<Real>(c.pole2Freq);
    const Real d0 = (k + wp1) * (k + wp2);
    const Real r = (gwz - k) / (k + gwz);
    const Real b[3] = {wp2 * (k + gwz) / d0, wp2 * (k + gwz) * (1.0L + r) / d0,
                       wp2 * (k + gwz) * r / d0};
    const Real a1 = ((k + wp1) * (wp2 - k) + (wp1 - k) * (k + wp2)) / d0;
    const Real a2 = (wp1 - k) * (wp2 - k) / d0;
    std::vector<Real> expected(400);
    Real peak = 0.0L;
    for (size_t n = 0; n < expected.size(); ++n) {
      expected[n] = (n < 3 ? b[n] : 0.0L) - a1 * (n >= 1 ? expected[n - 1] : 0.0L) -
                    a2 * (n >= 2 ? expected[n - 2] : 0.0L);
      peak = std::max(peak, std::fabs(expected[n]));
    }
    std::vector<double> impulse(expected.size(), 0.0);
    impulse[0] = 1.0;
    const std::vector<double> h = c.run(impulse);
    for (size_t n = 0; n < h.size(); ++n) {
      ASSERT_NEAR(h[n], static_cast<double>(expected[n]), 1e-13 * static_cast<double>(peak))
          << "sample " << n << ", rate " << c.baseRate;
    }
  }
}

TEST(CtleFilter, NaNDesignParameterPropagatesIntoTheOutput) {
  Ctle ctle;
  ctle.pole2Freq = std::nan("");
  const std::vector<double> y = ctle.run({1.0, 0.0, 0.0});
  EXPECT_TRUE(std::isnan(y[0]));
  EXPECT_TRUE(std::isnan(y[2]));
}

TEST(CtleFilter, NaNSampleSpoilsTheRestOfTheRecursion) {
  const Ctle ctle;
  const std::vector<double> y = ctle.run({1.0, std::nan(""), 0.0, 0.0});
  EXPECT_TRUE(std::isfinite(y[0]));
  EXPECT_TRUE(std::isnan(y[1]));
  EXPECT_TRUE(std::isnan(y[3]));
}

}  // namespace
}  // namespace zefra
