#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <bit>
#include <cstdint>
#include <vector>

#include "frame/call_frame.h"
#include "numeric/reductions.h"
#include "numeric/scaled_norm.h"
#include "numeric/cpu_features.h"
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

// Quiet form of a NaN (the hardware sets the quiet bit when it passes one on).
double quieted(double v) { return std::bit_cast<double>(std::bit_cast<uint64_t>(v) | 0x0008000000000000ULL); }

// a + b where a NaN a is the one that propagates, then a NaN b; two numbers
// that give NaN (inf - inf) give whatever the hardware makes of them.
double addFirstNaNWins(double a, double b) {
  if (std::isnan(a)) return quieted(a);
  if (std::isnan(b)) return quieted(b);
  return a + b;
}

// The element-by-element recurrence exactly as written.  The magnitude goes
// through a volatile so that no compiler can drop the fabs in front of the
// squared quotient: a NaN then enters the sum with its sign cleared, and the
// first NaN that reaches the sum is the one that stays.
double literalNorm(const std::vector<double>& x) {
  const int32_t n = static_cast<int32_t>(x.size());
  if (n < 1) return 0.0;
  if (n == 1) return std::fabs(x[0]);
  double scale = 2.2250738585072014e-308;
  double sum = 0.0;
  for (double v : x) {
    volatile double magnitude = std::fabs(v);
    const double t = magnitude;
    if (t > scale) {
      const double r = scale / t;
      sum = r * sum * r + 1.0;
      scale = t;
    } else {
      const double r = t / scale;
      sum = addFirstNaNWins(sum, r * r);
    }
  }
  return scale * std::sqrt(sum);
}

double adversarialValue(std::mt19937_64& rng) {
  std::uniform_int_distribution<int> kind(0, 15);
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> exponent(-320.0, 308.0);
  switch (kind(rng)) {
    case 0: return 0.0;
    case 1: return -0.0;
    case 2: return std::numeric_limits<double>::infinity();
    case 3: return -std::numeric_limits<double>::infinity();
    case 4: {  // NaN with a random payload and sign
      const uint64_t payload = rng() & 0x0007ffffffffffffULL;
      const uint64_t sign = (rng() & 1) << 63;
      return std::bit_cast<double>(sign | 0x7ff8000000000000ULL | payload);
    }
    case 5: return std::numeric_limits<double>::denorm_min() * static_cast<double>(rng() % 1000);
    case 6: return std::numeric_limits<double>::max() * normal(rng) * 0.25;
    case 7: case 8: return normal(rng) * std::pow(10.0, exponent(rng));
    default: return normal(rng);
  }
}

TEST(Norm, EveryFormMatchesElementLoopBitForBit) {
  // Lengths around the group size, random mixtures with NaN payloads of both
  // signs, signed zeros, infinities, subnormals and huge values, and runs
  // sorted up (a rescale in every group) and down (none after the first).
  std::mt19937_64 rng(20261121);
  std::uniform_int_distribution<int> mostlyFinite(0, 3);
  for (int round = 0; round < 400; ++round) {
    for (int size : {0, 1, 2, 3, 4, 5, 7, 8, 9, 13, 16, 31, 64, 257, 1000}) {
      std::vector<double> x(static_cast<size_t>(size));
      const bool plain = mostlyFinite(rng) != 0;
      std::normal_distribution<double> normal;
      for (double& v : x) v = plain ? normal(rng) : adversarialValue(rng);
      if (round % 5 == 1) std::sort(x.begin(), x.end(), [](double a, double b) { return std::fabs(a) < std::fabs(b); });
      if (round % 5 == 2) std::sort(x.begin(), x.end(), [](double a, double b) { return std::fabs(a) > std::fabs(b); });
      const double expected = literalNorm(x);
      const double* data = x.data();
      ASSERT_TRUE(sameBits(expected, normOf(x))) << "round " << round << " size " << size;
      ASSERT_TRUE(sameBits(expected, scaledEuclideanNormElementwise(data, size))) << size;
      ASSERT_TRUE(sameBits(expected, scaledEuclideanNormPairs(data, size))) << size;
      if (cpuHasAvx()) {
        ASSERT_TRUE(sameBits(expected, scaledEuclideanNormQuads(data, size))) << size;
      }
    }
  }
}

TEST(Norm, GroupedFormsAreBuiltOnThisMachine) {
  // The equality test above proves nothing about a form that silently fell
  // back to the element loop; on an x86-64 build both grouped forms exist.
#if defined(__x86_64__) || defined(_M_X64)
  EXPECT_TRUE(scaledNormHasPairs());
  EXPECT_TRUE(scaledNormHasQuads());
#else
  GTEST_SKIP() << "grouped forms are x86-64 only";
#endif
}

TEST(Norm, NaNKeepsItsPayloadWithTheSignCleared) {
  // The first NaN reached makes the sum NaN; later additions keep it.
  const double negativeNaN = std::bit_cast<double>(0xfff8000000000123ULL);
  const double positiveNaN = std::bit_cast<double>(0x7ff8000000000123ULL);
  for (size_t at = 0; at < 9; ++at) {
    std::vector<double> x{1.0, 2.0, 0.5, 0.25, 3.0, 0.125, 1.5, 0.75, 2.5};
    x[at] = negativeNaN;
    EXPECT_TRUE(sameBits(positiveNaN, normOf(x))) << "NaN at " << at;
  }
}

}  // namespace
}  // namespace zefra
