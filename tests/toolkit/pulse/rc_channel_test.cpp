// A first-order RC channel: a 50-ohm source into an open load with a pad
// capacitance C across it, through a zero-length line, H = 1/(1 + j w RC),
// RC = 50 ohms x C.  Its step is 1 - exp(-t/RC), its pulse
// s(t) - s(t - UI).
//
// What the discrete step differs by:
//   - s[n] = sum_{m <= n} h[m] is a rectangle-rule integral that counts the
//     sample at the jump of h (t = 0) at half weight (a band-limited jump
//     passes through its midpoint), i.e. the trapezoidal rule plus
//     dt/2 h(t_n): the discrete step follows s(t_n + dt/2).  Compared with
//     the continuous step at t_n, the error is at most dt/(2 RC) (the
//     largest slope 1/RC times dt/2).
//   - the band stops at f_nyq: |H| above it, about 1/(2 pi f RC), is
//     missing, a Gibbs ripple near t = 0 of order dt/(pi^2 RC).
// Both scale with dt/RC; the tolerance 0.6 dt/RC covers their sum
// (0.5 + 1/pi^2 = 0.60).  Against the step at t_n + dt/2 only the band
// truncation and second-order terms remain: tolerance dt/(pi^2 RC).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "pulse_test_support.h"

namespace {

using namespace zefra_pulse_test;

// 10 GBd, 32 samples per UI: dt = 3.125 ps, f_nyq = 160 GHz; RC = 50 ps
// = 16 dt, UI = 2 RC.  df = 100 MHz: K = 1600, a window of 10 ns = 200 RC.
constexpr double kBaud = 10e9;
constexpr int32_t kNs = 32;
constexpr double kDt = 1.0 / (kBaud * kNs);
constexpr double kRc = 50e-12;
constexpr double kDf = 160e9 / 1600.0;

Result rcResponse() {
  const Data d = sample(kDf, 0, 1600, [](double) { return TwoPort{0.0, 1.0, 1.0, 0.0}; });
  zefra_tk_pulse_options o = options(kBaud, kNs);
  o.loadOhm = INFINITY;
  o.loadPadF = kRc / 50.0;
  return run(d, o);
}

double stepAt(double t) { return t < 0.0 ? 0.0 : 1.0 - std::exp(-t / kRc); }

TEST(PulseRcChannel, StepFollowsOneMinusExponential) {
  const Result r = rcResponse();
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  const double tolerance = 0.6 * kDt / kRc;
  double worst = 0.0;
  for (std::size_t i = 0; i < r.step.size(); ++i) {
    worst = std::max(worst, std::fabs(r.step[i] - stepAt(r.t[i])));
  }
  EXPECT_LT(worst, tolerance);
}

TEST(PulseRcChannel, StepFollowsTheExponentialHalfASampleLater) {
  const Result r = rcResponse();
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  const double tolerance = kDt / (kPi * kPi * kRc);
  double worst = 0.0;
  for (std::size_t i = 0; i < r.step.size(); ++i) {
    worst = std::max(worst, std::fabs(r.step[i] - stepAt(r.t[i] + 0.5 * kDt)));
  }
  EXPECT_LT(worst, tolerance);
}

TEST(PulseRcChannel, PulseIsTheStepMinusTheStepOneUiLater) {
  const Result r = rcResponse();
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  const double ui = kNs * kDt;
  const double tolerance = 2.0 * kDt / (kPi * kPi * kRc);  // two steps' errors
  double worst = 0.0;
  for (std::size_t i = 0; i < r.pulse.size(); ++i) {
    const double t = r.t[i] + 0.5 * kDt;
    worst = std::max(worst, std::fabs(r.pulse[i] - (stepAt(t) - stepAt(t - ui))));
  }
  EXPECT_LT(worst, tolerance);
}

}  // namespace
