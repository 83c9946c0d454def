"""Equalisation and noise: time-domain CTLE, crosstalk noise, floating-tap DFE.

Waveforms are real sample sequences (``float64``); the pulse response of the
DFE holds one value per unit interval (UI).  The CTLE's rate and
frequencies are named in hertz, the convention; its design only uses their
ratios, so any unit common to all of them gives the same filter.
"""

from __future__ import annotations

import ctypes
import math
from fractions import Fraction

from ._buffers import (
    as_double_vector,
    count_of,
    double_ptr,
    int32_scalar,
    new_double_output,
)
from ._library import function

__all__ = ["MAX_TAP_POSITIONS", "floating_dfe", "td_ctle", "xtalk_noise_step"]

def td_ctle(x, *, base_rate_hz, zero_hz, pole1_hz, pole2_hz, gain_db,
            rate_multiplier=1.0):
    """Continuous-time linear equaliser (one zero, two poles) run in the time
    domain.

    The analogue prototype, with ``w = 2*pi*f`` and
    ``g = 10**(gain_db / 20)``::

        H(s) = wp2 * (s + g*wz) / ((s + wp1) * (s + wp2))

    is discretised with the bilinear transform at the sampling rate
    ``fs = base_rate_hz * rate_multiplier`` (``s -> 2*fs*(z - 1)/(z + 1)``, no
    frequency prewarping) and run as a second-order recursive filter
    (transposed direct form II, zero initial state).  The gain moves the zero
    rather than scaling the response: the gain at zero frequency is
    ``g * zero_hz / pole1_hz`` and the Nyquist frequency is removed
    completely (numerator root at ``z = -1``).

    The design depends on the frequencies only through their ratios to
    ``fs``: scaling the rate and the three frequencies together leaves the
    filter unchanged (to rounding; exactly for a power of two).  Hz is the
    convention of the parameter names, and any other unit common to all four
    works as well.

    Parameters
    ----------
    x : array_like of float, shape (n,)
        Input samples, taken at ``fs``; any unit.  A scalar counts as one
        sample.  Only read.
    base_rate_hz : float
        First factor of the sampling rate (e.g. the symbol rate), Hz.
    zero_hz, pole1_hz, pole2_hz : float
        Zero ``fz`` and poles ``fp1``, ``fp2`` of the prototype, Hz (or the
        unit of ``base_rate_hz``).
    gain_db : float
        Gain applied to the zero, dB.  Exactly ``0.0`` gives ``g = 0.0``, not
        1 (a deliberate rule of the library's power function): the zero then
        sits at ``s = 0`` and the response has no DC gain.
    rate_multiplier : float, optional
        Second factor of the sampling rate (samples per unit interval, say),
        dimensionless.

    Returns
    -------
    numpy.ndarray, float64, shape (n,)
        Filtered samples, in the unit of ``x``.  An empty ``x`` gives an empty
        array.  A zero or pole frequency of magnitude ``fs/pi`` maps to a
        division by zero; the resulting infinities or NaN appear in the
        output.  Nothing is validated.

    Raises
    ------
    ValueError
        If ``x`` has more than one dimension or more than ``2**31 - 1``
        elements.
    TypeError
        If ``x`` is complex.
    """
    arr = as_double_vector(x, "x")
    out = new_double_output(arr.shape[0], "len(x)")
    function("td_ctle")(
        double_ptr(arr), double_ptr(out), count_of(arr, "x"),
        float(base_rate_hz), float(zero_hz), float(pole1_hz), float(pole2_hz),
        float(gain_db), float(rate_multiplier),
    )
    return out


