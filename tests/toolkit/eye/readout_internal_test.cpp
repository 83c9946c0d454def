// The read-out of synthetic BER maps whose log10 BER is piecewise linear
// in v with its kinks on grid points: there the log-linear interpolation is
// exact, so the open set, EH, v*, EW, contours and area are known in closed
// form.  Map: L(s, m) = log10 BER = -6 - D_s + |m - c| (one decade per
// grid step), target 1e-6: phase s is open on |m - c| <= D_s, an interval of
// 2 D_s steps (closed where D_s < 0).
//
// Tolerance kTight = 1e-12 (relative to the unit of each figure): the map
// holds 10^L, and log10(10^L) returns L to within a few ulp.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "eye/readout.h"

namespace {

namespace eye = zefra::tk::eye;

constexpr double kTight = 1e-12;

struct Synthetic {
  int64_t halfPhases;
  int64_t halfVoltages;
  double binV;
  std::vector<double> ber;
  eye::EyeView view() const { return {ber.data(), halfPhases, halfVoltages, 2 * halfPhases, binV}; }
  int64_t voltages() const { return 2 * halfVoltages + 1; }
  void set(int64_t p, int64_t m, double value) {
    ber[static_cast<std::size_t>(p * voltages() + m + halfVoltages)] = value;
  }
};

// One open V per phase: D[p] decades of depth below the target at m = c.
Synthetic vShaped(const std::vector<double>& depth, int64_t c) {
  Synthetic s{static_cast<int64_t>(depth.size()) / 2, 10, 0.1, {}};
  s.ber.resize(depth.size() * static_cast<std::size_t>(s.voltages()));
  for (std::size_t p = 0; p < depth.size(); ++p) {
    for (int64_t m = -10; m <= 10; ++m) {
      s.set(static_cast<int64_t>(p), m,
            std::pow(10.0, -6.0 - depth[p] + std::fabs(static_cast<double>(m - c))));
    }
  }
  return s;
}

TEST(EyeReadout, OpenIntervalsGiveHeightThresholdWidthAndArea) {
  // Ns = 4: phases s = -2..2; the centre is the deepest.
  const Synthetic s = vShaped({-1.0, 1.25, 3.5, 2.0, 0.5}, 2);
  const eye::Readout r = eye::readEye(s.view(), 1e-6);
  const double height[5] = {0.0, 0.25, 0.7, 0.4, 0.1};  // 2 D binV
  for (std::size_t p = 0; p < 5; ++p) {
    EXPECT_NEAR(r.height[p], height[p], kTight) << p;
  }
  EXPECT_NEAR(r.figures.heightCentreV, 0.7, kTight);
  EXPECT_NEAR(r.figures.heightBestV, 0.7, kTight);
  EXPECT_EQ(r.figures.bestPhaseUi, 0.0);
  EXPECT_NEAR(r.figures.thresholdV, 0.2, kTight);
  // At v* (m = 2, a grid point) L(s) = -6 - D_s = -5, -7.25, -9.5, -8, -6.5:
  // open from s = 2 (the grid end) back past s = -1 to the crossing 5/9 of
  // a step beyond it ((-6 + 7.25) / (-5 + 7.25)).
  EXPECT_NEAR(r.figures.widthUi, (3.0 + 5.0 / 9.0) / 4.0, kTight);
  // Trapezoid: (0 + .25 + .25 + .7 + .7 + .4 + .4 + .1) / 2 steps of 1/4 UI.
  EXPECT_NEAR(r.figures.areaVUi, 1.4 / 4.0, kTight);
  EXPECT_NEAR(r.figures.minBer, 1e-9 / std::sqrt(10.0), 1e-9 * kTight);
  EXPECT_TRUE(std::isnan(r.contourLow[0]) && std::isnan(r.contourHigh[0]));
  const double depth[5] = {-1.0, 1.25, 3.5, 2.0, 0.5};
  for (std::size_t p = 1; p < 5; ++p) {
    EXPECT_NEAR(r.contourLow[p], (2.0 - depth[p]) * 0.1, kTight) << p;
    EXPECT_NEAR(r.contourHigh[p], (2.0 + depth[p]) * 0.1, kTight) << p;
    EXPECT_NEAR(r.bathtubMin[p] / std::pow(10.0, -6.0 - depth[p]), 1.0, kTight) << p;
    EXPECT_NEAR(r.bathtubAtThreshold[p] / std::pow(10.0, -6.0 - depth[p]), 1.0, kTight) << p;
  }
}

TEST(EyeReadout, EqualBestHeightsPreferTheEarlierOfTheNearestPhases) {
  // s = -1 and s = +1 equally open, the centre less: the earlier wins.
  const Synthetic s = vShaped({0.5, 2.0, 1.0, 2.0, 0.5}, -3);
  const eye::Readout r = eye::readEye(s.view(), 1e-6);
  EXPECT_EQ(r.figures.bestPhaseUi, -0.25);
  EXPECT_NEAR(r.figures.heightBestV, 0.4, kTight);
  EXPECT_NEAR(r.figures.thresholdV, -0.3, kTight);
}

TEST(EyeReadout, EqualHeightsAtTheCentreAndElsewherePreferTheCentre) {
  const Synthetic s = vShaped({2.0, 1.0, 2.0, 1.0, 2.0}, 0);
  const eye::Readout r = eye::readEye(s.view(), 1e-6);
  EXPECT_EQ(r.figures.bestPhaseUi, 0.0);
}

TEST(EyeReadout, ThresholdIsTheMiddleOfTheLongestIntervalAndContoursFollowIt) {
  // Three phases (Ns = 2).  Each has a short open interval around m = -6
  // (depth 1, 2 steps); around m = 4 the depth is 0.5, 3 and -0.5 (closed)
  // at s = -1, 0, +1.  v* is the middle of the longer interval at s = 0,
  // not of the first one; at s = -1 the contour is the interval holding
  // v*, at s = +1 (closed there) the nearest one.
  Synthetic s{1, 10, 0.1, {}};
  s.ber.resize(3 * static_cast<std::size_t>(s.voltages()));
  const double longDepth[3] = {0.5, 3.0, -0.5};
  for (int64_t p = 0; p < 3; ++p) {
    for (int64_t m = -10; m <= 10; ++m) {
      const double a = -6.0 - 1.0 + std::fabs(static_cast<double>(m + 6));
      const double b = -6.0 - longDepth[p] + std::fabs(static_cast<double>(m - 4));
      s.set(p, m, std::pow(10.0, std::min(a, b)));
    }
  }
  const eye::Readout r = eye::readEye(s.view(), 1e-6);
  EXPECT_NEAR(r.figures.thresholdV, 0.4, kTight);
  EXPECT_NEAR(r.height[0], (2.0 + 1.0) * 0.1, kTight);
  EXPECT_NEAR(r.height[1], (2.0 + 6.0) * 0.1, kTight);
  EXPECT_NEAR(r.height[2], 2.0 * 0.1, kTight);
  EXPECT_NEAR(r.contourLow[0], 0.35, kTight);
  EXPECT_NEAR(r.contourHigh[0], 0.45, kTight);
  EXPECT_NEAR(r.contourLow[1], 0.1, kTight);
  EXPECT_NEAR(r.contourHigh[1], 0.7, kTight);
  EXPECT_NEAR(r.contourLow[2], -0.7, kTight);
  EXPECT_NEAR(r.contourHigh[2], -0.5, kTight);
  // At v*, L = -6.5, -9, -5.5: open from s = -1 (the grid end) to the
  // crossing (-6 + 9)/(-5.5 + 9) = 6/7 of a step beyond s = 0; steps of
  // 1/2 UI.
  EXPECT_NEAR(r.figures.widthUi, (1.0 + 6.0 / 7.0) / 2.0, kTight);
}

TEST(EyeReadout, NearestIntervalIsTheContourWhenNoneHoldsTheThreshold) {
  // Phase s = 0 has its long interval around m = 4; phase s = -1 has only
  // short ones around m = -6 and m = 8: the contour there is the one at
  // m = 8 (4 steps from v*, against 10).
  Synthetic s{1, 10, 0.1, {}};
  s.ber.resize(3 * static_cast<std::size_t>(s.voltages()));
  for (int64_t p = 0; p < 3; ++p) {
    for (int64_t m = -10; m <= 10; ++m) {
      double l = -6.0 - 3.0 + std::fabs(static_cast<double>(m - 4));
      if (p != 1) {
        l = std::min(-6.0 - 0.5 + std::fabs(static_cast<double>(m + 6)),
                     -6.0 - 0.5 + std::fabs(static_cast<double>(m - 8)));
      }
      s.set(p, m, std::pow(10.0, l));
    }
  }
  const eye::Readout r = eye::readEye(s.view(), 1e-6);
  EXPECT_NEAR(r.figures.thresholdV, 0.4, kTight);
  EXPECT_NEAR(r.contourLow[0], 0.75, kTight);
  EXPECT_NEAR(r.contourHigh[0], 0.85, kTight);
  EXPECT_NEAR(r.height[0], 0.2, kTight);
}

TEST(EyeReadout, ClosedEverywhereTakesTheLeastBerAtTheCentre) {
  Synthetic s = vShaped({-1.0, -2.0, -0.5}, 3);  // never below 10^-5.5
  const eye::Readout r = eye::readEye(s.view(), 1e-6);
  EXPECT_EQ(r.figures.heightBestV, 0.0);
  EXPECT_EQ(r.figures.bestPhaseUi, 0.0);
  EXPECT_NEAR(r.figures.thresholdV, 0.3, kTight);
  EXPECT_EQ(r.figures.widthUi, 0.0);
  EXPECT_EQ(r.figures.areaVUi, 0.0);
  for (std::size_t p = 0; p < 3; ++p) {
    EXPECT_TRUE(std::isnan(r.contourLow[p]) && std::isnan(r.contourHigh[p]));
  }
}

TEST(EyeReadout, BerBelowTheFloorReadsAsTheFloor) {
  // One phase: BER 0 at m = 0, 1e-2 at every other grid point.  log10 reads
  // -300 at m = 0, so each crossing of 1e-6 lies (300 - 6)/(300 - 2) of a
  // step out.
  Synthetic s{0, 10, 0.1, {}};
  s.ber.assign(static_cast<std::size_t>(s.voltages()), 1e-2);
  s.set(0, 0, 0.0);
  const eye::Readout r = eye::readEye(s.view(), 1e-6);
  EXPECT_NEAR(r.figures.heightBestV, 2.0 * 294.0 / 298.0 * 0.1, kTight);
  EXPECT_EQ(r.figures.minBer, 0.0);
  EXPECT_EQ(r.bathtubAtThreshold[0], 0.0);  // v* on the grid point itself
}

TEST(EyeReadout, OpenRunAtTheGridEndStopsThere) {
  // Open from m = 7 (crossing half a step below it) to the top of the grid.
  Synthetic s{0, 10, 0.1, {}};
  s.ber.resize(static_cast<std::size_t>(s.voltages()));
  for (int64_t m = -10; m <= 10; ++m) {
    s.set(0, m, std::pow(10.0, -6.0 + 2.0 * (6.5 - static_cast<double>(m))));
  }
  const eye::Readout r = eye::readEye(s.view(), 1e-6);
  EXPECT_NEAR(r.contourLow[0], 0.65, kTight);
  EXPECT_NEAR(r.contourHigh[0], 1.0, kTight);
  EXPECT_NEAR(r.figures.heightBestV, 0.35, kTight);
}

}  // namespace
