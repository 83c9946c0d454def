"""zefra_tdr.poly, polyval and polyfit: numpy references, the restatement
of Horner's rule, and the deliberate behaviours of the exports."""

from __future__ import annotations

import ctypes
import math

import numpy as np
import pytest

import zefra_tdr
from oracles import TOLERANCES, describe, polyval_oracle
from zefra_tdr import _library

c_double_p = ctypes.POINTER(ctypes.c_double)
i32 = ctypes.c_int32


def ptr(arr: np.ndarray):
    return arr.ctypes.data_as(c_double_p)


def test_prototypes_are_declared():
    fn = _library.function("poly")
    assert fn.restype is None
    assert fn.argtypes == [c_double_p, c_double_p, i32]
    fn = _library.function("Polyval")
    assert fn.restype is None
    assert fn.argtypes == [c_double_p] * 3 + [i32, i32]
    fn = _library.function("Polyfit")
    assert fn.restype is None
    assert fn.argtypes == [c_double_p, c_double_p, ctypes.c_void_p, c_double_p, i32, i32]


# ---- poly -------------------------------------------------------------------


def test_poly_returns_the_one_value_the_library_writes():
    assert zefra_tdr.poly([1.0, 2.0]) == 1.0
    assert zefra_tdr.poly([]) == 1.0
    assert zefra_tdr.poly(3.5) == 1.0
    assert type(zefra_tdr.poly([1.0])) is float
    # numpy.poly gives the whole set; the library hands back only c[0].
    assert np.poly([1.0, 2.0]).tolist() == [1.0, -3.0, 2.0]


@pytest.mark.parametrize("n", [0, 1, 2, 5, 40])
def test_poly_writes_exactly_c0_and_leaves_the_rest(n):
    # Deliberate: the export hands back only c[0] = 1.0; c[1] .. c[n] (and
    # anything after) stay as the caller had them.
    fn = _library.function("poly")
    roots = np.arange(1.0, n + 1.0)
    c = np.full(n + 3, 7.5)
    fn(ptr(roots), ptr(c), n)
    assert c.tolist() == [1.0] + [7.5] * (n + 2)
    assert roots.tolist() == list(np.arange(1.0, n + 1.0))


def test_poly_with_negative_count_writes_nothing():
    fn = _library.function("poly")
    roots = np.array([1.0, 2.0])
    c = np.full(3, 7.5)
    for n in (-1, -5):
        fn(ptr(roots), ptr(c), n)
        assert c.tolist() == [7.5] * 3


# ---- polyval ----------------------------------------------------------------


def polyval_data(seed: int):
    rng = np.random.default_rng(seed)
    for _ in range(40):
        p = rng.standard_normal(int(rng.integers(1, 25)))
        scale = 10.0 ** rng.uniform(-3, 1)
        z = (rng.standard_normal(300) + 1j * rng.standard_normal(300)) * scale
        yield p, z


def test_polyval_equals_horner_restatement_bit_for_bit():
    for p, z in polyval_data(101_000):
        ours = zefra_tdr.polyval(p, z)
        assert ours.dtype == np.complex128 and ours.shape == z.shape
        assert ours.tobytes() == polyval_oracle(p, z).tobytes()


def test_polyval_agrees_with_numpy(error_log):
    for p, z in polyval_data(102_000):
        ours = zefra_tdr.polyval(p, z)
        ref = np.polyval(p, z)
        err = float(np.max(np.abs(ours - ref) / np.abs(ref)))
        error_log.record("polyval_vs_numpy_rel", err)
        assert err <= TOLERANCES["polyval_vs_numpy_rel"]


def test_polyval_documented_values():
    w = zefra_tdr.polyval([1.0, 0.0, -1.0], [1j, 2.0])
    assert w.tolist() == [(-2 + 0j), (3 + 0j)]
    # Real points are accepted (zero imaginary part).
    assert zefra_tdr.polyval([2.0, 1.0], [3.0]).tolist() == [7 + 0j]


def test_polyval_without_coefficients_gives_zeros():
    assert zefra_tdr.polyval([], [1.0 + 2.0j, -3.0]).tolist() == [0j, 0j]
    fn = _library.function("Polyval")
    p = np.array([5.0])
    z = np.array([1 + 1j, 2 - 1j])
    out = np.full(3, 7.5 + 7.5j)
    fn(ptr(p), z.ctypes.data_as(c_double_p), out.ctypes.data_as(c_double_p), 0, 2)
    assert out.tolist() == [0j, 0j, 7.5 + 7.5j]


def test_polyval_one_coefficient_is_a_constant():
    z = np.array([1 + 1j, -2e300 + 3j, np.nan + 0j, np.inf * 1j])
    w = zefra_tdr.polyval([-4.25], z)
    assert [describe(v) for v in w.real] == [describe(-4.25)] * 4
    assert [describe(v) for v in w.imag] == [describe(0.0)] * 4


