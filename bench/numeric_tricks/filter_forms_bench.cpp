// Does a filter section with its orders fixed at compile time pay?
//
// Filter runs the transposed direct form II, one state update per sample:
//   y = z[1] + b[0] x,   z[i] = z[i+1] + b[i] x - a[i] y   (ascending i)
// with each term present only for i < nb, respectively 1 <= i < na.  For
// nb, na <= 10 the library runs a section with the lengths as template
// parameters, so that the states stay in registers; longer filters run a
// general loop over the lengths.  The fixed-order section is timed through
// the exported Filter.  The general loop is a copy of the library's loop for
// longer filters (src/numeric/filter.cpp), which the library reaches only
// past 10 taps, so that it can be timed at the same orders:
//   zefra_numeric_tricks_bench --benchmark_filter=Filter --benchmark_repetitions=7
// Input: nx seeded standard-normal samples, nx = 10^4 .. 10^6; a stable
// filter with nb = na = order + 1 taps, order 1, 2, 4, 7 (a[0] = 1 and
// na > 1, so Filter neither rescales nor takes its FIR path).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "bench_data.h"

namespace {

// The general loop (Filter's argument order).
void generalLoop(const double* b, const double* a, const double* x, double* y, int32_t nb,
                 int32_t na, int32_t nx) {
  const int32_t ncoef = std::max(na, nb);
  std::vector<double> state(static_cast<size_t>(ncoef) + 2, 0.0);
  double* z = state.data();
  const int32_t both = std::min(na, nb);
  for (int32_t k = 0; k < nx; ++k) {
    const double xk = x[k];
    double y0 = z[1];
    if (nb > 0) {
      y0 = y0 + b[0] * xk;
    }
    for (int32_t i = 1; i < both; ++i) {
      z[i] = z[i + 1] + b[i] * xk - a[i] * y0;
    }
    for (int32_t i = std::max(both, 1); i < nb; ++i) {
      z[i] = z[i + 1] + b[i] * xk;
    }
    for (int32_t i = std::max(both, 1); i < na; ++i) {
      z[i] = z[i + 1] - a[i] * y0;
    }
    y[k] = y0;
  }
}

// A stable filter of the given order: poles at 0.5 (a = (1 - 0.5 z^-1)^order
// expanded), numerator taps from the seeded normal data.
void coefficients(int order, std::vector<double>& b, std::vector<double>& a) {
  a.assign(1, 1.0);
  for (int k = 0; k < order; ++k) {
    a.push_back(0.0);
    for (size_t j = a.size() - 1; j >= 1; --j) a[j] -= 0.5 * a[j - 1];
  }
  b = zefra_bench::normalData(static_cast<size_t>(order) + 1, 7);
}

// Times one form (Filter's signature) at order state.range(0) on
// nx = state.range(1) samples.
template <void (*Form)(const double*, const double*, const double*, double*, int32_t, int32_t,
                       int32_t)>
void runForm(benchmark::State& state) {
  std::vector<double> b;
  std::vector<double> a;
  coefficients(static_cast<int>(state.range(0)), b, a);
  const std::vector<double> x = zefra_bench::normalData(static_cast<size_t>(state.range(1)), 3);
  std::vector<double> y(x.size());
  for (auto _ : state) {
    Form(b.data(), a.data(), x.data(), y.data(), static_cast<int32_t>(b.size()),
         static_cast<int32_t>(a.size()), static_cast<int32_t>(x.size()));
    benchmark::DoNotOptimize(y.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(1));
}

// The library's form (fixed-order sections up to 10 taps), through the export.
void libraryFilter(const double* b, const double* a, const double* x, double* y, int32_t nb,
                   int32_t na, int32_t nx) {
  Filter(b, a, x, y, nb, na, nx);
}

}  // namespace

BENCHMARK(runForm<generalLoop>)
    ->Name("BM_FilterGeneral")
    ->ArgsProduct({{1, 2, 4, 7}, {10000, 100000, 1000000}})
    ->ArgNames({"order", "nx"})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(runForm<libraryFilter>)
    ->Name("BM_FilterFixedOrder")
    ->ArgsProduct({{1, 2, 4, 7}, {10000, 100000, 1000000}})
    ->ArgNames({"order", "nx"})
    ->Unit(benchmark::kMicrosecond);
