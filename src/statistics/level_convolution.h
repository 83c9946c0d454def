// Density of a sum of cursors, each multiplied by an equiprobable symbol of
// M levels evenly spaced in [-1, +1].
#pragma once

#include "frame/dyn_array.h"

namespace zefra {

// signal: row {1, N}.  amplitudes and density: records reshaped to rows.
// Cursors are combined in index order and the per-cursor offsets summed.
bool levelConvolutionPdf(const DynArray* signal, int32_t levelCount, double w,
                         DynArray* amplitudes, DynArray* density, double* offsetOut,
                         double* widthOut);

// As levelConvolutionPdf, but combining the cursors from the largest
// magnitude to the smallest (equal magnitudes: higher index first) and
// rounding the accumulated offset to a whole number of bins at every step.
bool sortedLevelConvolutionPdf(const DynArray* signal, int32_t levelCount, double w,
                               DynArray* amplitudes, DynArray* density, double* offsetOut,
                               double* widthOut);

}  // namespace zefra
