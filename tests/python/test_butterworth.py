"""zefra_tdr.butterworth_tf and get_butterworth_tf against scipy's analogue
Butterworth design, an extended-precision pole product, and each other."""

from __future__ import annotations

import ctypes
import math

import numpy as np
import pytest
import scipy.signal

import zefra_tdr
from oracles import TOLERANCES, butterworth_extended
from zefra_tdr import _library

c_double_p = ctypes.POINTER(ctypes.c_double)
i32 = ctypes.c_int32
EPS = 2.0**-52

WRAPPERS = [zefra_tdr.butterworth_tf, zefra_tdr.get_butterworth_tf]
CUTOFFS = [1.0, 0.37, 1e-3, 2.0 * math.pi * 1e9]


def test_prototypes_are_declared():
    fn = _library.function("Butterworth_TF")
    assert fn.restype is None
    assert fn.argtypes == [i32, c_double_p, ctypes.c_double, i32, c_double_p]
    fn = _library.function("GetButterworthTF")
    assert fn.restype is None
    assert fn.argtypes == [i32, c_double_p, i32, ctypes.c_double, c_double_p]


def grid(wc: float) -> np.ndarray:
    """Angular frequencies (rad/s): 0, a log sweep over 1e-3 .. 30 wc, wc."""
    return np.concatenate([[0.0], wc * np.logspace(-3.0, 1.5, 300), [wc]])


@pytest.mark.parametrize("order", range(1, 11))
def test_response_agrees_with_scipy_butter_and_freqs(order, error_log):
    for wc in CUTOFFS:
        w = grid(wc)
        b, a = scipy.signal.butter(order, wc, analog=True)
        _, ref = scipy.signal.freqs(b, a, worN=w)        # w in rad/s
        for wrapper in WRAPPERS:
            h = wrapper(order, w, wc)
            assert h.dtype == np.complex128 and h.shape == w.shape
            err = float(np.max(np.abs(h - ref) / np.abs(ref)))
            error_log.record("butterworth_vs_scipy_rel", err)
            assert err <= TOLERANCES["butterworth_vs_scipy_rel"], (
                f"{wrapper.__name__}, N = {order}, wc = {wc}: {err:.3g}")


@pytest.mark.skipif(np.finfo(np.longdouble).eps > 1e-18,
                    reason="numpy.longdouble is not wider than double here")
@pytest.mark.parametrize("order", [1, 2, 3, 4, 5, 7, 10, 13, 16, 20])
def test_response_agrees_with_extended_precision_product(order, error_log):
    for wc in CUTOFFS:
        w = grid(wc)
        ref = butterworth_extended(order, w, wc)
        for wrapper in WRAPPERS:
            h = wrapper(order, w, wc)
            err = float(np.max(np.abs(h - ref) / np.abs(ref))) / (order * EPS)
            error_log.record("butterworth_vs_extended_order_eps", err)
            assert err <= TOLERANCES["butterworth_vs_extended_order_eps"], (
                f"{wrapper.__name__}, N = {order}, wc = {wc}: {err:.3g} N eps")


@pytest.mark.parametrize("order", [1, 2, 3, 6, 9, 12, 20])
def test_both_exports_agree_to_rounding(order, error_log):
    rng = np.random.default_rng(111_000 + order)
    for wc in CUTOFFS:
        w = np.concatenate([grid(wc), wc * rng.uniform(0.0, 5.0, 200), -grid(wc)])
        h1 = zefra_tdr.butterworth_tf(order, w, wc)
        h2 = zefra_tdr.get_butterworth_tf(order, w, wc)
        err = float(np.max(np.abs(h1 - h2) / np.abs(h2)))
        error_log.record("butterworth_exports_agree_rel", err)
        assert err <= TOLERANCES["butterworth_exports_agree_rel"]


