"""zefra_tdr.conv and zefra_tdr.filter_signal against numpy.convolve,
scipy.signal.lfilter and their literal restatements; their deliberate
differences; and their speed."""

from __future__ import annotations

import ctypes
import math

import numpy as np
import pytest
import scipy.signal

import zefra_tdr
from oracles import TOLERANCES, convolve_in_order, filter_oracle
from zefra_tdr import _library

c_double_p = ctypes.POINTER(ctypes.c_double)
i32 = ctypes.c_int32


def ptr(arr: np.ndarray):
    return arr.ctypes.data_as(c_double_p)


def test_prototypes_are_declared():
    fn = _library.function("conv")
    assert fn.restype is None
    assert fn.argtypes == [c_double_p] * 3 + [i32, i32]
    fn = _library.function("Filter")
    assert fn.restype is None
    assert fn.argtypes == [c_double_p] * 4 + [i32] * 3


# ---- convolution ------------------------------------------------------------

CONV_SIZES = [(1, 1), (1, 7), (7, 1), (3, 5), (5, 3), (50, 20), (20, 50), (64, 1000),
              (1000, 64), (257, 255), (3000, 300)]


@pytest.mark.parametrize("na,nb", CONV_SIZES)
def test_conv_equals_increasing_index_sums_bit_for_bit(na, nb):
    rng = np.random.default_rng(71_000 + na * 7 + nb)
    a = rng.standard_normal(na) * 10.0 ** rng.integers(-3, 3, na)
    b = rng.standard_normal(nb)
    ours = zefra_tdr.conv(a, b)
    assert ours.shape == (na + nb - 1,)
    assert np.array_equal(ours, convolve_in_order(a, b))


@pytest.mark.parametrize("na,nb", CONV_SIZES + [(20_000, 100), (100, 20_000)])
def test_conv_agrees_with_numpy_convolve(na, nb, error_log):
    rng = np.random.default_rng(72_000 + na * 7 + nb)
    a = rng.standard_normal(na)
    b = rng.standard_normal(nb)
    ours = zefra_tdr.conv(a, b)
    ref = np.convolve(a, b)
    scale = np.convolve(np.abs(a), np.abs(b))
    err = float(np.max(np.abs(ours - ref) / scale))
    error_log.record("conv_vs_numpy_rel", err)
    assert err <= TOLERANCES["conv_vs_numpy_rel"], f"{na}x{nb}: {err:.3g}"


def test_conv_documented_value():
    assert zefra_tdr.conv([1.0, 2.0, 3.0], [1.0, 1.0]).tolist() == [1.0, 3.0, 5.0, 3.0]
    # Commutative for exact data.
    assert zefra_tdr.conv([1.0, 1.0], [1.0, 2.0, 3.0]).tolist() == [1.0, 3.0, 5.0, 3.0]


def test_conv_of_an_empty_input_writes_na_plus_nb_zeros():
    # Deliberate: one empty input gives na + nb zeros, one more than
    # na + nb - 1 (numpy.convolve raises instead).
    assert zefra_tdr.conv([1.0, 2.0, 3.0], []).tolist() == [0.0, 0.0, 0.0]
    assert zefra_tdr.conv([], [4.0, 5.0]).tolist() == [0.0, 0.0]
    assert zefra_tdr.conv([], []).shape == (0,)
    with pytest.raises(ValueError):
        np.convolve([1.0, 2.0, 3.0], [])
    fn = _library.function("conv")
    a = np.array([1.0, 2.0, 3.0])
    b = np.array([4.0, 5.0])
    for na, nb in [(3, 0), (0, 2)]:
        out = np.full(na + nb + 2, 7.5)
        fn(ptr(a), ptr(b), ptr(out), na, nb)
        assert out.tolist() == [0.0] * (na + nb) + [7.5, 7.5], (na, nb)
    out = np.full(3, 7.5)
    fn(ptr(a), ptr(b), ptr(out), 0, 0)
    assert out.tolist() == [7.5] * 3
    # Both non-empty: exactly na + nb - 1 values.
    out = np.full(6, 7.5)
    fn(ptr(a), ptr(b), ptr(out), 3, 2)
    assert out.tolist() == [4.0, 13.0, 22.0, 15.0, 7.5, 7.5]