def test_polyval_writes_nz_values_and_reads_only():
    fn = _library.function("Polyval")
    p = np.array([1.0, 2.0])
    z = np.array([1 + 1j, 2 - 1j])
    out = np.full(3, 7.5 + 7.5j)
    fn(ptr(p), z.ctypes.data_as(c_double_p), out.ctypes.data_as(c_double_p), 2, 2)
    assert out.tolist() == [3 + 1j, 4 - 1j, 7.5 + 7.5j]
    out = np.full(2, 7.5 + 7.5j)
    fn(ptr(p), z.ctypes.data_as(c_double_p), out.ctypes.data_as(c_double_p), 2, 0)
    assert out.tolist() == [7.5 + 7.5j] * 2
    assert p.tolist() == [1.0, 2.0] and z.tolist() == [1 + 1j, 2 - 1j]
    assert zefra_tdr.polyval([1.0, 2.0], []).shape == (0,)


# ---- polyfit ----------------------------------------------------------------


def test_polyfit_agrees_with_numpy(error_log):
    rng = np.random.default_rng(103_000)
    for m in (2, 3, 5, 10, 100, 1000, 10_000):
        for _ in range(5):
            x = rng.uniform(-10.0, 10.0, m) * 10.0 ** rng.uniform(-3, 3)
            slope = rng.uniform(0.5, 2.0) * rng.choice([-1.0, 1.0])
            intercept = rng.uniform(0.5, 2.0) * rng.choice([-1.0, 1.0]) * np.max(np.abs(x))
            y = slope * x + intercept + 0.1 * rng.standard_normal(m) * np.max(np.abs(x))
            ours = zefra_tdr.polyfit(x, y)
            ref = np.polyfit(x, y, 1)
            err = max(abs(ours[0] - ref[0]) / abs(ref[0]), abs(ours[1] - ref[1]) / abs(ref[1]))
            error_log.record("polyfit_vs_numpy_rel", err)
            assert err <= TOLERANCES["polyfit_vs_numpy_rel"], (
                f"m = {m}: {ours} vs numpy {tuple(ref)}")


def test_polyfit_exact_line():
    slope, intercept = zefra_tdr.polyfit([0.0, 1.0, 2.0], [1.0, 3.0, 5.0])
    assert abs(slope - 2.0) <= 4e-15 and abs(intercept - 1.0) <= 4e-15
    x = np.linspace(-5.0, 7.0, 49)
    slope, intercept = zefra_tdr.polyfit(x, -0.75 * x + 3.25)
    assert abs(slope + 0.75) <= 1e-14 and abs(intercept - 3.25) <= 1e-14


def test_polyfit_all_equal_x_gives_meaningless_values_without_error():
    # Deliberate: the rank-1 matrix is not truncated; both coefficients are
    # solved through a zero or rounding-sized pivot, and no error or warning
    # comes back.
    with np.errstate(all="raise"):      # nothing from numpy, nothing raised
        slope, intercept = zefra_tdr.polyfit([2.0, 2.0, 2.0], [1.0, 2.0, 3.0])
    meaningless = (not (math.isfinite(slope) and math.isfinite(intercept))
                   or max(abs(slope), abs(intercept)) > 1e8)
    assert meaningless, (slope, intercept)
    for x0 in (0.0, 1.0, -3.5, 1e-3):
        slope, intercept = zefra_tdr.polyfit(np.full(6, x0), np.arange(6.0))
        assert (not (math.isfinite(slope) and math.isfinite(intercept))
                or max(abs(slope), abs(intercept)) > 1e8
                or not abs(slope * x0 + intercept - 2.5) <= 1e-9), (x0, slope, intercept)


def test_polyfit_single_point_and_no_point():
    # One point: rank 1, one coefficient solves it exactly, the other is 0.0
    # (the slope when |x| >= 1, the pivot preferring the larger column).
    assert zefra_tdr.polyfit([4.0], [6.0]) == (1.5, 0.0)
    assert zefra_tdr.polyfit([-2.0], [6.0]) == (-3.0, 0.0)
    assert zefra_tdr.polyfit([0.5], [6.0]) == (0.0, 6.0)
    assert zefra_tdr.polyfit([0.0], [6.0]) == (0.0, 6.0)
    assert zefra_tdr.polyfit([], []) == (0.0, 0.0)


def test_polyfit_ignores_the_third_pointer_and_writes_two_values():
    fn = _library.function("Polyfit")
    x = np.array([0.0, 1.0, 2.0, 3.0])
    y = np.array([1.0, 3.0, 5.0, 7.0])
    expected = zefra_tdr.polyfit(x, y)
    junk = np.full(8, np.nan)
    for third in (None, junk.ctypes.data_as(ctypes.c_void_p)):
        out = np.full(4, 7.5)
        fn(ptr(x), ptr(y), third, ptr(out), 4, 4)
        assert tuple(out[:2]) == expected and out[2:].tolist() == [7.5, 7.5]
    assert x.tolist() == [0.0, 1.0, 2.0, 3.0] and y.tolist() == [1.0, 3.0, 5.0, 7.0]


def test_polyfit_rejects_different_lengths():
    with pytest.raises(ValueError, match="same length"):
        zefra_tdr.polyfit([1.0, 2.0, 3.0], [1.0, 2.0])
