// Density of sum_i c_i d_i with d_i drawn from M equiprobable levels
// -1, -1 + 2/(M-1), ..., +1 (levels[i] = (i + i) / (M - 1) - 1).
//
// Each kept cursor a gives a small density: the histogram of the M points
// |a| * levels with weight 1/M each.  The running density starts as [1.0]
// and is convolved with each of them; the per-cursor offsets (first bin, in
// bins) add up to the offset of the result, and the amplitude axis is
// (i + offsetSum) w for i < floor(2 |offsetSum| + 2^-52) + 1 (the per-cursor
// densities are symmetric about zero).
//
// Which cursors count: first all N are kept as 0.0 when w > 0 (as the
// signal itself when w <= 0 or NaN); then, if any cursor is greater than w
// (a signed comparison), only the cursors whose magnitude exceeds w are
// kept, in order.  So a signal whose only large cursors are negative is
// treated as all zeros.
//
// Convolution: out[j] = sum over i of prev[i] * pdf[j - i], in increasing i.
// The cursor density has at most M non-zero bins.  A zero term prev[i] * 0
// is +-0 for finite prev[i] and adding +-0 never changes a sum that starts
// at +0, so summing only the non-zero bins, visited in decreasing bin order
// (= increasing i for each output), gives the same bits in O(len * M).  The
// running density is always finite: it starts as [1.0] and every cursor
// density holds sums of the weights 1/M (divided by their total), so each
// value is a sum of products of numbers no larger than about 1.
#include "statistics/level_convolution.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <utility>
#include <vector>

#include "statistics/histogram_pdf.h"

