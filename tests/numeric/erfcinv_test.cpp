#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "numeric/special_functions.h"
#include "support/bits.h"

namespace zefra {
namespace {

using testing::bitsOf;
using testing::sameBits;

constexpr double kQuietNaN = std::numeric_limits<double>::quiet_NaN();

// Distance in units in the last place between two finite doubles.
int64_t ulpDistance(double a, double b) {
  auto ordered = [](double v) {
    const auto bits = static_cast<int64_t>(bitsOf(v));
    return bits < 0 ? std::numeric_limits<int64_t>::min() - bits : bits;
  };
  const int64_t d = ordered(a) - ordered(b);
  return d < 0 ? -d : d;
}

TEST(ErfcinvScalar, OutOfRangeAndLimitsGiveZero) {
  for (double x : {0.0, 2.0, -1.0, 3.0, kQuietNaN, -0.0, 2.0000000000000004}) {
    EXPECT_TRUE(sameBits(0.0, erfcinvScalar(x))) << x;
  }
}

TEST(ErfcinvScalar, MiddleRangeValues) {
  EXPECT_TRUE(sameBits(0.4769362762044699, erfcinvScalar(0.5)));
  EXPECT_TRUE(sameBits(-0.4769362762044699, erfcinvScalar(1.5)));
}

TEST(ErfcinvScalar, OneDoesNotGiveZeroBecauseErfOfZeroReadsAsOne) {
  // y0 = 0; erf(0) is 1.0 under the marker rule, so the first step jumps to
  // -sqrt(pi)/2 and the second lands near -0.2358.
  const double y = erfcinvScalar(1.0);
  EXPECT_NEAR(y, -0.23583375, 1e-8);
  EXPECT_NE(y, 0.0);
}

struct Known {
  double x;
  double y;  // erfcinv(x) correctly rounded (reference tables)
  int64_t maxUlp;
};

TEST(ErfcinvScalar, AgreesWithReferenceValuesAcrossBranches) {
  const Known known[] = {
      {1e-300, 26.209469960516124, 4},
      {7.753250807262575e-267, 24.67717659074839, 4},
      {1.0947644252537633e-47, 10.257964916948024, 4},
      {0.01, 1.8213863677184499, 4},
      {1.9, -1.1630871536766738, 4},
      {1.5, -0.4769362762044699, 0},
  };
  for (const Known& k : known) {
    EXPECT_LE(ulpDistance(k.y, erfcinvScalar(k.x)), k.maxUlp) << k.x;
  }
}

// erfc(y) = x solved to within `ulps` units of y: the residual may be as
// large as |erfc'(y)| times that many units of y, plus rounding of erfc.
::testing::AssertionResult invertsErfc(double x, double y, double ulps) {
  const double slope = 1.1283791670955126 * std::exp(-y * y);
  const double unit = std::nextafter(std::fabs(y), 1e300) - std::fabs(y);
  const double allowed = slope * unit * ulps + 4e-16 * x;
  const double residual = std::fabs(std::erfc(y) - x);
  if (residual <= allowed) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "x " << x << " y " << y << " residual " << residual
                                       << " allowed " << allowed;
}

TEST(ErfcinvScalar, TailStepThresholdsKeepAccuracy) {
  // Just below and at each threshold where extra Halley steps start.
  for (double threshold : {1.0947644252537633e-47, 7.753250807262575e-267}) {
    for (double x : {std::nextafter(threshold, 0.0), threshold}) {
      EXPECT_TRUE(invertsErfc(x, erfcinvScalar(x), 4.0));
    }
  }
}

TEST(ErfcinvScalar, BranchBoundariesInvertErfc) {
  for (double x : {0.3, std::nextafter(0.3, 0.0), 1.7, std::nextafter(1.7, 2.0), 1e-12,
                   2.0 - 0x1p-52, 0.999, 1.001}) {
    EXPECT_TRUE(invertsErfc(x, erfcinvScalar(x), 4.0));
  }
}

TEST(ErfcScalar, MarkerRuleGivesZeroAtZero) {
  EXPECT_TRUE(sameBits(0.0, erfcScalar(0.0)));
  EXPECT_TRUE(sameBits(0.0, erfcScalar(-0.0)));
  EXPECT_TRUE(std::isnan(erfcScalar(kQuietNaN)));
}

TEST(ErfScalar, MarkerRuleGivesOneAtZero) {
  EXPECT_TRUE(sameBits(1.0, erfScalar(0.0)));
  EXPECT_TRUE(sameBits(1.0, erfScalar(-0.0)));
  EXPECT_TRUE(std::isnan(erfScalar(kQuietNaN)));
}

TEST(ErfcScalar, SaturatesBeyondTheTails) {
  EXPECT_TRUE(sameBits(2.0, erfcScalar(-6.5)));
  EXPECT_TRUE(sameBits(0.0, erfcScalar(28.0)));
  EXPECT_TRUE(sameBits(0.0, erfcScalar(std::numeric_limits<double>::infinity())));
  EXPECT_TRUE(sameBits(2.0, erfcScalar(-std::numeric_limits<double>::infinity())));
}

TEST(ErfcScalar, TinyArgumentGivesOneMinusArgument) {
  EXPECT_TRUE(sameBits(1.0 - 1e-18, erfcScalar(1e-18)));
  EXPECT_TRUE(sameBits(1.0 + 1e-18, erfcScalar(-1e-18)));
}

TEST(ErfcScalar, MiddleBranchUsesOneMinusErxForPositiveArguments) {
  // 1 - erx is exact, so the positive side is one rounding of (1 - erx) - P/Q.
  const double v = 1.0;
  EXPECT_LE(ulpDistance(std::erfc(v), erfcScalar(v)), 1);
  EXPECT_LE(ulpDistance(std::erfc(-v), erfcScalar(-v)), 1);
}

TEST(ErfFamily, AgreesWithTheMathLibraryAcrossBreakpoints) {
  // Points on both sides of every branch boundary of the published routine.
  const double points[] = {1e-300, 1e-20, 1e-9, 0.1, 0.2499, 0.25, 0.5, 0.84374, 0.84375,
                           1.0, 1.2499, 1.25, 2.0, 2.8571414, 2.8571415, 2.8571434,
                           2.8571435, 4.0, 5.9, 6.0, 10.0, 27.0};
  for (double p : points) {
    for (double v : {p, -p}) {
      EXPECT_LE(ulpDistance(std::erfc(v), erfcScalar(v)), 2) << v;
      EXPECT_LE(ulpDistance(std::erf(v), erfScalar(v)), 2) << v;
    }
  }
}

TEST(PowGuarded, SpecialCases) {
  EXPECT_TRUE(sameBits(8.0, powGuarded(2.0, 3.0)));
  EXPECT_TRUE(sameBits(4.0, powGuarded(2.0, 2.0)));
  EXPECT_TRUE(sameBits(0.0, powGuarded(-8.0, 1.0 / 3.0)));
  EXPECT_TRUE(sameBits(0.0, powGuarded(5.0, 0.0)));
  EXPECT_TRUE(sameBits(0.0, powGuarded(1.0, 0.0)));
  EXPECT_TRUE(sameBits(0.0, powGuarded(0.5, -0.0)));
  EXPECT_TRUE(sameBits(0.0, powGuarded(kQuietNaN, 2.0)));
  EXPECT_TRUE(sameBits(0.0, powGuarded(2.0, kQuietNaN)));
  EXPECT_TRUE(sameBits(3.0, powGuarded(3.0, 1.0)));
  EXPECT_TRUE(sameBits(1.0 / 3.0, powGuarded(3.0, -1.0)));
  EXPECT_TRUE(sameBits(std::sqrt(7.0), powGuarded(7.0, 0.5)));
  EXPECT_TRUE(sameBits(0.0, powGuarded(-4.0, 0.5)));
  EXPECT_TRUE(sameBits(-8.0, powGuarded(-2.0, 3.0)));
  EXPECT_TRUE(sameBits(std::pow(10.0, 0.175), powGuarded(10.0, 0.175)));
}

}  // namespace
}  // namespace zefra
