// Densities on the lattice v_j = j binV by linear splitting.
//
// A cursor h contributes the factor f_h = (1/M) sum_a [ (1 - r_a) d(floor x_a)
// + r_a d(floor x_a + 1) ], x_a = a h / binV, r_a = x_a - floor x_a: each
// split keeps the mass 1/M and the mean x_a of its value, and moves it by
// less than one lattice step, so K factors lie within K steps of the exact
// sum (a rigorous bracket).  The density of a sum
// of cursors is the convolution of their factors; with at most 2M taps per
// factor, one convolution costs 2M passes of y += w x over the current
// array (O(K M B) for K cursors and B bins).
//
// All weights are non-negative, so every sum below adds non-negative terms
// and each bin keeps its relative precision, however small it is.
#include "eye/lattice_density.h"

#include <algorithm>
#include <cmath>

#include "eye/lattice_kernels.h"
#include "eye/cpu_features.h"

namespace zefra::tk::eye {
namespace {

// The factor convolution in the baseline instruction set and, on x86-64
// processors that run AVX, in 256-bit lanes: the per-element operations
// are the same, so are the bits.
void convolveFactorBaseline(double* y, const double* x, int64_t n, const int64_t* lag,
                            const double* w, int taps) {
  convolveFactor(y, x, n, lag, w, taps);
}

// Not on Windows: there GCC does not align the stack for spilled 256-bit
// registers, so the AVX form could fault; the baseline form gives the same
// bits.
#if (defined(__x86_64__) || defined(_M_X64)) && (defined(__GNUC__) || defined(__clang__)) && \
    !defined(_WIN32)
#define ZEFRA_EYE_FACTOR_AVX 1
__attribute__((target("avx"))) void convolveFactorAvx(double* y, const double* x, int64_t n,
                                                      const int64_t* lag, const double* w,
                                                      int taps) {
  convolveFactor(y, x, n, lag, w, taps);
}
#endif

void convolveFactorDispatched(double* y, const double* x, int64_t n, const int64_t* lag,
                              const double* w, int taps) {
#if defined(ZEFRA_EYE_FACTOR_AVX)
  static const bool avx = zefra::cpuHasAvx();
  if (avx) {
    convolveFactorAvx(y, x, n, lag, w, taps);
    return;
  }
#endif
  convolveFactorBaseline(y, x, n, lag, w, taps);
}

}  // namespace

std::vector<double> pamLevels(int32_t levels) {
  std::vector<double> a(static_cast<std::size_t>(levels));
  const double span = static_cast<double>(levels - 1);
  for (int32_t m = 0; m < levels; ++m) {
    a[static_cast<std::size_t>(m)] = static_cast<double>(2 * m - (levels - 1)) / span;
  }
  return a;
}

void cursorFactor(double h, const std::vector<double>& levels, double binV,
                  std::vector<FactorTap>& taps) {
  taps.clear();
  const double perLevel = 1.0 / static_cast<double>(levels.size());
  const std::size_t count = levels.size();
  // Visit the values a h in ascending order, so that the taps come out
  // nearly sorted and merged taps are summed in a fixed order.
  for (std::size_t n = 0; n < count; ++n) {
    const double a = h > 0.0 ? levels[n] : levels[count - 1 - n];
    const double x = a * h / binV;
    const double low = std::floor(x);
    const double r = x - low;
    const auto offset = static_cast<int64_t>(low);
    taps.push_back({offset, (1.0 - r) * perLevel});
    if (r > 0.0) {
      taps.push_back({offset + 1, r * perLevel});
    }
  }
  std::stable_sort(taps.begin(), taps.end(),
                   [](const FactorTap& p, const FactorTap& q) { return p.offset < q.offset; });
  std::size_t out = 0;
  for (std::size_t i = 0; i < taps.size(); ++i) {
    if (out > 0 && taps[out - 1].offset == taps[i].offset) {
      taps[out - 1].weight += taps[i].weight;
    } else {
      taps[out++] = taps[i];
    }
  }
  taps.resize(out);
  taps.erase(std::remove_if(taps.begin(), taps.end(),
                            [](const FactorTap& t) { return t.weight == 0.0; }),
             taps.end());
}

LatticeDensity densityOfCursors(const std::vector<double>& values,
                                const std::vector<double>& levels, double binV) {
  // All factors first: their spans fix the final width, so the two
  // ping-pong arrays are allocated once.
  std::vector<std::vector<FactorTap>> factors;
  factors.reserve(values.size());
  int64_t width = 1;
  for (const double h : values) {
    if (h == 0.0) {
      continue;  // the identity factor
    }
    factors.emplace_back();
    cursorFactor(h, levels, binV, factors.back());
    width += factors.back().back().offset - factors.back().front().offset;
  }
  // The running density sits in a zero-padded buffer, `pad` zeros on each
  // side (pad >= the span of any factor), so that every output bin can
  // gather its taps without bounds checks.
  int64_t pad = 0;
  for (const auto& taps : factors) {
    pad = std::max(pad, taps.back().offset - taps.front().offset);
  }
  std::vector<double> current(static_cast<std::size_t>(width + 2 * pad), 0.0);
  std::vector<double> next(current.size(), 0.0);
  current[static_cast<std::size_t>(pad)] = 1.0;
  int64_t first = 0;
  int64_t n = 1;
  std::vector<int64_t> lags;
  std::vector<double> weights;
  for (const auto& taps : factors) {
    const int64_t base = taps.front().offset;
    const int64_t span = taps.back().offset - base;
    lags.clear();
    weights.clear();
    for (const FactorTap& t : taps) {
      lags.push_back(t.offset - base);
      weights.push_back(t.weight);
    }
    // Output bin i (lattice index first + base + i) receives
    // sum_t w_t current[i - lag_t], the taps in ascending offset: the same
    // terms in the same order as accumulating one tap at a time into zeros.
    convolveFactorDispatched(next.data() + pad, current.data() + pad, n + span, lags.data(),
                   weights.data(), static_cast<int>(lags.size()));
    first += base;
    n += span;
    std::swap(current, next);
  }
  LatticeDensity out;
  out.first = first;
  out.mass.assign(current.begin() + pad, current.begin() + pad + n);
  return out;
}

LatticeDensity convolve(const LatticeDensity& a, const LatticeDensity& b) {
  const bool aShorter = a.mass.size() <= b.mass.size();
  const LatticeDensity& shorter = aShorter ? a : b;
  const LatticeDensity& longer = aShorter ? b : a;
  const auto nLong = static_cast<int64_t>(longer.mass.size());
  LatticeDensity out;
  out.first = a.first + b.first;
  out.mass.assign(a.mass.size() + b.mass.size() - 1, 0.0);
  for (std::size_t i = 0; i < shorter.mass.size(); ++i) {
    const double w = shorter.mass[i];
    if (w != 0.0) {
      addScaled(out.mass.data() + i, longer.mass.data(), w, nLong);
    }
  }
  return out;
}

}  // namespace zefra::tk::eye
