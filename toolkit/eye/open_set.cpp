// Crossings of the target by log-linear interpolation.  Between an open
// sample (L_o = log10 y_o <= L_t = log10 target) and a closed neighbour
// (L_c > L_t), the crossing lies the fraction
//   f = (L_t - L_o) / (L_c - L_o)
// of a grid step away from the open sample.  A Gaussian tail is a parabola
// in log BER, so the error of this interpolation is second order in the
// step.  f is kept in [0, 1]: with a target below 1e-300 both logarithms
// read the floor and the run ends at its last open sample.
#include "eye/open_set.h"

#include <algorithm>
#include <cmath>

namespace zefra::tk::eye {
namespace {

double logBer(double y) { return std::log10(std::max(y, kBerFloor)); }

double crossingFraction(double open, double closed, double logTarget) {
  const double lo = logBer(open);
  const double lc = logBer(closed);
  if (!(lc > lo)) {
    return 0.0;
  }
  return std::clamp((logTarget - lo) / (lc - lo), 0.0, 1.0);
}

}  // namespace

std::vector<Interval> openIntervals(const double* y, int64_t n, int64_t first, double target) {
  const double logTarget = std::log10(target);
  std::vector<Interval> out;
  int64_t i = 0;
  while (i < n) {
    if (!(y[i] <= target)) {
      ++i;
      continue;
    }
    int64_t j = i;
    while (j + 1 < n && y[j + 1] <= target) {
      ++j;
    }
    Interval r{static_cast<double>(first + i), static_cast<double>(first + j)};
    if (i > 0) {
      r.low -= crossingFraction(y[i], y[i - 1], logTarget);
    }
    if (j + 1 < n) {
      r.high += crossingFraction(y[j], y[j + 1], logTarget);
    }
    out.push_back(r);
    i = j + 1;
  }
  return out;
}

double berAt(const double* y, int64_t n, int64_t first, double x) {
  const double u = x - static_cast<double>(first);
  const auto i = std::clamp<int64_t>(static_cast<int64_t>(std::floor(u)), 0, n - 1);
  const double f = u - static_cast<double>(i);
  if (f <= 0.0 || i + 1 >= n) {
    return y[i];
  }
  const double l0 = logBer(y[i]);
  const double l1 = logBer(y[i + 1]);
  return std::pow(10.0, l0 + f * (l1 - l0));
}

}  // namespace zefra::tk::eye
