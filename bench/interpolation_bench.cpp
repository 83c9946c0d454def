// Interpolation: a table of 10^4 samples over 0 .. 50 GHz, queried at ni
// sorted points spread over -1 % .. 101 % of the table's span (so a few
// queries fall outside at each end), ni = 10^3 and 10^6.
//   interp1q_Linear, interp_Linear_Extrap, interp1_Cubic: real table
//       y = exp(-f / 20 GHz) cos(2 pi f * 0.5 ns).
//   interp_Linear_Extrap_Complex, zefra_linearInterp_c: complex table, a
//       1 ns delayed, lossy transmission trace.
//   interp_Sparam: the same delayed trace resampled onto ni ascending
//       frequencies over 0 .. 50 GHz (through the sibling module).
// Items: queries.  Bytes: table (abscissas and values) read, queries read,
// results written.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <vector>

#include "bench_data.h"
#include "zefra/tdr_helpers.h"

namespace {

constexpr std::int64_t kTable = 10000;
constexpr double kFMax = 50e9;
constexpr auto kDoubleBytes = static_cast<std::int64_t>(sizeof(double));
constexpr auto kComplexBytes = static_cast<std::int64_t>(sizeof(zefra_complex));

// ni ascending queries from -0.01 fMax to 1.01 fMax.
std::vector<double> sortedQueries(std::size_t ni) {
  std::vector<double> q(ni);
  const double lo = -0.01 * kFMax;
  const double step = ni > 1 ? 1.02 * kFMax / static_cast<double>(ni - 1) : 0.0;
  for (std::size_t i = 0; i < ni; ++i) {
    q[i] = lo + step * static_cast<double>(i);
  }
  return q;
}

std::vector<double> realTable(const std::vector<double>& f) {
  std::vector<double> y(f.size());
  for (std::size_t i = 0; i < f.size(); ++i) {
    y[i] = std::exp(-f[i] / 20e9) * std::cos(2.0 * std::numbers::pi * f[i] * 0.5e-9);
  }
  return y;
}

// S21 of a 1 ns line with skin-effect loss: 0.95 exp(-0.05 sqrt(fGHz))
// exp(-j 2 pi f tau).
std::vector<zefra_complex> delayedTrace(const std::vector<double>& f) {
  std::vector<zefra_complex> s(f.size());
  for (std::size_t i = 0; i < f.size(); ++i) {
    const double mag = 0.95 * std::exp(-0.05 * std::sqrt(f[i] / 1e9));
    const double phi = -2.0 * std::numbers::pi * f[i] * 1e-9;
    s[i].re = mag * std::cos(phi);
    s[i].im = mag * std::sin(phi);
  }
  return s;
}

using RealInterp = void (*)(const double*, const double*, const double*, double*, std::int32_t,
                            std::int32_t);
using ComplexInterp = void (*)(const double*, const zefra_complex*, const double*,
                               zefra_complex*, std::int32_t, std::int32_t);

void runReal(benchmark::State& state, RealInterp fn) {
  const std::int64_t ni = state.range(0);
  const auto size = static_cast<std::size_t>(ni);
  const std::vector<double> x = zefra_bench::linearFrequencies(static_cast<std::size_t>(kTable), kFMax);
  const std::vector<double> y = realTable(x);
  const std::vector<double> xi = sortedQueries(size);
  std::vector<double> yi(size);
  const auto ni32 = static_cast<std::int32_t>(ni);
  for (auto _ : state) {
    fn(x.data(), y.data(), xi.data(), yi.data(), static_cast<std::int32_t>(kTable), ni32);
    benchmark::DoNotOptimize(yi.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * ni);
  state.SetBytesProcessed(state.iterations() * (2 * kTable + 2 * ni) * kDoubleBytes);
}

void runComplex(benchmark::State& state, ComplexInterp fn) {
  const std::int64_t ni = state.range(0);
  const auto size = static_cast<std::size_t>(ni);
  const std::vector<double> x = zefra_bench::linearFrequencies(static_cast<std::size_t>(kTable), kFMax);
  const std::vector<zefra_complex> y = delayedTrace(x);
  const std::vector<double> xi = sortedQueries(size);
  std::vector<zefra_complex> yi(size);
  const auto ni32 = static_cast<std::int32_t>(ni);
  for (auto _ : state) {
    fn(x.data(), y.data(), xi.data(), yi.data(), static_cast<std::int32_t>(kTable), ni32);
    benchmark::DoNotOptimize(yi.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * ni);
  state.SetBytesProcessed(state.iterations() * ((kTable + ni) * kDoubleBytes +
                                                (kTable + ni) * kComplexBytes));
}

void BM_interp1q_Linear(benchmark::State& state) { runReal(state, interp1q_Linear); }
void BM_interp_Linear_Extrap(benchmark::State& state) { runReal(state, interp_Linear_Extrap); }
void BM_interp1_Cubic(benchmark::State& state) { runReal(state, interp1_Cubic); }
void BM_interp_Linear_Extrap_Complex(benchmark::State& state) {
  runComplex(state, interp_Linear_Extrap_Complex);
}
void BM_zefra_linearInterp_c(benchmark::State& state) {
  runComplex(state, zefra_linearInterp_c);
}

void BM_interp_Sparam(benchmark::State& state) {
  const std::int64_t nOut = state.range(0);
  const auto size = static_cast<std::size_t>(nOut);
  const std::vector<double> fIn = zefra_bench::linearFrequencies(static_cast<std::size_t>(kTable), kFMax);
  const std::vector<zefra_complex> sIn = delayedTrace(fIn);
  const std::vector<double> fOut = zefra_bench::linearFrequencies(size, kFMax);
  std::vector<zefra_complex> sOut(size);
  const auto nOut32 = static_cast<std::int32_t>(nOut);
  for (auto _ : state) {
    interp_Sparam(sIn.data(), fIn.data(), static_cast<std::int32_t>(kTable), fOut.data(), nOut32,
                  sOut.data());
    benchmark::DoNotOptimize(sOut.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * nOut);
  state.SetBytesProcessed(state.iterations() * ((kTable + nOut) * kDoubleBytes +
                                                (kTable + nOut) * kComplexBytes));
}

}  // namespace

BENCHMARK(BM_interp1q_Linear)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_interp_Linear_Extrap)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_interp1_Cubic)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_interp_Linear_Extrap_Complex)
    ->Arg(1000)
    ->Arg(1000000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_zefra_linearInterp_c)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_interp_Sparam)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
