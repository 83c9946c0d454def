"""Reference computations and comparison helpers for the Python tests.

The oracles restate each routine's arithmetic literally (same operations, same
order) so that the library can be held to identical bits; the tolerances in
TOLERANCES apply only where a test compares against an independent algorithm
(numpy, math.hypot) that rounds differently.
"""

from __future__ import annotations

import math
import struct

import numpy as np

# Tolerances for comparisons against independent implementations.  Each one
# is a bound on the *relative* error |ours - ref| / |ref| unless the name says
# ULP.  Chosen tight: a few times the worst error observed over the seeded
# test data (see the end-of-run summary printed by conftest.py).
TOLERANCES = {
    # median, even n, against numpy.median's (a + b) / 2: at most 1 ULP apart.
    "median_vs_numpy_ulp": 1,
    # eval_std against numpy.std(x, ddof=1) (pairwise summation), n <= 1e6.
    "std_vs_numpy_rel": 1e-13,
    # norm against numpy.linalg.norm (BLAS dot + sqrt), n <= 1e6.
    "norm_vs_numpy_rel": 1e-13,
    # norm against math.hypot(*x) near the overflow / underflow limits:
    # |ours - hypot| <= rel * hypot + ulp * 2**-1074.  The second term is one
    # step of the subnormal grid on which tiny results are rounded; the
    # summary reports the relative error for normal results and the error in
    # such steps for subnormal results.
    "norm_vs_hypot_rel": 1e-14,
    "norm_vs_hypot_subnormal_ulp": 1,
    # ---- channel models (references from network theory in twoport.py,
    # computed in extended precision; errors are elementwise relative unless
    # the name says otherwise).  The bounds of 1e-12 are the accuracy asked
    # of these routines, not a few times the observed errors: those are
    # around 1e-14 (see the summary). ----
    # combine_s4p against the product of transfer (T) matrices, and against
    # the product of ABCD matrices, random |S| < 0.9.
    "cascade_vs_t_product_rel": 1e-12,
    "cascade_vs_abcd_product_rel": 1e-12,
    # synth_tline against the ABCD matrix of a uniform line converted to S on
    # the reference 2*zB (moderate loss: |P| >= exp(-8)).
    "tline_vs_abcd_rel": 1e-12,
    # synth_tline, matched line (zA == 2*zB): S21 against exp(-len*gamma).
    "tline_matched_vs_exp_rel": 1e-12,
    # synth_tline, matched lossless line: | |S21| - 1 |, and the unwrapped
    # phase of S21 against -2*pi*tau*len*fG (relative).
    "tline_lossless_gain_abs": 1e-15,
    "tline_lossless_phase_rel": 1e-12,
    # synth_tline, mismatched lossless line: max |S^H S - I| (entries).
    "tline_lossless_unitarity_abs": 1e-14,
    # synth_tline at f = 0, matched: S21 against math.exp(-len*p0).
    "tline_dc_vs_exp_rel": 1e-15,
    # Passivity, all channel models: largest singular value of S minus 1
    # (which bounds |S11|^2 + |S21|^2 - 1 as well), lossy networks.
    "passivity_excess": 1e-12,
    # makePackage against its sections' S-matrices (lumped ones from their
    # ABCD on Z0, the line from its ABCD on 2*Z0) cascaded with T matrices.
    "package_vs_section_chain_rel": 1e-12,
    # makePackage, lossless package: max |S^H S - I| (entries).
    "package_lossless_unitarity_abs": 1e-13,
    # makePackage, mirror-symmetric package (shunt_cap_in == shunt_cap_out, no
    # optional sections): |S22 - S11| / max(|S11|, 1e-3).
    "package_mirror_symmetry_rel": 1e-13,
    # ---- special functions and equalisation ----
    # erfcinv against scipy.special.erfcinv over (0, 2) except 1, normal x,
    # in ULP.  Observed 6, nearly all of it scipy's own error (see below).
    "erfcinv_vs_scipy_ulp": 8,
    # erfcinv against the exact value rounded to double (Newton's method in
    # 120-digit decimal arithmetic), normal x, in ULP.  Observed 2 (0 in the
    # extreme tail, <= 1 elsewhere except 1e-267 < x < 1e-47) over 2700
    # points.
    "erfcinv_vs_exact_ulp": 2,
    # erfcinv for subnormal x: |ours - exact| converted to steps of x on the
    # subnormal grid, |dy| * 2*x*y / 2**-1074.  Observed about 0.5.
    "erfcinv_subnormal_steps": 1,
    # td_ctle against scipy.signal.bilinear + lfilter: max |ours - ref| over
    # max |ref|, random waveforms (the accuracy asked is 1e-12; observed
    # about 4e-14).
    "ctle_vs_scipy_rel": 2e-13,
    # td_ctle, settled response to a constant against constant * g*fz/fp1
    # (the accuracy asked is 1e-9; observed about 1e-14).
    "ctle_dc_gain_rel": 1e-12,
    # xtalk_noise_step against np.convolve + per-phase sums of squares, which
    # add in another order (the accuracy asked is about 1e-12; observed
    # about 1e-15).
    "xtalk_vs_numpy_rel": 1e-13,
    # ---- probability densities ----
    # pdf_from_sampled_signal (and the 800G variant) against the brute-force
    # enumeration of every symbol combination: largest |probability
    # difference| per bin.  Both sides add products of 1/M in different
    # orders; observed 0 for M = 2, 4, 8 (dyadic) and about 1e-17 for M = 3.
    "pdf_vs_enumeration_abs": 1e-12,
    # Probabilities of one call summed: |sum - 1| (plus rounding of the sum).
    "pdf_sum_abs": 1e-12,
    # 800G against the plain variant on the same cursors (other combination
    # order), largest |probability difference| per bin.
    "pdf_800g_vs_plain_abs": 1e-15,
    # cpdf against a numpy weighted histogram (np.bincount) of the quantised
    # points, weights from a Dirichlet draw (total 1 only up to rounding, and
    # the middle bins are not divided by it): relative error per bin.
    # Observed about 1.1e-15.
    "cpdf_vs_numpy_rel": 4e-15,
    # ---- basic numeric routines (the library is also held to its literal
    # restatements below, bit for bit; these bounds apply to numpy/scipy) ----
    # mod with a non-integer divisor against numpy.mod (exact fmod), the two
    # compared modulo m (near-multiples snap to 0.0 where numpy may give
    # nearly |m|), in units in the last place of max(|x|, |m|).  Observed 1
    # from rounding and 1.89 from the snap of a large dividend (x = 1e15,
    # m = 0.7): the snap window 2**-52 * |q| is worth up to 2 ULP of x,
    # hence the bound.
    "mod_vs_numpy_ulp": 2,
    # conv against numpy.convolve (another summation order): per output
    # element, |ours - ref| / (|a| * |b|)[k], the scale of the rounding
    # error of any summation order.  Observed 5.2e-16 (many sizes agree bit
    # for bit).
    "conv_vs_numpy_rel": 1e-15,
    # filter_signal against scipy.signal.lfilter.  FIR fast path (sums
    # coefficient by coefficient, lfilter sample by sample), nb <= 128: per
    # sample, |ours - ref| over the sum of |b[i] x[k - i]|; observed 6.7e-16.
    # Recursive filters, a0 != 1 included (both run the transposed direct
    # form II on the normalised coefficients): max |ours - ref| over
    # max |ref|; observed 0, i.e. the same bits.
    "filter_fir_vs_lfilter_rel": 1e-15,
    "filter_iir_vs_lfilter_rel": 2.0**-52,
    # unwrap against numpy.unwrap on phases without zeros or NaN: the
    # corrections reduce d + pi with other roundings and are summed into a
    # running total, so the difference grows slowly with the number of
    # wraps; max |ours - ref| in units in the last place of max |ref|, for
    # walks of 50000 samples with up to about 12500 wraps.  Observed 12.75
    # (0.5 to 7.5 with fewer than 8200 wraps).
    "unwrap_vs_numpy_ulp": 16,
    # polyval against numpy.polyval (the same Horner recurrence with the
    # same complex product): elementwise relative error.  Observed 0.
    "polyval_vs_numpy_rel": 2.0**-52,
    # polyfit(x, y) against numpy.polyfit(x, y, 1) (SVD least squares):
    # relative error of slope and intercept, well-conditioned data
    # (|intercept| comparable to max |x| * |slope|), 2 to 10000 points.
    # Observed 8.6e-15.
    "polyfit_vs_numpy_rel": 2e-14,
    # Butterworth responses (both exports) against scipy.signal.butter(N,
    # wc, analog=True) + freqs, N <= 10: elementwise relative error.  Most
    # of it is scipy's: it evaluates the expanded polynomials.  Observed
    # 2.0e-14 (N = 10; below 1e-15 for N <= 2).
    "butterworth_vs_scipy_rel": 3e-14,
    # Butterworth responses against the pole product in 80-bit extended
    # precision: elementwise relative error divided by N * 2**-52 (the
    # rounding of N factors), N <= 20.  Observed 1.84.
    "butterworth_vs_extended_order_eps": 2.5,
    # Butterworth_TF against GetButterworthTF: elementwise relative
    # difference, N <= 20, also at negative frequencies.  Observed 2.2e-15.
    "butterworth_exports_agree_rel": 3e-15,
    # ---- interpolation (the library is also held to its literal
    # restatements below, bit for bit; these bounds apply to numpy/scipy) ----
    # interp_linear inside the table against numpy.interp, which forms
    # slope * (q - x[lo]) + y[lo] where the library forms
    # (1 - r) * y[lo] + r * y[lo+1]: |ours - ref| in units in the last place
    # of max(|y[lo]|, |y[lo+1]|).  Observed 3.5 in the tests, 4 over wider
    # random trials (about 65 % of the values agree bit for bit).
    "linear_vs_numpy_ulp": 8,
    # interp_linear_extrap (and the complex variants, part by part) against
    # scipy.interpolate.interp1d(fill_value="extrapolate"), queries up to 50
    # table spans outside: |ours - ref| in units in the last place of
    # max(|y[lo]|, |y[lo+1]|) + |slope| * max(|q - x[lo]|, |q - x[lo+1]|),
    # the size of the terms either formula adds.  Observed 4.
    "linear_vs_scipy_ulp": 8,
    # interp_cubic against scipy.interpolate.PchipInterpolator (the same
    # slope rule, other arithmetic): |ours - ref| over the size of the terms
    # of the piece, sum |c_k| |s|**k + |delta| * h * (t + t**2 + t**3) with
    # t = |s| / h (the second part bounds what a rounding of the slopes
    # makes of the coefficients).  Queries up to one table span outside.
    # Observed 7.9e-16.
    "cubic_vs_pchip_rel": 2e-15,
    # Slopes (our restatement) against PchipInterpolator's: relative error
    # (the harmonic mean is formed differently).  Observed 4.3e-16.
    "cubic_slopes_vs_pchip_rel": 2e-15,
    # ---- Touchstone files (RI text round-trips bit for bit and is compared
    # with identical bits; these bounds apply to MA and DB text and to the
    # noise parameters, which files hold as magnitude and angle).  Errors
    # are |ours - ref| / |ref| of complex values, so that an angle error
    # counts against the magnitude. ----
    # Corpus MA/DB files and their noise data read by read_touchstone against
    # skrf 0.15: the two readers turn degrees into radians and dB into
    # magnitudes with different roundings (deg * pi / 180 and
    # deg * (pi / 180) differ by an ulp in about a quarter of angles); the
    # accuracy asked is 1e-12.
    "touchstone_ma_db_vs_skrf_rel": 1e-12,
    # A network written MA (shortest digits) and read back, by skrf or
    # read_touchstone: the magnitude is hypot(re, im) and the angle
    # atan2(im, re) * (180 / pi), each rounded once, and the reader undoes
    # both with two or three more roundings and cos, sin.
    "touchstone_ma_round_trip_rel": 1e-14,
    # The same in DB, magnitudes 1e-100 .. 1e100 (+-2000 dB): one ulp of the
    # dB value, up to 2.3e-13 dB, is a relative error of up to
    # ln(10) / 20 * 2.3e-13 = 2.6e-14 of the magnitude, before the
    # roundings of the conversions.
    "touchstone_db_round_trip_rel": 1e-13,
    # Rn of a version-1 file, which holds Rn / R: two roundings (the
    # division, then the reader's product by R), 2**-52 at most.
    "touchstone_rn_version1_rel": 2.0**-52,
}

