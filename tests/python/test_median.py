"""zefra_tdr.median against numpy.median and a stable-sort reference."""

from __future__ import annotations

import math

import numpy as np
import pytest

import zefra_tdr
from oracles import (
    TOLERANCES,
    bits,
    describe,
    even_midpoint,
    from_bits,
    median_oracle,
    same_bits,
    ulp_distance,
)

# Sizes 1..40 (every parity), a few around powers of two, and up to 10**6.
SIZES = list(range(1, 41)) + [63, 64, 100, 101, 1000, 1001, 4096, 4097, 65535, 65536,
                              999_999, 1_000_000]


def random_floats(rng: np.random.Generator, n: int, kind: int) -> np.ndarray:
    """Random doubles without NaN, spread over several shapes and magnitudes."""
    if kind == 0:
        return rng.standard_normal(n)
    if kind == 1:
        return rng.uniform(0.0, 1.0, n) * 10.0 ** rng.integers(-30, 30)
    if kind == 2:
        return -rng.exponential(1.0, n) * 10.0 ** rng.integers(-5, 5)
    return rng.standard_normal(n) * 10.0 ** rng.integers(-300, 300, n)


def check_against_numpy(x: np.ndarray, error_log) -> None:
    n = x.shape[0]
    ours = zefra_tdr.median(x)
    ref = float(np.median(x))
    if n % 2 == 1:
        assert same_bits(ours, ref), f"n={n}: {describe(ours)} != numpy {describe(ref)}"
        return
    a, b = (float(v) for v in np.sort(np.partition(x, [n // 2 - 1, n // 2])[n // 2 - 1:n // 2 + 1]))
    expected = even_midpoint(a, b)
    assert same_bits(ours, expected), (
        f"n={n}: {describe(ours)} != midpoint({a!r}, {b!r}) = {describe(expected)}")
    ulps = ulp_distance(ours, ref)
    error_log.record("median_vs_numpy_ulp", ulps)
    assert ulps <= TOLERANCES["median_vs_numpy_ulp"], (
        f"n={n}: {describe(ours)} is {ulps} ULP from numpy {describe(ref)}")


@pytest.mark.parametrize("n", SIZES)
def test_median_matches_numpy_on_random_floats(n, error_log):
    rng = np.random.default_rng(1000 + n)
    kinds = range(4) if n <= 100_000 else [n % 4]
    for kind in kinds:
        check_against_numpy(random_floats(rng, n, kind), error_log)


@pytest.mark.parametrize("n", [n for n in SIZES if n <= 100_000])
def test_median_matches_numpy_on_data_with_many_ties(n, error_log):
    rng = np.random.default_rng(2000 + n)
    x = rng.integers(-3, 4, n).astype(np.float64) * 1.1
    check_against_numpy(x, error_log)


@pytest.mark.parametrize("n", [n for n in SIZES if n <= 100_000])
def test_median_of_mixed_signed_zeros_follows_stable_input_order(n, error_log):
    # numpy does not define which of +0.0 / -0.0 its selection returns, so
    # values are compared with numpy and bits with the stable-sort reference,
    # in which equal values (both zeros) keep their input order.
    rng = np.random.default_rng(3000 + n)
    pools = [np.array([0.0, -0.0]), np.array([0.0, -0.0, 1.5, -2.25, 3.0])]
    for pool in pools:
        x = rng.choice(pool, n)
        ours = zefra_tdr.median(x)
        expected = median_oracle(x)
        assert same_bits(ours, expected), f"{describe(ours)} != {describe(expected)}"
        assert ours == float(np.median(x))
        if n % 2 == 0:
            error_log.record("median_vs_numpy_ulp", ulp_distance(ours, float(np.median(x))))


def test_median_zero_sign_is_that_of_the_zero_at_the_middle_rank():
    # Stable order of [-0.0, +0.0, -0.0]: -0.0, +0.0, -0.0 -> middle is +0.0.
    assert bits(zefra_tdr.median([-0.0, 0.0, -0.0])) == bits(0.0)
    assert bits(zefra_tdr.median([0.0, -0.0, 0.0])) == bits(-0.0)
    # Even n: (a + b) * 0.5 of the two middle zeros.
    assert bits(zefra_tdr.median([-0.0, -0.0])) == bits(-0.0)
    assert bits(zefra_tdr.median([-0.0, 0.0])) == bits(0.0)


@pytest.mark.parametrize("n", [n for n in SIZES if n <= 100_000] + [1_000_000])
def test_median_is_exact_on_dyadic_grid_for_both_parities(n):
    # Multiples of 1/1024 far from overflow: every midpoint formula is exact,
    # so the library must agree with numpy.median bit for bit.
    rng = np.random.default_rng(4000 + n)
    for span in (10, 2**30):
        x = rng.integers(-span, span, n).astype(np.float64) / 1024.0
        ours = zefra_tdr.median(x)
        ref = float(np.median(x))
        assert same_bits(ours, ref), f"n={n}: {describe(ours)} != {describe(ref)}"


def test_median_even_midpoint_differs_from_numpy_by_at_most_one_ulp_when_rounding():
    # a = 1 + 2**-52, b = 3 + 2**-51: b - a = 2 + 2**-52 rounds (tie to
    # even) to 2, and a + 1 = 2 + 2**-52 rounds to 2.0 again, while
    # a + b = 4 + 3 * 2**-52 rounds to 4 + 2**-50 and halves to 2 + 2**-51.
    a, b = 1.0 + 2.0**-52, 3.0 + 2.0**-51
    ours = zefra_tdr.median([b, a])
    assert ours == 2.0
    assert float(np.median([a, b])) == 2.0 + 2.0**-51
    assert ulp_distance(ours, float(np.median([a, b]))) == 1


def test_median_midpoint_of_large_values_does_not_overflow():
    big = np.finfo(np.float64).max
    ours = zefra_tdr.median([big, big * 0.5])
    assert same_bits(ours, big * 0.5 + (big - big * 0.5) * 0.5)
    assert math.isfinite(ours)


def test_median_of_odd_length_is_the_middle_value_exactly():
    assert zefra_tdr.median([3.0, 1.0, 2.0]) == 2.0
    assert zefra_tdr.median([0.1, 0.7, 0.3, 0.5, 0.9]) == 0.5
    assert zefra_tdr.median(5.25) == 5.25


@pytest.mark.parametrize("n", [1, 2, 3, 10, 11, 1000])
def test_median_with_any_nan_is_nan(n):
    rng = np.random.default_rng(5000 + n)
    for position in sorted({0, n // 2, n - 1}):
        x = rng.standard_normal(n)
        x[position] = np.nan
        assert math.isnan(zefra_tdr.median(x))


def test_median_with_several_nans_returns_the_last_nan_bit_for_bit():
    payloads = [0x7FF8000000000001, 0xFFF8000000000002, 0x7FF800000000BEEF]
    nans = [from_bits(p) for p in payloads]
    x = np.array([1.0, nans[0], 2.0, nans[1], 3.0, nans[2], 4.0])
    assert bits(zefra_tdr.median(x)) == payloads[2]
    assert bits(zefra_tdr.median(x[:5])) == payloads[1]
    assert bits(zefra_tdr.median(np.array([nans[1], 1.0]))) == payloads[1]


def test_median_of_empty_input_is_positive_zero():
    assert bits(zefra_tdr.median([])) == bits(0.0)
    assert bits(zefra_tdr.median(np.empty(0))) == bits(0.0)


def test_median_applies_the_even_midpoint_formula_to_infinities_too():
    inf = math.inf
    # Odd n: the middle value itself.
    assert zefra_tdr.median([inf, 1.0, inf]) == inf
    assert zefra_tdr.median([-inf, -inf, 0.5]) == -inf
    # Even n: the formula as stated, so inf + (inf - inf) * 0.5 is NaN.
    for pair in ([inf, inf], [-inf, -inf], [-inf, inf], [1.0, inf], [-inf, -1.0]):
        expected = even_midpoint(*sorted(pair))
        assert same_bits(zefra_tdr.median(pair), expected) or (
            math.isnan(expected) and math.isnan(zefra_tdr.median(pair))), pair
