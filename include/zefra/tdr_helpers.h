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
 *     infinities propagate point by point.  The page "Behaviour on unusual
 *     input" (docs/behaviour.md, installed in share/doc/Zefra_TDR_Helpers)
 *     states what each function does with empty, negative or non-finite
 *     input.
 *   - An output buffer may share memory with an input or with another
 *     output: the result is that of separate buffers, each output written
 *     whole in parameter order (except Butterworth_TF and GetButterworthTF,
 *     whose H must not share memory with w, and d_cpdf, which writes its
 *     two outputs index by index: centersOut[i], then densityOut[i]).
 *   - Every function may be called from several threads at once, provided
 *     the buffers of concurrent calls do not overlap.
 *
 * Buffer notes read "name: in|out, type[length], units".
 */
#ifndef ZEFRA_TDR_HELPERS_H
#define ZEFRA_TDR_HELPERS_H

#include <stdbool.h>
#include <stdint.h>

#include "zefra/zefra_complex.h"

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

/* ---- Interpolation ---------------------------------------------------------
 *
 * Tables (x, y) of n >= 2 samples, ascending or descending in x (a
 * descending table is reversed first).  A NaN anywhere in x makes every
 * result 0; a NaN query gives 0.0 in its own slot (not NaN).  Every one of
 * the ni outputs is written.
 */

/*
 * Piecewise-linear interpolation; queries outside [min x, max x] give 0.0.
 *   x: in, double[n], abscissas
 *   y: in, double[n], values
 *   xi: in, double[ni], queries
 *   yi: out, double[ni]
 */
ZEFRA_API void interp1q_Linear(const double *x, const double *y, const double *xi, double *yi,
                               int32_t n, int32_t ni);

/* As interp1q_Linear, but queries outside the table are extrapolated from
 * the first or last segment. */
ZEFRA_API void interp_Linear_Extrap(const double *x, const double *y, const double *xi,
                                    double *yi, int32_t n, int32_t ni);

/* Complex values at real abscissas, real and imaginary parts with the same
 * weights, extrapolated linearly at both ends. */
ZEFRA_API void interp_Linear_Extrap_Complex(const double *x, const zefra_complex *y,
                                            const double *xi, zefra_complex *yi, int32_t n,
                                            int32_t ni);

/* Lean complex variant: x must be ascending (not checked, not reversed, no
 * NaN scan); queries outside [x[0], x[n-1]] and NaN queries give 0 + 0j. */
ZEFRA_API void zefra_linearInterp_c(const double *x, const zefra_complex *y, const double *xi,
                                    zefra_complex *yi, int32_t n, int32_t ni);

/* Shape-preserving piecewise cubic Hermite interpolation (no overshoot at
 * local extrema, monotone where the data are); queries outside the table
 * are evaluated with the end cubics. */
ZEFRA_API void interp1_Cubic(const double *x, const double *y, const double *xi, double *yi,
                             int32_t n, int32_t ni);

/*
 * Resamples a complex S-parameter trace between frequency grids, through
 * zefra_interp_Sparam_C of the sibling module interp_Sparam (which must sit
 * next to this library).  Slots the module leaves untouched come back as
 * 0 + 0j.
 *   sIn: in, zefra_complex[nIn]
 *   gridIn: in, double[nIn], Hz (passed to the module unchanged)
 *   nIn: number of input points (negative counts as 0)
 *   gridOut: in, double[nOut], Hz (passed to the module unchanged)
 *   nOut: number of output points (negative counts as 0)
 *   sOut: out, zefra_complex[nOut]
 */
ZEFRA_API void interp_Sparam(const zefra_complex *sIn, const double *gridIn, int32_t nIn,
                             const double *gridOut, int32_t nOut, zefra_complex *sOut);

/* ---- Channel models: S-parameters of two-port networks ----------------
 *
 * A two-port crosses this interface as four complex arrays over one
 * frequency grid, always in the order S11, S12, S21, S22, one value per
 * frequency point.  Frequencies are in hertz.  All networks refer to the
 * same reference impedance at both ports.
 */

/*
 * Cascade of two two-ports: port 2 of network A joined to port 1 of B.
 *   A11, A12, A21, A22: in, zefra_complex[N], S-parameters of network A
 *   B11, B12, B21, B22: in, zefra_complex[N], S-parameters of network B
 *   N: number of frequency points
 *   C11, C12, C21, C22: out, zefra_complex[N], S-parameters of the cascade
 * With D = 1 - A22*B11 at each point:
 *   C11 = A11 + A12*(A21*B11)/D    C12 = A12*B12/D
 *   C21 = A21*B21/D                C22 = B22 + B21*(A22*B12)/D
 * A point where D = 0 gives non-finite values at that point only.  N < 1
 * writes nothing.
 */
