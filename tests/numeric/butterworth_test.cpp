#include "numeric/butterworth.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/bits.h"

namespace zefra {
namespace {

std::vector<Complex> byDivision(int32_t order, const std::vector<double>& w, double wc) {
  std::vector<Complex> h(w.size(), Complex{7.0, 7.0});
  butterworthByDivision(order, w.data(), wc, static_cast<int32_t>(w.size()), h.data());
  return h;
}

std::vector<Complex> byConjugate(int32_t order, const std::vector<double>& w, double wc) {
  std::vector<Complex> h(w.size(), Complex{7.0, 7.0});
  butterworthByConjugate(order, w.data(), static_cast<int32_t>(w.size()), wc, h.data());
  return h;
}

TEST(Butterworth, FirstOrderAtZeroAndCutoff) {
  // The single pole is wc (cos pi, sin pi) = (-1, 1.2e-16): H(0) is 1 up to
  // that rounding of sin(pi), H(j) = 1 / (1 + j).
  for (const auto& h : {byDivision(1, {0.0, 1.0}, 1.0), byConjugate(1, {0.0, 1.0}, 1.0)}) {
    EXPECT_NEAR(h[0].re, 1.0, 1e-15);
    EXPECT_NEAR(h[0].im, 0.0, 2e-16);
    EXPECT_NEAR(h[1].re, 0.5, 1e-15);
    EXPECT_NEAR(h[1].im, -0.5, 1e-15);
  }
}

TEST(Butterworth, SecondOrderIsThreeDecibelsDownAtCutoff) {
  for (const auto& h : {byDivision(2, {1.0}, 1.0), byConjugate(2, {1.0}, 1.0)}) {
    EXPECT_NEAR(std::hypot(h[0].re, h[0].im), 1.0 / std::sqrt(2.0), 1e-15);
  }
}

TEST(Butterworth, BothFormsAgreeToRounding) {
  std::vector<double> w;
  for (int i = 0; i < 200; ++i) w.push_back(0.05 * i * 1e9);
  for (int32_t order : {1, 2, 3, 5, 8}) {
    const auto a = byDivision(order, w, 2e9);
    const auto b = byConjugate(order, w, 2e9);
    for (size_t i = 0; i < w.size(); ++i) {
      const double scale = std::hypot(a[i].re, a[i].im) + 1e-300;
      EXPECT_NEAR(a[i].re, b[i].re, 1e-14 * scale) << order << " " << i;
      EXPECT_NEAR(a[i].im, b[i].im, 1e-14 * scale) << order << " " << i;
    }
  }
}

TEST(Butterworth, MagnitudeFollowsButterworthLaw) {
  // |H(jw)|^2 = 1 / (1 + (w / wc)^(2N)).
  for (int32_t order : {1, 2, 4, 7}) {
    const auto h = byDivision(order, {0.3, 1.0, 2.5}, 1.0);
    for (size_t i = 0; i < 3; ++i) {
      const double w = std::vector<double>{0.3, 1.0, 2.5}[i];
      EXPECT_NEAR(h[i].re * h[i].re + h[i].im * h[i].im, 1.0 / (1.0 + std::pow(w, 2.0 * order)),
                  1e-14);
    }
  }
}

TEST(Butterworth, OrderZeroDifferentBehaviours) {
  const auto a = byDivision(0, {1.0, 2.0}, 1.0);
  EXPECT_EQ(a[0].re, 7.0);  // untouched
  EXPECT_EQ(a[1].im, 7.0);
  const auto b = byConjugate(0, {1.0, 2.0}, 1.0);
  EXPECT_TRUE(testing::sameComplexBits(Complex{1.0, 0.0}, b[0]));
  EXPECT_TRUE(testing::sameComplexBits(Complex{1.0, 0.0}, b[1]));
}

TEST(Butterworth, NoFrequenciesWriteNothing) {
  Complex h = {7.0, 7.0};
  butterworthByDivision(3, nullptr, 1.0, 0, &h);
  butterworthByConjugate(3, nullptr, 0, 1.0, &h);
  EXPECT_EQ(h.re, 7.0);
}

}  // namespace
}  // namespace zefra
