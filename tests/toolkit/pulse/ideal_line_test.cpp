// A matched lossless line whose delay is a whole number of samples, given
// on the grid up to the Nyquist frequency: its sampled spectrum is exactly
// that of a discrete delay, so the impulse response is 1/2 (the matched
// divider) at the delay and 0 elsewhere, and the pulse a rectangle of Ns
// samples.  Tolerance 1e-12: the only errors are the rounding of the
// rotations and of the FFT over 400 samples (about 1e-15 each), kept well
// clear of it.
#include <gtest/gtest.h>

#include <cmath>

#include "pulse_test_support.h"

namespace {

using namespace zefra_pulse_test;

constexpr double kTolerance = 1e-12;
// 10 GBd, 8 samples per UI: dt = 12.5 ps, f_nyq = 40 GHz; df = 200 MHz
// gives K = 200 = 2^3 5^2 and a window of 400 samples (5 ns).
constexpr double kBaud = 10e9;
constexpr int32_t kNs = 8;
constexpr double kDt = 1.0 / (kBaud * kNs);
constexpr double kDf = 40e9 / 200.0;
constexpr int64_t kDelaySamples = 20;

void expectDelayedHalfDelta(const Result& r) {
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  ASSERT_EQ(r.impulse.size(), 400u);
  const std::size_t at = indexAt(r, kDelaySamples * kDt);
  for (std::size_t i = 0; i < r.impulse.size(); ++i) {
    EXPECT_NEAR(r.impulse[i], i == at ? 0.5 : 0.0, kTolerance) << "sample " << i;
    const bool inside = i >= at && i < at + kNs;
    EXPECT_NEAR(r.pulse[i], inside ? 0.5 : 0.0, kTolerance) << "sample " << i;
  }
}

TEST(PulseIdealLine, ImpulseIsHalfAtTheDelayAndPulseAnNsSampleRectangle) {
  const Data d = sample(kDf, 0, 200, matchedLine(kDelaySamples * kDt));
  const Result r = run(d, options(kBaud, kNs));
  expectDelayedHalfDelta(r);
  EXPECT_EQ(r.diag.fftSize, 400);
  EXPECT_EQ(r.diag.dcPolicy, ZEFRA_TK_DC_DATA);
  EXPECT_NEAR(r.diag.bulkDelayS, kDelaySamples * kDt, 1e-22);
}

TEST(PulseIdealLine, DataStartingAboveDcGiveTheSameImpulse) {
  // The first point is df, not 0 Hz: H(0) comes from extrapolating |H| = 1/2
  // and the linear phase, which reach 1/2 and 0 exactly.
  const Data d = sample(kDf, 1, 200, matchedLine(kDelaySamples * kDt));
  const Result r = run(d, options(kBaud, kNs));
  expectDelayedHalfDelta(r);
  EXPECT_EQ(r.diag.dcPolicy, ZEFRA_TK_DC_EXTRAPOLATE);
  EXPECT_NEAR(r.diag.dcValue, 0.5, 1e-14);
}

TEST(PulseIdealLine, TimeAxisStartsGuardSamplesBeforeZero) {
  const Data d = sample(kDf, 0, 200, matchedLine(kDelaySamples * kDt));
  const Result r = run(d, options(kBaud, kNs));
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  // Default guard: 1/16 of the default span 1/df = 5 ns, 25 samples.
  EXPECT_EQ(r.diag.guardSamples, 25);
  EXPECT_DOUBLE_EQ(r.t[0], -25 * kDt);
  EXPECT_DOUBLE_EQ(r.t[25], 0.0);
  EXPECT_DOUBLE_EQ(r.t[399], 374 * kDt);
}

}  // namespace
