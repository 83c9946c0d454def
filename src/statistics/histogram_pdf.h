// Weighted histogram of points on a uniform grid: the core of the density
// routines.
#pragma once

#include "frame/dyn_array.h"

namespace zefra {

// Quantises `points` (a row of n >= 1 doubles, only read) to the grid of
// width w, accumulates weights[i] (0.0 past the weights' length) in
// the nearest bin, normalises and trims empty end bins into pdfOut (a row).
// centersOut, when not null, receives the grid (k - |x|) w of
// 2 |round(x)| + 1 values.  On success writes *offsetOut = x (the first
// kept bin, in bins) and *widthOut = w and returns true; returns false,
// writing nothing, when the bin count exceeds 2000 or is not defined (n < 1,
// NaN or zero width, a non-finite point range, a negative width unless its
// span rounds to a single bin) or when the centre grid would exceed 2^31 - 1
// values.
bool quantizedHistogramPdf(double w, const DynArray* points, const DynArray* weights, DynArray* pdfOut,
                           DynArray* centersOut, double* offsetOut, double* widthOut);

}  // namespace zefra
