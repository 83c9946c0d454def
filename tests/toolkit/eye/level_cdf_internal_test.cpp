// The level-conditioned F and U of the engine, each on its own, against
// every symbol pattern of short random pulses, and the mass of the ISI
// density.
//
// Each of the K cursor values moves by less than one lattice step under
// linear splitting, so (F increasing, U decreasing in v)
//   F(v - K binV) <= F_engine(v) <= F(v + K binV),
//   U(v + K binV) <= U_engine(v) <= U(v - K binV),
// with F and U exact by enumeration.  Tolerances as in brute_force_test.cpp:
// kSlackSteps (sigma = 0) for the rounding of a h / binV, kRelative for
// summation and erfc rounding, kAbsolute for the noise cut at 11.5 sigma.
// kMass = 1e-12: each factor sums to 1 up to a rounding per tap, and
// 200 factors of 8 taps stay far below that.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "eye/lattice_density.h"
#include "eye/level_cdf.h"
#include "eye_test_support.h"

namespace {

using namespace zefra_eye_test;
namespace eye = zefra::tk::eye;

constexpr double kSlackSteps = 1e-6;
constexpr double kRelative = 1e-11;
constexpr double kAbsolute = 1e-30;
constexpr double kMass = 1e-12;

void expectTailsWithinBracket(int32_t levels, int k, double sigma, uint32_t seed) {
  std::mt19937_64 rng(seed);
  const ShortPulse s = randomShortPulse(rng, k);
  const double binV = std::uniform_real_distribution<double>(0.004, 0.02)(rng);
  std::vector<double> ordered = s.others;
  std::sort(ordered.begin(), ordered.end(),
            [](double x, double y) { return std::fabs(x) < std::fabs(y); });
  const std::vector<double> a = eye::pamLevels(levels);
  const eye::LatticeDensity density = eye::densityOfCursors(ordered, a, binV);
  const eye::DensitySums sums(density);
  std::vector<double> isi = enumerateIsi(s.others, levels);
  std::sort(isi.begin(), isi.end());
  const double h0 = s.pulse[static_cast<std::size_t>(s.centre)];
  const int64_t mv = 400;
  const double reach = (k + (sigma == 0.0 ? kSlackSteps : 0.0)) * binV;
  std::vector<double> lower(2 * mv + 1);
  std::vector<double> upper(2 * mv + 1);
  const int64_t stride = sigma == 0.0 ? 1 : 7;
  for (const double level : a) {
    const double shift = level * h0;
    eye::levelTails(density, sums, shift, sigma, binV, mv, lower.data(), upper.data());
    for (int64_t m = -mv; m <= mv; m += stride) {
      const double v = static_cast<double>(m) * binV;
      const ExactTails below = exactTails(isi, shift, sigma, v - reach);
      const ExactTails above = exactTails(isi, shift, sigma, v + reach);
      const auto q = static_cast<std::size_t>(m + mv);
      EXPECT_GE(lower[q], below.lower * (1.0 - kRelative) - kAbsolute) << "a " << level << " v " << v;
      EXPECT_LE(lower[q], above.lower * (1.0 + kRelative) + kAbsolute) << "a " << level << " v " << v;
      EXPECT_GE(upper[q], above.upper * (1.0 - kRelative) - kAbsolute) << "a " << level << " v " << v;
      EXPECT_LE(upper[q], below.upper * (1.0 + kRelative) + kAbsolute) << "a " << level << " v " << v;
    }
  }
}

TEST(EyeLevelTails, NrzLowerAndUpperWithoutNoiseLieWithinTheBracket) {
  for (uint32_t seed = 101; seed <= 105; ++seed) {
    expectTailsWithinBracket(2, 10, 0.0, seed);
  }
}

TEST(EyeLevelTails, Pam4LowerAndUpperWithoutNoiseLieWithinTheBracket) {
  for (uint32_t seed = 111; seed <= 115; ++seed) {
    expectTailsWithinBracket(4, 6, 0.0, seed);
  }
}

TEST(EyeLevelTails, NrzLowerAndUpperWithNoiseLieWithinTheBracket) {
  for (uint32_t seed = 121; seed <= 122; ++seed) {
    expectTailsWithinBracket(2, 10, 0.025, seed);
  }
}

TEST(EyeLevelTails, Pam4LowerAndUpperWithNoiseLieWithinTheBracket) {
  for (uint32_t seed = 131; seed <= 132; ++seed) {
    expectTailsWithinBracket(4, 6, 0.02, seed);
  }
}

// Far in the upper tail F is tiny and U is 1 - F to the last bit; computed
// apart, U still holds its own tail (and F its own) with full precision:
// one cursor h = 0.5 and sigma = 0.05 make U the closed form
// (Q((v - a h0 - h)/sigma) + Q((v - a h0 + h)/sigma)) / 2 down to 1e-300.
TEST(EyeLevelTails, BothTailsKeepTheirRelativePrecision) {
  const double binV = 0.01;
  const double sigma = 0.05;
  const std::vector<double> a = eye::pamLevels(2);
  const eye::LatticeDensity density = eye::densityOfCursors({0.5}, a, binV);
  const eye::DensitySums sums(density);
  const int64_t mv = 120;
  std::vector<double> lower(2 * mv + 1);
  std::vector<double> upper(2 * mv + 1);
  eye::levelTails(density, sums, 0.0, sigma, binV, mv, lower.data(), upper.data());
  int deep = 0;
  for (int64_t m = -mv; m <= mv; ++m) {
    const double v = static_cast<double>(m) * binV;
    const auto q = static_cast<std::size_t>(m + mv);
    const double zs[2] = {(v - 0.5) / sigma, (v + 0.5) / sigma};
    double u = 0.0;
    double f = 0.0;
    for (const double z : zs) {
      u += z > 11.5 ? 0.0 : (z < -11.5 ? 1.0 : gaussQ(z));
      f += -z > 11.5 ? 0.0 : (-z < -11.5 ? 1.0 : gaussQ(-z));
    }
    u *= 0.5;
    f *= 0.5;
    if (u > 0.0) {
      EXPECT_NEAR(upper[q] / u, 1.0, 1e-12) << v;
      deep += u < 1e-20 ? 1 : 0;
    } else {
      EXPECT_EQ(upper[q], 0.0) << v;
    }
    if (f > 0.0) {
      EXPECT_NEAR(lower[q] / f, 1.0, 1e-12) << v;
    } else {
      EXPECT_EQ(lower[q], 0.0) << v;
    }
  }
  EXPECT_GT(deep, 5);
}

// Sixty equal NRZ cursors h = 2^-6 on a lattice of 2^-8 (every value on a
// lattice point, no splitting): the ISI is h (2B - 60) with B binomial, and
// the outermost bins hold 2^-60 = 8.7e-19.  F and U of the level a h_0 = 1
// must be the binomial sums to the last few bits at every voltage, also
// where one of them is 1 - 1e-18 and the other 1e-18 (neither may be formed
// as 1 minus the other).  kBinomial = 1e-13: a few hundred non-negative
// terms, each a product of 60 exact halvings and exact additions.
TEST(EyeLevelTails, BinomialTailsKeepTheirRelativePrecision) {
  const int k = 60;
  const double h = 1.0 / 64.0;
  const double binV = 1.0 / 256.0;
  const std::vector<double> cursors(static_cast<std::size_t>(k), h);
  const eye::LatticeDensity density = eye::densityOfCursors(cursors, eye::pamLevels(2), binV);
  const eye::DensitySums sums(density);
  std::vector<long double> weight(static_cast<std::size_t>(k) + 1);
  long double c = 1.0L;
  for (int b = 0; b <= k; ++b) {
    weight[static_cast<std::size_t>(b)] = c / std::pow(2.0L, k);
    c = c * (k - b) / (b + 1);
  }
  const int64_t mv = 600;
  std::vector<double> lower(2 * mv + 1);
  std::vector<double> upper(2 * mv + 1);
  for (const double sigma : {0.0, 0.01}) {
    eye::levelTails(density, sums, 1.0, sigma, binV, mv, lower.data(), upper.data());
    int deep = 0;
    for (int64_t m = -mv; m <= mv; ++m) {
      const double v = static_cast<double>(m) * binV;
      long double f = 0.0L;
      long double u = 0.0L;
      for (int b = 0; b <= k; ++b) {
        const double y = 1.0 + h * (2 * b - k);
        const long double w = weight[static_cast<std::size_t>(b)];
        if (sigma == 0.0) {
          (y < v ? f : u) += w;
        } else {
          const double z = (v - y) / sigma;
          const double below = z > 11.5 ? 1.0 : (z < -11.5 ? 0.0 : gaussQ(-z));
          const double above = z > 11.5 ? 0.0 : (z < -11.5 ? 1.0 : gaussQ(z));
          f += w * static_cast<long double>(below);
          u += w * static_cast<long double>(above);
        }
      }
      const auto q = static_cast<std::size_t>(m + mv);
      for (const auto& [got, exact] : {std::pair{lower[q], f}, std::pair{upper[q], u}}) {
        if (exact == 0.0L) {
          EXPECT_EQ(got, 0.0) << "sigma " << sigma << " v " << v;
        } else {
          EXPECT_NEAR(got / static_cast<double>(exact), 1.0, 1e-13) << "sigma " << sigma << " v " << v;
          deep += exact < 1e-15L ? 1 : 0;
        }
      }
    }
    EXPECT_GT(deep, 10) << "sigma " << sigma;
  }
}

TEST(EyeDensity, MassOfTwoHundredPam4CursorsIsOne) {
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> value(-0.05, 0.05);
  std::vector<double> cursors(200);
  for (double& h : cursors) {
    h = value(rng);
  }
  std::sort(cursors.begin(), cursors.end(),
            [](double x, double y) { return std::fabs(x) < std::fabs(y); });
  const eye::LatticeDensity d = eye::densityOfCursors(cursors, eye::pamLevels(4), 0.001);
  double mass = 0.0;
  double mean = 0.0;
  for (std::size_t i = 0; i < d.mass.size(); ++i) {
    mass += d.mass[i];
    mean += d.mass[i] * static_cast<double>(d.first + static_cast<int64_t>(i));
    ASSERT_GE(d.mass[i], 0.0);
  }
  EXPECT_NEAR(mass, 1.0, kMass);
  // Splitting keeps each value's mean and the levels are symmetric: the
  // mean is 0 (up to rounding of the split positions).
  EXPECT_NEAR(mean, 0.0, 1e-9);
}

// A factor's taps: M values a h / binV, each split between its neighbours.
TEST(EyeDensity, FactorSplitsEachValueBetweenItsNeighbours) {
  std::vector<eye::FactorTap> taps;
  // NRZ, h = 0.3125, binV = 0.125: values -2.5 and +2.5 lattice steps
  // (binary fractions: no rounding).
  eye::cursorFactor(0.3125, eye::pamLevels(2), 0.125, taps);
  ASSERT_EQ(taps.size(), 4u);
  EXPECT_EQ(taps[0].offset, -3);
  EXPECT_EQ(taps[1].offset, -2);
  EXPECT_EQ(taps[2].offset, 2);
  EXPECT_EQ(taps[3].offset, 3);
  for (const auto& t : taps) {
    EXPECT_EQ(t.weight, 0.25);
  }
  // PAM4, h = -0.375, binV = 0.125: values +-3 and +-1 steps, on the
  // lattice: one tap each.
  eye::cursorFactor(-0.375, eye::pamLevels(4), 0.125, taps);
  ASSERT_EQ(taps.size(), 4u);
  const int64_t offsets[4] = {-3, -1, 1, 3};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(taps[i].offset, offsets[i]);
    EXPECT_EQ(taps[i].weight, 0.25);
  }
}

}  // namespace