def test_conv_inputs_are_only_read():
    rng = np.random.default_rng(73_000)
    a = rng.standard_normal(301)
    b = rng.standard_normal(40)
    before = (a.copy(), b.copy())
    y = zefra_tdr.conv(a[::3], b[::-1])
    assert np.array_equal(a, before[0]) and np.array_equal(b, before[1])
    assert np.array_equal(y, convolve_in_order(a[::3], b[::-1].copy()))


# ---- rational filter --------------------------------------------------------


def stable_denominator(rng, order: int, radius: float = 0.95) -> np.ndarray:
    """Monic real polynomial with roots of magnitude below ``radius``."""
    k = order // 2
    p = radius * np.sqrt(rng.uniform(0.0, 1.0, k)) * np.exp(1j * rng.uniform(0, np.pi, k))
    roots = np.concatenate([p, p.conj(), radius * rng.uniform(-1, 1, order - 2 * k)])
    return np.real(np.poly(roots))


def filter_cases():
    """(label, b, a, x) for the comparisons with the restatement and lfilter."""
    rng = np.random.default_rng(74_000)
    cases = []
    for i in range(6):
        x = rng.standard_normal(int(rng.integers(300, 800)))
        nb = int(rng.integers(1, 40))
        cases.append((f"fir{i}", rng.standard_normal(nb), np.array([1.0]), x))
        cases.append((f"fir_short{i}", rng.standard_normal(nb), np.array([1.0]),
                      x[:max(1, nb + i - 3)]))   # nx < 2 nb: general path
        order = int(rng.integers(1, 7))
        a = stable_denominator(rng, order)
        b = rng.standard_normal(int(rng.integers(1, order + 3)))
        cases.append((f"iir{i}", b, a, x))
        scale = rng.uniform(0.2, 5.0) * rng.choice([-1.0, 1.0])
        cases.append((f"a0_{i}", b * rng.uniform(0.5, 2.0), a * scale, x))
    return cases


CASES = filter_cases()


@pytest.mark.parametrize("case", CASES, ids=[c[0] for c in CASES])
def test_filter_equals_its_restatement_bit_for_bit(case):
    _, b, a, x = case
    ours = zefra_tdr.filter_signal(b, a, x)
    assert np.array_equal(ours, filter_oracle(b, a, x))


def test_filter_fir_agrees_with_lfilter(error_log):
    rng = np.random.default_rng(75_000)
    for nb in (1, 2, 5, 16, 33, 128):
        x = rng.standard_normal(50_000)
        b = rng.standard_normal(nb)
        ours = zefra_tdr.filter_signal(b, [1.0], x)
        ref = scipy.signal.lfilter(b, [1.0], x)
        # The two add the same products in other orders: per sample, the
        # difference relative to the sum of the magnitudes of the products.
        scale = scipy.signal.lfilter(np.abs(b), [1.0], np.abs(x))
        err = float(np.max(np.abs(ours - ref) / scale))
        error_log.record("filter_fir_vs_lfilter_rel", err)
        assert err <= TOLERANCES["filter_fir_vs_lfilter_rel"], f"nb={nb}: {err:.3g}"


def test_filter_iir_agrees_with_lfilter(error_log):
    rng = np.random.default_rng(76_000)
    for order in (1, 2, 3, 4, 6, 8):
        x = rng.standard_normal(50_000)
        a = stable_denominator(rng, order)
        b = rng.standard_normal(order + 1)
        for scale in (1.0, -0.37, 4.5):          # a0 != 1 is normalised away
            ours = zefra_tdr.filter_signal(b, a * scale, x)
            ref = scipy.signal.lfilter(b, a * scale, x)
            err = float(np.max(np.abs(ours - ref)) / np.max(np.abs(ref)))
            error_log.record("filter_iir_vs_lfilter_rel", err)
            assert err <= TOLERANCES["filter_iir_vs_lfilter_rel"], (
                f"order {order}, a0 = {scale}: {err:.3g}")
    # Butterworth designs, with longer numerators than denominators too.
    for n, wn in [(2, 0.2), (4, 0.05), (5, 0.4)]:
        b, a = scipy.signal.butter(n, wn)
        x = rng.standard_normal(20_000)
        for bb in (b, np.concatenate([b, [0.3, -0.1]])):
            ours = zefra_tdr.filter_signal(bb, a, x)
            ref = scipy.signal.lfilter(bb, a, x)
            err = float(np.max(np.abs(ours - ref)) / np.max(np.abs(ref)))
            error_log.record("filter_iir_vs_lfilter_rel", err)
            assert err <= TOLERANCES["filter_iir_vs_lfilter_rel"]


