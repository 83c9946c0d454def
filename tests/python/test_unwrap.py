"""zefra_tdr.unwrap against numpy.unwrap and its literal restatement, and
its deliberate treatment of zeros and NaN."""

from __future__ import annotations

import ctypes
import math

import numpy as np
import pytest

import zefra_tdr
from oracles import TOLERANCES, TWO_PI, describe, unwrap_oracle
from zefra_tdr import _library

c_double_p = ctypes.POINTER(ctypes.c_double)


def ptr(arr: np.ndarray):
    return arr.ctypes.data_as(c_double_p)


def test_prototype_is_declared():
    fn = _library.function("unwrap")
    assert fn.restype is None
    assert fn.argtypes == [c_double_p, c_double_p, ctypes.c_int32]


def wrapped_walk(rng, n: int, step: float) -> np.ndarray:
    """Phases of a random walk (steps uniform in [-step, step]), wrapped to
    (-pi, pi]; exact zeros removed."""
    x = np.angle(np.exp(1j * np.cumsum(rng.uniform(-step, step, n))))
    return x[x != 0.0]


def test_unwrap_equals_its_restatement_bit_for_bit():
    rng = np.random.default_rng(91_000)
    for trial in range(6):
        x = wrapped_walk(rng, 800, 3.0) * rng.choice([1.0, 7.0])  # large jumps too
        holes = rng.choice(x.size, 40, replace=False)
        x[holes[:20]] = 0.0
        x[holes[20:30]] = -0.0
        x[holes[30:]] = np.nan
        ours = zefra_tdr.unwrap(x)
        ref = unwrap_oracle(x)
        assert ours.tobytes() == ref.tobytes(), trial
    # Jumps of exactly pi and of multiples of 2*pi.
    x = np.array([0.5, 0.5 + math.pi, 0.5, 0.5 - math.pi, 0.5 + 2 * TWO_PI, 0.1, -3.0])
    assert zefra_tdr.unwrap(x).tobytes() == unwrap_oracle(x).tobytes()


@pytest.mark.parametrize("step", [0.5, 2.0, 3.1])
def test_unwrap_agrees_with_numpy_without_zeros(step, error_log):
    rng = np.random.default_rng(92_000 + int(step * 10))
    for _ in range(4):
        x = wrapped_walk(rng, 50_000, step)
        ours = zefra_tdr.unwrap(x)
        ref = np.unwrap(x)
        ulps = float(np.max(np.abs(ours - ref)) / np.spacing(np.max(np.abs(ref))))
        error_log.record("unwrap_vs_numpy_ulp", ulps)
        assert ulps <= TOLERANCES["unwrap_vs_numpy_ulp"], f"step {step}: {ulps:.3g} ULP"
        # Consecutive unwrapped samples differ by less than pi.
        assert np.max(np.abs(np.diff(ours))) < math.pi


def test_unwrap_recovers_the_walk():
    rng = np.random.default_rng(93_000)
    phi = np.cumsum(rng.uniform(-2.5, 2.5, 10_000))
    x = np.angle(np.exp(1j * phi))
    assert np.all(x != 0.0)
    y = zefra_tdr.unwrap(x)
    shift = np.round((phi[0] - y[0]) / TWO_PI) * TWO_PI
    assert np.max(np.abs(y + shift - phi)) < 1e-9


def test_documented_values():
    y = zefra_tdr.unwrap([0.5, 3.9])
    assert y[0] == 0.5 and abs(y[1] - (3.9 - TWO_PI)) <= 4e-16
    y = zefra_tdr.unwrap([1.0, 1.0 + TWO_PI])
    assert y[0] == 1.0 and abs(y[1] - 1.0) <= 1e-15
    assert zefra_tdr.unwrap([]).shape == (0,)
    assert zefra_tdr.unwrap([4.0]).tolist() == [4.0]
    # A jump of +pi or -pi is kept (the reduced difference of +pi is +pi
    # for d > 0), as in numpy; 3 pi becomes pi.
    for x in ([0.5, 0.5 + math.pi], [0.5, 0.5 - math.pi], [2.0, 2.0 + 3 * math.pi]):
        y = zefra_tdr.unwrap(x)
        assert np.array_equal(y, np.unwrap(x))
    assert abs(y[1] - (2.0 + math.pi)) <= 1e-15


def test_zeros_are_kept_in_place_and_skipped():
    # Deliberate: exact zeros (either sign) and NaN are not phases.  They are
    # returned unchanged, and the samples around them are neighbours:
    # {1, 0, 5} treats 1 and 5 as neighbours.
    y = zefra_tdr.unwrap([1.0, 0.0, 5.0])
    assert y[0] == 1.0 and describe(y[1]) == describe(0.0)
    assert abs(y[2] - (5.0 - TWO_PI)) <= 1e-15
    # numpy treats 0 as a phase: 0 and 6 are its neighbours, not 3 and 6.
    y = zefra_tdr.unwrap([3.0, 0.0, 6.0])
    assert y.tolist() == [3.0, 0.0, 6.0]
    assert abs(np.unwrap([3.0, 0.0, 6.0])[2] - (6.0 - TWO_PI)) <= 1e-15
    y = zefra_tdr.unwrap([1.0, -0.0, np.nan, 0.0, 5.0, 0.0, 9.0])
    assert describe(y[1]) == describe(-0.0) and np.isnan(y[2])
    assert describe(y[3]) == describe(0.0) and describe(y[5]) == describe(0.0)
    assert abs(y[4] - (5.0 - TWO_PI)) <= 1e-15
    assert abs(y[6] - (9.0 - 2 * TWO_PI)) <= 4e-15
    # numpy lets a NaN spoil everything after it.
    assert np.isnan(np.unwrap([1.0, np.nan, 5.0])[2])
    # Leading zeros and NaN are skipped in the search for the first phase.
    y = zefra_tdr.unwrap([0.0, np.nan, 1.0, 5.0])
    assert describe(y[0]) == describe(0.0) and np.isnan(y[1]) and y[2] == 1.0
    assert abs(y[3] - (5.0 - TWO_PI)) <= 1e-15


def test_only_valid_sample_last_is_returned_unchanged():
    x = np.array([0.0, np.nan, -0.0, 7.0])
    y = zefra_tdr.unwrap(x)
    assert y.tobytes() == x.tobytes()
    x = np.array([0.0, 0.0, 0.0])
    assert zefra_tdr.unwrap(x).tobytes() == x.tobytes()


def test_unwrap_writes_n_values_and_reads_only():
    fn = _library.function("unwrap")
    x = np.array([1.0, 5.0, 9.0])
    out = np.full(5, 7.5)
    fn(ptr(x), ptr(out), 3)
    assert out[3:].tolist() == [7.5, 7.5] and out[0] == 1.0
    out = np.full(2, 7.5)
    fn(ptr(x), ptr(out), 0)
    assert out.tolist() == [7.5, 7.5]
    assert x.tolist() == [1.0, 5.0, 9.0]
    big = np.linspace(-3, 3, 301)
    before = big.copy()
    assert np.array_equal(zefra_tdr.unwrap(big[::-2]), unwrap_oracle(big[::-2]))
    assert np.array_equal(big, before)
