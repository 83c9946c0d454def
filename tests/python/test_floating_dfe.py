"""zefra_tdr.floating_dfe against an independent window search written with
numpy, on random pulses, and its documented special cases."""

from __future__ import annotations

import ctypes
import math
from fractions import Fraction

import numpy as np
import pytest

import zefra_tdr
from zefra_tdr import _library

c_double_p = ctypes.POINTER(ctypes.c_double)


def sequential_sum(values) -> float:
    total = 0.0
    for v in values:
        total += float(v)
    return total


def best_window(available: np.ndarray, start: int, end: int, taps: int,
                main_cursor: float, max_weight: float) -> int:
    """Brute force: the earliest window of `taps` positions in [start, end]
    with the largest positive sum(A**2) - sum(B**2); start - 1 if none."""
    cancel = main_cursor * max_weight
    a = np.abs(available[start:end + 1])
    b = np.maximum(a - cancel, 0.0)
    best_gain, best = 0.0, -1
    for j in range(a.size - taps + 1):
        gain = sequential_sum(a[j:j + taps] ** 2) - sequential_sum(b[j:j + taps] ** 2)
        if gain > best_gain:
            best_gain, best = gain, j
    return start + best


def dfe_reference(pulse, *, search_start, taps_per_group, group_count, search_end,
                  max_tap_weight, main_cursor):
    """Placement for integral start, end and L, with every touched index
    inside the pulse (callers choose such parameters)."""
    pulse = np.asarray(pulse, dtype=np.float64)
    n = pulse.size
    s, e, taps = int(search_start), int(search_end), int(taps_per_group)
    groups = math.trunc(group_count)
    residual = pulse.copy()
    available = pulse.copy()
    positions = np.zeros(max(0, math.trunc(taps_per_group * group_count)))
    weights = np.zeros(n)
    limits = np.zeros(n)
    for g in range(groups):
        p = best_window(available, s, e, taps, main_cursor, max_tap_weight)
        positions[g * taps:(g + 1) * taps] = np.arange(p, p + taps)
        for k in range(taps):
            v = residual[p + k]
            w = min(max_tap_weight, abs(v / main_cursor)) * float(np.sign(v))
            assert p + k - 1 >= 0 and p + k < n
            weights[p + k - 1] = w
            residual[p + k] = v - w * v
            available[p + k] = 0.0
    positions.sort()
    for q in positions:
        limits[int(q)] = max_tap_weight
    return positions, weights, limits


def assert_same(ours, ref, context: str) -> None:
    for name, o, r in zip(("positions", "weights", "limits"), ours, ref):
        assert o.shape == r.shape, f"{context}: {name} shape {o.shape} != {r.shape}"
        assert np.array_equal(o, r), f"{context}: {name}\n ours {o!r}\n ref  {r!r}"


def test_prototype_is_declared():
    fn = _library.function("floatingDFE")
    dbl = ctypes.c_double
    assert fn.restype is None
    assert fn.argtypes == ([c_double_p, ctypes.c_int32] + [dbl] * 6 + [ctypes.c_int32]
                           + [c_double_p] * 3)


def test_worked_example():
    positions, weights, limits = zefra_tdr.floating_dfe(
        [0.0, 0.5, 0.2, 0.1], search_start=1, search_end=3, taps_per_group=1,
        group_count=1, main_cursor=1.0, max_tap_weight=0.3)
    assert positions.tolist() == [1.0]
    assert weights.tolist() == [0.3, 0.0, 0.0, 0.0]
    assert limits.tolist() == [0.0, 0.3, 0.0, 0.0]


def test_negative_cursor_gets_a_negative_clipped_weight():
    positions, weights, limits = zefra_tdr.floating_dfe(
        [1.0, 0.05, -0.6, 0.1], search_start=1, search_end=3, taps_per_group=1,
        group_count=2, main_cursor=1.0, max_tap_weight=0.3)
    assert positions.tolist() == [2.0, 3.0]
    assert weights.tolist() == [0.0, -0.3, 0.1, 0.0]
    assert limits.tolist() == [0.0, 0.0, 0.3, 0.3]


