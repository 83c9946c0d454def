// Spectral windows and the receiver filter: their values at f = 0 and at
// f_stop, and the sum of the windowed impulse, still H(0) since every
// window is 1 at DC.  The transfer is a flat H = 1/2 with no delay, given
// on the grid, so the transfer copied out is 1/2 W(f) itself.
// Reference for I0: the standard library's std::cyl_bessel_i.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "pulse_test_support.h"

namespace {

using namespace zefra_pulse_test;

constexpr double kBaud = 10e9;
constexpr int32_t kNs = 8;
constexpr double kDf = 40e9 / 200.0;

Result flat(int64_t kLast, int32_t window, double beta) {
  zefra_tk_pulse_options o = options(kBaud, kNs);
  o.window = window;
  o.kaiserBeta = beta;
  return run(sample(kDf, 0, kLast, matchedLine(0.0)), o);
}

double kaiser(double beta, double r) {
  return std::cyl_bessel_i(0.0, beta * std::sqrt(1.0 - r * r)) / std::cyl_bessel_i(0.0, beta);
}

// Sum of 400 samples of at most 1/2: rounding ~1e-16 each.
constexpr double kSumTolerance = 1e-13;

TEST(PulseWindow, RaisedCosineIsOneAtDcHalfInTheMiddleAndZeroAtTheStop) {
  // Data up to f_nyq: the roll-off lies beyond it, so f_stop = f_nyq.
  const Result r = flat(200, ZEFRA_TK_WINDOW_RAISED_COSINE, 6.0);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  EXPECT_EQ(r.transfer[0], Cplx(0.5, 0.0));
  EXPECT_NEAR(r.transfer[100].real(), 0.25, 1e-16);
  EXPECT_NEAR(std::abs(r.transfer[200]), 0.0, 1e-16);
  EXPECT_NEAR(std::accumulate(r.impulse.begin(), r.impulse.end(), 0.0), 0.5, kSumTolerance);
}

TEST(PulseWindow, KaiserFollowsI0AndEndsAtOneOverI0OfBeta) {
  for (const double beta : {0.0, 6.0, 14.0, 100.0}) {
    const Result r = flat(200, ZEFRA_TK_WINDOW_KAISER, beta);
    ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
    // Relative 1e-13: the power series and the library's I0 each round to
    // a few ulps, and I0(100) ~ 1e42 makes only relative errors meaningful.
    EXPECT_EQ(r.transfer[0], Cplx(0.5, 0.0)) << beta;
    for (const std::size_t k : {50u, 100u, 150u, 200u}) {
      const double expected = 0.5 * kaiser(beta, static_cast<double>(k) / 200.0);
      EXPECT_NEAR(r.transfer[k].real(), expected, 1e-13 * expected) << beta << " k " << k;
    }
    EXPECT_NEAR(std::accumulate(r.impulse.begin(), r.impulse.end(), 0.0), 0.5, kSumTolerance);
  }
}

TEST(PulseWindow, WindowStopsAtTheEndOfTheRollOff) {
  // Data to 20 GHz, default roll-off 5 GHz: f_stop = 25 GHz (bin 125).
  const Result r = flat(100, ZEFRA_TK_WINDOW_RAISED_COSINE, 6.0);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  // Bin 100 (20 GHz): W = (1 + cos(0.8 pi))/2, roll-off 1.
  EXPECT_NEAR(r.transfer[100].real(), 0.25 * (1.0 + std::cos(0.8 * kPi)), 1e-16);
  for (std::size_t k = 125; k < r.transfer.size(); ++k) {
    EXPECT_EQ(std::abs(r.transfer[k]), 0.0) << "k " << k;
  }
  EXPECT_NEAR(std::accumulate(r.impulse.begin(), r.impulse.end(), 0.0), 0.5, kSumTolerance);
}

TEST(PulseWindow, RollOffIsARaisedCosineFromTheBandEdge) {
  const Result r = flat(100, ZEFRA_TK_WINDOW_NONE, 6.0);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  // 20 + 2.5 GHz is half-way through the 5 GHz roll-off.
  EXPECT_NEAR(r.transfer[100].real(), 0.5, 1e-16);
  EXPECT_NEAR(r.transfer[112].real(), 0.25 * (1.0 + std::cos(kPi * 2.4 / 5.0)), 1e-15);
  EXPECT_NEAR(r.transfer[125].real(), 0.0, 1e-16);
}

TEST(PulseWindow, ReceiverFilterIsMinusThreeDecibelsAtItsBandwidth) {
  zefra_tk_pulse_options o = options(kBaud, kNs);
  o.rxOrder = 4;
  o.rxBandwidthHz = 10e9;  // bin 50
  const Result r = run(sample(kDf, 0, 200, matchedLine(0.0)), o);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  // |B(j wc)| = 1/sqrt 2 for every order; 1e-15 for the pole products.
  EXPECT_NEAR(std::abs(r.transfer[50]), 0.5 / std::sqrt(2.0), 1e-15);
  EXPECT_NEAR(std::abs(r.transfer[100]), 0.5 / std::sqrt(1.0 + std::pow(2.0, 8)), 1e-15);
  EXPECT_NEAR(std::accumulate(r.impulse.begin(), r.impulse.end(), 0.0), 0.5, kSumTolerance);
}

}  // namespace
