"""Probability densities on a uniform amplitude grid.

A density is a histogram on bins of width ``w``: every point ``p`` is first
quantised to the grid in single precision, ``q = roundf((float)(p / w)) * w``
(the quotient is narrowed to a 32-bit float and rounded half away from zero),
its weight goes to the nearest bin, and empty bins are trimmed from both
ends.  A density that would need more than :data:`MAX_BINS` bins makes the
call report failure (``ok`` is ``False``).  So does a bin width that is NaN,
zero, infinite or negative (no bin count is defined then), with one
exception: a negative width of magnitude ``2**1023`` or more still gives one
bin when every point has the same grid index ``roundf(p / w)`` (for
instance, every point within half a bin of zero).

The bin count of a histogram is ``trunc(floor((qMax - qMin + 2**-52) / w)
+ 1)``.  For bin widths that are not powers of two it can be one short of
the integer span (e.g. ``floor(350.99999999999994)``); the highest point
then goes to the last bin, one bin below its own value.

Amplitudes are in the unit of the inputs (volts, say); probabilities are
dimensionless; offsets are in bins (multiples of ``w``).
"""

from __future__ import annotations

import ctypes
import math

import numpy as np

from ._buffers import (
    INT32_MAX,
    as_double_vector,
    check_count,
    count_of,
    double_ptr,
    int32_scalar,
    new_double_output,
)
from ._centre_grid import MAX_BINS, centre_grid_bounds, roundf
from ._library import function

__all__ = [
    "MAX_BINS",
    "cpdf",
    "pdf_from_sampled_signal",
    "pdf_from_sampled_signal_800g",
]

_c_double_p = ctypes.POINTER(ctypes.c_double)


def _take_library_array(ptr, count: int) -> np.ndarray:
    """Copy ``count`` doubles from a library-allocated array.

    The cursor-density exports allocate each array with exactly
    ``max(countOut, 0)`` doubles and report ``countOut``, so copying that
    many reads nothing past the allocation.
    """
    if count <= 0 or not ptr:
        return np.zeros(0, dtype=np.float64)
    return np.ctypeslib.as_array(ptr, shape=(count,)).copy()


def _cursor_density(export: str, signal, level_count, bin_width):
    arr = as_double_vector(signal, "signal")
    levels = int32_scalar(level_count, "level_count")
    width = ctypes.c_double(float(bin_width))
    offset = ctypes.c_double(math.nan)  # stays NaN when the library does not write it
    count = ctypes.c_int32(0)
    amplitudes_ptr = _c_double_p()
    probabilities_ptr = _c_double_p()
    release = function("zefra_release_array")
    try:
        ok = function(export)(
            double_ptr(arr), levels, None,
            ctypes.byref(amplitudes_ptr), ctypes.byref(probabilities_ptr),
            ctypes.byref(offset), ctypes.byref(width), count_of(arr, "signal"),
            ctypes.byref(count),
        )
        n = max(int(count.value), 0)
        amplitudes = _take_library_array(amplitudes_ptr, n)
        probabilities = _take_library_array(probabilities_ptr, n)
    finally:
        # Both arrays belong to us even when the call failed; a null pointer
        # (nothing allocated) is ignored by the library.
        release(amplitudes_ptr)
        release(probabilities_ptr)
    return amplitudes, probabilities, float(offset.value), bool(ok)