def random_parameters(rng: np.random.Generator):
    n = int(rng.integers(6, 40))
    s = int(rng.integers(2, n - 2))
    e = int(rng.integers(s, n))
    taps = int(rng.integers(1, min(4, e - s + 1) + 1))
    groups = int(rng.integers(1, 5))
    pulse = rng.standard_normal(n) * rng.uniform(0.01, 1.0)
    if rng.random() < 0.3:
        pulse[rng.random(n) < 0.3] = 0.0
    return pulse, dict(search_start=float(s), search_end=float(e),
                       taps_per_group=float(taps), group_count=float(groups),
                       # A negative main cursor makes every gain negative: the
                       # search fails and yields search_start - 1.
                       main_cursor=float(rng.uniform(0.2, 2.0))
                       * (-1.0 if rng.random() < 0.1 else 1.0),
                       max_tap_weight=float(rng.uniform(0.02, 1.0)))


def test_placement_equals_brute_force_window_search():
    rng = np.random.default_rng(71_000)
    for case in range(600):
        pulse, params = random_parameters(rng)
        ours = zefra_tdr.floating_dfe(pulse, **params)
        ref = dfe_reference(pulse, **params)
        assert_same(ours, ref, f"case {case}: n={pulse.size}, {params}")


def test_groups_never_reuse_a_single_tap_position():
    rng = np.random.default_rng(72_000)
    for _ in range(50):
        pulse = rng.standard_normal(30)
        positions, _, limits = zefra_tdr.floating_dfe(
            pulse, search_start=2, search_end=25, taps_per_group=1, group_count=10,
            main_cursor=1.0, max_tap_weight=0.5)
        assert np.unique(positions).size == 10
        assert np.count_nonzero(limits) == 10


def test_fractional_group_count_truncates_and_pads_with_zero_positions():
    rng = np.random.default_rng(73_000)
    for _ in range(50):
        pulse = rng.standard_normal(25)
        params = dict(search_start=3.0, search_end=20.0, taps_per_group=2.0,
                      group_count=2.7, main_cursor=1.0, max_tap_weight=0.25)
        positions, weights, limits = zefra_tdr.floating_dfe(pulse, **params)
        assert positions.shape == (5,)           # trunc(2 * 2.7)
        assert positions[0] == 0.0               # the unset entry sorts first
        assert limits[0] == 0.25                 # ... and marks position 0
        assert_same((positions, weights, limits), dfe_reference(pulse, **params),
                    "group_count 2.7")
        two = zefra_tdr.floating_dfe(pulse, **{**params, "group_count": 2.0})
        assert np.array_equal(positions[1:], two[0])
        assert np.array_equal(weights, two[1])


def test_position_count_rules():
    pulse = [0.0, 0.5, 0.2, 0.1, 0.05]
    base = dict(search_start=1, search_end=4, main_cursor=1.0, max_tap_weight=0.3)
    for taps, groups, count in [(1, 0, 0), (2, 0.4, 0), (1, -1, 0), (-1, 2, 0),
                                (1.5, 2, 3), (math.nan, 1, 0), (1, math.nan, 0)]:
        positions, weights, limits = zefra_tdr.floating_dfe(
            pulse, taps_per_group=taps, group_count=groups, **base)
        assert positions.shape == (count,), (taps, groups)
        assert weights.shape == limits.shape == (5,)
    # The library caps the count at 2**20 positions (and groups).
    cap = zefra_tdr.equalization.MAX_TAP_POSITIONS
    assert cap == 2**20
    for taps, groups in [(2.0**31, 1), (math.inf, 1), (1, math.inf), (2, 2.0**19),
                         (1, 2.0**20 + 0.5)]:
        positions, weights, limits = zefra_tdr.floating_dfe(
            pulse, taps_per_group=taps, group_count=groups, **base)
        assert positions.shape == (cap,), (taps, groups)
        assert np.all(np.isfinite(positions)) and np.all(np.diff(positions) >= 0.0)
        assert np.all(np.isfinite(weights)) and np.all(np.isfinite(limits))
    positions, _, _ = zefra_tdr.floating_dfe(pulse, taps_per_group=1,
                                             group_count=2.0**20 - 1, **base)
    assert positions.shape == (cap - 1,)


def test_position_count_is_that_of_the_rounded_product():
    pulse = [0.0, 0.5, 0.2, 0.1, 0.05]
    base = dict(search_start=1, search_end=4, main_cursor=1.0, max_tap_weight=0.3)
    # 3 * fl(1/3) is just below 1 exactly but rounds to 1.0: one position.
    assert Fraction(3) * Fraction(1 / 3) < 1
    positions, _, _ = zefra_tdr.floating_dfe(pulse, taps_per_group=3.0,
                                             group_count=1 / 3, **base)
    assert positions.tolist() == [0.0]
    # (1 - 2**-53) * 8 is a double just below 8: seven positions.
    positions, _, _ = zefra_tdr.floating_dfe(pulse, taps_per_group=1.0 - 2.0**-53,
                                             group_count=8.0, **base)
    assert positions.shape == (7,)


