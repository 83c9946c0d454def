"""One-dimensional interpolation: piecewise linear (real and complex values),
shape-preserving piecewise cubic, and the resampling of an S-parameter trace
between frequency grids.

Common rules of the table-based functions (all but :func:`interp_sparam`):

* the table ``(x, y)`` holds ``n`` samples; ``x`` must be sorted, ascending
  or descending (descending when ``x[0] > x[1]``; the table is then read in
  reverse).  The order is not otherwise checked: an unsorted ``x`` gives
  values of no use, but no error;
* any NaN in ``x`` makes every result 0 (the lean complex variant
  :func:`linear_interp_c` excepted);
* a NaN query gives ``0.0`` (``0 + 0j``) in its own slot, not NaN: a
  deliberate choice of the library;
* an empty ``x`` (``n == 0``) gives all zeros, and so does ``n < 2`` for the
  cubic.  One sample (``n == 1``) is of no use either: the linear routines
  then pair it with a phantom second sample ``(0.0, 0)`` (see each function);
* the interval holding a query is the one found by the library's bisection:
  ``x[lo] <= q`` with the largest such ``lo`` up to ``n - 2``, so a query
  equal to ``x[-1]`` lies in the last interval and, among repeated
  abscissas, the rightmost one not above ``q`` is taken.  A zero-width
  interval (repeated abscissa at the end of the table) gives IEEE results
  (``r`` infinite or NaN) unless its two values are equal;
* ``x`` and ``y`` are any array-likes of the same length; they are only
  read.  Results are fresh arrays with one value per query, in the unit of
  ``y``; ``x`` and the queries share one unit of their own (seconds, hertz,
  ...).
"""

from __future__ import annotations

import numpy as np

from ._buffers import (
    as_complex_vector,
    as_double_vector,
    complex_ptr,
    count_of,
    double_ptr,
    new_complex_output,
    new_double_output,
)
from ._library import function

__all__ = [
    "interp_cubic",
    "interp_linear",
    "interp_linear_extrap",
    "interp_linear_extrap_complex",
    "interp_sparam",
    "linear_interp_c",
]


def _table(x, y, complex_values: bool):
    xv = as_double_vector(x, "x")
    yv = as_complex_vector(y, "y") if complex_values else as_double_vector(y, "y")
    if xv.shape[0] != yv.shape[0]:
        raise ValueError(
            f"x and y must have the same length, got {xv.shape[0]} and {yv.shape[0]}"
        )
    return xv, yv


def _real(name: str, x, y, xi) -> np.ndarray:
    xv, yv = _table(x, y, complex_values=False)
    qv = as_double_vector(xi, "xi")
    out = new_double_output(qv.shape[0], "len(xi)")
    function(name)(double_ptr(xv), double_ptr(yv), double_ptr(qv), double_ptr(out),
                   count_of(xv, "x"), count_of(qv, "xi"))
    return out


def _complex(name: str, x, y, xi) -> np.ndarray:
    xv, yv = _table(x, y, complex_values=True)
    qv = as_double_vector(xi, "xi")
    out = new_complex_output(qv.shape[0], "len(xi)")
    function(name)(double_ptr(xv), complex_ptr(yv), double_ptr(qv), complex_ptr(out),
                   count_of(xv, "x"), count_of(qv, "xi"))
    return out


def interp_linear(x, y, xi):
    """Piecewise-linear interpolation, 0.0 outside the table
    (``interp1q_Linear``).

    For a query ``q`` in ``[min(x), max(x)]``, on the interval ``lo`` that
    holds it: ``r = (q - x[lo]) / (x[lo+1] - x[lo])`` and the result is
    ``((1 - r) * y[lo]) + (r * y[lo+1])``, or ``y[lo]`` itself, exactly, when
    ``y[lo] == y[lo+1]`` (a flat segment).  Both ends are inside: ``q ==
    x[-1]`` gives ``y[-1]``.

    Parameters
    ----------
    x : array_like of float, shape (n,)
        Sample abscissas, sorted ascending or descending, in any unit.  A
        scalar counts as one element.  Only read.
    y : array_like of float, shape (n,)
        Sample values, any unit.  Only read.
    xi : array_like of float, shape (ni,)
        Query abscissas, in the unit of ``x``.  Only read.

    Returns
    -------
    numpy.ndarray, float64, shape (ni,)
        Interpolated values, in the unit of ``y``.  ``0.0`` for a query
        outside the table (not NaN, and not the end value as
        ``numpy.interp`` gives) and for a NaN query; all zeros when ``x``
        holds a NaN or is empty.  Inside the table it agrees with
        ``numpy.interp``, which uses another formula (slope times offset plus
        ``y[lo]``), to within a few units in the last place of
        ``max(|y[lo]|, |y[lo+1]|)``.  One sample ``(x0, y0)``: ``y0`` at
        ``q == x0`` (NaN if ``x0 == 0`` and ``y0 != 0``), 0.0 elsewhere.

    Raises
    ------
    ValueError
        If ``x`` and ``y`` differ in length, or an input has more than one
        dimension or more than ``2**31 - 1`` elements.
    TypeError
        If an input is complex.
    """
    return _real("interp1q_Linear", x, y, xi)


