// Full linear convolution y[k] = sum_{j} a[j] b[k - j], each sum taken in
// increasing j from 0.0 (so no FFT: its rounding differs).
//
// Speed comes from computing a block of outputs side by side: in the
// interior, where every output of the block sums over the full length of
// b, lane l of the block accumulates a[k + l - nb + 1 + t] * b[nb - 1 - t]
// for t = 0, 1, ..., which is increasing j for every lane.  The lanes are
// independent sums, so the block vectorises without reordering any sum.
#include <algorithm>
#include <cstdint>

#include "numeric/vector_kernels.h"

namespace zefra {
namespace {

// One output by the literal sum (used at the edges).
double convolutionAt(const double* a, int32_t na, const double* b, int32_t nb, int32_t k) {
  const int32_t jlo = k - nb + 1 > 0 ? k - nb + 1 : 0;
  const int32_t jhi = std::min(k, na - 1);
  double sum = 0.0;
  for (int32_t j = jlo; j <= jhi; ++j) {
    sum += a[j] * b[k - j];
  }
  return sum;
}

}  // namespace

void convKernel(const DynArray* a, const DynArray* b, DynArray* y) {
  const int32_t na = a->size[0];
  const int32_t nb = b->size[0];
  // na + nb - 1 (na + nb when one input is empty), formed in 64 bits: a
  // length beyond 2^31 - 1 or below 1 leaves the result empty.
  const int64_t wide = na != 0 && nb != 0 ? int64_t{na} + nb - 1 : int64_t{na} + nb;
  const int32_t length = wide > 0 && wide <= INT32_MAX ? static_cast<int32_t>(wide) : 0;
  const int32_t before = numel(y);
  y->size[0] = length;
  ensureCapacity(y, before, static_cast<int32_t>(sizeof(double)));
  if (length <= 0) {
    return;
  }
  double* out = elementsOf<double>(y);
  if (na == 0 || nb == 0) {
    std::fill(out, out + length, 0.0);
    return;
  }
  const double* av = elementsOf<double>(a);
  const double* bv = elementsOf<double>(b);
  if (na < 0 || nb < 0) {
    // A negative count leaves every sum empty: zeros, nothing read.
    for (int32_t k = 0; k < length; ++k) {
      out[k] = convolutionAt(av, na, bv, nb, k);
    }
    return;
  }
  // Interior outputs k in [nb - 1, na - 1]: j runs over k - nb + 1 ... k.
  const int32_t interiorBegin = nb - 1;
  const int32_t interiorEnd = na;  // exclusive
  constexpr int32_t kBlock = 8;
  int32_t k = 0;
  for (; k < std::min(interiorBegin, length); ++k) {
    out[k] = convolutionAt(av, na, bv, nb, k);
  }
  for (; k + kBlock <= interiorEnd; k += kBlock) {
    double sums[kBlock] = {};
    const double* source = av + (k - nb + 1);
    for (int32_t t = 0; t < nb; ++t) {
      const double coefficient = bv[nb - 1 - t];
      for (int32_t lane = 0; lane < kBlock; ++lane) {
        sums[lane] += source[t + lane] * coefficient;
      }
    }
    for (int32_t lane = 0; lane < kBlock; ++lane) {
      out[k + lane] = sums[lane];
    }
  }
  for (; k < length; ++k) {
    out[k] = convolutionAt(av, na, bv, nb, k);
  }
}

}  // namespace zefra