_CURSOR_DENSITY_DOC = """

    Each cursor ``c[i]`` is multiplied by an equiprobable symbol ``d[i]`` drawn
    from ``M = level_count`` levels evenly spaced in ``[-1, +1]``
    (``levels[j] = 2*j / (M - 1) - 1``); the result is the density of
    ``sum(c[i] * d[i])``.  Cursors of magnitude ``<= w`` are left out, but
    when no cursor is *greater* than ``w`` (a signed comparison, so a signal
    whose only large cursors are negative counts here) every cursor counts
    as 0 and the result is one bin at 0.0 with probability 1.0.  Each kept
    cursor ``a`` gives the histogram of the ``M`` points ``|a| * levels``
    (weight ``1/M`` each); these histograms are convolved together.

    The amplitude axis is ``(i + offset) * w`` for
    ``i < floor(2*|offset| + 2**-52) + 1``: it is built from the offset alone
    and relies on the density being symmetric about zero.  Probabilities
    past the end of the convolved density read as 0.0; bins of the density
    past the end of the axis are not returned.

    Parameters
    ----------
    signal : array_like of float, shape (n,)
        The cursors (e.g. a pulse response sampled once per unit interval),
        in any amplitude unit.  A scalar counts as one cursor.  Only read.
    level_count : int
        ``M``, the number of symbol levels (2 for NRZ, 4 for PAM4).  Values
        below 2 are passed on: ``M = 1`` gives a NaN level, ``M <= 0`` no
        points, and any kept cursor then makes the call fail.
    bin_width : float
        ``w``, bin width in the unit of ``signal``; also the threshold below
        which cursors are left out.  A NaN, zero, infinite or negative
        width fails as soon as one cursor is combined (with no cursor at all
        the call succeeds with an empty density), except a negative width of
        magnitude ``2**1023`` or more: there a cursor whose points all lie
        within half a bin of zero gives the one bin at 0.0.

    Returns
    -------
    amplitudes : numpy.ndarray, float64, shape (count,)
        Amplitude of each bin, unit of ``signal``.
    probabilities : numpy.ndarray, float64, shape (count,)
        Probability of each bin; sums to 1 up to rounding when the axis
        covers the whole density.
    offset : float
        Amplitude of the first bin divided by ``w`` (in bins).  NaN when the
        call failed (the library does not write it then).
    ok : bool
        ``False`` when one cursor's histogram needs more than ``MAX_BINS``
        bins (or the bin count is undefined).  The arrays then describe the
        cursors combined before that one (empty if none).

    The library allocates both arrays; this wrapper copies them and always
    releases them with ``zefra_release_array``, also when an error occurs.
    An empty ``signal`` gives ``ok = True``, empty arrays and ``offset`` 0.0.

    Raises
    ------
    ValueError
        If ``signal`` is more than one-dimensional or longer than
        ``2**31 - 1``, or ``level_count`` does not fit a signed 32-bit
        integer.
    TypeError
        If ``signal`` is complex or ``level_count`` is not an integer.
    """


def pdf_from_sampled_signal(signal, *, level_count, bin_width) -> tuple:
    return _cursor_density("get_pdf_from_sampled_signal", signal, level_count, bin_width)


def pdf_from_sampled_signal_800g(signal, *, level_count, bin_width) -> tuple:
    return _cursor_density("get_pdf_from_sampled_signal_800G", signal, level_count,
                           bin_width)


pdf_from_sampled_signal.__doc__ = (
    """Density of the sum of symbol-weighted cursors (cursors in index order).

    The per-cursor offsets (first bin of each cursor's histogram, in bins)
    are added without rounding; when one is not a whole number of bins the
    axis is off the grid by that fraction, and an offset sum just below an
    integer in magnitude makes the axis one bin shorter than the density
    (its top bin, e.g. probability 0.5 for one cursor, is not returned)."""
    + _CURSOR_DENSITY_DOC
)

pdf_from_sampled_signal_800g.__doc__ = (
    """Density of the sum of symbol-weighted cursors, largest cursor first.

    As :func:`pdf_from_sampled_signal`, but the cursors are combined from the
    largest magnitude to the smallest (equal magnitudes: higher index first;
    NaN magnitudes before every number), and the accumulated offset is
    rounded to a whole number of bins (in single precision, half away from
    zero) after every cursor, so the axis stays on the bin grid.  An
    oversized cursor therefore fails on the first step, with empty arrays."""
    + _CURSOR_DENSITY_DOC
)


