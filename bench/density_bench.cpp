// Cursor density: 500 decaying cursors, M = 4, bin width such that the
// largest cursor alone spans about 1999 bins (the export's path: the
// convolution visits only the non-zero bins of each cursor density).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "frame/call_frame.h"
#include "statistics/level_convolution.h"

namespace {

constexpr double kBinWidth = 1e-3;

std::vector<double> decayingCursors(int64_t count) {
  // Main cursor 0.999 (1999 bins of 1 mV at M = 4), then a decaying,
  // sign-alternating tail.
  std::vector<double> c(static_cast<size_t>(count));
  double a = 0.999;
  for (int64_t k = 0; k < count; ++k) {
    c[static_cast<size_t>(k)] = (k % 3 == 2 ? -a : a);
    a *= 0.99;
  }
  return c;
}

void BM_cursor_density_sparse(benchmark::State& state) {
  const std::vector<double> cursors = decayingCursors(state.range(0));
  for (auto _ : state) {
    zefra::CallFrame frame;
    const zefra::DynArray* signal =
        frame.inputRow(cursors.data(), static_cast<int32_t>(cursors.size()));
    zefra::DynArray* amplitudes = frame.doubleOutput(1, 0);
    zefra::DynArray* density = frame.doubleOutput(1, 0);
    double offset = 0.0;
    double width = 0.0;
    const bool ok = zefra::levelConvolutionPdf(signal, 4, kBinWidth, amplitudes, density, &offset,
                                               &width);
    benchmark::DoNotOptimize(ok);
    state.counters["bins"] = static_cast<double>(density->size[1]);
  }
}

}  // namespace

BENCHMARK(BM_cursor_density_sparse)->Arg(500)->Unit(benchmark::kMillisecond);