SMALLEST_NORMAL = 2.2250738585072014e-308


def bits(v: float) -> int:
    """The 64 bits of a double (distinguishes +0.0/-0.0 and NaN payloads)."""
    return struct.unpack("<Q", struct.pack("<d", float(v)))[0]


def from_bits(b: int) -> float:
    return struct.unpack("<d", struct.pack("<Q", b))[0]


def same_bits(a: float, b: float) -> bool:
    return bits(a) == bits(b)


def describe(v: float) -> str:
    return f"{float(v)!r} (0x{bits(v):016x})"


def ordered_int(v: float) -> int:
    """Map a double to an integer so that adjacent doubles differ by 1.

    Uses the int64 view of the bits; +0.0 and -0.0 both map to 0 and
    negative values map below zero.
    """
    i = int(np.float64(v).view(np.int64))
    return i if i >= 0 else -(i & 0x7FFFFFFFFFFFFFFF)


def ulp_distance(a: float, b: float) -> int:
    """Number of steps between adjacent doubles from a to b (0 if equal)."""
    return abs(ordered_int(a) - ordered_int(b))


def rel_error(ours: float, ref: float) -> float:
    if ours == ref:
        return 0.0
    return abs(ours - ref) / abs(ref)


# ---- median -----------------------------------------------------------------


