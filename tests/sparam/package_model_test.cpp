#include "sparam/package_model.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "frame/constants.h"
#include "support/bits.h"
#include "support/records.h"

namespace zefra {
namespace {

using testing::sameComplexBits;

struct PackageParameters {
  double lineLength = 1.0;
  double shuntCapIn = 0.2e-12;
  double shuntCapOut = 0.3e-12;
  double lineImpedance = 90.0;
  double phaseDelay = 0.1;
  std::vector<double> loss = {0.01, 0.02, 0.03};
  double refImpedance = 50.0;
  double seriesInd = 0.5e-9;
  double shuntCapMid = 0.1e-12;
};

struct PackageResult {
  std::vector<Complex> s11, s12, s21, s22;
};

PackageResult build(const std::vector<double>& f, const PackageParameters& p) {
  auto freq = testing::doubleRow(f);
  auto loss = testing::doubleRow(p.loss);
  auto s11 = testing::emptyRecord();
  auto s12 = testing::emptyRecord();
  auto s21 = testing::emptyRecord();
  auto s22 = testing::emptyRecord();
  buildPackageModel(freq.get(), p.lineLength, p.shuntCapIn, p.shuntCapOut, p.lineImpedance,
                    p.phaseDelay, loss.get(), p.refImpedance, p.seriesInd, p.shuntCapMid,
                    s11.get(), s12.get(), s21.get(), s22.get());
  return {testing::complexValues(s11.get()), testing::complexValues(s12.get()),
          testing::complexValues(s21.get()), testing::complexValues(s22.get())};
}

void expectSameResult(const PackageResult& expected, const PackageResult& actual) {
  ASSERT_EQ(expected.s11.size(), actual.s11.size());
  for (size_t k = 0; k < expected.s11.size(); ++k) {
    EXPECT_TRUE(sameComplexBits(expected.s11[k], actual.s11[k])) << "S11 point " << k;
    EXPECT_TRUE(sameComplexBits(expected.s12[k], actual.s12[k])) << "S12 point " << k;
    EXPECT_TRUE(sameComplexBits(expected.s21[k], actual.s21[k])) << "S21 point " << k;
    EXPECT_TRUE(sameComplexBits(expected.s22[k], actual.s22[k])) << "S22 point " << k;
  }
}

const std::vector<double> kGrid = {1e6, 1e8, 1e9, 5e9, 2e10, 5e10};

TEST(PackageModel, FrequenciesBelowFloorAreEvaluatedAtTheFloor) {
  const PackageParameters p;
  const double floor = 2.220446049250313e-16;
  expectSameResult(build({floor, floor, floor, floor}, p),
                   build({0.0, -0.0, -5e9, floor / 2}, p));
}

TEST(PackageModel, NearZeroFrequencyIsTransparentBesidesConstantLoss) {
  PackageParameters p;
  p.lineImpedance = 2.0 * p.refImpedance;
  p.loss = {0.2, 0.0, 0.0};
  p.lineLength = 1.5;
  const PackageResult r = build({0.0}, p);
  EXPECT_NEAR(r.s21[0].re, std::exp(-1.5 * 0.2), 1e-15);
  EXPECT_NEAR(r.s21[0].im, 0.0, 1e-15);
  EXPECT_NEAR(std::hypot(r.s11[0].re, r.s11[0].im), 0.0, 1e-15);
}

TEST(PackageModel, ZeroOrNegativeOptionalSectionsAreOmitted) {
  PackageParameters zero;
  zero.seriesInd = 0.0;
  zero.shuntCapMid = 0.0;
  PackageParameters negative;
  negative.seriesInd = -1e-9;
  negative.shuntCapMid = -1e-12;
  PackageParameters nan;
  nan.seriesInd = std::nan("");
  nan.shuntCapMid = std::nan("");
  expectSameResult(build(kGrid, zero), build(kGrid, negative));
  expectSameResult(build(kGrid, zero), build(kGrid, nan));
}

TEST(PackageModel, OptionalSectionsChangeTheResultWhenPositive) {
  PackageParameters without;
  without.seriesInd = 0.0;
  const PackageResult a = build({1e10}, without);
  const PackageResult b = build({1e10}, PackageParameters{});
  EXPECT_NE(a.s21[0].re, b.s21[0].re);
}

TEST(PackageModel, NegativeEndCapacitancesAreUsedAsGiven) {
  PackageParameters negative;
  negative.shuntCapIn = -0.2e-12;
  PackageParameters zero;
  zero.shuntCapIn = 0.0;
  const PackageResult a = build({1e10}, negative);
  const PackageResult b = build({1e10}, zero);
  EXPECT_NE(a.s11[0].im, b.s11[0].im);
}

TEST(PackageModel, MatchedLosslessPathIsPerfectThru) {
  PackageParameters p;
  p.shuntCapIn = 0.0;
  p.shuntCapOut = 0.0;
  p.seriesInd = 0.0;
  p.shuntCapMid = 0.0;
  p.loss = {0.0, 0.0, 0.0};
  p.phaseDelay = 0.0;
  p.lineImpedance = 2.0 * p.refImpedance;
  const PackageResult r = build({0.0, 1e3, 1e9, 3e10}, p);
  for (size_t k = 0; k < 4; ++k) {
    EXPECT_EQ(r.s11[k].re, 0.0);
    EXPECT_EQ(r.s11[k].im, 0.0);
    EXPECT_EQ(r.s22[k].re, 0.0);
    EXPECT_EQ(r.s22[k].im, 0.0);
    EXPECT_EQ(r.s21[k].re, 1.0);
    EXPECT_EQ(r.s21[k].im, 0.0);
    EXPECT_EQ(r.s12[k].re, 1.0);
  }
}

TEST(PackageModel, MatchedLineTransmitsPropagationFactor) {
  PackageParameters p;
  p.shuntCapIn = 0.0;
  p.shuntCapOut = 0.0;
  p.seriesInd = 0.0;
  p.shuntCapMid = 0.0;
  p.lineImpedance = 2.0 * p.refImpedance;
  for (double f : kGrid) {
    const PackageResult r = build({f}, p);
    const double g = f / 1e9;
    const double alpha = p.loss[1] * std::sqrt(g) + p.loss[0] + p.loss[2] * g;
    const double beta = (p.loss[2] * (std::log(g) * -kTwoOverPi) + kTwoPi * p.phaseDelay) * g +
                        p.loss[1] * std::sqrt(g);
    const double e = std::exp(-(p.lineLength * alpha));
    const double phase = -(p.lineLength * beta);
    EXPECT_NEAR(r.s21[0].re, e * std::cos(phase), 1e-15);
    EXPECT_NEAR(r.s21[0].im, e * std::sin(phase), 1e-15);
    EXPECT_EQ(r.s11[0].re, 0.0);
    EXPECT_EQ(r.s11[0].im, 0.0);
  }
}

TEST(PackageModel, SingleLossCoefficientEqualsThreeWithZeros) {
  PackageParameters one;
  one.loss = {0.5};
  PackageParameters three;
  three.loss = {0.5, 0.0, 0.0};
  expectSameResult(build(kGrid, three), build(kGrid, one));
}

TEST(PackageModel, NoLossCoefficientsReadAsZeros) {
  PackageParameters none;
  none.loss = {};
  PackageParameters zeros;
  zeros.loss = {0.0, 0.0, 0.0};
  expectSameResult(build(kGrid, zeros), build(kGrid, none));
}

TEST(PackageModel, ReciprocalAndSymmetric) {
  const PackageResult r = build(kGrid, PackageParameters{});
  for (size_t k = 0; k < kGrid.size(); ++k) {
    EXPECT_TRUE(sameComplexBits(r.s21[k], r.s12[k])) << "point " << k;
  }
}

TEST(PackageModel, NaNFrequencyAffectsOnlyItsPoint) {
  const PackageParameters p;
  const PackageResult clean = build({1e9, 2e9, 3e9}, p);
  const PackageResult spoilt = build({1e9, std::nan(""), 3e9}, p);
  EXPECT_TRUE(std::isnan(spoilt.s21[1].re));
  EXPECT_TRUE(sameComplexBits(clean.s21[0], spoilt.s21[0]));
  EXPECT_TRUE(sameComplexBits(clean.s11[2], spoilt.s11[2]));
}

TEST(PackageModel, EmptyGridGivesEmptyRows) {
  EXPECT_TRUE(build({}, PackageParameters{}).s11.empty());
}

}  // namespace
}  // namespace zefra