def interp_linear_extrap(x, y, xi):
    """Piecewise-linear interpolation, extended linearly outside the table
    (``interp_Linear_Extrap``).

    Inside ``[min(x), max(x)]``, as :func:`interp_linear`.  Outside, with
    the table in ascending order:

    * ``q > x[-1]``: ``(q - x[-1]) / (x[-1] - x[-2]) * (y[-1] - y[-2]) +
      y[-1]``;
    * ``q < x[0]``: ``(q - x[0]) / (x[1] - x[0]) * (y[1] - y[0]) + y[0]``,

    each evaluated left to right in that grouping.

    Parameters
    ----------
    x : array_like of float, shape (n,)
        Sample abscissas, sorted ascending or descending, in any unit.  A
        scalar counts as one element.  Only read.
    y : array_like of float, shape (n,)
        Sample values, any unit.  Only read.
    xi : array_like of float, shape (ni,)
        Query abscissas, in the unit of ``x``.  Only read.

    Returns
    -------
    numpy.ndarray, float64, shape (ni,)
        Interpolated or extrapolated values, in the unit of ``y``.  ``0.0``
        for a NaN query; all zeros when ``x`` holds a NaN or is empty.  It
        agrees with ``scipy.interpolate.interp1d(x, y,
        fill_value="extrapolate")`` to within a few units in the last place
        of the larger of the result and the two sample values used.  One
        sample ``(x0, y0)``: ``y0`` at ``q == x0``; 0.0 above ``x0``; below
        it, the line through ``(x0, y0)`` and the phantom sample ``(0, 0)``
        (non-finite if ``x0 == 0``).

    Raises
    ------
    ValueError
        If ``x`` and ``y`` differ in length, or an input has more than one
        dimension or more than ``2**31 - 1`` elements.
    TypeError
        If an input is complex.
    """
    return _real("interp_Linear_Extrap", x, y, xi)


def interp_linear_extrap_complex(x, y, xi):
    """Piecewise-linear interpolation of complex values at real abscissas,
    extended linearly outside the table (``interp_Linear_Extrap_Complex``).

    The real and imaginary parts take the same weights: inside the table
    ``(1 - r) * y[lo] + r * y[lo+1]`` part by part, or ``y[lo]`` itself when
    both parts of the two neighbours are equal; outside, the end segment
    extended, with ``s = (q - x[-1]) / (x[-1] - x[-2])`` above the table::

        re = (y[-1].re - y[-2].re) * s + y[-1].re
        im = s * (y[-1].im - y[-2].im) + y[-1].im

    and likewise below it with ``s = (q - x[0]) / (x[1] - x[0])`` and
    ``y[0]``, ``y[1]``.

    Parameters
    ----------
    x : array_like of float, shape (n,)
        Sample abscissas (for example frequencies in Hz), sorted ascending or
        descending.  A scalar counts as one element.  Only read.
    y : array_like of complex, shape (n,)
        Complex sample values (for example a frequency response), any unit.
        Real input gets a zero imaginary part.  Only read.
    xi : array_like of float, shape (ni,)
        Query abscissas, in the unit of ``x``.  Only read.

    Returns
    -------
    numpy.ndarray, complex128, shape (ni,)
        Interpolated or extrapolated values, in the unit of ``y``.  ``0 + 0j``
        for a NaN query; all ``0 + 0j`` when ``x`` holds a NaN or is empty.
        One sample behaves as in :func:`interp_linear_extrap`, part by part.

    Raises
    ------
    ValueError
        If ``x`` and ``y`` differ in length, or an input has more than one
        dimension or more than ``2**31 - 1`` elements.
    TypeError
        If ``x`` or ``xi`` is complex.
    """
    return _complex("interp_Linear_Extrap_Complex", x, y, xi)


def linear_interp_c(x, y, xi):
    """Lean piecewise-linear interpolation of complex values, 0 outside
    (``zefra_linearInterp_c``).

    Unlike the other routines of this module, the table is taken as given:
    no NaN scan and no reversal, so ``x`` must be ascending.  A query with
    ``x[0] <= q <= x[-1]`` is interpolated as in
    :func:`interp_linear_extrap_complex`; every other query, a NaN query
    included, gives ``0 + 0j``.  A descending ``x`` therefore gives ``0 + 0j``
    everywhere (no query is both ``>= x[0]`` and ``<= x[-1]``), and a NaN in
    ``x`` acts through the IEEE comparisons only.

    Parameters
    ----------
    x : array_like of float, shape (n,)
        Sample abscissas, ascending, in any unit (for example Hz).  A scalar
        counts as one element.  Only read.
    y : array_like of complex, shape (n,)
        Complex sample values, any unit.  Real input gets a zero imaginary
        part.  Only read.
    xi : array_like of float, shape (ni,)
        Query abscissas, in the unit of ``x``.  Only read.

    Returns
    -------
    numpy.ndarray, complex128, shape (ni,)
        Interpolated values, in the unit of ``y``; ``0 + 0j`` outside the
        table and for NaN queries; all ``0 + 0j`` for an empty ``x``.  One
        sample ``(x0, y0)``: ``y0`` at ``q == x0`` (NaN parts if ``x0 == 0``),
        ``0 + 0j`` elsewhere.

    Raises
    ------
    ValueError
        If ``x`` and ``y`` differ in length, or an input has more than one
        dimension or more than ``2**31 - 1`` elements.
    TypeError
        If ``x`` or ``xi`` is complex.
    """
    return _complex("zefra_linearInterp_c", x, y, xi)


