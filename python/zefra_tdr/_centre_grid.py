"""Bounds on the number of values ``d_cpdf`` writes, proven in integers.

``d_cpdf`` fills the caller's centre and density buffers without knowing
their length: ``out_count`` values when it fails, and when it succeeds the
centre grid of ``c = trunc(2*|roundf((float)x)| + 1)`` values, ``x`` being
the offset of the first kept bin.  :func:`centre_grid_bounds` bounds ``c``
from the points and the bin width alone, so that the wrapper can size the
buffers before the call.

The kernel, for bin width ``w`` and points ``p_i``::

    k_i   = roundf((float)(p_i / w))            grid index, an integer or +-inf/NaN
    q_i   = fl(k_i * w)
    qMin, qMax                                  extremes of the q_i, scanned from q_0
    Q     = fl(fl(fl(qMax - qMin) + 2^-52) / w)
    nb    = trunc(floor(Q) + 1)                 success needs 1 <= nb <= 2000
    first in [-1, nb - 1]                       first non-zero bin after division by
                                                the total (-1: every quotient is 0,
                                                finite bins over an infinite total)
    x     = fl(fl(qMin / w) + first)
    r     = |roundf((float)x)|
    c     = trunc(fl(2 r + 1))                  success needs c <= 2^31 - 1

``fl`` is rounding to the nearest double; ``u = 2^-53``.  Two facts carry the
whole argument:

(F1) a finite product or quotient ``z`` of doubles rounds with
     ``|fl(z) - z| <= u |z|`` when it is normal; a product of an integer and
     a double that lands below ``2^-1022`` is a multiple of ``2^-1074`` and so
     exact.  Hence ``|fl(k w) - k w| <= u |k w|`` for every integer ``k``.
(F2) rounding is monotone.

Step 0 -- no success at all.  A NaN, infinite or zero ``w`` makes every
``q_i`` NaN (``p/0`` is infinite or NaN and ``inf * 0`` is NaN; ``p/inf`` is
zero or NaN and ``0 * inf`` is NaN): no bin count.  A NaN ``q_0`` is never
replaced (NaN compares false), and an infinite ``q_i`` (infinite ``k_i`` or
an overflowing product) makes the range infinite or NaN.  Otherwise every
``q_i`` is finite or NaN (NaN for NaN points only, which the scan skips), and
by (F2) ``qMin = fl(kMin w)`` for ``w > 0``, ``fl(kMax w)`` for ``w < 0``,
with ``kMin``, ``kMax`` the extremes of the ``k_i`` of the other points.  Let
``S = kMax - kMin``, ``M = |kMin| + |kMax|`` and ``E = 2^-52 / |w|``.

Step 1 -- negative width.  ``fl(qMax - qMin) + 2^-52 > 0``, so ``Q <= -0``
and ``floor(Q) <= -1`` unless ``Q = -0``: success needs ``Q = -0``, hence
``nb = 1`` and ``first`` in ``{-1, 0}``.  ``Q = -0`` needs a quotient of at
least ``2^-52`` by ``|w|`` to round to zero, so ``|w| >= 2^1023``; then
``|k| >= 2`` overflows (step 0) and the ``q_i`` lie in ``{-|w|, 0, |w|}``
exactly, so two different ``k`` give ``Q <= -1``.  Success needs ``S = 0``.

Step 2 -- positive width, range too wide.  By (F1)
``fl(kMax w) - fl(kMin w) >= w (S - u M)``; its rounding loses at most a
factor ``1 - u``; by (F2) adding ``2^-52`` gives at least the larger of the
two terms; the division loses another factor ``1 - u``.  So
``Q >= max((S - u M)(1 - u), E)(1 - u)``, and when that is at least 2001
``nb >= 2002``: the call fails.

Step 3 -- positive width, ``first <= nb - 1 = floor(Q)`` and, the same way,
``Q <= ((S + u M)(1 + u) + E)(1 + u)^2 + 2^-1074``.  With ``F`` the smaller
of 1999 and the floor of that bound, ``first <= F``; ``F = 0`` for ``w < 0``.

Step 4 -- the offset.  With ``kq`` the index of ``qMin`` (``kMin``, or the
single index for ``w < 0``), (F1) twice gives
``|fl(qMin / w) - kq| <= |kq| (2u + u^2) = d``, so ``fl(qMin / w) + first``
lies in ``[kq - d - 1, kq + d + F]`` and ``|x|`` lies between the distance of
that interval from 0 times ``1 - u`` and its largest magnitude times
``1 + u``.

Step 5 -- narrowing to float moves ``x`` by at most ``2^-24 |x|`` (``2^-150``
among float subnormals) or overflows (an infinite ``r``: failure), and
``roundf`` by at most 1/2, so ``r`` lies between ``ceil(|x|lo (1 - 2^-24) -
2^-150 - 1/2)`` and ``floor(|x|hi (1 + 2^-24) + 2^-150 + 1/2)``.

Step 6 -- ``2 r + 1`` is exact below ``2^53``, so a written grid has
``c = 2 r + 1 <= 2 rHi + 1``; and ``2 rLo + 1 > 2^31 - 1`` makes
``fl(2 r + 1) >= 2^31`` by (F2): the call fails on the grid size.

Every bound is formed in exact rational arithmetic
(:class:`fractions.Fraction`), and the grid indices ``k_i`` with the same
IEEE operations as the kernel (a double division, a narrowing to float and a
rounding half away from zero), so they have the kernel's values.
"""

