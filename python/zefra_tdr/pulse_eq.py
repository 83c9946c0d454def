"""Equalisers and cursor sampling applied to a sampled pulse response.

A pulse response here is a real ``float64`` array with ``Ns`` samples per
unit interval (UI), in volts per volt: sample ``n`` lies at ``n / Ns`` UI
from the start of the array.  A pulse response settles to 0 at both ends,
so a sample taken from beyond either end of the array counts as 0.

* :func:`apply_ffe` -- transmitter feed-forward equaliser (FIR at UI
  spacing);
* :func:`apply_ctle`, :func:`ctle_family` -- the library's one-zero,
  two-pole CTLE, parameterised by its gain at 0 Hz;
* :func:`sample_cursors` -- the cursors ``h_k = p(t_c + kT)`` at a centre
  ``t_c`` chosen at the pulse peak or by hula-hoop centring;
* :func:`apply_dfe` -- ideal decision-feedback equaliser on the cursors,
  fixed taps and floating taps placed by the library's ``floating_dfe``.
"""

from __future__ import annotations

import math
import operator
from dataclasses import dataclass, field, replace

import numpy as np

from .equalization import floating_dfe, td_ctle
from .numeric import conv

__all__ = ["Cursors", "DfeResult", "apply_ctle", "apply_dfe", "apply_ffe",
           "ctle_family", "sample_cursors"]

#: Largest number of precursors :func:`sample_cursors` takes by default.
DEFAULT_MAX_PRECURSORS = 32

#: Methods of choosing the sampling centre.
METHODS = ("peak", "hula-hoop")

# Stand-in for a library gain of exactly 0 dB.  The library's power function
# turns an exponent of exactly 0 into g = 0 (a zero at DC), so 0 dB cannot be
# passed as such.  For |x| < 20 * 2**-53 / ln 10 (about 4.8e-16 dB),
# 10**(x / 20) = exp(x ln10 / 20) lies within half an ULP of 1 and rounds to
# exactly 1.0; 2**-100 dB is far below that bound, and x / 20 is still a
# normal double, so the exponent the library sees is not 0.
_UNIT_GAIN_DB = 2.0**-100


# ---------------------------------------------------------------------------
# Argument checks
# ---------------------------------------------------------------------------

def _waveform(x, name: str) -> np.ndarray:
    arr = np.asarray(x)
    if np.iscomplexobj(arr):
        raise ValueError(f"{name} must be real, got dtype {arr.dtype}")
    if arr.ndim != 1:
        raise ValueError(f"{name} must be one-dimensional, got shape {arr.shape}")
    if arr.size == 0:
        raise ValueError(f"{name} is empty")
    try:
        arr = np.array(arr, dtype=np.float64)
    except (TypeError, ValueError) as exc:
        raise ValueError(f"{name} must hold real numbers ({exc})") from exc
    bad = np.flatnonzero(~np.isfinite(arr))
    if bad.size:
        raise ValueError(f"{name}[{bad[0]}] = {arr[bad[0]]!r} is not finite")
    return arr


def _whole(value, name: str, minimum: int, maximum: int | None = None) -> int:
    if isinstance(value, (bool, np.bool_)):
        raise ValueError(f"{name} must be an integer, got {value!r}")
    try:
        number = operator.index(value)
    except TypeError:
        raise ValueError(f"{name} must be an integer, got {value!r}") from None
    if maximum is not None and not minimum <= number <= maximum:
        raise ValueError(f"{name} = {number}: expected {minimum} .. {maximum}")
    if number < minimum:
        raise ValueError(f"{name} = {number} must be >= {minimum}")
    return number


def _real(value, name: str) -> float:
    try:
        number = float(value)
    except (TypeError, ValueError):
        raise ValueError(f"{name} must be a real number, got {value!r}") from None
    if not math.isfinite(number):
        raise ValueError(f"{name} = {value!r} is not finite")
    return number


def _positive(value, name: str) -> float:
    number = _real(value, name)
    if not number > 0.0:
        raise ValueError(f"{name} = {value!r} must be > 0")
    return number


# ---------------------------------------------------------------------------
# Transmitter FFE
# ---------------------------------------------------------------------------

