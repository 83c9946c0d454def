// The BER map against every symbol pattern of short random pulses.
//
// Linear splitting moves each of the K cursor values by less than one
// lattice step, so the engine's ISI lies within K binV of the exact ISI for
// every pattern.  F is increasing in v and U decreasing, hence
//   F(v - K binV) <= F_engine(v) <= F(v + K binV),
//   U(v + K binV) <= U_engine(v) <= U(v - K binV),
// and BER_i = (U_{a_i} + F_{a_{i+1}}) / M lies between the same combinations
// (exact F and U by enumeration of all M^K patterns, summed in long double).
//
// Tolerances on the bracket:
//   kSlackSteps = 1e-6 lattice steps (sigma = 0 only): the engine forms
//     a h / binV in floating point, so a split can miss the exact bracket by
//     rounding (~1e-15 steps); the step function needs a margin for that.
//   kRelative = 1e-11: the engine sums up to a few thousand non-negative
//     terms (rounding below 1e-12 relative) and evaluates erfc at an argument
//     rounded differently (below 1e-13 relative inside the cut).
//   kAbsolute = 1e-30: the engine takes noise terms beyond |z| = 11.5 as
//     exactly 0 or 1 (Q(11.5) = 6.5e-31 per unit of mass).
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "eye_test_support.h"

namespace {

using namespace zefra_eye_test;

constexpr double kSlackSteps = 1e-6;
constexpr double kRelative = 1e-11;
constexpr double kAbsolute = 1e-30;

void expectWithinBracket(int32_t levels, int k, double sigma, uint32_t seed, int64_t stride) {
  std::mt19937_64 rng(seed);
  const ShortPulse s = randomShortPulse(rng, k);
  const double binV = std::uniform_real_distribution<double>(0.004, 0.02)(rng);
  const Eye e = compute(victim(s.pulse, 1, s.centre), options(levels, binV, sigma));
  ASSERT_EQ(e.status, ZEFRA_TK_OK) << e.message;
  std::vector<double> isi = enumerateIsi(s.others, levels);
  std::sort(isi.begin(), isi.end());
  const std::vector<double> a = levelsOf(levels);
  const double h0 = s.pulse[static_cast<std::size_t>(s.centre)];
  const double reach = (k + (sigma == 0.0 ? kSlackSteps : 0.0)) * binV;
  for (int32_t i = 0; i + 1 < levels; ++i) {
    const double lowShift = a[static_cast<std::size_t>(i)] * h0;
    const double highShift = a[static_cast<std::size_t>(i) + 1] * h0;
    for (int64_t q = 0; q < e.voltages; q += stride) {
      const double v = e.voltagesV[static_cast<std::size_t>(q)];
      const double least = (exactTails(isi, lowShift, sigma, v + reach).upper +
                            exactTails(isi, highShift, sigma, v - reach).lower) / levels;
      const double most = (exactTails(isi, lowShift, sigma, v - reach).upper +
                           exactTails(isi, highShift, sigma, v + reach).lower) / levels;
      const double got = e.at(i, 0, q);
      EXPECT_GE(got, least * (1.0 - kRelative) - kAbsolute) << "eye " << i << " v " << v;
      EXPECT_LE(got, most * (1.0 + kRelative) + kAbsolute) << "eye " << i << " v " << v;
    }
  }
}

TEST(EyeBruteForce, NrzWithoutNoiseLiesWithinTheSplittingBracket) {
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    expectWithinBracket(2, 10, 0.0, seed, 1);
  }
}

TEST(EyeBruteForce, Pam4WithoutNoiseLiesWithinTheSplittingBracket) {
  for (uint32_t seed = 11; seed <= 16; ++seed) {
    expectWithinBracket(4, 6, 0.0, seed, 1);
  }
}

TEST(EyeBruteForce, NrzWithNoiseLiesWithinTheSplittingBracket) {
  for (uint32_t seed = 21; seed <= 23; ++seed) {
    expectWithinBracket(2, 10, 0.03, seed, 3);
  }
}

TEST(EyeBruteForce, Pam4WithNoiseLiesWithinTheSplittingBracket) {
  for (uint32_t seed = 31; seed <= 33; ++seed) {
    expectWithinBracket(4, 6, 0.02, seed, 5);
  }
}

}  // namespace