from __future__ import annotations

import math
from fractions import Fraction

import numpy as np

__all__ = ["MAX_BINS", "centre_grid_bounds", "roundf"]

#: Largest number of bins the histogram of one call (one cursor for the
#: cursor densities, all points for ``cpdf``) may span.
MAX_BINS = 2000

_U = Fraction(1, 2**53)
_EPS = Fraction(1, 2**52)
_FLOAT_REL = Fraction(1, 2**24)
_FLOAT_SUBNORMAL_STEP = Fraction(1, 2**150)
_DOUBLE_SUBNORMAL_STEP = Fraction(1, 2**1074)


def roundf(values) -> np.ndarray:
    """``roundf((float)v)`` as float64: narrow to float32, round half away
    from zero.

    Exact in float64: for ``|f| < 1/2`` the sum ``|f| + 0.5`` stays below 1;
    for larger ``|f|`` below ``2**23`` it is exact (at most 48 significant
    bits); from ``2**23`` on ``f`` is an even integer and the sum rounds back
    to it.
    """
    with np.errstate(over="ignore", invalid="ignore"):
        f = np.asarray(values, dtype=np.float64).astype(np.float32).astype(np.float64)
        return np.copysign(np.floor(np.abs(f) + 0.5), f)


def centre_grid_bounds(points: np.ndarray, w: float) -> tuple[int, int] | None:
    """Bounds ``(low, high)`` on the centre-grid length ``c`` of a
    successful ``d_cpdf`` call, or ``None`` when the call cannot succeed.

    ``points`` is the float64 array handed to the library and ``w`` the bin
    width.  See the module docstring for the proof.
    """
    if points.size == 0 or not math.isfinite(w) or w == 0.0:
        return None
    with np.errstate(divide="ignore", over="ignore", invalid="ignore"):
        k = roundf(points / w)
        q = k * w
    if math.isnan(q[0]) or np.isinf(q).any():
        return None
    kept = k[~np.isnan(q)]
    k_min, k_max = int(kept.min()), int(kept.max())   # finite integral floats: exact
    spread = k_max - k_min
    magnitude = abs(k_min) + abs(k_max)
    width = Fraction(w)
    eps_in_bins = _EPS / abs(width)
    if w < 0.0:
        if spread != 0:
            return None
        last_first = 0
    else:
        q_low = max((spread - _U * magnitude) * (1 - _U), eps_in_bins) * (1 - _U)
        if q_low >= MAX_BINS + 1:
            return None
        q_high = (((spread + _U * magnitude) * (1 + _U) + eps_in_bins) * (1 + _U) ** 2
                  + _DOUBLE_SUBNORMAL_STEP)
        last_first = min(MAX_BINS - 1, math.floor(q_high))
    k_q = k_min
    d = abs(k_q) * (2 * _U + _U * _U)
    s_low, s_high = k_q - d - 1, k_q + d + last_first
    x_high = max(abs(s_low), abs(s_high)) * (1 + _U)
    x_low = (0 if s_low <= 0 <= s_high else min(abs(s_low), abs(s_high))) * (1 - _U)
    r_high = math.floor(x_high * (1 + _FLOAT_REL) + _FLOAT_SUBNORMAL_STEP + Fraction(1, 2))
    r_low = max(0, math.ceil(x_low * (1 - _FLOAT_REL) - _FLOAT_SUBNORMAL_STEP - Fraction(1, 2)))
    return 2 * r_low + 1, 2 * r_high + 1