def apply_ffe(waveform, taps, *, samples_per_ui, main_tap=None) -> np.ndarray:
    """Transmitter feed-forward equaliser applied to a pulse response.

    With ``Ns = samples_per_ui`` and ``m = main_tap``::

        p_tx[n] = sum over j of c_j * p[n - (j - m) * Ns]

    so tap ``j < m`` is a precursor tap (it advances the pulse by
    ``(m - j)`` UI) and tap ``j > m`` a post-cursor tap.  Samples shifted in
    from beyond either end of the array count as 0: a pulse response has
    settled to 0 there.  The output keeps the length and the time axis of
    the input.

    The sum is the full convolution of the pulse with the taps spread ``Ns``
    samples apart (:func:`zefra_tdr.conv`); the output is its slice starting
    at ``m * Ns``.

    Parameters
    ----------
    waveform : array_like of float, shape (n,)
        Pulse response ``p``, ``Ns`` samples per UI, V/V; finite.
    taps : array_like of float, shape (t,)
        Tap weights ``c_0 .. c_{t-1}``, dimensionless; finite, not empty.
    samples_per_ui : int
        ``Ns`` >= 1.
    main_tap : int, optional
        Index ``m`` of the main tap, ``0 <= m < t``.  Default: the index of
        the largest ``|c_j|`` (the first one on ties).

    Returns
    -------
    numpy.ndarray, float64, shape (n,)
        The equalised pulse response ``p_tx``, V/V.

    Raises
    ------
    ValueError
        If ``waveform`` or ``taps`` is empty, not one-dimensional, complex or
        not finite, ``samples_per_ui < 1``, or ``main_tap`` is not an index
        of ``taps``.
    """
    p = _waveform(waveform, "waveform")
    c = _waveform(taps, "taps")
    ns = _whole(samples_per_ui, "samples_per_ui", 1)
    if main_tap is None:
        main = int(np.argmax(np.abs(c)))
    else:
        main = _whole(main_tap, "main_tap", 0)
        if main >= c.size:
            raise ValueError(f"main_tap = {main} is not an index of the {c.size} taps")
    spread = np.zeros((c.size - 1) * ns + 1)
    spread[::ns] = c
    full = conv(p, spread)
    start = main * ns
    return full[start:start + p.size].copy()


# ---------------------------------------------------------------------------
# CTLE
# ---------------------------------------------------------------------------

def _ctle_gain_db(dc_gain_db: float, zero_hz: float, pole1_hz: float) -> float:
    """The library's ``gain_db`` for a CTLE whose gain at 0 Hz is
    ``dc_gain_db``: the library's DC gain is ``g * fz / fp1`` with
    ``g = 10**(gain_db / 20)``."""
    ratio = pole1_hz / zero_hz
    if 0.0 < ratio < math.inf:
        # A ratio that is a power of ten gives an exact whole number of
        # decades, so a request of exactly 0 dB at the library is seen as one.
        zero_gain_db = dc_gain_db + 20.0 * math.log10(ratio)
    else:  # the quotient over- or underflows; the logarithms do not
        zero_gain_db = dc_gain_db + 20.0 * (math.log10(pole1_hz) - math.log10(zero_hz))
    try:
        g = 10.0 ** (zero_gain_db / 20.0)
    except OverflowError:
        g = math.inf
    if not 0.0 < g < math.inf:
        raise ValueError(
            f"dc_gain_db = {dc_gain_db!r} with zero_hz = {zero_hz!r} and pole1_hz = "
            f"{pole1_hz!r} needs a zero gain of {zero_gain_db!r} dB, whose factor "
            f"g = 10**(gain_db / 20) is {g!r} in double precision")
    # An exact 0 (or -0) would reach the library's power function as a zero
    # exponent and give g = 0; the stand-in gives g = 1.0 exactly.
    return _UNIT_GAIN_DB if zero_gain_db == 0.0 else zero_gain_db


def _ctle_design(baud_hz, samples_per_ui, zero_hz, pole1_hz, pole2_hz) -> dict:
    return dict(base_rate_hz=_positive(baud_hz, "baud_hz"),
                rate_multiplier=float(_whole(samples_per_ui, "samples_per_ui", 1)),
                zero_hz=_positive(zero_hz, "zero_hz"),
                pole1_hz=_positive(pole1_hz, "pole1_hz"),
                pole2_hz=_positive(pole2_hz, "pole2_hz"))


