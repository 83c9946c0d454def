// The grid of a computed eye: phases s / Ns for s = -H..H (H = floor(Ns/2)),
// voltages m binV for m = -Mv..Mv with Mv = ceil(R / binV) + 1 and
// R = |h_0| + sum |h_k| + 11.5 sigma at the widest phase, and the main
// cursor h_0(s) = p[centre + s] (0 off the pulse) per phase.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "eye_test_support.h"

namespace {

using namespace zefra_eye_test;

TEST(EyeGrid, PhasesVoltagesAndMainCursorFollowTheModel) {
  // Ns = 4, centre 2: phases s = -2..2 sample p[0..4]; cursors 4 apart.
  const std::vector<double> pulse{0.1, 0.5, 1.0, 0.25, -0.2, 0.0, 0.125};
  const double binV = 0.01;
  const double sigma = 0.02;
  const Eye e = compute(victim(pulse, 4, 2), options(4, binV, sigma));
  ASSERT_EQ(e.status, ZEFRA_TK_OK) << e.message;
  EXPECT_EQ(e.eyes, 3);
  ASSERT_EQ(e.phases, 5);
  const double phases[5] = {-0.5, -0.25, 0.0, 0.25, 0.5};
  const double mains[5] = {0.1, 0.5, 1.0, 0.25, -0.2};
  for (std::size_t p = 0; p < 5; ++p) {
    EXPECT_EQ(e.phasesUi[p], phases[p]);
    EXPECT_EQ(e.mainCursorV[p], mains[p]);
  }
  // Reaches: s = -2: 0.1 + |-0.2| = 0.3; s = -1: 0.5; s = 0: 1 + 0.125;
  // s = 1: 0.25; s = 2: 0.2 + 0.1 = 0.3 (p[6] is 4 after p[2], p[-2] is
  // off).  R = 1.125 + 11.5 * 0.02 = 1.355: Mv = 136 + 1.
  const int64_t mv = static_cast<int64_t>(std::ceil((1.125 + 11.5 * sigma) / binV)) + 1;
  EXPECT_EQ(mv, 137);
  ASSERT_EQ(e.voltages, 2 * mv + 1);
  for (int64_t k = 0; k < e.voltages; ++k) {
    EXPECT_EQ(e.voltagesV[static_cast<std::size_t>(k)], static_cast<double>(k - mv) * binV);
  }
}

TEST(EyeGrid, OneSamplePerUiHasOnePhaseAndMainCursorsOffThePulseAreZero) {
  const std::vector<double> pulse{0.3, 1.0};
  const Eye one = compute(victim(pulse, 1, 1), options(2, 0.01, 0.0));
  ASSERT_EQ(one.status, ZEFRA_TK_OK) << one.message;
  EXPECT_EQ(one.phases, 1);
  EXPECT_EQ(one.mainCursorV[0], 1.0);
  // Ns = 5, centre 1: phases -2..2 reach p[-1] (off) .. p[3] (off).
  const Eye five = compute(victim(pulse, 5, 1), options(2, 0.01, 0.0));
  ASSERT_EQ(five.status, ZEFRA_TK_OK) << five.message;
  ASSERT_EQ(five.phases, 5);
  const double mains[5] = {0.0, 0.3, 1.0, 0.0, 0.0};
  for (std::size_t p = 0; p < 5; ++p) {
    EXPECT_EQ(five.mainCursorV[p], mains[p]) << p;
    EXPECT_EQ(five.phasesUi[p], (static_cast<double>(p) - 2.0) / 5.0);
  }
}

TEST(EyeGrid, NullEyeAndNullOutputsAreIgnored) {
  int32_t eyes = -1;
  int64_t phases = -1;
  int64_t voltages = -1;
  zefra_tk_eye_shape(nullptr, &eyes, &phases, &voltages);
  EXPECT_EQ(eyes, 0);
  EXPECT_EQ(phases, 0);
  EXPECT_EQ(voltages, 0);
  zefra_tk_eye_copy(nullptr, nullptr, nullptr, nullptr, nullptr);
  zefra_tk_eye_free(nullptr);
  const std::vector<double> pulse{1.0};
  zefra_tk_eye* eye = nullptr;
  compute(victim(pulse, 1, 0), options(2, 0.1, 0.0), &eye);
  ASSERT_NE(eye, nullptr);
  zefra_tk_eye_shape(eye, nullptr, nullptr, nullptr);
  zefra_tk_eye_copy(eye, nullptr, nullptr, nullptr, nullptr);
  zefra_tk_eye_free(eye);
}

TEST(EyeGrid, DefaultOptionsAreNrzWithoutNoiseJitterOrBin) {
  zefra_tk_eye_options o;
  o.levels = 9;
  o.binV = 9.0;
  o.noiseRmsV = 9.0;
  o.djUi = 9.0;
  o.rjUi = 9.0;
  o.threads = 9;
  zefra_tk_eye_default_options(&o);
  EXPECT_EQ(o.levels, 2);
  EXPECT_EQ(o.binV, 0.0);
  EXPECT_EQ(o.noiseRmsV, 0.0);
  EXPECT_EQ(o.djUi, 0.0);
  EXPECT_EQ(o.rjUi, 0.0);
  EXPECT_EQ(o.threads, 0);
  zefra_tk_eye_default_options(nullptr);
}

}  // namespace
