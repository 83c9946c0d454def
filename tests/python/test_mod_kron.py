"""zefra_tdr.mod against numpy.mod and its literal restatement, and
zefra_tdr.kron against numpy.kron."""

from __future__ import annotations

import ctypes

import numpy as np
import pytest

import zefra_tdr
from oracles import TOLERANCES, describe, mod_oracle
from zefra_tdr import _library

c_double_p = ctypes.POINTER(ctypes.c_double)
i32 = ctypes.c_int32


def ptr(arr: np.ndarray):
    return arr.ctypes.data_as(c_double_p)


def test_prototypes_are_declared():
    fn = _library.function("mod")
    assert fn.restype is None
    assert fn.argtypes == [c_double_p, ctypes.c_double, c_double_p, i32]
    fn = _library.function("Kron")
    assert fn.restype is None
    assert fn.argtypes == [c_double_p, c_double_p, c_double_p, i32, i32]


def dividends() -> np.ndarray:
    rng = np.random.default_rng(61_000)
    return np.concatenate([
        rng.uniform(-1e3, 1e3, 4000),
        rng.standard_normal(4000) * 1e6,
        rng.standard_normal(2000),
        rng.integers(-10**6, 10**6, 2000).astype(np.float64),
        [0.0, -0.0, 1e-300, -1e-300, 1e-320, 1e15, -1e15],
    ])


INTEGER_DIVISORS = [1.0, 2.0, 3.0, 7.0, 10.0, 360.0, 1e6 + 1.0, -1.0, -3.0, -7.0]
OTHER_DIVISORS = [0.1, 0.7, 2.0 * np.pi, -0.3, 1.5, 1e-3, 0.25, 12.5, -2.75, np.e]


@pytest.mark.parametrize("m", INTEGER_DIVISORS + OTHER_DIVISORS + [0.0, -0.0])
def test_mod_equals_its_restatement_bit_for_bit(m):
    x = dividends()
    ours = zefra_tdr.mod(x, m)
    ref = mod_oracle(x, m)
    assert np.array_equal(ours.view(np.int64), ref.view(np.int64))


@pytest.mark.parametrize("m", INTEGER_DIVISORS)
def test_integer_divisor_equals_numpy_mod_exactly(m):
    # x - floor(x / m) * m is exact whenever floor(x / m) is the true floor,
    # which holds far below |x / m| = 2**53: numpy's fmod-based remainder
    # gives the same bits (a tiny dividend of the other sign gives m itself
    # in both).
    x = dividends()
    ours = zefra_tdr.mod(x, m)
    ref = np.mod(x, m)
    same = ours == ref
    assert np.all(same), f"x = {describe(x[~same][0])}: {ours[~same][0]!r} vs {ref[~same][0]!r}"


@pytest.mark.parametrize("m", INTEGER_DIVISORS + OTHER_DIVISORS)
def test_result_has_the_sign_of_the_divisor(m):
    y = zefra_tdr.mod(dividends(), m)
    nonzero = y[y != 0.0]
    assert np.all(np.sign(nonzero) == np.sign(m))
    assert np.all(np.abs(y) <= abs(m))


@pytest.mark.parametrize("m", OTHER_DIVISORS)
def test_non_integer_divisor_agrees_with_numpy_mod_modulo_m(m, error_log):
    # (q - floor(q)) * m rounds twice where fmod is exact, and near-multiples
    # are snapped to 0.0 where numpy may give a value just below |m|: the
    # results are compared modulo m, in units in the last place of
    # max(|x|, |m|).
    x = dividends()
    ours = zefra_tdr.mod(x, m)
    ref = np.mod(x, m)
    d = np.abs(ours - ref)
    d = np.minimum(d, np.abs(abs(m) - d))
    ulps = d / np.spacing(np.maximum(np.abs(x), abs(m)))
    worst = int(np.argmax(ulps))
    error_log.record("mod_vs_numpy_ulp", float(ulps[worst]))
    assert ulps[worst] <= TOLERANCES["mod_vs_numpy_ulp"], (
        f"x = {describe(x[worst])}: {ours[worst]!r} vs numpy {ref[worst]!r}")


def test_documented_values():
    assert zefra_tdr.mod([5.0, -5.0], 3.0).tolist() == [2.0, 1.0]
    assert zefra_tdr.mod([5.0, -5.0], -3.0).tolist() == [-1.0, -2.0]
    # Near-multiple snapped to exactly zero (numpy.mod gives about 0.1).
    y = zefra_tdr.mod([0.3, -0.3, 0.35], 0.1)
    assert describe(y[0]) == describe(0.0) and describe(y[1]) == describe(0.0)
    assert np.mod(0.3, 0.1) > 0.09
    q = 0.35 / 0.1
    assert y[2] == (q - np.floor(q)) * 0.1
    assert abs(y[2] - 0.05) < 1e-15
    # An integer divisor has no tolerance: 3 * (1 + 2**-52) is not snapped.
    v = 3.0 * (1.0 + 2.0**-52)
    assert zefra_tdr.mod(v, 3.0)[0] == v - 3.0 > 0.0
    # A tiny negative dividend rounds to the divisor itself, as in numpy.
    assert zefra_tdr.mod(-1e-20, 3.0)[0] == 3.0 == np.mod(-1e-20, 3.0)


