// Convolution and filtering: conv at na = 10^5 with nb = 64 (and 10^3),
// Filter on 10^6 samples as a 16-tap FIR (fast path) and as a biquad.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "bench_data.h"
#include "zefra/tdr_helpers.h"

namespace {

void BM_conv(benchmark::State& state) {
  const auto na = static_cast<std::size_t>(state.range(0));
  const std::vector<double> a = zefra_bench::normalData(na, 1);
  const std::vector<double> b = zefra_bench::normalData(64, 2);
  std::vector<double> y(na + b.size() - 1);
  for (auto _ : state) {
    conv(a.data(), b.data(), y.data(), static_cast<int32_t>(na), 64);
    benchmark::DoNotOptimize(y.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void runFilter(benchmark::State& state, const std::vector<double>& b,
               const std::vector<double>& a) {
  const auto nx = static_cast<std::size_t>(state.range(0));
  const std::vector<double> x = zefra_bench::normalData(nx, 3);
  std::vector<double> y(nx);
  for (auto _ : state) {
    Filter(b.data(), a.data(), x.data(), y.data(), static_cast<int32_t>(b.size()),
           static_cast<int32_t>(a.size()), static_cast<int32_t>(nx));
    benchmark::DoNotOptimize(y.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_Filter_fir16(benchmark::State& state) {
  runFilter(state, zefra_bench::normalData(16, 4), {1.0});
}

void BM_Filter_biquad(benchmark::State& state) {
  runFilter(state, {0.2, 0.3, 0.1}, {1.0, -0.4, 0.2});
}

}  // namespace

BENCHMARK(BM_conv)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Filter_fir16)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Filter_biquad)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