def apply_ctle(waveform, *, baud_hz, samples_per_ui, dc_gain_db, zero_hz, pole1_hz,
               pole2_hz) -> np.ndarray:
    """Continuous-time linear equaliser applied to a waveform, set by its
    gain at 0 Hz.

    The filter is the library's :func:`zefra_tdr.td_ctle`: the prototype::

        H(s) = wp2 * (s + g*wz) / ((s + wp1) * (s + wp2)),   w = 2*pi*f

    discretised with the bilinear transform ``s -> 2*fs*(z - 1)/(z + 1)`` at
    ``fs = baud_hz * samples_per_ui`` (no prewarping), zero initial state.
    Its gain at 0 Hz is ``H(0) = g * fz / fp1``; this function takes that
    gain, ``dc_gain_db = 20*log10(g * fz / fp1)`` (the datasheet figure,
    usually <= 0), and passes the library ``gain_db = dc_gain_db +
    20*log10(fp1 / fz)``.

    The library reads a ``gain_db`` of exactly 0 as ``g = 0`` (no DC gain
    at all).  A request that converts to exactly 0 dB -- ``dc_gain_db = 0``
    with ``zero_hz == pole1_hz``, for instance -- means ``g = 1``, so it is
    passed as ``2**-100`` dB instead, for which the library computes
    ``g = 1.0`` exactly: the filter is the one asked for, and its gain at
    0 Hz is ``10**(dc_gain_db / 20)``.

    The bilinear transform maps the Nyquist frequency ``fs / 2`` to
    ``s = infinity``, where the prototype has a zero: the output holds no
    component at ``fs / 2``.

    Parameters
    ----------
    waveform : array_like of float, shape (n,)
        Input samples at ``fs``, ``samples_per_ui`` per UI (V/V for a pulse
        response); finite, not empty.
    baud_hz : float
        Symbol rate, Hz (> 0).
    samples_per_ui : int
        Samples per UI (>= 1).
    dc_gain_db : float
        Gain of the CTLE at 0 Hz, dB (finite).
    zero_hz, pole1_hz, pole2_hz : float
        Zero ``fz`` and poles ``fp1``, ``fp2`` of the prototype, Hz (> 0).

    Returns
    -------
    numpy.ndarray, float64, shape (n,)
        Filtered samples, in the unit of ``waveform``.

    Raises
    ------
    ValueError
        If ``waveform`` is empty, not one-dimensional, complex or not finite;
        a rate or frequency is not finite and positive; ``samples_per_ui <
        1``; ``dc_gain_db`` is not finite; or the zero's gain ``g`` would
        overflow a double.
    """
    x = _waveform(waveform, "waveform")
    design = _ctle_design(baud_hz, samples_per_ui, zero_hz, pole1_hz, pole2_hz)
    gain_db = _ctle_gain_db(_real(dc_gain_db, "dc_gain_db"), design["zero_hz"],
                            design["pole1_hz"])
    return td_ctle(x, gain_db=gain_db, **design)


def ctle_family(waveform, dc_gains_db, *, baud_hz, samples_per_ui, zero_hz, pole1_hz,
                pole2_hz) -> np.ndarray:
    """The CTLE of :func:`apply_ctle` at several gains at 0 Hz (a family
    sweep with the zero and poles held).

    Parameters
    ----------
    waveform : array_like of float, shape (n,)
        Input samples, as for :func:`apply_ctle`.
    dc_gains_db : array_like of float, shape (g,)
        Gains at 0 Hz, dB; finite, not empty.
    baud_hz, samples_per_ui, zero_hz, pole1_hz, pole2_hz
        As for :func:`apply_ctle`.

    Returns
    -------
    numpy.ndarray, float64, shape (g, n)
        Row ``i`` is ``apply_ctle(waveform, dc_gain_db=dc_gains_db[i],
        ...)``.

    Raises
    ------
    ValueError
        As :func:`apply_ctle`, and if ``dc_gains_db`` is empty, not
        one-dimensional or not finite.
    """
    x = _waveform(waveform, "waveform")
    gains = _waveform(dc_gains_db, "dc_gains_db")
    design = _ctle_design(baud_hz, samples_per_ui, zero_hz, pole1_hz, pole2_hz)
    out = np.empty((gains.size, x.size))
    for row, dc_gain_db in enumerate(gains):
        gain_db = _ctle_gain_db(float(dc_gain_db), design["zero_hz"], design["pole1_hz"])
        out[row] = td_ctle(x, gain_db=gain_db, **design)
    return out


