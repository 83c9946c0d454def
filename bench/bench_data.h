// Seeded input generators shared by the benchmark families.  Every buffer a
// benchmark touches is built here, before its timed loop starts.
#ifndef ZEFRA_BENCH_DATA_H
#define ZEFRA_BENCH_DATA_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "zefra/tdr_helpers.h"

namespace zefra_bench {

// n standard-normal doubles from a fixed seed (the same data on every run
// built with the same standard library).
inline std::vector<double> normalData(std::size_t n, std::uint64_t seed = 20240611u) {
  std::mt19937_64 gen(seed);
  std::normal_distribution<double> dist(0.0, 1.0);
  std::vector<double> x(n);
  for (double& v : x) {
    v = dist(gen);
  }
  return x;
}

// n complex values with magnitude uniform in area below 0.9 and uniform
// phase: a passive-looking S-parameter trace.
inline std::vector<zefra_complex> randomSParam(std::size_t n, std::uint64_t seed) {
  std::mt19937_64 gen(seed);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<zefra_complex> s(n);
  for (zefra_complex& v : s) {
    const double r = 0.9 * std::sqrt(unit(gen));
    const double phi = 2.0 * std::numbers::pi * unit(gen);
    v.re = r * std::cos(phi);
    v.im = r * std::sin(phi);
  }
  return s;
}

// n frequencies linearly spaced from 0 to fMax inclusive, in Hz.
inline std::vector<double> linearFrequencies(std::size_t n, double fMax = 50e9) {
  std::vector<double> f(n);
  const double step = n > 1 ? fMax / static_cast<double>(n - 1) : 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    f[i] = step * static_cast<double>(i);
  }
  return f;
}

}  // namespace zefra_bench

#endif  // ZEFRA_BENCH_DATA_H