def xtalk_noise_step(response, pattern, *, samples_per_ui, amplitude) -> float:
    """Crosstalk noise power at the worst sampling phase.

    With ``P = samples_per_ui``:

    1. the coupling response is integrated into a step response
       ``step = cumsum(response)``, padded with 1.0 (a settled unit step) up
       to ``P`` samples when ``response`` is shorter;
    2. the induced waveform is the linear convolution of ``pattern`` with
       ``step``, truncated to ``len(pattern)`` samples;
    3. ``Q`` = number of unit intervals = ``len(pattern) / P`` narrowed to a
       32-bit float and rounded half away from zero; ``limit = Q - 3`` (the
       last three unit intervals are left out);
    4. for each phase ``s < P``, ``E[s]`` = sum of ``induced[s + t*P]**2`` for
       ``t = 0 .. limit - 1`` (no term when ``limit <= 0``).

    Parameters
    ----------
    response : array_like of float, shape (r,)
        Sampled coupling response (its running sum is the step response),
        ``P`` samples per UI.  Only read.
    pattern : array_like of float, shape (m,)
        Aggressor drive sequence, ``P`` samples per UI.  Only read.
    samples_per_ui : int
        ``P``, samples per unit interval; ``P < 1`` gives 0.0.
    amplitude : float
        Aggressor amplitude; the result scales with its square.

    Returns
    -------
    float
        ``amplitude**2 * max(0, max over s of E[s])``, in (unit of the step
        response times unit of the pattern times ``amplitude``) squared.  A
        pattern shorter than about three UI gives 0.0 (NaN for an infinite
        amplitude).  The time is ``O(m * max(P, r))``; step samples that are
        exactly 0.0 are skipped for long patterns.

    Raises
    ------
    ValueError
        If ``response`` or ``pattern`` is more than one-dimensional or longer
        than ``2**31 - 1``, or ``samples_per_ui`` does not fit a signed 32-bit
        integer.
    TypeError
        If an array is complex or ``samples_per_ui`` is not an integer.
    """
    r = as_double_vector(response, "response")
    p = as_double_vector(pattern, "pattern")
    return float(function("Get_xtlk_noise_step")(
        double_ptr(r), double_ptr(p),
        count_of(r, "response"), count_of(p, "pattern"),
        int32_scalar(samples_per_ui, "samples_per_ui"), float(amplitude),
    ))


#: The library produces at most this many tap positions (and runs at most
#: this many groups), whatever ``taps_per_group * group_count`` is.
MAX_TAP_POSITIONS = 2**20


def _position_count(taps: float, groups: float) -> int:
    """The library's position count: trunc(L * G) of the double product; 0
    for a NaN product or one below 1; capped at MAX_TAP_POSITIONS."""
    product = taps * groups
    if not product >= 1.0:
        return 0
    if product >= MAX_TAP_POSITIONS:
        return MAX_TAP_POSITIONS
    return math.trunc(product)


def _position_bound(taps: float, groups: float) -> int:
    """An upper bound on :func:`_position_count` formed without floating
    point.

    The double product is the exact product ``P`` rounded to nearest:
    ``fl(P) <= P (1 + 2**-53)`` when it is normal, below 1 when it is
    subnormal, and infinite (the cap) when ``P`` exceeds the largest double.
    So ``trunc(fl(P)) <= floor(P (1 + 2**-52))``, and ``P <= 0`` gives no
    position.  Infinite factors: ``inf * 0`` is NaN (none), otherwise the
    product is infinite with the sign of ``P`` (the cap, or none).
    """
    if math.isnan(taps) or math.isnan(groups):
        return 0
    if math.isinf(taps) or math.isinf(groups):
        if taps == 0.0 or groups == 0.0 or (taps > 0.0) != (groups > 0.0):
            return 0
        return MAX_TAP_POSITIONS
    exact = Fraction(taps) * Fraction(groups)
    if exact <= 0:
        return 0
    return min(MAX_TAP_POSITIONS, math.floor(exact * (1 + Fraction(1, 2**52))))


