// Euclidean norm of a column: the scaled recurrence of scaled_norm.h, which
// neither overflows nor underflows.
#include "numeric/reductions.h"
#include "numeric/scaled_norm.h"

namespace zefra {

double normKernel(const DynArray* x) {
  const int32_t n = x->size[0];
  return scaledEuclideanNorm(n >= 1 ? elementsOf<double>(x) : nullptr, n);
}

}  // namespace zefra
