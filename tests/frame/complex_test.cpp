// Golden values of the point-wise complex arithmetic: each expected value is
// the closed form of the division rule the case exercises, with its signed
// zeros and non-finite parts.
#include "frame/complex.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/bits.h"

namespace zefra {
namespace {

using testing::sameBits;
using testing::sameComplexBits;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kQuietNaN = std::numeric_limits<double>::quiet_NaN();

Complex divided(Complex a, Complex b) { return complexDivide(a, b); }
Complex twoOverOf(Complex x) { return twoOverComplex(x); }

// --- division by a real divisor ---------------------------------------

TEST(ComplexDivide, RealDivisorDividesEachPart) {
  EXPECT_TRUE(sameComplexBits({1.5, 2.0}, divided({3, 4}, {2, 0})));
}

TEST(ComplexDivide, RealDivisorKeepsZeroRealPartPositive) {
  EXPECT_TRUE(sameComplexBits({0.0, 2.0}, divided({0, 4}, {2, 0})));
  EXPECT_TRUE(sameComplexBits({0.0, 2.0}, divided({-0.0, 4}, {2, 0})));
  EXPECT_TRUE(sameComplexBits({0.0, -2.0}, divided({-0.0, 4}, {-2, 0})));
}

TEST(ComplexDivide, RealDivisorKeepsZeroImaginaryPartPositive) {
  EXPECT_TRUE(sameComplexBits({-1.5, 0.0}, divided({3, -0.0}, {-2, 0})));
  EXPECT_TRUE(sameComplexBits({-1.5, 0.0}, divided({3, 0.0}, {-2, -0.0})));
}

TEST(ComplexDivide, NegativeZeroImaginaryDivisorCountsAsReal) {
  EXPECT_TRUE(sameComplexBits({1.5, 2.0}, divided({3, 4}, {2, -0.0})));
}

TEST(ComplexDivide, ZeroDivisorGivesOrdinaryInfinitiesAndNaN) {
  const Complex r = divided({3, 4}, {0, 0});
  EXPECT_EQ(r.re, kInfinity);
  EXPECT_EQ(r.im, kInfinity);
  EXPECT_TRUE(sameComplexBits({kInfinity, 0.0}, divided({3, 0}, {0, 0})));
  const Complex nan = divided({0, 0}, {0, 0});
  EXPECT_TRUE(std::isnan(nan.re));
  EXPECT_TRUE(sameBits(0.0, nan.im));
}

// --- division by an imaginary divisor ----------------------------------

TEST(ComplexDivide, ImaginaryDivisorRotatesParts) {
  EXPECT_TRUE(sameComplexBits({2.0, -1.5}, divided({3, 4}, {0, 2})));
}

TEST(ComplexDivide, ImaginaryDivisorWithRealDividend) {
  EXPECT_TRUE(sameComplexBits({0.0, -1.5}, divided({3, 0}, {0, 2})));
  EXPECT_TRUE(sameComplexBits({0.0, 1.5}, divided({3, -0.0}, {-0.0, -2})));
}

TEST(ComplexDivide, ImaginaryDivisorWithImaginaryDividend) {
  EXPECT_TRUE(sameComplexBits({2.0, 0.0}, divided({0, 4}, {0, 2})));
  EXPECT_TRUE(sameComplexBits({-2.0, 0.0}, divided({-0.0, 4}, {0, -2})));
}

// --- scaled division ---------------------------------------------------

TEST(ComplexDivide, LargerRealPartScalesByImaginaryOverReal) {
  const Complex a = {1.0, 2.0};
  const Complex b = {4.0, 1.0};
  const double r = b.im / b.re;
  const double d = r * b.im + b.re;
  EXPECT_TRUE(sameComplexBits({(r * a.im + a.re) / d, (a.im - r * a.re) / d}, divided(a, b)));
  // (1 + 2j) / (4 + j) = (6 + 7j) / 17
  EXPECT_NEAR(divided(a, b).re, 6.0 / 17.0, 1e-16);
  EXPECT_NEAR(divided(a, b).im, 7.0 / 17.0, 1e-16);
}

TEST(ComplexDivide, LargerImaginaryPartScalesByRealOverImaginary) {
  const Complex a = {1.0, 2.0};
  const Complex b = {1.0, -4.0};
  const double r = b.re / b.im;
  const double d = r * b.re + b.im;
  EXPECT_TRUE(sameComplexBits({(r * a.re + a.im) / d, (r * a.im - a.re) / d}, divided(a, b)));
}

TEST(ComplexDivide, EqualMagnitudesUseHalfFactors) {
  EXPECT_TRUE(sameComplexBits({0.5, -0.5}, divided({1, 0}, {1, 1})));
  EXPECT_TRUE(sameComplexBits({-0.5, 0.5}, divided({1, 0}, {-1, -1})));
  // j / (1 - j) = (-1 + j) / 2
  EXPECT_TRUE(sameComplexBits({-0.5, 0.5}, divided({0, 1}, {1, -1})));
}

TEST(ComplexDivide, EqualMagnitudesNearOverflowStayFinite) {
  const Complex r = divided({1e300, 1e300}, {1e300, 1e300});
  EXPECT_TRUE(sameComplexBits({1.0, 0.0}, r));
  const Complex small = divided({1, 0}, {1e300, 1e300});
  EXPECT_TRUE(sameComplexBits({0.5 / 1e300, -0.5 / 1e300}, small));
  EXPECT_GT(small.re, 0.0);
}

TEST(ComplexDivide, ScaledDivisionNearOverflowStaysFinite) {
  const Complex r = divided({1e300, 2e300}, {4e300, 1e300});
  EXPECT_TRUE(std::isfinite(r.re));
  EXPECT_TRUE(std::isfinite(r.im));
  EXPECT_NEAR(r.re, 6.0 / 17.0, 1e-15);
}

TEST(ComplexDivide, BranchThresholdBetweenScaledForms) {
  // Just above and just below |br| = |bi|.
  const double up = std::nextafter(1.0, 2.0);
  const double down = std::nextafter(1.0, 0.0);
  const Complex a = {3.0, -2.0};
  {
    const Complex b = {up, 1.0};
    const double r = b.im / b.re;
    const double d = r * b.im + b.re;
    EXPECT_TRUE(sameComplexBits({(r * a.im + a.re) / d, (a.im - r * a.re) / d}, divided(a, b)));
  }
  {
    const Complex b = {down, 1.0};
    const double r = b.re / b.im;
    const double d = r * b.re + b.im;
    EXPECT_TRUE(sameComplexBits({(r * a.re + a.im) / d, (r * a.im - a.re) / d}, divided(a, b)));
  }
  EXPECT_TRUE(sameComplexBits({(3.0 * 0.5 + -2.0 * 0.5) / 1.0, (-2.0 * 0.5 - 3.0 * 0.5) / 1.0},
                              divided(a, {1.0, 1.0})));
}

TEST(ComplexDivide, NaNPartIsNotZero) {
  // A NaN imaginary divisor part is not zero: the scaled branches run and
  // every part becomes NaN.
  const Complex r = divided({1, 1}, {2, kQuietNaN});
  EXPECT_TRUE(std::isnan(r.re));
  EXPECT_TRUE(std::isnan(r.im));
  // A NaN dividend part is not zero either: both parts are divided.
  const Complex s = divided({kQuietNaN, 0.0}, {2, 0});
  EXPECT_TRUE(std::isnan(s.re));
  EXPECT_TRUE(sameBits(0.0, s.im));
}

// --- 2 / x ---------------------------------------------------------------

TEST(TwoOverComplex, ImaginaryInputGivesZeroRealPart) {
  EXPECT_TRUE(sameComplexBits({0.0, -0.5}, twoOverOf({0, 4})));
  EXPECT_TRUE(sameComplexBits({0.0, 0.5}, twoOverOf({-0.0, -4})));
}

TEST(TwoOverComplex, RealInputGivesReciprocalTimesTwo) {
  EXPECT_TRUE(sameComplexBits({0.5, 0.0}, twoOverOf({4, 0})));
  EXPECT_TRUE(sameComplexBits({-0.5, 0.0}, twoOverOf({-4, -0.0})));
}

TEST(TwoOverComplex, EqualMagnitudesUseHalfFactors) {
  EXPECT_TRUE(sameComplexBits({1.0, -1.0}, twoOverOf({1, 1})));
  EXPECT_TRUE(sameComplexBits({-1.0, 1.0}, twoOverOf({-1, -1})));
  EXPECT_TRUE(sameComplexBits({1.0, 1.0}, twoOverOf({1, -1})));
}

TEST(TwoOverComplex, LargerRealPart) {
  const Complex x = {4.0, 1.0};
  const double r = x.im / x.re;
  const double d = r * x.im + x.re;
  EXPECT_TRUE(sameComplexBits({(r * 0.0 + 2.0) / d, (0.0 - 2.0 * r) / d}, twoOverOf(x)));
}

TEST(TwoOverComplex, LargerImaginaryPart) {
  const Complex x = {1.0, -4.0};
  const double r = x.re / x.im;
  const double d = r * x.re + x.im;
  EXPECT_TRUE(sameComplexBits({(r + r) / d, (r * 0.0 - 2.0) / d}, twoOverOf(x)));
}

TEST(TwoOverComplex, ZeroGivesSignedInfinity) {
  EXPECT_TRUE(sameComplexBits({kInfinity, 0.0}, twoOverOf({0.0, 0.0})));
  EXPECT_TRUE(sameComplexBits({-kInfinity, 0.0}, twoOverOf({-0.0, 0.0})));
}

TEST(TwoOverComplex, InfiniteImaginaryPartGivesSignedZeros) {
  // r = 1 / inf = 0, d = inf: ((r + r) / d, (r * 0 - 2) / d) = (+0, -0).
  EXPECT_TRUE(sameComplexBits({0.0, -0.0}, twoOverOf({1.0, kInfinity})));
  EXPECT_TRUE(sameComplexBits(complexDivide({2.0, 0.0}, {1.0, kInfinity}), twoOverOf({1.0, kInfinity})));
}

TEST(TwoOverComplex, NaNPartGivesNaN) {
  const Complex r = twoOverOf({kQuietNaN, 1.0});
  EXPECT_TRUE(std::isnan(r.re));
  EXPECT_TRUE(std::isnan(r.im));
}

TEST(TwoOverComplex, AgreesWithGeneralDivisionOfTwo) {
  for (const Complex x : {Complex{3.0, 0.5}, Complex{-0.25, 7.0}, Complex{2.0, -2.0},
                          Complex{1e-300, 3e-300}, Complex{0.0, 5.0}, Complex{5.0, 0.0}}) {
    EXPECT_TRUE(sameComplexBits(complexDivide({2.0, 0.0}, x), twoOverComplex(x)))
        << x.re << " " << x.im;
  }
}

// --- square ----------------------------------------------------------------

TEST(ComplexSquare, FormsTheCrossProductsSeparately) {
  EXPECT_TRUE(sameComplexBits({-3.0, 4.0}, complexSquare({1, 2})));
  EXPECT_TRUE(sameComplexBits({9.0 - 0.25, -1.5 + -1.5}, complexSquare({-3, 0.5})));
}

TEST(ComplexMultiply, FollowsTheTextbookProduct) {
  EXPECT_TRUE(sameComplexBits({1.0 * 3.0 - 2.0 * -4.0, 1.0 * -4.0 + 2.0 * 3.0},
                              complexMultiply({1, 2}, {3, -4})));
  // 0 * Inf in a cross product makes that part NaN.
  EXPECT_TRUE(std::isnan(complexMultiply({0, 1}, {kInfinity, 0}).re));
}

}  // namespace
}  // namespace zefra