def even_midpoint(a: float, b: float) -> float:
    """Midpoint of the two middle values a <= b, as the library forms it."""
    a = float(a)
    b = float(b)
    if a < 0.0 and b >= 0.0:
        return (a + b) * 0.5
    if a == 0.0 or b == 0.0:
        return (a + b) * 0.5
    return a + (b - a) * 0.5


def median_oracle(x: np.ndarray) -> float:
    """Median from a stable sort (no NaN in x).

    numpy's stable sort keeps +0.0 and -0.0, which compare equal, in input
    order; that is the order that decides the sign of a zero median.
    """
    x = np.asarray(x, dtype=np.float64)
    n = x.shape[0]
    if n == 0:
        return 0.0
    s = np.sort(x, kind="stable")
    if n % 2 == 1:
        return float(s[n // 2])
    return even_midpoint(s[n // 2 - 1], s[n // 2])


# ---- standard deviation -----------------------------------------------------


def std_oracle(x: np.ndarray) -> float:
    """Two-pass sample standard deviation with strictly sequential sums.

    np.cumsum accumulates left to right one element at a time (unlike
    np.sum, which sums pairwise), so its last element is the C loop's sum.
    """
    x = np.asarray(x, dtype=np.float64)
    n = x.shape[0]
    if n == 0:
        return 0.0
    mean = np.cumsum(x)[-1] / np.float64(n)
    d = x - mean
    ss = np.cumsum(d * d)[-1]
    divisor = n - 1 if n > 1 else n
    return float(np.sqrt(ss / np.float64(divisor)))


# ---- norm -------------------------------------------------------------------


def norm_oracle(x) -> float:
    """The scaled-sum Euclidean norm, one Python float operation at a time."""
    values = [float(v) for v in x]
    n = len(values)
    if n < 1:
        return 0.0
    if n == 1:
        return abs(values[0])
    scale = SMALLEST_NORMAL
    s = 0.0
    for v in values:
        t = abs(v)
        if t > scale:
            r = scale / t
            s = (r * s) * r + 1.0
            scale = t
        else:
            r = t / scale
            s = s + r * r
    return scale * math.sqrt(s)


# ---- inverse complementary error function ----------------------------------

_DEC_PREC = 120
_DEC_PI = None


def _dec_pi():
    """pi to _DEC_PREC digits (Machin's formula, computed once)."""
    global _DEC_PI
    if _DEC_PI is None:
        from decimal import Decimal, localcontext

        with localcontext() as ctx:
            ctx.prec = _DEC_PREC + 10

            def arctan_inv(k: int):
                x = Decimal(1) / k
                x2 = x * x
                total, term, n = x, x, 1
                eps = Decimal(10) ** -(_DEC_PREC + 8)
                while abs(term) > eps:
                    term = -term * x2
                    total += term / (2 * n + 1)
                    n += 1
                return total

            _DEC_PI = 4 * (4 * arctan_inv(5) - arctan_inv(239))
    return _DEC_PI


def _dec_erfc(y):
    """erfc(y) in Decimal arithmetic: the Taylor series of erf for y <= 9,
    the asymptotic series above (its smallest term is below 1e-35 there)."""
    from decimal import Decimal

    pi = _dec_pi()
    if y <= 9:
        s = Decimal(0)
        term = y
        n = 0
        eps = Decimal(10) ** -(_DEC_PREC - 5)
        while True:
            t = term / (2 * n + 1)
            s += t
            if abs(t) < eps:
                break
            n += 1
            term = -term * y * y / n
        return 1 - 2 / pi.sqrt() * s
    y2 = y * y
    s = Decimal(1)
    term = Decimal(1)
    for k in range(1, 60):
        term = -term * (2 * k - 1) / (2 * y2)
        s += term
    return (-y2).exp() / (y * pi.sqrt()) * s


def erfcinv_decimal(x: float) -> float:
    """erfcinv(x) for 0 < x < 2, x != 1, correctly rounded to a double
    (barring results within ~1e-100 of a rounding boundary): Newton's method
    on erfc(y) = x in 120-digit decimal arithmetic, started from scipy's
    value (or from 27 where scipy overflows)."""
    from decimal import Decimal

    import scipy.special

    return _erfcinv_newton(Decimal(float(x)), float(scipy.special.erfcinv(x)))


def _erfcinv_newton(x, start: float) -> float:
    from decimal import Decimal, localcontext

    with localcontext() as ctx:
        ctx.prec = _DEC_PREC
        pi = _dec_pi()
        if not math.isfinite(start):
            start = 27.0
        y = Decimal(start)
        for _ in range(60):
            f = _dec_erfc(y) - x
            fp = -2 / pi.sqrt() * (-(y * y)).exp()
            step = f / fp
            y -= step
            if y != 0 and abs(step) < abs(y) * Decimal(10) ** -(_DEC_PREC - 20):
                break
        return float(y)


# ---- probability densities --------------------------------------------------
#
# A literal restatement of the histogram core and the cursor-convolution
# kernels (same operations in the same order, so the library's results are
# expected bit for bit), plus the float32 rounding they rely on.

DENSITY_MAX_BINS = 2000
_EPS52 = 2.0**-52


def roundf32(v: float) -> float:
    """roundf((float)v) widened back to double: narrow to float32 (nearest,
    ties to even, overflow to inf), then round half away from zero.

    numpy's own np.round rounds half to even, so the rounding is done here in
    float64, where |f| + 0.5 is exact whenever it can reach the next integer
    (a float32 needs at most 24 + 29 bits for that)."""
    with np.errstate(over="ignore", invalid="ignore"):
        f = float(np.float32(v))
    if not math.isfinite(f):
        return f
    return math.copysign(math.floor(abs(f) + 0.5), f)


def quantise(p: float, w: float) -> float:
    """The core's grid quantisation roundf((float)(p / w)) * w."""
    with np.errstate(divide="ignore", invalid="ignore", over="ignore"):
        quotient = float(np.float64(p) / np.float64(w))
    return roundf32(quotient) * w


def histogram_core(w: float, points, weights, want_centres: bool = True):
    """The histogram core: returns (ok, pdf, centres, x).

    Finite points only (the callers' test data); NaN, zero or negative widths
    and counts above DENSITY_MAX_BINS fail, as does an empty point list."""
    points = [float(p) for p in points]
    weights = [float(v) for v in weights]
    n = len(points)
    if n < 1:
        return False, None, None, None
    q = [quantise(p, w) for p in points]
    q_min = q_max = q[0]
    for v in q[1:]:
        if v > q_max:
            q_max = v
        else:
            q_min = v if v < q_min else q_min
    with np.errstate(divide="ignore", invalid="ignore", over="ignore"):
        span = float(np.trunc(np.floor((np.float64(q_max) - q_min + _EPS52) / w) + 1.0))
    if not (1.0 <= span <= DENSITY_MAX_BINS):
        return False, None, None, None
    nb = int(span)
    bins = np.zeros(nb)
    j_times_w = np.arange(nb, dtype=np.float64) * w
    for i, v in enumerate(q):
        weight = weights[i] if i < len(weights) else 0.0
        distances = np.abs((q_min - v) + j_times_w)
        bins[int(np.argmin(distances))] += weight  # first smallest: ties go low
    total = 0.0
    for b in bins:
        total += float(b)
    first = -1
    for j in range(nb):
        bins[j] = bins[j] / total
        if bins[j] != 0.0 or math.isnan(bins[j]):
            first = j
            break
    last = -1
    for j in range(nb - 1, max(first, 0) - 1, -1):
        bins[j] = bins[j] / total
        if bins[j] != 0.0 or math.isnan(bins[j]):
            last = j
            break
    pdf = bins[first:last + 1].copy() if 0 <= first <= last else np.zeros(0)
    x = q_min / w + float(first)
    centres = None
    if want_centres:
        count = math.trunc(2.0 * abs(roundf32(x)) + 1.0)
        centres = (np.arange(count, dtype=np.float64) - abs(x)) * w
    return True, pdf, centres, x


def cpdf_oracle(points, weights, w: float, out_count: int):
    """d_cpdf: (centres, density, x, ok); c values, 0.0 past the density."""
    ok, pdf, centres, x = histogram_core(w, points, weights)
    if not ok:
        return np.zeros(out_count), np.zeros(out_count), None, False
    c = centres.shape[0]
    density = np.zeros(c)
    m = min(c, pdf.shape[0])
    density[:m] = pdf[:m]
    return centres, density, x, True


def symbol_levels(m: int) -> list[float]:
    """M levels (i + i) / (double)(int)(M - 1) - 1 (M >= 2)."""
    divisor = float(math.trunc(m - 1.0))
    return [float(i + i) / divisor - 1.0 for i in range(m)]


def kept_cursors(signal, w: float) -> list[float]:
    s = [float(v) for v in signal]
    kept = [0.0 if w > 0.0 else v for v in s]  # w > |0.0|: left 0.0
    if any(v > w for v in s):
        kept = [v for v in s if abs(v) > w]
    return kept


def convolve_in_order(prev: np.ndarray, pdf: np.ndarray) -> np.ndarray:
    """Full linear convolution, each output summed in increasing i."""
    if prev.size == 0 or pdf.size == 0:
        return np.zeros(prev.size + pdf.size)
    out = np.zeros(prev.size + pdf.size - 1)
    for i in range(prev.size):
        out[i:i + pdf.size] += prev[i] * pdf
    return out


def amplitude_axis(offset_sum: float, w: float) -> np.ndarray:
    count = math.trunc(math.floor(abs(offset_sum) * 2.0 + _EPS52) + 1.0)
    return (np.arange(count, dtype=np.float64) + offset_sum) * w


def cursor_density_oracle(signal, m: int, w: float, largest_first: bool = False):
    """get_pdf_from_sampled_signal (or its 800G variant with largest_first):
    (amplitudes, probabilities, offset, ok); offset None on failure.
    M >= 2 and finite cursors."""
    kept = kept_cursors(signal, w)
    if largest_first:
        order = sorted(range(len(kept)), key=lambda i: (abs(kept[i]), i), reverse=True)
        kept = [kept[i] for i in order]
    levels = symbol_levels(m)
    weights = [1.0 / m] * m
    density = np.array([1.0])
    amplitudes = np.zeros(0)
    offset_sum = 0.0
    ok = True
    for a in kept:
        good, pdf, _, off = histogram_core(w, [abs(a) * v for v in levels], weights,
                                           want_centres=False)
        if not good:
            ok = False
            break
        if largest_first:
            offset_sum = roundf32(off + offset_sum)
        else:
            offset_sum = offset_sum + off
        density = convolve_in_order(density, pdf)
        amplitudes = amplitude_axis(offset_sum, w)
    count = amplitudes.shape[0]
    probabilities = np.zeros(count)
    n = min(count, density.shape[0])
    probabilities[:n] = density[:n]
    return amplitudes, probabilities, (offset_sum if ok else None), ok


def quantised_index(p: float, w: float) -> int:
    """Integer bin index roundf((float)(p / w)) of a point."""
    return int(roundf32(float(np.float64(p) / np.float64(w))))


# ---- remainder, filtering, unwrapping, polynomials -------------------------
#
# Literal restatements (same operations in the same order; the library is
# built without floating-point contraction), so the library's results are
# expected bit for bit.  numpy's element-wise float64 operations are
# correctly rounded, which makes the vectorised forms below exact copies of
# the scalar C loops.

EPS = 2.220446049250313e-16
TWO_PI = 6.283185307179586
PI = 3.141592653589793


def _snapped_remainder(q: np.ndarray, m: float) -> np.ndarray:
    """The non-integer path of mod, given q = x / m."""
    with np.errstate(invalid="ignore", over="ignore"):
        r = np.where(q >= 0.5, np.floor(q + 0.5),
                     np.where(q > -0.5, q * 0.0, np.ceil(q - 0.5)))
        r = np.where(np.abs(q) >= 4503599627370496.0, q, r)
        return np.where(np.abs(q - r) <= EPS * np.abs(q), 0.0, (q - np.floor(q)) * m)


def mod_oracle(x, m: float) -> np.ndarray:
    """mod: x unchanged for m == 0; x - floor(x/m)*m for an integer m; the
    snapped remainder otherwise."""
    x = np.asarray(x, dtype=np.float64)
    m = float(m)
    with np.errstate(invalid="ignore", over="ignore", divide="ignore"):
        if m == 0.0:
            return x.copy()
        if np.floor(m) == m:  # integer divisor (infinities included)
            return x - np.floor(x / m) * m
        return _snapped_remainder(x / m, m)


def filter_oracle(b, a, x) -> np.ndarray:
    """Filter: normalisation by a0 (unless 0, 1 or NaN), then the FIR fast
    path (coefficient by coefficient) or the transposed direct form II, one
    Python float operation at a time (use for short signals)."""
    b = [float(v) for v in b]
    a = [float(v) for v in a] if len(a) else []
    x = [float(v) for v in x]
    nb, na, nx = len(b), len(a), len(x)
    if na > 0:
        a0 = a[0]
        if not math.isnan(a0) and a0 != 0.0 and a0 != 1.0:
            b = [v / a0 for v in b]
            a = [1.0] + [v / a0 for v in a[1:]]
    if na == 1 and nx >= 2 * nb:
        y = np.zeros(nx)
        xv = np.array(x)
        for k in range(nb):
            y[k:] += b[k] * xv[:nx - k]
        return y
    ncoef = max(na, nb)
    z = [0.0] * ncoef
    y = np.zeros(nx)
    for k in range(nx):
        z = z[1:] + [0.0]
        for i in range(nb):
            z[i] = z[i] + b[i] * x[k]
        for i in range(1, na):
            z[i] = z[i] - a[i] * z[0]
        y[k] = z[0]
    return y


def _snapped_remainder_scalar(q: float, m: float) -> float:
    """_snapped_remainder for one Python float (faster in loops)."""
    if not math.isfinite(q):
        return float(_snapped_remainder(np.array([q]), m)[0])
    if q >= 0.5:
        r = float(math.floor(q + 0.5))
    elif q > -0.5:
        r = q * 0.0
    else:
        r = float(math.ceil(q - 0.5))
    if abs(q) >= 4503599627370496.0:
        r = q
    if abs(q - r) <= EPS * abs(q):
        return 0.0
    return (q - float(math.floor(q))) * m


def _valid_phase(v: float) -> bool:
    return not math.isnan(v) and v != 0.0


def unwrap_oracle(x) -> np.ndarray:
    """unwrap: NaN and exact zeros kept and skipped; the first valid sample
    searched among all but the last position."""
    x = [float(v) for v in x]
    n = len(x)
    w = list(x)
    first = next((i for i in range(max(n - 1, 0)) if _valid_phase(x[i])), None)
    if first is None:
        return np.array(w, dtype=np.float64)
    prev = x[first]
    c = 0.0
    for j in range(first + 1, n):
        v = x[j]
        if not _valid_phase(v):
            continue
        d = v - prev
        e = _snapped_remainder_scalar((d + PI) / TWO_PI, TWO_PI) - PI
        if e == -PI and d > 0.0:
            e = PI
        if abs(d) >= PI:
            c = c + (e - d)
        prev = v
        w[j] = v + c
    return np.array(w, dtype=np.float64)


def polyval_oracle(p, z) -> np.ndarray:
    """Polyval: Horner's rule with the complex product written out and the
    coefficient added to the real part only."""
    p = np.asarray(p, dtype=np.float64)
    z = np.asarray(z, dtype=np.complex128)
    zr, zi = z.real.copy(), z.imag.copy()
    if p.size == 0:
        return np.zeros(z.shape, dtype=np.complex128)
    wr = np.full(z.shape, p[0])
    wi = np.zeros(z.shape)
    for c in p[1:]:
        wr, wi = (wr * zr - wi * zi) + c, wr * zi + wi * zr
    out = np.empty(z.shape, dtype=np.complex128)
    out.real, out.imag = wr, wi
    return out


def butterworth_extended(order: int, w, wc: float) -> np.ndarray:
    """Product of wc / (jw - p_k) over the N left-half-plane poles, in
    80-bit extended precision (np.longdouble on x86-64), rounded to
    complex128: a reference about 2048 times finer than double."""
    w = np.asarray(w, dtype=np.longdouble)
    wc_l = np.longdouble(wc)
    pi_l = np.longdouble("3.14159265358979323846264338327950288")
    j = np.clongdouble(1j)
    h = np.ones(w.shape, dtype=np.clongdouble)
    for k in range(1, order + 1):
        theta = (2 * k + order - 1) * pi_l / (2 * order)
        pole = wc_l * np.cos(theta) + j * (wc_l * np.sin(theta))
        h = h * wc_l / (j * w - pole)
    return h.astype(np.complex128)


# ---- interpolation ----------------------------------------------------------
#
# Literal restatements of the interpolation kernels (same operations in the
# same order, element-wise numpy float64 arithmetic being correctly
# rounded), so the library is held to identical bits.  Tables must be
# non-decreasing after the reversal of a descending one, except where the
# literal bisection bracket_index is used.


def bracket_index(x, q: float) -> int:
    """The library's bisection, one query: the zero-based lower index of the
    bracketing interval (lo = 1, hi = n, next = 2, 1-based, as in the
    library)."""
    n = len(x)
    lo, hi, nxt = 1, n, 2
    if n > 2:
        while hi > nxt:
            mid = (lo >> 1) + (hi >> 1) + (1 if (lo & 1) and (hi & 1) else 0)
            if q >= x[mid - 1]:
                lo, nxt = mid, mid + 1
            else:
                hi = mid
    return lo - 1


def bracket_sorted(x: np.ndarray, q: np.ndarray) -> np.ndarray:
    """bracket_index for a non-decreasing x, vectorised: the largest
    i <= n - 2 with x[i] <= q, or 0 when there is none."""
    n = x.shape[0]
    return np.clip(np.searchsorted(x, q, side="right") - 1, 0, max(n - 2, 0))


def ascending_table(x, y, dtype=np.float64):
    """Private copies of the table, reversed when x[0] > x[1] (n >= 2)."""
    x = np.array(x, dtype=np.float64)
    y = np.array(y, dtype=dtype)
    if x[0] > x[1]:
        x, y = x[::-1].copy(), y[::-1].copy()
    return x, y


def linear_oracle(x, y, q, extrapolate: bool) -> np.ndarray:
    """interp1q_Linear (extrapolate False) or interp_Linear_Extrap, n >= 2."""
    q = np.asarray(q, dtype=np.float64)
    out = np.zeros(q.shape[0])
    if np.any(np.isnan(np.asarray(x, dtype=np.float64))):
        return out
    x, y = ascending_table(x, y)
    above = q > x[-1]
    below = x[0] > q
    inside = ~(np.isnan(q) | above | below)
    with np.errstate(all="ignore"):
        lo = bracket_sorted(x, q[inside])
        r = (q[inside] - x[lo]) / (x[lo + 1] - x[lo])
        a, b = y[lo], y[lo + 1]
        out[inside] = np.where(a == b, a, (1.0 - r) * a + r * b)
        if extrapolate:
            out[above] = (q[above] - x[-1]) / (x[-1] - x[-2]) * (y[-1] - y[-2]) + y[-1]
            out[below] = (q[below] - x[0]) / (x[1] - x[0]) * (y[1] - y[0]) + y[0]
    return out


def _complex_interior(x, y, lo, q) -> np.ndarray:
    r = (q - x[lo]) / (x[lo + 1] - x[lo])
    a, b = y[lo], y[lo + 1]
    same = (a.real == b.real) & (a.imag == b.imag)
    re = np.where(same, a.real, (1.0 - r) * a.real + r * b.real)
    im = np.where(same, a.imag, (1.0 - r) * a.imag + r * b.imag)
    return _pack(re, im)


def _pack(re, im) -> np.ndarray:
    out = np.empty(np.shape(re), dtype=np.complex128)
    out.real, out.imag = re, im
    return out


def complex_extrap_oracle(x, y, q) -> np.ndarray:
    """interp_Linear_Extrap_Complex, n >= 2."""
    q = np.asarray(q, dtype=np.float64)
    out = np.zeros(q.shape[0], dtype=np.complex128)
    if np.any(np.isnan(np.asarray(x, dtype=np.float64))):
        return out
    x, y = ascending_table(x, y, np.complex128)
    above = q > x[-1]
    below = (x[0] > q) & ~above
    inside = ~(np.isnan(q) | above | below)
    with np.errstate(all="ignore"):
        out[inside] = _complex_interior(x, y, bracket_sorted(x, q[inside]), q[inside])
        s = (q[above] - x[-1]) / (x[-1] - x[-2])
        out[above] = _pack((y[-1].real - y[-2].real) * s + y[-1].real,
                           s * (y[-1].imag - y[-2].imag) + y[-1].imag)
        s = (q[below] - x[0]) / (x[1] - x[0])
        out[below] = _pack((y[1].real - y[0].real) * s + y[0].real,
                           s * (y[1].imag - y[0].imag) + y[0].imag)
    return out


def complex_lean_oracle(x, y, q) -> np.ndarray:
    """zefra_linearInterp_c, n >= 2: the table as given (literal bisection,
    so any x, NaN included), 0 + 0j unless x[0] <= q <= x[-1]."""
    x = np.asarray(x, dtype=np.float64)
    y = np.asarray(y, dtype=np.complex128)
    q = np.asarray(q, dtype=np.float64)
    out = np.zeros(q.shape[0], dtype=np.complex128)
    with np.errstate(all="ignore"):
        for j, v in enumerate(q):
            if v >= x[0] and x[-1] >= v:
                lo = np.array([bracket_index(x, v)])
                out[j] = _complex_interior(x, y, lo, np.array([v]))[0]
    return out


def _sign(v: float) -> float:
    return -1.0 if v < 0.0 else (1.0 if v > 0.0 else v)


def end_slope(delta1: float, delta2: float, h1: float, h2: float) -> float:
    """One-sided three-point end slope with the shape limits."""
    with np.errstate(all="ignore"):
        d = float((np.float64(h1 + h1 + h2) * delta1 - np.float64(delta2) * h1)
                  / np.float64(h1 + h2))
    sd, s1 = _sign(d), _sign(delta1)
    if not sd == s1:  # NaN compares unequal to itself
        return 0.0
    if s1 == _sign(delta2):
        return d
    return 3.0 * delta1 if abs(d) > abs(3.0 * delta1) else d


def pchip_slopes(x, y) -> np.ndarray:
    """The slopes d(1..n) of the cubic, for an ascending table, n >= 2."""
    x = np.asarray(x, dtype=np.float64)
    y = np.asarray(y, dtype=np.float64)
    with np.errstate(all="ignore"):
        h = x[1:] - x[:-1]
        delta = (y[1:] - y[:-1]) / h
        n = x.shape[0]
        if n == 2:
            return np.array([delta[0], delta[0]])
        hp, hn, dp, dn = h[:-1], h[1:], delta[:-1], delta[1:]
        w1 = (hp + (hn + hp)) / ((hn + hp) * 3.0)
        w2 = (hn + (hn + hp)) / ((hn + hp) * 3.0)
        f1 = dp / (dp / dn * w1 + w2)
        f2 = dn / (dn / dp * w2 + w1)
        inner = np.where(dp < 0.0, np.where(dp >= dn, f1, np.where(dn < 0.0, f2, 0.0)),
                         np.where(dp > 0.0,
                                  np.where(dn >= dp, f1, np.where(dn > 0.0, f2, 0.0)), 0.0))
    d = np.empty(n)
    d[1:-1] = inner
    d[0] = end_slope(delta[0], delta[1], h[0], h[1])
    d[-1] = end_slope(delta[-1], delta[-2], h[-1], h[-2])
    return d


def cubic_oracle(x, y, q) -> np.ndarray:
    """interp1_Cubic for a strictly monotone table: the pieces
    (c1, c2, c3, c4) and their nested evaluation at every query."""
    q = np.asarray(q, dtype=np.float64)
    out = np.zeros(q.shape[0])
    xa = np.asarray(x, dtype=np.float64)
    if xa.shape[0] < 2 or np.any(np.isnan(xa)):
        return out
    x, y = ascending_table(x, y)
    d = pchip_slopes(x, y)
    with np.errstate(all="ignore"):
        h = x[1:] - x[:-1]
        delta = (y[1:] - y[:-1]) / h
        a = (d[1:] - delta) / h
        b = (delta - d[:-1]) / h
        c1, c2, c3, c4 = (a - b) / h, b + b - a, d[:-1], y[:-1]
        ok = ~np.isnan(q)
        lo = bracket_sorted(x, q[ok])
        s = q[ok] - x[lo]
        out[ok] = ((c1[lo] * s + c2[lo]) * s + c3[lo]) * s + c4[lo]
    return out
