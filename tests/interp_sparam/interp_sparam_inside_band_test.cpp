// interp_Sparam inside the measured band: delay-aware interpolation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <thread>
#include <vector>

#include "interp_sparam_test_util.h"

namespace {

using namespace interp_sparam_test;

// A pure delay sampled on an irregular grid with up to 170 degrees of phase
// between neighbours keeps unit modulus and the exact phase between them.
TEST(InterpSparamInsideBand, PureDelayKeepsUnitModulusAndExactPhase) {
  std::mt19937_64 rng(11);
  double worstModulus = 0.0;
  double worstPhase = 0.0;
  for (const double tau : {1e-9, 25e-9, -0.4e-9, 3.3e-12}) {
    // Steps chosen so that |2 pi df tau| <= 170 degrees.
    const double maxStep = (170.0 / 360.0) / std::fabs(tau);
    const std::vector<double> fIn = randomGrid(rng, 400, 10e6, 0.05 * maxStep, maxStep);
    std::vector<C> s(fIn.size());
    for (std::size_t i = 0; i < fIn.size(); ++i) {
      s[i] = delay(fIn[i], tau);
    }
    const std::vector<double> fOut = interiorQueries(rng, fIn, 5000);
    const std::vector<C> out = resample(s, fIn, fOut);
    for (std::size_t i = 0; i < fOut.size(); ++i) {
      const double dm = std::fabs(modulus(out[i]) - 1.0);
      const double dp = std::fabs(phaseError(out[i], delay(fOut[i], tau)));
      worstModulus = std::max(worstModulus, dm);
      worstPhase = std::max(worstPhase, dp);
      ASSERT_LE(dm, 1e-12) << "tau " << tau << " f " << fOut[i];
      ASSERT_LE(dp, 1e-9) << "tau " << tau << " f " << fOut[i];
    }
  }
  std::printf("pure delay, inside: worst ||S|-1| %.3g, worst phase error %.3g rad\n", worstModulus,
              worstPhase);
}

// Exactly 170 degrees per step on a uniform grid, the coarsest sampling the
// delay estimate is asked to follow.
TEST(InterpSparamInsideBand, PureDelayAt170DegreesPerStep) {
  const double tau = 2e-9;
  const double df = (170.0 / 360.0) / tau;
  std::vector<double> fIn(300);
  std::vector<C> s(fIn.size());
  for (std::size_t i = 0; i < fIn.size(); ++i) {
    fIn[i] = 1e6 + df * static_cast<double>(i);
    s[i] = delay(fIn[i], tau);
  }
  std::vector<double> fOut;
  for (std::size_t i = 0; i + 1 < fIn.size(); ++i) {
    for (const double t : {0.1, 0.37, 0.5, 0.81, 0.99}) {
      fOut.push_back(fIn[i] + t * (fIn[i + 1] - fIn[i]));
    }
  }
  const std::vector<C> out = resample(s, fIn, fOut);
  for (std::size_t i = 0; i < fOut.size(); ++i) {
    EXPECT_LE(std::fabs(modulus(out[i]) - 1.0), 1e-12);
    EXPECT_LE(std::fabs(phaseError(out[i], delay(fOut[i], tau))), 1e-9);
  }
}

// A delayed trace with smooth loss: the result is the lossy delay to the
// accuracy of linear interpolation of the modulus, and its phase is exact.
TEST(InterpSparamInsideBand, LossyDelayPhaseIsExact) {
  const double tau = 5e-9;
  const double df = (150.0 / 360.0) / tau;
  std::vector<double> fIn(200);
  std::vector<C> s(fIn.size());
  for (std::size_t i = 0; i < fIn.size(); ++i) {
    fIn[i] = df * static_cast<double>(i + 1);
    const double a = std::exp(-fIn[i] / 20e9);
    const C d = delay(fIn[i], tau);
    s[i] = {a * d.re, a * d.im};
  }
  std::mt19937_64 rng(5);
  const std::vector<double> fOut = interiorQueries(rng, fIn, 3000);
  const std::vector<C> out = resample(s, fIn, fOut);
  for (std::size_t i = 0; i < fOut.size(); ++i) {
    EXPECT_LE(std::fabs(phaseError(out[i], delay(fOut[i], tau))), 1e-9);
    const double a = std::exp(-fOut[i] / 20e9);
    // Linear interpolation of a convex exp between points df apart.
    EXPECT_NEAR(modulus(out[i]), a, 1e-4);
  }
}

// Without delay (equal end phases, no net wrap) and linear in frequency:
// exact.  Dyadic grid, samples and queries make every operation exact, so
// the result equals the line itself and the expression (1 - r) a + r b.
TEST(InterpSparamInsideBand, LinearTraceWithoutDelayIsExact) {
  const double unit = 67108864.0;  // 2^26 Hz
  const double c = 0.75;
  const double d = -1.0 / 8589934592.0;  // -2^-33 per Hz
  std::vector<double> fIn;
  for (int k = 1; k <= 32; ++k) {
    fIn.push_back(unit * k);
  }
  // Three phase directions: 45 degrees (re == im), 0 and 90 degrees.
  const C dirs[] = {{1.0, 1.0}, {1.0, 0.0}, {0.0, 1.0}};
  for (const C dir : dirs) {
    std::vector<C> s;
    for (const double f : fIn) {
      const double v = c + d * f;
      s.push_back({dir.re * v, dir.im * v});
    }
    std::vector<double> fOut;
    for (int k = 1; k < 32; ++k) {
      for (int j = 1; j < 8; ++j) {
        fOut.push_back(unit * k + unit * j / 8.0);
      }
    }
    const std::vector<C> out = resample(s, fIn, fOut);
    for (std::size_t i = 0; i < fOut.size(); ++i) {
      const double v = c + d * fOut[i];
      const C line{dir.re * v, dir.im * v};
      const std::size_t k = bracketOf(fIn, fOut[i]);
      const double r = (fOut[i] - fIn[k]) / (fIn[k + 1] - fIn[k]);
      EXPECT_TRUE(sameBits(out[i], line)) << fOut[i];
      EXPECT_TRUE(sameBits(out[i], lerp(s[k], s[k + 1], r))) << fOut[i];
    }
  }
}

// Equal first and last samples with Re > 0 throughout: no delay is
// removed, and every interior result is (1 - r) a + r b to the bit, with
// r = (f - fa) / (fb - fa).
TEST(InterpSparamInsideBand, NoDelayTraceIsPlainLerpToTheBit) {
  std::mt19937_64 rng(3);
  std::uniform_real_distribution<double> re(0.01, 1.0);
  std::uniform_real_distribution<double> im(-1.0, 1.0);
  const std::vector<double> fIn = randomGrid(rng, 1000, 1e7, 1e6, 5e7);
  std::vector<C> s(fIn.size());
  for (C& v : s) {
    v = {re(rng), im(rng)};
  }
  s.back() = s.front();
  const std::vector<double> fOut = interiorQueries(rng, fIn, 20000);
  const std::vector<C> out = resample(s, fIn, fOut);
  for (std::size_t i = 0; i < fOut.size(); ++i) {
    const std::size_t k = bracketOf(fIn, fOut[i]);
    const double r = (fOut[i] - fIn[k]) / (fIn[k + 1] - fIn[k]);
    ASSERT_TRUE(sameBits(out[i], lerp(s[k], s[k + 1], r))) << fOut[i];
  }
}

// |S(f)| never exceeds the larger modulus of the two bracketing samples by
// more than 1e-12, on random traces with and without a bulk delay.
TEST(InterpSparamInsideBand, ModulusNeverExceedsLargerBracket) {
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> mag(0.0, 1.5);
  std::uniform_real_distribution<double> ph(-kPi, kPi);
  double worst = -1.0;
  for (int trial = 0; trial < 40; ++trial) {
    const std::vector<double> fIn = randomGrid(rng, 300, 1e6 * trial, 1e5, 1e8);
    std::vector<C> s(fIn.size());
    const double tau = (trial % 3 == 0) ? 0.0 : 1e-9 * (trial % 7);
    // Every fourth trace has a constant modulus and nearly aligned
    // de-embedded phases, where the bound is nearly reached.
    const bool tight = trial % 4 == 1;
    for (std::size_t i = 0; i < fIn.size(); ++i) {
      const double m = tight ? 0.9 : mag(rng);
      const double p = ph(rng) * (tight ? 1e-7 : ((trial % 2 == 0) ? 1.0 : 0.2));
      const C d = delay(fIn[i], tau);
      const C v{m * std::cos(p), m * std::sin(p)};
      s[i] = {v.re * d.re - v.im * d.im, v.re * d.im + v.im * d.re};
    }
    const std::vector<double> fOut = interiorQueries(rng, fIn, 3000);
    const std::vector<C> out = resample(s, fIn, fOut);
    for (std::size_t i = 0; i < fOut.size(); ++i) {
      const std::size_t k = bracketOf(fIn, fOut[i]);
      const double bound = std::max(modulus(s[k]), modulus(s[k + 1]));
      const double excess = modulus(out[i]) - bound;
      worst = std::max(worst, excess);
      ASSERT_LE(excess, 1e-12) << "trial " << trial << " f " << fOut[i];
    }
  }
  std::printf("largest |S| - max(|a|,|b|): %.3g\n", worst);
}

// Queries equal to grid frequencies return the samples bit for bit, in any
// order and repeated, with or without a delay.
TEST(InterpSparamInsideBand, GridFrequenciesReturnSamplesBitForBit) {
  std::mt19937_64 rng(13);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  for (const double tau : {0.0, 1.7e-9}) {
    const std::vector<double> fIn = randomGrid(rng, 500, 0.0, 1e6, 1e8);
    std::vector<C> s(fIn.size());
    for (std::size_t i = 0; i < fIn.size(); ++i) {
      const C d = delay(fIn[i], tau);
      const double a = 0.5 + 0.4 * u(rng);
      s[i] = {a * d.re, a * d.im};
    }
    std::vector<C> out = resample(s, fIn, fIn);
    for (std::size_t i = 0; i < fIn.size(); ++i) {
      ASSERT_TRUE(sameBits(out[i], s[i])) << i;
    }
    std::vector<std::size_t> idx;
    for (std::size_t i = 0; i < fIn.size(); ++i) {
      idx.push_back(i);
      idx.push_back(fIn.size() - 1 - i);
    }
    std::shuffle(idx.begin(), idx.end(), rng);
    std::vector<double> fOut;
    for (const std::size_t i : idx) {
      fOut.push_back(fIn[i]);
    }
    out = resample(s, fIn, fOut);
    for (std::size_t j = 0; j < idx.size(); ++j) {
      ASSERT_TRUE(sameBits(out[j], s[idx[j]])) << j;
    }
  }
}

// The result for a frequency does not depend on the other queries: sorted,
// reversed and shuffled query lists give the same bits.
TEST(InterpSparamInsideBand, QueryOrderDoesNotChangeBits) {
  std::mt19937_64 rng(17);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  const std::vector<double> fIn = randomGrid(rng, 2000, 5e6, 1e6, 3e7);
  std::vector<C> s(fIn.size());
  for (std::size_t i = 0; i < fIn.size(); ++i) {
    const C d = delay(fIn[i], 0.8e-9);
    s[i] = {0.3 * u(rng) + 0.6 * d.re, 0.3 * u(rng) + 0.6 * d.im};
  }
  std::uniform_real_distribution<double> q(-1e8, fIn.back() * 1.1);
  std::vector<double> fOut(20000);
  for (double& f : fOut) {
    f = q(rng);
  }
  std::sort(fOut.begin(), fOut.end());
  const std::vector<C> sorted = resample(s, fIn, fOut);
  std::vector<double> rev(fOut.rbegin(), fOut.rend());
  const std::vector<C> reversed = resample(s, fIn, rev);
  std::vector<std::size_t> perm(fOut.size());
  for (std::size_t i = 0; i < perm.size(); ++i) {
    perm[i] = i;
  }
  std::shuffle(perm.begin(), perm.end(), rng);
  std::vector<double> shuf;
  for (const std::size_t i : perm) {
    shuf.push_back(fOut[i]);
  }
  const std::vector<C> shuffled = resample(s, fIn, shuf);
  for (std::size_t i = 0; i < fOut.size(); ++i) {
    ASSERT_TRUE(sameBits(sorted[i], reversed[fOut.size() - 1 - i])) << i;
  }
  for (std::size_t j = 0; j < perm.size(); ++j) {
    ASSERT_TRUE(sameBits(shuffled[j], sorted[perm[j]])) << j;
  }
}

// A long grid and a million ascending queries: the bracket walk agrees with
// an independent binary search (no delay, so the expected value is the
// plain lerp on the bracket found by std::upper_bound).
TEST(InterpSparamInsideBand, LongSweepMatchesIndependentBracketSearch) {
  std::mt19937_64 rng(19);
  std::uniform_real_distribution<double> u(0.1, 1.0);
  const std::vector<double> fIn = randomGrid(rng, 100000, 1e6, 1e3, 2e5);
  std::vector<C> s(fIn.size());
  for (C& v : s) {
    v = {u(rng), u(rng) - 0.55};
  }
  s.back() = s.front();
  std::vector<double> fOut = interiorQueries(rng, fIn, 1000000);
  std::sort(fOut.begin(), fOut.end());
  // Gaps: some stretches of the grid are jumped over entirely.
  fOut.erase(fOut.begin() + 200000, fOut.begin() + 600000);
  const std::vector<C> out = resample(s, fIn, fOut);
  for (std::size_t i = 0; i < fOut.size(); ++i) {
    const std::size_t k = bracketOf(fIn, fOut[i]);
    const double r = (fOut[i] - fIn[k]) / (fIn[k + 1] - fIn[k]);
    ASSERT_TRUE(sameBits(out[i], lerp(s[k], s[k + 1], r))) << i;
  }
}

// Bracket search edge cases: small and mid-sized grids, queries one ulp
// either side of every grid point, in ascending, descending and
// end-to-end alternating order (long jumps both ways from the last hint).
TEST(InterpSparamInsideBand, BracketsNextToGridPointsInAnyOrder) {
  std::mt19937_64 rng(37);
  std::uniform_real_distribution<double> u(0.1, 1.0);
  for (const std::size_t n : {2u, 3u, 4u, 5u, 17u, 33u, 34u, 70u, 1000u}) {
    const std::vector<double> fIn = randomGrid(rng, n, 1e6, 1e3, 1e6);
    std::vector<C> s(n);
    for (C& v : s) {
      v = {u(rng), u(rng)};
    }
    s.back() = s.front();
    std::vector<double> asc;
    for (std::size_t i = 0; i < n; ++i) {
      if (i > 0) {
        asc.push_back(std::nextafter(fIn[i], 0.0));
      }
      if (i + 1 < n) {
        asc.push_back(std::nextafter(fIn[i], 1e300));
      }
    }
    std::vector<double> alt;
    for (std::size_t i = 0, j = asc.size(); i < j; ++i) {
      alt.push_back(asc[i]);
      if (i + 1 < j) {
        alt.push_back(asc[--j]);
      }
    }
    std::vector<double> desc(asc.rbegin(), asc.rend());
    for (const std::vector<double>* fOut : {&asc, &desc, &alt}) {
      const std::vector<C> out = resample(s, fIn, *fOut);
      for (std::size_t i = 0; i < fOut->size(); ++i) {
        const double f = (*fOut)[i];
        const std::size_t k = bracketOf(fIn, f);
        const double r = (f - fIn[k]) / (fIn[k + 1] - fIn[k]);
        ASSERT_TRUE(sameBits(out[i], lerp(s[k], s[k + 1], r))) << "n " << n << " f " << f;
      }
    }
  }
}

// Concurrent calls share nothing: each thread gets the single-thread bits.
TEST(InterpSparamInsideBand, ConcurrentCallsAgree) {
  std::mt19937_64 rng(23);
  const std::vector<double> fIn = randomGrid(rng, 5000, 1e7, 1e6, 2e7);
  std::vector<C> s(fIn.size());
  for (std::size_t i = 0; i < fIn.size(); ++i) {
    const C d = delay(fIn[i], 1.1e-9);
    const double a = 1.0 - 1e-11 * fIn[i];
    s[i] = {a * d.re, a * d.im};
  }
  std::uniform_real_distribution<double> q(0.0, fIn.back() * 1.2);
  std::vector<double> fOut(100000);
  for (double& f : fOut) {
    f = q(rng);
  }
  const std::vector<C> expected = resample(s, fIn, fOut);
  std::vector<std::vector<C>> got(4);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < got.size(); ++t) {
    threads.emplace_back([&, t] {
      for (int rep = 0; rep < 5; ++rep) {
        got[t] = resample(s, fIn, fOut);
      }
    });
  }
  for (std::thread& th : threads) {
    th.join();
  }
  for (const std::vector<C>& g : got) {
    for (std::size_t i = 0; i < fOut.size(); ++i) {
      ASSERT_TRUE(sameBits(g[i], expected[i])) << i;
    }
  }
}

}  // namespace
