// Polynomials and Butterworth responses.
//   poly              10^3 roots (the export hands back only c[0]).
//   Polyval           degree 8 (9 coefficients) at 10^3 and 10^6 complex
//                     points with |z| < 0.9.
//   Polyfit           straight-line fit to 10^3 and 10^6 noisy points.
//   Butterworth_TF,   order N = 6, cut-off 2*pi*20 GHz, at 10^4 and 10^6
//   GetButterworthTF  angular frequencies 2*pi*(0 .. 50 GHz).
// Items: points (roots for poly).  Bytes: input read plus output written.
#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <vector>

#include "bench_data.h"
#include "zefra/tdr_helpers.h"

namespace {

constexpr auto kDoubleBytes = static_cast<std::int64_t>(sizeof(double));
constexpr auto kComplexBytes = static_cast<std::int64_t>(sizeof(zefra_complex));

// Bytes: the n roots read plus the single coefficient written.
void BM_poly(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const auto size = static_cast<std::size_t>(n);
  const std::vector<double> r = zefra_bench::normalData(size, 21);
  std::vector<double> c(size + 1, 0.0);
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    poly(r.data(), c.data(), n32);
    benchmark::DoNotOptimize(c.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * (n + 1) * kDoubleBytes);
}

// Coefficients of degree 8, highest power first.
void BM_Polyval(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const auto size = static_cast<std::size_t>(n);
  const std::array<double, 9> p{0.5, -1.25, 0.75, 2.0, -0.3, 1.1, -0.9, 0.05, 1.0};
  const std::vector<zefra_complex> z = zefra_bench::randomSParam(size, 22);
  std::vector<zefra_complex> w(size);
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    Polyval(p.data(), z.data(), w.data(), static_cast<std::int32_t>(p.size()), n32);
    benchmark::DoNotOptimize(w.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() *
                          (static_cast<std::int64_t>(p.size()) * kDoubleBytes +
                           2 * n * kComplexBytes));
}

// y = 2.5 x - 0.75 + 0.1 * noise over x in [0, 1].
void BM_Polyfit(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const auto size = static_cast<std::size_t>(n);
  const std::vector<double> x = zefra_bench::linearFrequencies(size, 1.0);
  std::vector<double> y = zefra_bench::normalData(size, 23);
  for (std::size_t i = 0; i < size; ++i) {
    y[i] = 2.5 * x[i] - 0.75 + 0.1 * y[i];
  }
  std::array<double, 2> coeffs{};
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    Polyfit(x.data(), y.data(), nullptr, coeffs.data(), n32, n32);
    benchmark::DoNotOptimize(coeffs.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * (2 * n + 2) * kDoubleBytes);
}

constexpr std::int32_t kButterworthOrder = 6;
constexpr double kCutoff = 2.0 * std::numbers::pi * 20e9;

std::vector<double> angularFrequencies(std::size_t n) {
  std::vector<double> w = zefra_bench::linearFrequencies(n);
  for (double& v : w) {
    v *= 2.0 * std::numbers::pi;
  }
  return w;
}

void setButterworthCounters(benchmark::State& state, std::int64_t n) {
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * n * (kDoubleBytes + kComplexBytes));
}

void BM_Butterworth_TF(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const auto size = static_cast<std::size_t>(n);
  const std::vector<double> w = angularFrequencies(size);
  std::vector<zefra_complex> h(size);
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    Butterworth_TF(kButterworthOrder, w.data(), kCutoff, n32, h.data());
    benchmark::DoNotOptimize(h.data());
    benchmark::ClobberMemory();
  }
  setButterworthCounters(state, n);
}

void BM_GetButterworthTF(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const auto size = static_cast<std::size_t>(n);
  const std::vector<double> w = angularFrequencies(size);
  std::vector<zefra_complex> h(size);
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    GetButterworthTF(kButterworthOrder, w.data(), n32, kCutoff, h.data());
    benchmark::DoNotOptimize(h.data());
    benchmark::ClobberMemory();
  }
  setButterworthCounters(state, n);
}

}  // namespace

BENCHMARK(BM_poly)->Arg(1000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Polyval)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Polyfit)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Butterworth_TF)->Arg(10000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GetButterworthTF)->Arg(10000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