# ---------------------------------------------------------------------------
# Cursors
# ---------------------------------------------------------------------------

@dataclass(frozen=True, eq=False)
class Cursors:
    """Cursors ``h_k = p(t_c + kT)``, ``k = -pre .. post``, of a pulse
    response sampled at a centre ``t_c``.

    Attributes
    ----------
    values : numpy.ndarray, float64, shape (pre + post + 1,)
        ``h_{-pre} .. h_{post}``, V/V (read-only).
    pre, post : int
        Number of precursors and post-cursors (>= 0).
    main_index : int
        Index of the sample of the pulse that is ``h_0``.
    method : str
        How the centre was chosen: ``"peak"`` or ``"hula-hoop"``.
    centre_ui : float
        Position of the centre from the start of the pulse array, UI (the
        exact hula-hoop midpoint, before rounding to a sample).
    threshold : float or None
        Hula-hoop threshold at which the main lobe is 1 UI wide, V/V; None
        for the other methods.
    """

    values: np.ndarray
    pre: int
    post: int
    main_index: int
    method: str
    centre_ui: float
    threshold: float | None = field(default=None)

    def __post_init__(self):
        pre = _whole(self.pre, "pre", 0)
        post = _whole(self.post, "post", 0)
        values = _waveform(self.values, "values")
        if values.size != pre + post + 1:
            raise ValueError(f"values holds {values.size} cursors; pre = {pre} and "
                             f"post = {post} need {pre + post + 1}")
        values.setflags(write=False)
        object.__setattr__(self, "values", values)
        object.__setattr__(self, "pre", pre)
        object.__setattr__(self, "post", post)
        object.__setattr__(self, "main_index", _whole(self.main_index, "main_index", 0))
        if self.method not in METHODS:
            raise ValueError(f"method = {self.method!r} is not one of {METHODS}")
        object.__setattr__(self, "centre_ui", _real(self.centre_ui, "centre_ui"))
        if self.threshold is not None:
            object.__setattr__(self, "threshold", _real(self.threshold, "threshold"))

    @property
    def main(self) -> float:
        """``h_0``, V/V."""
        return float(self.values[self.pre])

    @property
    def precursors(self) -> np.ndarray:
        """``h_{-pre} .. h_{-1}``, V/V (read-only view)."""
        return self.values[:self.pre]

    @property
    def postcursors(self) -> np.ndarray:
        """``h_1 .. h_{post}``, V/V (read-only view)."""
        return self.values[self.pre + 1:]


def _lobe(p: np.ndarray, peak: int, v: float) -> tuple[int, int]:
    """Samples just outside the main lobe ``{p > v}`` around ``peak``: the
    last ``i < peak`` and the first ``j > peak`` with ``p <= v``."""
    left = np.flatnonzero(p[:peak] <= v)
    right = np.flatnonzero(p[peak + 1:] <= v)
    return int(left[-1]), peak + 1 + int(right[0])


def _edges(p: np.ndarray, i: int, j: int, v: float) -> tuple[float, float]:
    """Crossing times (in samples) of the level ``v`` on the rising segment
    ``(i, i + 1)`` and the falling segment ``(j - 1, j)``, by linear
    interpolation."""
    left = i + (v - p[i]) / (p[i + 1] - p[i])
    right = (j - 1) + (p[j - 1] - v) / (p[j - 1] - p[j])
    return left, right


