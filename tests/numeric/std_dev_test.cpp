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

double stdOf(const std::vector<double>& x) {
  CallFrame frame;
  return stdKernel(frame.column(x.data(), static_cast<int32_t>(x.size())));
}

TEST(StdDev, SingleValueGivesZero) { EXPECT_TRUE(sameBits(0.0, stdOf({5.0}))); }

TEST(StdDev, UsesSampleDivisor) {
  EXPECT_TRUE(sameBits(std::sqrt(5.0 / 3.0), stdOf({1.0, 2.0, 3.0, 4.0})));
}

TEST(StdDev, EmptyInputGivesZero) { EXPECT_TRUE(sameBits(0.0, stdOf({}))); }

TEST(StdDev, NegativeCountGivesZero) {
  CallFrame frame;
  EXPECT_TRUE(sameBits(0.0, stdKernel(frame.column(nullptr, -2))));
}

TEST(StdDev, NaNAnywhereGivesNaN) {
  EXPECT_TRUE(std::isnan(stdOf({1.0, std::numeric_limits<double>::quiet_NaN(), 3.0})));
}

TEST(StdDev, ConstantInputGivesZero) { EXPECT_EQ(stdOf({0.3, 0.3, 0.3, 0.3}), 0.0); }

TEST(StdDev, SumsLeftToRight) {
  // A compensated or pairwise sum would give a different mean here.
  const std::vector<double> x = {1e16, 1.0, -1e16, 1.0};
  double sum = 0.0;
  for (double v : x) sum += v;
  const double mean = sum / 4.0;
  double ss = 0.0;
  for (double v : x) ss += (v - mean) * (v - mean);
  EXPECT_TRUE(sameBits(std::sqrt(ss / 3.0), stdOf(x)));
}

TEST(StdDev, MatchesTwoPassFormulaOnRandomData) {
  std::mt19937_64 rng(7);
  std::normal_distribution<double> normal(3.0, 2.0);
  for (int size : {2, 3, 10, 1000, 65537}) {
    std::vector<double> x(static_cast<size_t>(size));
    for (double& v : x) v = normal(rng);
    double sum = 0.0;
    for (double v : x) sum += v;
    const double mean = sum / size;
    double ss = 0.0;
    for (double v : x) ss += (v - mean) * (v - mean);
    EXPECT_TRUE(sameBits(std::sqrt(ss / (size - 1)), stdOf(x))) << "size " << size;
  }
}

}  // namespace
}  // namespace zefra
