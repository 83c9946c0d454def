// Euclidean norm of n consecutive doubles without overflow or underflow
// (the recurrence is described in scaled_norm_step.h).  n < 1 gives 0.0 and
// a single element its magnitude.
//
// Speed: the sum is one dependent add per element and cannot be reordered,
// but the quotient t / scale is off that chain.  A scalar division issues
// only every few cycles, slower than the add chain, so the elements are taken
// in groups: when no magnitude of a group exceeds the current scale, the
// scale cannot change inside it, every element takes the second branch with
// that same scale, and the quotients and squares are computed several per
// instruction and then added one by one in index order -- the same operations
// on the same operands as the element loop.  A group that holds a rescaling
// element (or an infinity) runs the element loop.  A NaN compares false, so
// it stays on the grouped path, as it takes the second branch.
#pragma once

#include <cstdint>

namespace zefra {

// The fastest of the forms below that this processor runs.
double scaledEuclideanNorm(const double* v, int32_t n);

// The individual forms, all giving the same bits; exposed for the tests that
// prove it.  A form this build or processor lacks falls back to the element
// loop.
double scaledEuclideanNormElementwise(const double* v, int32_t n);
double scaledEuclideanNormPairs(const double* v, int32_t n);  // SSE2, groups of 4
double scaledEuclideanNormQuads(const double* v, int32_t n);  // AVX, groups of 4
bool scaledNormHasPairs();
bool scaledNormHasQuads();

}  // namespace zefra