ZEFRA_API void combineS4p(const zefra_complex *A11, const zefra_complex *A12,
                          const zefra_complex *A21, const zefra_complex *A22,
                          const zefra_complex *B11, const zefra_complex *B12,
                          const zefra_complex *B21, const zefra_complex *B22,
                          int32_t N,
                          zefra_complex *C11, zefra_complex *C12,
                          zefra_complex *C21, zefra_complex *C22);

/*
 * S-parameters of a uniform lossy, causal transmission line between two
 * impedance steps.
 *   freq: in, double[nf], Hz
 *   nf: number of frequency points
 *   zA: line impedance, ohms
 *   zB: port reference impedance, ohms; the step reflection is
 *       G = (zA - 2*zB) / (2*zB + zA), so zB enters doubled
 *   coeffs: in, double[m], loss per unit length: coeffs[0] constant,
 *       coeffs[1] per sqrt(GHz) (skin effect), coeffs[2] per GHz
 *       (dielectric); further values are ignored
 *   m: number of coefficients, normally 3 (missing ones count as 0)
 *   tau: delay per unit length, ns
 *   len: line length, in the unit the coefficients and tau refer to
 *   s11, s12, s21, s22: out, zefra_complex[nf]
 * With fG = freq / 1e9 and the propagation exponent per unit length
 *   g = p0 + p1*(1 + j)*sqrt(fG) + p2*fG*(1 - j*(2/pi)*ln fG) + j*2*pi*tau*fG
 * (g = p0 wherever fG compares equal to 0, also when a tiny negative
 * frequency rounds to -0.0 GHz), P = exp(-len*g):
 *   S11 = S22 = G*(1 - P^2) / (1 - G^2*P^2)
 *   S21 = S12 = (1 - G^2)*P / (1 - G^2*P^2).
 * Other negative frequencies give NaN at their points.  nf < 1 writes
 * nothing.
 */
ZEFRA_API void synth_tline(const double *freq, int32_t nf, double zA, double zB,
                           const double *coeffs, int32_t m, double tau, double len,
                           zefra_complex *s11, zefra_complex *s12,
                           zefra_complex *s21, zefra_complex *s22);

/*
 * S-parameters of an IC package path: the cascade of
 *   input shunt capacitance, series inductance (only if seriesInd > 0),
 *   middle shunt capacitance (only if shuntCapMid > 0), lossy line,
 *   output shunt capacitance,
 * all referred to the real impedance refImpedance.
 *   freq: in, double[nFreq], Hz; values below 2^-52 Hz (including 0 and
 *       negative values) are evaluated at 2^-52 Hz
 *   nFreq: number of frequency points
 *   lineLength: line length, in the unit the loss coefficients and
 *       phaseDelay refer to
 *   shuntCapIn, shuntCapOut: input and output shunt capacitance, F
 *   lineImpedance: line impedance Zc, ohms; the line's reflection is
 *       (Zc - 2*Z0) / (2*Z0 + Zc)
 *   phaseDelay: delay per unit length, ns
 *   lossCoeffs: in, double[nLossCoeffs], loss per unit length a0 (constant),
 *       a1 (per sqrt(GHz)), a2 (per GHz, with its causal phase term); values
 *       beyond the third are ignored, missing ones count as 0
 *   nLossCoeffs: number of loss coefficients
 *   refImpedance: reference impedance Z0, ohms
 *   seriesInd: series inductance, H
 *   shuntCapMid: middle shunt capacitance, F
 *   s11, s12, s21, s22: out, zefra_complex[nFreq]
 * nFreq < 1 writes nothing.
 */
ZEFRA_API void makePackage(const double *freq, int32_t nFreq, double lineLength,
                           double shuntCapIn, double shuntCapOut, double lineImpedance,
                           double phaseDelay, const double *lossCoeffs, int32_t nLossCoeffs,
                           double refImpedance, double seriesInd, double shuntCapMid,
                           zefra_complex *s11, zefra_complex *s12,
                           zefra_complex *s21, zefra_complex *s22);

/* ---- Element-wise and structural ----------------------------------------- */

