// Helpers shared by the interp_Sparam tests: calling the export on vectors,
// reference values and bit comparisons.
#ifndef ZEFRA_TESTS_INTERP_SPARAM_TEST_UTIL_H
#define ZEFRA_TESTS_INTERP_SPARAM_TEST_UTIL_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "zefra/interp_sparam.h"

namespace interp_sparam_test {

using C = zefra_complex;

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;

inline std::vector<C> resample(const std::vector<C>& s, const std::vector<double>& fIn,
                               const std::vector<double>& fOut) {
  std::vector<C> out(fOut.size(), C{-7.0, -7.0});
  zefra_interp_Sparam_C(s.data(), fIn.data(), static_cast<int32_t>(fIn.size()), fOut.data(),
                        static_cast<int32_t>(fOut.size()), out.data());
  return out;
}

inline bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }
inline bool sameBits(C a, C b) { return sameBits(a.re, b.re) && sameBits(a.im, b.im); }

inline double modulus(C a) { return std::hypot(a.re, a.im); }

// Pure delay exp(-j 2 pi f tau), with the angle formed as the tests'
// analytic reference.
inline C delay(double f, double tau) {
  const double angle = -(kTwoPi * f * tau);
  return {std::cos(angle), std::sin(angle)};
}

// Angle of got * conj(ref), in (-pi, pi].
inline double phaseError(C got, C ref) {
  const double re = got.re * ref.re + got.im * ref.im;
  const double im = got.im * ref.re - got.re * ref.im;
  return std::atan2(im, re);
}

// (1 - r) a + r b, the exact expression the resampler uses without delay.
inline C lerp(C a, C b, double r) {
  const double w = 1.0 - r;
  return {w * a.re + r * b.re, w * a.im + r * b.im};
}

// Index k with fIn[k] <= f < fIn[k + 1] (f strictly inside the grid).
inline std::size_t bracketOf(const std::vector<double>& fIn, double f) {
  const auto it = std::upper_bound(fIn.begin(), fIn.end(), f);
  return static_cast<std::size_t>(it - fIn.begin()) - 1;
}

// Ascending grid from random steps in [lo, hi], starting at start.
inline std::vector<double> randomGrid(std::mt19937_64& rng, std::size_t n, double start,
                                      double lo, double hi) {
  std::uniform_real_distribution<double> step(lo, hi);
  std::vector<double> f(n);
  f[0] = start;
  for (std::size_t i = 1; i < n; ++i) {
    f[i] = f[i - 1] + step(rng);
  }
  return f;
}

// Queries strictly inside (f.front(), f.back()) that are not grid points.
inline std::vector<double> interiorQueries(std::mt19937_64& rng, const std::vector<double>& f,
                                           std::size_t m) {
  std::uniform_real_distribution<double> u(f.front(), f.back());
  std::vector<double> q;
  q.reserve(m);
  while (q.size() < m) {
    const double x = u(rng);
    if (x > f.front() && x < f.back() && !std::binary_search(f.begin(), f.end(), x)) {
      q.push_back(x);
    }
  }
  return q;
}

}  // namespace interp_sparam_test

#endif  // ZEFRA_TESTS_INTERP_SPARAM_TEST_UTIL_H
