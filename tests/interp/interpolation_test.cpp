#include "interp/interpolation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "interp/bracket.h"
#include "support/bits.h"

namespace zefra {
namespace {

using testing::sameBits;
using testing::sameComplexBits;

using RealKernel = void (*)(const DynArray*, const DynArray*, const DynArray*, DynArray*);

template <typename T>
DynArrayPtr column(const std::vector<T>& values) {
  DynArrayPtr record(dynArrayInit(2));
  reshape<T>(record.get(), static_cast<int32_t>(values.size()), 1);
  std::copy(values.begin(), values.end(), elementsOf<T>(record.get()));
  return record;
}

// The kernel on column records, its result read back: one value per query.
template <typename T>
std::vector<T> interpolate(RealKernel kernel, const std::vector<double>& x,
                           const std::vector<T>& y, const std::vector<double>& xi) {
  const DynArrayPtr out(dynArrayInit(2));
  out->size[1] = 1;
  kernel(column(x).get(), column(y).get(), column(xi).get(), out.get());
  EXPECT_EQ(out->size[0], static_cast<int32_t>(xi.size()));
  const T* v = elementsOf<T>(out.get());
  return std::vector<T>(v, v + xi.size());
}

std::vector<double> run(RealKernel kernel, const std::vector<double>& x,
                        const std::vector<double>& y, const std::vector<double>& xi) {
  return interpolate(kernel, x, y, xi);
}

std::vector<Complex> runComplex(RealKernel kernel, const std::vector<double>& x,
                                const std::vector<Complex>& y, const std::vector<double>& xi) {
  return interpolate(kernel, x, y, xi);
}

const double kNaNValue = std::nan("");

TEST(LinearInterpolation, ZeroOutsideAndExtrapolateVariants) {
  const std::vector<double> xi = {-1, 0, 0.5, 2, 3};
  EXPECT_EQ(run(interpLinearZeroOutside, {0, 1, 2}, {0, 10, 20}, xi),
            (std::vector<double>{0, 0, 5, 20, 0}));
  EXPECT_EQ(run(interpLinearExtrapolate, {0, 1, 2}, {0, 10, 20}, xi),
            (std::vector<double>{-10, 0, 5, 20, 30}));
}

TEST(LinearInterpolation, DescendingTableIsReversed) {
  const std::vector<double> xi = {-1, 0, 0.5, 2, 3};
  EXPECT_EQ(run(interpLinearZeroOutside, {2, 1, 0}, {20, 10, 0}, xi),
            (std::vector<double>{0, 0, 5, 20, 0}));
  EXPECT_EQ(run(interpLinearExtrapolate, {2, 1, 0}, {20, 10, 0}, xi),
            (std::vector<double>{-10, 0, 5, 20, 30}));
}

TEST(LinearInterpolation, NaNAbscissaZeroesEverything) {
  for (RealKernel k : {RealKernel{interpLinearZeroOutside}, RealKernel{interpLinearExtrapolate},
                       RealKernel{interpCubicHermite}}) {
    const std::vector<double> y = run(k, {0, kNaNValue, 2}, {1, 2, 3}, {0.5, kNaNValue, 5});
    for (double v : y) EXPECT_TRUE(sameBits(0.0, v));
  }
}

TEST(LinearInterpolation, NaNQueryGivesZeroInItsSlotOnly) {
  const std::vector<double> y =
      run(interpLinearExtrapolate, {0, 1, 2}, {0, 10, 20}, {0.5, kNaNValue, 1.5});
  EXPECT_EQ(y, (std::vector<double>{5, 0, 15}));
  EXPECT_TRUE(sameBits(0.0, y[1]));
}

TEST(LinearInterpolation, FlatSegmentReturnsValueExactly) {
  const double v = 0.1 + 0.2;
  const std::vector<double> y = run(interpLinearZeroOutside, {0, 1e-300, 1}, {v, v, v}, {3e-301, 0.7});
  EXPECT_TRUE(sameBits(v, y[0]));
  EXPECT_TRUE(sameBits(v, y[1]));
}

TEST(LinearInterpolation, QueryAtLastAbscissaIsLastValue) {
  EXPECT_EQ(run(interpLinearZeroOutside, {0, 1, 2}, {0, 10, 21}, {2}), std::vector<double>{21});
}

TEST(LinearInterpolation, RepeatedAbscissasUseRightmostLowerBracket) {
  // x = [0, 1, 1, 2]: q = 1 brackets [1, 2] at lo = 2 (zero-based), r = 0.
  EXPECT_EQ(run(interpLinearZeroOutside, {0, 1, 1, 2}, {0, 5, 7, 9}, {1.0}), std::vector<double>{7});
}

TEST(LinearInterpolation, NoQueriesAndNoSamples) {
  EXPECT_TRUE(run(interpLinearZeroOutside, {0, 1}, {0, 1}, {}).empty());
  EXPECT_EQ(run(interpLinearExtrapolate, {}, {}, {1.0, 2.0}), (std::vector<double>{0, 0}));
}

TEST(LinearInterpolation, SingleSampleReadsZeroPaddedSecondEntry) {
  // x = [2], padded x(2) = 0, y(2) = 0: q = 2 is interior with r = 0.
  EXPECT_EQ(run(interpLinearExtrapolate, {2}, {5}, {2.0}), std::vector<double>{5});
  // q = 1 < x(1): (1 - 2) / (0 - 2) * (0 - 5) + 5 = 2.5
  EXPECT_EQ(run(interpLinearExtrapolate, {2}, {5}, {1.0}), std::vector<double>{2.5});
  // q = 3 > x(n): no right extrapolation with a single value.
  EXPECT_EQ(run(interpLinearExtrapolate, {2}, {5}, {3.0}), std::vector<double>{0});
}

TEST(ComplexInterpolation, ExtrapolatingAndLeanVariants) {
  const std::vector<double> x = {0, 1};
  const std::vector<Complex> y = {{0, 0}, {2, 4}};
  const std::vector<double> xi = {-1, 0.5, 2};
  const auto a = runComplex(interpLinearExtrapolateComplex, x, y, xi);
  EXPECT_TRUE(sameComplexBits(Complex{-2, -4}, a[0]));
  EXPECT_TRUE(sameComplexBits(Complex{1, 2}, a[1]));
  EXPECT_TRUE(sameComplexBits(Complex{4, 8}, a[2]));
  const auto b = runComplex(interpLinearNanOutsideComplex, x, y, xi);
  EXPECT_TRUE(sameComplexBits(Complex{0, 0}, b[0]));
  EXPECT_TRUE(sameComplexBits(Complex{1, 2}, b[1]));
  EXPECT_TRUE(sameComplexBits(Complex{0, 0}, b[2]));
}

TEST(ComplexInterpolation, DescendingTable) {
  const std::vector<double> x = {1, 0};
  const std::vector<Complex> y = {{2, 4}, {0, 0}};
  const std::vector<double> xi = {-1, 0.5, 2};
  const auto a = runComplex(interpLinearExtrapolateComplex, x, y, xi);
  EXPECT_TRUE(sameComplexBits(Complex{-2, -4}, a[0]));
  EXPECT_TRUE(sameComplexBits(Complex{4, 8}, a[2]));
  for (const Complex& v : runComplex(interpLinearNanOutsideComplex, x, y, xi)) {
    EXPECT_TRUE(sameComplexBits(Complex{0, 0}, v));
  }
}

TEST(ComplexInterpolation, NaNAbscissaAndNaNQuery) {
  for (const Complex& v : runComplex(interpLinearExtrapolateComplex, {0, kNaNValue}, {{1, 1}, {2, 2}}, {0.5})) {
    EXPECT_TRUE(sameComplexBits(Complex{0, 0}, v));
  }
  const auto a = runComplex(interpLinearNanOutsideComplex, {0, 1}, {{1, 1}, {2, 2}}, {kNaNValue});
  EXPECT_TRUE(sameComplexBits(Complex{0, 0}, a[0]));
}

TEST(ComplexInterpolation, LastAbscissaAndEqualNeighbours) {
  const std::vector<Complex> y = {{1, -0.0}, {1, 0.0}, {3, 3}};
  const auto a = runComplex(interpLinearExtrapolateComplex, {0, 1, 2}, y, {2.0, 0.5});
  EXPECT_TRUE(sameComplexBits(Complex{3, 3}, a[0]));
  EXPECT_TRUE(sameComplexBits(Complex{1, -0.0}, a[1]));  // equal neighbours: y(lo) whole
  const auto b = runComplex(interpLinearNanOutsideComplex, {0, 1, 2}, y, {2.0, 0.5});
  EXPECT_TRUE(sameComplexBits(Complex{3, 3}, b[0]));
  EXPECT_TRUE(sameComplexBits(Complex{1, -0.0}, b[1]));
}

TEST(CubicInterpolation, TwoSamplesGiveTheLineEverywhere) {
  const std::vector<double> y = run(interpCubicHermite, {1, 3}, {2, 6}, {-1, 1, 2, 3, 10});
  const std::vector<double> expected = {-2, 2, 4, 6, 20};
  for (size_t i = 0; i < y.size(); ++i) EXPECT_NEAR(y[i], expected[i], 1e-13);
}

TEST(CubicInterpolation, LinearDataExtrapolateExactly) {
  const std::vector<double> xi = {-1, 0, 0.5, 1.25, 2.75, 3, 5};
  const std::vector<double> y = run(interpCubicHermite, {0, 1, 2, 3}, {0, 1, 2, 3}, xi);
  for (size_t i = 0; i < xi.size(); ++i) EXPECT_EQ(y[i], xi[i]);
}

TEST(CubicInterpolation, LocalMaximumIsFlatAndNotOvershot) {
  const std::vector<double> x = {0, 1, 2, 3, 4};
  const std::vector<double> data = {0, 2, 5, 2, 0};
  std::vector<double> xi;
  for (int i = 0; i <= 400; ++i) xi.push_back(i * 0.01);
  const std::vector<double> y = run(interpCubicHermite, x, data, xi);
  for (double v : y) EXPECT_LE(v, 5.0);
  // Slope 0 at the peak: values just beside it equal 5 to second order.
  EXPECT_NEAR(y[199], 5.0, 1e-3);
  EXPECT_NEAR(y[201], 5.0, 1e-3);
}

TEST(CubicInterpolation, MonotoneDataStayMonotone) {
  std::mt19937_64 rng(3);
  std::uniform_real_distribution<double> step(0.01, 1.0);
  std::vector<double> x(30), data(30);
  double xs = 0, ys = 0;
  for (size_t i = 0; i < 30; ++i) {
    xs += step(rng);
    ys += step(rng) * (i % 7 == 0 ? 0.0 : 1.0);
    x[i] = xs;
    data[i] = ys;
  }
  std::vector<double> xi;
  for (int i = 0; i < 3000; ++i) xi.push_back(x[0] + (x[29] - x[0]) * i / 2999.0);
  const std::vector<double> y = run(interpCubicHermite, x, data, xi);
  for (size_t i = 1; i < y.size(); ++i) EXPECT_GE(y[i], y[i - 1] - 1e-12) << i;
}

TEST(CubicInterpolation, LastAbscissaGivesLastValueUpToRounding) {
  const std::vector<double> y = run(interpCubicHermite, {0, 1, 2.5, 4}, {1, 3, 2, 7}, {4.0});
  EXPECT_NEAR(y[0], 7.0, 1e-14);
}

TEST(CubicInterpolation, DescendingTableGivesSameValues) {
  const std::vector<double> xi = {-0.5, 0.3, 1.7, 2.2, 3.9};
  EXPECT_EQ(run(interpCubicHermite, {0, 1, 2.5, 4}, {1, 3, 2, 7}, xi),
            run(interpCubicHermite, {4, 2.5, 1, 0}, {7, 2, 3, 1}, xi));
}

TEST(CubicInterpolation, FewerThanTwoSamplesGiveZeros) {
  EXPECT_EQ(run(interpCubicHermite, {1}, {5}, {1.0, 2.0}), (std::vector<double>{0, 0}));
}

// The end slope on x = 0, 1, 2 (h = 1) is d = (3 delta1 - delta2) / 2, set
// to 0 when its sign differs from delta1's and limited to 3 delta1 when the
// secants change sign; the interior slope at x = 1 is 0 where they change
// sign, their weighted harmonic mean 1 / (0.5 / delta1 + 0.5 / delta2)
// otherwise.  The first cubic, p(s) = y(1) h00 + d h10 + y(2) h01 + d(2) h11
// (Hermite basis on [0, 1]), also extrapolates to the left.  The values are
// sums of a few dyadic products, exact but for the division by 3 in the
// third case (hence the 1e-15 there).
TEST(CubicInterpolation, EndSlopeFollowsThreePointRuleWithItsLimits) {
  struct Case {
    std::vector<double> y;
    double atMinusOne;  // p(-1)
    double atHalf;      // p(0.5)
  };
  const Case cases[] = {
      // delta 2, -0.5: d = 3.25 kept (below 6), d(2) = 0: p = -0.75 s^3 - 0.5 s^2 + 3.25 s.
      {{0, 2, 1.5}, -3.0, 1.40625},
      // delta 1, -5: d = 4 limited to 3, d(2) = 0: p = (s - 1)^3 + 1.
      {{0, 1, -4}, -7.0, 0.875},
      // delta 1, 5: d = -1 has the wrong sign, so 0; d(2) = 5/3:
      // p = 3 s^2 - 2 s^3 + (5/3)(s^3 - s^2).
      {{0, 1, 6}, 5.0 / 3.0, 0.5 - 0.125 * 5.0 / 3.0},
  };
  for (const Case& c : cases) {
    const std::vector<double> y = run(interpCubicHermite, {0, 1, 2}, c.y, {-1.0, 0.5});
    EXPECT_NEAR(y[0], c.atMinusOne, 1e-15) << c.y[2];
    EXPECT_NEAR(y[1], c.atHalf, 1e-15) << c.y[2];
  }
}

// On a non-decreasing table the bracket is the largest i <= n - 2 with
// x[i] <= q, or 0 when there is none (a NaN query included), whatever the
// order of the queries.
TEST(BracketCursor, FindsLargestLowerNodeOnSortedTables) {
  std::mt19937_64 rng(2024);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::uniform_int_distribution<int> repeat(0, 4);
  for (int trial = 0; trial < 300; ++trial) {
    const int n = 1 + trial % 60 + (trial % 5 == 0 ? 2000 : 0);
    std::vector<double> x(static_cast<size_t>(n));
    double v = unit(rng) - 0.5;
    for (double& e : x) {
      if (repeat(rng) != 0) v += unit(rng);  // about one abscissa in five repeated
      e = v;
    }
    std::vector<double> q(500);
    for (double& e : q) e = x[0] - 1.0 + unit(rng) * (x[static_cast<size_t>(n - 1)] - x[0] + 2.0);
    if (trial % 2 == 0) std::sort(q.begin(), q.end());
    for (size_t i = 0; i < q.size(); i += 37) q[i] = x[static_cast<size_t>(static_cast<int>(i) % n)];
    if (trial % 3 == 0) q[7] = std::nan("");
    BracketCursor cursor(x.data(), n);
    for (double e : q) {
      int32_t expected = 0;
      for (int32_t i = 0; i + 1 < n; ++i) {
        if (x[static_cast<size_t>(i)] <= e) expected = i;
      }
      ASSERT_EQ(expected, cursor.find(e)) << "trial " << trial << " q " << e;
    }
  }
}

// A table out of order (or with a NaN) is bisected afresh for every query:
// lo = 1, hi = n, mid = 2 for n = 4.  x = {0, 2, 1, 3}: q = 1.5 < x(2) = 2
// gives hi = 2, bracket 0; q = 2.5 >= 2 gives lo = 2, then mid = 3 and
// 2.5 >= x(3) = 1 gives lo = 3, bracket 2.  The answers do not depend on
// the queries before them.
TEST(BracketCursor, BisectsTablesOutOfOrder) {
  const std::vector<double> x = {0, 2, 1, 3};
  const std::vector<double> q = {2.5, 1.5, 2.5, 0.5, 1.5};
  const std::vector<int32_t> expected = {2, 0, 2, 0, 0};
  BracketCursor cursor(x.data(), 4);
  for (size_t i = 0; i < q.size(); ++i) EXPECT_EQ(expected[i], cursor.find(q[i])) << q[i];
  // x(3) = NaN: q >= NaN is false, so even q = 5 > x(4) stops below it.
  const std::vector<double> withNaN = {0, 1, std::nan(""), 3};
  BracketCursor nanCursor(withNaN.data(), 4);
  EXPECT_EQ(1, nanCursor.find(5.0));
  EXPECT_EQ(0, nanCursor.find(0.5));
}

}  // namespace
}  // namespace zefra