@pytest.mark.parametrize("wrapper", WRAPPERS, ids=lambda f: f.__name__)
def test_magnitude_and_symmetry(wrapper):
    w = np.linspace(0.0, 8.0, 161)
    for order in (1, 2, 5, 8):
        h = wrapper(order, w, 2.0)
        assert np.allclose(np.abs(h), 1.0 / np.sqrt(1.0 + (w / 2.0) ** (2 * order)),
                           rtol=8 * order * EPS, atol=0.0)
        # Real impulse response: H(-jw) = conj(H(jw)).
        h_neg = wrapper(order, -w, 2.0)
        assert np.allclose(h_neg, np.conj(h), rtol=8 * order * EPS, atol=0.0)


@pytest.mark.parametrize("wrapper", WRAPPERS, ids=lambda f: f.__name__)
def test_documented_values(wrapper):
    h = wrapper(1, [0.0, 1.0], 1.0)
    # Pole (cos pi, sin pi): sin pi is 1.2e-16, not 0, hence the tolerance.
    assert abs(h[0] - 1.0) <= 2 * EPS
    assert abs(h[1] - (0.5 - 0.5j)) <= 2 * EPS
    for wc in (1.0, 3.0, 1e9):
        h = wrapper(2, [wc], wc)
        assert abs(abs(h[0]) - 1.0 / math.sqrt(2.0)) <= 4 * EPS
        assert abs(h[0] - (-1j / math.sqrt(2.0))) <= 4 * EPS  # 1 / (j sqrt 2)


def test_order_below_one():
    # GetButterworthTF writes (1, 0) at every frequency; Butterworth_TF
    # leaves the output untouched (the wrapper then returns its zeros).
    w = np.array([0.0, 0.5, 2.0])
    for order in (0, -1, -(2**31)):
        assert zefra_tdr.get_butterworth_tf(order, w, 1.0).tolist() == [1 + 0j] * 3
        assert zefra_tdr.butterworth_tf(order, w, 1.0).tolist() == [0j] * 3
    by_division = _library.function("Butterworth_TF")
    by_conjugate = _library.function("GetButterworthTF")
    for order in (0, -3):
        out = np.full(4, 7.5 - 2.5j)
        by_division(order, w.ctypes.data_as(c_double_p), 1.0, 3,
                    out.ctypes.data_as(c_double_p))
        assert out.tolist() == [7.5 - 2.5j] * 4
        out = np.full(4, 7.5 - 2.5j)
        by_conjugate(order, w.ctypes.data_as(c_double_p), 3, 1.0,
                     out.ctypes.data_as(c_double_p))
        assert out.tolist() == [1 + 0j] * 3 + [7.5 - 2.5j]


def test_exports_write_nf_values_and_read_only():
    w = np.array([0.0, 0.5, 2.0])
    by_division = _library.function("Butterworth_TF")
    by_conjugate = _library.function("GetButterworthTF")
    for nf in (3, 2, 0, -1):
        for call in (
            lambda out: by_division(3, w.ctypes.data_as(c_double_p), 1.0, nf,
                                    out.ctypes.data_as(c_double_p)),
            lambda out: by_conjugate(3, w.ctypes.data_as(c_double_p), nf, 1.0,
                                     out.ctypes.data_as(c_double_p)),
        ):
            out = np.full(4, 7.5 - 2.5j)
            call(out)
            written = max(nf, 0)
            assert out[written:].tolist() == [7.5 - 2.5j] * (4 - written)
            assert np.allclose(out[:written], zefra_tdr.get_butterworth_tf(3, w[:written], 1.0))
    assert w.tolist() == [0.0, 0.5, 2.0]
    for wrapper in WRAPPERS:
        assert wrapper(3, [], 1.0).shape == (0,)


def test_order_must_be_a_32_bit_integer():
    for wrapper in WRAPPERS:
        with pytest.raises(TypeError):
            wrapper(2.0, [1.0], 1.0)
        with pytest.raises(ValueError):
            wrapper(2**31, [1.0], 1.0)
