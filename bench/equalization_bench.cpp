// Inverse erfc over a vector and the time-domain CTLE over a waveform, at
// 10^3 and 10^6 samples.  Items: samples.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "bench_data.h"
#include "zefra/tdr_helpers.h"

namespace {

void BM_erfcinv(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  std::vector<double> x = zefra_bench::normalData(n);
  for (double& v : x) v = v < 0.0 ? (v < -1.9 ? 0.05 : 1.0 + v / 2.0) : (v > 1.9 ? 1.95 : v / 2.0 + 0.01);
  std::vector<double> y(n);
  for (auto _ : state) {
    erfcinv(x.data(), y.data(), static_cast<int32_t>(n));
    benchmark::DoNotOptimize(y.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

// 28 GBd with 4 samples per UI, zero at 3 GHz, poles at 7 and 28 GHz, 6 dB.
void BM_td_ctle(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const std::vector<double> x = zefra_bench::normalData(n);
  std::vector<double> y(n);
  for (auto _ : state) {
    td_ctle(x.data(), y.data(), static_cast<int32_t>(n), 28e9, 3e9, 7e9, 28e9, 6.0, 4.0);
    benchmark::DoNotOptimize(y.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetBytesProcessed(state.iterations() * state.range(0) * 16);
}

}  // namespace

BENCHMARK(BM_erfcinv)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_td_ctle)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
