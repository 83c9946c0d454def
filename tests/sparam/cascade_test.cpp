#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "sparam/two_port.h"
#include "support/bits.h"
#include "support/records.h"

namespace zefra {
namespace {

using testing::sameComplexBits;

struct Network {
  std::vector<Complex> s11, s12, s21, s22;
};

Network cascade(const Network& a, const Network& b) {
  auto a11 = testing::complexRow(a.s11);
  auto a12 = testing::complexRow(a.s12);
  auto a21 = testing::complexRow(a.s21);
  auto a22 = testing::complexRow(a.s22);
  auto b11 = testing::complexRow(b.s11);
  auto b12 = testing::complexRow(b.s12);
  auto b21 = testing::complexRow(b.s21);
  auto b22 = testing::complexRow(b.s22);
  auto c11 = testing::emptyRecord();
  auto c12 = testing::emptyRecord();
  auto c21 = testing::emptyRecord();
  auto c22 = testing::emptyRecord();
  cascadeTwoPorts(a11.get(), a12.get(), a21.get(), a22.get(), b11.get(), b12.get(), b21.get(),
                  b22.get(), c11.get(), c12.get(), c21.get(), c22.get());
  return {testing::complexValues(c11.get()), testing::complexValues(c12.get()),
          testing::complexValues(c21.get()), testing::complexValues(c22.get())};
}

Network randomNetwork(std::mt19937_64& rng, size_t n) {
  std::uniform_real_distribution<double> part(-0.6, 0.6);
  Network net;
  for (auto* s : {&net.s11, &net.s12, &net.s21, &net.s22}) {
    for (size_t k = 0; k < n; ++k) s->push_back({part(rng), part(rng)});
  }
  return net;
}

Network matchedThru(size_t n) {
  return {std::vector<Complex>(n, {0.0, 0.0}), std::vector<Complex>(n, {1.0, 0.0}),
          std::vector<Complex>(n, {1.0, 0.0}), std::vector<Complex>(n, {0.0, 0.0})};
}

void expectSameNetwork(const Network& expected, const Network& actual) {
  for (size_t k = 0; k < expected.s11.size(); ++k) {
    EXPECT_TRUE(sameComplexBits(expected.s11[k], actual.s11[k])) << "S11 point " << k;
    EXPECT_TRUE(sameComplexBits(expected.s12[k], actual.s12[k])) << "S12 point " << k;
    EXPECT_TRUE(sameComplexBits(expected.s21[k], actual.s21[k])) << "S21 point " << k;
    EXPECT_TRUE(sameComplexBits(expected.s22[k], actual.s22[k])) << "S22 point " << k;
  }
}

TEST(CascadeTwoPorts, MatchedThruAfterReturnsFirstNetwork) {
  std::mt19937_64 rng(11);
  const Network a = randomNetwork(rng, 64);
  expectSameNetwork(a, cascade(a, matchedThru(64)));
}

TEST(CascadeTwoPorts, MatchedThruBeforeReturnsSecondNetwork) {
  std::mt19937_64 rng(12);
  const Network b = randomNetwork(rng, 64);
  expectSameNetwork(b, cascade(matchedThru(64), b));
}

TEST(CascadeTwoPorts, ZeroInputReflectionOfSecondLeavesFirstReflection) {
  std::mt19937_64 rng(13);
  const Network a = randomNetwork(rng, 8);
  Network b = randomNetwork(rng, 8);
  b.s11[3] = {0.0, 0.0};
  const Network c = cascade(a, b);
  EXPECT_TRUE(sameComplexBits(a.s11[3], c.s11[3]));
}

TEST(CascadeTwoPorts, RealHalfNetworks) {
  const std::vector<Complex> half(1, {0.5, 0.0});
  const Network a = {half, half, half, half};
  const Network c = cascade(a, a);
  EXPECT_TRUE(sameComplexBits({0.5 + 0.125 / 0.75, 0.0}, c.s11[0]));
  EXPECT_TRUE(sameComplexBits({0.25 / 0.75, 0.0}, c.s12[0]));
  EXPECT_TRUE(sameComplexBits({0.25 / 0.75, 0.0}, c.s21[0]));
  EXPECT_TRUE(sameComplexBits({0.5 + 0.125 / 0.75, 0.0}, c.s22[0]));
}

TEST(CascadeTwoPorts, ZeroLoopDenominatorSpoilsOnlyItsPoint) {
  std::mt19937_64 rng(14);
  Network a = randomNetwork(rng, 5);
  Network b = randomNetwork(rng, 5);
  const Network reference = cascade(a, b);
  a.s22[2] = {1.0, 0.0};
  b.s11[2] = {1.0, 0.0};  // A22 * B11 = 1, D = 0
  const Network c = cascade(a, b);
  for (size_t k = 0; k < 5; ++k) {
    const bool spoilt = k == 2;
    for (const auto* s : {&c.s11, &c.s12, &c.s21, &c.s22}) {
      const Complex v = (*s)[k];
      EXPECT_EQ(spoilt, !(std::isfinite(v.re) && std::isfinite(v.im))) << "point " << k;
    }
    if (!spoilt) {
      EXPECT_TRUE(sameComplexBits(reference.s11[k], c.s11[k]));
      EXPECT_TRUE(sameComplexBits(reference.s22[k], c.s22[k]));
    }
  }
}

TEST(CascadeTwoPorts, EmptyGridGivesEmptyRows) {
  const Network c = cascade(matchedThru(0), matchedThru(0));
  EXPECT_TRUE(c.s11.empty());
  EXPECT_TRUE(c.s22.empty());
}

}  // namespace
}  // namespace zefra
