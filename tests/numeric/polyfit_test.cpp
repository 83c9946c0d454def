// Straight-line least squares (polyfitLinear): closed-form fits, exact
// invariances, the rank-deficient and edge-case rules of the public header,
// and golden bits recorded from the library.
//
// Tolerance: kFitTol = 1e-12 (relative).  The well-conditioned problems
// below have cond(A) <= 1e2 and m <= 50 points; Householder QR is backward
// stable, so the coefficients carry a relative error of a few
// cond(A) * m * eps ~ 1e-12 at most.  The references are solved in long
// double (64-bit significand), far more accurately than that.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "frame/call_frame.h"
#include "numeric/golden/golden.h"
#include "numeric/polyfit.h"
#include "support/bits.h"

namespace zefra {
namespace {

using testing::sameBits;

constexpr double kFitTol = 1e-12;

struct Line {
  double slope;
  double intercept;
};

Line fitOf(const std::vector<double>& x, const std::vector<double>& y) {
  CallFrame frame;
  double coeffs[2] = {-7.0, -7.0};
  polyfitLinear(frame.column(x.data(), static_cast<int32_t>(x.size())),
                frame.column(y.data(), static_cast<int32_t>(y.size())), coeffs);
  return {coeffs[0], coeffs[1]};
}

long double wide(double v) { return static_cast<long double>(v); }

// The least-squares line from the 2 x 2 normal equations in long double.
Line normalEquations(const std::vector<double>& x, const std::vector<double>& y) {
  long double sx = 0, sy = 0, sxx = 0, sxy = 0;
  const auto m = static_cast<long double>(x.size());
  for (size_t l = 0; l < x.size(); ++l) {
    sx += wide(x[l]);
    sy += wide(y[l]);
    sxx += wide(x[l]) * wide(x[l]);
    sxy += wide(x[l]) * wide(y[l]);
  }
  const long double det = m * sxx - sx * sx;
  return {static_cast<double>((m * sxy - sx * sy) / det),
          static_cast<double>((sxx * sy - sx * sxy) / det)};
}

::testing::AssertionResult closeTo(Line expected, Line got) {
  const bool slope = std::fabs(got.slope - expected.slope) <= kFitTol * std::fabs(expected.slope);
  const bool intercept =
      std::fabs(got.intercept - expected.intercept) <= kFitTol * std::fabs(expected.intercept);
  if (slope && intercept) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "expected " << expected.slope << " x + "
                                       << expected.intercept << ", got " << got.slope << " x + "
                                       << got.intercept;
}

// A noisy line on well-spread abscissas: the design matrix is well conditioned.
void noisyLine(std::mt19937_64& rng, int m, std::vector<double>& x, std::vector<double>& y) {
  std::uniform_real_distribution<double> abscissa(0.5, 4.0);
  std::normal_distribution<double> noise(0.0, 0.1);
  x.resize(static_cast<size_t>(m));
  y.resize(static_cast<size_t>(m));
  for (size_t l = 0; l < x.size(); ++l) {
    x[l] = abscissa(rng);
    y[l] = 2.5 * x[l] - 1.5 + noise(rng);
  }
}

TEST(Polyfit, ExactLineThroughThreePointsIsRecovered) {
  const Line fit = fitOf({0.0, 1.0, 2.0}, {1.0, 3.0, 5.0});
  EXPECT_TRUE(closeTo({2.0, 1.0}, fit));
  // The bits the library has always given here (the intercept 1 ulp high).
  EXPECT_TRUE(sameBits(2.0, fit.slope));
  EXPECT_TRUE(sameBits(std::bit_cast<double>(uint64_t{0x3ff0000000000002}), fit.intercept));
}

TEST(Polyfit, SymmetricAbscissasGiveMeanInterceptAndMomentSlope) {
  // With sum(x) = 0 the normal equations decouple: slope = sum(x y) /
  // sum(x^2) = 56 / 20, intercept = mean(y) = 10 / 5.
  const Line fit = fitOf({-3.0, -1.0, 0.0, 1.0, 3.0}, {-7.0, 0.0, 2.0, 5.0, 10.0});
  EXPECT_TRUE(closeTo({2.8, 2.0}, fit));
}

TEST(Polyfit, NoisyLinesMatchTheNormalEquations) {
  std::mt19937_64 rng(20240611);
  for (int m : {3, 4, 7, 20, 50}) {
    std::vector<double> x, y;
    noisyLine(rng, m, x, y);
    EXPECT_TRUE(closeTo(normalEquations(x, y), fitOf(x, y))) << "m = " << m;
  }
}

TEST(Polyfit, ResidualIsOrthogonalToBothColumns) {
  std::mt19937_64 rng(5);
  std::vector<double> x, y;
  noisyLine(rng, 30, x, y);
  const Line fit = fitOf(x, y);
  long double sum = 0, sumX = 0, scale = 0;
  for (size_t l = 0; l < x.size(); ++l) {
    const long double residual = wide(y[l]) - (wide(fit.slope) * wide(x[l]) + wide(fit.intercept));
    sum += residual;
    sumX += residual * wide(x[l]);
    scale += wide(std::fabs(y[l] * x[l]));
  }
  EXPECT_LE(std::fabs(static_cast<double>(sum)), kFitTol * static_cast<double>(scale));
  EXPECT_LE(std::fabs(static_cast<double>(sumX)), kFitTol * static_cast<double>(scale));
}

TEST(Polyfit, ScalingYByAPowerOfTwoScalesBothCoefficientsExactly) {
  // Q and R do not depend on y, and Q^T y and the back substitution are
  // linear in y: a power of two passes through every rounding unchanged.
  std::mt19937_64 rng(6);
  std::vector<double> x, y;
  noisyLine(rng, 17, x, y);
  const Line fit = fitOf(x, y);
  for (double factor : {8.0, 0.0009765625, -2.0}) {
    std::vector<double> scaled = y;
    for (double& v : scaled) v *= factor;
    const Line got = fitOf(x, scaled);
    EXPECT_TRUE(sameBits(fit.slope * factor, got.slope)) << factor;
    EXPECT_TRUE(sameBits(fit.intercept * factor, got.intercept)) << factor;
  }
}

TEST(Polyfit, ScalingXByAPowerOfTwoScalesOnlyTheSlopeExactly) {
  // While ||x|| stays above ||1|| = sqrt(m), x is the first pivot: its
  // reflection vector, tau and the transformed column of ones do not change,
  // R[0,0] scales, so only the slope does (inversely).
  std::mt19937_64 rng(7);
  std::vector<double> x, y;
  noisyLine(rng, 12, x, y);
  for (double& v : x) v += 2.0;  // ||x|| > sqrt(12)
  const Line fit = fitOf(x, y);
  for (double factor : {4.0, 1024.0, 0.5}) {
    std::vector<double> scaled = x;
    for (double& v : scaled) v *= factor;
    const Line got = fitOf(scaled, y);
    EXPECT_TRUE(sameBits(fit.slope / factor, got.slope)) << factor;
    EXPECT_TRUE(sameBits(fit.intercept, got.intercept)) << factor;
  }
}

TEST(Polyfit, ReversedPointOrderChangesTheFitOnlyByRounding) {
  std::mt19937_64 rng(8);
  std::vector<double> x, y;
  noisyLine(rng, 25, x, y);
  const Line forward = fitOf(x, y);
  const Line backward = fitOf({x.rbegin(), x.rend()}, {y.rbegin(), y.rend()});
  EXPECT_TRUE(closeTo(forward, backward));
}

TEST(Polyfit, SinglePointIsSolvedByTheLargerColumn) {
  // |x| > 1: the x column is the pivot and the slope solves the point.
  Line fit = fitOf({4.0}, {8.0});
  EXPECT_TRUE(sameBits(2.0, fit.slope));
  EXPECT_TRUE(sameBits(0.0, fit.intercept));
  // |x| < 1: the column of ones leads and the intercept solves it.
  fit = fitOf({0.5}, {3.0});
  EXPECT_TRUE(sameBits(0.0, fit.slope));
  EXPECT_TRUE(sameBits(3.0, fit.intercept));
  // Equal norms keep the lower index, the x column.
  fit = fitOf({-1.0}, {3.0});
  EXPECT_TRUE(sameBits(-3.0, fit.slope));
  EXPECT_TRUE(sameBits(0.0, fit.intercept));
}

TEST(Polyfit, NoPointsGiveZeros) {
  const Line fit = fitOf({}, {});
  EXPECT_TRUE(sameBits(0.0, fit.slope));
  EXPECT_TRUE(sameBits(0.0, fit.intercept));
}

TEST(Polyfit, NegativeCountsGiveZeros) {
  CallFrame frame;
  double coeffs[2] = {-7.0, -7.0};
  polyfitLinear(frame.column(nullptr, -3), frame.column(nullptr, -3), coeffs);
  EXPECT_TRUE(sameBits(0.0, coeffs[0]));
  EXPECT_TRUE(sameBits(0.0, coeffs[1]));
}

TEST(Polyfit, ShorterYIsReadAsZeroPastItsEnd) {
  // y borrows a buffer of exactly two values, so a read past it would be
  // caught by the address sanitizer.
  const std::vector<double> x = {0.0, 1.0, 2.0};
  const std::vector<double> shortY = {1.0, 3.0};
  CallFrame frame;
  double coeffs[2] = {-7.0, -7.0};
  polyfitLinear(frame.input(x.data(), 3), frame.input(shortY.data(), 2), coeffs);
  const Line padded = fitOf(x, {1.0, 3.0, 0.0});
  EXPECT_TRUE(sameBits(padded.slope, coeffs[0]));
  EXPECT_TRUE(sameBits(padded.intercept, coeffs[1]));
}

TEST(Polyfit, LongerYUsesItsFirstMValues) {
  const Line fit = fitOf({0.0, 1.0, 2.0}, {1.0, 3.0, 5.0, 100.0, -4.0});
  const Line exact = fitOf({0.0, 1.0, 2.0}, {1.0, 3.0, 5.0});
  EXPECT_TRUE(sameBits(exact.slope, fit.slope));
  EXPECT_TRUE(sameBits(exact.intercept, fit.intercept));
}

TEST(Polyfit, InputRecordsAreNotModified) {
  const std::vector<double> x = {0.25, 1.5, 2.0, 7.0};
  const std::vector<double> y = {1.0, -3.0, 5.0, 2.0};
  CallFrame frame;
  double coeffs[2];
  polyfitLinear(frame.input(x.data(), 4), frame.input(y.data(), 4), coeffs);
  EXPECT_EQ(x, (std::vector<double>{0.25, 1.5, 2.0, 7.0}));
  EXPECT_EQ(y, (std::vector<double>{1.0, -3.0, 5.0, 2.0}));
}

TEST(Polyfit, AllEqualAbscissasGiveNonFiniteOrMeaninglessValuesWithoutError) {
  // Rank 1: the second diagonal entry of R is zero or rounding-sized, and
  // the fit is not truncated.
  for (double value : {2.0, 1.0, -0.3}) {
    const Line fit = fitOf(std::vector<double>(5, value), {1.0, 2.0, 3.0, 4.0, 6.0});
    const bool nonFinite = !std::isfinite(fit.slope) || !std::isfinite(fit.intercept);
    const bool meaningless = std::fabs(fit.slope) > 1e6 || std::fabs(fit.intercept) > 1e6;
    EXPECT_TRUE(nonFinite || meaningless) << value << ": " << fit.slope << " " << fit.intercept;
  }
}

TEST(Polyfit, TinyAndHugeAbscissasStillRecoverTheLine) {
  // Near 1e-300 the second reflection works below the safe minimum and is
  // rescaled; near 1e300 the norms must not overflow.
  for (double unit : {1e-300, 1e300}) {
    const std::vector<double> x = {3.0 * unit, 5.0 * unit, 9.0 * unit, -2.0 * unit};
    std::vector<double> y;
    for (double v : x) y.push_back(2.0 * (v / unit) + 1.0);
    const Line fit = fitOf(x, y);
    EXPECT_TRUE(closeTo({2.0 / unit, 1.0}, fit)) << unit;
  }
}

TEST(Polyfit, NaNInputGivesNaNWithoutHanging) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Line inX = fitOf({0.0, nan, 2.0}, {1.0, 3.0, 5.0});
  EXPECT_TRUE(std::isnan(inX.slope) || std::isnan(inX.intercept));
  const Line inY = fitOf({0.0, 1.0, 2.0}, {1.0, nan, 5.0});
  EXPECT_TRUE(std::isnan(inY.slope) && std::isnan(inY.intercept));
}

TEST(Polyfit, OneMillionPointsRecoverTheLine) {
  std::vector<double> x(1000000);
  std::vector<double> y(x.size());
  for (size_t l = 0; l < x.size(); ++l) {
    x[l] = static_cast<double>(l) * 1e-3;
    y[l] = -0.5 * x[l] + 4.0;
  }
  // cond(A) ~ 2e3 here and the sums run over 10^6 terms: 1e-9 relative.
  const Line fit = fitOf(x, y);
  EXPECT_NEAR(fit.slope, -0.5, 0.5e-9);
  EXPECT_NEAR(fit.intercept, 4.0, 4e-9);
}

TEST(Polyfit, RecordedBitsAreReproduced) {
  for (const golden::GoldenFit& c : golden::kPolyfitGolden) {
    const Line fit = fitOf(golden::doubles(c.x), golden::doubles(c.y));
    EXPECT_TRUE(sameBits(std::bit_cast<double>(c.slope), fit.slope)) << c.name;
    EXPECT_TRUE(sameBits(std::bit_cast<double>(c.intercept), fit.intercept)) << c.name;
  }
}

}  // namespace
}  // namespace zefra
