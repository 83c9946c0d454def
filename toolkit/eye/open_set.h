// The open set {x : BER(x) <= target} of a BER curve sampled on a uniform
// grid, with log10 BER interpolated linearly between the samples (values
// below 1e-300 read as 1e-300).
#pragma once

#include <cstdint>
#include <vector>

namespace zefra::tk::eye {

// An interval in grid units: sample i lies at first + i.
struct Interval {
  double low;
  double high;
  double length() const { return high - low; }
};

// Smallest BER the interpolation distinguishes.
constexpr double kBerFloor = 1e-300;

// The maximal runs of samples with y_i <= target, each widened to the
// interpolated crossings with its closed neighbours (a run that reaches an
// end of the grid stops there), in ascending order.
std::vector<Interval> openIntervals(const double* y, int64_t n, int64_t first, double target);

// The interpolated BER at grid position x (first <= x <= first + n - 1);
// y_i itself at a sample.
double berAt(const double* y, int64_t n, int64_t first, double x);

}  // namespace zefra::tk::eye
