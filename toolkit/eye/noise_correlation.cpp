// Correlation kernel of the noise read-out, in a baseline form and, on
// x86-64 processors that run AVX, a 256-bit form chosen at run time.
#include "eye/noise_correlation.h"

#include <cstring>

#include "eye/cpu_features.h"

// Not on Windows: there GCC does not align the stack for spilled 256-bit
// registers, so the AVX form could fault; the baseline form gives the same
// bits.
#if (defined(__x86_64__) || defined(_M_X64)) && (defined(__GNUC__) || defined(__clang__)) && \
    !defined(_WIN32)
#define ZEFRA_EYE_AVX_FORM 1
#define ZEFRA_EYE_TARGET_AVX __attribute__((target("avx")))
#endif

namespace zefra::tk::eye {
namespace {

// Blocks of outputs in independent accumulators (the compiler keeps them
// in vector lanes), then the remainder one by one.
#if defined(__GNUC__) || defined(__clang__)
#define ZEFRA_EYE_INLINE inline __attribute__((always_inline))
#else
#define ZEFRA_EYE_INLINE inline
#endif

// The template parameter only gives each form its own copy, compiled into
// the function that calls it (with that function's instruction set).
template <typename Form>
ZEFRA_EYE_INLINE void correlateBody(double* out, const double* x, int64_t n, const int64_t* lag,
                          const double* k, int64_t taps) {
  int64_t i = 0;
#if defined(__GNUC__) || defined(__clang__)
  // Sixteen outputs per block in four 4-lane accumulators: enough
  // independent add chains to hide the add latency.  Lane u of a block is
  // output i + u and receives exactly the scalar sequence of operations.
  typedef double Lanes __attribute__((vector_size(32)));
  for (; i + 16 <= n; i += 16) {
    Lanes a0 = {0.0, 0.0, 0.0, 0.0};
    Lanes a1 = a0, a2 = a0, a3 = a0;
    for (int64_t t = 0; t < taps; ++t) {
      const double* s = x + (i - lag[t]);
      const Lanes c = {k[t], k[t], k[t], k[t]};
      Lanes x0, x1, x2, x3;
      std::memcpy(&x0, s, sizeof x0);
      std::memcpy(&x1, s + 4, sizeof x1);
      std::memcpy(&x2, s + 8, sizeof x2);
      std::memcpy(&x3, s + 12, sizeof x3);
      a0 += c * x0;
      a1 += c * x1;
      a2 += c * x2;
      a3 += c * x3;
    }
    std::memcpy(out + i, &a0, sizeof a0);
    std::memcpy(out + i + 4, &a1, sizeof a1);
    std::memcpy(out + i + 8, &a2, sizeof a2);
    std::memcpy(out + i + 12, &a3, sizeof a3);
  }
#endif
  for (; i < n; ++i) {
    double a = 0.0;
    for (int64_t t = 0; t < taps; ++t) {
      a += k[t] * x[i - lag[t]];
    }
    out[i] = a;
  }
}

void correlateBaseline(double* out, const double* x, int64_t n, const int64_t* lag,
                       const double* k, int64_t taps) {
  correlateBody<void>(out, x, n, lag, k, taps);
}

#if defined(ZEFRA_EYE_AVX_FORM)
ZEFRA_EYE_TARGET_AVX void correlateAvx(double* out, const double* x, int64_t n,
                                       const int64_t* lag, const double* k, int64_t taps) {
  correlateBody<int>(out, x, n, lag, k, taps);
}
#endif

}  // namespace

void correlate(double* out, const double* x, int64_t n, const int64_t* lag, const double* k,
               int64_t taps) {
#if defined(ZEFRA_EYE_AVX_FORM)
  // Decided once: whether the processor and the system run AVX.
  static const bool avx = zefra::cpuHasAvx();
  if (avx) {
    correlateAvx(out, x, n, lag, k, taps);
    return;
  }
#endif
  correlateBaseline(out, x, n, lag, k, taps);
}

}  // namespace zefra::tk::eye
