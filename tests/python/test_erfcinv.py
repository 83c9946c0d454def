"""zefra_tdr.erfcinv against scipy.special.erfcinv, and its marker values."""

from __future__ import annotations

import ctypes
import math

import numpy as np
import scipy.special

import zefra_tdr
from oracles import TOLERANCES, describe, erfcinv_decimal, ulp_distance
from zefra_tdr import _library

ONE_MINUS = 1.0 - 2.0**-53  # largest double below 1
TWO_MINUS = 2.0 - 2.0**-52  # largest double below 2


def neighbours(v: float, k: int = 4) -> list[float]:
    """v and the k doubles on either side of it."""
    out = [v]
    lo = hi = v
    for _ in range(k):
        lo = math.nextafter(lo, -math.inf)
        hi = math.nextafter(hi, math.inf)
        out += [lo, hi]
    return out


def grid() -> np.ndarray:
    """Points of (0, 2) except 1.0: tails, branch boundaries, a dense sweep,
    logarithmic sweeps towards 0 and 2, and random points (seeded)."""
    rng = np.random.default_rng(41_000)
    pts: list[float] = [5e-324, 1e-310, 2.2250738585072014e-308, 1e-300, 1e-200, 1e-100,
                        1e-50, 1e-20, 1e-10, 1e-5, 0.01, 0.1, 0.5, 1.5, 1.9, 1.99,
                        1.999999, TWO_MINUS, 2.0 - 2.0**-51, 2.0 - 1e-15, ONE_MINUS,
                        1.0 + 2.0**-52, 1.0 - 1e-10, 1.0 + 1e-10]
    # Branch boundaries of the first guess and of the extra refinement steps.
    for b in (0.3, 1.7, 1.0947644252537633e-47, 7.753250807262575e-267, 0.01, 1e-20,
              1e-100, 1e-300):
        pts += neighbours(b)
    pts += list(np.linspace(0.0, 2.0, 20_001)[1:-1])
    pts += list(np.logspace(-320, -1, 4000))
    pts += list(2.0 - np.logspace(-15.6, -1, 2000))
    pts += list(rng.uniform(0.0, 2.0, 20_000))
    pts += list(10.0 ** rng.uniform(-307, 0, 5000))
    x = np.array(pts, dtype=np.float64)
    x = x[(x > 0.0) & (x < 2.0) & (x != 1.0)]
    return np.unique(x)


def test_prototype_is_declared():
    fn = _library.function("erfcinv")
    c_double_p = ctypes.POINTER(ctypes.c_double)
    assert fn.restype is None
    assert fn.argtypes == [c_double_p, c_double_p, ctypes.c_int32]


SMALLEST_NORMAL = 2.2250738585072014e-308
SUBNORMAL_STEP = 2.0**-1074


def test_erfcinv_agrees_with_scipy_to_a_few_ulp(error_log):
    # Normal x only: for subnormal x scipy halves x first (erfcinv(x) =
    # -ndtri(x/2)/sqrt(2)), which drops a bit of the argument.
    x = grid()
    x = x[x >= SMALLEST_NORMAL]
    ours = zefra_tdr.erfcinv(x)
    ref = scipy.special.erfcinv(x)
    assert np.all(np.isfinite(ref)) and np.all(ref != 0.0)
    ulps = np.array([ulp_distance(a, b) for a, b in zip(ours, ref)])
    worst = int(np.argmax(ulps))
    error_log.record("erfcinv_vs_scipy_ulp", float(ulps[worst]))
    assert ulps[worst] <= TOLERANCES["erfcinv_vs_scipy_ulp"], (
        f"x = {describe(x[worst])}: ours {describe(ours[worst])}, "
        f"scipy {describe(ref[worst])}, {ulps[worst]} ULP")


def exact_sample() -> np.ndarray:
    """Points for the high-precision reference: random over (0, 2), towards
    0 and towards 2, and the neighbours of every branch boundary."""
    rng = np.random.default_rng(42_000)
    pts = list(rng.uniform(0.0, 2.0, 60)) + list(10.0 ** rng.uniform(-307, -1, 50))
    pts += list(2.0 - 10.0 ** rng.uniform(-15.6, -1, 30))
    for b in (0.3, 1.7, 1.0947644252537633e-47, 7.753250807262575e-267):
        pts += neighbours(b, 2)
    pts += [SMALLEST_NORMAL, 1e-300, 1e-20, 0.01, TWO_MINUS, ONE_MINUS, 1.0 + 2.0**-52,
            0.5, 1.5]
    return np.array(pts)


def test_erfcinv_is_within_two_ulp_of_the_exact_value(error_log):
    # Reference: Newton's method in 120-digit decimal arithmetic.  (scipy's
    # own error is up to about 6 ULP, which dominates the comparison above.)
    x = exact_sample()
    ours = zefra_tdr.erfcinv(x)
    for xi, yi in zip(x, ours):
        exact = erfcinv_decimal(float(xi))
        ulps = ulp_distance(yi, exact)
        error_log.record("erfcinv_vs_exact_ulp", float(ulps))
        assert ulps <= TOLERANCES["erfcinv_vs_exact_ulp"], (
            f"x = {describe(xi)}: {describe(yi)} vs exact {describe(exact)}")


