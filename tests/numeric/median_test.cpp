#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "frame/call_frame.h"
#include "numeric/reductions.h"
#include "reference/median_merge_sort.h"
#include "support/bits.h"

namespace zefra {
namespace {

using testing::sameBits;

double medianOf(const std::vector<double>& x) {
  CallFrame frame;
  return medianKernel(frame.column(x.data(), static_cast<int32_t>(x.size())));
}

constexpr double kQuietNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(Median, OddCountGivesMiddleValue) { EXPECT_EQ(medianOf({3.0, 1.0, 2.0}), 2.0); }

TEST(Median, EvenCountGivesMidpointOfMiddlePair) {
  EXPECT_TRUE(sameBits(2.0 + (3.0 - 2.0) * 0.5, medianOf({4.0, 1.0, 3.0, 2.0})));
  EXPECT_EQ(medianOf({4.0, 1.0, 3.0, 2.0}), 2.5);
}

TEST(Median, MiddlePairStraddlingZeroIsAveraged) {
  EXPECT_TRUE(sameBits(0.0, medianOf({-1.0, 1.0})));
}

TEST(Median, MiddleValueEqualToZeroMarkerIsAveraged) {
  EXPECT_TRUE(sameBits(2.0, medianOf({0.0, 4.0})));
  EXPECT_TRUE(sameBits(-2.0, medianOf({-4.0, -0.0})));
}

TEST(Median, GeneralPairUsesOffsetFromLowerValue) {
  // a + (b - a) * 0.5 and (a + b) * 0.5 differ in the last bit here.
  const double a = 0.1;
  const double b = 0.7;
  ASSERT_NE(a + (b - a) * 0.5, (a + b) * 0.5);
  EXPECT_TRUE(sameBits(a + (b - a) * 0.5, medianOf({b, a})));
}

TEST(Median, AnyNaNGivesNaN) {
  EXPECT_TRUE(std::isnan(medianOf({1.0, kQuietNaN, 2.0})));
  EXPECT_TRUE(std::isnan(medianOf({kQuietNaN})));
  EXPECT_TRUE(std::isnan(medianOf({kQuietNaN, 1.0, 2.0, 3.0, 4.0})));
}

TEST(Median, NaNResultIsTheLastNaNOfTheInput) {
  const double first = std::bit_cast<double>(0x7ff8000000000001ULL);
  const double last = std::bit_cast<double>(0xfff8000000000abcULL);
  EXPECT_TRUE(sameBits(last, medianOf({first, 2.0, last, 1.0})));
}

TEST(Median, EmptyInputGivesZero) { EXPECT_TRUE(sameBits(0.0, medianOf({}))); }

TEST(Median, SingleValueIsItself) { EXPECT_EQ(medianOf({5.0}), 5.0); }

TEST(Median, SignedZerosFollowInputOrder) {
  // The zeros compare equal, so the stable order keeps them as given and the
  // middle one is the second zero of the input.
  EXPECT_TRUE(sameBits(0.0, medianOf({-0.0, 0.0, 0.0})));
  EXPECT_TRUE(sameBits(-0.0, medianOf({0.0, -0.0, -0.0})));
  EXPECT_TRUE(sameBits(-0.0, medianOf({0.0, -0.0, 1.0, -0.0, -1.0})));
  EXPECT_TRUE(sameBits(-0.0, medianOf({1.0, -0.0, -1.0})));
  // Even count with both middle values zero: (a + b) * 0.5.
  EXPECT_TRUE(sameBits(-0.0, medianOf({-0.0, -0.0})));
  EXPECT_TRUE(sameBits(0.0, medianOf({-0.0, 0.0})));
}

TEST(Median, InfinitiesAreOrdinaryValues) {
  EXPECT_EQ(medianOf({kInfinity, 1.0, -kInfinity}), 1.0);
  EXPECT_TRUE(std::isnan(medianOf({-kInfinity, kInfinity})));
  // Two infinite middle values take the offset form: inf + (inf - inf) * 0.5.
  EXPECT_TRUE(std::isnan(medianOf({kInfinity, kInfinity})));
  EXPECT_EQ(medianOf({kInfinity, kInfinity, kInfinity}), kInfinity);
}

TEST(Median, NegativeCountGivesZero) {
  CallFrame frame;
  EXPECT_TRUE(sameBits(0.0, medianKernel(frame.column(nullptr, -3))));
}

// Values drawn from a small pool so that ties, signed zeros, infinities and
// NaNs of several payloads are frequent.
double adversarialValue(std::mt19937_64& rng) {
  static const double pool[] = {
      0.0, -0.0, 1.0, -1.0, 2.5, -2.5, 1e-310, -1e-310, 1e308, -1e308,
      kInfinity, -kInfinity, 0.1, 0.7, 3.0,
      std::bit_cast<double>(0x7ff8000000000000ULL),
      std::bit_cast<double>(0xfff8000000000001ULL),
      std::bit_cast<double>(0x7ff0000000000123ULL)};
  std::uniform_int_distribution<size_t> pick(0, std::size(pool) - 1);
  return pool[pick(rng)];
}

TEST(Median, SelectionAgreesWithStableMergeSortBitForBit) {
  std::mt19937_64 rng(20261121);
  std::uniform_real_distribution<double> uniform(-10.0, 10.0);
  std::uniform_int_distribution<int> coin(0, 99);
  const std::vector<int> sizes = {1, 2, 3, 4, 5, 6, 7, 8, 15, 16, 17, 31, 32, 33, 100, 101, 1000, 4097};
  int trials = 0;
  for (int nanPercent : {0, 1, 10}) {
    for (int zeroPercent : {0, 30, 90}) {
      for (int poolPercent : {0, 50, 100}) {
        for (int size : sizes) {
          for (int repeat = 0; repeat < 6; ++repeat) {
            std::vector<double> x(static_cast<size_t>(size));
            for (double& v : x) {
              const int roll = coin(rng);
              if (roll < nanPercent) {
                v = std::bit_cast<double>(uint64_t{0x7ff8000000000000} | static_cast<uint64_t>(static_cast<unsigned>(coin(rng))));
              } else if (roll < zeroPercent) {
                v = coin(rng) < 50 ? 0.0 : -0.0;
              } else if (coin(rng) < poolPercent) {
                v = adversarialValue(rng);
              } else {
                v = uniform(rng);
              }
            }
            ASSERT_TRUE(sameBits(reference::medianByMergeSort(x), medianOf(x)))
                << "size " << size << " trial " << trials;
            ++trials;
          }
        }
      }
    }
  }
  EXPECT_EQ(trials, 27 * 18 * 6);
}

TEST(Median, MergeSortReferenceIsStableWithNaNLast) {
  const std::vector<double> x = {2.0, kQuietNaN, -0.0, 1.0, 0.0, kQuietNaN, 2.0};
  const std::vector<int32_t> expected = {3, 5, 4, 1, 7, 2, 6};
  EXPECT_EQ(reference::stableNanLastOrder(x), expected);
}

}  // namespace
}  // namespace zefra
