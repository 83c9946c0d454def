// Jitter on a rectangular 1-UI pulse (Ns = 32, amplitude 1 V on samples
// -16..15 around the centre), NRZ, no noise, read at v = 0.
//
// At phase offset u (whole samples) the sample is inside the rectangle for
// -16 <= u <= 15: y = a_0, and BER(u, 0) = 0.  Outside it, either a
// neighbouring symbol sits on the rectangle (y = a_{+-1}) or nothing does
// (y = 0); either way y does not depend on a_0, U_{-1}(0) = P(y >= 0) and
// F_{+1}(0) = P(y < 0) sum to 1, and BER(u, 0) = 1/2.  With jitter weights
// w_tau,
//   BER(s, 0) = 1/2 sum_{tau : s + tau outside -16..15} w_tau.
// DJ = 0.3 UI: Diracs at +-4.8 samples, each split linearly: w_-5 = 0.4,
// w_-4 = 0.1, w_4 = 0.1, w_5 = 0.4.
// RJ = 3/64 UI (1.5 samples): w_tau is the Gaussian mass on [tau - 1/2,
// tau + 1/2) cut at 11.5 RJ = 17.25 samples, so the sum is a tail between
// the edge and the cut:
//   BER(s, 0) = 1/2 [ Qc((15.5 - s)/1.5) + Qc((16.5 + s)/1.5) ],
//   Qc(z) = Q(z) - Q(11.5) for z < 11.5, else 0.
//
// Tolerances: kDiracs = 1e-15 absolute (sums of a few weights of 0.05 and
// 0.2); kGauss = 1e-12 relative (each weight is a difference of Gaussian
// tails on the side away from the mean, the sum telescopes to the tail
// with a relative rounding of a few ulp per term).
#include <gtest/gtest.h>

#include <vector>

#include "eye_test_support.h"

namespace {

using namespace zefra_eye_test;

constexpr double kDiracs = 1e-15;
constexpr double kGauss = 1e-12;

Eye rectangleEye(double djUi, double rjUi) {
  const int32_t ns = 32;
  const int64_t centre = 160;
  std::vector<double> pulse(320, 0.0);
  for (int64_t n = centre - 16; n <= centre + 15; ++n) {
    pulse[static_cast<std::size_t>(n)] = 1.0;
  }
  zefra_tk_eye_options o = options(2, 0.125, 0.0);  // 1 V is 8 steps exactly
  o.djUi = djUi;
  o.rjUi = rjUi;
  return compute(victim(pulse, ns, centre), o);
}

bool outside(int64_t u) { return u < -16 || u > 15; }

TEST(EyeJitter, DualDiracSplitsEachDiracBetweenItsNeighbouringSamples) {
  const Eye e = rectangleEye(0.3, 0.0);
  ASSERT_EQ(e.status, ZEFRA_TK_OK) << e.message;
  ASSERT_EQ(e.phases, 33);
  const int64_t taus[4] = {-5, -4, 4, 5};
  const double weights[4] = {0.4, 0.1, 0.1, 0.4};
  for (int64_t s = -16; s <= 16; ++s) {
    double expected = 0.0;
    for (int t = 0; t < 4; ++t) {
      expected += outside(s + taus[t]) ? 0.5 * weights[t] : 0.0;
    }
    EXPECT_NEAR(e.at(0, s + 16, e.indexOf(0)), expected, kDiracs) << "s " << s;
  }
}

TEST(EyeJitter, RandomJitterGivesTheCutGaussianTailPastTheEdges) {
  const Eye e = rectangleEye(0.0, 3.0 / 64.0);
  ASSERT_EQ(e.status, ZEFRA_TK_OK) << e.message;
  const auto cutQ = [](double z) { return z < 11.5 ? gaussQ(z) - gaussQ(11.5) : 0.0; };
  int tails = 0;
  for (int64_t s = -16; s <= 16; ++s) {
    const auto x = static_cast<double>(s);
    const double expected = 0.5 * (cutQ((15.5 - x) / 1.5) + cutQ((16.5 + x) / 1.5));
    const double got = e.at(0, s + 16, e.indexOf(0));
    if (expected == 0.0) {
      EXPECT_EQ(got, 0.0) << "s " << s;
    } else {
      EXPECT_NEAR(got / expected, 1.0, kGauss) << "s " << s;
      tails += expected < 1e-15 ? 1 : 0;
    }
  }
  EXPECT_GT(tails, 3);
}

TEST(EyeJitter, NoJitterLeavesTheRectangleOpenEverywhereInside) {
  const Eye e = rectangleEye(0.0, 0.0);
  ASSERT_EQ(e.status, ZEFRA_TK_OK) << e.message;
  for (int64_t s = -16; s <= 16; ++s) {
    EXPECT_EQ(e.at(0, s + 16, e.indexOf(0)), outside(s) ? 0.5 : 0.0) << "s " << s;
  }
}

}  // namespace
