// Element loop, SSE2 grouped path and the choice between the forms.
#include "numeric/scaled_norm.h"

#include <cmath>

#include "numeric/cpu_features.h"
#include "numeric/scaled_norm_step.h"

namespace zefra {

using scaled_norm_detail::accumulateRange;
using scaled_norm_detail::kSmallestNormal;

double scaledEuclideanNormElementwise(const double* v, int32_t n) {
  if (n < 1) {
    return 0.0;
  }
  if (n == 1) {
    return std::fabs(v[0]);
  }
  double scale = kSmallestNormal;
  double sum = 0.0;
  accumulateRange(v, 0, n, scale, sum);
  return scale * std::sqrt(sum);
}

#if defined(ZEFRA_SCALED_NORM_SSE2)
bool scaledNormHasPairs() { return true; }

double scaledEuclideanNormPairs(const double* v, int32_t n) {
  if (n < 2) {
    return scaledEuclideanNormElementwise(v, n);
  }
  double scale = kSmallestNormal;
  double sum = 0.0;
  int32_t i = 0;
  const __m128d mask = scaled_norm_detail::signClearMask();
  // Lane 0 of acc is the sum; the sum stays the first operand of each add.
  __m128d acc = _mm_set_sd(sum);
  __m128d s = _mm_set1_pd(scale);
  for (; n - i >= 4; i += 4) {
    const __m128d t0 = _mm_and_pd(_mm_loadu_pd(v + i), mask);
    const __m128d t1 = _mm_and_pd(_mm_loadu_pd(v + i + 2), mask);
    const __m128d rescales = _mm_or_pd(_mm_cmpgt_pd(t0, s), _mm_cmpgt_pd(t1, s));
    if (_mm_movemask_pd(rescales) == 0) {
      __m128d q0 = _mm_div_pd(t0, s);
      __m128d q1 = _mm_div_pd(t1, s);
      q0 = _mm_mul_pd(q0, q0);
      q1 = _mm_mul_pd(q1, q1);
      acc = _mm_add_sd(acc, q0);
      acc = _mm_add_sd(acc, _mm_unpackhi_pd(q0, q0));
      acc = _mm_add_sd(acc, q1);
      acc = _mm_add_sd(acc, _mm_unpackhi_pd(q1, q1));
    } else {
      sum = _mm_cvtsd_f64(acc);
      accumulateRange(v, i, i + 4, scale, sum);
      acc = _mm_set_sd(sum);
      s = _mm_set1_pd(scale);
    }
  }
  sum = _mm_cvtsd_f64(acc);
  accumulateRange(v, i, n, scale, sum);
  return scale * std::sqrt(sum);
}
#else
bool scaledNormHasPairs() { return false; }

double scaledEuclideanNormPairs(const double* v, int32_t n) {
  return scaledEuclideanNormElementwise(v, n);
}
#endif

double scaledEuclideanNorm(const double* v, int32_t n) {
  // Decided once: whether the processor and the system run AVX.
  static const bool quads = scaledNormHasQuads() && cpuHasAvx();
  if (quads) {
    return scaledEuclideanNormQuads(v, n);
  }
  return scaledEuclideanNormPairs(v, n);
}

}  // namespace zefra
