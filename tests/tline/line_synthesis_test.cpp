#include "tline/line_synthesis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "frame/constants.h"
#include "support/bits.h"
#include "support/records.h"

namespace zefra {
namespace {

using testing::sameBits;
using testing::sameComplexBits;

struct LineResult {
  std::vector<Complex> s11, s12, s21, s22;
};

LineResult synthesize(const std::vector<double>& f, double zA, double zB,
                      const std::vector<double>& coeffs, double tau, double len) {
  auto freq = testing::doubleRow(f);
  auto c = testing::doubleRow(coeffs);
  auto s11 = testing::emptyRecord();
  auto s12 = testing::emptyRecord();
  auto s21 = testing::emptyRecord();
  auto s22 = testing::emptyRecord();
  synthesizeLineSParams(freq.get(), zA, zB, c.get(), tau, len, s11.get(), s12.get(), s21.get(),
                        s22.get());
  return {testing::complexValues(s11.get()), testing::complexValues(s12.get()),
          testing::complexValues(s21.get()), testing::complexValues(s22.get())};
}

TEST(LineSynthesis, ConstantsAreTheNearestDoubles) {
  EXPECT_EQ(testing::bitsOf(kTwoPi), 0x401921FB54442D18ULL);
  EXPECT_EQ(testing::bitsOf(kTwoOverPi), 0x3FE45F306DC9C883ULL);
}

TEST(LineSynthesis, ZeroFrequencyUsesConstantLossOnlyAndRealExponential) {
  const LineResult r = synthesize({0.0}, 50.0, 25.0, {0.3, 0.7, 0.2}, 0.1, 2.0);
  // G = 0 (50 = 2 * 25): S21 = P = exp(-len * p0) exactly, real.
  EXPECT_TRUE(sameComplexBits({std::exp(-(2.0 * 0.3)), 0.0}, r.s21[0]));
  const LineResult mismatched = synthesize({0.0}, 75.0, 25.0, {0.3, 0.7, 0.2}, 0.1, 2.0);
  EXPECT_TRUE(sameBits(0.0, mismatched.s21[0].im));
}

TEST(LineSynthesis, NegativeZeroFrequencyCountsAsZero) {
  const LineResult r = synthesize({-0.0}, 50.0, 25.0, {0.3, 0.7, 0.2}, 0.1, 2.0);
  EXPECT_TRUE(sameComplexBits({std::exp(-(2.0 * 0.3)), 0.0}, r.s21[0]));
}

TEST(LineSynthesis, MatchedLineHasNoReflectionAndTransmitsP) {
  const std::vector<double> f = {1e6, 1e9, 2.5e9, 2e10};
  const LineResult r = synthesize(f, 100.0, 50.0, {0.01, 0.05, 0.02}, 0.15, 3.0);
  for (size_t k = 0; k < f.size(); ++k) {
    EXPECT_EQ(r.s11[k].re, 0.0);
    EXPECT_EQ(r.s11[k].im, 0.0);
    EXPECT_TRUE(sameComplexBits(r.s11[k], r.s22[k]));
    // S21 = (1 - 0) P / (1 - 0 * P^2) = P
    const double fG = f[k] / 1e9;
    const double gr = ((1.0 - std::log(fG) * 0.0) * 0.02 + 0.15 * 0.0) * fG +
                      (0.05 * std::sqrt(fG) + 0.01);
    const double gi = ((0.0 - std::log(fG) * kTwoOverPi) * 0.02 + kTwoPi * 0.15) * fG +
                      0.05 * std::sqrt(fG);
    const double h = std::exp(-(3.0 * gr) * 0.5);
    const Complex p = {(std::cos(-(3.0 * gi)) * h) * h, (std::sin(-(3.0 * gi)) * h) * h};
    EXPECT_TRUE(sameComplexBits(p, r.s21[k])) << "point " << k;
  }
}

TEST(LineSynthesis, LosslessZeroDelayLineIsTransparentDespiteMismatch) {
  const LineResult r = synthesize({0.0, 1e3, 1e9, 7e10}, 75.0, 20.0, {0.0, 0.0, 0.0}, 0.0, 5.0);
  for (size_t k = 0; k < 4; ++k) {
    EXPECT_EQ(r.s11[k].re, 0.0);
    EXPECT_EQ(r.s11[k].im, 0.0);
    EXPECT_TRUE(sameComplexBits({1.0, 0.0}, r.s21[k])) << "point " << k;
  }
}

TEST(LineSynthesis, LosslessDelayedLineHasUnitGainAndLinearPhase) {
  const double tau = 0.2;
  const double len = 1.5;
  const std::vector<double> f = {1e8, 3e8, 1e9};
  const LineResult r = synthesize(f, 100.0, 50.0, {0.0, 0.0, 0.0}, tau, len);
  for (size_t k = 0; k < f.size(); ++k) {
    const Complex p = r.s21[k];
    EXPECT_NEAR(std::hypot(p.re, p.im), 1.0, 4e-16);
    EXPECT_NEAR(std::atan2(p.im, p.re), -kTwoPi * tau * len * (f[k] / 1e9), 1e-14);
  }
}

TEST(LineSynthesis, FrequencyIsScaledToGigahertz) {
  // The same line at 1 Hz and at 1 GHz: 1 GHz means fG = 1.
  const LineResult hz = synthesize({1.0}, 100.0, 50.0, {0.0, 0.0, 0.0}, 0.25, 1.0);
  const LineResult ghz = synthesize({1e9}, 100.0, 50.0, {0.0, 0.0, 0.0}, 0.25, 1.0);
  EXPECT_NEAR(std::atan2(ghz.s21[0].im, ghz.s21[0].re), -kTwoPi * 0.25, 1e-15);
  EXPECT_NEAR(std::atan2(hz.s21[0].im, hz.s21[0].re), -kTwoPi * 0.25 * 1e-9, 1e-22);
}

TEST(LineSynthesis, NegativeFrequencyGivesNaNAtItsPointOnly) {
  const LineResult r = synthesize({1e9, -1e9, 2e9}, 60.0, 25.0, {0.1, 0.1, 0.1}, 0.1, 1.0);
  EXPECT_TRUE(std::isnan(r.s21[1].re));
  EXPECT_TRUE(std::isnan(r.s11[1].im));
  EXPECT_TRUE(std::isfinite(r.s21[0].re));
  EXPECT_TRUE(std::isfinite(r.s21[2].im));
}

TEST(LineSynthesis, ReciprocalAndSymmetric) {
  const LineResult r = synthesize({1e7, 1e9, 4e10}, 42.0, 25.0, {0.1, 0.2, 0.3}, 0.1, 2.0);
  for (size_t k = 0; k < 3; ++k) {
    EXPECT_TRUE(sameComplexBits(r.s21[k], r.s12[k]));
    EXPECT_TRUE(sameComplexBits(r.s11[k], r.s22[k]));
  }
}

TEST(LineSynthesis, MissingCoefficientsReadAsZero) {
  const std::vector<double> f = {0.0, 1e9, 3e9};
  const LineResult one = synthesize(f, 70.0, 25.0, {0.4}, 0.1, 1.0);
  const LineResult three = synthesize(f, 70.0, 25.0, {0.4, 0.0, 0.0}, 0.1, 1.0);
  const LineResult none = synthesize(f, 70.0, 25.0, {}, 0.1, 1.0);
  const LineResult zeros = synthesize(f, 70.0, 25.0, {0.0, 0.0, 0.0}, 0.1, 1.0);
  for (size_t k = 0; k < f.size(); ++k) {
    EXPECT_TRUE(sameComplexBits(three.s11[k], one.s11[k]));
    EXPECT_TRUE(sameComplexBits(three.s21[k], one.s21[k]));
    EXPECT_TRUE(sameComplexBits(zeros.s11[k], none.s11[k]));
    EXPECT_TRUE(sameComplexBits(zeros.s21[k], none.s21[k]));
  }
}

TEST(LineSynthesis, OppositeImpedancesGiveNonFiniteValuesWithoutFailing) {
  const LineResult r = synthesize({1e9, 2e9}, -50.0, 25.0, {0.1, 0.1, 0.1}, 0.1, 1.0);
  EXPECT_FALSE(std::isfinite(r.s11[0].re) && std::isfinite(r.s11[0].im));
}

}  // namespace
}  // namespace zefra
