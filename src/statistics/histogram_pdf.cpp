// Weighted histogram on a uniform grid of width w.
//
//   q_i  = roundf((float)(p_i / w)) * w        single-precision quantisation,
//                                              half away from zero
//   nb   = trunc(floor((qMax - qMin + 2^-52) / w) + 1)  bins from qMin
//   bin  = argmin_j |(qMin - q_i) + j w|       ties to the lower bin
//   pdf  = bins / total, trimmed of zero bins at both ends
//
// Normalisation is partial on purpose: the upward scan divides bins until
// the first non-zero quotient, the downward scan divides bins until the
// last one, and the bins strictly between are left as they are (with
// weights summing to 1 the total is 1 and this is the normalised histogram).
#include "statistics/histogram_pdf.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace zefra {
namespace {

constexpr double kEpsilon = 2.220446049250313e-16;  // 2^-52
constexpr double kLargestCount = 2147483647.0;
constexpr double kMaxDensityBins = 2000.0;  // largest number of bins a density may span

// The point's quotient by the bin width, narrowed to single precision and
// rounded half away from zero: q = gridIndex(p, w) * w.
inline double gridIndex(double p, double w) {
  return static_cast<double>(std::roundf(static_cast<float>(p / w)));
}

// The bin j in [0, binCount) minimising |s_j|, s_j = (qMin - q) + j w, the
// first one on ties.  With w > 0 the computed s_j is non-decreasing in j
// (j w and the addition both round monotonically), so |s_j| falls while
// s_j <= 0 and rises once s_j > 0.  The first smallest |s_j| is therefore
// either at p, the first j with s_j > 0, or at the first j of the run of
// equal values just below p.  p is found by walking from an estimate; the
// walk reaches the same p from any start, so the estimate only saves time.
// A NaN q makes every |s_j| NaN, so none is smaller than that of bin 0; a
// width that is not positive reaches here only with a single bin.
inline int32_t nearestBin(double qMin, double q, double w, int32_t binCount, double estimate) {
  const double offset = qMin - q;
  if (std::isnan(offset) || !(w > 0.0)) {
    return 0;
  }
  auto s = [&](int32_t j) { return offset + static_cast<double>(j) * w; };
  int32_t p = !(estimate > 0.0)                            ? 0
              : estimate >= static_cast<double>(binCount) ? binCount
                                                           : static_cast<int32_t>(estimate);
  while (p > 0 && s(p - 1) > 0.0) {
    --p;
  }
  while (p < binCount && !(s(p) > 0.0)) {
    ++p;
  }
  if (p == 0) {
    return 0;
  }
  int32_t below = p - 1;
  while (below > 0 && s(below - 1) == s(below)) {
    --below;
  }
  if (p == binCount) {
    return below;
  }
  return std::fabs(s(p)) < std::fabs(s(below)) ? p : below;
}

}  // namespace

bool quantizedHistogramPdf(double w, const DynArray* points, const DynArray* weights, DynArray* pdfOut,
                           DynArray* centersOut, double* offsetOut, double* widthOut) {
  const int32_t n = numel(points);
  if (n < 1) {
    return false;  // no points: no bin range
  }
  // The input is only read; the quantised points are not stored.  The grid
  // index k of each point (q = k w) is recomputed where it is needed, with
  // the same operations, so it has the same bits, and the bin of a point is
  // close to k - k(qMin), a start for the nearest-bin walk that needs no
  // division.  No scratch of the size of the input is allocated.
  const double* p = elementsOf<double>(points);
  double gridMin = gridIndex(p[0], w);
  double qMin = gridMin * w;
  double qMax = qMin;
  for (int32_t i = 1; i < n; ++i) {
    const double k = gridIndex(p[i], w);
    const double q = k * w;
    if (q > qMax) {
      qMax = q;
    } else if (q < qMin) {
      qMin = q;
      gridMin = k;
    }
  }

  const double binSpan = std::trunc(std::floor((qMax - qMin + kEpsilon) / w) + 1.0);
  // More than 2000 bins fails; so does a count that is not a number or below
  // one bin (NaN, zero or negative width), which leaves no bin to fill.
  if (!(binSpan >= 1.0 && binSpan <= kMaxDensityBins)) {
    return false;
  }
  const auto nb = static_cast<int32_t>(binSpan);

  std::vector<double> histogram(static_cast<size_t>(nb), 0.0);
  double* bins = histogram.data();
  const int32_t weightCount = numel(weights);
  const double* weightValues = elementsOf<double>(weights);
  for (int32_t i = 0; i < n; ++i) {
    const double weight = i < weightCount ? weightValues[i] : 0.0;
    const double k = gridIndex(p[i], w);
    bins[nearestBin(qMin, k * w, w, nb, k - gridMin)] += weight;
  }
  double total = 0.0;
  for (int32_t j = 0; j < nb; ++j) {
    total += bins[j];
  }

  // Divides bin j by the total; true when the quotient is kept (non-zero or
  // NaN).  A bin reached by both scans is divided twice.
  auto divideAndKeep = [&](int32_t j) {
    bins[j] = bins[j] / total;
    return bins[j] != 0.0 || std::isnan(bins[j]);
  };
  int32_t first = 0;
  while (first < nb && !divideAndKeep(first)) {
    ++first;
  }
  first = first == nb ? -1 : first;  // every quotient 0 (an infinite total)
  int32_t last = nb - 1;
  while (last >= std::max(first, 0) && !divideAndKeep(last)) {
    --last;
  }

  const double x = qMin / w + static_cast<double>(first);
  const double r = std::fabs(static_cast<double>(std::roundf(static_cast<float>(x))));
  const double centerSpan = std::trunc(2.0 * r + 1.0);
  if (centersOut != nullptr && !(centerSpan <= kLargestCount)) {
    return false;  // a grid of more than 2^31 - 1 centres cannot be returned
  }

  const int32_t kept = first >= 0 && last >= first ? last - first + 1 : 0;
  reshape<double>(pdfOut, 1, kept);
  double* pdf = elementsOf<double>(pdfOut);
  for (int32_t k = 0; k < kept; ++k) {
    pdf[k] = bins[first + k];
  }
  if (centersOut != nullptr) {
    const auto count = static_cast<int32_t>(centerSpan);
    reshape<double>(centersOut, 1, count);
    double* centers = elementsOf<double>(centersOut);
    const double ax = std::fabs(x);
    for (int32_t k = 0; k < count; ++k) {
      centers[k] = (static_cast<double>(k) - ax) * w;
    }
  }
  *offsetOut = x;
  *widthOut = w;
  return true;
}

}  // namespace zefra
