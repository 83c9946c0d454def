// Frame behaviour of the basic numeric exports through the public header.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "zefra/tdr_helpers.h"

namespace {

TEST(PolyExport, WritesOnlyTheLeadingCoefficient) {
  const double roots[2] = {1.0, 2.0};
  double c[3] = {7.0, 7.0, 7.0};
  poly(roots, c, 2);
  EXPECT_EQ(c[0], 1.0);
  EXPECT_EQ(c[1], 7.0);
  EXPECT_EQ(c[2], 7.0);
  double single = 7.0;
  poly(nullptr, &single, 0);
  EXPECT_EQ(single, 1.0);
  double untouched = 7.0;
  poly(nullptr, &untouched, -1);
  EXPECT_EQ(untouched, 7.0);
}

TEST(PolyfitExport, IgnoresThirdArgumentAndWritesSlopeThenIntercept) {
  const double x[3] = {0, 1, 2};
  const double y[3] = {1, 3, 5};
  double coeffs[2] = {7.0, 7.0};
  Polyfit(x, y, nullptr, coeffs, 3, 3);
  EXPECT_NEAR(coeffs[0], 2.0, 1e-14);
  EXPECT_NEAR(coeffs[1], 1.0, 1e-14);
  const double garbage = 123.0;
  double again[2] = {7.0, 7.0};
  Polyfit(x, y, &garbage, again, 3, 3);
  EXPECT_EQ(0, std::memcmp(coeffs, again, sizeof coeffs));
}

TEST(BasicExports, CountZeroWritesNothing) {
  double y[2] = {7.0, 7.0};
  mod(nullptr, 3.0, y, 0);
  Kron(nullptr, nullptr, y, 0, 0);
  Filter(nullptr, nullptr, nullptr, y, 0, 0, 0);
  unwrap(nullptr, y, 0);
  EXPECT_EQ(y[0], 7.0);
  zefra_complex w = {7.0, 7.0};
  Polyval(nullptr, nullptr, &w, 0, 0);
  EXPECT_EQ(w.re, 7.0);
  conv(nullptr, nullptr, y, 0, 0);
  EXPECT_EQ(y[0], 7.0);
}

TEST(BasicExports, NegativeCountsWriteNothing) {
  double y[4] = {7.0, 7.0, 7.0, 7.0};
  Kron(nullptr, nullptr, y, -2, -3);
  mod(nullptr, 3.0, y, -1);
  unwrap(nullptr, y, -5);
  Filter(nullptr, nullptr, nullptr, y, -1, -1, -3);
  EXPECT_EQ(y[0], 7.0);
  EXPECT_EQ(y[3], 7.0);
}

TEST(BasicExports, InputsAreNeverWritten) {
  std::vector<double> x = {0.5, 3.9, -1.0, 0.0, 2.5, 7.0};
  const std::vector<double> before = x;
  std::vector<double> y(64);
  mod(x.data(), 0.7, y.data(), 6);
  Kron(x.data(), x.data(), y.data(), 6, 6);
  conv(x.data(), x.data(), y.data(), 6, 6);
  Filter(x.data(), x.data(), x.data(), y.data(), 2, 3, 6);
  unwrap(x.data(), y.data(), 6);
  poly(x.data(), y.data(), 6);
  EXPECT_EQ(x, before);
}

TEST(ButterworthExports, ParameterOrdersDiffer) {
  const double w[2] = {0.0, 1.0};
  zefra_complex h1[2], h2[2];
  Butterworth_TF(1, w, 1.0, 2, h1);
  GetButterworthTF(1, w, 2, 1.0, h2);
  EXPECT_NEAR(h1[1].re, 0.5, 1e-15);
  EXPECT_NEAR(h2[1].im, -0.5, 1e-15);
}

}  // namespace

namespace {

// Found by fuzzing: na + nb - 1 overflowed 32-bit arithmetic.
TEST(ConvExport, ExtremeCountsWriteNothingWithoutOverflow) {
  double y[2] = {7.0, 7.0};
  conv(nullptr, nullptr, y, INT32_MIN, 0);
  conv(nullptr, nullptr, y, INT32_MIN, -1);
  const double b[1] = {2.0};
  conv(nullptr, b, y, INT32_MIN, 1);
  EXPECT_EQ(y[0], 7.0);
  EXPECT_EQ(y[1], 7.0);
}

// Found by fuzzing: M - 1 for M = INT32_MIN does not fit an int32.
TEST(DensityExports, ExtremeLevelCountsFailWithoutOverflow) {
  const double signal[1] = {0.5};
  for (int32_t m : {INT32_MIN, -1, 0, 1}) {
    double* a = nullptr;
    double* p = nullptr;
    double offset = -99.0, width = 0.1;
    int32_t count = -1;
    EXPECT_FALSE(get_pdf_from_sampled_signal(signal, m, nullptr, &a, &p, &offset, &width, 1, &count));
    EXPECT_EQ(count, 0);
    zefra_release_array(a);
    zefra_release_array(p);
  }
}

}  // namespace
