// The statistics exports called through the public header, as a C++ host
// linked against the shared library would call them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "support/bits.h"
#include "zefra/tdr_helpers.h"

namespace {

using zefra::testing::sameBits;

TEST(StatisticsExports, EdgeValues) {
  const double odd[] = {3.0, 1.0, 2.0};
  const double even[] = {4.0, 1.0, 3.0, 2.0};
  const double straddle[] = {-1.0, 1.0};
  const double withZero[] = {0.0, 4.0};
  const double single[] = {5.0};
  const double quarter[] = {1.0, 2.0, 3.0, 4.0};
  const double pythagoras[] = {3.0, 4.0};
  const double huge[] = {1e200, 1e200};
  const double tiny[] = {1e-200, 1e-200};
  const double negative[] = {-7.0};
  EXPECT_EQ(median(odd, 3), 2.0);
  EXPECT_EQ(median(even, 4), 2.5);
  EXPECT_TRUE(sameBits(0.0, median(straddle, 2)));
  EXPECT_EQ(median(withZero, 2), 2.0);
  EXPECT_EQ(median(single, 1), 5.0);
  EXPECT_TRUE(sameBits(0.0, Eval_std(single, 1)));
  EXPECT_TRUE(sameBits(std::sqrt(5.0 / 3.0), Eval_std(quarter, 4)));
  EXPECT_TRUE(sameBits(5.0, norm(pythagoras, 2)));
  EXPECT_TRUE(sameBits(1.4142135623730951e200, norm(huge, 2)));
  EXPECT_GT(norm(tiny, 2), 0.0);
  EXPECT_TRUE(sameBits(7.0, norm(negative, 1)));
}

TEST(StatisticsExports, NaNGivesNaN) {
  const double x[] = {1.0, NAN, 2.0};
  EXPECT_TRUE(std::isnan(median(x, 3)));
  EXPECT_TRUE(std::isnan(Eval_std(x, 3)));
  EXPECT_TRUE(std::isnan(norm(x, 3)));
}

TEST(StatisticsExports, CountZeroReadsNothingAndGivesZero) {
  // A null buffer with a count of 0 is never dereferenced.
  EXPECT_TRUE(sameBits(0.0, median(nullptr, 0)));
  EXPECT_TRUE(sameBits(0.0, Eval_std(nullptr, 0)));
  EXPECT_TRUE(sameBits(0.0, norm(nullptr, 0)));
}

TEST(StatisticsExports, NegativeCountReadsNothingAndGivesZero) {
  EXPECT_TRUE(sameBits(0.0, median(nullptr, -5)));
  EXPECT_TRUE(sameBits(0.0, Eval_std(nullptr, -5)));
  EXPECT_TRUE(sameBits(0.0, norm(nullptr, -5)));
}

TEST(StatisticsExports, InputBuffersAreNeverWritten) {
  std::mt19937_64 rng(3);
  std::normal_distribution<double> normal;
  std::vector<double> x(1001);
  for (double& v : x) v = normal(rng);
  x[17] = -0.0;
  x[500] = NAN;
  const std::vector<double> before = x;
  for (int32_t n : {1001, 500, 2}) {
    median(x.data(), n);
    Eval_std(x.data(), n);
    norm(x.data(), n);
  }
  EXPECT_EQ(0, std::memcmp(before.data(), x.data(), x.size() * sizeof(double)));
}

TEST(PublicHeader, ComplexIsTwoDoublesRealFirst) {
  static_assert(sizeof(zefra_complex) == 16);
  static_assert(offsetof(zefra_complex, re) == 0);
  static_assert(offsetof(zefra_complex, im) == 8);
  const double interleaved[] = {1.5, -2.5};
  zefra_complex z;
  std::memcpy(&z, interleaved, sizeof z);
  EXPECT_EQ(z.re, 1.5);
  EXPECT_EQ(z.im, -2.5);
}

}  // namespace
