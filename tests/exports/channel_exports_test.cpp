// The channel-model exports through the public header: counts, untouched
// outputs and inputs, and agreement with the kernels' documented values.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "support/bits.h"
#include "zefra/tdr_helpers.h"

namespace {

using zefra::testing::sameComplexBits;

std::vector<zefra_complex> filled(size_t n, double value) {
  return std::vector<zefra_complex>(n, zefra_complex{value, value});
}

bool allEqual(const std::vector<zefra_complex>& v, double value) {
  for (const auto& z : v) {
    if (z.re != value || z.im != value) return false;
  }
  return true;
}

TEST(CombineS4pExport, ZeroPointsLeaveOutputsUntouched) {
  auto c11 = filled(3, 9.0), c12 = filled(3, 9.0), c21 = filled(3, 9.0), c22 = filled(3, 9.0);
  combineS4p(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0,
             c11.data(), c12.data(), c21.data(), c22.data());
  EXPECT_TRUE(allEqual(c11, 9.0) && allEqual(c12, 9.0) && allEqual(c21, 9.0) &&
              allEqual(c22, 9.0));
}

TEST(CombineS4pExport, WritesExactlyNPointsAndNeverItsInputs) {
  const auto half = filled(4, 0.5);
  auto a11 = half, a12 = half, a21 = half, a22 = half;
  auto c11 = filled(5, 9.0), c12 = filled(5, 9.0), c21 = filled(5, 9.0), c22 = filled(5, 9.0);
  combineS4p(a11.data(), a12.data(), a21.data(), a22.data(), a11.data(), a12.data(), a21.data(),
             a22.data(), 4, c11.data(), c12.data(), c21.data(), c22.data());
  EXPECT_TRUE(allEqual(a11, 0.5) && allEqual(a22, 0.5));
  EXPECT_EQ(c11[4].re, 9.0);
  EXPECT_EQ(c22[4].im, 9.0);
  EXPECT_NE(c11[3].re, 9.0);
}

TEST(CombineS4pExport, RealHalfNetworksCascade) {
  std::vector<zefra_complex> half(1, zefra_complex{0.5, 0.0});
  zefra_complex c11, c12, c21, c22;
  combineS4p(half.data(), half.data(), half.data(), half.data(), half.data(), half.data(),
             half.data(), half.data(), 1, &c11, &c12, &c21, &c22);
  EXPECT_TRUE(sameComplexBits(zefra_complex{0.5 + 0.125 / 0.75, 0.0}, c11));
  EXPECT_TRUE(sameComplexBits(zefra_complex{0.25 / 0.75, 0.0}, c12));
  EXPECT_TRUE(sameComplexBits(zefra_complex{0.25 / 0.75, 0.0}, c21));
  EXPECT_TRUE(sameComplexBits(zefra_complex{0.5 + 0.125 / 0.75, 0.0}, c22));
}

TEST(SynthTlineExport, ZeroPointsLeaveOutputsUntouched) {
  const double coeffs[3] = {0.1, 0.2, 0.3};
  auto s = filled(2, 9.0);
  synth_tline(nullptr, 0, 50.0, 25.0, coeffs, 3, 0.1, 1.0, s.data(), s.data(), s.data(),
              s.data());
  EXPECT_TRUE(allEqual(s, 9.0));
}

TEST(SynthTlineExport, MatchedZeroFrequencyIsRealAttenuation) {
  const double freq[2] = {0.0, 1e9};
  const double coeffs[3] = {0.25, 0.2, 0.3};
  const std::vector<double> freqBefore(freq, freq + 2);
  auto s11 = filled(3, 9.0), s12 = filled(3, 9.0), s21 = filled(3, 9.0), s22 = filled(3, 9.0);
  synth_tline(freq, 2, 50.0, 25.0, coeffs, 3, 0.1, 2.0, s11.data(), s12.data(), s21.data(),
              s22.data());
  EXPECT_TRUE(sameComplexBits(zefra_complex{std::exp(-(2.0 * 0.25)), 0.0}, s21[0]));
  EXPECT_TRUE(sameComplexBits(s21[1], s12[1]));
  EXPECT_TRUE(sameComplexBits(s11[1], s22[1]));
  EXPECT_EQ(s21[2].re, 9.0);
  EXPECT_EQ(freq[0], freqBefore[0]);
  EXPECT_EQ(coeffs[0], 0.25);
}

TEST(MakePackageExport, ZeroPointsLeaveOutputsUntouched) {
  const double loss[3] = {0.1, 0.2, 0.3};
  auto s = filled(2, 9.0);
  makePackage(nullptr, 0, 1.0, 1e-13, 1e-13, 100.0, 0.1, loss, 3, 50.0, 1e-9, 1e-13, s.data(),
              s.data(), s.data(), s.data());
  EXPECT_TRUE(allEqual(s, 9.0));
}

TEST(MakePackageExport, PerfectThru) {
  const double freq[3] = {0.0, 1e9, 4e10};
  const double loss[3] = {0.0, 0.0, 0.0};
  auto s11 = filled(3, 9.0), s12 = filled(3, 9.0), s21 = filled(3, 9.0), s22 = filled(3, 9.0);
  makePackage(freq, 3, 1.0, 0.0, 0.0, 100.0, 0.0, loss, 3, 50.0, 0.0, 0.0, s11.data(),
              s12.data(), s21.data(), s22.data());
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(s11[static_cast<size_t>(k)].re, 0.0);
    EXPECT_EQ(s21[static_cast<size_t>(k)].re, 1.0);
    EXPECT_EQ(s21[static_cast<size_t>(k)].im, 0.0);
  }
}

}  // namespace

