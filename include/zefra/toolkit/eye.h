/*
 * Statistical eye of an M-PAM link from its pulse response: the exact ISI
 * density of every cursor, crosstalk, Gaussian noise applied analytically,
 * dual-Dirac receiver jitter, the BER map BER_i(phase, v) of every eye, its
 * read-out (eye height and width, contours, bathtubs, eye area) and an
 * exhaustive equaliser search on the eye height.  It belongs to the channel
 * toolkit; include <zefra/toolkit.h>.
 *
 * Model and conventions (docs/eye.md):
 *   - Symbols are i.i.d. and uniform on A_M = {-1, -1 + 2/(M-1), ..., 1}.
 *   - The pulse p[n] (samplesPerUi = Ns samples per UI, 1 V source
 *     rectangle) is 0 outside its array.  The main cursor at phase offset s
 *     (whole samples) is h_0(s) = p[centre + s]; its cursors are
 *     h_k(s) = p[centre + s + k Ns] for every k that lands in the array:
 *     every cursor counts, none is dropped for being small.
 *   - Ideal DFE: the values d_k (volts) are subtracted from h_k(s) at every
 *     phase (decisions taken as right: error propagation is ignored).
 *   - Received sample y = a_0 h_0(s) + I(s) + X(s) + N.
 *   - Amplitude lattice v_j = j * binV (j integer).  A cursor's M values
 *     a h_k are placed by LINEAR SPLITTING: the mass 1/M at x = a h_k / binV
 *     goes (1 - (x - floor x)) to bin floor x and (x - floor x) to the next.
 *     Each factor keeps its mean and its mass exactly; the sum of K
 *     factors lies within K binV of the exact ISI (a rigorous bracket), and
 *     the result converges as binV shrinks.  No cap on the bin count.
 *   - Crosstalk, aggressor j with pulse q_j (same Ns, same time origin,
 *     same M):
 *       synchronous: cursors q_j[centre + s + offset_j + k Ns], all k;
 *       asynchronous: the mixture over the Ns offsets 0..Ns-1 of the
 *       densities of those cursors (uniform over one UI).
 *   - Noise N ~ N(0, sigma^2) at read-out:
 *       P(y < v | a) = sum_j p_j Phi((v - a h_0 - v_j) / sigma),
 *     the upper tail summed separately as sum_j p_j Phi((a h_0 + v_j - v) /
 *     sigma), so both tails keep full relative precision.  Terms with
 *     |z| > 11.5 are taken as exactly 0 or 1: absolute error below 1e-30.
 *     sigma = 0: the step, strictly P(y < v).
 *   - BER of eye i (levels a_i < a_{i+1}), 1/M weighted:
 *       BER_i(s, v) = (1/M) [ (1 - F_{a_i}(v)) + F_{a_{i+1}}(v) ].
 *   - Receiver jitter, dual Dirac: f_J = 1/2 [N(-DJ/2, RJ^2) + N(+DJ/2,
 *     RJ^2)] in UI.  The BER map is the mixture over whole-sample phase
 *     offsets tau of BER(s + tau, v) with weights the mass of f_J on
 *     [tau - 1/2, tau + 1/2) samples (RJ = 0: each Dirac split linearly
 *     between its two neighbouring samples); Gaussian tails beyond 11.5 RJ
 *     are cut (mass below 1e-30).
 *   - Output grid: phases s = -H..H with H = floor(Ns/2), phase_ui = s/Ns
 *     (2H + 1 phases, the centre at 0); voltages v_m = m binV for
 *     m = -Mv..Mv, Mv covering every level's reach plus 11.5 sigma.
 *
 * Threads: the phases (and the candidates of a search) are shared among
 * worker threads; every result is computed by one thread in a fixed order,
 * so the bits are the same for any thread count.
 */
#ifndef ZEFRA_TOOLKIT_EYE_H
#define ZEFRA_TOOLKIT_EYE_H

#include <stdint.h>

#include "zefra/toolkit/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One crosstalk aggressor. */
typedef struct zefra_tk_eye_aggressor {
  const double *pulse;   /* in, double[length], V, Ns samples per UI, same time
                            origin as the victim's pulse; finite */
  int64_t length;        /* >= 1 */
  int32_t synchronous;   /* 1: synchronous at offsetSamples; 0: asynchronous */
  int32_t offsetSamples; /* synchronous phase offset theta, samples (any sign) */
} zefra_tk_eye_aggressor;