def _hula_hoop(p: np.ndarray, ns: int) -> tuple[float, float]:
    """Threshold ``v`` at which the main lobe is ``ns`` samples wide, and
    the lobe's midpoint in samples.

    The lobe width ``W(v)`` does not increase with ``v``.  Between two
    consecutive sample values the crossings stay on the same two segments,
    so ``W`` is linear there; it jumps down only where ``v`` passes a
    valley between the main lobe and a side lobe.  The segment pair is found
    by bisection over the sorted sample values, then ``W(v) = ns`` is solved
    exactly on it.
    """
    peak = int(np.argmax(p))
    top = p[peak]
    if peak == 0 or peak == p.size - 1:
        raise ValueError(f"the pulse peaks at its {'first' if peak == 0 else 'last'} sample, "
                         "so its main lobe has no edge there: hula-hoop centring needs "
                         "samples on both sides of the peak")
    # Lowest level at which the lobe has an edge on both sides.
    floor = max(p[:peak].min(), p[peak + 1:].min())
    if not floor < top:
        raise ValueError("the pulse stays at its peak up to the end of the array: the main "
                         "lobe has no right edge")
    levels = np.unique(p[(p >= floor) & (p < top)])

    def width(v: float) -> float:
        left, right = _edges(p, *_lobe(p, peak, v), v)
        return right - left

    widest = width(levels[0])
    if widest < ns:
        raise ValueError(f"the main lobe is at most {widest / ns!r} UI wide (at the "
                         f"threshold {levels[0]!r}): no threshold makes it 1 UI wide")
    lo, hi = 0, levels.size          # width(levels[lo]) >= ns; levels[hi] (or the peak) not
    while hi - lo > 1:
        mid = (lo + hi) // 2
        if width(levels[mid]) >= ns:
            lo = mid
        else:
            hi = mid
    base = float(levels[lo])
    ceiling = float(levels[hi]) if hi < levels.size else float(top)
    i, j = _lobe(p, peak, base)
    # On this segment pair W(base + d) = W(base) - d * slope: solving from
    # base (rather than from v = 0) keeps the cancellation small.
    slope = 1.0 / (p[i + 1] - p[i]) + 1.0 / (p[j - 1] - p[j])
    v = base + (width(base) - ns) / slope
    if not v < ceiling:
        # The linear piece reaches 1 UI only at or past the next sample
        # value.  Within rounding of the ceiling the root is the ceiling;
        # otherwise the width drops past 1 UI there without taking the value:
        # the lobe loses a side lobe across a valley, or its flat top is
        # wider than 1 UI.
        left, right = _edges(p, i, j, ceiling)
        if right - left > ns * (1.0 + 1e-12):
            if ceiling == top:
                raise ValueError(
                    f"the pulse stays at its peak over {(right - left) / ns!r} UI: its main "
                    "lobe is wider than 1 UI at every threshold")
            raise ValueError(
                f"the main lobe's width jumps from {(right - left) / ns!r} UI to "
                f"{width(ceiling) / ns!r} UI at the threshold {ceiling!r} (a valley): no "
                "threshold makes it exactly 1 UI wide")
        v = float(np.nextafter(ceiling, -np.inf))
    left, right = _edges(p, *_lobe(p, peak, v), v)
    return v, 0.5 * (left + right)


