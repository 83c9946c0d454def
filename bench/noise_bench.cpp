// Densities, crosstalk and DFE through the C exports.
//   get_pdf_from_sampled_signal, get_pdf_from_sampled_signal_800G:
//       500 decaying cursors c_k = 0.999 * 0.99^k with every third one
//       negative, M = 4, 1 mV bins (the main cursor alone spans 1999 bins).
//       The two library-allocated arrays are released inside the loop, so
//       the time includes their allocation and release.
//   d_cpdf: 10^4 seeded points uniform in [-0.5, 0.5) with positive
//       weights on 1 mV bins (about 1000 bins).
//   Get_xtlk_noise_step: a 2000-sample coupling response and a random NRZ
//       aggressor pattern of 10^4 and 10^5 samples, 16 samples per UI.
//   floatingDFE: a 200-UI pulse with two reflections, 3 groups of 4 taps.
// Bytes: input read plus output written.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "bench_data.h"
#include "zefra/tdr_helpers.h"

namespace {

constexpr double kBinWidth = 1e-3;
constexpr auto kDoubleBytes = static_cast<std::int64_t>(sizeof(double));

std::vector<double> decayingCursors(std::int64_t count) {
  std::vector<double> c(static_cast<std::size_t>(count));
  double a = 0.999;
  for (std::int64_t k = 0; k < count; ++k) {
    c[static_cast<std::size_t>(k)] = (k % 3 == 2 ? -a : a);
    a *= 0.99;
  }
  return c;
}

using CursorPdf = bool (*)(const double*, std::int32_t, const void*, double**, double**, double*,
                           double*, std::int32_t, std::int32_t*);

// One call: returns the bin count (or -1 on failure), arrays released.
std::int32_t cursorPdfOnce(CursorPdf fn, const std::vector<double>& cursors) {
  double* amplitudes = nullptr;
  double* probabilities = nullptr;
  double offset = 0.0;
  double width = kBinWidth;
  std::int32_t count = 0;
  const bool ok = fn(cursors.data(), 4, nullptr, &amplitudes, &probabilities, &offset, &width,
                     static_cast<std::int32_t>(cursors.size()), &count);
  benchmark::DoNotOptimize(amplitudes);
  benchmark::DoNotOptimize(probabilities);
  benchmark::DoNotOptimize(offset);
  benchmark::ClobberMemory();
  zefra_release_array(amplitudes);
  zefra_release_array(probabilities);
  return ok ? count : -1;
}

void runCursorPdf(benchmark::State& state, CursorPdf fn) {
  const std::int64_t n = state.range(0);
  const std::vector<double> cursors = decayingCursors(n);
  std::int32_t bins = 0;
  for (auto _ : state) {
    bins = cursorPdfOnce(fn, cursors);
    if (bins < 0) {
      state.SkipWithError("density call returned false");
      break;
    }
  }
  state.counters["bins"] = static_cast<double>(bins);
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * (n + 2 * static_cast<std::int64_t>(bins)) *
                          kDoubleBytes);
}

void BM_get_pdf_from_sampled_signal(benchmark::State& state) {
  runCursorPdf(state, get_pdf_from_sampled_signal);
}

void BM_get_pdf_from_sampled_signal_800G(benchmark::State& state) {
  runCursorPdf(state, get_pdf_from_sampled_signal_800G);
}

// Output buffers hold the largest grid a successful call can write
// (2 * 2000 + 1 values), which is also what a failed call writes.
void BM_d_cpdf(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const auto size = static_cast<std::size_t>(n);
  std::mt19937_64 gen(31);
  std::uniform_real_distribution<double> pos(-0.5, 0.5);
  std::uniform_real_distribution<double> weight(0.1, 1.0);
  std::vector<double> points(size);
  std::vector<double> weights(size);
  for (std::size_t i = 0; i < size; ++i) {
    points[i] = pos(gen);
    weights[i] = weight(gen);
  }
  constexpr std::int32_t kOutCount = 2 * 2000 + 1;
  std::vector<double> centers(kOutCount);
  std::vector<double> density(kOutCount);
  const auto n32 = static_cast<std::int32_t>(n);
  double offset = 0.0;
  double width = 0.0;
  bool ok = true;
  for (auto _ : state) {
    ok = d_cpdf(points.data(), weights.data(), centers.data(), density.data(), n32, n32,
                kOutCount, kBinWidth, &offset, &width);
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(centers.data());
    benchmark::DoNotOptimize(density.data());
    benchmark::ClobberMemory();
  }
  if (!ok) {
    state.SkipWithError("d_cpdf returned false");
    return;
  }
  // Values written on success: c = 2 * |round(offset)| + 1 to each output.
  const auto written = static_cast<std::int64_t>(2.0 * std::fabs(std::round(offset)) + 1.0);
  state.counters["bins"] = static_cast<double>(written);
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * (2 * n + 2 * written + 2) * kDoubleBytes);
}