namespace {

TEST(ChannelExports, NegativeCountsReadNothingAndWriteNothing) {
  auto s = filled(2, 9.0);
  combineS4p(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, -3,
             s.data(), s.data(), s.data(), s.data());
  synth_tline(nullptr, -1, 50.0, 25.0, nullptr, -1, 0.1, 1.0, s.data(), s.data(), s.data(),
              s.data());
  makePackage(nullptr, -2, 1.0, 1e-13, 1e-13, 100.0, 0.1, nullptr, -1, 50.0, 1e-9, 1e-13,
              s.data(), s.data(), s.data(), s.data());
  EXPECT_TRUE(allEqual(s, 9.0));
}

TEST(ChannelExports, NoCoefficientsMeanLosslessLine) {
  const double freq[2] = {1e9, 5e9};
  const double zeros[3] = {0.0, 0.0, 0.0};
  std::vector<zefra_complex> a(8), b(8);
  // The coefficient buffer is not read when its count is 0.
  synth_tline(freq, 2, 70.0, 25.0, nullptr, 0, 0.1, 1.0, &a[0], &a[2], &a[4], &a[6]);
  synth_tline(freq, 2, 70.0, 25.0, zeros, 3, 0.1, 1.0, &b[0], &b[2], &b[4], &b[6]);
  makePackage(freq, 2, 1.0, 1e-13, 1e-13, 100.0, 0.1, nullptr, 0, 50.0, 1e-9, 1e-13, &a[0],
              &a[2], &a[4], &a[6]);
  makePackage(freq, 2, 1.0, 1e-13, 1e-13, 100.0, 0.1, zeros, 3, 50.0, 1e-9, 1e-13, &b[0], &b[2],
              &b[4], &b[6]);
  EXPECT_EQ(0, std::memcmp(a.data(), b.data(), a.size() * sizeof(zefra_complex)));
}

}  // namespace

namespace {

TEST(ErfcinvExport, MarkersAndCountZero) {
  const double x[5] = {0.0, 2.0, -1.0, 3.0, NAN};
  double y[6] = {9, 9, 9, 9, 9, 9};
  erfcinv(x, y, 5);
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(zefra::testing::sameBits(0.0, y[i])) << i;
  EXPECT_EQ(y[5], 9.0);
  erfcinv(nullptr, y, 0);
  erfcinv(nullptr, y, -4);
  EXPECT_EQ(y[5], 9.0);
}

TEST(TdCtleExport, CountZeroWritesNothing) {
  double y[2] = {9.0, 9.0};
  td_ctle(nullptr, y, 0, 10e9, 1e9, 2e9, 15e9, 3.0, 4.0);
  td_ctle(nullptr, y, -7, 10e9, 1e9, 2e9, 15e9, 3.0, 4.0);
  EXPECT_EQ(y[0], 9.0);
}

TEST(TdCtleExport, MillionSamplesUseLinearMemory) {
  // A square work array of n x (n + 1) doubles would need 8 TB here.
  std::vector<double> x(1000000, 1.0);
  std::vector<double> y(x.size());
  td_ctle(x.data(), y.data(), static_cast<int32_t>(x.size()), 10e9, 1e9, 2e9, 15e9, 3.0, 4.0);
  EXPECT_NEAR(y.back() / (std::pow(10.0, 3.0 / 20.0) * 0.5), 1.0, 1e-9);
}

}  // namespace