def floating_dfe(pulse, *, search_start, taps_per_group, group_count, search_end,
                 max_tap_weight, main_cursor) -> tuple:
    """Floating-tap decision-feedback equaliser: tap positions and weights.

    Group after group (``G = trunc(group_count)`` groups of ``L =
    taps_per_group`` consecutive taps), the window of ``L`` positions inside
    ``[search_start, search_end]`` that removes the most ISI energy is chosen:
    with ``T = main_cursor * max_tap_weight``, ``A = |v|`` and
    ``B = max(|v| - T, 0)`` for each still-available cursor ``v``, the window
    with the largest positive ``sum(A**2) - sum(B**2)`` wins (the earliest on
    ties).  Each tap gets the weight ``min(max_tap_weight,
    |v / main_cursor|)`` with the sign of its cursor ``v``, and the cursor
    becomes ``v - weight * v``.  Positions taken by a group read as 0.0 in
    later searches, so with ``L == 1`` groups never share a position; a
    wider window may still cover taken positions (they add no gain), and the
    tap there is then recomputed from the reduced cursor, replacing the
    earlier weight.

    Parameters
    ----------
    pulse : array_like of float, shape (n,)
        Pulse response, one value per unit interval; index 0 is position 0.
        Only read.
    search_start, search_end : float
        First and last position (zero-based index into ``pulse``) that a
        group may cover.
    taps_per_group : float
        ``L``, number of consecutive taps in one group.
    group_count : float
        ``G``, number of groups (truncated to an integer).
    max_tap_weight : float
        Largest tap magnitude.
    main_cursor : float
        Amplitude that normalises a cursor into a tap weight.

    Returns
    -------
    positions : numpy.ndarray, float64, shape (trunc(L * G),)
        Chosen positions, ascending.  Empty when ``L * G`` is NaN or below 1;
        at most ``MAX_TAP_POSITIONS`` (``2**20``) entries, also for an
        infinite product (and at most that many groups run).  When
        ``trunc(L * G)`` exceeds the ``G * L`` positions the groups set, the
        extra entries are 0.0 (and so sort first, and mark position 0 in
        ``limits``).  A group whose position is NaN or infinite contributes
        the single value 0.0.
    weights : numpy.ndarray, float64, shape (n,)
        Tap weights by position: the weight of the tap at position ``p`` is
        stored at index ``p - 1`` (one below its position, a kept rule); 0.0
        elsewhere.
    limits : numpy.ndarray, float64, shape (n,)
        ``max_tap_weight`` at the index of every chosen position (no shift),
        0.0 elsewhere.

    Positions are not kept inside the pulse.  A search that finds no window
    with a positive gain (also when ``search_start > search_end`` or
    ``main_cursor * max_tap_weight < 0``) yields the position
    ``search_start - 1`` (so -1 for ``search_start == 0``), and
    ``search_end`` may lie past the end.  No memory outside the arrays is
    touched: a cursor outside the pulse reads as 0.0 (it carries no energy),
    and a weight or limit whose index falls outside ``[0, n)`` is dropped.
    The positions themselves are reported as computed.  (The library itself
    would access memory outside its arrays for an empty pulse with a
    position in ``(-1, 0)``, and for ``-1 < taps_per_group < 0`` with two or
    more groups; this wrapper passes those inputs in a form that gives the
    same results: one cursor 0.0, one group.)

    Raises
    ------
    ValueError
        If ``pulse`` is more than one-dimensional or longer than
        ``2**31 - 1``.
    TypeError
        If ``pulse`` is complex.
    """
    arr = as_double_vector(pulse, "pulse")
    n = arr.shape[0]
    taps, groups = float(taps_per_group), float(group_count)
    # The library writes trunc(L * G) positions (capped) without knowing the
    # buffer's length: the buffer is sized from a bound formed in integers,
    # and exactly the positions written are returned.  Weights and limits
    # have one value per pulse sample.
    written = _position_count(taps, groups)
    size = _position_bound(taps, groups)
    if written > size:
        raise RuntimeError(  # cannot happen: _position_bound proves the bound
            f"{written} tap positions would not fit the {size} allocated")
    positions = new_double_output(size)
    weights = new_double_output(n, "len(pulse)")
    limits = new_double_output(n, "len(pulse)")
    function("floatingDFE")(
        double_ptr(arr), count_of(arr, "pulse"),
        float(search_start), taps, groups,
        float(search_end), float(max_tap_weight), float(main_cursor),
        ctypes.c_int32(0),
        double_ptr(positions), double_ptr(weights), double_ptr(limits),
    )
    if written < size:
        positions = positions[:written].copy()
    return positions, weights, limits
