// Does grouping the divisions of the scaled Euclidean norm pay?
//
// The library's norm runs the recurrence (scale, sum) element by element:
//   t = |x|;  t > scale:  r = scale / t, sum = r sum r + 1, scale = t
//             otherwise:  r = t / scale, sum = sum + r r
// The adds form one dependent chain that cannot be reordered; the divisions
// do not.  Two grouped forms were once kept beside the element loop: groups
// of four whose magnitudes are all <= scale divide with SSE2 (two 2-lane
// divisions) or AVX (one 4-lane division) and then add one by one in index
// order, the same operations as the element loop.  This benchmark keeps
// copies of all three forms (the library kept only the element loop, see the
// numbers in the commit that removed the grouped ones) so the decision can
// be re-measured on another processor:
//   zefra_numeric_tricks_bench --benchmark_filter=Norm --benchmark_repetitions=7
// Input: n seeded standard-normal doubles, n = 10^3, 10^5, 10^6.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "bench_data.h"

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define ZEFRA_TRICKS_X86 1
#endif

namespace {

constexpr double kSmallestNormal = 2.2250738585072014e-308;

#if defined(ZEFRA_TRICKS_X86)
inline double magnitude(double x) {
  const __m128d mask = _mm_castsi128_pd(_mm_set1_epi64x(0x7fffffffffffffffLL));
  return _mm_cvtsd_f64(_mm_and_pd(_mm_set_sd(x), mask));
}
inline double addToSum(double sum, double x) {
  return _mm_cvtsd_f64(_mm_add_sd(_mm_set_sd(sum), _mm_set_sd(x)));
}
#else
inline double magnitude(double x) { return std::fabs(x); }
inline double addToSum(double sum, double x) { return sum + x; }
#endif

inline void accumulateRange(const double* v, int32_t from, int32_t to, double& scale,
                            double& sum) {
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

double elementLoop(const double* v, int32_t n) {
  if (n < 1) return 0.0;
  if (n == 1) return std::fabs(v[0]);
  double scale = kSmallestNormal;
  double sum = 0.0;
  accumulateRange(v, 0, n, scale, sum);
  return scale * std::sqrt(sum);
}

#if defined(ZEFRA_TRICKS_X86)
double sse2Groups(const double* v, int32_t n) {
  if (n < 2) return elementLoop(v, n);
  double scale = kSmallestNormal;
  double sum = 0.0;
  int32_t i = 0;
  const __m128d mask = _mm_castsi128_pd(_mm_set1_epi64x(0x7fffffffffffffffLL));
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

__attribute__((target("avx"))) double avxGroups(const double* v, int32_t n) {
  if (n < 2) return elementLoop(v, n);
  double scale = kSmallestNormal;
  double sum = 0.0;
  int32_t i = 0;
  const __m256d mask = _mm256_castsi256_pd(_mm256_set1_epi64x(0x7fffffffffffffffLL));
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
#endif

template <double (*Form)(const double*, int32_t)>
void runForm(benchmark::State& state) {
#if defined(ZEFRA_TRICKS_X86)
  if (Form == avxGroups && !__builtin_cpu_supports("avx")) {
    state.SkipWithError("no AVX on this processor");
    return;
  }
#endif
  const std::vector<double> x = zefra_bench::normalData(static_cast<std::size_t>(state.range(0)));
  const auto n = static_cast<int32_t>(x.size());
  for (auto _ : state) {
    double r = Form(x.data(), n);
    benchmark::DoNotOptimize(r);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

}  // namespace

BENCHMARK(runForm<elementLoop>)->Name("Norm/element_loop")->Arg(1000)->Arg(100000)->Arg(1000000);
#if defined(ZEFRA_TRICKS_X86)
BENCHMARK(runForm<sse2Groups>)->Name("Norm/sse2_groups")->Arg(1000)->Arg(100000)->Arg(1000000);
BENCHMARK(runForm<avxGroups>)->Name("Norm/avx_groups")->Arg(1000)->Arg(100000)->Arg(1000000);
#endif