def test_filter_documented_values():
    x = np.array([1.0, 0.0, 0.0])
    assert zefra_tdr.filter_signal([1.0], [1.0, -0.5], x).tolist() == [1.0, 0.5, 0.25]
    rng = np.random.default_rng(77_000)
    x = rng.standard_normal(50)
    assert np.array_equal(zefra_tdr.filter_signal([1.0], [1.0], x), x)
    assert np.array_equal(zefra_tdr.filter_signal([2.0], [2.0], x), x)


def test_filter_fast_and_general_fir_paths_give_the_same_values():
    # b = {1, 1}, a = {1}: nx = 4 >= 2 nb takes the coefficient-by-coefficient
    # path, nx = 3 the transposed direct form; the values are the same.
    x = np.array([1.0, 2.0, 4.0, 8.0])
    y4 = zefra_tdr.filter_signal([1.0, 1.0], [1.0], x)
    y3 = zefra_tdr.filter_signal([1.0, 1.0], [1.0], x[:3])
    assert y4.tolist() == [1.0, 3.0, 6.0, 12.0]
    assert y3.tolist() == y4[:3].tolist()


@pytest.mark.parametrize("a0", [0.0, -0.0, math.nan])
def test_filter_leading_zero_or_nan_acts_as_one(a0):
    # Deliberate: no division and no error (lfilter raises for a0 == 0).
    rng = np.random.default_rng(78_000)
    x = rng.standard_normal(200)
    b = np.array([0.5, 0.25, -0.125])
    for tail in ([-0.5], [-0.5, 0.06], []):
        ours = zefra_tdr.filter_signal(b, [a0, *tail], x)
        ref = zefra_tdr.filter_signal(b, [1.0, *tail], x)
        assert np.array_equal(ours, ref)
        assert np.all(np.isfinite(ours))
    with pytest.raises(ValueError):
        scipy.signal.lfilter(b, [0.0, -0.5], x)


def test_filter_empty_denominator_and_numerator():
    x = np.array([1.0, -2.0, 3.0, 0.5, 4.0])
    assert np.array_equal(zefra_tdr.filter_signal([0.5, 0.5], [], x),
                          zefra_tdr.filter_signal([0.5, 0.5], [1.0], x))
    assert zefra_tdr.filter_signal([], [1.0, -0.5], x).tolist() == [0.0] * 5
    assert zefra_tdr.filter_signal([1.0], [1.0], []).shape == (0,)


def test_filter_writes_nx_values_and_reads_only():
    fn = _library.function("Filter")
    b = np.array([1.0, 1.0])
    a = np.array([1.0])
    x = np.array([1.0, 2.0, 4.0, 8.0])
    for nx in (4, 3):
        out = np.full(6, 7.5)
        fn(ptr(b), ptr(a), ptr(x), ptr(out), 2, 1, nx)
        assert out[nx:].tolist() == [7.5] * (6 - nx)
    out = np.full(3, 7.5)
    fn(ptr(b), ptr(a), ptr(x), ptr(out), 2, 1, 0)
    assert out.tolist() == [7.5] * 3
    assert x.tolist() == [1.0, 2.0, 4.0, 8.0] and b.tolist() == [1.0, 1.0]


@pytest.mark.parametrize("a", [[1.0], [1.0, -0.5]], ids=["fir", "iir"])
def test_filter_in_place_and_overlapping_buffers(a):
    # The export filters in place (y == x) and with overlapping buffers as
    # if input and output were distinct.
    fn = _library.function("Filter")
    rng = np.random.default_rng(79_000)
    b = rng.standard_normal(4)
    av = np.array(a)
    x = rng.standard_normal(64)
    expected = zefra_tdr.filter_signal(b, av, x)
    buf = x.copy()
    fn(ptr(b), ptr(av), ptr(buf), ptr(buf), 4, len(a), 64)
    assert np.array_equal(buf, expected)
    for shift in (1, 3, -2):
        big = np.zeros(70)
        big[3:67] = x
        src = big[3:67]
        dst = big[3 + shift:67 + shift]
        fn(ptr(b), ptr(av), ptr(src), ptr(dst), 4, len(a), 64)
        assert np.array_equal(dst, expected), shift
