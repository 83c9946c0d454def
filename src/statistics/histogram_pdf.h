// Weighted histogram of points on a uniform grid: the core of the density
// routines.
#pragma once

#include <cstdint>

#include "frame/dyn_array.h"

namespace zefra {

// Largest number of bins a density may span.
inline constexpr int32_t kMaxDensityBins = 2000;

// Quantises `points` (a row of n >= 1 doubles, only read) to the grid of
// width w, accumulates weights[i] (0.0 past the weights' length) in
// the nearest bin, normalises and trims empty end bins into pdfOut (a row).
// centersOut, when not null, receives the grid (k - |x|) w of
// 2 |round(x)| + 1 values.  On success writes *offsetOut = x (the first
// kept bin, in bins) and *widthOut = w and returns true; returns false,
// writing nothing, when the bin count exceeds 2000 or is not defined (n < 1,
// NaN, zero or negative width, a non-finite point range) or when the centre
// grid would exceed 2^31 - 1 values.
bool quantizedHistogramPdf(double w, const DynArray* points, const DynArray* weights, DynArray* pdfOut,
                           DynArray* centersOut, double* offsetOut, double* widthOut);

// The bin j in [0, binCount) minimising |(qMin - q) + j w|, ties to the
// lower j: in O(1) from the position of q on the grid.
int32_t nearestBin(double qMin, double q, double w, int32_t binCount);

// The same bin by the literal scan from j = 0 that keeps the first
// strictly smallest distance.
int32_t nearestBinByScan(double qMin, double q, double w, int32_t binCount);

}  // namespace zefra
