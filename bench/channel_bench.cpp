// Channel models: cascade of two two-ports (combineS4p), a lossy causal
// transmission line (synth_tline) and an IC package path (makePackage), at
// 10^4 and 10^6 frequency points spread linearly over 0 .. 50 GHz.
// Items: frequency points.  Bytes: every input array read plus the four
// output arrays written.
#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bench_data.h"
#include "zefra/tdr_helpers.h"

namespace {

constexpr std::int64_t kSmall = 10000;
constexpr std::int64_t kLarge = 1000000;
constexpr auto kComplexBytes = static_cast<std::int64_t>(sizeof(zefra_complex));
constexpr auto kDoubleBytes = static_cast<std::int64_t>(sizeof(double));

// Four output traces, S11 S12 S21 S22, allocated before timing.
struct SParams {
  explicit SParams(std::size_t n) : s11(n), s12(n), s21(n), s22(n) {}
  std::vector<zefra_complex> s11, s12, s21, s22;

  void keep() {
    benchmark::DoNotOptimize(s11.data());
    benchmark::DoNotOptimize(s12.data());
    benchmark::DoNotOptimize(s21.data());
    benchmark::DoNotOptimize(s22.data());
    benchmark::ClobberMemory();
  }
};

// Two random networks with |S| < 0.9 (so D = 1 - A22*B11 stays away from 0).
void BM_combineS4p(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const auto size = static_cast<std::size_t>(n);
  std::array<std::vector<zefra_complex>, 8> in;
  for (std::size_t k = 0; k < in.size(); ++k) {
    in[k] = zefra_bench::randomSParam(size, 1000u + k);
  }
  SParams out(size);
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    combineS4p(in[0].data(), in[1].data(), in[2].data(), in[3].data(),
               in[4].data(), in[5].data(), in[6].data(), in[7].data(), n32,
               out.s11.data(), out.s12.data(), out.s21.data(), out.s22.data());
    out.keep();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * (8 + 4) * n * kComplexBytes);
}

// 50-ohm line between 25-ohm ports (zB enters doubled, so the steps match),
// loss 0.01 + 0.05 sqrt(GHz) + 0.02 GHz per unit, 0.15 ns per unit, 10 units.
void BM_synth_tline(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const auto size = static_cast<std::size_t>(n);
  const std::vector<double> freq = zefra_bench::linearFrequencies(size);
  const std::array<double, 3> coeffs{0.01, 0.05, 0.02};
  SParams out(size);
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    synth_tline(freq.data(), n32, 50.0, 25.0, coeffs.data(),
                static_cast<std::int32_t>(coeffs.size()), 0.15, 10.0,
                out.s11.data(), out.s12.data(), out.s21.data(), out.s22.data());
    out.keep();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() *
                          (n * kDoubleBytes + 3 * kDoubleBytes + 4 * n * kComplexBytes));
}

// Package: 0.2 pF in/out, 0.5 nH series, 0.1 pF middle, one unit of
// 100-ohm line at 0.1 ns per unit with loss {0.01, 0.02, 0.01}, 50-ohm ref.
void BM_makePackage(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const auto size = static_cast<std::size_t>(n);
  const std::vector<double> freq = zefra_bench::linearFrequencies(size);
  const std::array<double, 3> loss{0.01, 0.02, 0.01};
  SParams out(size);
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    makePackage(freq.data(), n32, 1.0, 0.2e-12, 0.2e-12, 100.0, 0.1, loss.data(),
                static_cast<std::int32_t>(loss.size()), 50.0, 0.5e-9, 0.1e-12,
                out.s11.data(), out.s12.data(), out.s21.data(), out.s22.data());
    out.keep();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() *
                          (n * kDoubleBytes + 3 * kDoubleBytes + 4 * n * kComplexBytes));
}

}  // namespace

BENCHMARK(BM_combineS4p)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BM_synth_tline)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BM_makePackage)->Arg(kSmall)->Arg(kLarge);
