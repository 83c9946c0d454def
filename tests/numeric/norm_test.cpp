#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "frame/call_frame.h"
#include "numeric/reductions.h"
#include "support/bits.h"

namespace zefra {
namespace {

using testing::sameBits;

double normOf(const std::vector<double>& x) {
  CallFrame frame;
  return normKernel(frame.column(x.data(), static_cast<int32_t>(x.size())));
}

TEST(Norm, ThreeFourGivesFive) { EXPECT_TRUE(sameBits(5.0, normOf({3.0, 4.0}))); }

TEST(Norm, HugeValuesDoNotOverflow) {
  EXPECT_TRUE(sameBits(1.4142135623730951e200, normOf({1e200, 1e200})));
}

TEST(Norm, TinyValuesDoNotUnderflow) {
  const double result = normOf({1e-200, 1e-200});
  EXPECT_GT(result, 0.0);
  EXPECT_NEAR(result / 1.4142135623730951e-200, 1.0, 4e-16);
}

TEST(Norm, SubnormalsStayNonZero) {
  const double tiny = std::numeric_limits<double>::denorm_min();
  EXPECT_GT(normOf({tiny, tiny}), 0.0);
}

TEST(Norm, SingleElementIsItsMagnitude) {
  EXPECT_TRUE(sameBits(7.0, normOf({-7.0})));
  EXPECT_TRUE(sameBits(0.0, normOf({-0.0})));
}

TEST(Norm, EmptyAndNegativeCountsGiveZero) {
  EXPECT_TRUE(sameBits(0.0, normOf({})));
  CallFrame frame;
  EXPECT_TRUE(sameBits(0.0, normKernel(frame.column(nullptr, -1))));
}

TEST(Norm, ZerosAddNothing) {
  EXPECT_TRUE(sameBits(normOf({3.0, 4.0}), normOf({0.0, 3.0, -0.0, 4.0, 0.0})));
  // All zeros: the scale never moves off the smallest normal, the sum stays 0.
  EXPECT_TRUE(sameBits(0.0, normOf({0.0, -0.0, 0.0})));
}

TEST(Norm, NaNAnywhereGivesNaN) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(std::isnan(normOf({1.0, nan, 2.0})));
  EXPECT_TRUE(std::isnan(normOf({nan, 1.0})));
}

TEST(Norm, OneInfinityGivesInfinity) {
  // t = inf rescales: r = scale / inf = 0, sum = 0 * sum * 0 + 1, scale = inf;
  // a later finite element adds (t / inf)^2 = 0, so the result is inf.
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(normOf({1.0, inf, 2.0}), inf);
}

TEST(Norm, TwoInfinitiesGiveNaN) {
  // The second infinity is not greater than the scale: it adds (inf / inf)^2.
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_TRUE(std::isnan(normOf({inf, 1.0, -inf})));
}

TEST(Norm, FollowsScaledRecurrenceExactly) {
  std::mt19937_64 rng(99);
  std::uniform_real_distribution<double> exponent(-300.0, 300.0);
  std::uniform_real_distribution<double> mantissa(-1.0, 1.0);
  for (int size : {2, 3, 17, 1000}) {
    std::vector<double> x(static_cast<size_t>(size));
    for (double& v : x) v = mantissa(rng) * std::pow(10.0, exponent(rng));
    double scale = 2.2250738585072014e-308;
    double sum = 0.0;
    for (double v : x) {
      const double t = std::fabs(v);
      if (t > scale) {
        sum = (scale / t) * sum * (scale / t) + 1.0;
        scale = t;
      } else {
        sum = sum + (t / scale) * (t / scale);
      }
    }
    EXPECT_TRUE(sameBits(scale * std::sqrt(sum), normOf(x))) << "size " << size;
  }
}

}  // namespace
}  // namespace zefra
