// Least-squares straight-line fit by Householder QR with column pivoting.
#pragma once

#include "frame/dyn_array.h"

namespace zefra {

// x, y: columns {m, 1} (y read for m values, 0.0 past its length).  Writes
// coeffs[0] = slope and coeffs[1] = intercept.
void polyfitLinear(const DynArray* x, const DynArray* y, double* coeffs);

}  // namespace zefra