def test_dividend_whose_quotient_underflows_is_returned_as_is():
    # Deliberate consequence of x - floor(x / m) * m: for a tiny negative
    # dividend, x / m underflows to -0.0, floor(-0.0) is -0.0 and x comes
    # back unchanged, with the sign of x (numpy.mod gives m).
    for m in (2.0, 3.0, 360.0):
        y = zefra_tdr.mod([-5e-324], m)[0]
        assert describe(y) == describe(-5e-324)
        assert np.mod(-5e-324, m) == m
    for m in (-2.0, -3.0):
        assert describe(zefra_tdr.mod([5e-324], m)[0]) == describe(5e-324)
    # With |m| = 1 the quotient does not underflow and the result is m.
    assert zefra_tdr.mod([-5e-324, 5e-324], 1.0).tolist() == [1.0, 5e-324]
    assert zefra_tdr.mod([-5e-324, 5e-324], -1.0).tolist() == [-5e-324, -1.0]
    # The restatement agrees.
    assert describe(mod_oracle([-5e-324], 3.0)[0]) == describe(-5e-324)


def test_zero_divisor_returns_x_unchanged():
    x = np.array([1.5, -2.0, 0.0, -0.0, np.inf, -np.inf, np.nan, 5e-324])
    for m in (0.0, -0.0):
        y = zefra_tdr.mod(x, m)
        assert y.tobytes() == x.tobytes()


def test_non_finite_values():
    y = zefra_tdr.mod([np.nan, np.inf, -np.inf, 1.0], 3.0)
    assert np.isnan(y[:3]).all() and y[3] == 1.0
    y = zefra_tdr.mod([np.nan, np.inf, 1.0], 0.5)
    assert np.isnan(y[:2]).all() and y[2] == 0.0
    assert np.isnan(zefra_tdr.mod([1.0, -1.0], np.nan)).all()


def test_mod_empty_scalar_and_no_write_beyond_n():
    assert zefra_tdr.mod([], 3.0).shape == (0,)
    assert zefra_tdr.mod(7.0, 3.0).tolist() == [1.0]
    fn = _library.function("mod")
    x = np.array([4.0, 5.0, 6.0])
    out = np.full(5, 7.5)
    fn(ptr(x), 3.0, ptr(out), 3)
    assert out.tolist() == [1.0, 2.0, 0.0, 7.5, 7.5]
    out = np.full(3, 7.5)
    fn(ptr(x), 3.0, ptr(out), 0)
    assert out.tolist() == [7.5] * 3
    assert x.tolist() == [4.0, 5.0, 6.0]


# ---- Kronecker product ------------------------------------------------------


def test_kron_equals_numpy_kron_exactly():
    rng = np.random.default_rng(62_000)
    for na, nb in [(1, 1), (1, 9), (9, 1), (2, 3), (17, 31), (300, 200), (1000, 7)]:
        a = rng.standard_normal(na) * 10.0 ** rng.integers(-100, 100, na)
        b = rng.standard_normal(nb)
        ours = zefra_tdr.kron(a, b)
        assert ours.shape == (na * nb,)
        assert np.array_equal(ours, np.kron(a, b))


def test_kron_documented_value():
    assert zefra_tdr.kron([1.0, 2.0], [1.0, 10.0, 100.0]).tolist() == [
        1.0, 10.0, 100.0, 2.0, 20.0, 200.0]


def test_kron_with_an_empty_factor_writes_nothing():
    assert zefra_tdr.kron([1.0, 2.0], []).shape == (0,)
    assert zefra_tdr.kron([], [1.0, 2.0]).shape == (0,)
    fn = _library.function("Kron")
    a = np.array([1.0, 2.0])
    b = np.array([3.0, 4.0])
    for na, nb in [(2, 0), (0, 2), (0, 0), (-1, 2), (2, -1)]:
        out = np.full(4, 7.5)
        fn(ptr(a), ptr(b), ptr(out), na, nb)
        assert out.tolist() == [7.5] * 4, (na, nb)
    out = np.full(6, 7.5)
    fn(ptr(a), ptr(b), ptr(out), 2, 2)
    assert out.tolist() == [3.0, 4.0, 6.0, 8.0, 7.5, 7.5]


def test_kron_product_beyond_int32_writes_nothing():
    # 50000 * 50000 > 2**31 - 1: the library leaves the output alone rather
    # than wrapping the length; the wrapper refuses before calling.
    n = 50_000
    a = np.ones(n)
    b = np.ones(n)
    out = np.full(4, 7.5)
    _library.function("Kron")(ptr(a), ptr(b), ptr(out), n, n)
    assert out.tolist() == [7.5] * 4
    with pytest.raises(ValueError, match="32-bit"):
        zefra_tdr.kron(a, b)


def test_inputs_are_only_read():
    rng = np.random.default_rng(63_000)
    a = rng.standard_normal(40)
    b = rng.standard_normal(30)
    before = (a.copy(), b.copy())
    zefra_tdr.kron(a[::2], b[::-1])
    zefra_tdr.mod(a[::3], 0.7)
    assert np.array_equal(a, before[0]) and np.array_equal(b, before[1])
    assert np.array_equal(zefra_tdr.kron(a[::2], b[::-1]),
                          np.kron(np.ascontiguousarray(a[::2]), b[::-1].copy()))
