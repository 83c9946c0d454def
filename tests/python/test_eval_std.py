"""zefra_tdr.eval_std against a sequential-sum reference and numpy.std."""

from __future__ import annotations

import math

import numpy as np
import pytest

import zefra_tdr
from oracles import TOLERANCES, bits, describe, rel_error, same_bits, std_oracle

SIZES = [2, 3, 4, 5, 7, 10, 16, 100, 1001, 4096, 65_537, 1_000_000]


def samples(rng: np.random.Generator, n: int, kind: int) -> np.ndarray:
    if kind == 0:
        return rng.standard_normal(n)
    if kind == 1:  # large offset: the mean's rounding matters
        return 1e6 + rng.standard_normal(n)
    if kind == 2:
        return rng.uniform(-1.0, 1.0, n) * 1e-100
    return rng.exponential(1.0, n) * 1e150


@pytest.mark.parametrize("n", SIZES)
def test_eval_std_is_bit_identical_to_sequential_two_pass_sums(n):
    rng = np.random.default_rng(10_000 + n)
    for kind in range(4):
        x = samples(rng, n, kind)
        ours = zefra_tdr.eval_std(x)
        expected = std_oracle(x)
        assert same_bits(ours, expected), f"kind {kind}: {describe(ours)} != {describe(expected)}"


@pytest.mark.parametrize("n", SIZES)
def test_eval_std_agrees_with_numpy_std_ddof_1(n, error_log):
    rng = np.random.default_rng(11_000 + n)
    for kind in range(4):
        x = samples(rng, n, kind)
        err = rel_error(zefra_tdr.eval_std(x), float(np.std(x, ddof=1)))
        error_log.record("std_vs_numpy_rel", err)
        assert err <= TOLERANCES["std_vs_numpy_rel"], f"kind {kind}: {err:.3g}"


def test_eval_std_small_exact_cases():
    assert zefra_tdr.eval_std([1.0, 2.0, 3.0, 4.0]) == math.sqrt(5.0 / 3.0)
    assert zefra_tdr.eval_std([2.0, 2.0, 2.0]) == 0.0
    assert zefra_tdr.eval_std([-1.0, 1.0]) == math.sqrt(2.0)


def test_eval_std_of_one_element_is_zero():
    for v in (0.0, -3.5, 1e300, 5e-324):
        assert bits(zefra_tdr.eval_std([v])) == bits(0.0)


def test_eval_std_of_empty_input_is_zero():
    assert bits(zefra_tdr.eval_std([])) == bits(0.0)


@pytest.mark.parametrize("position", [0, 4, 9])
def test_eval_std_with_a_nan_is_nan(position):
    x = np.linspace(-1.0, 1.0, 10)
    x[position] = np.nan
    assert math.isnan(zefra_tdr.eval_std(x))