constexpr std::int32_t kSamplesPerUi = 16;
constexpr std::int64_t kResponseLength = 2000;

// Far-end coupling: a small Gaussian-derivative pulse centred at sample 400.
std::vector<double> couplingResponse() {
  std::vector<double> r(static_cast<std::size_t>(kResponseLength));
  for (std::size_t i = 0; i < r.size(); ++i) {
    const double t = (static_cast<double>(i) - 400.0) / 20.0;
    r[i] = -0.01 * t * std::exp(-0.5 * t * t);
  }
  return r;
}

// Random +-1 symbols, each held for kSamplesPerUi samples.
std::vector<double> nrzPattern(std::size_t n) {
  std::mt19937_64 gen(32);
  std::bernoulli_distribution bit(0.5);
  std::vector<double> p(n);
  double level = 1.0;
  for (std::size_t i = 0; i < n; ++i) {
    if (i % static_cast<std::size_t>(kSamplesPerUi) == 0) {
      level = bit(gen) ? 1.0 : -1.0;
    }
    p[i] = level;
  }
  return p;
}

void BM_Get_xtlk_noise_step(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const std::vector<double> response = couplingResponse();
  const std::vector<double> pattern = nrzPattern(static_cast<std::size_t>(n));
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    double r = Get_xtlk_noise_step(response.data(), pattern.data(),
                                   static_cast<std::int32_t>(kResponseLength), n32,
                                   kSamplesPerUi, 0.4);
    benchmark::DoNotOptimize(r);
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * (kResponseLength + n + 1) * kDoubleBytes);
}

// Main cursor 1.0 at index 5 behind two pre-cursors, a 0.4 * 0.7^k tail,
// and reflections of 0.05 near UI 40 and -0.03 near UI 95, one value per
// UI.  Search positions 6 .. 150, taps limited to 0.5.
void BM_floatingDFE(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const auto size = static_cast<std::size_t>(n);
  std::vector<double> pulse(size, 0.0);
  const std::vector<double> ripple = zefra_bench::normalData(size, 33);
  for (std::size_t i = 0; i < size; ++i) {
    const double k = static_cast<double>(i);
    double v = 0.002 * ripple[i];
    if (i == 3) v += 0.05;
    if (i == 4) v += 0.15;
    if (i == 5) v += 1.0;
    if (i > 5) v += 0.4 * std::pow(0.7, k - 6.0);
    v += 0.05 * std::exp(-0.5 * (k - 40.0) * (k - 40.0) / 4.0);
    v -= 0.03 * std::exp(-0.5 * (k - 95.0) * (k - 95.0) / 4.0);
    pulse[i] = v;
  }
  constexpr double kTaps = 4.0;
  constexpr double kGroups = 3.0;
  std::vector<double> positions(static_cast<std::size_t>(kTaps * kGroups));
  std::vector<double> weights(size);
  std::vector<double> limits(size);
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    floatingDFE(pulse.data(), n32, 6.0, kTaps, kGroups, 150.0, 0.5, 1.0, 0, positions.data(),
                weights.data(), limits.data());
    benchmark::DoNotOptimize(positions.data());
    benchmark::DoNotOptimize(weights.data());
    benchmark::DoNotOptimize(limits.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() *
                          (3 * n + static_cast<std::int64_t>(positions.size())) * kDoubleBytes);
}

}  // namespace

BENCHMARK(BM_get_pdf_from_sampled_signal)->Arg(500)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_get_pdf_from_sampled_signal_800G)->Arg(500)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_d_cpdf)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Get_xtlk_noise_step)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_floatingDFE)->Arg(200)->Unit(benchmark::kMicrosecond);
