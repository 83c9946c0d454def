"""Basic numeric routines on real vectors: floored remainder, Kronecker
product, convolution, rational digital filtering and phase unwrapping.

All inputs are real sequences (``float64``); the results are fresh
``float64`` arrays in the units stated by each function.  The library never
raises: NaN and infinities propagate as the arithmetic makes them.
"""

from __future__ import annotations

from ._buffers import (
    as_double_vector,
    count_of,
    double_ptr,
    new_double_output,
)
from ._library import function


def map_doubles(export: str, x, name: str = "x"):
    """Calls an export of the form ``f(const double *x, double *y, int32_t n)``
    and returns ``y``, a new float64 array as long as ``x`` (called ``name``
    in error messages)."""
    arr = as_double_vector(x, name)
    out = new_double_output(arr.shape[0], f"len({name})")
    function(export)(double_ptr(arr), double_ptr(out), count_of(arr, name))
    return out

__all__ = ["conv", "filter_signal", "kron", "mod", "unwrap"]


def mod(x, m):
    """Floored remainder of every element by one divisor, with the sign of
    the divisor.

    For each element ``v`` of ``x``:

    * ``m == 0``: ``v`` itself (unchanged);
    * ``m`` an integer value (``m == floor(m)``): ``v - floor(v / m) * m``,
      with no tolerance (``numpy.mod`` computes the same remainder through
      ``fmod`` and may differ from it in the last bits for non-dyadic data);
    * any other ``m``: with ``q = v / m`` and ``r`` = ``q`` rounded half away
      from zero, a near-multiple ``|q - r| <= 2**-52 * |q|`` gives exactly
      ``0.0`` (so ``mod(0.3, 0.1)`` is 0.0, where ``numpy.mod`` gives about
      0.1); otherwise ``(q - floor(q)) * m``.

    Parameters
    ----------
    x : array_like of float, shape (n,)
        Dividends, any unit.  A scalar counts as one element.  Only read.
    m : float
        Divisor, in the unit of ``x``.

    Returns
    -------
    numpy.ndarray, float64, shape (n,)
        Remainders, in the unit of ``x``, in ``[0, m]`` for ``m > 0`` and in
        ``[m, 0]`` for ``m < 0`` (a tiny dividend of the other sign may round
        to ``m`` itself).  One exception of the integer path: a dividend of
        the other sign so small that ``x / m`` underflows to zero (a
        subnormal such as ``-5e-324`` with ``m = 3``) comes back unchanged,
        where ``numpy.mod`` gives ``m``.  NaN or infinite ``x`` gives NaN
        (except with ``m == 0``); a NaN divisor gives NaN.  An empty ``x``
        gives an empty array.

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
    function("mod")(double_ptr(arr), float(m), double_ptr(out), count_of(arr, "x"))
    return out


def kron(a, b):
    """Kronecker product of two vectors: ``(a[0]*b, a[1]*b, ...)`` stacked.

    Parameters
    ----------
    a : array_like of float, shape (na,)
        Outer factor.  A scalar counts as one element.  Only read.
    b : array_like of float, shape (nb,)
        Inner factor.  Only read.

    Returns
    -------
    numpy.ndarray, float64, shape (na * nb,)
        ``y[i*nb + j] = b[j] * a[i]`` (one rounded product each, as
        ``numpy.kron``), in the product of the units of ``a`` and ``b``.
        Empty when either input is empty.

    Raises
    ------
    ValueError
        If an input has more than one dimension, or ``na * nb`` exceeds
        ``2**31 - 1`` (the library would write nothing).
    TypeError
        If an input is complex.
    """
    av = as_double_vector(a, "a")
    bv = as_double_vector(b, "b")
    out = new_double_output(av.shape[0] * bv.shape[0], "len(a) * len(b)")
    if out.shape[0] == 0:
        return out
    function("Kron")(double_ptr(av), double_ptr(bv), double_ptr(out),
                     count_of(av, "a"), count_of(bv, "b"))
    return out


def conv(a, b):
    """Full linear convolution of two vectors.

    ``y[k] = sum over j of a[j] * b[k - j]``, each sum accumulated in
    increasing ``j`` starting from 0.0 (``numpy.convolve(a, b)`` adds in
    another order and may differ in the last bits).

    Parameters
    ----------
    a : array_like of float, shape (na,)
        First sequence.  A scalar counts as one element.  Only read.
    b : array_like of float, shape (nb,)
        Second sequence.  Only read.

    Returns
    -------
    numpy.ndarray, float64, shape (na + nb - 1,), or (na + nb,) if one is empty
        The convolution, in the product of the units of ``a`` and ``b``.
        When exactly one input is empty the library writes ``na + nb``
        zeros -- one more than ``na + nb - 1``, and unlike
        ``numpy.convolve``, which raises -- and this array holds all of
        them.  Both empty give an empty array.

    Raises
    ------
    ValueError
        If an input has more than one dimension, or the output length
        exceeds ``2**31 - 1``.
    TypeError
        If an input is complex.
    """
    av = as_double_vector(a, "a")
    bv = as_double_vector(b, "b")
    na, nb = av.shape[0], bv.shape[0]
    length = na + nb - 1 if na > 0 and nb > 0 else na + nb
    out = new_double_output(length, "output length")
    function("conv")(double_ptr(av), double_ptr(bv), double_ptr(out),
                     count_of(av, "a"), count_of(bv, "b"))
    return out


def filter_signal(b, a, x):
    """Rational digital filter with zero initial state (like
    ``scipy.signal.lfilter(b, a, x)``).

    ``a[0]*y[k] = b[0]*x[k] + ... + b[nb-1]*x[k-nb+1]
    - a[1]*y[k-1] - ... - a[na-1]*y[k-na+1]``.

    The coefficients are divided by ``a[0]`` first, except that a leading
    ``a[0]`` equal to 0.0, 1.0 or NaN is left alone and acts as 1.0 (no
    error, unlike ``lfilter``).  A pure FIR filter (``len(a) == 1``) on a
    signal at least twice as long as ``b`` is summed coefficient by
    coefficient; otherwise the transposed direct form II runs.

    Parameters
    ----------
    b : array_like of float, shape (nb,)
        Numerator (feed-forward) coefficients, dimensionless.  Empty gives
        an all-zero output.  Only read.
    a : array_like of float, shape (na,)
        Denominator (feedback) coefficients, dimensionless; empty acts as
        ``[1.0]``.  Only read.
    x : array_like of float, shape (nx,)
        Input samples, any unit.  A scalar counts as one sample.  Only read.

    Returns
    -------
    numpy.ndarray, float64, shape (nx,)
        Output samples, in the unit of ``x``.  Empty for an empty ``x``.
        An unstable denominator gives growing values, infinities or NaN.

    Raises
    ------
    ValueError
        If an input has more than one dimension or more than ``2**31 - 1``
        elements.
    TypeError
        If an input is complex.
    """
    bv = as_double_vector(b, "b")
    av = as_double_vector(a, "a")
    xv = as_double_vector(x, "x")
    out = new_double_output(xv.shape[0], "len(x)")
    function("Filter")(double_ptr(bv), double_ptr(av), double_ptr(xv), double_ptr(out),
                       count_of(bv, "b"), count_of(av, "a"), count_of(xv, "x"))
    return out


def unwrap(phase_rad):
    """Phase unwrapping: add multiples of 2*pi so that consecutive valid
    samples differ by less than pi.

    A sample is *valid* when it is neither NaN nor exactly 0.0 (either
    sign).  Invalid samples are returned unchanged, in place, and are
    skipped when differences are formed: ``[1, 0, 5]`` treats 1 and 5 as
    neighbours and gives ``[1, 0, 5 - 2*pi]``.  (``numpy.unwrap`` treats a
    zero as an ordinary phase and lets a NaN spoil the rest of the
    sequence.)

    For each valid sample after the first, with ``d`` the difference of its
    input value from the previous valid input value, ``d + pi`` is reduced
    modulo ``2*pi`` with the rounding of :func:`mod` for a non-integer
    divisor, ``pi`` is subtracted (``-pi`` becomes ``+pi`` when ``d > 0``),
    and when ``|d| >= pi`` (equality included) the running correction grows
    by that reduced value minus ``d``.  The first valid sample is searched
    among all but the last position, so a sequence whose only valid sample
    is the last one is returned unchanged.

    Parameters
    ----------
    phase_rad : array_like of float, shape (n,)
        Phases, radians.  A scalar counts as one sample.  Only read.

    Returns
    -------
    numpy.ndarray, float64, shape (n,)
        Unwrapped phases, radians.  Empty for an empty ``phase_rad``.

    Raises
    ------
    ValueError
        If ``phase_rad`` has more than one dimension or more than
        ``2**31 - 1`` elements.
    TypeError
        If ``phase_rad`` is complex.
    """
    return map_doubles("unwrap", phase_rad, "phase_rad")