/*
 * Floored remainder y[i] = x[i] mod m, with the sign of m.  An integer m
 * uses x - floor(x / m) * m exactly; any other m snaps near-multiples
 * (|q - round(q)| <= 2^-52 |q|, q = x / m) to 0.0 and otherwise gives
 * (q - floor(q)) * m.  m = 0 returns x.
 *   x: in, double[n]
 *   m: divisor
 *   y: out, double[n]
 *   n: number of elements
 */
ZEFRA_API void mod(const double *x, double m, double *y, int32_t n);

/*
 * Kronecker product of two vectors: y = (a[0] * b, a[1] * b, ...).
 *   a: in, double[na]
 *   b: in, double[nb]
 *   y: out, double[na * nb]
 * Nothing is written when na or nb is below 1, or when na * nb exceeds
 * 2^31 - 1.
 */
ZEFRA_API void Kron(const double *a, const double *b, double *y, int32_t na, int32_t nb);

/*
 * Full linear convolution, y[k] = sum over j of a[j] * b[k - j], each sum
 * taken in increasing j.
 *   a: in, double[na]
 *   b: in, double[nb]
 *   y: out, double[na + nb - 1]; when na or nb is 0, na + nb zeros are
 *      written (one more than na + nb - 1)
 */
ZEFRA_API void conv(const double *a, const double *b, double *y, int32_t na, int32_t nb);

/*
 * Rational digital filter with zero initial state:
 *   a[0] y[k] = b[0] x[k] + ... + b[nb-1] x[k-nb+1] - a[1] y[k-1] - ...
 * The coefficients are divided by a[0] unless a[0] is 0, 1 or NaN (a
 * leading 0 or NaN acts as 1).  A pure FIR filter (na = 1) on a signal at
 * least twice as long as b is computed coefficient by coefficient;
 * otherwise the transposed direct form II runs.
 *   b: in, double[nb], numerator
 *   a: in, double[na], denominator (na = 0: no denominator, the general
 *      form runs without normalisation)
 *   x: in, double[nx]
 *   y: out, double[nx]
 */
ZEFRA_API void Filter(const double *b, const double *a, const double *x, double *y, int32_t nb,
                      int32_t na, int32_t nx);

/*
 * Phase unwrapping: adds multiples of 2*pi so that consecutive valid
 * samples never differ by pi or more.  NaN and exact 0.0 samples are not
 * valid: they are passed through unchanged and skipped when differences
 * are formed.
 *   x: in, double[n], phases, radians
 *   y: out, double[n], radians
 */
ZEFRA_API void unwrap(const double *x, double *y, int32_t n);

/* ---- Polynomials ------------------------------------------------------------ */

/*
 * Monic polynomial from its roots.  Only the leading coefficient, c[0] =
 * 1.0, is written; c[1] ... c[n] are left as the caller had them (the host
 * interface hands back one value).  n < 0 writes nothing.
 *   r: in, double[n], roots
 *   c: out, double[n + 1] (only c[0] is written)
 */
ZEFRA_API void poly(const double *r, double *c, int32_t n);

/*
 * Polynomial with real coefficients at complex points, by Horner's rule.
 *   p: in, double[np], coefficients, highest power first
 *   z: in, zefra_complex[nz], points
 *   w: out, zefra_complex[nz], p(z); all zeros when np = 0
 */
ZEFRA_API void Polyval(const double *p, const zefra_complex *z, zefra_complex *w, int32_t np,
                       int32_t nz);

/*
 * Least-squares straight line y ~ slope * x + intercept, by a Householder
 * QR factorisation with column pivoting.  A rank-deficient fit (all x
 * equal) is not truncated: it gives non-finite or meaningless values
 * without an error.
 *   x: in, double[nx]
 *   y: in, double[ny] (ny must equal nx; y is read for nx values)
 *   unused: never read (may be null)
 *   coeffs: out, double[2]: slope, intercept ({0, 0} for nx = 0)
 */
ZEFRA_API void Polyfit(const double *x, const double *y, const void *unused, double *coeffs,
                       int32_t nx, int32_t ny);

/* ---- Filter design ------------------------------------------------------------ */

/*
 * Frequency response of an analogue Butterworth low-pass filter,
 * H(jw) = product over k of wc / (jw - p_k), p_k = wc exp(j (2k + N - 1) pi
 * / (2N)), by a complex division per pole.
 *   N: order; N < 1 leaves H untouched
 *   w: in, double[nf], angular frequencies, rad/s
 *   wc: cut-off, rad/s
 *   H: out, zefra_complex[nf]
 */
