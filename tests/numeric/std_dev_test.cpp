// Sample standard deviation: closed forms, the rules of the public header,
// and golden bits recorded from the library.
//
// Tolerance: kOneToNUlps = 1.  For x = 1 .. n every sum, the mean (n + 1) / 2
// and every squared deviation are exact, so ss = n (n^2 - 1) / 12 exactly and
// only ss / (n - 1) and the square root round: within 1 ulp of
// sqrt(n (n + 1) / 12).
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "frame/call_frame.h"
#include "numeric/golden/golden.h"
#include "numeric/reductions.h"
#include "support/bits.h"

namespace zefra {
namespace {

using testing::sameBits;

constexpr int64_t kOneToNUlps = 1;

double stdOf(const std::vector<double>& x) {
  CallFrame frame;
  return stdKernel(frame.column(x.data(), static_cast<int32_t>(x.size())));
}

TEST(StdDev, OneToNGivesSqrtOfNTimesNPlusOneOverTwelve) {
  for (int n : {2, 3, 4, 10, 99, 1000, 65537}) {
    std::vector<double> x;
    for (int k = 1; k <= n; ++k) {
      x.push_back(k);
    }
    const long double nl = n;
    const auto expected = static_cast<double>(std::sqrt(nl * (nl + 1.0L) / 12.0L));
    EXPECT_LE(std::llabs(std::bit_cast<int64_t>(expected) - std::bit_cast<int64_t>(stdOf(x))),
              kOneToNUlps)
        << "n = " << n;
  }
}

TEST(StdDev, TwoPointsGiveTheirDistanceOverSqrtTwo) {
  // mean 2, ss = 1 + 1 = 2, divisor 1.
  EXPECT_TRUE(sameBits(std::sqrt(2.0), stdOf({1.0, 3.0})));
  EXPECT_TRUE(sameBits(std::sqrt(2.0), stdOf({3.0, 1.0})));
}

TEST(StdDev, ConstantDataWithExactSumsGivesExactlyZero) {
  // Multiples of 1/8 below 2^50: every running sum is exact, so the mean is
  // the value itself and every deviation 0.
  for (double c : {0.375, -12.0, 1024.125}) {
    for (int n : {2, 3, 7, 1000}) {
      EXPECT_TRUE(sameBits(0.0, stdOf(std::vector<double>(static_cast<size_t>(n), c))));
    }
  }
}

TEST(StdDev, SingleValueGivesZero) {
  EXPECT_TRUE(sameBits(0.0, stdOf({5.0})));
  EXPECT_TRUE(sameBits(0.0, stdOf({-1e308})));
}

TEST(StdDev, EmptyAndNegativeCountsGiveZero) {
  EXPECT_TRUE(sameBits(0.0, stdOf({})));
  CallFrame frame;
  EXPECT_TRUE(sameBits(0.0, stdKernel(frame.column(nullptr, -2))));
}

TEST(StdDev, SumsLeftToRightSoCancellationDropsTheOnes) {
  // 1e16 + 1 rounds back to 1e16, so the sum is 0 + 1 and the mean 0.25 (an
  // exact or pairwise sum would give 0.5).  The deviations then round to
  // +-1e16 and 0.75, and 0.75^2 vanishes beside 1e32.
  const double expected = std::sqrt((1e16 * 1e16 + 1e16 * 1e16) / 3.0);
  EXPECT_TRUE(sameBits(expected, stdOf({1e16, 1.0, -1e16, 1.0})));
}

TEST(StdDev, NaNOrInfinityGivesNaN) {
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_TRUE(std::isnan(stdOf({1.0, std::numeric_limits<double>::quiet_NaN(), 3.0})));
  EXPECT_TRUE(std::isnan(stdOf({1.0, inf, 3.0})));
  EXPECT_TRUE(std::isnan(stdOf({-inf})));
}

TEST(StdDev, RecordedBitsAreReproduced) {
  for (const golden::GoldenReduction& c : golden::kStdGolden) {
    EXPECT_TRUE(sameBits(std::bit_cast<double>(c.result), stdOf(golden::doubles(c.x)))) << c.name;
  }
}

}  // namespace
}  // namespace zefra