def sample_cursors(pulse, *, samples_per_ui, method="peak", pre=None, post=None) -> Cursors:
    """Cursors ``h_k = p(t_c + kT)`` of a pulse response, ``k = -pre ..
    post``.

    Methods of choosing the centre ``t_c``:

    ``"peak"``
        The largest sample of the pulse (the first on ties).
    ``"hula-hoop"``
        The midpoint of the main lobe at the threshold ``v`` where that
        lobe is exactly 1 UI wide.  The main lobe is the connected region
        around the peak where ``p > v``; its edges are the crossings of
        ``v``, linearly interpolated between samples.  ``v`` is found
        exactly on the piecewise-linear width (see ``threshold``).  The
        midpoint is rounded to the nearest sample (halves round up) to give
        ``main_index``; ``centre_ui`` keeps the exact midpoint.

    Parameters
    ----------
    pulse : array_like of float, shape (n,)
        Pulse response, ``samples_per_ui`` samples per UI, V/V; finite, not
        empty.
    samples_per_ui : int
        Samples per UI, ``Ns`` >= 1.
    method : {"peak", "hula-hoop"}
        How to choose the centre.
    pre : int, optional
        Number of precursors.  Default: every whole UI before the centre,
        at most 32: ``min(32, main_index // Ns)``.
    post : int, optional
        Number of post-cursors.  Default: every whole UI after the centre
        up to the end of the array, ``(n - 1 - main_index) // Ns`` (all of
        them count for the ISI).

    Returns
    -------
    Cursors
        The cursors and how they were sampled.

    Raises
    ------
    ValueError
        If ``pulse`` is empty, not one-dimensional, complex or not finite;
        ``samples_per_ui < 1``; ``method`` is unknown; ``pre`` or ``post``
        is negative or reaches beyond the array; or hula-hoop centring finds
        no threshold at which the main lobe is 1 UI wide (peak at an end of
        the array, lobe narrower than 1 UI at every threshold, or a width
        that jumps past 1 UI where the lobe merges with a side lobe).
    """
    p = _waveform(pulse, "pulse")
    ns = _whole(samples_per_ui, "samples_per_ui", 1)
    if method == "peak":
        main_index = int(np.argmax(p))
        centre = float(main_index)
        threshold = None
    elif method == "hula-hoop":
        threshold, centre = _hula_hoop(p, ns)
        main_index = math.floor(centre + 0.5)
    else:
        raise ValueError(f"method = {method!r} is not one of {METHODS}")
    fit_pre = main_index // ns
    fit_post = (p.size - 1 - main_index) // ns
    if pre is None:
        pre = min(DEFAULT_MAX_PRECURSORS, fit_pre)
    else:
        pre = _whole(pre, "pre", 0)
        if pre > fit_pre:
            raise ValueError(f"pre = {pre} precursors reach before the start of the pulse: "
                             f"{fit_pre} fit before the centre at sample {main_index}")
    if post is None:
        post = fit_post
    else:
        post = _whole(post, "post", 0)
        if post > fit_post:
            raise ValueError(f"post = {post} post-cursors reach past the end of the pulse: "
                             f"{fit_post} fit after the centre at sample {main_index}")
    values = p[main_index - pre * ns: main_index + post * ns + 1: ns]
    return Cursors(values, pre, post, main_index, method, centre / ns, threshold)


# ---------------------------------------------------------------------------
# DFE
# ---------------------------------------------------------------------------

@dataclass(frozen=True, eq=False)
class DfeResult:
    """Taps of an ideal DFE and the cursors it leaves.

    Attributes
    ----------
    positions : numpy.ndarray, int64, shape (d,)
        Cursor indices ``k >= 1`` that have a tap, ascending (read-only).
    weights : numpy.ndarray, float64, shape (d,)
        Tap weights ``d_k / h_0`` at those positions, dimensionless
        (read-only).
    before : Cursors
        The cursors given to the DFE.
    after : Cursors
        The residual cursors: ``h_k - d_k`` at the tap positions, ``h_k``
        elsewhere.
    """

    positions: np.ndarray
    weights: np.ndarray
    before: Cursors
    after: Cursors

    def __post_init__(self):
        positions = np.array(self.positions, dtype=np.int64).reshape(-1)
        weights = np.array(self.weights, dtype=np.float64).reshape(-1)
        if positions.size != weights.size:
            raise ValueError(f"{positions.size} positions but {weights.size} weights")
        positions.setflags(write=False)
        weights.setflags(write=False)
        object.__setattr__(self, "positions", positions)
        object.__setattr__(self, "weights", weights)


_FLOATING_KEYS = ("groups", "taps_per_group", "search_start", "search_end")


def _floating_positions(cursors: Cursors, fixed: np.ndarray, floating, limit: float,
                        first_free: int) -> np.ndarray:
    if not isinstance(floating, dict):
        raise ValueError(f"floating must be a dict with the keys {_FLOATING_KEYS}, "
                         f"got {floating!r}")
    unknown = sorted(set(floating) - set(_FLOATING_KEYS))
    if unknown:
        raise ValueError(f"floating has unknown keys {unknown}; it takes {_FLOATING_KEYS}")
    if "groups" not in floating:
        raise ValueError("floating needs 'groups', the number of tap groups")
    post = cursors.post
    groups = _whole(floating["groups"], "floating['groups']", 1)
    width = _whole(floating.get("taps_per_group", 1), "floating['taps_per_group']", 1)
    start = _whole(floating.get("search_start", first_free), "floating['search_start']", 1)
    end = _whole(floating.get("search_end", post), "floating['search_end']", 1)
    if end > post:
        raise ValueError(f"floating['search_end'] = {end} is past the last post-cursor "
                         f"({post})")
    if end - start + 1 < width:
        raise ValueError(f"the search range {start}..{end} is narrower than a group of "
                         f"{width} taps")
    # Index 0 is h_0, so the positions come back as cursor indices k.  The
    # fixed taps' cursors read as 0: they carry no ISI left to cancel, so no
    # group is spent on them.
    tail = np.array(cursors.values[cursors.pre:])
    tail[fixed] = 0.0
    chosen, _, _ = floating_dfe(tail, search_start=float(start),
                                taps_per_group=float(width), group_count=float(groups),
                                search_end=float(end), max_tap_weight=limit,
                                main_cursor=abs(cursors.main))
    # A group that finds nothing worth cancelling reports search_start - 1.
    chosen = chosen[(chosen >= start) & (chosen <= end)]
    return chosen.astype(np.int64)


