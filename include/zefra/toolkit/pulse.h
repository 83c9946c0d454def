/*
 * Pulse response of a terminated two-port (a single-ended through or a
 * differential mode): impulse, step and pulse on a uniform time grid, with
 * the diagnostics that show whether they can be trusted.  It belongs to the
 * channel toolkit; include <zefra/toolkit.h>.
 *
 * The pipeline, in order:
 *   1. Terminated transfer, from source EMF to load voltage, at each
 *      measured frequency:
 *        Zs = Rs || 1/(j w Cs),  ZL = RL || 1/(j w CL)  (RL = +inf: open),
 *        Gs = (Zs - Z01)/(Zs + Z01),  GL = (ZL - Z02)/(ZL + Z02),
 *        H  = S21 (1 - Gs)(1 + GL) sqrt(Z02/Z01)
 *             / (2 [(1 - S11 Gs)(1 - S22 GL) - S12 S21 Gs GL]),
 *      with Z01, Z02 the (real) references of the two ports.  Matched
 *      terminations give H = S21/2.
 *   2. H(0), always real, by the DC policy (ZEFRA_TK_DC_*).
 *   3. The grid: dt = 1/(baud * samplesPerUi), f_nyq = 1/(2 dt),
 *      f_k = k df, k = 0..K, df = f_nyq / K, where K is the smallest
 *      2^a 3^b 5^c with 2 K dt >= the span.
 *   4. Inside the measured band (and from DC to its first point): linear
 *      interpolation of H with its bulk delay tau removed (H e^{+j 2 pi f tau}),
 *      the delay restored.  Above the band: |H| of the band edge, the delay
 *      continued, times a raised-cosine roll-off from 1 at the band edge to
 *      0 at band edge + roll-off width; 0 beyond (never a brick wall).
 *   5. Optional receiver filter: an analogue Butterworth low-pass of the
 *      given order and -3 dB frequency, multiplied in.
 *   6. Optional window W(f) over [0, f_stop], f_stop the end of the
 *      roll-off (at most f_nyq): raised cosine 1/2 (1 + cos(pi f/f_stop)) or
 *      the right half of a Kaiser window of parameter beta.
 *   7. h_d = irfft(W H, 2K): sum(h_d) = H(0) W(0) = H(0).  The array is
 *      rotated so that it starts `guard` samples before t = 0 (the negative
 *      times, where a causal response has no energy).
 *   8. s[n] = sum_{m <= n} h_d[m];  p[n] = s[n] - s[n - Ns] (a source
 *      rectangle from t = 0 to t = UI, 1 V).
 */
#ifndef ZEFRA_TOOLKIT_PULSE_H
#define ZEFRA_TOOLKIT_PULSE_H

#include <stdint.h>

#include "zefra/toolkit/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* How H(0) is obtained. */
enum {
  ZEFRA_TK_DC_AUTO = 0,        /* DATA when the first frequency is 0 Hz, else EXTRAPOLATE */
  ZEFRA_TK_DC_DATA = 1,        /* the real part of H at a measured 0 Hz point (an error
                                  when the data do not start at 0 Hz) */
  ZEFRA_TK_DC_EXTRAPOLATE = 2, /* |H| and the unwrapped phase extrapolated linearly to 0 Hz
                                  from the first two points; H(0) = |H|(0) cos(phase(0))
                                  (a negative extrapolated |H|(0) is taken as 0) */
  ZEFRA_TK_DC_GIVEN = 3,       /* dcValue is H(0) */
  ZEFRA_TK_DC_RESISTANCE = 4,  /* physics: a series DC resistance dcValue (ohms) between
                                  the terminations, H(0) = RL / (Rs + dcValue + RL)
                                  (1 for an open load) */
  ZEFRA_TK_DC_AC_COUPLED = 5   /* H(0) = 0 */
};

/* Window applied before the inverse transform. */
enum {
  ZEFRA_TK_WINDOW_NONE = 0,
  ZEFRA_TK_WINDOW_RAISED_COSINE = 1,
  ZEFRA_TK_WINDOW_KAISER = 2
};

typedef struct zefra_tk_pulse_options {
  double baudHz;          /* symbol rate, Hz, > 0 */
  int32_t samplesPerUi;   /* Ns, 1 .. 4096 */
  double spanS;           /* time span the grid must cover, s; <= 0: the default,
                             1 / (the median step of the measured frequencies),
                             the longest response the data describe */
  double sourceOhm;       /* Rs, ohms, > 0 (finite) */
  double sourcePadF;      /* Cs, farads, >= 0 */
  double loadOhm;         /* RL, ohms, > 0; +inf for an open (high-impedance) load */
  double loadPadF;        /* CL, farads, >= 0 */
  int32_t dcPolicy;       /* ZEFRA_TK_DC_* */
  double dcValue;         /* H(0) for GIVEN, the series resistance (ohms) for RESISTANCE */
  double rolloffHz;       /* width of the roll-off above the band, Hz; <= 0: the
                             default, a quarter of the band edge frequency */
  int32_t rxOrder;        /* receiver Butterworth order, 0 = no receiver filter */
  double rxBandwidthHz;   /* its -3 dB frequency, Hz (> 0 when rxOrder > 0) */
  int32_t window;         /* ZEFRA_TK_WINDOW_* */
  double kaiserBeta;      /* beta of the Kaiser window (e.g. 6) */
  double guardS;          /* time kept before t = 0, s; < 0: the default, 1/16 of
                             the span */
} zefra_tk_pulse_options;