def test_empty_pulse_with_a_position_just_below_zero_keeps_the_positions():
    # A failed search yields search_start - 1 = -4/3: the taps of each group
    # sit at -4/3, -1/3 and 2/3, and -1/3 truncates to index 0, which an
    # empty pulse does not have.
    start = -1.0 / 3.0
    positions, weights, limits = zefra_tdr.floating_dfe(
        [], search_start=start, taps_per_group=3.0, group_count=3.0, search_end=math.nan,
        max_tap_weight=0.5, main_cursor=9.0)
    block = [start - 1.0, start - 1.0 + 1.0, start - 1.0 + 2.0]
    assert positions.tolist() == sorted(block * 3)
    assert weights.shape == limits.shape == (0,)


@pytest.mark.parametrize("start", [math.nan, math.inf, -math.inf, 0.0])
def test_fractional_negative_taps_place_nothing_in_any_number_of_groups(start):
    # -1 < L < 0: no window, no tap, no position (L * G < 0); group 1 would
    # start its block at L, inside (-1, 0).
    for groups in (1.0, 2.0, 7.5):
        positions, weights, limits = zefra_tdr.floating_dfe(
            [0.5, 1.0, 0.25], search_start=start, taps_per_group=-0.5, group_count=groups,
            search_end=2.0, max_tap_weight=0.5, main_cursor=1.0)
        assert positions.shape == (0,)
        assert weights.tolist() == limits.tolist() == [0.0, 0.0, 0.0]


@pytest.mark.parametrize("taps, groups", [(1, 1), (2, 1), (1, 3), (3, 2)])
def test_failed_search_at_position_zero_does_not_crash(taps, groups):
    # No window has a positive gain: the search yields search_start - 1 = -1,
    # outside the pulse (and the weights go one index lower still).  With a
    # nonzero first cursor the search succeeds at position 0, and its weight
    # belongs at index -1.
    for pulse in (np.zeros(6), np.array([0.9, 0.0, 0.0, 0.0, 0.0, 0.0]), np.zeros(1)):
        positions, weights, limits = zefra_tdr.floating_dfe(
            pulse, search_start=0, search_end=pulse.size - 1, taps_per_group=taps,
            group_count=groups, main_cursor=1.0, max_tap_weight=0.3)
        assert positions.shape == (taps * groups,)
        assert weights.shape == limits.shape == pulse.shape
        for arr in (positions, weights, limits):
            assert np.all(np.isfinite(arr))


def test_search_beyond_the_pulse_does_not_crash():
    positions, weights, limits = zefra_tdr.floating_dfe(
        [0.1, 0.4, 0.3], search_start=1, search_end=10, taps_per_group=2,
        group_count=3, main_cursor=1.0, max_tap_weight=0.3)
    assert positions.shape == (6,) and weights.shape == limits.shape == (3,)
    assert np.all(np.isfinite(weights)) and np.all(np.isfinite(limits))


def test_pulse_is_only_read():
    rng = np.random.default_rng(74_000)
    pulse = rng.standard_normal(20)
    before = pulse.copy()
    zefra_tdr.floating_dfe(pulse, search_start=2, search_end=15, taps_per_group=3,
                           group_count=3, main_cursor=1.0, max_tap_weight=0.5)
    assert np.array_equal(pulse, before)


def test_outputs_are_written_within_their_lengths():
    fn = _library.function("floatingDFE")
    pulse = np.array([0.0, 0.5, 0.2, 0.1])
    positions = np.full(3, 7.0)     # 1 position + 2 guards
    weights = np.full(6, 7.0)       # 4 + 2 guards
    limits = np.full(6, 7.0)
    fn(pulse.ctypes.data_as(c_double_p), 4, 1.0, 1.0, 1.0, 3.0, 0.3, 1.0, 12345,
       positions.ctypes.data_as(c_double_p), weights.ctypes.data_as(c_double_p),
       limits.ctypes.data_as(c_double_p))
    assert positions.tolist() == [1.0, 7.0, 7.0]
    assert weights.tolist() == [0.3, 0.0, 0.0, 0.0, 7.0, 7.0]
    assert limits.tolist() == [0.0, 0.3, 0.0, 0.0, 7.0, 7.0]
