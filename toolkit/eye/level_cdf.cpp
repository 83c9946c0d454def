// F and U from a lattice density.  Because the grid voltages and the
// lattice share the step binV, the noise argument of bin j at voltage m
// depends only on the offset d = m - j:
//   z_d = (d binV - shift) / sigma,
//   F(v_m) = sum_j p_j Phi(z_{m-j}),   U(v_m) = sum_j p_j Phi(-z_{m-j}),
// Phi(z) = erfc(-z / sqrt 2) / 2.  Offsets with z_d > 11.5 contribute p_j to
// F and nothing to U, offsets with z_d < -11.5 the reverse (absolute error
// below 1e-30); the sums over those bins are the density's cumulative sums.
// The window dlo..dhi of the remaining offsets is a correlation (each
// output sums its terms in the window's order).
//
// Each result starts with its smallest terms: F adds the window from the
// smallest kernel value up and the saturated bins last, U the window from
// the other side.  All terms are non-negative, so a tail of 1e-300 keeps its
// relative precision; neither result is formed as 1 minus the other.
//
// sigma = 0: the step, strictly P(y < v): bin j counts to F when
// d binV - shift > 0, otherwise to U.
#include "eye/level_cdf.h"

#include <algorithm>
#include <cmath>

#include "eye/noise_correlation.h"

namespace zefra::tk::eye {
namespace {

constexpr double kSqrt2 = 1.4142135623730951;  // sqrt(2) rounded to nearest

double noiseArgument(int64_t d, double shift, double sigma, double binV) {
  return (static_cast<double>(d) * binV - shift) / sigma;
}

// The smallest d with d binV - shift > 0.  The expression is monotone in d,
// so the guess from a division is corrected by single steps.
int64_t firstPositiveOffset(double shift, double binV) {
  auto d = static_cast<int64_t>(std::floor(shift / binV));
  while (static_cast<double>(d) * binV - shift > 0.0) {
    --d;
  }
  while (!(static_cast<double>(d) * binV - shift > 0.0)) {
    ++d;
  }
  return d;
}

// Offsets dlo..dhi with -11.5 <= z_d <= 11.5 (z_d is monotone in d).
struct Window {
  int64_t dlo;
  int64_t dhi;
};

Window noiseWindow(double shift, double sigma, double binV) {
  Window w{};
  w.dlo = static_cast<int64_t>(std::ceil((shift - kNoiseCut * sigma) / binV));
  while (noiseArgument(w.dlo - 1, shift, sigma, binV) >= -kNoiseCut) {
    --w.dlo;
  }
  while (noiseArgument(w.dlo, shift, sigma, binV) < -kNoiseCut) {
    ++w.dlo;
  }
  w.dhi = static_cast<int64_t>(std::floor((shift + kNoiseCut * sigma) / binV));
  while (noiseArgument(w.dhi + 1, shift, sigma, binV) <= kNoiseCut) {
    ++w.dhi;
  }
  while (noiseArgument(w.dhi, shift, sigma, binV) > kNoiseCut) {
    --w.dhi;
  }
  return w;
}

// out[m + mv] = sum_t kernel[t] mass[m - d_t - first] over the offsets d_t in
// the order given (the terms a density has no bin for count as 0).  The
// density is copied between zero pads as wide as the window, so each output
// gathers its terms without bounds checks.
void correlateOffsets(const LatticeDensity& density, const std::vector<int64_t>& offsets,
                      const std::vector<double>& kernel, int64_t mv, int64_t mFrom, int64_t mTo,
                      double* out) {
  const int64_t n = static_cast<int64_t>(density.mass.size());
  const auto [dMin, dMax] = std::minmax_element(offsets.begin(), offsets.end());
  const int64_t pad = *dMax - *dMin;
  // Outputs that any bin reaches: m - d in [first, first + n - 1].
  const int64_t mStart = std::max(mFrom, density.first + *dMin);
  const int64_t mEnd = std::min(mTo, density.first + n - 1 + *dMax);
  if (mStart > mEnd) {
    return;
  }
  std::vector<double> padded(static_cast<std::size_t>(n + 2 * pad), 0.0);
  std::copy(density.mass.begin(), density.mass.end(), padded.begin() + pad);
  // padded[q] holds lattice index q - pad + first; the term of offset d at m
  // sits at q = m - d - first + pad, i.e. base(m) - (d - dMin) with
  // base(m) = m - dMin - first + pad.
  std::vector<int64_t> lags(offsets.size());
  for (std::size_t t = 0; t < offsets.size(); ++t) {
    lags[t] = offsets[t] - *dMin;
  }
  const double* x = padded.data() + (mStart - *dMin - density.first + pad);
  correlate(out + (mStart + mv), x, mEnd - mStart + 1, lags.data(), kernel.data(),
            static_cast<int64_t>(lags.size()));
}

}  // namespace

DensitySums::DensitySums(const LatticeDensity& density)
    : first_(density.first), below_(density.mass.size()), above_(density.mass.size()) {
  const std::size_t n = density.mass.size();
  double sum = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    sum += density.mass[i];
    below_[i] = sum;
  }
  sum = 0.0;
  for (std::size_t i = n; i-- > 0;) {
    sum += density.mass[i];
    above_[i] = sum;
  }
}

double DensitySums::total() const { return above_.empty() ? 0.0 : above_.front(); }