ZEFRA_API void Butterworth_TF(int32_t N, const double *w, double wc, int32_t nf,
                              zefra_complex *H);

/*
 * The same response with the other parameter order (nf before wc),
 * multiplying by wc conj(d) / |d|^2, d = jw - p_k, per pole.  N < 1 writes
 * (1, 0) at every frequency.
 */
ZEFRA_API void GetButterworthTF(int32_t N, const double *w, int32_t nf, double wc,
                                zefra_complex *H);

/* ---- Special function --------------------------------------------------- */

/*
 * Inverse complementary error function, element by element:
 * y[i] = erfcinv(x[i]), so that erfc(y[i]) = x[i].
 *   x: in, double[n], values in (0, 2)
 *   y: out, double[n]
 *   n: number of elements
 * x = 0, x = 2, x outside [0, 2] and NaN give 0.0 (not +-Inf or NaN).
 * x = 1 gives the result of two refinement steps started from 0 with
 * erf(0) read as 1 (about -0.2358), not 0.  n <= 0 writes nothing.
 */
ZEFRA_API void erfcinv(const double *x, double *y, int32_t n);

/* ---- Equalisation and noise ---------------------------------------------- */

/*
 * Continuous-time linear equaliser (one zero, two poles) applied in the
 * time domain: the prototype
 *   H(s) = wp2 (s + g wz) / ((s + wp1)(s + wp2)),  w = 2 pi f,
 *   g = 10^(gainDb / 20)  (but g = 0.0 when gainDb is exactly 0),
 * discretised with the bilinear transform at fs = baseRate * rateMultiplier
 * (no prewarping), run as a second-order recursive filter.
 *   input: in, double[sampleCount]
 *   output: out, double[sampleCount]
 *   sampleCount: number of samples
 *   baseRate, rateMultiplier: their product is the sampling rate
 *   zeroFreq, pole1Freq, pole2Freq: fz, fp1, fp2, in the unit of the rate
 *   gainDb: gain applied to the zero, dB
 * The DC gain is g * fz / fp1; the Nyquist frequency is removed.  Memory
 * is O(sampleCount).  sampleCount <= 0 writes nothing.
 */
ZEFRA_API void td_ctle(const double *input, double *output, int32_t sampleCount,
                       double baseRate, double zeroFreq, double pole1Freq, double pole2Freq,
                       double gainDb, double rateMultiplier);

/*
 * Crosstalk noise power at the worst sampling phase: the response is
 * integrated into a step response (padded with 1.0 up to samplesPerUi
 * samples), convolved with the aggressor pattern (truncated to the
 * pattern's length), and for each phase s < samplesPerUi the squares of the
 * induced waveform at s, s + P, s + 2P, ... are summed over the pattern's
 * unit intervals except the last three.  Returns amplitude^2 times the
 * largest sum.
 *   response: in, double[responseLength], coupling response samples
 *   pattern: in, double[patternLength], aggressor drive sequence
 *   samplesPerUi: P, samples per unit interval; P < 1 gives 0.0
 *   amplitude: aggressor amplitude
 */
ZEFRA_API double Get_xtlk_noise_step(const double *response, const double *pattern,
                                     int32_t responseLength, int32_t patternLength,
                                     int32_t samplesPerUi, double amplitude);

/*
 * Floating-tap decision-feedback equaliser: chooses, group after group, the
 * window of tapsPerGroup consecutive cursor positions in
 * [searchStart, searchEnd] where the taps remove the most ISI energy, and
 * the tap weights min(maxTapWeight, |cursor / mainCursor|) with the
 * cursor's sign.
 *   pulse: in, double[pulseLength], pulse response, one value per UI
 *   pulseLength: n
 *   searchStart, searchEnd: first and last position (zero-based index) a
 *       group may cover
 *   tapsPerGroup: L, taps per group
 *   groupCount: G, number of groups (truncated)
 *   maxTapWeight: largest tap magnitude
 *   mainCursor: amplitude that normalises a cursor into a tap weight
 *   reservedInt: never read
 *   tapPositionsOut: out, double[trunc(L * G)], chosen positions, ascending;
 *       no entry when L * G is NaN or below 1, at most 2^20 entries
 *   tapWeightsOut: out, double[n], weight of the tap at position p stored
 *       at index p - 1
 *   tapLimitsOut: out, double[n], maxTapWeight at each chosen position
 * docs/behaviour.md states what happens when a search finds no window.
 */