namespace zefra {
namespace {

constexpr double kEpsilon = 2.220446049250313e-16;  // 2^-52

std::vector<double> keptCursors(const DynArray* signal, double w) {
  const double* s = elementsOf<double>(signal);
  const double* end = s + std::max(numel(signal), 0);
  if (!std::any_of(s, end, [w](double v) { return v > w; })) {
    return w > 0.0 ? std::vector<double>(static_cast<size_t>(end - s), 0.0)
                   : std::vector<double>(s, end);
  }
  std::vector<double> kept;
  std::copy_if(s, end, std::back_inserter(kept), [w](double v) { return std::fabs(v) > w; });
  return kept;
}

DynArrayPtr doubleRow(int32_t columns) {
  DynArrayPtr row(dynArrayInit(2));
  reshape<double>(row.get(), 1, columns);
  return row;
}

void convolveDense(const double* prev, int32_t lenPrev, const double* pdf, int32_t lenPdf,
                   double* out) {
  const int32_t length = lenPrev + lenPdf - 1;
  for (int32_t j = 0; j < length; ++j) {
    double sum = 0.0;
    const int32_t from = std::max(0, j - (lenPdf - 1));
    const int32_t to = std::min(j, lenPrev - 1);
    for (int32_t i = from; i <= to; ++i) {
      sum += prev[i] * pdf[j - i];
    }
    out[j] = sum;
  }
}

// One pass over the output: for each j the non-zero taps t are visited in
// decreasing order, i.e. prev[j - t] in increasing index, exactly as the
// dense sum visits them.  Only the edge outputs need bounds checks.
void convolveSparse(const double* prev, int32_t lenPrev, const double* pdf, int32_t lenPdf,
                    double* out) {
  int32_t taps[64];
  double values[64];
  int32_t count = 0;
  for (int32_t t = lenPdf - 1; t >= 0; --t) {
    if (pdf[t] != 0.0) {
      if (count == 64) {
        convolveDense(prev, lenPrev, pdf, lenPdf, out);  // not sparse enough to gather
        return;
      }
      taps[count] = t;
      values[count] = pdf[t];
      ++count;
    }
  }
  const int32_t length = lenPrev + lenPdf - 1;
  const int32_t highest = taps[0];
  const int32_t lowest = taps[count - 1];
  auto edge = [&](int32_t j) {
    double sum = 0.0;
    for (int32_t k = 0; k < count; ++k) {
      const int32_t i = j - taps[k];
      if (i >= 0 && i < lenPrev) {
        sum += prev[i] * values[k];
      }
    }
    out[j] = sum;
  };
  // Interior: every tap's index j - t lies inside prev.
  const int32_t interiorBegin = highest;
  const int32_t interiorEnd = lowest + lenPrev;  // exclusive
  for (int32_t head = 0; head < std::min(interiorBegin, length); ++head) {
    edge(head);
  }
  // Blocks of outputs side by side: each lane keeps its own sum in tap
  // order, so the block form vectorises without reordering any sum.
  constexpr int32_t kBlock = 8;
  int32_t j = interiorBegin;
  for (; j + kBlock <= interiorEnd; j += kBlock) {
    double sums[kBlock] = {};
    for (int32_t k = 0; k < count; ++k) {
      const double* source = prev + (j - taps[k]);
      const double value = values[k];
      for (int32_t lane = 0; lane < kBlock; ++lane) {
        sums[lane] += source[lane] * value;
      }
    }
    for (int32_t lane = 0; lane < kBlock; ++lane) {
      out[j + lane] = sums[lane];
    }
  }
  for (; j < length; ++j) {
    edge(j);  // the interior's last few outputs, then the tail
  }
}

// density <- density * pdf (full linear convolution), through `scratch`.
// Both are non-empty: the running density starts as [1.0] and every cursor
// density keeps at least one non-zero bin.
void convolveInto(DynArrayPtr& density, const DynArray* pdf, DynArrayPtr& scratch) {
  const int32_t lenPrev = numel(density.get());
  const int32_t lenPdf = numel(pdf);
  reshape<double>(scratch.get(), 1, lenPrev + lenPdf - 1);
  double* out = elementsOf<double>(scratch.get());
  const double* prev = elementsOf<double>(density.get());
  convolveSparse(prev, lenPrev, elementsOf<double>(pdf), lenPdf, out);
  std::swap(density, scratch);
}

// (i + offsetSum) w for i < floor(2 |offsetSum| + 2^-52) + 1.
void buildAmplitudeAxis(double offsetSum, double w, DynArray* amplitudes) {
  const double span = std::trunc(std::floor(std::fabs(offsetSum) * 2.0 + kEpsilon) + 1.0);
  const int32_t count = span >= 0.0 && span <= 2147483647.0 ? static_cast<int32_t>(span) : 0;
  reshape<double>(amplitudes, 1, count);
  double* a = elementsOf<double>(amplitudes);
  for (int32_t i = 0; i < count; ++i) {
    a[i] = (static_cast<double>(i) + offsetSum) * w;
  }
}

// The loop shared by both orders: `order` lists the kept cursors in the
// order they are combined; `roundOffsets` selects the whole-bin offsets.
bool combineCursors(const std::vector<double>& cursors, int32_t levelCount, double w,
                    bool roundOffsets, DynArray* amplitudes, DynArray* density,
                    double* offsetOut, double* widthOut) {
  // The M symbol levels and their weights 1 / M.
  const int32_t m = std::max(levelCount, 0);
  std::vector<double> levels(static_cast<size_t>(m));
  DynArrayPtr weights = doubleRow(m);
  for (int32_t i = 0; i < m; ++i) {
    levels[static_cast<size_t>(i)] = static_cast<double>(i + i) / static_cast<double>(m - 1) - 1.0;
    elementsOf<double>(weights.get())[i] = 1.0 / static_cast<double>(m);
  }
  DynArrayPtr running = doubleRow(1);
  elementsOf<double>(running.get())[0] = 1.0;
  DynArrayPtr scratch = doubleRow(0);
  DynArrayPtr points = doubleRow(m);
  DynArrayPtr pdf = doubleRow(0);
  double offsetSum = 0.0;
  bool ok = true;
  bool combinedAny = false;
  for (const double a : cursors) {
    const double magnitude = std::fabs(a);
    for (int32_t i = 0; i < m; ++i) {
      elementsOf<double>(points.get())[i] = magnitude * levels[static_cast<size_t>(i)];
    }
    double offset = 0.0;
    double width = 0.0;
    if (!quantizedHistogramPdf(w, points.get(), weights.get(), pdf.get(), nullptr, &offset,
                               &width)) {
      ok = false;
      break;
    }
    offsetSum = roundOffsets
                    ? static_cast<double>(std::roundf(static_cast<float>(offset + offsetSum)))
                    : offsetSum + offset;
    convolveInto(running, pdf.get(), scratch);
    combinedAny = true;
  }
  // The axis depends only on the offset of the last combined cursor; with no
  // cursor combined the caller's (empty) axis is left as it is.
  if (combinedAny) {
    buildAmplitudeAxis(offsetSum, w, amplitudes);
  }
  const double* result = elementsOf<double>(running.get());
  const int32_t length = numel(running.get());
  reshape<double>(density, 1, length);
  std::copy(result, result + length, elementsOf<double>(density));
  if (ok) {
    *offsetOut = offsetSum;
    *widthOut = w;
  }
  return ok;
}

}  // namespace

bool levelConvolutionPdf(const DynArray* signal, int32_t levelCount, double w,
                         DynArray* amplitudes, DynArray* density, double* offsetOut,
                         double* widthOut) {
  return combineCursors(keptCursors(signal, w), levelCount, w, false, amplitudes, density,
                        offsetOut, widthOut);
}

bool sortedLevelConvolutionPdf(const DynArray* signal, int32_t levelCount, double w,
                               DynArray* amplitudes, DynArray* density, double* offsetOut,
                               double* widthOut) {
  const std::vector<double> kept = keptCursors(signal, w);
  // Descending by magnitude, then by index; NaN magnitudes before every
  // number.  Every key differs (the index decides last), so the order is
  // unique.
  std::vector<size_t> order(kept.size());
  std::iota(order.begin(), order.end(), size_t{0});
  std::sort(order.begin(), order.end(), [&kept](size_t i, size_t j) {
    const double x = std::fabs(kept[i]);
    const double y = std::fabs(kept[j]);
    if (std::isnan(x) != std::isnan(y)) {
      return std::isnan(x);
    }
    return std::isnan(x) || x == y ? i > j : x > y;
  });
  std::vector<double> sequence;
  for (const size_t i : order) {
    sequence.push_back(kept[i]);
  }
  return combineCursors(sequence, levelCount, w, true, amplitudes, density, offsetOut, widthOut);
}

}  // namespace zefra
