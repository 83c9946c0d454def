// AVX grouped path of the scaled Euclidean norm: a group of four magnitudes is
// one 256-bit register, so one instruction divides the whole group.  The adds
// stay scalar and in index order.  Only called when the processor reports AVX
// (see scaled_norm.cpp).
#include <cmath>

#include "numeric/scaled_norm.h"
#include "numeric/scaled_norm_step.h"

#if defined(ZEFRA_SCALED_NORM_SSE2) && (defined(__x86_64__) || defined(_M_X64)) && \
    (defined(__GNUC__) || defined(_MSC_VER))
#define ZEFRA_SCALED_NORM_AVX 1
#include <immintrin.h>
#endif

#if defined(ZEFRA_SCALED_NORM_AVX) && defined(__GNUC__)
#define ZEFRA_TARGET_AVX __attribute__((target("avx")))
#else
#define ZEFRA_TARGET_AVX
#endif

namespace zefra {

#if defined(ZEFRA_SCALED_NORM_AVX)
bool scaledNormHasQuads() { return true; }

ZEFRA_TARGET_AVX double scaledEuclideanNormQuads(const double* v, int32_t n) {
  using scaled_norm_detail::accumulateRange;
  if (n < 2) {
    return scaledEuclideanNormElementwise(v, n);
  }
  double scale = scaled_norm_detail::kSmallestNormal;
  double sum = 0.0;
  int32_t i = 0;
  const __m256d mask = _mm256_castsi256_pd(_mm256_set1_epi64x(0x7fffffffffffffffLL));
  // Lane 0 of acc is the sum; the sum stays the first operand of each add.
  __m128d acc = _mm_set_sd(sum);
  __m256d s = _mm256_set1_pd(scale);
  for (; n - i >= 4; i += 4) {
    const __m256d t = _mm256_and_pd(_mm256_loadu_pd(v + i), mask);
    if (_mm256_movemask_pd(_mm256_cmp_pd(t, s, _CMP_GT_OQ)) == 0) {
      __m256d q = _mm256_div_pd(t, s);
      q = _mm256_mul_pd(q, q);
      const __m128d low = _mm256_castpd256_pd128(q);
      const __m128d high = _mm256_extractf128_pd(q, 1);
      acc = _mm_add_sd(acc, low);
      acc = _mm_add_sd(acc, _mm_unpackhi_pd(low, low));
      acc = _mm_add_sd(acc, high);
      acc = _mm_add_sd(acc, _mm_unpackhi_pd(high, high));
    } else {
      sum = _mm_cvtsd_f64(acc);
      accumulateRange(v, i, i + 4, scale, sum);
      acc = _mm_set_sd(sum);
      s = _mm256_set1_pd(scale);
    }
  }
  sum = _mm_cvtsd_f64(acc);
  accumulateRange(v, i, n, scale, sum);
  return scale * std::sqrt(sum);
}
#else
bool scaledNormHasQuads() { return false; }

double scaledEuclideanNormQuads(const double* v, int32_t n) {
  return scaledEuclideanNormElementwise(v, n);
}
#endif

}  // namespace zefra
