#include "statistics/ctle.h"

#include <gtest/gtest.h>

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

TEST(CtleFilter, ImpulseResponseFollowsTransposedDirectForm) {
  // First samples of the impulse response: y0 = b0, y1 = b1 - a1 b0, ...
  // For a second-order section the impulse response sums to H(1), the DC
  // gain, and is causal: check y0 against the first coefficient formula.
  const Ctle ctle;
  std::vector<double> impulse(1, 1.0);
  impulse.resize(50000, 0.0);
  const std::vector<double> h = ctle.run(impulse);
  double sum = 0.0;
  for (double v : h) sum += v;
  const double g = std::pow(10.0, ctle.gainDb / 20.0);
  EXPECT_NEAR(sum / (g * ctle.zeroFreq / ctle.pole1Freq), 1.0, 1e-9);
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
