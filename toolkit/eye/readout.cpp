// Read-out of one eye ("open" means BER <= target):
//   EH(s)   the total length of the open set in v at phase s;
//   best    the phase of the largest EH (ties: nearest the centre, then the
//           earlier phase);
//   v*      the midpoint of the longest open interval at the best phase
//           (ties: the lowest); with no open interval there (then every
//           EH is 0 and the best phase is the centre), the voltage of the
//           smallest BER at the centre phase (ties: the lowest);
//   EW      the total length of the open set in phase of BER(s, v*), UI,
//           with BER(s, v*) interpolated between the voltage samples;
//   area    the trapezoid sum of EH over the phases, V UI;
//   contour the open interval at each phase that holds v*, or else the one
//           nearest to it (ties: the lower); NaN where the phase is closed.
// Crossings in v and in phase both interpolate log10 BER linearly.
#include "eye/readout.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "eye/open_set.h"

namespace zefra::tk::eye {
namespace {

double totalLength(const std::vector<Interval>& intervals) {
  double sum = 0.0;
  for (const Interval& r : intervals) {
    sum += r.length();
  }
  return sum;
}

// The interval that holds x, or the nearest one (ties: the lower); null if
// there is none.
const Interval* nearest(const std::vector<Interval>& intervals, double x) {
  const Interval* best = nullptr;
  double bestDistance = 0.0;
  for (const Interval& r : intervals) {
    const double distance = std::max({r.low - x, x - r.high, 0.0});
    if (best == nullptr || distance < bestDistance) {
      best = &r;
      bestDistance = distance;
    }
  }
  return best;
}

}  // namespace

Readout readEye(const EyeView& eye, double targetBer) {
  const int64_t h = eye.halfPhases;
  const int64_t phases = 2 * h + 1;
  const int64_t mv = eye.halfVoltages;
  const int64_t voltages = 2 * mv + 1;
  const auto ns = static_cast<double>(eye.samplesPerUi);
  const auto row = [&](int64_t p) { return eye.ber + p * voltages; };

  Readout out;
  out.height.resize(static_cast<std::size_t>(phases));
  out.bathtubMin.resize(static_cast<std::size_t>(phases));
  std::vector<std::vector<Interval>> open(static_cast<std::size_t>(phases));
  for (int64_t p = 0; p < phases; ++p) {
    const auto q = static_cast<std::size_t>(p);
    open[q] = openIntervals(row(p), voltages, -mv, targetBer);
    out.height[q] = totalLength(open[q]) * eye.binV;
    out.bathtubMin[q] = *std::min_element(row(p), row(p) + voltages);
  }

  int64_t best = 0;
  for (int64_t p = 1; p < phases; ++p) {
    const double eh = out.height[static_cast<std::size_t>(p)];
    const double bestEh = out.height[static_cast<std::size_t>(best)];
    if (eh > bestEh || (eh == bestEh && std::abs(p - h) < std::abs(best - h))) {
      best = p;
    }
  }

  // v* in grid units (m).
  double threshold = 0.0;
  const auto& atBest = open[static_cast<std::size_t>(best)];
  if (!atBest.empty()) {
    const Interval* longest = &atBest.front();
    for (const Interval& r : atBest) {
      if (r.length() > longest->length()) {
        longest = &r;
      }
    }
    threshold = 0.5 * (longest->low + longest->high);
  } else {
    const double* centre = row(h);
    threshold = static_cast<double>((std::min_element(centre, centre + voltages) - centre) - mv);
  }

  out.bathtubAtThreshold.resize(static_cast<std::size_t>(phases));
  out.contourLow.assign(static_cast<std::size_t>(phases), std::numeric_limits<double>::quiet_NaN());
  out.contourHigh.assign(static_cast<std::size_t>(phases), std::numeric_limits<double>::quiet_NaN());
  for (int64_t p = 0; p < phases; ++p) {
    const auto q = static_cast<std::size_t>(p);
    out.bathtubAtThreshold[q] = berAt(row(p), voltages, -mv, threshold);
    if (const Interval* r = nearest(open[q], threshold)) {
      out.contourLow[q] = r->low * eye.binV;
      out.contourHigh[q] = r->high * eye.binV;
    }
  }
  const std::vector<Interval> across =
      openIntervals(out.bathtubAtThreshold.data(), phases, -h, targetBer);

  double area = 0.0;
  for (int64_t p = 0; p + 1 < phases; ++p) {
    area += 0.5 * (out.height[static_cast<std::size_t>(p)] +
                   out.height[static_cast<std::size_t>(p + 1)]);
  }

  zefra_tk_eye_figures& f = out.figures;
  f.heightCentreV = out.height[static_cast<std::size_t>(h)];
  f.heightBestV = out.height[static_cast<std::size_t>(best)];
  f.bestPhaseUi = static_cast<double>(best - h) / ns;
  f.thresholdV = threshold * eye.binV;
  f.widthUi = totalLength(across) / ns;
  f.areaVUi = area / ns;
  f.minBer = *std::min_element(out.bathtubMin.begin(), out.bathtubMin.end());
  return out;
}

}  // namespace zefra::tk::eye
