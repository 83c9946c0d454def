"""zefra_tdr.norm against a literal reference, numpy.linalg.norm and math.hypot."""

from __future__ import annotations

import math

import numpy as np
import pytest

import zefra_tdr
from oracles import TOLERANCES, bits, describe, norm_oracle, rel_error, same_bits

SUBNORMAL_STEP = 2.0**-1074  # spacing of the doubles below the smallest normal


def mixed_data(rng: np.random.Generator, n: int, kind: int) -> np.ndarray:
    if kind == 0:
        return rng.standard_normal(n)
    if kind == 1:  # ascending magnitudes: the scale grows at every element
        return np.sort(rng.exponential(1.0, n)) * 1e10
    if kind == 2:  # magnitudes from subnormal to near overflow, with zeros
        x = rng.standard_normal(n) * 10.0 ** rng.integers(-320, 300, n)
        x[rng.random(n) < 0.1] = 0.0
        return x
    return rng.uniform(-1.0, 1.0, n) * 1e-310  # subnormal only


@pytest.mark.parametrize("n", list(range(1, 18)) + [100, 1001, 4096, 20_000])
def test_norm_is_bit_identical_to_the_scaled_sum_reference(n):
    rng = np.random.default_rng(6000 + n)
    for kind in range(4):
        x = mixed_data(rng, n, kind)
        ours = zefra_tdr.norm(x)
        expected = norm_oracle(x)
        assert same_bits(ours, expected), f"kind {kind}: {describe(ours)} != {describe(expected)}"


@pytest.mark.parametrize("n", [2, 3, 10, 100, 1000, 10_000, 100_000, 1_000_000])
def test_norm_agrees_with_numpy_on_random_data(n, error_log):
    rng = np.random.default_rng(7000 + n)
    for scale in (1.0, 1e-100, 1e150):
        for x in (rng.standard_normal(n) * scale, rng.exponential(1.0, n) * scale):
            err = rel_error(zefra_tdr.norm(x), float(np.linalg.norm(x)))
            error_log.record("norm_vs_numpy_rel", err)
            assert err <= TOLERANCES["norm_vs_numpy_rel"], f"n={n}, scale={scale}: {err:.3g}"


def check_against_hypot(x: np.ndarray, error_log) -> None:
    ours = zefra_tdr.norm(x)
    ref = math.hypot(*x)
    assert math.isfinite(ours) and ours > 0.0, f"{describe(ours)} (hypot {ref!r})"
    diff = abs(ours - ref)
    if ref >= np.finfo(np.float64).tiny:
        error_log.record("norm_vs_hypot_rel", rel_error(ours, ref))
    else:
        error_log.record("norm_vs_hypot_subnormal_ulp", diff / SUBNORMAL_STEP)
    # Relative bound, widened by one step of the subnormal grid on which
    # tiny results are rounded.
    bound = (TOLERANCES["norm_vs_hypot_rel"] * ref
             + TOLERANCES["norm_vs_hypot_subnormal_ulp"] * SUBNORMAL_STEP)
    assert diff <= bound, f"{describe(ours)} vs hypot {describe(ref)}"


@pytest.mark.parametrize("n", [2, 3, 10, 100, 1000, 10_000])
@pytest.mark.parametrize("magnitude", [1e300, 1e307, 1e-300, 1e-310, 1e-320])
def test_norm_neither_overflows_nor_underflows_near_the_limits(n, magnitude, error_log):
    rng = np.random.default_rng(8000 + n)
    for _ in range(3):
        x = rng.uniform(-1.0, 1.0, n) * magnitude
        if magnitude == 1e307:
            x /= math.sqrt(n)  # keep the true norm below the largest double
        check_against_hypot(x, error_log)


@pytest.mark.parametrize("n", [2, 3, 10, 100, 1000])
def test_norm_of_multiples_of_the_smallest_subnormal(n, error_log):
    rng = np.random.default_rng(9000 + n)
    x = rng.integers(1, 50, n) * 5e-324
    check_against_hypot(x, error_log)


def test_norm_where_the_naive_formula_overflows_or_underflows():
    with np.errstate(over="ignore", under="ignore"):
        big = np.full(1000, 1e300)
        assert math.isinf(math.sqrt(np.sum(big * big)))
        assert zefra_tdr.norm(big) == pytest.approx(1e300 * math.sqrt(1000), rel=1e-15)
        small = np.full(1000, 1e-300)
        assert math.sqrt(np.sum(small * small)) == 0.0
        assert zefra_tdr.norm(small) == pytest.approx(1e-300 * math.sqrt(1000), rel=1e-15)
    assert zefra_tdr.norm([5e-324, 5e-324]) == 5e-324
    assert zefra_tdr.norm([5e-324] * 4) == 1e-323
    assert zefra_tdr.norm([1e308, 1e308]) == math.hypot(1e308, 1e308)


def test_norm_exact_values():
    assert zefra_tdr.norm([3.0, 4.0]) == 5.0
    assert zefra_tdr.norm([1e200, 1e200]) == 1.4142135623730951e200
    assert zefra_tdr.norm([-7.0]) == 7.0
    assert zefra_tdr.norm([0.0, -0.0, 0.0]) == 0.0


def test_norm_of_one_element_is_its_absolute_value():
    for v in (-7.0, 5e-324, -1.7976931348623157e308, -0.0, -math.inf):
        assert same_bits(zefra_tdr.norm([v]), abs(v))


def test_norm_of_empty_input_is_zero():
    assert bits(zefra_tdr.norm([])) == bits(0.0)


@pytest.mark.parametrize("position", [0, 3, 7])
def test_norm_with_a_nan_is_nan(position):
    x = np.arange(1.0, 9.0)
    x[position] = np.nan
    assert math.isnan(zefra_tdr.norm(x))