/* The channel seen by the eye. */
typedef struct zefra_tk_eye_input {
  const double *pulse;   /* in, double[length], V, the victim's pulse; finite */
  int64_t length;        /* >= 1 */
  int32_t samplesPerUi;  /* Ns >= 1 */
  int64_t centre;        /* sample of the main cursor at phase 0, 0..length-1 */
  const int64_t *dfePositions; /* in, int64[dfeCount], cursor indices k >= 1,
                                  distinct */
  const double *dfeValuesV;    /* in, double[dfeCount], d_k, V; finite */
  int32_t dfeCount;            /* >= 0 */
  const zefra_tk_eye_aggressor *aggressors; /* in, [aggressorCount] */
  int32_t aggressorCount;                   /* >= 0 */
} zefra_tk_eye_input;

typedef struct zefra_tk_eye_options {
  int32_t levels;   /* M, 2 .. 64 */
  double binV;      /* lattice step, V, > 0, finite */
  double noiseRmsV; /* sigma, V, >= 0 */
  double djUi;      /* dual-Dirac DJ (peak to peak), UI, >= 0 */
  double rjUi;      /* RJ (rms), UI, >= 0 */
  int32_t threads;  /* worker threads; 0: one per hardware thread */
} zefra_tk_eye_options;

/* Defaults: NRZ, binV = 0 (the caller must set it), no noise, no jitter,
 * threads 0. */
ZEFRA_TK_API void zefra_tk_eye_default_options(zefra_tk_eye_options *options);

/* A computed eye: its grid and BER map.  Opaque; release with
 * zefra_tk_eye_free. */
typedef struct zefra_tk_eye zefra_tk_eye;

/*
 * Computes the BER map.
 * Returns ZEFRA_TK_OK, ZEFRA_TK_BAD_INPUT (the message names the argument
 * and the rule: jitter needs Ns >= 2; the jitter reach is limited to 64
 * UI) or ZEFRA_TK_NO_MEMORY.
 */
ZEFRA_TK_API zefra_tk_status zefra_tk_eye_compute(const zefra_tk_eye_input *input,
                                                  const zefra_tk_eye_options *options,
                                                  zefra_tk_eye **eye, char *message,
                                                  int32_t messageSize);

/* Releases an eye (null is ignored). */
ZEFRA_TK_API void zefra_tk_eye_free(zefra_tk_eye *eye);

/* Sizes of the map: eyes = M - 1, phases = 2H + 1, voltages = 2 Mv + 1. */
ZEFRA_TK_API void zefra_tk_eye_shape(const zefra_tk_eye *eye, int32_t *eyes, int64_t *phases,
                                     int64_t *voltages);

/*
 * Copies the grid and the map out; a null pointer skips that array.
 *   phasesUi: out, double[phases], UI, s / Ns
 *   voltagesV: out, double[voltages], V, m binV
 *   ber: out, double[eyes * phases * voltages], ber[(i * phases + p) *
 *       voltages + m] = BER_i(phase p, voltage m)
 *   mainCursorV: out, double[phases], h_0 at each phase (after the DFE), V
 */
ZEFRA_TK_API void zefra_tk_eye_copy(const zefra_tk_eye *eye, double *phasesUi,
                                    double *voltagesV, double *ber, double *mainCursorV);

/*
 * Figures of one eye at a target BER.  "Open at (s, v)" means
 * BER_i(s, v) <= target.  Between grid points, log10 BER is interpolated
 * linearly (values below 1e-300 read as 1e-300) to place crossings.
 */
typedef struct zefra_tk_eye_figures {
  double heightCentreV;  /* EH at phase 0: the total length of the open set in v, V */
  double heightBestV;    /* the largest EH over the phases, V */
  double bestPhaseUi;    /* where it occurs (ties: nearest the centre, then the
                            earlier phase), UI */
  double thresholdV;     /* v*: the midpoint of the longest open interval at the
                            best phase; when the eye is closed everywhere, the v
                            of the smallest BER at phase 0 */
  double widthUi;        /* EW: the total length of the open set in phase at v*,
                            UI (0 with a single phase) */
  double areaVUi;        /* eye area: trapezoid integral of EH over the phases, V UI */
  double minBer;         /* the smallest BER_i of the whole map */
} zefra_tk_eye_figures;

/*
 * Reads one eye out at a target BER.
 *   eyeIndex: 0 .. M-2 (eye i lies between levels a_i and a_{i+1})
 *   targetBer: in (0, 1)
 *   figures: out
 *   heightV: out, double[phases], EH(s), V (null: skipped)
 *   contourLowV, contourHighV: out, double[phases], edges of the open interval
 *       at each phase that holds v* (or its nearest open interval), V; NaN
 *       where the phase has no open v (null: skipped)
 *   bathtubMin: out, double[phases], min over v of BER_i(s, v) (null: skipped)
 *   bathtubAtThreshold: out, double[phases], BER_i(s, v*) (null: skipped)
 * Returns ZEFRA_TK_OK, ZEFRA_TK_BAD_INPUT or ZEFRA_TK_NO_MEMORY.
 */