/* Fills `options` with the defaults: Ns = 32, matched 50-ohm terminations
 * without pads, DC AUTO, default span, roll-off and guard, no receiver
 * filter, no window, beta 6; baudHz = 0 (the caller must set it). */
ZEFRA_TK_API void zefra_tk_pulse_default_options(zefra_tk_pulse_options *options);

/* What the pipeline did and how much the result can be trusted. */
typedef struct zefra_tk_pulse_diagnostics {
  double dcValue;           /* H(0) used (V per V of source EMF) */
  int32_t dcPolicy;         /* the policy that produced it (never AUTO) */
  double dcPhaseRad;        /* EXTRAPOLATE: the extrapolated phase at 0 Hz, in
                               (-pi, pi]: near 0 or pi when DC is well defined;
                               DATA: atan2 of the discarded imaginary part; else 0 */
  double bulkDelayS;        /* tau removed for the interpolation, s */
  double bandStartHz;       /* first and last measured frequency, Hz */
  double bandEdgeHz;
  double rolloffHz;         /* width of the roll-off used, Hz */
  double extrapolatedFraction; /* share of the energy of W H on the grid that lies
                               outside the measured band (below its first point,
                               above its last) */
  double noncausalFraction; /* share of the impulse energy at t < 0 */
  double tailFraction;      /* share of the impulse energy in the last 1/16 of the
                               window: large when the span is too short and the
                               response wraps around */
  double sigmaMax;          /* largest singular value of the 2x2 S over the band
                               (passivity: <= 1) */
  double sigmaMaxHz;        /* where it occurs, Hz */
  double dtS;               /* time step, s */
  double dfHz;              /* frequency step of the grid, Hz */
  double nyquistHz;         /* f_nyq = K df */
  double spanS;             /* the span used (requested or default), s */
  int32_t spanIsDefault;    /* 1 when spanS was the default */
  int64_t fftSize;          /* 2K = the number of time samples */
  int64_t guardSamples;     /* samples before t = 0 */
  int32_t dataAboveNyquist; /* 1 when measured points above f_nyq were dropped (the
                               grid ends at f_nyq; the first point above it only
                               closes the interpolation interval that holds f_nyq) */
} zefra_tk_pulse_diagnostics;

/* A computed response.  Opaque; release with zefra_tk_pulse_free. */
typedef struct zefra_tk_pulse zefra_tk_pulse;

/*
 * Computes the response of a two-port.
 *   points: number of measured frequencies, >= 2
 *   f: in, double[points], Hz, >= 0, strictly increasing, finite
 *   s: in, double[2 * points * 4], complex [points][2][2] row-major
 *       (s[(k * 2 + i) * 2 + j] = S_{i+1, j+1}), port 1 the input, port 2 the
 *       output; finite
 *   z0: in, double[2], the references of ports 1 and 2, ohms, > 0
 *   options: in
 *   pulse: out, on success a new response (null on failure)
 *   message: out, char[messageSize]: the error on failure, "" on success
 * Returns ZEFRA_TK_OK, ZEFRA_TK_BAD_INPUT (the message names the argument
 * and the rule) or ZEFRA_TK_NO_MEMORY.  Single-threaded; deterministic.
 */
ZEFRA_TK_API zefra_tk_status zefra_tk_pulse_response(int64_t points, const double *f,
                                                     const double *s, const double *z0,
                                                     const zefra_tk_pulse_options *options,
                                                     zefra_tk_pulse **pulse, char *message,
                                                     int32_t messageSize);

/* Releases a response (null is ignored). */
ZEFRA_TK_API void zefra_tk_pulse_free(zefra_tk_pulse *pulse);

/* Number of time samples (= diagnostics.fftSize). */
ZEFRA_TK_API int64_t zefra_tk_pulse_length(const zefra_tk_pulse *pulse);

/*
 * Copies the waveforms out; a null pointer skips that array.
 *   t: out, double[length], s: t[n] = (n - guardSamples) dt
 *   impulse: out, double[length], V per V, h_d (sum = H(0))
 *   step: out, double[length], V per V
 *   pulseOut: out, double[length], V per V of a 1-UI source rectangle
 */
ZEFRA_TK_API void zefra_tk_pulse_copy(const zefra_tk_pulse *pulse, double *t, double *impulse,
                                      double *step, double *pulseOut);

/*
 * Copies the transfer on the grid out (after roll-off, receiver filter and
 * window): h: out, double[2 * (K + 1)], complex, at f_k = k df.
 */
ZEFRA_TK_API void zefra_tk_pulse_copy_transfer(const zefra_tk_pulse *pulse, double *h);

/* Copies the diagnostics out. */
ZEFRA_TK_API void zefra_tk_pulse_diagnostics_of(const zefra_tk_pulse *pulse,
                                                zefra_tk_pulse_diagnostics *diagnostics);

#ifdef __cplusplus
}
#endif

#endif /* ZEFRA_TOOLKIT_PULSE_H */
