// A pulse with one nonzero sample A at the centre has no ISI: at phase 0
//   BER_i(v) = (1/M) [ Q((v - a_i A) / sigma) + Q((a_{i+1} A - v) / sigma) ],
// with each Q taken as 0 beyond z = 11.5 and 1 below -11.5, the model's cut.
//
// Tolerances:
//   kRelative = 1e-12: the engine evaluates the same erfc at an argument
//     formed in another order; a relative change e of z changes Q(z) by about
//     z^2 e, and z^2 <= 132 inside the cut, so the rounding of z (a few ulp)
//     stays below 1e-13.
//   Eye height: log10 BER is interpolated linearly between grid points.  For
//     the upper edge L(v) = log10 Q((A - v)/sigma) + const, and since
//     d^2/dz^2 ln Q(z) lies in (-1, 0), |L''| < 1 / (sigma^2 ln 10) while
//     |L'| > z / (sigma ln 10).  The crossing moves by at most
//     (binV^2 / 8) |L''| / |L'| <= binV^2 / (8 sigma z) per edge, so EH is
//     within binV^2 / (4 sigma z) (z = Q^-1(2t)) plus rounding.  The far tail
//     of the other level (Q(2A/sigma - z) < 1e-200) does not move it.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "eye_test_support.h"

namespace {

using namespace zefra_eye_test;

constexpr double kRelative = 1e-12;

// Q with the model's cut at |z| = 11.5.
double cutQ(double z) {
  if (z > 11.5) {
    return 0.0;
  }
  if (z < -11.5) {
    return 1.0;
  }
  return gaussQ(z);
}

void expectClosedForm(int32_t levels, int32_t ns) {
  // sigma puts the middle of each eye 9 sigma from both levels: the BER
  // there is about 1e-19, below the cut nowhere inside the eye.
  const double amplitude = 0.8;
  const double sigma = amplitude / (levels - 1) / 9.0;
  const double binV = 0.0025;
  const int64_t centre = 3 * ns;
  std::vector<double> pulse(static_cast<std::size_t>(7 * ns), 0.0);
  pulse[static_cast<std::size_t>(centre)] = amplitude;
  const Eye e = compute(victim(pulse, ns, centre), options(levels, binV, sigma));
  ASSERT_EQ(e.status, ZEFRA_TK_OK) << e.message;
  ASSERT_EQ(e.phases, 2 * (ns / 2) + 1);
  const int64_t p0 = ns / 2;
  const std::vector<double> a = levelsOf(levels);
  int checkedBelow1e17 = 0;
  for (int32_t i = 0; i + 1 < levels; ++i) {
    for (int64_t k = 0; k < e.voltages; ++k) {
      const double v = e.voltagesV[static_cast<std::size_t>(k)];
      const double zu = (v - a[static_cast<std::size_t>(i)] * amplitude) / sigma;
      const double zf = (a[static_cast<std::size_t>(i) + 1] * amplitude - v) / sigma;
      if (std::fabs(std::fabs(zu) - 11.5) < 1e-9 || std::fabs(std::fabs(zf) - 11.5) < 1e-9) {
        continue;  // on the cut itself either side is right
      }
      const double expected = (cutQ(zu) + cutQ(zf)) / levels;
      const double got = e.at(i, p0, k);
      if (expected == 0.0) {
        EXPECT_EQ(got, 0.0) << "eye " << i << " v " << v;
      } else {
        EXPECT_NEAR(got / expected, 1.0, kRelative) << "eye " << i << " v " << v;
        checkedBelow1e17 += expected < 1e-17 ? 1 : 0;
      }
    }
  }
  EXPECT_GT(checkedBelow1e17, 10);  // the deep tails were really compared
}

TEST(EyeWithoutIsi, NrzMatchesTheGaussianTailsAtOneSamplePerUi) { expectClosedForm(2, 1); }

TEST(EyeWithoutIsi, NrzMatchesTheGaussianTailsAtEightSamplesPerUi) { expectClosedForm(2, 8); }

TEST(EyeWithoutIsi, Pam4MatchesTheGaussianTailsAtOneSamplePerUi) { expectClosedForm(4, 1); }

TEST(EyeWithoutIsi, Pam4MatchesTheGaussianTailsAtEightSamplesPerUi) { expectClosedForm(4, 8); }

TEST(EyeWithoutIsi, NrzEyeHeightIsTwiceTheAmplitudeLessTheNoiseMargin) {
  const double amplitude = 1.0;
  const double sigma = 0.05;
  const double binV = 0.005;
  const std::vector<double> pulse{0.0, amplitude, 0.0};
  zefra_tk_eye* eye = nullptr;
  const Eye e = compute(victim(pulse, 1, 1), options(2, binV, sigma), &eye);
  ASSERT_EQ(e.status, ZEFRA_TK_OK) << e.message;
  for (const double target : {1e-6, 1e-12, 1e-15}) {
    const double z = inverseQ(2.0 * target);
    const double expected = 2.0 * (amplitude - sigma * z);
    const double tolerance = binV * binV / (4.0 * sigma * z) + 1e-12;
    const Figures r = readout(eye, 0, target, e.phases);
    ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
    EXPECT_NEAR(r.f.heightCentreV, expected, tolerance) << "target " << target;
    EXPECT_EQ(r.f.heightBestV, r.f.heightCentreV);
    EXPECT_EQ(r.f.bestPhaseUi, 0.0);
    EXPECT_NEAR(r.f.thresholdV, 0.0, tolerance);
    EXPECT_EQ(r.f.widthUi, 0.0);  // a single phase
    EXPECT_NEAR(r.low[0], -expected / 2.0, tolerance);
    EXPECT_NEAR(r.high[0], expected / 2.0, tolerance);
  }
  zefra_tk_eye_free(eye);
}

// Without noise F is strictly P(y < v): with levels exactly on grid points
// (1 V = 8 steps of 0.125 V), BER_0(v) = (1/2)[P(-1 >= v) + P(1 < v)] is 1/2
// for v <= -1, 0 for -1 < v <= 1 and 1/2 above.
TEST(EyeWithoutIsi, WithoutNoiseTheLowerCdfIsStrict) {
  const std::vector<double> pulse{0.0, 1.0, 0.0};
  const Eye e = compute(victim(pulse, 1, 1), options(2, 0.125, 0.0));
  ASSERT_EQ(e.status, ZEFRA_TK_OK) << e.message;
  const int64_t mv = (e.voltages - 1) / 2;
  for (int64_t m = -mv; m <= mv; ++m) {
    const double expected = (m <= -8 || m > 8) ? 0.5 : 0.0;
    EXPECT_EQ(e.at(0, 0, e.indexOf(m)), expected) << "m " << m;
  }
}

// At Ns = 8 the other phases sample 0 V: BER = 1/2 everywhere there, so
// they are closed (no contour) and the width is set by phase 0 alone.
TEST(EyeWithoutIsi, PhasesWithoutSignalHaveNoContour) {
  std::vector<double> pulse(40, 0.0);
  pulse[20] = 1.0;
  zefra_tk_eye* eye = nullptr;
  const Eye e = compute(victim(pulse, 8, 20), options(2, 0.01, 0.05), &eye);
  ASSERT_EQ(e.status, ZEFRA_TK_OK) << e.message;
  const Figures r = readout(eye, 0, 1e-12, e.phases);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  for (int64_t p = 0; p < e.phases; ++p) {
    const auto q = static_cast<std::size_t>(p);
    if (p == 4) {
      EXPECT_FALSE(std::isnan(r.low[q]));
      EXPECT_GT(r.height[q], 1.0);
    } else {
      EXPECT_TRUE(std::isnan(r.low[q]) && std::isnan(r.high[q])) << "phase " << p;
      EXPECT_EQ(r.height[q], 0.0);
      EXPECT_NEAR(r.bathtubMin[q], 0.5, 1e-15);
    }
  }
  // Open only at phase 0: the crossings lie within one phase step of it.
  EXPECT_GT(r.f.widthUi, 0.0);
  EXPECT_LT(r.f.widthUi, 2.0 / 8.0);
  zefra_tk_eye_free(eye);
}

}  // namespace
