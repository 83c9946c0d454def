// Euclidean norm: closed forms, overflow and underflow, the NaN and infinity
// rules of the public header, and golden bits recorded from the library.
//
// Tolerances (units in the last place of the result):
//   kCopiesUlps  n equal copies of a normal c make every scaled square
//                exactly 1, so the sum is exactly n and the only roundings
//                are those of sqrt(n) and of the product: within 1 ulp of
//                |c| sqrt(n).
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

constexpr int64_t kCopiesUlps = 1;
const double kInf = std::numeric_limits<double>::infinity();

double normOf(const std::vector<double>& x) {
  CallFrame frame;
  return normKernel(frame.column(x.data(), static_cast<int32_t>(x.size())));
}

int64_t ulpsBetween(double a, double b) {
  return std::llabs(std::bit_cast<int64_t>(a) - std::bit_cast<int64_t>(b));
}

double nanWithBits(uint64_t bits) { return std::bit_cast<double>(bits); }

TEST(Norm, ThreeAndFourGiveExactlyFive) { EXPECT_TRUE(sameBits(5.0, normOf({3.0, 4.0}))); }

TEST(Norm, CopiesOfOneValueGiveItsMagnitudeTimesSqrtN) {
  for (double c : {1.0, -0.1, 3.7, 1e-300, -1e300, 1e306}) {
    for (int n : {2, 3, 4, 5, 7, 8, 9, 100, 1001, 100000}) {
      const double expected =
          static_cast<double>(std::fabs(static_cast<long double>(c)) * std::sqrt(static_cast<long double>(n)));
      EXPECT_LE(ulpsBetween(expected, normOf(std::vector<double>(static_cast<size_t>(n), c))),
                kCopiesUlps)
          << "c = " << c << ", n = " << n;
    }
  }
}

TEST(Norm, HugeValuesDoNotOverflow) {
  const double half = std::numeric_limits<double>::max() / 2.0;
  const double expected = static_cast<double>(static_cast<long double>(half) * std::sqrt(2.0L));
  EXPECT_LE(ulpsBetween(expected, normOf({half, -half})), kCopiesUlps);
}

TEST(Norm, SmallTermsBesideAHugeOneVanish) {
  // (1 / 1e300)^2 underflows to 0, so the sum stays exactly 1.
  EXPECT_TRUE(sameBits(1e300, normOf({1.0, 1e300, -1.0})));
}

TEST(Norm, TwoSmallestSubnormalsRoundToTheSmallestSubnormal) {
  // sqrt(2) * 2^-1074 lies between the first two subnormals, nearer the first.
  const double tiny = std::numeric_limits<double>::denorm_min();
  EXPECT_TRUE(sameBits(tiny, normOf({tiny, -tiny})));
}

TEST(Norm, SingleElementIsItsMagnitude) {
  EXPECT_TRUE(sameBits(7.0, normOf({-7.0})));
  EXPECT_TRUE(sameBits(0.0, normOf({-0.0})));
  EXPECT_TRUE(sameBits(nanWithBits(0x7ff8000000000123), normOf({nanWithBits(0xfff8000000000123)})));
}

TEST(Norm, EmptyAndNegativeCountsGiveZero) {
  EXPECT_TRUE(sameBits(0.0, normOf({})));
  CallFrame frame;
  EXPECT_TRUE(sameBits(0.0, normKernel(frame.column(nullptr, -1))));
}

TEST(Norm, SignedZerosAddNothing) {
  EXPECT_TRUE(sameBits(5.0, normOf({0.0, 3.0, -0.0, 4.0, 0.0})));
  EXPECT_TRUE(sameBits(0.0, normOf({0.0, -0.0, 0.0, -0.0, 0.0})));
}

TEST(Norm, NaNGivesThatNaNWithItsSignCleared) {
  // Every position of a nine-element vector: inside and after the first
  // group of four, with rescaling elements before and after it.
  for (size_t at = 0; at < 9; ++at) {
    std::vector<double> x{1.0, 2.0, 0.5, 0.25, 3.0, 0.125, 1.5, 0.75, 2.5};
    x[at] = nanWithBits(0xfff8000000000123);
    EXPECT_TRUE(sameBits(nanWithBits(0x7ff8000000000123), normOf(x))) << "NaN at " << at;
  }
}

TEST(Norm, FirstNaNReachingTheSumWins) {
  for (size_t first = 0; first < 9; ++first) {
    for (size_t second = first + 1; second < 10; ++second) {
      std::vector<double> x{0.5, 2.0, 0.5, 0.25, 3.0, 0.125, 1.5, 0.75, 2.5, 1.0};
      x[first] = nanWithBits(0x7ff80000000000aa);
      x[second] = nanWithBits(0xfff80000000000bb);
      EXPECT_TRUE(sameBits(nanWithBits(0x7ff80000000000aa), normOf(x))) << first << " " << second;
    }
  }
}

TEST(Norm, OneInfinityGivesInfinity) {
  EXPECT_TRUE(sameBits(kInf, normOf({1.0, -kInf, 2.0, 0.5, 3.0})));
}

TEST(Norm, SecondInfinityGivesNaN) {
  EXPECT_TRUE(std::isnan(normOf({kInf, 1.0, -kInf})));
}

TEST(Norm, RecordedBitsAreReproduced) {
  for (const golden::GoldenReduction& c : golden::kNormGolden) {
    EXPECT_TRUE(sameBits(std::bit_cast<double>(c.result), normOf(golden::doubles(c.x)))) << c.name;
  }
}

}  // namespace
}  // namespace zefra
