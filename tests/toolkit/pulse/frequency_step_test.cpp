// The response must not depend on the grid's frequency step once the
// window holds it: a delayed low-pass (delay 1 ns, RC = 1/(2 pi 10 GHz)
// = 16 ps, gone after ~1.5 ns) measured every 10 MHz to 50 GHz, on spans
// of 20 and 40 ns.  Both grids have the same dt, so their samples coincide
// in time.
//
// Tolerance 1e-6 on the pulse (peak ~0.5).  The two grids interpolate the
// de-embedded transfer Hd = 1/(2 (1 + j f/fc)) at different frequencies;
// linear interpolation over a 10 MHz step errs by at most
// step^2 |Hd''| / 8 ~ (1e7)^2 (1/fc^2) / 8 ~ 1.3e-7, and the pulse sums such
// errors over a UI's worth of a smooth spectrum, so it stays below ~1e-6.
// The window ends (20 ns) are 1000 RC after the response, so nothing wraps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "pulse_test_support.h"

namespace {

using namespace zefra_pulse_test;

TEST(PulseFrequencyStep, TwoSpansCoveringTheResponseGiveTheSamePulse) {
  const auto model = [](double f) {
    const Cplx t = delay(f, 1e-9) / Cplx(1.0, f / 10e9);
    return TwoPort{0.0, t, t, 0.0};
  };
  const Data d = sample(10e6, 1, 5000, model);
  zefra_tk_pulse_options o = options(25e9, 16);
  o.spanS = 20e-9;
  const Result shortSpan = run(d, o);
  o.spanS = 40e-9;
  const Result longSpan = run(d, o);
  ASSERT_EQ(shortSpan.status, ZEFRA_TK_OK) << shortSpan.message;
  ASSERT_EQ(longSpan.status, ZEFRA_TK_OK) << longSpan.message;
  ASSERT_GT(longSpan.impulse.size(), shortSpan.impulse.size());
  EXPECT_NE(shortSpan.diag.dfHz, longSpan.diag.dfHz);

  const double dt = shortSpan.diag.dtS;
  const auto offset = static_cast<std::size_t>(longSpan.diag.guardSamples -
                                               shortSpan.diag.guardSamples);
  double worst = 0.0;
  for (std::size_t i = 0; i < shortSpan.pulse.size(); ++i) {
    const std::size_t j = i + offset;
    ASSERT_NEAR(longSpan.t[j], shortSpan.t[i], 1e-6 * dt);
    worst = std::max(worst, std::fabs(longSpan.pulse[j] - shortSpan.pulse[i]));
  }
  EXPECT_LT(worst, 1e-6);
}

}  // namespace
