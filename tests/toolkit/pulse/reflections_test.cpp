// A lossless line of 75 ohms between 50-ohm references and terminations:
// G = 0.2.  Its transmission is the series of echoes
//   S21 = (1 - G^2) sum_m G^(2m) P^(2m+1),  P = exp(-j w T),
// so H = S21/2 has arrivals at T, 3T, 5T, ... with amplitudes
// (1 - G^2)/2 times 1, G^2, G^4, ...  With T a whole number of samples and
// the data given on the grid up to f_nyq these are exact discrete deltas;
// the echoes beyond the 400-sample window wrap round with amplitude
// 0.48 G^20 ~ 5e-15.  Tolerances: 1e-12 for the amplitudes (rounding of
// the rotations and the FFT, ~1e-15, kept well clear of); 1e-10 for the
// ratio, whose numerator 0.0192 carries at most that 1e-12, i.e. 5e-11
// relative.
#include <gtest/gtest.h>

#include <cmath>

#include "pulse_test_support.h"

namespace {

using namespace zefra_pulse_test;

constexpr double kBaud = 10e9;
constexpr int32_t kNs = 8;
constexpr double kDt = 1.0 / (kBaud * kNs);
constexpr double kDf = 40e9 / 200.0;
constexpr double kGamma = (75.0 - 50.0) / (75.0 + 50.0);

TEST(PulseReflections, SecondArrivalIsTwoDelaysLaterWithRatioGammaSquared) {
  const double tau = 20 * kDt;
  const Result r = run(sample(kDf, 0, 200, mismatchedLine(75.0, 50.0, tau)), options(kBaud, kNs));
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  const std::size_t first = indexAt(r, tau);
  const std::size_t second = indexAt(r, 3 * tau);
  const double a1 = r.impulse[first];
  const double a2 = r.impulse[second];
  EXPECT_NEAR(a1, 0.5 * (1.0 - kGamma * kGamma), 1e-12);
  EXPECT_NEAR(a2 / a1, kGamma * kGamma, 1e-10);
  // Nothing between the two arrivals.
  for (std::size_t i = first + 1; i < second; ++i) {
    EXPECT_NEAR(r.impulse[i], 0.0, 1e-12) << "sample " << i;
  }
}

}  // namespace
