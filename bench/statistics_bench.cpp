// Vector reductions: median, Eval_std, norm, and two baselines over the same
// data that bound what any single-pass routine can reach:
//   DependentAddLoop  s += x[i] in index order.  Every add waits for the
//                     previous one, so this is the speed limit of an exact
//                     sequential (left-to-right) reduction.
//   MemcpyInput       copying the input bytes once: the memory-bandwidth
//                     limit of one read pass (plus one write).
// Input: n seeded standard-normal doubles, n = 10^3 (cache resident) and
// 10^6 (8 MB, beyond most L2 caches).
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <vector>

#include "bench_data.h"
#include "zefra/tdr_helpers.h"

namespace {

constexpr std::int64_t kSmall = 1000;
constexpr std::int64_t kLarge = 1000000;

// One data set per size, built once and reused by every benchmark.
const std::vector<double>& dataFor(std::int64_t n) {
  static std::map<std::int64_t, std::vector<double>> cache;
  auto it = cache.find(n);
  if (it == cache.end()) {
    it = cache.emplace(n, zefra_bench::normalData(static_cast<std::size_t>(n))).first;
  }
  return it->second;
}

// Items: input elements.  Bytes: the input read plus the one double returned.
void setReductionCounters(benchmark::State& state, std::int64_t n) {
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() *
                          (n + 1) * static_cast<std::int64_t>(sizeof(double)));
}

void BM_median(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const std::vector<double>& x = dataFor(n);
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    double r = median(x.data(), n32);
    benchmark::DoNotOptimize(r);
  }
  setReductionCounters(state, n);
}

void BM_Eval_std(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const std::vector<double>& x = dataFor(n);
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    double r = Eval_std(x.data(), n32);
    benchmark::DoNotOptimize(r);
  }
  setReductionCounters(state, n);
}

void BM_norm(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const std::vector<double>& x = dataFor(n);
  const auto n32 = static_cast<std::int32_t>(n);
  for (auto _ : state) {
    double r = norm(x.data(), n32);
    benchmark::DoNotOptimize(r);
  }
  setReductionCounters(state, n);
}

// Baseline: plain left-to-right sum.  Built with the project's FP flags
// (no contraction, no fast-math), so the compiler may not reassociate or
// vectorise it: one add latency per element.
void BM_DependentAddLoop(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const std::vector<double>& x = dataFor(n);
  const std::size_t count = x.size();
  for (auto _ : state) {
    const double* p = x.data();
    benchmark::DoNotOptimize(p);
    double s = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
      s += p[i];
    }
    benchmark::DoNotOptimize(s);
  }
  setReductionCounters(state, n);
}

// Baseline: copy the input bytes into a preallocated buffer.
// Bytes: input read plus output written.
void BM_MemcpyInput(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const std::vector<double>& x = dataFor(n);
  std::vector<double> dst(x.size(), 0.0);
  const std::size_t bytes = x.size() * sizeof(double);
  for (auto _ : state) {
    std::memcpy(dst.data(), x.data(), bytes);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * 2 * n *
                          static_cast<std::int64_t>(sizeof(double)));
}

}  // namespace

BENCHMARK(BM_median)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BM_Eval_std)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BM_norm)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BM_DependentAddLoop)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BM_MemcpyInput)->Arg(kSmall)->Arg(kLarge);
