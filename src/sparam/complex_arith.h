// Element-wise complex arithmetic on rows of Complex.  Each result record is
// reshaped to {1, n}, n being the column count of the first input, and grown
// as needed (its storage never shrinks).  Inputs are row vectors; the result
// is always a record distinct from the inputs.
#pragma once

#include "frame/dyn_array.h"

namespace zefra {

// out[k] = x[k] * x[k]; n = columns of x.
void complexSquare(const DynArray* x, DynArray* out);

// out[k] = 2 / x[k]; runs over every element of x.
void twoOverComplex(const DynArray* x, DynArray* out);

// out[k] = a[k] / b[k]; runs over every element of a, reading b at the same
// linear index (b must hold at least as many elements).
void complexDivide(const DynArray* a, const DynArray* b, DynArray* out);

// Shapes `out` as a row of `columns` complex values, keeping its storage.
void shapeComplexRow(DynArray* out, int32_t columns);

}  // namespace zefra
