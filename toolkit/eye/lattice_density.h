// Probability densities on the amplitude lattice v_j = j binV: the factor
// of one cursor, the density of a set of cursors and the convolution of two
// densities.
#pragma once

#include <cstdint>
#include <vector>

namespace zefra::tk::eye {

// mass[i] is the probability of lattice index first + i.
struct LatticeDensity {
  int64_t first = 0;
  std::vector<double> mass;
};

// One nonzero of a cursor's factor: probability `weight` at lattice offset
// `offset`.
struct FactorTap {
  int64_t offset;
  double weight;
};

// The levels of M-PAM, ascending: a_m = (2m - (M - 1)) / (M - 1), so
// a_{M-1-m} = -a_m exactly.
std::vector<double> pamLevels(int32_t levels);

// The factor of the cursor h: each value a h (a in `levels`) carries 1/M,
// split linearly between the two lattice points around x = a h / binV
// (1 - (x - floor x) to floor x, x - floor x to floor x + 1).  Taps of equal
// offset are merged (summed in ascending x), zero weights dropped; the taps
// come in ascending offset.
void cursorFactor(double h, const std::vector<double>& levels, double binV,
                  std::vector<FactorTap>& taps);

// The density of the sum of independent cursors a_k h_k: the factors of the
// nonzero values, convolved in the order given (the caller sorts them by
// ascending |h| so that the array stays narrow as long as possible).  Every
// bin is kept.
LatticeDensity densityOfCursors(const std::vector<double>& values,
                                const std::vector<double>& levels, double binV);

// The density of the sum of two independent variables: a dense convolution
// (each nonzero of the shorter array scales the longer one, in ascending
// index).
LatticeDensity convolve(const LatticeDensity& a, const LatticeDensity& b);

}  // namespace zefra::tk::eye
