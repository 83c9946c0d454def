// Does a filter section with its orders fixed at compile time pay?
//
// The library's Filter runs the transposed direct form II, one state update
// per sample:
//   y = z[1] + b[0] x,   z[i] = z[i+1] + b[i] x - a[i] y   (ascending i)
// with each term present only for i < nb, respectively 1 <= i < na.  A table
// of 121 instantiations (nb, na = 0 .. 10) with the lengths as template
// parameters, so that the states could live in registers, was once kept
// beside that general loop.  Both forms are copied here (the library kept
// only the general loop; the numbers are in the commit that removed the
// table) so the decision can be re-measured:
//   zefra_numeric_tricks_bench --benchmark_filter=Filter --benchmark_repetitions=7
// Input: nx seeded standard-normal samples, nx = 10^4 .. 10^6; a stable
// filter with nb = na = order + 1 taps, order 1, 2, 4, 7.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <vector>

#include "bench_data.h"

namespace {

void generalLoop(const double* b, int32_t nb, const double* a, int32_t na, const double* x,
                 int32_t nx, double* y) {
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

template <int NB, int NA>
void fixedOrderSection(const double* b, const double* a, const double* x, int32_t nx,
                       double* y) {
  constexpr int kStates = (NA > NB ? NA : NB) + 1;
  double bc[static_cast<size_t>(NB > 0 ? NB : 1)] = {};
  double ac[static_cast<size_t>(NA > 0 ? NA : 1)] = {};
  for (int i = 0; i < NB; ++i) bc[i] = b[i];
  for (int i = 0; i < NA; ++i) ac[i] = a[i];
  double z[static_cast<size_t>(kStates) + 1] = {};
  for (int32_t k = 0; k < nx; ++k) {
    const double xk = x[k];
    double y0 = z[1];
    if constexpr (NB > 0) {
      y0 = y0 + bc[0] * xk;
    }
    for (int i = 1; i < kStates - 1; ++i) {
      double v = z[i + 1];
      if (i < NB) v = v + bc[i] * xk;
      if (i < NA) v = v - ac[i] * y0;
      z[i] = v;
    }
    y[k] = y0;
  }
}

constexpr int kFixedOrders = 11;
using SectionRunner = void (*)(const double*, const double*, const double*, int32_t, double*);

template <int... I>
constexpr auto sectionTable(std::integer_sequence<int, I...>) {
  return std::array<SectionRunner, sizeof...(I)>{
      &fixedOrderSection<I / kFixedOrders, I % kFixedOrders>...};
}

constexpr auto kSections =
    sectionTable(std::make_integer_sequence<int, kFixedOrders * kFixedOrders>{});

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

void BM_FilterGeneral(benchmark::State& state) {
  std::vector<double> b;
  std::vector<double> a;
  coefficients(static_cast<int>(state.range(0)), b, a);
  const std::vector<double> x = zefra_bench::normalData(static_cast<size_t>(state.range(1)), 3);
  std::vector<double> y(x.size());
  for (auto _ : state) {
    generalLoop(b.data(), static_cast<int32_t>(b.size()), a.data(), static_cast<int32_t>(a.size()),
                x.data(), static_cast<int32_t>(x.size()), y.data());
    benchmark::DoNotOptimize(y.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(1));
}

void BM_FilterFixedOrder(benchmark::State& state) {
  std::vector<double> b;
  std::vector<double> a;
  coefficients(static_cast<int>(state.range(0)), b, a);
  const std::vector<double> x = zefra_bench::normalData(static_cast<size_t>(state.range(1)), 3);
  std::vector<double> y(x.size());
  const SectionRunner run = kSections[b.size() * kFixedOrders + a.size()];
  for (auto _ : state) {
    run(b.data(), a.data(), x.data(), static_cast<int32_t>(x.size()), y.data());
    benchmark::DoNotOptimize(y.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(1));
}

}  // namespace

BENCHMARK(BM_FilterGeneral)
    ->ArgsProduct({{1, 2, 4, 7}, {10000, 100000, 1000000}})
    ->ArgNames({"order", "nx"})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FilterFixedOrder)
    ->ArgsProduct({{1, 2, 4, 7}, {10000, 100000, 1000000}})
    ->ArgNames({"order", "nx"})
    ->Unit(benchmark::kMicrosecond);