ZEFRA_TK_API zefra_tk_status zefra_tk_eye_readout(const zefra_tk_eye *eye, int32_t eyeIndex,
                                                  double targetBer,
                                                  zefra_tk_eye_figures *figures,
                                                  double *heightV, double *contourLowV,
                                                  double *contourHighV, double *bathtubMin,
                                                  double *bathtubAtThreshold, char *message,
                                                  int32_t messageSize);

/* ---- Equaliser search --------------------------------------------------- */

/* The DFE of a search candidate, placed on each candidate's own cursors at
 * phase 0: fixed taps on k = 1..fixedTaps, plus floatingGroups groups of
 * tapsPerGroup consecutive taps placed in searchStart..searchEnd by the
 * library's floating-tap kernel (the fixed taps' cursors passed as 0);
 * d_k = clip(h_k, -limit |h_0|, +limit |h_0|). */
typedef struct zefra_tk_eye_dfe {
  int32_t fixedTaps;      /* >= 0 */
  int32_t floatingGroups; /* >= 0; 0: no floating taps */
  int32_t tapsPerGroup;   /* >= 1 when floatingGroups > 0 */
  int32_t searchStart;    /* first post-cursor a group may cover, >= 1 */
  int32_t searchEnd;      /* last one, >= searchStart + tapsPerGroup - 1 */
  double limit;           /* largest |d_k| / |h_0|, >= 0 */
} zefra_tk_eye_dfe;

/*
 * Exhaustive search over (victim pulse after each Rx setting) x (Tx FFE tap
 * vector).  For candidate (c, f):
 *   1. p = victims[c] convolved with the FFE at UI spacing:
 *      p_tx[n] = sum_j ffe[f][j] p[n - (j - ffeMain) Ns], n = 0 .. length-1,
 *      p taken as 0 outside its array: p_tx keeps the length of p, and what
 *      a tap shifts past either end is dropped;
 *   2. centre = the largest sample of p_tx (first on ties);
 *   3. the DFE as above on the cursors p_tx[centre + k Ns];
 *   4. the eye with aggressors[c] (the aggressors after the same Rx setting;
 *      the Tx FFE acts on the victim only);
 *   5. score = the smallest heightBestV over the M - 1 eyes at targetBer (the
 *      worst eye), V.
 *   victims: in, double[rxCount * length], V, finite; rxCount >= 1,
 *       length 1 .. 2147483647
 *   aggressorPulses: in, double[rxCount * aggressorCount * length] (null when
 *       aggressorCount = 0); the per-aggressor mode and offset come from
 *       aggressorModes
 *   aggressorModes: in, [aggressorCount]: only synchronous and offsetSamples
 *       are read (pulse and length are ignored)
 *   ffe: in, double[ffeCount * ffeLength]; ffeCount = 0: no FFE (one
 *       candidate per Rx setting)
 *   ffeMain: 0 .. ffeLength-1
 *   dfe: as above, with floatingGroups * tapsPerGroup <= 1048576
 *   options: the eye options; options->threads workers share the candidates
 *       (each eye runs single-threaded)
 *   scores: out, double[rxCount * max(ffeCount, 1)], scores[c * F + f];
 *       written only when the call succeeds
 * Tap positions whose cursor lies past the end of p_tx are left out (their
 * d_k would be 0).  The scores are the same bits for any thread count.
 * Returns ZEFRA_TK_OK, ZEFRA_TK_BAD_INPUT or ZEFRA_TK_NO_MEMORY.  The eye
 * options other than threads are checked by zefra_tk_eye_compute: when it
 * (or the read-out) fails for a candidate, the call returns its status and
 * message prefixed by "candidate (c = .., f = ..): ", the first failing
 * candidate in scores order.
 */
ZEFRA_TK_API zefra_tk_status zefra_tk_eye_search(
    const double *victims, int32_t rxCount, int64_t length, int32_t samplesPerUi,
    const double *aggressorPulses, const zefra_tk_eye_aggressor *aggressorModes,
    int32_t aggressorCount, const double *ffe, int32_t ffeCount, int32_t ffeLength,
    int32_t ffeMain, const zefra_tk_eye_dfe *dfe, const zefra_tk_eye_options *options,
    double targetBer, double *scores, char *message, int32_t messageSize);

#ifdef __cplusplus
}
#endif

#endif /* ZEFRA_TOOLKIT_EYE_H */