def test_subnormal_arguments_are_within_one_step_of_x(error_log):
    # For subnormal x the result (about 26.6 to 27.2) can only be as good as
    # x and erfc(y) resolve on the subnormal grid: dy = dx / (2 x y).  The
    # error is measured in steps of 2**-1074 of x.
    x = np.array([5e-324, 1e-323, 1.5e-323, 1e-320, 1.444e-320, 2.5054e-320,
                  1.08897e-319, 1e-315, 1e-310, 2.2250738585072e-308])
    ours = zefra_tdr.erfcinv(x)
    assert np.all(np.isfinite(ours)) and np.all(ours > 26.0) and np.all(ours < 27.3)
    assert np.all(np.diff(ours) <= 0.0)  # decreasing
    for xi, yi in zip(x, ours):
        exact = erfcinv_decimal(float(xi))
        steps = abs(yi - exact) * (2.0 * exact) * (xi / SUBNORMAL_STEP)  # no underflow
        error_log.record("erfcinv_subnormal_steps", steps)
        assert steps <= TOLERANCES["erfcinv_subnormal_steps"], (
            f"x = {describe(xi)}: {describe(yi)} vs exact {describe(exact)}")


def test_erfcinv_is_odd_about_one():
    # erfc(-y) = 2 - erfc(y).  For dyadic x, 2 - x and 1 - x are exact and
    # the three branches are mirror images: the results are exact negatives.
    x = np.array([0.5, 0.25, 0.125, 0.75, 0.375, 0.0625, 2.0**-20, 2.0**-40,
                  0.296875, 0.3125, 0.9375])
    ours = zefra_tdr.erfcinv(x)
    mirrored = zefra_tdr.erfcinv(2.0 - x)
    assert np.array_equal(ours, -mirrored)


def test_documented_values():
    y = zefra_tdr.erfcinv([0.5, 1.5])
    assert abs(y[0] - 0.4769362762044699) <= 2e-16
    assert abs(y[1] + 0.4769362762044699) <= 2e-16


def test_out_of_domain_and_endpoints_give_exact_zero():
    y = zefra_tdr.erfcinv([0.0, 2.0, -1.0, 3.0, math.nan, -0.0, math.inf, -math.inf,
                           -5e-324, 2.0 + 2.0**-51])
    assert [describe(v) for v in y] == [describe(0.0)] * 10
    # 2 - 1e-16 rounds to 2.0 in doubles.
    assert 2.0 - 1e-16 == 2.0
    assert describe(zefra_tdr.erfcinv(2.0 - 1e-16)[0]) == describe(0.0)


def two_steps_from_zero_with_erf0_read_as_one() -> float:
    """The refinement of the middle range for x = 1 (target erf(y) = 0),
    started from the first guess y = 0, where erf(0) evaluates to 1.0.
    The second step uses math.erf (correctly rounded to within an ULP, like
    the library's erf)."""
    k = 1.1283791670955126
    y = 0.0
    for _ in range(2):
        e = 1.0 if y == 0.0 else math.erf(y)
        d = (e - 0.0) / (k * math.exp(-y * y))
        y = y - d / (1.0 + y * d)
    return y


def test_erfcinv_of_one_is_the_refinement_from_zero_not_zero():
    # Deliberate: erfcinv(1.0) is not 0.  The refinement starts from y = 0 and
    # reads erf(0) as 1.0, so the first step jumps to -sqrt(pi)/2 and the
    # second step returns part of the way: about -0.2358.
    y = float(zefra_tdr.erfcinv(1.0)[0])
    expected = two_steps_from_zero_with_erf0_read_as_one()
    assert math.isfinite(y) and y != 0.0
    assert abs(y - expected) <= 1e-14, f"{describe(y)} vs {describe(expected)}"
    assert abs(y - (-0.23583374852292494)) <= 1e-14
    # Its neighbours are ordinary.
    near = zefra_tdr.erfcinv([ONE_MINUS, 1.0 + 2.0**-52])
    assert near[0] > 0.0 > near[1] and np.all(np.abs(near) < 1e-15)


def test_empty_scalar_and_layouts():
    assert zefra_tdr.erfcinv([]).shape == (0,)
    assert zefra_tdr.erfcinv(0.5).shape == (1,)
    x = np.linspace(0.01, 1.99, 101)
    before = x.copy()
    strided = zefra_tdr.erfcinv(x[::2])
    assert np.array_equal(x, before)
    assert np.array_equal(strided, zefra_tdr.erfcinv(x)[::2])
    assert np.array_equal(zefra_tdr.erfcinv(x.astype(np.float32)),
                          zefra_tdr.erfcinv(x.astype(np.float32).astype(np.float64)))


def test_no_write_beyond_n():
    # The library writes exactly n values: a guard after the output stays.
    fn = _library.function("erfcinv")
    x = np.array([0.2, 0.4, 0.6])
    out = np.full(5, 7.0)
    fn(x.ctypes.data_as(ctypes.POINTER(ctypes.c_double)),
       out.ctypes.data_as(ctypes.POINTER(ctypes.c_double)), 3)
    assert np.array_equal(out[3:], [7.0, 7.0])
    out = np.full(2, 7.0)
    for n in (0, -1):
        fn(x.ctypes.data_as(ctypes.POINTER(ctypes.c_double)),
           out.ctypes.data_as(ctypes.POINTER(ctypes.c_double)), n)
        assert np.array_equal(out, [7.0, 7.0])