def apply_dfe(cursors, *, taps=0, floating=None, limit=1.0) -> DfeResult:
    """Ideal decision-feedback equaliser on a set of cursors.

    For each post-cursor index ``k`` in the tap set the DFE subtracts
    ``d_k``, the cursor clipped to the tap limit::

        d_k = clip(h_k, -limit * |h_0|, +limit * |h_0|),   h_k <- h_k - d_k

    Decisions are taken as correct: error propagation is ignored.  A cursor
    within the limit is removed exactly; a larger one is reduced by
    ``limit * |h_0|``.

    The tap set is the union of

    * fixed taps: ``k = 1 .. taps``;
    * floating taps: ``floating = dict(groups=G, taps_per_group=L,
      search_start=s, search_end=e)`` places ``G`` groups of ``L``
      consecutive taps in ``s .. e`` with the library's
      :func:`zefra_tdr.floating_dfe`, given ``h_0 .. h_post`` (so its
      positions are cursor indices), ``main_cursor = |h_0|`` and
      ``max_tap_weight = limit``.  The fixed taps' cursors are passed as 0,
      so no group lands on them for their ISI.  Defaults: ``L = 1``,
      ``s = taps + 1``, ``e = post``.  Only the positions are taken from
      ``floating_dfe``: the residual it works out internally (each cursor
      times ``1 - weight``, a different rule) is not used; the cursors
      reported follow the ideal rule above.

    Parameters
    ----------
    cursors : Cursors
        Cursors of the pulse response (from :func:`sample_cursors`).
    taps : int
        Number of fixed taps, ``0 <= taps <= post``.
    floating : dict, optional
        Floating tap groups, keys as above (``groups`` required).
    limit : float
        Largest tap magnitude relative to ``|h_0|`` (finite, >= 0).

    Returns
    -------
    DfeResult
        Tap positions, weights ``d_k / h_0``, and the cursors before and
        after.

    Raises
    ------
    ValueError
        If ``cursors`` is not a :class:`Cursors`, ``h_0 == 0``, ``taps`` is
        negative or beyond the last post-cursor, ``limit`` is negative or
        not finite, or ``floating`` has unknown or bad entries (a search
        range outside ``1 .. post`` or narrower than a group).
    """
    if not isinstance(cursors, Cursors):
        raise ValueError(f"cursors must be a Cursors (from sample_cursors), got "
                         f"{type(cursors).__name__}")
    h0 = cursors.main
    if h0 == 0.0:
        raise ValueError("the main cursor h_0 is 0: the DFE taps have no scale")
    fixed_count = _whole(taps, "taps", 0)
    if fixed_count > cursors.post:
        raise ValueError(f"taps = {fixed_count} fixed taps but only {cursors.post} "
                         "post-cursors")
    limit = _real(limit, "limit")
    if limit < 0.0:
        raise ValueError(f"limit = {limit!r} must be >= 0")
    positions = np.arange(1, fixed_count + 1, dtype=np.int64)
    if floating is not None:
        chosen = _floating_positions(cursors, positions, floating, limit, fixed_count + 1)
        positions = np.union1d(positions, chosen)
    values = np.array(cursors.values)
    index = cursors.pre + positions
    bound = limit * abs(h0)
    d = np.clip(values[index], -bound, bound)
    values[index] -= d
    return DfeResult(positions, d / h0, cursors, replace(cursors, values=values))
