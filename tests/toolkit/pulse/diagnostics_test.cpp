// The diagnostics that say whether a response can be trusted.
#include <gtest/gtest.h>

#include <cmath>

#include "pulse_test_support.h"

namespace {

using namespace zefra_pulse_test;

constexpr double kBaud = 10e9;
constexpr int32_t kNs = 8;
constexpr double kDt = 1.0 / (kBaud * kNs);
constexpr double kDf = 40e9 / 200.0;

// A matched line with a Gaussian loss exp(-(f/12 GHz)^2): its impulse is a
// Gaussian of sigma = 1/(2 pi 12 GHz / sqrt 2) ~ 19 ps ~ 1.5 samples, far
// from both ends of the window, and its spectrum has fallen to 1.5e-5 at
// f_nyq = 40 GHz, so band truncation leaves only ~1e-10 of ringing.
double gaussianLoss(double f) { return std::exp(-(f / 12e9) * (f / 12e9)); }

TEST(PulseDiagnostics, WellBehavedInputHasTinyNoncausalAndTailFractions) {
  const Result r = run(sample(kDf, 0, 200, matchedLine(40 * kDt, gaussianLoss)),
                       options(kBaud, kNs));
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  // Energy fractions of ringing at ~1e-10 amplitude: ~1e-20; 1e-12 leaves
  // room for the rounding of the FFT (1e-16 amplitude) as well.
  EXPECT_LT(r.diag.noncausalFraction, 1e-12);
  EXPECT_LT(r.diag.tailFraction, 1e-12);
}

TEST(PulseDiagnostics, TimeAdvanceShowsAsNoncausalEnergy) {
  // exp(+j 2 pi f 10 dt): the response arrives 10 samples before t = 0,
  // inside the 25-sample guard.
  const Result r = run(sample(kDf, 0, 200, matchedLine(-10 * kDt, gaussianLoss)),
                       options(kBaud, kNs));
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  EXPECT_GT(r.diag.noncausalFraction, 0.99);
  EXPECT_NEAR(r.diag.bulkDelayS, -10 * kDt, 1e-15);
}

TEST(PulseDiagnostics, SpanShorterThanTheReflectionsShowsAsTailEnergy) {
  // A 500-ohm line between 50-ohm ends, G = 0.82, delay T = 0.6 ns, with a
  // Gaussian loss that makes each arrival ~6 samples wide.  The echoes lose
  // only 1 - G^4 = 55% of their energy per round trip.  A 2 ns span (160
  // samples, 10 of guard) puts the first echo, at 3T = 1.8 ns, in the last
  // 1/16 of the window (1.75 .. 1.86 ns), and the later ones wrap round:
  // the tail holds about G^4 / (1 + G^4) ~ 30% of the energy; 5% is the flag.
  const auto model = [](double f) {
    TwoPort p = mismatchedLine(500.0, 50.0, 0.6e-9)(f);
    const double loss = std::exp(-(f / 10e9) * (f / 10e9));
    p.s21 *= loss;
    p.s12 *= loss;
    return p;
  };
  zefra_tk_pulse_options o = options(kBaud, kNs);
  o.spanS = 2e-9;
  const Result cut = run(sample(kDf, 0, 200, model), o);
  ASSERT_EQ(cut.status, ZEFRA_TK_OK) << cut.message;
  EXPECT_GT(cut.diag.tailFraction, 0.05);
}

TEST(PulseDiagnostics, ExtrapolatedFractionIsTheEnergyOutsideTheBand) {
  // Flat H = 1/2 (no delay) measured from 10 to 20 GHz on 200 MHz bins,
  // f_nyq = 40 GHz, H(0) given as 1/2, roll-off 10 GHz.  Energies, bins 0
  // and K at weight 1, the others at 2, in units of |H|^2 = 1/4:
  //   below the band, k = 0..49:   1 + 2 x 49                      = 99
  //   in the band, k = 50..100:    2 x 51                          = 102
  //   roll-off, k = 101..149:      2 sum_j R_j^2, R_j = (1 + cos(pi j/50))/2,
  //     sum_{j=1}^{49} R_j^2 = (49 + 2 sum cos + sum cos^2)/4
  //                          = (49 + 0 + 24)/4 = 18.25        -> 36.5
  // so the share outside is (99 + 36.5) / (99 + 102 + 36.5) = 135.5/237.5.
  // Tolerance 1e-14: sums of ~200 terms rounded to 1e-16 each.
  Data d = sample(kDf, 50, 100, matchedLine(0.0));
  zefra_tk_pulse_options o = options(kBaud, kNs);
  o.dcPolicy = ZEFRA_TK_DC_GIVEN;
  o.dcValue = 0.5;
  o.rolloffHz = 10e9;
  const Result r = run(d, o);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  EXPECT_NEAR(r.diag.extrapolatedFraction, 135.5 / 237.5, 1e-14);
}

TEST(PulseDiagnostics, SigmaMaxIsTheLargestSingularValueOverTheBand) {
  // S = [[a, b], [c, d]] real at one frequency with known singular values:
  // S = diag(0.3, 1.1) rotated, sigma_max = 1.1 at 2 GHz; elsewhere a
  // matched through of |S21| = 0.9.
  const auto model = [](double f) {
    if (f == 2e9) {
      const double c = std::cos(0.3);
      const double s = std::sin(0.3);
      // R(0.3) diag(0.3, 1.1) R(0.3)^T
      const double a11 = 0.3 * c * c + 1.1 * s * s;
      const double a12 = (0.3 - 1.1) * c * s;
      const double a22 = 0.3 * s * s + 1.1 * c * c;
      return TwoPort{a11, a12, a12, a22};
    }
    return TwoPort{0.0, 0.9, 0.9, 0.0};
  };
  const Result r = run(sample(1e9, 1, 10, model), options(kBaud, kNs));
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  EXPECT_NEAR(r.diag.sigmaMax, 1.1, 1e-15);
  EXPECT_EQ(r.diag.sigmaMaxHz, 2e9);
}

TEST(PulseDiagnostics, SigmaMaxOfAnEqualSingularValueMatrix) {
  // A lossless matched line: S = [[0, P], [P, 0]], both singular values 1;
  // the discriminant is 0 and must not go negative under rounding.
  const Result r = run(sample(kDf, 0, 200, matchedLine(3e-10)), options(kBaud, kNs));
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  EXPECT_NEAR(r.diag.sigmaMax, 1.0, 1e-15);
}

TEST(PulseDiagnostics, GridAndSpanAreReported) {
  const Result r = run(sample(kDf, 0, 200, matchedLine(0.0)), options(kBaud, kNs));
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  EXPECT_EQ(r.diag.dtS, kDt);
  EXPECT_EQ(r.diag.nyquistHz, 40e9);
  EXPECT_EQ(r.diag.dfHz, kDf);
  EXPECT_DOUBLE_EQ(r.diag.spanS, 1.0 / kDf);
  EXPECT_EQ(r.diag.spanIsDefault, 1);
  EXPECT_EQ(r.diag.fftSize, 400);
  EXPECT_EQ(r.diag.bandStartHz, 0.0);
  EXPECT_EQ(r.diag.bandEdgeHz, 40e9);
  EXPECT_EQ(r.diag.rolloffHz, 10e9);  // a quarter of the band edge
  EXPECT_EQ(r.diag.dataAboveNyquist, 0);
}

TEST(PulseDiagnostics, DataAboveNyquistAreFlagged) {
  const Result r = run(sample(kDf, 0, 250, matchedLine(0.0)), options(kBaud, kNs));
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  EXPECT_EQ(r.diag.dataAboveNyquist, 1);
}

}  // namespace
