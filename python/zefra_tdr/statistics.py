"""Reductions of a real vector to one number: median, standard deviation, norm."""

from __future__ import annotations

from ._buffers import as_double_vector, count_of, double_ptr
from ._library import function

__all__ = ["eval_std", "median", "norm"]


def _reduce(export: str, x) -> float:
    arr = as_double_vector(x, "x")
    return float(function(export)(double_ptr(arr), count_of(arr, "x")))


def median(x) -> float:
    """Median of a real vector.

    Parameters
    ----------
    x : array_like of float, shape (n,)
        Samples, in any units.  A scalar counts as one sample.  The array is
        only read.

    Returns
    -------
    float
        In the units of ``x``.  For odd ``n`` the middle value of the sorted
        data, exactly.  For even ``n``, with ``a <= b`` the two middle values,
        the midpoint ``(a + b) * 0.5`` when ``a < 0 <= b`` or when either is
        zero, and ``a + (b - a) * 0.5`` otherwise (the latter cannot overflow;
        it may differ from ``(a + b) / 2`` by one unit in the last place).

        Equal values keep their input order, so when the middle value is a
        zero its sign is that of the corresponding zero in the input order
        (``+0.0`` and ``-0.0`` compare equal).

        Any NaN in ``x`` gives NaN (the last NaN of ``x``, bit for bit).
        An empty ``x`` gives ``0.0``.  Infinities are ordinary values, but
        the even-``n`` formula makes two middle values that are both
        ``+inf`` or both ``-inf`` (or ``-inf`` and ``+inf``) give NaN.

    Raises
    ------
    ValueError
        If ``x`` has more than one dimension or more than ``2**31 - 1``
        elements.
    TypeError
        If ``x`` is complex.
    """
    return _reduce("median", x)


def eval_std(x) -> float:
    """Sample standard deviation of a real vector (divisor ``n - 1``).

    Parameters
    ----------
    x : array_like of float, shape (n,)
        Samples, in any units.  The array is only read.

    Returns
    -------
    float
        In the units of ``x``::

            mean = (x[0] + x[1] + ... + x[n-1]) / n
            ss   = (x[0] - mean)**2 + ... + (x[n-1] - mean)**2
            std  = sqrt(ss / (n - 1))

        Both sums run strictly left to right without compensation, so the
        result is reproducible bit for bit but may differ from
        ``numpy.std(x, ddof=1)`` (pairwise summation) in the last bits.
        ``n == 1`` gives ``0.0`` for a finite value; an empty ``x`` gives
        ``0.0``.  Any NaN or infinity gives NaN.

    Raises
    ------
    ValueError
        If ``x`` has more than one dimension or more than ``2**31 - 1``
        elements.
    TypeError
        If ``x`` is complex.
    """
    return _reduce("Eval_std", x)


def norm(x) -> float:
    """Euclidean norm ``sqrt(x[0]**2 + ... + x[n-1]**2)`` of a real vector.

    Parameters
    ----------
    x : array_like of float, shape (n,)
        Components, in any units.  The array is only read.

    Returns
    -------
    float
        In the units of ``x``.  Computed with a running scale (starting at
        the smallest normal double, ``2.2250738585072014e-308``) so that it
        neither overflows for values near ``1e308`` nor underflows for tiny
        or subnormal values: for each ``t = |x[i]|``, if ``t > scale`` then
        ``r = scale / t; s = r * s * r + 1; scale = t``, else
        ``r = t / scale; s = s + r * r``; the result is
        ``scale * sqrt(s)``.

        ``n == 1`` gives ``abs(x[0])`` exactly; an empty ``x`` gives ``0.0``.
        Any NaN gives NaN.  One infinite element gives ``inf``; two or more
        give NaN (``inf / inf`` in the scaled sum).

    Raises
    ------
    ValueError
        If ``x`` has more than one dimension or more than ``2**31 - 1``
        elements.
    TypeError
        If ``x`` is complex.
    """
    return _reduce("norm", x)
