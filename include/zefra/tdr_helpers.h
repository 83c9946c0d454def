/*
 * Zefra_TDR_Helpers: numeric routines for signal-integrity and
 * time-domain-reflectometry analysis.
 *
 * Conventions of every function below:
 *   - Buffers are contiguous 64-bit doubles, or zefra_complex pairs (real
 *     part, then imaginary part: the same bytes as an interleaved re, im
 *     double buffer).  Counts are signed 32-bit integers.
 *   - The caller owns every buffer it passes.  Input buffers are only read;
 *     output buffers must hold the number of elements stated.  Nothing is
 *     kept between calls, and no function allocates memory that outlives
 *     the call unless its comment says so.
 *   - Arguments are not validated and there is no error channel: NaN and
 *     infinities propagate point by point.  README's behaviour table states
 *     what each function does with empty, negative or non-finite input.
 *   - Every function may be called from several threads at once, provided
 *     the buffers of concurrent calls do not overlap.
 *
 * Buffer notes read "name: in|out, type[length], units".
 */
#ifndef ZEFRA_TDR_HELPERS_H
#define ZEFRA_TDR_HELPERS_H

#include <stdint.h>

#if defined(_WIN32)
/* On Windows the module-definition file decides what is exported. */
#  if defined(ZEFRA_TDR_BUILDING)
#    define ZEFRA_API
#  else
#    define ZEFRA_API __declspec(dllimport)
#  endif
#elif defined(ZEFRA_TDR_BUILDING) && (defined(__GNUC__) || defined(__clang__))
#  define ZEFRA_API __attribute__((visibility("default")))
#else
#  define ZEFRA_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* One complex value: 16 bytes, real part then imaginary part. */
typedef struct zefra_complex {
  double re;
  double im;
} zefra_complex;

/* ---- Statistics ------------------------------------------------------- */

/*
 * Median of x.
 *   x: in, double[n]
 *   n: number of elements
 * Returns the middle value of the sorted data (for even n the midpoint of the
 * two middle values: (a + b) * 0.5 when they straddle zero or either is
 * zero, a + (b - a) * 0.5 otherwise).  Any NaN in x gives NaN (the last NaN
 * of x, bit for bit).  n <= 0 gives 0.0 without reading x.
 */
ZEFRA_API double median(const double *x, int32_t n);

/*
 * Sample standard deviation of x (divisor n - 1), summed left to right.
 *   x: in, double[n]
 *   n: number of elements
 * n = 1 gives 0.0; n <= 0 gives 0.0.  Any NaN or infinity gives NaN.
 */
ZEFRA_API double Eval_std(const double *x, int32_t n);

/*
 * Euclidean norm sqrt(x[0]^2 + ... + x[n-1]^2), computed with a running
 * scale so that it neither overflows nor underflows.
 *   x: in, double[n]
 *   n: number of elements
 * n < 1 gives 0.0.  Any NaN gives NaN; one infinity gives +Inf, a second
 * one gives NaN (it adds (Inf/Inf)^2 to the scaled sum).
 */
ZEFRA_API double norm(const double *x, int32_t n);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZEFRA_TDR_HELPERS_H */
