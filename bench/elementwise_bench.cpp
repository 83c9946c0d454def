// Element-wise and structural routines: mod (floored remainder) with a
// non-integer divisor (0.7, the snapping path) and an integer one (3, the
// exact path), Kron (outer product of two vectors) and unwrap (phase
// unwrapping of a delayed trace).  Sizes 10^3 (cache resident) and 10^6.
// Items: input elements (Kron: output elements).  Bytes: input read plus
// output written.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <vector>

#include "bench_data.h"
#include "zefra/tdr_helpers.h"

namespace {

constexpr std::int64_t kSmall = 1000;
constexpr std::int64_t kLarge = 1000000;
constexpr auto kDoubleBytes = static_cast<std::int64_t>(sizeof(double));

// x: seeded normal values scaled by 10, so that they span many periods of
// either divisor and take both signs.
void BM_mod(benchmark::State& state, double divisor) {
  const std::int64_t n = state.range(0);
  const auto size = static_cast<std::size_t>(n);
  std::vector<double> x = zefra_bench::normalData(size, 11);
  for (double& v : x) {
    v *= 10.0;
  }
  std::vector<double> y(size);
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    mod(x.data(), divisor, y.data(), n32);
    benchmark::DoNotOptimize(y.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * 2 * n * kDoubleBytes);
}

// a and b both of length n: n^2 outputs (10^3 x 10^3 = 8 MB written).
void BM_Kron(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const auto size = static_cast<std::size_t>(n);
  const std::vector<double> a = zefra_bench::normalData(size, 12);
  const std::vector<double> b = zefra_bench::normalData(size, 13);
  std::vector<double> y(size * size);
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    Kron(a.data(), b.data(), y.data(), n32, n32);
    benchmark::DoNotOptimize(y.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n * n);
  state.SetBytesProcessed(state.iterations() * (2 * n + n * n) * kDoubleBytes);
}

// Wrapped phase of a 2 ns delay sampled over 0 .. 50 GHz plus 0.05 rad of
// seeded noise.  The trace wraps about 100 times at either size; the
// small case steps by ~0.63 rad per sample, which stays below pi.
void BM_unwrap(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const auto size = static_cast<std::size_t>(n);
  const std::vector<double> f = zefra_bench::linearFrequencies(size);
  const std::vector<double> noise = zefra_bench::normalData(size, 14);
  const double twoPi = 2.0 * std::numbers::pi;
  std::vector<double> x(size);
  for (std::size_t i = 0; i < size; ++i) {
    x[i] = std::remainder(-twoPi * f[i] * 2e-9 + 0.05 * noise[i], twoPi);
  }
  std::vector<double> y(size);
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    unwrap(x.data(), y.data(), n32);
    benchmark::DoNotOptimize(y.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * 2 * n * kDoubleBytes);
}

}  // namespace

BENCHMARK_CAPTURE(BM_mod, m0p7, 0.7)->Arg(kSmall)->Arg(kLarge)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_mod, m3, 3.0)->Arg(kSmall)->Arg(kLarge)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Kron)->Arg(kSmall)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_unwrap)->Arg(kSmall)->Arg(kLarge)->Unit(benchmark::kMicrosecond);
