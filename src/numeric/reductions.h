// Reductions of a column of doubles to one double.  Each kernel takes the
// element count from the record's first extent.
#pragma once

#include "frame/dyn_array.h"

namespace zefra {

// Median under the stable order in which NaN sorts after every number.
double medianKernel(const DynArray* x);

// Sample standard deviation (divisor n - 1; a single value gives 0.0).
double stdKernel(const DynArray* x);

// Euclidean length, scaled so that it neither overflows nor underflows.
double normKernel(const DynArray* x);

// The same for n consecutive doubles (n < 1 gives 0.0).
double scaledEuclideanNorm(const double* v, int32_t n);

}  // namespace zefra