def interp_cubic(x, y, xi):
    """Shape-preserving piecewise cubic Hermite interpolation
    (``interp1_Cubic``).

    On each interval the cubic matches the two sample values and two slopes.
    Interior slopes are the weighted harmonic mean of the neighbouring
    secants ``delta``, with weights ``(2*h[k-1] + h[k]) / (3*(h[k-1] +
    h[k]))`` and ``(2*h[k] + h[k-1]) / (3*(h[k-1] + h[k]))``, and exactly 0
    where the secants change sign or one is zero: the interpolant is
    monotone where the data are and flat at local extrema.  The end slopes
    are one-sided three-point estimates ``d = ((2*h1 + h2)*delta1 -
    h1*delta2) / (h1 + h2)``, set to 0 when ``d`` and ``delta1`` differ in
    sign and to ``3*delta1`` when the secants change sign and ``|d| >
    3*|delta1|``.  With two samples the result is the straight line.  This
    is the rule of ``scipy.interpolate.PchipInterpolator``, which agrees to
    within rounding on tables it accepts (strictly ascending, finite),
    except where its reciprocal form of the harmonic mean overflows
    (secants below about ``1e-308`` times the weights): scipy's interior
    slopes are 0 there, these are not.

    Queries outside the table are evaluated with the cubic of the first or
    last interval (extrapolation, no zeroing).

    Parameters
    ----------
    x : array_like of float, shape (n,)
        Sample abscissas, sorted ascending or descending (a descending table
        gives the same values as the same table in ascending order), without
        repeats, in any unit.  A scalar counts as one element.  Only read.
    y : array_like of float, shape (n,)
        Sample values, any unit.  Only read.
    xi : array_like of float, shape (ni,)
        Query abscissas, in the unit of ``x``.  Only read.

    Returns
    -------
    numpy.ndarray, float64, shape (ni,)
        Interpolated values, in the unit of ``y``; ``y[k]`` (up to rounding)
        at ``q == x[k]``.  ``0.0`` for a NaN query; all zeros when ``x``
        holds a NaN or when ``n < 2``.  Repeated abscissas give non-finite
        values.

    Raises
    ------
    ValueError
        If ``x`` and ``y`` differ in length, or an input has more than one
        dimension or more than ``2**31 - 1`` elements.
    TypeError
        If an input is complex.
    """
    return _real("interp1_Cubic", x, y, xi)


def interp_sparam(s, f_in_hz, f_out_hz):
    """Resamples a complex S-parameter trace from one frequency grid to
    another (``interp_Sparam``).

    The library stages a private copy of ``s`` and a zeroed output buffer,
    and hands both, with the two grids, to ``zefra_interp_Sparam_C`` of the
    sibling module ``interp_Sparam`` (loaded from next to the library); the
    interpolation method is that module's.  A value the module leaves
    unwritten comes back as ``0 + 0j``.

    Parameters
    ----------
    s : array_like of complex, shape (n_in,)
        The trace on the input grid, dimensionless.  Real input gets a zero
        imaginary part.  Only read (the module sees a copy).
    f_in_hz : array_like of float, shape (n_in,)
        Input frequency grid, in Hz, as the sibling module expects it
        (ascending).  Only read.
    f_out_hz : array_like of float, shape (n_out,)
        Output frequency grid, in Hz.  Only read.

    Returns
    -------
    numpy.ndarray, complex128, shape (n_out,)
        The trace on the output grid, dimensionless.  Empty when
        ``f_out_hz`` is empty.

    Raises
    ------
    ValueError
        If ``s`` and ``f_in_hz`` differ in length, or an input has more than
        one dimension or more than ``2**31 - 1`` elements.
    TypeError
        If a grid is complex.
    """
    sv = as_complex_vector(s, "s")
    fin = as_double_vector(f_in_hz, "f_in_hz")
    fout = as_double_vector(f_out_hz, "f_out_hz")
    if sv.shape[0] != fin.shape[0]:
        raise ValueError(
            f"s and f_in_hz must have the same length, got {sv.shape[0]} and {fin.shape[0]}"
        )
    out = new_complex_output(fout.shape[0], "len(f_out_hz)")
    function("interp_Sparam")(complex_ptr(sv), double_ptr(fin), count_of(sv, "s"),
                              double_ptr(fout), count_of(fout, "f_out_hz"), complex_ptr(out))
    return out
