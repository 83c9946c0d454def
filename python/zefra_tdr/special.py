"""Special functions applied element by element: the inverse complementary
error function."""

from __future__ import annotations

from .numeric import map_doubles

__all__ = ["erfcinv"]


def erfcinv(x):
    """Inverse complementary error function, element by element.

    ``y = erfcinv(x)`` solves ``erfc(y) = x``.

    Parameters
    ----------
    x : array_like of float, shape (n,)
        Arguments in the open interval (0, 2), dimensionless.  A scalar counts
        as one element.  The array is only read.

    Returns
    -------
    numpy.ndarray, float64, shape (n,)
        The inverse, dimensionless: a rational first guess refined with a
        fixed number of Halley steps against an accurate ``erfc``.  For
        normal ``x`` in (0, 2), ``x != 1``, it is within 2 units in the last
        place of the exact value (positive below 1, negative above 1).
        Particular values, kept on purpose:

        * ``x == 0``, ``x == 2``, ``x < 0``, ``x > 2`` and NaN all give
          ``0.0`` (not ``+inf``, ``-inf`` or NaN);
        * ``x == 1`` gives ``-0.23583374852292...``, not 0: the refinement
          starts from 0 and reads ``erf(0)`` as 1.0, so its first Halley step
          goes to ``-sqrt(pi)/2`` and the second comes back part of the way.
          Values next to 1 (``1 - 2**-53``, ``1 + 2**-52``) are ordinary.

        Subnormal ``x`` (below ``2.2250738585072014e-308``, where the result
        is about 26.5 to 27.2) carry few significant bits; there the result
        is within about one subnormal step of ``x`` of the exact inverse,
        i.e. a relative error up to ``4.9e-324 / (2 * x * y**2)``.

        An empty ``x`` gives an empty array.

    Raises
    ------
    ValueError
        If ``x`` has more than one dimension or more than ``2**31 - 1``
        elements.
    TypeError
        If ``x`` is complex.
    """
    return map_doubles("erfcinv", x)
