// interp_Sparam on unusual input: empty and negative counts, null
// pointers, unusable grids, non-finite queries and samples.  Buffers are
// exact-sized heap vectors (the sanitizer build sees any overrun) and the
// output is surrounded by guard values that must stay untouched.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "interp_sparam_test_util.h"

namespace {

using namespace interp_sparam_test;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
const C kGuard{-123.0, 456.0};

// Calls with nOut outputs written into the middle of a guarded buffer and
// checks the guards afterwards.
std::vector<C> guardedCall(const C* s, const double* fIn, int32_t nIn, const double* fOut,
                           int32_t nOut, std::size_t room) {
  std::vector<C> buf(room + 2, kGuard);
  zefra_interp_Sparam_C(s, fIn, nIn, fOut, nOut, buf.data() + 1);
  EXPECT_TRUE(sameBits(buf.front(), kGuard));
  EXPECT_TRUE(sameBits(buf.back(), kGuard));
  return std::vector<C>(buf.begin() + 1, buf.end() - 1);
}

bool isNaNPair(C v) { return std::isnan(v.re) && std::isnan(v.im); }

TEST(InterpSparamInvalidInput, EmptyTraceGivesZeros) {
  const std::vector<double> fOut = {0.0, 1e9, kNaN};
  for (const int32_t nIn : {0, -1, -2147483647 - 1}) {
    const std::vector<C> out = guardedCall(nullptr, nullptr, nIn, fOut.data(), 3, 3);
    for (const C v : out) {
      EXPECT_TRUE(sameBits(v, C{0.0, 0.0}));
    }
  }
}

TEST(InterpSparamInvalidInput, NullTracePointersAreAnEmptyTrace) {
  const std::vector<C> s = {{1.0, 0.0}, {0.5, 0.0}};
  const std::vector<double> fIn = {1.0, 2.0};
  const std::vector<double> fOut = {1.5};
  EXPECT_TRUE(sameBits(guardedCall(nullptr, fIn.data(), 2, fOut.data(), 1, 1)[0], C{0.0, 0.0}));
  EXPECT_TRUE(sameBits(guardedCall(s.data(), nullptr, 2, fOut.data(), 1, 1)[0], C{0.0, 0.0}));
}

TEST(InterpSparamInvalidInput, NoOutputsWriteNothing) {
  const std::vector<C> s = {{1.0, 0.0}, {0.5, 0.0}};
  const std::vector<double> fIn = {1.0, 2.0};
  const std::vector<double> fOut = {1.5, 1.7};
  for (const int32_t nOut : {0, -1, -2147483647 - 1}) {
    const std::vector<C> out = guardedCall(s.data(), fIn.data(), 2, fOut.data(), nOut, 2);
    for (const C v : out) {
      EXPECT_TRUE(sameBits(v, kGuard));
    }
  }
  // Null query or output buffer: nothing read, nothing written.
  const std::vector<C> out = guardedCall(s.data(), fIn.data(), 2, nullptr, 2, 2);
  for (const C v : out) {
    EXPECT_TRUE(sameBits(v, kGuard));
  }
  zefra_interp_Sparam_C(s.data(), fIn.data(), 2, fOut.data(), 2, nullptr);
}

// Grids that are not finite and strictly ascending give NaN + j NaN at
// every output, whatever the queries.
TEST(InterpSparamInvalidInput, UnusableGridGivesNaN) {
  const std::vector<C> s = {{1.0, 0.0}, {0.5, 0.5}, {0.25, 0.0}};
  const std::vector<std::vector<double>> grids = {
      {1.0, 3.0, 2.0},         // not ascending
      {3.0, 2.0, 1.0},         // descending
      {1.0, 2.0, 2.0},         // repeated frequency
      {1.0, kNaN, 3.0},        // NaN inside
      {kNaN, 2.0, 3.0},        // NaN first
      {1.0, 2.0, kInf},        // infinite last
      {-kInf, 2.0, 3.0},       // infinite first
      {-1e308, 0.0, 1e308},    // span not finite
  };
  const std::vector<double> fOut = {1.0, 1.5, 2.0, 10.0, -1.0, 0.0};
  for (const std::vector<double>& g : grids) {
    const std::vector<C> out = guardedCall(s.data(), g.data(), 3, fOut.data(), 6, 6);
    for (const C v : out) {
      EXPECT_TRUE(isNaNPair(v)) << g[0] << " " << g[1] << " " << g[2];
    }
  }
  // A single non-finite frequency is an unusable grid too.
  const double bad = kNaN;
  EXPECT_TRUE(isNaNPair(guardedCall(s.data(), &bad, 1, fOut.data(), 1, 1)[0]));
}

// A NaN or infinite query gives NaN + j NaN at that point only.
TEST(InterpSparamInvalidInput, NonFiniteQueryGivesNaNAtThatPointOnly) {
  std::vector<double> fIn;
  std::vector<C> s;
  for (int k = 1; k <= 20; ++k) {
    fIn.push_back(1e8 * k);
    s.push_back(delay(1e8 * k, 0.9e-9));
  }
  const std::vector<double> clean = {0.0, 3.3e8, 1.05e9, 5e9};
  const std::vector<double> dirty = {0.0, kNaN, 3.3e8, kInf, 1.05e9, -kInf, 5e9};
  const std::vector<C> a = resample(s, fIn, clean);
  const std::vector<C> b = resample(s, fIn, dirty);
  EXPECT_TRUE(sameBits(b[0], a[0]));
  EXPECT_TRUE(sameBits(b[2], a[1]));
  EXPECT_TRUE(sameBits(b[4], a[2]));
  EXPECT_TRUE(sameBits(b[6], a[3]));
  EXPECT_TRUE(isNaNPair(b[1]));
  EXPECT_TRUE(isNaNPair(b[3]));
  EXPECT_TRUE(isNaNPair(b[5]));
}

// A NaN sample reaches exactly the outputs interpolated from it (the two
// intervals next to it, and its own frequency); the delay estimate steps
// over it, so every other output keeps the bits of the clean trace.
TEST(InterpSparamInvalidInput, NaNSamplePropagatesOnlyToItsIntervals) {
  const double tau = 1.2e-9;
  std::vector<double> fIn;
  std::vector<C> s;
  for (int k = 1; k <= 30; ++k) {
    fIn.push_back(1e8 * k);  // 43 degrees per step
    s.push_back(delay(1e8 * k, tau));
  }
  std::vector<double> fOut;
  for (int k = 0; k <= 700; ++k) {
    fOut.push_back(5e6 * k);
  }
  const std::vector<C> clean = resample(s, fIn, fOut);
  for (const std::size_t bad : {std::size_t{12}, std::size_t{0}, std::size_t{29}}) {
    std::vector<C> d = s;
    d[bad] = {kNaN, kNaN};
    const std::vector<C> out = resample(d, fIn, fOut);
    for (std::size_t i = 0; i < fOut.size(); ++i) {
      const double f = fOut[i];
      const double lo = (bad == 0) ? -kInf : fIn[bad - 1];
      const double hi = (bad == 29) ? kInf : fIn[bad + 1];
      const bool uses = f > lo && f < hi;
      if (uses) {
        EXPECT_TRUE(std::isnan(out[i].re)) << bad << " " << f;
      } else if (bad == 0 || bad == 29) {
        // The end sample was part of the delay estimate: the estimate
        // moves to the next usable sample, so only closeness is expected.
        EXPECT_NEAR(out[i].re, clean[i].re, 1e-9) << bad << " " << f;
        EXPECT_NEAR(out[i].im, clean[i].im, 1e-9) << bad << " " << f;
      } else {
        EXPECT_TRUE(sameBits(out[i], clean[i])) << bad << " " << f;
      }
    }
  }
  // A NaN first sample makes the DC value NaN; its imaginary part stays 0.
  std::vector<C> d = s;
  d[0] = {kNaN, 0.5};
  const std::vector<C> dc = resample(d, fIn, {0.0, -1.0});
  for (const C v : dc) {
    EXPECT_TRUE(std::isnan(v.re));
    EXPECT_TRUE(sameBits(v.im, 0.0));
  }
}

// Zero samples carry no phase: the delay estimate steps over them, and they
// are interpolated as ordinary values.
TEST(InterpSparamInvalidInput, ZeroSampleIsSkippedByDelayEstimate) {
  const double tau = 1.2e-9;
  std::vector<double> fIn;
  std::vector<C> s;
  for (int k = 1; k <= 30; ++k) {
    fIn.push_back(1e8 * k);
    s.push_back(delay(1e8 * k, tau));
  }
  s[10] = {0.0, 0.0};
  std::vector<double> fOut;
  for (int k = 0; k <= 700; ++k) {
    fOut.push_back(5e6 * k);
  }
  const std::vector<C> out = resample(s, fIn, fOut);
  for (std::size_t i = 0; i < fOut.size(); ++i) {
    const double f = fOut[i];
    if (f > fIn[9] && f < fIn[11]) {
      EXPECT_LE(modulus(out[i]), 1.0 + 1e-12);
      continue;
    }
    EXPECT_LE(std::fabs(phaseError(out[i], delay(f, tau))), 1e-9) << f;
  }
}

// An infinite sample makes the outputs interpolated from it non-finite;
// the sample itself is returned as given at its own frequency.
TEST(InterpSparamInvalidInput, InfiniteSampleIsNonFiniteWhereUsed) {
  std::vector<double> fIn = {1.0, 2.0, 3.0, 4.0};
  std::vector<C> s = {{0.5, 0.0}, {kInf, 0.0}, {0.25, 0.0}, {0.5, 0.0}};
  const std::vector<C> out = resample(s, fIn, {1.5, 2.0, 2.5, 3.5});
  EXPECT_FALSE(std::isfinite(out[0].re) && std::isfinite(out[0].im));
  EXPECT_TRUE(sameBits(out[1], s[1]));
  EXPECT_FALSE(std::isfinite(out[2].re) && std::isfinite(out[2].im));
  EXPECT_TRUE(sameBits(out[3], lerp(s[2], s[3], 0.5)));
}

}  // namespace
