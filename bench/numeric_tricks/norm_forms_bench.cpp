// Does grouping the divisions of the scaled Euclidean norm pay?
//
// The norm runs the recurrence (scale, sum) element by element:
//   t = |x|;  t > scale:  r = scale / t, sum = r sum r + 1, scale = t
//             otherwise:  r = t / scale, sum = sum + r r
// The adds form one dependent chain that cannot be reordered; the divisions
// do not.  The library takes the elements in groups of four: a group whose
// magnitudes are all <= scale divides with SSE2 (two 2-lane divisions) and
// then adds one by one in index order, the same operations as the element
// loop.  Two alternatives are timed against it:
//   - the element loop, the library's own recurrence over all n elements;
//   - an AVX form, the same groups with one 4-lane division, which the
//     library once kept beside the SSE2 form and dropped (the numbers are in
//     the commit that removed it).
// The library's form is timed through the exported norm.  The alternatives
// reuse the library's recurrence: its source is compiled into this file
// below (the recurrence is file-local there), so the bench holds only the
// AVX group step.  To re-measure on another processor:
//   zefra_numeric_tricks_bench --benchmark_filter=Norm --benchmark_repetitions=7
// Input: n seeded standard-normal doubles, n = 10^3, 10^5, 10^6.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "bench_data.h"
#include "numeric/norm.cpp"  // zefra::accumulateRange, zefra::kSmallestNormal

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define ZEFRA_TRICKS_X86 1
#endif

namespace {

// The element loop: the library's recurrence over all n elements.
double elementLoop(const double* v, int32_t n) {
  if (n < 2) {
    return zefra::scaledEuclideanNorm(v, n);  // 0 or |v[0]|: no recurrence
  }
  double scale = zefra::kSmallestNormal;
  double sum = 0.0;
  zefra::accumulateRange(v, 0, n, scale, sum);
  return scale * std::sqrt(sum);
}

#if defined(ZEFRA_NORM_SSE2)  // set by norm.cpp where the library takes the SSE2 groups
// The library's form, through the export.
double libraryNorm(const double* v, int32_t n) { return norm(v, n); }
#endif

#if defined(ZEFRA_TRICKS_X86)
// Groups of four that leave the scale alone divide in one 4-lane step and
// add in index order; a group with a rescaling element, and the last n % 4
// elements, run the library's recurrence.
__attribute__((target("avx"))) double avxGroups(const double* v, int32_t n) {
  if (n < 2) {
    return elementLoop(v, n);
  }
  double scale = zefra::kSmallestNormal;
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
      zefra::accumulateRange(v, i, i + 4, scale, sum);
      acc = _mm_set_sd(sum);
      s = _mm256_set1_pd(scale);
    }
  }
  sum = _mm_cvtsd_f64(acc);
  zefra::accumulateRange(v, i, n, scale, sum);
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
#if defined(ZEFRA_NORM_SSE2)
BENCHMARK(runForm<libraryNorm>)->Name("Norm/sse2_groups")->Arg(1000)->Arg(100000)->Arg(1000000);
#endif
#if defined(ZEFRA_TRICKS_X86)
BENCHMARK(runForm<avxGroups>)->Name("Norm/avx_groups")->Arg(1000)->Arg(100000)->Arg(1000000);
#endif
