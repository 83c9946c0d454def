// The one inner loop of the statistical eye: y[i] += a * x[i], i = 0..n-1,
// over contiguous doubles that do not overlap.  Every convolution on the
// amplitude lattice, every noise correlation and the jitter mixture is a
// sequence of these, so each output element receives its terms in a fixed
// order whatever the thread that computes it.
//
// The body is written four elements at a time with restrict-qualified
// pointers: GCC vectorises that form at -O2 (its cheap cost model refuses a
// plain loop of unknown trip count), and the scalar remainder performs the
// same multiply and add per element, so the bits do not depend on where the
// vector part ends (no FMA: the project builds with -ffp-contract=off).
#pragma once

#include <cstdint>

#if defined(_MSC_VER) || defined(__GNUC__) || defined(__clang__)
#define ZEFRA_EYE_RESTRICT __restrict
#else
#define ZEFRA_EYE_RESTRICT
#endif

namespace zefra::tk::eye {

inline void addScaled(double* ZEFRA_EYE_RESTRICT y, const double* ZEFRA_EYE_RESTRICT x, double a,
                      int64_t n) {
  int64_t i = 0;
  for (; i + 4 <= n; i += 4) {
    y[i] += a * x[i];
    y[i + 1] += a * x[i + 1];
    y[i + 2] += a * x[i + 2];
    y[i + 3] += a * x[i + 3];
  }
  for (; i < n; ++i) {
    y[i] += a * x[i];
  }
}

namespace detail {

// y[i] = sum_t w[t] x[i - lag[t]], t = 0..T-1 in order, for T known at
// compile time: the tap loop unrolls, each tap is one load and one
// multiply-add per output, and the loop over i vectorises with the taps'
// loads at fixed offsets.
#if defined(__GNUC__) || defined(__clang__)
#define ZEFRA_EYE_ALWAYS_INLINE inline __attribute__((always_inline))
#else
#define ZEFRA_EYE_ALWAYS_INLINE inline
#endif

template <int T>
ZEFRA_EYE_ALWAYS_INLINE void gatherTaps(double* ZEFRA_EYE_RESTRICT y, const double* ZEFRA_EYE_RESTRICT x, int64_t n,
                const int64_t* lag, const double* w) {
  int64_t l[static_cast<std::size_t>(T)];
  double c[static_cast<std::size_t>(T)];
  for (int t = 0; t < T; ++t) {
    l[t] = lag[t];
    c[t] = w[t];
  }
  for (int64_t i = 0; i < n; ++i) {
    double acc = c[0] * x[i - l[0]];
    for (int t = 1; t < T; ++t) {
      acc += c[t] * x[i - l[t]];
    }
    y[i] = acc;
  }
}

}  // namespace detail

// One factor of a lattice convolution: y[i] = sum_t w[t] x[i - lag[t]] for
// i = 0..n-1, the taps summed in the order given.  x must be readable (zero
// padded) from x - max(lag) to x + n - 1.  The per-element order is that of
// accumulating one tap after another with addScaled into zeros, so both give
// the same bits.
ZEFRA_EYE_ALWAYS_INLINE void convolveFactor(double* ZEFRA_EYE_RESTRICT y,
                                            const double* ZEFRA_EYE_RESTRICT x, int64_t n,
                                            const int64_t* lag, const double* w, int taps) {
  switch (taps) {
    case 1: detail::gatherTaps<1>(y, x, n, lag, w); return;
    case 2: detail::gatherTaps<2>(y, x, n, lag, w); return;
    case 3: detail::gatherTaps<3>(y, x, n, lag, w); return;
    case 4: detail::gatherTaps<4>(y, x, n, lag, w); return;
    case 5: detail::gatherTaps<5>(y, x, n, lag, w); return;
    case 6: detail::gatherTaps<6>(y, x, n, lag, w); return;
    case 7: detail::gatherTaps<7>(y, x, n, lag, w); return;
    case 8: detail::gatherTaps<8>(y, x, n, lag, w); return;
    default: break;
  }
  for (int64_t i = 0; i < n; ++i) {
    y[i] = 0.0;
  }
  for (int t = 0; t < taps; ++t) {
    addScaled(y, x - lag[t], w[t], n);
  }
}

}  // namespace zefra::tk::eye
