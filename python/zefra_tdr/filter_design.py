"""Filter design: frequency response of an analogue Butterworth low-pass
filter.

The response of order ``N`` and cut-off ``wc`` at the angular frequency
``w`` is::

    H(jw) = product over k = 1 .. N of wc / (jw - p_k),
    p_k = wc * exp(j * (2k + N - 1) * pi / (2N))      (left half-plane)

so ``|H(jw)| = 1 / sqrt(1 + (w / wc)**(2N))``, with ``w`` and ``wc`` the
arguments ``w_rad_s`` and ``wc_rad_s``.  The library offers it through
two exports that differ in their parameter order and in the arithmetic of
each factor; both are wrapped here and agree to rounding.  Frequencies are
angular, in rad/s (divide by ``2*pi`` for Hz); the response is
dimensionless.
"""

from __future__ import annotations

from ._buffers import (
    as_double_vector,
    complex_ptr,
    count_of,
    double_ptr,
    int32_scalar,
    new_complex_output,
)
from ._library import function

__all__ = ["butterworth_tf", "get_butterworth_tf"]


def butterworth_tf(order, w_rad_s, wc_rad_s):
    """Butterworth low-pass response, one full complex division per pole
    (export ``Butterworth_TF``).

    Parameters
    ----------
    order : int
        Filter order ``N``.  ``N < 1`` leaves the output untouched: the
        library then writes nothing, and this wrapper returns the zeros it
        allocated (not ones; compare :func:`get_butterworth_tf`).
    w_rad_s : array_like of float, shape (nf,)
        Angular frequencies ``w``, rad/s.  A scalar counts as one frequency.
        Only read.
    wc_rad_s : float
        Cut-off angular frequency ``wc``, rad/s.

    Returns
    -------
    numpy.ndarray, complex128, shape (nf,)
        ``H(jw)``, dimensionless, formed as ``H = (H * wc) / (jw - p_k)`` pole
        after pole from ``H = 1``.  ``H(0) = 1`` and ``|H(j wc)| = 1/sqrt(2)``.

    Raises
    ------
    ValueError
        If ``w_rad_s`` has more than one dimension or more than
        ``2**31 - 1`` elements, or ``order`` does not fit a signed 32-bit
        integer.
    TypeError
        If ``w_rad_s`` is complex or ``order`` is not an integer.
    """
    n = int32_scalar(order, "order")
    wv = as_double_vector(w_rad_s, "w_rad_s")
    out = new_complex_output(wv.shape[0], "len(w_rad_s)")
    function("Butterworth_TF")(n, double_ptr(wv), float(wc_rad_s), count_of(wv, "w_rad_s"),
                               complex_ptr(out))
    return out


def get_butterworth_tf(order, w_rad_s, wc_rad_s):
    """Butterworth low-pass response, multiplying by ``wc * conj(d) / |d|**2``
    with ``d = jw - p_k`` per pole (export ``GetButterworthTF``, whose C
    parameter order puts the frequency count before ``wc``).

    Parameters
    ----------
    order : int
        Filter order ``N``.  ``N < 1`` gives ``1 + 0j`` at every frequency.
    w_rad_s : array_like of float, shape (nf,)
        Angular frequencies ``w``, rad/s.  A scalar counts as one frequency.
        Only read.
    wc_rad_s : float
        Cut-off angular frequency ``wc``, rad/s.

    Returns
    -------
    numpy.ndarray, complex128, shape (nf,)
        ``H(jw)``, dimensionless; equal to :func:`butterworth_tf` to
        rounding for ``N >= 1``.

    Raises
    ------
    ValueError
        If ``w_rad_s`` has more than one dimension or more than
        ``2**31 - 1`` elements, or ``order`` does not fit a signed 32-bit
        integer.
    TypeError
        If ``w_rad_s`` is complex or ``order`` is not an integer.
    """
    n = int32_scalar(order, "order")
    wv = as_double_vector(w_rad_s, "w_rad_s")
    out = new_complex_output(wv.shape[0], "len(w_rad_s)")
    function("GetButterworthTF")(n, double_ptr(wv), count_of(wv, "w_rad_s"), float(wc_rad_s),
                                 complex_ptr(out))
    return out
