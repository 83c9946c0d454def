// One element of the overflow-safe Euclidean norm recurrence, shared by the
// element loop and the grouped paths of scaled_norm.cpp.
//
// The running state is (scale, sum) with norm = scale * sqrt(sum) and every
// scaled square t / scale <= 1.  An element larger than the scale rescales:
//   r = scale / t;  sum = r * sum * r + 1.0;  scale = t
// and any other element adds (t / scale)^2.  A NaN fails the comparison,
// takes the second branch and makes the sum NaN.
//
// NaN bits: the magnitude is taken with an explicit sign-bit mask, so a NaN
// keeps its payload with the sign cleared as |x| gives it (a compiler may
// otherwise drop a fabs in front of a squared quotient), and the sum is the
// first operand of its add, so a NaN sum wins over a NaN square (the hardware
// returns the first operand's NaN; a compiler may swap the operands of a
// plain +).  The first NaN that reaches the sum is the one returned.
#pragma once

#include <cmath>
#include <cstdint>

#if defined(__SSE2__) || defined(_M_X64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)
#define ZEFRA_SCALED_NORM_SSE2 1
#include <emmintrin.h>
#endif

namespace zefra::scaled_norm_detail {

inline constexpr double kSmallestNormal = 2.2250738585072014e-308;

#if defined(ZEFRA_SCALED_NORM_SSE2)
inline __m128d signClearMask() {
  return _mm_castsi128_pd(_mm_set1_epi64x(0x7fffffffffffffffLL));
}

inline double magnitude(double x) {
  return _mm_cvtsd_f64(_mm_and_pd(_mm_set_sd(x), signClearMask()));
}

inline double addToSum(double sum, double x) {
  return _mm_cvtsd_f64(_mm_add_sd(_mm_set_sd(sum), _mm_set_sd(x)));
}
#else
inline double magnitude(double x) { return std::fabs(x); }
inline double addToSum(double sum, double x) { return sum + x; }
#endif

inline void accumulate(double t, double& scale, double& sum) {
  if (t > scale) {
    const double r = scale / t;
    sum = r * sum * r + 1.0;
    scale = t;
  } else {
    const double r = t / scale;
    sum = addToSum(sum, r * r);
  }
}

// Runs elements [from, to) through the recurrence.
inline void accumulateRange(const double* v, int32_t from, int32_t to, double& scale,
                            double& sum) {
  for (int32_t i = from; i < to; ++i) {
    accumulate(magnitude(v[i]), scale, sum);
  }
}

}  // namespace zefra::scaled_norm_detail
