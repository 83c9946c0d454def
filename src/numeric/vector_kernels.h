// Kernels of the element-wise, structural and polynomial exports.  Lengths
// come from the first extent (size[0]) of each input record.
#pragma once

#include "frame/dyn_array.h"

namespace zefra {

// Floored remainder by m with the sign of m (see remainder.h).
void modKernel(const DynArray* x, double m, DynArray* y);

// y = (a[0] b, a[1] b, ...), length na * nb.
void kronKernel(const DynArray* a, const DynArray* b, DynArray* y);

// Full linear convolution; length na + nb - 1, or na + nb zeros when one
// input is empty.
void convKernel(const DynArray* a, const DynArray* b, DynArray* y);

// Rational filter with zero initial state (FIR fast path or transposed
// direct form II).
void filterKernel(const DynArray* b, const DynArray* a, const DynArray* x, DynArray* y);

// Phase unwrapping that skips NaN and exact-zero samples.
void unwrapKernel(const DynArray* x, DynArray* y);

// Coefficients of the monic polynomial with roots r, as a row {1, n + 1}.
void polyFromRoots(const DynArray* r, DynArray* c);

// Horner evaluation of real coefficients p at complex points z into w.
void polyvalComplex(const DynArray* p, const DynArray* z, DynArray* w);

}  // namespace zefra
