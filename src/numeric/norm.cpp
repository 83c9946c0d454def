// Euclidean norm of n doubles without overflow or underflow.  The running
// state is (scale, sum) with norm = scale * sqrt(sum) and every scaled
// square (t / scale)^2 <= 1; scale starts at the smallest normal double and
// sum at 0.  Per element, t = |x|:
//   t > scale:  r = scale / t;  sum = r * sum * r + 1.0;  scale = t
//   otherwise:  r = t / scale;  sum = sum + r * r
// n < 1 gives 0.0 and a single element its magnitude.  A NaN fails the
// comparison, takes the second branch and makes the sum NaN.
//
// NaN bits: the magnitude is taken with an explicit sign-bit mask, so a NaN
// keeps its payload with the sign cleared as |x| gives it (a compiler may
// otherwise drop a fabs in front of a squared quotient), and the sum is the
// first operand of its add, so a NaN sum wins over a NaN square (the hardware
// returns the first operand's NaN; a compiler may swap the operands of a
// plain +).  The first NaN that reaches the sum is the one returned.
//
// Speed: the adds form one dependent chain that keeps index order, but the
// divisions are off that chain, and a scalar division issues only every few
// cycles.  So the elements are taken in groups of four: when no magnitude of
// a group exceeds the scale, the scale cannot change inside it, and the four
// quotients and squares are formed two per instruction and then added one by
// one in index order -- the same operations on the same operands as the
// element loop.  A group holding a rescaling element (or an infinity) runs
// the element loop; a NaN compares false and stays in the group, as it takes
// the second branch.  This is about 1.5 times the speed of the element loop
// from n = 10^3 to 10^6 (bench/numeric_tricks/norm_forms_bench.cpp).
#include <cmath>

#include "numeric/reductions.h"

#if defined(__SSE2__) || defined(_M_X64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)
#define ZEFRA_NORM_SSE2 1
#include <emmintrin.h>
#endif

namespace zefra {
namespace {

constexpr double kSmallestNormal = 2.2250738585072014e-308;

#if defined(ZEFRA_NORM_SSE2)
__m128d signClearMask() { return _mm_castsi128_pd(_mm_set1_epi64x(0x7fffffffffffffffLL)); }

double magnitude(double x) { return _mm_cvtsd_f64(_mm_and_pd(_mm_set_sd(x), signClearMask())); }

double addToSum(double sum, double x) {
  return _mm_cvtsd_f64(_mm_add_sd(_mm_set_sd(sum), _mm_set_sd(x)));
}
#else
double magnitude(double x) { return std::fabs(x); }
double addToSum(double sum, double x) { return sum + x; }
#endif

// Runs elements [from, to) through the recurrence.
void accumulateRange(const double* v, int32_t from, int32_t to, double& scale, double& sum) {
  for (int32_t i = from; i < to; ++i) {
    const double t = magnitude(v[i]);
    if (t > scale) {
      const double r = scale / t;
      sum = r * sum * r + 1.0;
      scale = t;
    } else {
      const double r = t / scale;
      sum = addToSum(sum, r * r);
    }
  }
}

}  // namespace

double scaledEuclideanNorm(const double* v, int32_t n) {
  if (n < 1) {
    return 0.0;
  }
  if (n == 1) {
    return std::fabs(v[0]);
  }
  double scale = kSmallestNormal;
  double sum = 0.0;
  int32_t i = 0;
#if defined(ZEFRA_NORM_SSE2)
  const __m128d mask = signClearMask();
  // Lane 0 of acc is the sum; the sum stays the first operand of each add.
  __m128d acc = _mm_set_sd(sum);
  __m128d s = _mm_set1_pd(scale);
  for (; n - i >= 4; i += 4) {
    const __m128d t0 = _mm_and_pd(_mm_loadu_pd(v + i), mask);
    const __m128d t1 = _mm_and_pd(_mm_loadu_pd(v + i + 2), mask);
    if (_mm_movemask_pd(_mm_or_pd(_mm_cmpgt_pd(t0, s), _mm_cmpgt_pd(t1, s))) == 0) {
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
#endif
  accumulateRange(v, i, n, scale, sum);
  return scale * std::sqrt(sum);
}

double normKernel(const DynArray* x) {
  const int32_t n = x->size[0];
  return scaledEuclideanNorm(n >= 1 ? elementsOf<double>(x) : nullptr, n);
}

}  // namespace zefra
