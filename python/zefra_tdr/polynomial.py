"""Polynomials: the leading coefficient from roots, evaluation at complex
points, and a least-squares straight line.

Coefficients are ordered from the highest power down to the constant term,
as in ``numpy.polyval``.
"""

from __future__ import annotations

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

__all__ = ["poly", "polyfit", "polyval"]


def poly(r) -> float:
    """Leading coefficient of the monic polynomial with roots ``r``: 1.0.

    The library forms all ``n + 1`` coefficients internally, but its host
    interface hands back only the first one, ``c[0] = 1.0``; the others are
    never written to the caller's buffer.  This wrapper returns that single
    value and offers nothing more (use ``numpy.poly`` for the full set).

    Parameters
    ----------
    r : array_like of float, shape (n,)
        Roots, any unit.  A scalar counts as one root; empty is allowed.
        Only read.

    Returns
    -------
    float
        The value the library writes, ``1.0`` (dimensionless).

    Raises
    ------
    ValueError
        If ``r`` has more than one dimension or more than ``2**31 - 2``
        elements.
    TypeError
        If ``r`` is complex.
    """
    arr = as_double_vector(r, "r")
    # The C interface declares c as double[n + 1]; only c[0] is written.
    out = new_double_output(arr.shape[0] + 1, "len(r) + 1")
    function("poly")(double_ptr(arr), double_ptr(out), count_of(arr, "r"))
    return float(out[0])


def polyval(p, z):
    """Polynomial with real coefficients evaluated at complex points.

    Horner's rule from ``w = p[0]``: ``w = w * z + p[k]`` for ``k = 1 ..
    np - 1``, the complex product formed as ``(wr*zr - wi*zi, wr*zi +
    wi*zr)`` and ``p[k]`` added to the real part only.

    Parameters
    ----------
    p : array_like of float, shape (np,)
        Coefficients, highest power first.  Only read.
    z : array_like of complex, shape (nz,)
        Points; real input gets a zero imaginary part.  A scalar counts as
        one point.  Only read.

    Returns
    -------
    numpy.ndarray, complex128, shape (nz,)
        ``p(z)``.  An empty ``p`` gives zeros; one coefficient gives
        ``(p[0], 0)`` at every point.  Empty for an empty ``z``.

    Raises
    ------
    ValueError
        If an input has more than one dimension or more than ``2**31 - 1``
        elements.
    TypeError
        If ``p`` is complex.
    """
    pv = as_double_vector(p, "p")
    zv = as_complex_vector(z, "z")
    out = new_complex_output(zv.shape[0], "len(z)")
    function("Polyval")(double_ptr(pv), complex_ptr(zv), complex_ptr(out),
                        count_of(pv, "p"), count_of(zv, "z"))
    return out


def polyfit(x, y) -> tuple:
    """Least-squares straight line ``y ~ slope * x + intercept``.

    Solved with a Householder QR factorisation of the design matrix
    ``[x, 1]`` with column pivoting.  The numerical rank is not used to
    truncate the solution: when all ``x`` are equal (rank 1) both
    coefficients are still solved, dividing by a zero or rounding-sized
    pivot, and the result is non-finite or meaningless -- without any error
    or warning.

    Parameters
    ----------
    x : array_like of float, shape (m,)
        Abscissae, any unit.  Only read.
    y : array_like of float, shape (m,)
        Ordinates, any unit.  Only read.

    Returns
    -------
    (slope, intercept) : tuple of two floats
        ``slope`` in units of ``y`` per unit of ``x``, ``intercept`` in units
        of ``y``.  ``m == 0`` gives ``(0.0, 0.0)``.  A single point is fitted
        exactly by one coefficient, the other being 0.0: the slope
        (``y / x``) when ``|x[0]| >= 1``, else the intercept (``y``).

    Raises
    ------
    ValueError
        If ``x`` and ``y`` differ in length (the library does not check it),
        have more than one dimension or more than ``2**31 - 1`` elements.
    TypeError
        If an input is complex.
    """
    xv = as_double_vector(x, "x")
    yv = as_double_vector(y, "y")
    if xv.shape[0] != yv.shape[0]:
        raise ValueError(
            f"x and y must have the same length, got {xv.shape[0]} and {yv.shape[0]}"
        )
    coeffs = new_double_output(2)  # slope, intercept: always exactly two values
    function("Polyfit")(double_ptr(xv), double_ptr(yv), None, double_ptr(coeffs),
                        count_of(xv, "x"), count_of(yv, "y"))
    return float(coeffs[0]), float(coeffs[1])