int64_t DensitySums::medianIndex() const {
  const double half = 0.5 * total();
  const auto it = std::lower_bound(below_.begin(), below_.end(), half);
  const auto i = std::min<std::ptrdiff_t>(it - below_.begin(),
                                          static_cast<std::ptrdiff_t>(below_.size()) - 1);
  return first_ + static_cast<int64_t>(i);
}

double DensitySums::atOrBelow(int64_t j) const {
  if (j < first_) {
    return 0.0;
  }
  const int64_t i = std::min(j - first_, static_cast<int64_t>(below_.size()) - 1);
  return below_[static_cast<std::size_t>(i)];
}

double DensitySums::atOrAbove(int64_t j) const {
  const int64_t i = std::max<int64_t>(j - first_, 0);
  if (i >= static_cast<int64_t>(above_.size())) {
    return 0.0;
  }
  return above_[static_cast<std::size_t>(i)];
}

namespace {

// F(v_m) for m = mFrom..mTo into lower[m + mv].
void lowerRange(const LatticeDensity& density, const DensitySums& sums, double shift,
                double sigma, double binV, int64_t mv, int64_t mFrom, int64_t mTo,
                double* lower) {
  if (sigma == 0.0) {
    const int64_t dStar = firstPositiveOffset(shift, binV);
    for (int64_t m = mFrom; m <= mTo; ++m) {
      lower[m + mv] = sums.atOrBelow(m - dStar);
    }
    return;
  }
  const Window w = noiseWindow(shift, sigma, binV);
  std::fill(lower + (mFrom + mv), lower + (mTo + mv + 1), 0.0);
  std::vector<int64_t> offsets;
  std::vector<double> kernel;
  for (int64_t d = w.dlo; d <= w.dhi; ++d) {
    const double z = noiseArgument(d, shift, sigma, binV);
    offsets.push_back(d);
    kernel.push_back(0.5 * std::erfc(-z / kSqrt2));
  }
  // Offsets whose Phi rounds to exactly 1 add their bins' mass unchanged:
  // they join the saturated sum (z above 8.3 or so, well inside the cut).
  int64_t saturatedFrom = w.dhi + 1;
  while (kernel.size() > 1 && kernel.back() == 1.0) {
    kernel.pop_back();
    offsets.pop_back();
    --saturatedFrom;
  }
  correlateOffsets(density, offsets, kernel, mv, mFrom, mTo, lower);
  for (int64_t m = mFrom; m <= mTo; ++m) {
    lower[m + mv] += sums.atOrBelow(m - saturatedFrom);
  }
}

// U(v_m) for m = mFrom..mTo into upper[m + mv].
void upperRange(const LatticeDensity& density, const DensitySums& sums, double shift,
                double sigma, double binV, int64_t mv, int64_t mFrom, int64_t mTo,
                double* upper) {
  if (sigma == 0.0) {
    const int64_t dStar = firstPositiveOffset(shift, binV);
    for (int64_t m = mFrom; m <= mTo; ++m) {
      upper[m + mv] = sums.atOrAbove(m - dStar + 1);
    }
    return;
  }
  const Window w = noiseWindow(shift, sigma, binV);
  std::fill(upper + (mFrom + mv), upper + (mTo + mv + 1), 0.0);
  std::vector<int64_t> offsets;
  std::vector<double> kernel;
  for (int64_t d = w.dhi; d >= w.dlo; --d) {
    const double z = noiseArgument(d, shift, sigma, binV);
    offsets.push_back(d);
    kernel.push_back(0.5 * std::erfc(z / kSqrt2));
  }
  // As for F: the offsets whose kernel rounds to exactly 1 join the
  // saturated sum.
  int64_t saturatedTo = w.dlo - 1;
  while (kernel.size() > 1 && kernel.back() == 1.0) {
    kernel.pop_back();
    offsets.pop_back();
    ++saturatedTo;
  }
  correlateOffsets(density, offsets, kernel, mv, mFrom, mTo, upper);
  for (int64_t m = mFrom; m <= mTo; ++m) {
    upper[m + mv] += sums.atOrAbove(m - saturatedTo);
  }
}

}  // namespace

void levelTails(const LatticeDensity& density, const DensitySums& sums, double shift,
                double sigma, double binV, int64_t mv, double* lower, double* upper) {
  if (sigma == 0.0) {
    lowerRange(density, sums, shift, sigma, binV, mv, -mv, mv, lower);
    upperRange(density, sums, shift, sigma, binV, mv, -mv, mv, upper);
    return;
  }
  // The split point: the median of the density moved by the shift.  At or
  // below it F <= 3/4 (at most 1/2 of the mass lies below the median, and
  // the mass at or above it reaches below with probability <= 1/2), so
  // U = total - F keeps its relative precision there; above it, the same
  // holds for F = total - U.  Each side computes only its small quantity.
  const double shiftBins = std::nearbyint(shift / binV);
  const double splitEstimate = static_cast<double>(sums.medianIndex()) + shiftBins;
  const auto split = static_cast<int64_t>(
      std::clamp(splitEstimate, static_cast<double>(-mv - 1), static_cast<double>(mv)));
  const double total = sums.total();
  lowerRange(density, sums, shift, sigma, binV, mv, -mv, split, lower);
  upperRange(density, sums, shift, sigma, binV, mv, split + 1, mv, upper);
  for (int64_t m = -mv; m <= split; ++m) {
    upper[m + mv] = total - lower[m + mv];
  }
  for (int64_t m = split + 1; m <= mv; ++m) {
    lower[m + mv] = total - upper[m + mv];
  }
}

}  // namespace zefra::tk::eye