def cpdf(points, weights, *, bin_width, out_count) -> tuple:
    """Weighted histogram of points on bins of width ``w``, on a centred grid.

    Points are quantised (``roundf((float)(p / w)) * w``), each weight goes
    to the bin of its point, the bins are divided by their total and empty
    end bins are trimmed.  With ``x`` the offset of the first kept bin (in
    bins), the result is given on the grid of ``c = 2*|round(x)| + 1``
    centres ``(k - |x|) * w``, ``k = 0 .. c-1`` (centred on zero when ``x``
    is a whole number).  The density is written from its first kept bin on:
    where the grid is longer than the density the values are 0.0, and where
    the density is longer than the grid (points not symmetric about zero)
    its further bins are not returned.

    Only the bins met by the two trimming scans are divided by the total
    (the bins strictly inside are left as summed); with weights that sum to
    1 this is the normalised histogram.

    Parameters
    ----------
    points : array_like of float, shape (n,)
        Amplitudes, any unit.  At least one is needed for success.  Only read.
    weights : array_like of float, shape (m,)
        Weight of each point; points without a weight (``m < n``) weigh 0,
        extra weights are ignored.  Only read.
    bin_width : float
        ``w``, in the unit of ``points``.
    out_count : int
        Number of values the library writes when the call fails (zeros), and
        the smallest length of the arrays it fills.

    Returns
    -------
    centres : numpy.ndarray, float64, shape (c,)
        Bin centres, unit of ``points``; ``c = 2*|round(offset)| + 1`` on
        success, ``out_count`` zeros on failure.
    density : numpy.ndarray, float64, shape (c,)
        Weight fraction of each bin (zeros on failure).
    offset : float
        ``x``, first kept bin in bins (``qMin / w`` plus the number of
        trimmed leading bins); NaN on failure (not written).
    width : float
        ``w`` as written back by the library; NaN on failure.
    ok : bool
        ``False`` when the points span more than ``MAX_BINS`` bins, when
        there are no points, when the bin width is NaN, zero, infinite or
        negative (a negative width of magnitude ``2**1023`` or more excepted,
        when every point has the same grid index), and when the grid would
        exceed ``2**31 - 1`` centres.

    The library does not check the length of the arrays it fills; this
    wrapper sizes them before the call from a bound on ``c`` that holds for
    every input (NaN, infinite, huge or negative widths and points
    included).  A call that cannot succeed gets ``out_count`` values.

    Raises
    ------
    ValueError
        If an input is more than one-dimensional or longer than
        ``2**31 - 1``, if ``out_count`` is negative or does not fit a signed
        32-bit integer, or if the centre grid could need about ``2**31 - 1``
        values, so that the wrapper cannot tell whether the library would
        write it (points within a few hundred bins of ``2**30`` bins from
        zero, up to 2000 more for widths below ``2**-52``; farther out the
        call fails with ``ok = False``).
    TypeError
        If an input is complex or ``out_count`` is not an integer.
    """
    p = as_double_vector(points, "points")
    wts = as_double_vector(weights, "weights")
    n_out = check_count(out_count, "out_count").value
    w = float(bin_width)
    # The library writes out_count values on failure and the c values of the
    # centre grid on success, whatever the buffers' lengths: they are sized
    # from bounds on c proven in integers (see _centre_grid).
    bounds = centre_grid_bounds(p, w)
    if bounds is None or bounds[0] > INT32_MAX:
        high = 0  # the call fails (on the bin range, or on the grid size)
    else:
        high = bounds[1]
        if high > INT32_MAX:
            raise ValueError(
                f"points about {high // 2} bins from zero could need a centre grid "
                f"of up to {high} values, more than 2**31 - 1")
    size = max(n_out, high)
    centres = new_double_output(size)
    density = new_double_output(size)
    offset = ctypes.c_double(math.nan)
    width = ctypes.c_double(math.nan)
    ok = bool(function("d_cpdf")(
        double_ptr(p), double_ptr(wts), double_ptr(centres), double_ptr(density),
        count_of(p, "points"), count_of(wts, "weights"), ctypes.c_int32(n_out), w,
        ctypes.byref(offset), ctypes.byref(width),
    ))
    x = float(offset.value)
    if ok:
        c = math.trunc(2.0 * abs(float(roundf(np.array([x]))[0])) + 1.0)
        if c > size:
            raise RuntimeError(  # cannot happen: the bound above covers every x
                f"the library wrote a centre grid of {c} values into {size}")
    else:
        c = n_out
    return centres[:c].copy(), density[:c].copy(), x, float(width.value), ok