ZEFRA_API void floatingDFE(const double *pulse, int32_t pulseLength, double searchStart,
                           double tapsPerGroup, double groupCount, double searchEnd,
                           double maxTapWeight, double mainCursor, int32_t reservedInt,
                           double *tapPositionsOut, double *tapWeightsOut,
                           double *tapLimitsOut);

/* ---- Probability densities of sampled signals ------------------------------
 *
 * A density is a histogram on a uniform amplitude grid of bin width w:
 * points are quantised to the grid in single precision
 * (roundf((float)(p / w)) * w), each point's weight goes to its nearest bin
 * (ties to the lower bin), and empty bins are trimmed from both ends.  A
 * density that would need more than 2000 bins makes the call return false.
 */

/*
 * Density of the sum of cursors c[i] * d[i], each d[i] an equiprobable
 * symbol from M levels evenly spaced in [-1, +1], on bins of width w.
 * Cursors of magnitude <= w are left out (but if no cursor is greater than
 * w, every cursor counts as 0).
 *   signal: in, double[sampleCount], the cursors
 *   levelCount: M, symbol levels (2 for NRZ, 4 for PAM4)
 *   reserved: never read
 *   amplitudesOut: out, receives a library-allocated double[*countOut], the
 *       amplitude of each bin, (i + *offsetOut) * w
 *   probabilitiesOut: out, receives a library-allocated double[*countOut],
 *       the probability of each bin
 *   offsetOut: out, amplitude of the first bin divided by w (only on
 *       success)
 *   binWidth: in, w; written back unchanged on success
 *   sampleCount: number of cursors
 *   countOut: out, number of bins
 * Returns true on success, false when one cursor's density needs more than
 * 2000 bins (the arrays then describe the cursors combined before it).  The
 * two arrays are allocated even on failure and belong to the caller: release
 * each with zefra_release_array.
 */
ZEFRA_API bool get_pdf_from_sampled_signal(const double *signal, int32_t levelCount,
                                           const void *reserved, double **amplitudesOut,
                                           double **probabilitiesOut, double *offsetOut,
                                           double *binWidth, int32_t sampleCount,
                                           int32_t *countOut);

/*
 * As get_pdf_from_sampled_signal, but the cursors are combined from the
 * largest magnitude to the smallest (equal magnitudes: higher index first),
 * and the accumulated offset is rounded to a whole number of bins after
 * every cursor, so the amplitude axis stays on the bin grid.  An oversized
 * cursor therefore fails on the first step.
 */
ZEFRA_API bool get_pdf_from_sampled_signal_800G(const double *signal, int32_t levelCount,
                                                const void *reserved, double **amplitudesOut,
                                                double **probabilitiesOut, double *offsetOut,
                                                double *binWidth, int32_t sampleCount,
                                                int32_t *countOut);

/*
 * Weighted histogram of points on bins of width binWidth.
 *   points: in, double[pointCount], amplitudes (at least one)
 *   weights: in, double[weightCount], weight of each point; missing
 *       weights (weightCount < pointCount) count as 0
 *   centersOut: out, double[c], bin-centre grid (k - |x|) * binWidth,
 *       c = 2 * |round(x)| + 1 on success, outCount on failure
 *   densityOut: out, double[c], density values; 0.0 where the grid is
 *       longer than the trimmed density
 *   pointCount, weightCount: counts of the two inputs
 *   outCount: values written to both outputs when the call fails
 *   binWidth: w
 *   offsetOut: out, x, the first kept bin in bins (only on success)
 *   widthOut: out, w (only on success)
 * Returns true on success; false when the points span more than 2000 bins,
 * when pointCount < 1, and when the bin count is NaN or below one bin (a NaN
 * or zero bin width, or a negative one unless it is so large that the span
 * underflows to a single bin).
 */
ZEFRA_API bool d_cpdf(const double *points, const double *weights, double *centersOut,
                      double *densityOut, int32_t pointCount, int32_t weightCount,
                      int32_t outCount, double binWidth, double *offsetOut, double *widthOut);

/*
 * Releases an array that get_pdf_from_sampled_signal or
 * get_pdf_from_sampled_signal_800G allocated.  A null pointer is ignored.
 */
ZEFRA_API void zefra_release_array(double *array);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZEFRA_TDR_HELPERS_H */
