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

#include <cmath>

namespace zefra {
namespace {

constexpr double kEpsilon = 2.220446049250313e-16;  // 2^-52
constexpr double kLargestCount = 2147483647.0;

// The point's quotient by the bin width, narrowed to single precision and
// rounded half away from zero: q = gridIndex(p, w) * w.
inline double gridIndex(double p, double w) {
  return static_cast<double>(std::roundf(static_cast<float>(p / w)));
}

double distanceToBin(double offset, double w, int32_t j) {
  return std::fabs(offset + static_cast<double>(j) * w);
}

// Shapes a double record as a row of `columns` values, keeping its storage.
void shapeDoubleRow(DynArray* out, int32_t columns) {
  const int32_t before = numel(out);
  out->size[0] = 1;
  out->size[1] = columns;
  ensureCapacityDouble(out, before);
}

}  // namespace

int32_t nearestBinByScan(double qMin, double q, double w, int32_t binCount) {
  const double offset = qMin - q;
  int32_t best = 0;
  double bestDistance = distanceToBin(offset, w, 0);
  for (int32_t j = 1; j < binCount; ++j) {
    const double d = distanceToBin(offset, w, j);
    if (d < bestDistance) {
      bestDistance = d;
      best = j;
    }
  }
  return best;
}

// With w > 0 the computed s_j = (qMin - q) + j w is non-decreasing in j
// (j w and the addition both round monotonically), so |s_j| falls while
// s_j <= 0 and rises once s_j > 0.  The first smallest |s_j| is therefore
// either at p, the first j with s_j > 0, or at the first j of the run of
// equal values just below p.  p is found by walking from an estimate; the
// walk reaches the same p from any start, so the estimate only saves time.
namespace {

inline int32_t nearestBinFrom(double qMin, double q, double w, int32_t binCount,
                              double estimate) {
  const double offset = qMin - q;
  if (std::isnan(offset) || !(w > 0.0)) {
    return nearestBinByScan(qMin, q, w, binCount);  // every distance NaN: bin 0
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
  return distanceToBin(offset, w, p) < distanceToBin(offset, w, below) ? p : below;
}

}  // namespace

int32_t nearestBin(double qMin, double q, double w, int32_t binCount) {
  return nearestBinFrom(qMin, q, w, binCount, std::ceil((q - qMin) / w));
}

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
  if (!(binSpan >= 1.0 && binSpan <= static_cast<double>(kMaxDensityBins))) {
    return false;
  }
  const auto nb = static_cast<int32_t>(binSpan);

  DynArrayPtr histogram(dynArrayInit(1));
  histogram->size[0] = nb;
  ensureCapacityDouble(histogram.get(), 0);
  double* bins = elementsOf<double>(histogram.get());
  const int32_t weightCount = numel(weights);
  const double* weightValues = elementsOf<double>(weights);
  for (int32_t i = 0; i < n; ++i) {
    const double weight = i < weightCount ? weightValues[i] : 0.0;
    const double k = gridIndex(p[i], w);
    bins[nearestBinFrom(qMin, k * w, w, nb, k - gridMin)] += weight;
  }
  double total = 0.0;
  for (int32_t j = 0; j < nb; ++j) {
    total += bins[j];
  }

  int32_t first = -1;
  for (int32_t j = 0; j < nb; ++j) {
    bins[j] = bins[j] / total;
    if (bins[j] != 0.0 || std::isnan(bins[j])) {
      first = j;
      break;
    }
  }
  int32_t last = -1;
  for (int32_t j = nb - 1; j >= (first < 0 ? 0 : first); --j) {
    bins[j] = bins[j] / total;
    if (bins[j] != 0.0 || std::isnan(bins[j])) {
      last = j;
      break;
    }
  }

  const double x = qMin / w + static_cast<double>(first);
  const double r = std::fabs(static_cast<double>(std::roundf(static_cast<float>(x))));
  const double centerSpan = std::trunc(2.0 * r + 1.0);
  if (centersOut != nullptr && !(centerSpan <= kLargestCount)) {
    return false;  // a grid of more than 2^31 - 1 centres cannot be returned
  }

  const int32_t kept = first >= 0 && last >= first ? last - first + 1 : 0;
  shapeDoubleRow(pdfOut, kept);
  double* pdf = elementsOf<double>(pdfOut);
  for (int32_t k = 0; k < kept; ++k) {
    pdf[k] = bins[first + k];
  }
  if (centersOut != nullptr) {
    const auto count = static_cast<int32_t>(centerSpan);
    shapeDoubleRow(centersOut, count);
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
