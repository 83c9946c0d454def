// interp_Sparam outside the measured band: the synthetic real DC point
// below the first sample, the held modulus with continued delay above the
// last, and the single-sample trace.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <vector>

#include "interp_sparam_test_util.h"

namespace {

using namespace interp_sparam_test;

std::vector<C> pureDelayTrace(const std::vector<double>& fIn, double tau) {
  std::vector<C> s(fIn.size());
  for (std::size_t i = 0; i < fIn.size(); ++i) {
    s[i] = delay(fIn[i], tau);
  }
  return s;
}

// A pure delay comes back as the same pure delay below, inside and above
// the band: DC is 1, the phase between DC and the first sample and above
// the last sample follows exp(-j 2 pi f tau).
TEST(InterpSparamBandEdges, PureDelayIsReproducedEverywhere) {
  const double tau = 1.3e-9;
  std::vector<double> fIn;
  for (int k = 0; k < 200; ++k) {
    fIn.push_back(300e6 + 250e6 * k);
  }
  const std::vector<C> s = pureDelayTrace(fIn, tau);
  std::vector<double> fOut;
  for (int k = 1; k < 3000; ++k) {
    fOut.push_back(fIn.back() * 2.0 * k / 3000.0);
  }
  const std::vector<C> out = resample(s, fIn, fOut);
  double worstModulus = 0.0;
  double worstPhase = 0.0;
  for (std::size_t i = 0; i < fOut.size(); ++i) {
    const double dm = std::fabs(modulus(out[i]) - 1.0);
    const double dp = std::fabs(phaseError(out[i], delay(fOut[i], tau)));
    worstModulus = std::max(worstModulus, dm);
    worstPhase = std::max(worstPhase, dp);
    EXPECT_LE(dm, 1e-12) << fOut[i];
    EXPECT_LE(dp, 1e-9) << fOut[i];
  }
  std::printf("pure delay, 0..2 fLast: worst ||S|-1| %.3g, worst phase error %.3g rad\n",
              worstModulus, worstPhase);
  const std::vector<C> dc = resample(s, fIn, {0.0});
  EXPECT_NEAR(dc[0].re, 1.0, 1e-15);
  EXPECT_TRUE(sameBits(dc[0].im, 0.0));
}

// The DC value is the de-embedded first sample turned onto the real axis:
// its modulus, signed like its real part (+ for a real part of zero); the
// imaginary part is exactly +0.0, at f = 0, -0.0 and every negative f.
TEST(InterpSparamBandEdges, DcValueIsRealSignedModulusOfFirstSample) {
  const std::vector<double> fIn = {1e6, 2e6, 4e6};
  struct Case {
    C first;
    double dc;
  };
  const Case cases[] = {
      {{-0.375, 0.5}, -std::hypot(-0.375, 0.5)},
      {{0.375, -0.5}, std::hypot(0.375, -0.5)},
      {{0.0, -0.5}, 0.5},
      {{-0.0, 0.25}, 0.25},
      {{-0.5, 0.0}, -0.5},
  };
  for (const Case& c : cases) {
    // Last sample = first sample: no bulk delay.
    const std::vector<C> s = {c.first, {0.1, 0.2}, c.first};
    const std::vector<C> out =
        resample(s, fIn, {0.0, -0.0, -1.0, -1e300, -std::numeric_limits<double>::denorm_min()});
    for (const C v : out) {
      EXPECT_TRUE(sameBits(v.re, c.dc)) << c.first.re << " " << c.first.im;
      EXPECT_TRUE(sameBits(v.im, 0.0));
    }
  }
}

// With a delay, the sign follows the de-embedded first sample, not the raw
// one: a first sample near -1 that is a delay of almost 180 degrees gives +1.
TEST(InterpSparamBandEdges, DcSignUsesDeembeddedFirstSample) {
  const double tau = 1e-9;
  const std::vector<double> fIn = {0.49e9, 0.9e9, 1.3e9, 1.7e9};
  const std::vector<C> s = pureDelayTrace(fIn, tau);
  ASSERT_LT(s[0].re, -0.99);
  const std::vector<C> out = resample(s, fIn, {0.0});
  EXPECT_NEAR(out[0].re, 1.0, 1e-15);
  EXPECT_TRUE(sameBits(out[0].im, 0.0));
}

// Between DC and the first sample with no delay: exactly (1 - r) dc + r s0
// with r = f / f0 (dyadic data, so also exact arithmetic).
TEST(InterpSparamBandEdges, BelowBandWithoutDelayIsLerpFromDc) {
  const std::vector<double> fIn = {8.0, 16.0, 24.0};
  const std::vector<C> s = {{-0.375, 0.5}, {0.5, 0.5}, {-0.375, 0.5}};
  const double dc = -std::hypot(-0.375, 0.5);
  std::vector<double> fOut;
  for (int k = 1; k < 8; ++k) {
    fOut.push_back(k);
  }
  const std::vector<C> out = resample(s, fIn, fOut);
  for (std::size_t i = 0; i < fOut.size(); ++i) {
    const double r = fOut[i] / 8.0;
    EXPECT_TRUE(sameBits(out[i], lerp({dc, 0.0}, s[0], r))) << fOut[i];
  }
}

// Below the band the modulus stays at or under |s0| (the DC point has the
// same modulus), and the value tends to s0 at f0 and to the DC value at 0.
TEST(InterpSparamBandEdges, BelowBandModulusBoundedAndContinuous) {
  std::mt19937_64 rng(29);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  for (int trial = 0; trial < 50; ++trial) {
    const std::vector<double> fIn = randomGrid(rng, 50, 1e7 + 1e6 * trial, 1e6, 5e7);
    std::vector<C> s(fIn.size());
    const double tau = 0.2e-9 * (trial % 5);
    for (std::size_t i = 0; i < fIn.size(); ++i) {
      const C d = delay(fIn[i], tau);
      const C v{u(rng), u(rng)};
      s[i] = {v.re * d.re - v.im * d.im, v.re * d.im + v.im * d.re};
    }
    std::vector<double> fOut;
    for (int k = 1; k < 1000; ++k) {
      fOut.push_back(fIn[0] * k / 1000.0);
    }
    const std::vector<C> out = resample(s, fIn, fOut);
    const double m0 = modulus(s[0]);
    for (const C v : out) {
      EXPECT_LE(modulus(v), m0 + 1e-12);
    }
    const std::vector<C> edge =
        resample(s, fIn, {std::nextafter(fIn[0], 0.0), std::nextafter(0.0, 1.0), 0.0});
    EXPECT_NEAR(edge[0].re, s[0].re, 1e-12);
    EXPECT_NEAR(edge[0].im, s[0].im, 1e-12);
    EXPECT_NEAR(edge[1].re, edge[2].re, 1e-12);
    EXPECT_NEAR(edge[1].im, 0.0, 1e-12);
  }
}

// Above the band: the last sample's modulus is held and the bulk-delay
// rotation continues; without a delay the last sample is returned bit for
// bit.
TEST(InterpSparamBandEdges, AboveBandHoldsModulusAndContinuesDelay) {
  std::mt19937_64 rng(31);
  std::uniform_real_distribution<double> u(0.2, 0.9);
  const double tau = 0.7e-9;
  const std::vector<double> fIn = randomGrid(rng, 100, 1e7, 1e7, 3e8);
  std::vector<C> s(fIn.size());
  for (std::size_t i = 0; i < fIn.size(); ++i) {
    const C d = delay(fIn[i], tau);
    const double a = u(rng);
    s[i] = {a * d.re, a * d.im};
  }
  std::vector<double> fOut;
  for (int k = 1; k <= 500; ++k) {
    fOut.push_back(fIn.back() * (1.0 + k / 250.0));
  }
  const std::vector<C> out = resample(s, fIn, fOut);
  const C last = s.back();
  for (std::size_t i = 0; i < fOut.size(); ++i) {
    EXPECT_NEAR(modulus(out[i]), modulus(last), 1e-15);
    // Phase of last, advanced by the delay from fLast to f.
    const C turned = delay(fOut[i] - fIn.back(), tau);
    const C expected{last.re * turned.re - last.im * turned.im,
                     last.re * turned.im + last.im * turned.re};
    EXPECT_LE(std::fabs(phaseError(out[i], expected)), 1e-9);
  }
  // No delay: every sample at the same phase (re == 2 im > 0).
  std::vector<C> flat(s.size());
  for (std::size_t i = 0; i < s.size(); ++i) {
    flat[i] = {modulus(s[i]), 0.5 * modulus(s[i])};
  }
  const std::vector<C> held = resample(flat, fIn, fOut);
  for (const C v : held) {
    EXPECT_TRUE(sameBits(v, flat.back()));
  }
}

// A band that reaches DC (first frequency <= 0): below it the first sample
// is held as it is, and f = 0 inside such a band is interpolated like any
// other frequency (a measured DC sample is returned as measured).
TEST(InterpSparamBandEdges, BandReachingDcHoldsFirstSample) {
  const std::vector<C> s = {{0.5, 0.25}, {0.25, -0.5}, {0.5, 0.25}};
  {
    const std::vector<double> fIn = {0.0, 1e9, 2e9};
    const std::vector<C> out = resample(s, fIn, {0.0, -1.0, -5e9});
    for (const C v : out) {
      EXPECT_TRUE(sameBits(v, s[0]));
    }
  }
  {
    const std::vector<double> fIn = {-1e9, 1e9, 3e9};
    const std::vector<C> out = resample(s, fIn, {-2e9, 0.0});
    EXPECT_TRUE(sameBits(out[0], s[0]));
    EXPECT_TRUE(sameBits(out[1], lerp(s[0], s[1], 0.5)));
  }
}

// One sample at f0 > 0: f >= f0 returns it bit for bit, f <= 0 the real
// DC value +-|s0|, and in between (1 - f/f0) dc + (f/f0) s0.  At f0 <= 0
// every finite query returns the sample.
TEST(InterpSparamBandEdges, SingleSample) {
  const C s0{-0.375, 0.5};
  const double dc = -std::hypot(-0.375, 0.5);
  const std::vector<double> fOut = {2e9, 1e9, 5e9, 0.5e9, 0.0, -3.0};
  const std::vector<C> out = resample({s0}, {2e9}, fOut);
  EXPECT_TRUE(sameBits(out[0], s0));
  EXPECT_TRUE(sameBits(out[1], lerp({dc, 0.0}, s0, 0.5)));
  EXPECT_TRUE(sameBits(out[2], s0));
  EXPECT_TRUE(sameBits(out[3], lerp({dc, 0.0}, s0, 0.25)));
  EXPECT_TRUE(sameBits(out[4], C{dc, 0.0}));
  EXPECT_TRUE(sameBits(out[5], C{dc, 0.0}));
  const std::vector<C> atDc = resample({s0}, {0.0}, fOut);
  for (const C v : atDc) {
    EXPECT_TRUE(sameBits(v, s0));
  }
}

}  // namespace
