// The level-conditioned distribution of the received sample on the voltage
// grid v_m = m binV, m = -Mv..Mv:
//   lower CDF   F(v_m) = P(y < v_m),   y = shift + I + N,
//   upper tail  U(v_m) = P(y >= v_m),
// where I has a lattice density (v_j = j binV), shift = a h_0 and
// N ~ N(0, sigma^2).  Wherever F or U is small it is summed directly from
// its own small end, never formed as 1 minus the other, so that both tails
// keep their relative precision.
#pragma once

#include <cstdint>
#include <vector>

#include "eye/lattice_density.h"

namespace zefra::tk::eye {

// Cumulative sums of a density, each accumulated from its own end.
class DensitySums {
 public:
  explicit DensitySums(const LatticeDensity& density);
  // sum of the mass at lattice indices <= j
  double atOrBelow(int64_t j) const;
  // sum of the mass at lattice indices >= j
  double atOrAbove(int64_t j) const;
  // the whole mass (summed from the top)
  double total() const;
  // the smallest lattice index whose cumulative mass reaches half the total
  int64_t medianIndex() const;

 private:
  int64_t first_;
  std::vector<double> below_;  // below_[i] = sum_{t <= i} mass[t], t ascending
  std::vector<double> above_;  // above_[i] = sum_{t >= i} mass[t], t descending
};

// Noise terms with |z| beyond this are taken as exactly 0 or 1: the Gaussian
// tail there is Q(11.5) = 6.5e-31.
constexpr double kNoiseCut = 11.5;

// Both F and U for one level, each computed directly only on its own side
// of the median of y and taken as the complement of the other on the far
// side, where it is at least about 1/4 (same precision, half the work).
void levelTails(const LatticeDensity& density, const DensitySums& sums, double shift,
                double sigma, double binV, int64_t mv, double* lower, double* upper);

}  // namespace zefra::tk::eye
